// ApiProgram: connection and handle lifecycle, enumeration, firmware version and status texts.
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ApiProgram.h"
#include "CallText.h"
#include "CallbackProbe.h"
#include "EdgeValues.h"
#include "zetaVoroSim/SimControl.h"

namespace zeta::fuzz {

using namespace zetaVoroSync;

namespace {

// Every mode string of the connection table, then near misses. Only "STRIPE" has a synchroniser
// in this build; every other string must be refused with RET_SYNC_TYPE_UNSUPPORTED.
constexpr const char* kModes[] = {
    "LASER",          "CALIBRATE_E7", "SPECKLE", "SPECKLE_E7", "STRIPE", "E7STRIPE",
    "STRIPESEQUENCE", "SPECKLELASER", "DPLASER", "stripe",     "",       "STRIPE ",
    " STRIPE",        "STRIPEX",      "STRIP",   nullptr};
constexpr std::size_t kModeCount = sizeof kModes / sizeof kModes[0];

const char* modeOperand(ByteReader& in) {
    const std::uint8_t pick = in.byte();
    return pick < 128 ? "STRIPE" : kModes[pick % kModeCount];
}

const std::string& longText() {
    static const std::string* text = new std::string(300, 'Z');
    return *text;
}

// The rig's board path most of the time, else a path the board refuses (null included).
const char* pathOperand(ByteReader& in) {
    const std::uint8_t pick = in.byte();
    if (pick < 208) return FuzzRig::kBoardPath;
    const char* const bad[] = {nullptr,       "",           "sim:board1",
                               "sim:board0 ", "SIM:BOARD0", longText().c_str()};
    return bad[pick % (sizeof bad / sizeof bad[0])];
}

bool isBoardPath(const char* path) {
    return path != nullptr && std::strcmp(path, FuzzRig::kBoardPath) == 0;
}

bool isStripe(const char* mode) {
    return mode != nullptr && std::strcmp(mode, "STRIPE") == 0;
}

// Texts of GetStatusDescriptionString, by status value.
constexpr const char* kStatusTexts[] = {
    "Operate failed",
    "Connect projector failed or projector is not connected",
    "Connect camera(s) failed or camera(s) is(are) not connected",
    "Parameter which you input, for example, NULL pointer, error size of array or error value",
    "The synchronism type which you input is not supported",
    ("The operation is not be supported by the current device or operation not be support in "
     "current function"),
    "You have not connected the device, so please connect device first",
    "Operate success",
};

// Placeholders the program passes where the library must write a new pointer or leave it be.
char g_textPlaceholder = 0;

// The type name of the rig's cameras, then others.
const char* cameraTypeOperand(ByteReader& in) {
    const std::uint8_t pick = in.byte();
    if (pick < 160) return "ZV";
    const char* const others[] = {"", nullptr, "XX", "zv", "ZV ", "Z"};
    return others[pick % (sizeof others / sizeof others[0])];
}

}  // namespace

void ApiProgram::connect(ByteReader& in) {
    const std::size_t target = in.choose(kHandleVariables);
    const char* mode = modeOperand(in);
    const char* path = pathOperand(in);

    // The serial list: mostly the rig's cameras (a run of one serial is one multi-sensor camera,
    // a serial again later is opened twice), sometimes odd names; now and then a long list.
    std::uint8_t pick = in.byte();
    const std::size_t count = pick < 12 ? 0 : (pick < 220 ? 1 + pick % 3 : 4 + pick % 17);
    std::vector<std::string> storage;
    std::vector<bool> nullName;
    const std::string longName(1000, 'V');
    for (std::size_t i = 0; i < count; ++i) {
        pick = in.byte();
        const auto& cameras = rig_->cameras();
        if (pick < 208) {
            storage.push_back(cameras[pick % cameras.size()].serial);
            nullName.push_back(false);
        } else {
            const char* const odd[] = {nullptr, "", "ZV9999", "zv0001", "ZV0001 ", "long"};
            const char* name = odd[pick % (sizeof odd / sizeof odd[0])];
            storage.push_back(name == nullptr ? ""
                                              : (std::strcmp(name, "long") == 0 ? longName : name));
            nullName.push_back(name == nullptr);
        }
    }
    std::vector<char*> names;
    std::vector<std::string> shown;
    bool anyNull = false;
    for (std::size_t i = 0; i < count; ++i) {
        names.push_back(nullName[i] ? nullptr : storage[i].data());
        shown.push_back(CallText::quoted(names.back()));
        anyNull = anyNull || nullName[i];
    }
    std::vector<int> widths;
    std::vector<int> heights;
    for (std::size_t i = 0; i < count; ++i) {
        const FuzzRig::Camera* camera = rig_->find(storage[i]);
        if (in.byte() < 200) {
            widths.push_back(camera != nullptr ? camera->frameWidth : 48);
            heights.push_back(camera != nullptr ? camera->frameHeight : 32);
        } else {
            widths.push_back(EdgeValues::anyInt(in));
            heights.push_back(EdgeValues::anyInt(in));
        }
    }
    pick = in.byte();
    if (pick >= 224) {
        switch (pick % 5) {
            case 0:
                widths.push_back(48);
                break;
            case 1:
                if (!widths.empty()) widths.pop_back();
                break;
            case 2:
                heights.push_back(32);
                break;
            case 3:
                if (!heights.empty()) heights.pop_back();
                break;
            default:
                widths.clear();
                heights.clear();
                break;
        }
    }

    const std::string call = "ConnectDevice(" + CallText::quoted(mode) + ", " +
                             CallText::quoted(path) + ", " + CallText::list(shown) + ", " +
                             CallText::list(widths) + ", " + CallText::list(heights) + ", " +
                             handleName(target) + ")";
    const bool sizesAgree = names.size() == widths.size() && widths.size() == heights.size();
    const bool createsObject = mode != nullptr && sizesAgree && !anyNull && isStripe(mode);
    if (createsObject && isBoardPath(path) && live_.handle != nullptr) {
        skip(call, "a second live connection would leave the first one to the process exit");
        return;
    }
    // A faulty board may refuse a good path too.
    const bool mayAbandon = !isBoardPath(path) || boardFaults_;
    if (createsObject && mayAbandon && !takeAbandonBudget()) {
        skip(call, "the library would keep one more object alive until the process ends");
        return;
    }

    void*& handle = handles_[target];
    void* const before = handle;
    const RETSTATUS status =
        invoke(call, [&] { return ConnectDevice(mode, path, names, widths, heights, handle); });
    if (!createsObject) {
        const RETSTATUS expected = (mode == nullptr || !sizesAgree || anyNull)
                                       ? RET_PARAMETER_ERROR
                                       : RET_SYNC_TYPE_UNSUPPORTED;
        report_.expect(status == expected, call + " returned " +
                                               CallText::of(static_cast<int>(status)) + ", not " +
                                               CallText::of(static_cast<int>(expected)));
    } else if (!isBoardPath(path)) {
        report_.expect(status == RET_PARAMETER_ERROR || status == RET_PROJECTOR_UNCONNECTED,
                       call + " with a board that cannot be opened returned " +
                           CallText::of(static_cast<int>(status)));
    } else if (status == RET_OPERATE_SUCCESS) {
        report_.expect(handle != nullptr, call + " succeeded with a null handle");
        live_ = Live{};
        live_.handle = handle;
        live_.cameraCount = static_cast<int>(count);
        live_.serials = storage;
        // A run of equal serials is one camera thread.
        int runs = 0;
        for (std::size_t i = 0; i < count; ++i) {
            if (i == 0 || storage[i] != storage[i - 1]) ++runs;
        }
        // A channel word numbers sixteen camera threads: more are refused.
        report_.expect(runs <= 16, call + " accepted more than sixteen camera threads");
        return;
    } else {
        report_.expect(count > 0 || status == RET_PARAMETER_ERROR,
                       call + " with no camera returned " + CallText::of(static_cast<int>(status)));
    }
    bool allKnown = count > 0;
    for (const std::string& serial : storage) {
        const FuzzRig::Camera* camera = rig_->find(serial);
        allKnown = allKnown && camera != nullptr && camera->present;
    }
    report_.expect(status != RET_OPERATE_SUCCESS || allKnown,
                   call + " connected a camera the rig does not have");
    report_.expect(handle == before, call + " failed but wrote the handle");
}

void ApiProgram::disconnect(ByteReader& in) {
    const std::size_t operand = handleOperand(in);
    void*& handle = handleRef(operand);
    const std::string name = handleName(operand);
    if (isLive(handle)) {
        destroyLive(handle, name);
        return;
    }
    const std::string call = "DisConnectDevice(" + name + ")";
    if (handle != nullptr && live_.handle != nullptr) {
        skip(call,
             "a handle that is not live would reset the device number and leave the live one to "
             "the process exit");
        return;
    }
    const bool wasNull = handle == nullptr;
    const RETSTATUS status = invoke(call, [&] { return DisConnectDevice(handle); });
    report_.expect(status == (wasNull ? RET_HANDLE_NULL : RET_OPERATE_SUCCESS),
                   call + " returned " + CallText::of(static_cast<int>(status)));
    report_.expect(handle == nullptr, call + " did not null the handle");
}

void ApiProgram::destroyLive(void*& handle, const std::string& name) {
    void* const address = handle;
    const std::string call = "DisConnectDevice(" + name + ")";
    const RETSTATUS status = invoke(call, [&] { return DisConnectDevice(handle); });
    report_.expect(status == RET_OPERATE_SUCCESS,
                   call + " returned " + CallText::of(static_cast<int>(status)));
    report_.expect(handle == nullptr, call + " did not null the handle");
    live_ = Live{};
    // A copy of the destroyed handle must be refused from now on.
    void* copy = address;
    int count = -1;
    const RETSTATUS probe = invoke("GetConnectCameraCount(copy of the destroyed handle)",
                                   [&] { return GetConnectCameraCount(copy, count); });
    report_.expect(probe == RET_HANDLE_NULL,
                   "a copy of a handle DisConnectDevice destroyed is still accepted (" +
                       CallText::of(static_cast<int>(probe)) + ")");
    expectDevicesClosed("after " + call);
}

void ApiProgram::expectDevicesClosed(const std::string& when) {
    const zeta::sim::BoardState board = zeta::sim::boardState();
    report_.expect(board.openHandles == 0,
                   "the board has " + std::to_string(board.openHandles) + " handles open " + when);
    for (const FuzzRig::Camera& camera : rig_->cameras()) {
        zeta::sim::CameraStats stats;
        if (!zeta::sim::cameraStats(camera.serial, stats)) continue;
        report_.expect(stats.openHandles == 0, "camera " + camera.serial + " has " +
                                                   std::to_string(stats.openHandles) +
                                                   " handles open " + when);
    }
}

void ApiProgram::copyHandle(ByteReader& in) {
    const std::size_t from = handleOperand(in);
    const std::size_t to = in.choose(kHandleVariables);
    report_.call("h" + std::to_string(to) + " = " + handleName(from));
    handles_[to] = handleRef(from);
}

void ApiProgram::reconnect(ByteReader& in) {
    const std::size_t operand = handleOperand(in);
    void* const& handle = handleRef(operand);
    const std::string call = "ReconnectDevice(" + handleName(operand) + ")";
    if (isLive(handle) && boardFaults_) {
        if (faultyReconnects_ >= kMaxFaultyReconnects) {
            skip(call, "the program's reconnections to a faulty board are used up");
            return;
        }
        ++faultyReconnects_;
    }
    const RETSTATUS status = invoke(call, [&] { return ReconnectDevice(handle); });
    expectRefused(handle, status, call);
    if (isLive(handle)) live_.camerasClosed = status != RET_OPERATE_SUCCESS;
}

void ApiProgram::closeCameras(ByteReader& in) {
    const std::size_t operand = handleOperand(in);
    void* const& handle = handleRef(operand);
    const std::string call = "CloseDeviceCamera(" + handleName(operand) + ")";
    const RETSTATUS status = invoke(call, [&] { return CloseDeviceCamera(handle); });
    expectRefused(handle, status, call);
    if (isLive(handle)) {
        report_.expect(status == RET_OPERATE_SUCCESS,
                       call + " returned " + CallText::of(static_cast<int>(status)));
        live_.camerasClosed = true;
    }
}

void ApiProgram::autoReconnect(ByteReader& in) {
    const std::size_t operand = handleOperand(in);
    void* const& handle = handleRef(operand);
    const bool enable = in.flag();
    const bool watchProjector = in.flag();
    std::vector<bool> watchCameras(in.choose(7));
    std::vector<std::string> shown;
    for (std::size_t i = 0; i < watchCameras.size(); ++i) {
        watchCameras[i] = in.flag();
        shown.push_back(CallText::of(static_cast<bool>(watchCameras[i])));
    }
    const std::string call = "EnableAutoReconnect(" + handleName(operand) + ", " +
                             CallText::of(enable) + ", " + CallText::of(watchProjector) + ", " +
                             CallText::list(shown) + ")";
    const RETSTATUS status = invoke(
        call, [&] { return EnableAutoReconnect(handle, enable, watchProjector, watchCameras); });
    expectRefused(handle, status, call);
    if (isLive(handle)) {
        report_.expect(status == RET_OPERATE_SUCCESS,
                       call + " returned " + CallText::of(static_cast<int>(status)));
    }
}

void ApiProgram::firmwareVersion(ByteReader& in) {
    const std::size_t operand = handleOperand(in);
    void* handle = handleRef(operand);
    const std::uint8_t modePick = in.byte();
    const char* mode = modePick < 160 ? "STRIPE" : kModes[modePick % kModeCount];
    const char* path = pathOperand(in);
    const std::string call = "GetFirewareVersion(" + handleName(operand) + ", " +
                             CallText::quoted(mode) + ", " + CallText::quoted(path) + ")";
    const bool temporary = handle == nullptr && isStripe(mode);
    if (temporary && (!isBoardPath(path) || boardFaults_) && !takeAbandonBudget()) {
        skip(call, "the library would keep one more object alive until the process ends");
        return;
    }
    std::string version = "not a version";
    const RETSTATUS status =
        invoke(call, [&] { return GetFirewareVersion(handle, mode, path, version); });
    const std::string got = call + " returned " + CallText::of(static_cast<int>(status));
    if (handle != nullptr) {
        expectRefused(handle, status, call);
    } else if (mode == nullptr) {
        report_.expect(status == RET_HANDLE_NULL, got);
    } else if (!isStripe(mode)) {
        report_.expect(status == RET_SYNC_TYPE_UNSUPPORTED, got);
    } else if (!isBoardPath(path)) {
        report_.expect(status == RET_PARAMETER_ERROR || status == RET_PROJECTOR_UNCONNECTED, got);
    } else if (!boardFaults_) {
        report_.expect(status == RET_OPERATE_SUCCESS, got);
    }
    if (status == RET_OPERATE_SUCCESS) {
        report_.expect(version == rig_->firmware(), call + " gave the version \"" + version +
                                                        "\", not \"" + rig_->firmware() + "\"");
    }
}

void ApiProgram::cameraQuery(ByteReader& in) {
    int present = 0;
    for (const FuzzRig::Camera& camera : rig_->cameras()) present += camera.present ? 1 : 0;
    switch (in.choose(3)) {
        case 0: {
            const char* type = cameraTypeOperand(in);
            // Lists that already hold entries: the function appends to them.
            const std::size_t kept = in.choose(3);
            static char placeholder[4] = "old";
            std::vector<char*> serials(kept, placeholder);
            std::vector<int> widths(kept, -7);
            std::vector<int> heights(kept, -7);
            std::vector<bool> flags(kept, true);
            int cameraCount = -7;
            const std::string call = "GetCamerasInformation(" + CallText::quoted(type) +
                                     ", lists of " + std::to_string(kept) + ")";
            const RETSTATUS status = invoke(call, [&] {
                return GetCamerasInformation(type, serials, widths, heights, flags, cameraCount);
            });
            report_.expect(status == RET_OPERATE_SUCCESS,
                           call + " returned " + CallText::of(static_cast<int>(status)));
            const std::size_t added = serials.size() - kept;
            report_.expect(widths.size() == kept + added && heights.size() == kept + added &&
                               flags.size() == kept + added &&
                               cameraCount == static_cast<int>(added),
                           call + " appended lists of unequal sizes or a wrong count");
            const bool typeOfRig = type != nullptr && std::strcmp(type, "ZV") == 0;
            report_.expect(cameraFaults_ || cameraCount == (typeOfRig ? present : 0),
                           call + " counted " + std::to_string(cameraCount) + " cameras");
            for (std::size_t i = 0; i < serials.size(); ++i) {
                if (i < kept) {
                    report_.expect(serials[i] == placeholder, call + " changed a caller's entry");
                    continue;
                }
                // Each appended serial is a 260-byte malloc'd block the caller frees.
                CallbackProbe::touch(reinterpret_cast<unsigned char*>(serials[i]), 260);
                std::free(serials[i]);
            }
            break;
        }
        case 1: {
            const char* type = cameraTypeOperand(in);
            int count = -7;
            const std::string call = "GetCameraCount(" + CallText::quoted(type) + ")";
            const RETSTATUS status = invoke(call, [&] { return GetCameraCount(type, count); });
            report_.expect(status == RET_OPERATE_SUCCESS,
                           call + " returned " + CallText::of(static_cast<int>(status)));
            const bool typeOfRig = type != nullptr && std::strcmp(type, "ZV") == 0;
            report_.expect(cameraFaults_ || count == (typeOfRig ? present : 0),
                           call + " counted " + std::to_string(count) + " cameras");
            break;
        }
        default: {
            const std::uint8_t pick = in.byte();
            const auto& cameras = rig_->cameras();
            const char* const others[] = {nullptr, "XX0001", "Z", "", "zv0001", "ZV", "ZV9999"};
            const char* name = pick < 128 ? cameras[pick % cameras.size()].serial.c_str()
                                          : others[pick % (sizeof others / sizeof others[0])];
            bool onU3 = false;
            const std::string call = "IsConnectedOnU3(" + CallText::quoted(name) + ")";
            const RETSTATUS status = invoke(call, [&] { return IsConnectedOnU3(name, onU3); });
            if (name == nullptr || std::strncmp(name, "ZV", 2) != 0) {
                report_.expect(status == RET_OPERATION_UNSUPPORTED,
                               call + " returned " + CallText::of(static_cast<int>(status)));
            }
            break;
        }
    }
}

void ApiProgram::statusText(ByteReader& in) {
    const RETSTATUS status = static_cast<RETSTATUS>(EdgeValues::enumValue(in, 8));
    const bool wantText = in.flag();
    char* text = wantText ? &g_textPlaceholder : nullptr;
    const std::string call = "GetStatusDescriptionString(" +
                             CallText::of(static_cast<int>(status)) + ", " +
                             (wantText ? "placeholder" : "null") + ")";
    report_.begin(call);
    GetStatusDescriptionString(status, text);
    report_.end(call, "done");
    if (!wantText) {
        report_.expect(text == nullptr, call + " wrote a null text pointer");
        return;
    }
    if (text == &g_textPlaceholder || text == nullptr) {
        report_.violation(call + " gave no text");
        return;
    }
    const int value = static_cast<int>(status);
    const char* expected = value >= 0 && value <= 7 ? kStatusTexts[value] : "";
    report_.expect(std::strcmp(text, expected) == 0, call + " gave \"" + std::string(text) + "\"");
    std::free(text);
}

}  // namespace zeta::fuzz
