// ApiProgram: decoding, handles, bookkeeping and the end of a program. The operations themselves
// are in ApiProgramConnection.cpp, ApiProgramDevice.cpp and ApiProgramCapture.cpp.
#include "ApiProgram.h"

#include <atomic>
#include <system_error>
#include <utility>

#include "CallText.h"
#include "CallbackProbe.h"

namespace zeta::fuzz {

using namespace zetaVoroSync;

namespace {

// Objects the library keeps alive on purpose until the process ends, still allowed in this
// process (see ApiProgram.h).
std::atomic<int> g_abandonBudget{ApiProgram::kAbandonBudget};

// The fifth handle operand: an address the library never handed out.
int g_notAHandle = 0;

}  // namespace

ApiProgram::ApiProgram(ProgramReport& report, std::filesystem::path scratch)
    : report_(report), scratch_(std::move(scratch)), foreign_(&g_notAHandle) {}

void ApiProgram::run(const std::uint8_t* data, std::size_t size) {
    ByteReader in(data, size);
    rig_ = &FuzzRig::variant(in.byte());
    const std::uint8_t flags = in.byte();

    std::error_code error;
    const std::filesystem::path previous = std::filesystem::current_path(error);
    std::filesystem::current_path(scratch_, error);
    if (error) {
        report_.violation("cannot enter the scratch folder " + scratch_.string());
        return;
    }
    if ((flags & kFlagRgbFolder) != 0) std::filesystem::create_directory(scratch_ / "RGB", error);

    CallbackProbe::instance().reset();
    std::string rigError;
    report_.call("rig \"" + rig_->name() + "\"");
    if (!rig_->load(&rigError)) {
        report_.violation("the rig does not load: " + rigError);
    } else {
        for (int calls = 0; calls < kMaxCalls && !in.exhausted(); ++calls) {
            switch (in.byte() % kOperationSpace) {
                case kConnect:
                    connect(in);
                    break;
                case kDisconnect:
                    disconnect(in);
                    break;
                case kCopyHandle:
                    copyHandle(in);
                    break;
                case kReconnect:
                    reconnect(in);
                    break;
                case kCloseCameras:
                    closeCameras(in);
                    break;
                case kAutoReconnect:
                    autoReconnect(in);
                    break;
                case kFirmwareVersion:
                    firmwareVersion(in);
                    break;
                case kCameraQuery:
                    cameraQuery(in);
                    break;
                case kStatusText:
                    statusText(in);
                    break;
                case kRouteSetter:
                    routeSetter(in);
                    break;
                case kRouteGetter:
                    routeGetter(in);
                    break;
                case kProjector:
                    projector(in);
                    break;
                case kMisc:
                    misc(in);
                    break;
                case kCameraSetter:
                    cameraSetter(in);
                    break;
                case kCameraGetter:
                    cameraGetter(in);
                    break;
                case kCallback:
                    callback(in);
                    break;
                case kScanParameter:
                    scanParameter(in);
                    break;
                case kScan:
                    scan(in);
                    break;
                case kScanImages:
                    scanImages(in);
                    break;
                case kSnapSingle:
                    snapSingle(in);
                    break;
                case kSnapRgb:
                    snapRgb(in);
                    break;
                case kSnapGroup:
                    snapGroup(in);
                    break;
                case kSnapGroupRgb:
                    snapGroupRgb(in);
                    break;
                case kFirmwareUpdate:
                    firmwareUpdate(in);
                    break;
                case kWait:
                    wait(in);
                    break;
                case kFault:
                    fault(in);
                    break;
                default:
                    // A number without an operation yet.
                    break;
            }
        }
    }
    finish();
    std::filesystem::current_path(previous, error);
    clearScratch();
}

void ApiProgram::finish() {
    // Every handle the program connected is disconnected through the first variable that holds
    // it (the others are copies and go stale).
    for (std::size_t i = 0; i < kHandleVariables && live_.handle != nullptr; ++i) {
        if (isLive(handles_[i])) destroyLive(handles_[i], handleName(i));
    }
    if (live_.handle != nullptr) {
        // Only the foreign operand or a copy overwritten since could still name it: use the
        // program's own record.
        void* handle = live_.handle;
        destroyLive(handle, "the live handle");
    }
    expectDevicesClosed("at the end of the program");
    for (const std::string& violation : CallbackProbe::instance().takeViolations()) {
        report_.violation(violation);
    }
}

void ApiProgram::clearScratch() {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(scratch_, error)) {
        std::filesystem::remove_all(entry.path(), error);
    }
}

// ---- handles ----------------------------------------------------------------------------------

std::size_t ApiProgram::handleOperand(ByteReader& in) {
    return in.choose(kHandleVariables + 1);
}

void*& ApiProgram::handleRef(std::size_t operand) {
    if (operand < kHandleVariables) return handles_[operand];
    // A DisConnectDevice may have nulled it: it always names the same foreign address again.
    foreign_ = &g_notAHandle;
    return foreign_;
}

std::string ApiProgram::handleName(std::size_t operand) const {
    if (operand >= kHandleVariables) return "foreign";
    const void* handle = handles_[operand];
    const char* state = handle == nullptr ? "null" : (isLive(handle) ? "live" : "stale");
    return "h" + std::to_string(operand) + " " + state;
}

void ApiProgram::expectRefused(const void* handle, RETSTATUS status, const std::string& call) {
    if (isLive(handle)) return;
    report_.expect(status == RET_HANDLE_NULL,
                   call + " through a handle that is not connected returned " +
                       CallText::of(static_cast<int>(status)) + ", not RET_HANDLE_NULL");
}

RETSTATUS ApiProgram::record(const std::string& call, RETSTATUS status) {
    const int value = static_cast<int>(status);
    report_.end(call, CallText::of(value));
    report_.expect(value >= RET_OPERATE_FAILED && value <= RET_OPERATE_SUCCESS,
                   call + " returned " + CallText::of(value) + ", which is no RETSTATUS");
    return status;
}

void ApiProgram::skip(const std::string& call, const std::string& why) {
    report_.call(call + " skipped: " + why);
}

bool ApiProgram::takeAbandonBudget() {
    int left = g_abandonBudget.load();
    while (left > 0) {
        if (g_abandonBudget.compare_exchange_weak(left, left - 1)) return true;
    }
    return false;
}

}  // namespace zeta::fuzz
