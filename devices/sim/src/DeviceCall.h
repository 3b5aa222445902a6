// One journaled call of a device library operation.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "zetaVoroSim/SimExport.h"

namespace zeta::sim {

// Built at the start of an operation: collects its input arguments in declaration order, asks
// the fault table whether the call must fail, and writes the journal record when it finishes.
// Lives on the calling thread's stack; not shared.
class ZETA_SIM_API DeviceCall {
public:
    DeviceCall(const char* op, std::string dev, bool frameCall = false);
    ~DeviceCall();
    DeviceCall(const DeviceCall&) = delete;
    DeviceCall& operator=(const DeviceCall&) = delete;

    DeviceCall& arg(int value);
    DeviceCall& arg(long value);
    DeviceCall& arg(long long value);
    DeviceCall& arg(bool value);
    DeviceCall& arg(double value);
    DeviceCall& arg(const char* value);  // null is journaled as null
    DeviceCall& arg(const std::string& value);
    // A byte buffer is journaled as its length.
    DeviceCall& bytes(int length);

    // The device the record names ("board", a serial, "camera", "image").
    void setDevice(std::string dev);
    const std::string& device() const { return dev_; }

    // True when the call must fail before it acts: the rig is broken, or a failure is injected
    // for this device and operation (which counts the call).
    bool mustFail();

    // Writes the record and returns `ok`.
    bool finish(bool ok);

private:
    const char* op_;
    std::string dev_;
    nlohmann::json
        args_;  // null until the first argument: a call that is not journaled allocates nothing
    bool recording_;  // false for a frame call while frames are not journaled

    bool finished_ = false;
};

}  // namespace zeta::sim
