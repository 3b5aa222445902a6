#include "DeviceCall.h"

#include "VirtualScanner.h"

namespace zeta::sim {

DeviceCall::DeviceCall(const char* op, std::string dev, bool frameCall)
    : op_(op),
      dev_(std::move(dev)),
      recording_(!frameCall || VirtualScanner::instance().journal().frames()) {}

DeviceCall::~DeviceCall() {
    if (!finished_) finish(false);
}

DeviceCall& DeviceCall::arg(int value) {
    if (recording_) args_.push_back(value);
    return *this;
}
DeviceCall& DeviceCall::arg(long value) {
    if (recording_) args_.push_back(value);
    return *this;
}
DeviceCall& DeviceCall::arg(long long value) {
    if (recording_) args_.push_back(value);
    return *this;
}
DeviceCall& DeviceCall::arg(bool value) {
    if (recording_) args_.push_back(value);
    return *this;
}
DeviceCall& DeviceCall::arg(double value) {
    if (recording_) args_.push_back(value);
    return *this;
}
DeviceCall& DeviceCall::arg(const char* value) {
    if (!recording_) return *this;
    if (value == nullptr) {
        args_.push_back(nullptr);
    } else {
        args_.push_back(std::string(value));
    }
    return *this;
}
DeviceCall& DeviceCall::arg(const std::string& value) {
    if (recording_) args_.push_back(value);
    return *this;
}
DeviceCall& DeviceCall::bytes(int length) {
    if (recording_) args_.push_back(length);
    return *this;
}

void DeviceCall::setDevice(std::string dev) {
    dev_ = std::move(dev);
}

bool DeviceCall::mustFail() {
    VirtualScanner& scanner = VirtualScanner::instance();
    if (scanner.rig()->broken) return true;
    return scanner.faults().consume(dev_, op_);
}

bool DeviceCall::finish(bool ok) {
    if (finished_) return ok;
    finished_ = true;
    VirtualScanner& scanner = VirtualScanner::instance();
    if (!recording_) return ok;
    // Strings that are not valid UTF-8 (a caller's garbage) must not break the journal.
    const std::string args =
        args_.is_null() ? std::string("[]")
                        : args_.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    scanner.journal().record(dev_, op_, args, ok, scanner.rig()->clock.nowUs());
    return ok;
}

}  // namespace zeta::sim
