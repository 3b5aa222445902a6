// ApiProgram: triggers, strobes, projector, time stamps, camera parameters and callbacks.
#include <cstdlib>
#include <cstring>
#include <string>

#include "ApiProgram.h"
#include "CallText.h"
#include "CallbackProbe.h"
#include "EdgeValues.h"

namespace zeta::fuzz {

using namespace zetaVoroSync;

namespace {

std::string statusOf(RETSTATUS status) {
    return CallText::of(static_cast<int>(status));
}

CONTROLROUTE routeOperand(ByteReader& in) {
    return static_cast<CONTROLROUTE>(EdgeValues::enumValue(in, 3));
}

// A period or width: mostly short, now and then anything.
int timingOperand(ByteReader& in) {
    return EdgeValues::smallInt(in);
}

// A period or pulse width at this value may make the colour snap's settle sleeps long.
bool isLongTiming(int value) {
    return value < 0 || value > 20;
}

bool isSingleRoute(CONTROLROUTE route) {
    return route == CONTROLROUTE_MONO || route == CONTROLROUTE_COLOR;
}

char g_serialPlaceholder = 0;

}  // namespace

void ApiProgram::expectCameraIndex(const void* handle, int index, RETSTATUS status,
                                   const std::string& call) {
    expectRefused(handle, status, call);
    if (!isLive(handle)) return;
    // Camera numbers are positions in the serial list given to ConnectDevice.
    const bool outside = index < 0 || (!live_.camerasClosed && index >= live_.cameraCount);
    if (outside) {
        report_.expect(status == RET_PARAMETER_ERROR,
                       call + " with a camera outside the list returned " + statusOf(status));
    }
}

void ApiProgram::routeSetter(ByteReader& in) {
    const std::size_t operand = handleOperand(in);
    void* const& handle = handleRef(operand);
    const std::string h = handleName(operand);
    const CONTROLROUTE route = routeOperand(in);
    const std::string r = CallText::of(static_cast<int>(route));
    std::string call;
    RETSTATUS status = RET_OPERATE_FAILED;
    switch (in.choose(7)) {
        case 0: {
            const int period = timingOperand(in);
            call = "SetVideoTriggerPeriod(" + h + ", " + r + ", " + CallText::of(period) + ")";
            status = invoke(call, [&] { return SetVideoTriggerPeriod(handle, route, period); });
            if (status == RET_OPERATE_SUCCESS && route != CONTROLROUTE_COLOR &&
                isLongTiming(period)) {
                live_.timingDirty = true;
            }
            break;
        }
        case 1: {
            const int width = timingOperand(in);
            call = "SetTriggerPulseWidth(" + h + ", " + r + ", " + CallText::of(width) + ")";
            status = invoke(call, [&] { return SetTriggerPulseWidth(handle, route, width); });
            if (status == RET_OPERATE_SUCCESS && route != CONTROLROUTE_COLOR &&
                isLongTiming(width)) {
                live_.timingDirty = true;
            }
            break;
        }
        case 2: {
            const auto polarity = static_cast<TRIGGERPOLARITY>(EdgeValues::enumValue(in, 2));
            call = "SetTriggerPolarity(" + h + ", " + r + ", " +
                   CallText::of(static_cast<int>(polarity)) + ")";
            status = invoke(call, [&] { return SetTriggerPolarity(handle, route, polarity); });
            break;
        }
        case 3: {
            const bool enable = in.flag();
            call = "EnableVideoTrigger(" + h + ", " + r + ", " + CallText::of(enable) + ")";
            status = invoke(call, [&] { return EnableVideoTrigger(handle, route, enable); });
            break;
        }
        case 4:
            call = "PushSingleTrigger(" + h + ", " + r + ")";
            status = invoke(call, [&] { return PushSingleTrigger(handle, route); });
            break;
        case 5: {
            const bool on = in.flag();
            call = "PowerStrobeUp(" + h + ", " + r + ", " + CallText::of(on) + ")";
            status = invoke(call, [&] { return PowerStrobeUp(handle, route, on); });
            break;
        }
        default: {
            const bool on = in.flag();
            call = "SetStrobeControlledByTrigger(" + h + ", " + r + ", " + CallText::of(on) + ")";
            status = invoke(call, [&] { return SetStrobeControlledByTrigger(handle, route, on); });
            break;
        }
    }
    expectRefused(handle, status, call);
}

void ApiProgram::routeGetter(ByteReader& in) {
    const std::size_t operand = handleOperand(in);
    void* const& handle = handleRef(operand);
    const std::string h = handleName(operand);
    const CONTROLROUTE route = routeOperand(in);
    const std::string r = CallText::of(static_cast<int>(route));
    std::string call;
    RETSTATUS status = RET_OPERATE_FAILED;
    switch (in.choose(3)) {
        case 0: {
            int period = -7;
            call = "GetVideoTriggerPeriod(" + h + ", " + r + ")";
            status = invoke(call, [&] { return GetVideoTriggerPeriod(handle, route, period); });
            break;
        }
        case 1: {
            int width = -7;
            call = "GetTriggerPulseWidth(" + h + ", " + r + ")";
            status = invoke(call, [&] { return GetTriggerPulseWidth(handle, route, width); });
            break;
        }
        default: {
            TRIGGERPOLARITY polarity = static_cast<TRIGGERPOLARITY>(-7);
            call = "GetTriggerPolarity(" + h + ", " + r + ")";
            status = invoke(call, [&] { return GetTriggerPolarity(handle, route, polarity); });
            if (status == RET_OPERATE_SUCCESS) {
                report_.expect(
                    polarity == TRIGGERPOLARITY_LOW || polarity == TRIGGERPOLARITY_HIGH,
                    call + " gave the polarity " + CallText::of(static_cast<int>(polarity)));
            }
            break;
        }
    }
    expectRefused(handle, status, call);
    if (isLive(handle) && !isSingleRoute(route)) {
        report_.expect(status == RET_PARAMETER_ERROR,
                       call + " of a route other than 0 and 1 returned " + statusOf(status));
    }
}

void ApiProgram::projector(ByteReader& in) {
    const std::size_t operand = handleOperand(in);
    void* const& handle = handleRef(operand);
    const std::string h = handleName(operand);
    std::string call;
    RETSTATUS status = RET_OPERATE_FAILED;
    switch (in.choose(9)) {
        case 0: {
            const auto type = static_cast<PROJECTTYPES>(EdgeValues::enumValue(in, 13));
            call = "Project(" + h + ", " + CallText::of(static_cast<int>(type)) + ")";
            status = invoke(call, [&] { return Project(handle, type); });
            if (isLive(handle) && (type < 0 || type > 12)) {
                report_.expect(status == RET_OPERATION_UNSUPPORTED,
                               call + " of a pattern outside 0..12 returned " + statusOf(status));
            }
            break;
        }
        case 1: {
            const auto state = static_cast<DISTANCESTATUS>(EdgeValues::enumValue(in, 4));
            call = "SetDistanceIndicate(" + h + ", " + CallText::of(static_cast<int>(state)) + ")";
            status = invoke(call, [&] { return SetDistanceIndicate(handle, state); });
            break;
        }
        case 2: {
            const bool on = in.flag();
            call = "EnableZoomFunction(" + h + ", " + CallText::of(on) + ")";
            status = invoke(call, [&] { return EnableZoomFunction(handle, on); });
            break;
        }
        case 3: {
            const int percent = EdgeValues::anyInt(in);
            call = "SetProjectorBrightness(" + h + ", " + CallText::of(percent) + ")";
            status = invoke(call, [&] { return SetProjectorBrightness(handle, percent); });
            break;
        }
        case 4: {
            int percent = -7;
            call = "GetProjectorBrightness(" + h + ")";
            status = invoke(call, [&] { return GetProjectorBrightness(handle, percent); });
            if (status == RET_OPERATE_SUCCESS) {
                report_.expect(percent >= 0 && percent <= 100,
                               call + " gave " + CallText::of(percent) + " per cent");
            }
            break;
        }
        case 5: {
            const bool ir = in.flag();
            const bool laser = in.flag();
            call = "EnableIRProjectorAndLaser(" + h + ", " + CallText::of(ir) + ", " +
                   CallText::of(laser) + ")";
            status = invoke(call, [&] { return EnableIRProjectorAndLaser(handle, ir, laser); });
            break;
        }
        case 6:
            call = "ResetColorModule(" + h + ")";
            status = invoke(call, [&] { return ResetColorModule(handle); });
            break;
        case 7:
            call = "EnterFixScanFastMode(" + h + ")";
            status = invoke(call, [&] { return EnterFixScanFastMode(handle); });
            break;
        default:
            call = "EnterFixScanFreeProjectMode(" + h + ")";
            status = invoke(call, [&] { return EnterFixScanFreeProjectMode(handle); });
            break;
    }
    expectRefused(handle, status, call);
}

void ApiProgram::misc(ByteReader& in) {
    const std::size_t operand = handleOperand(in);
    void* const& handle = handleRef(operand);
    const std::string h = handleName(operand);
    const std::string got = " returned ";
    std::string call;
    RETSTATUS status = RET_OPERATE_FAILED;
    switch (in.choose(11)) {
        case 0: {
            const int route = EdgeValues::anyInt(in);
            call = "ResetCameraTimeStamp(" + h + ", " + CallText::of(route) + ")";
            status = invoke(call, [&] { return ResetCameraTimeStamp(handle, route); });
            break;
        }
        case 1:
            call = "ResetCameraTimeStamp(" + h + ")";
            status = invoke(call, [&] { return ResetCameraTimeStamp(handle); });
            break;
        case 2: {
            const auto type = static_cast<TIMESTAMP_TYPE>(EdgeValues::enumValue(in, 2));
            call =
                "SpecifiedTimeStampType(" + h + ", " + CallText::of(static_cast<int>(type)) + ")";
            status = invoke(call, [&] { return SpecifiedTimeStampType(handle, type); });
            break;
        }
        case 3: {
            int width = EdgeValues::anyInt(in);
            int height = EdgeValues::anyInt(in);
            // The three sizes the function accepts, and one of them turned round.
            const int pick = in.choose(8);
            const int sizes[4][2] = {{640, 512}, {704, 576}, {1280, 1024}, {1024, 1280}};
            if (pick < 4) {
                width = sizes[pick][0];
                height = sizes[pick][1];
            }
            call = "ResetVideoWidthHeight(" + h + ", " + CallText::of(width) + ", " +
                   CallText::of(height) + ")";
            status = invoke(call, [&] { return ResetVideoWidthHeight(handle, width, height); });
            const bool known = (width == 640 && height == 512) || (width == 704 && height == 576) ||
                               (width == 1280 && height == 1024);
            if (isLive(handle) && !known) {
                report_.expect(status == RET_PARAMETER_ERROR, call + got + statusOf(status));
            }
            break;
        }
        case 4: {
            const int span = EdgeValues::anyInt(in);
            call = "SetMonoColorSpan(" + h + ", " + CallText::of(span) + ")";
            status = invoke(call, [&] { return SetMonoColorSpan(handle, span); });
            if (handle == nullptr || span < 0 || span > 4) {
                report_.expect(status == RET_PARAMETER_ERROR, call + got + statusOf(status));
                return;
            }
            break;
        }
        case 5: {
            const int camera = EdgeValues::cameraIndex(in);
            const int time = EdgeValues::anyInt(in);
            call = "SetStrobeLightingTime(" + h + ", " + CallText::of(camera) + ", " +
                   CallText::of(time) + ")";
            status = invoke(call, [&] { return SetStrobeLightingTime(handle, camera, time); });
            if (handle == nullptr || time < 0 || time > 10000) {
                report_.expect(status == RET_PARAMETER_ERROR, call + got + statusOf(status));
                return;
            }
            break;
        }
        case 6: {
            const bool speckle = in.flag();
            call = "SpeckleOrLaser(" + h + ", " + CallText::of(speckle) + ")";
            status = invoke(call, [&] { return SpeckleOrLaser(handle, speckle); });
            if (isLive(handle)) {
                report_.expect(status == RET_SYNC_TYPE_UNSUPPORTED,
                               call + " in the stripe mode" + got + statusOf(status));
            }
            break;
        }
        case 7: {
            // In the stripe mode this runs a whole stripe scan: bounded like Scan.
            const int count = EdgeValues::smallInt(in);
            call = "startSequenceScan(" + h + ", " + CallText::of(count) + ")";
            if (isLive(handle) && count >= 5) {
                if (scans_ >= kMaxScans) {
                    skip(call, "the program's scans are used up");
                    return;
                }
                if (!boundScan(handle)) {
                    skip(call, "the scan could not be made short");
                    return;
                }
                ++scans_;
            }
            status = invoke(call, [&] { return startSequenceScan(handle, count); });
            if (handle == nullptr || count < 5) {
                report_.expect(status == RET_PARAMETER_ERROR, call + got + statusOf(status));
                return;
            }
            break;
        }
        case 8: {
            const int count = EdgeValues::smallInt(in);
            const int parameter = EdgeValues::anyInt(in);
            call = "startSequenceScan(" + h + ", " + CallText::of(count) + ", " +
                   CallText::of(parameter) + ")";
            status = invoke(call, [&] { return startSequenceScan(handle, count, parameter); });
            if (handle == nullptr || count < 5) {
                report_.expect(status == RET_PARAMETER_ERROR, call + got + statusOf(status));
                return;
            }
            break;
        }
        case 9:
            call = "stopSequenceScan(" + h + ")";
            status = invoke(call, [&] { return stopSequenceScan(handle); });
            break;
        default:
            call = "ResetBuffer(" + h + ")";
            status = invoke(call, [&] { return ResetBuffer(handle); });
            break;
    }
    expectRefused(handle, status, call);
}

void ApiProgram::cameraSetter(ByteReader& in) {
    const std::size_t operand = handleOperand(in);
    void* const& handle = handleRef(operand);
    const std::string h = handleName(operand);
    const int index = EdgeValues::cameraIndex(in);
    const std::string head = "(" + h + ", " + CallText::of(index) + ", ";
    std::string call;
    RETSTATUS status = RET_OPERATE_FAILED;
    switch (in.choose(7)) {
        case 0: {
            const double exposure = EdgeValues::anyDouble(in);
            call = "SetCameraExposure" + head + CallText::of(exposure) + ")";
            status = invoke(call, [&] { return SetCameraExposure(handle, index, exposure); });
            break;
        }
        case 1: {
            const int gain = EdgeValues::anyInt(in);
            call = "SetCameraGain" + head + CallText::of(gain) + ")";
            status = invoke(call, [&] { return SetCameraGain(handle, index, gain); });
            break;
        }
        case 2: {
            const int sharpness = EdgeValues::anyInt(in);
            call = "SetCameraSharpness" + head + CallText::of(sharpness) + ")";
            status = invoke(call, [&] { return SetCameraSharpness(handle, index, sharpness); });
            break;
        }
        case 3: {
            const int gamma = EdgeValues::anyInt(in);
            call = "SetCameraGamma" + head + CallText::of(gamma) + ")";
            status = invoke(call, [&] { return SetCameraGamma(handle, index, gamma); });
            break;
        }
        case 4: {
            const auto mode = static_cast<TRIGGERMODE>(EdgeValues::enumValue(in, 2));
            call = "SetCameraTriggerMode" + head + CallText::of(static_cast<int>(mode)) + ")";
            status = invoke(call, [&] { return SetCameraTriggerMode(handle, index, mode); });
            if (status == RET_OPERATE_SUCCESS && isLive(handle) && mode != 0 && index >= 0 &&
                index < live_.cameraCount) {
                const FuzzRig::Camera* camera =
                    rig_->find(live_.serials[static_cast<std::size_t>(index)]);
                if (camera != nullptr && camera->format == 18) live_.scanMayStall = true;
            }
            break;
        }
        case 5: {
            const auto binning = static_cast<BINNING_MODE>(EdgeValues::enumValue(in, 4));
            call = "SetCameraBinning" + head + CallText::of(static_cast<int>(binning)) + ")";
            status = invoke(call, [&] { return SetCameraBinning(handle, index, binning); });
            break;
        }
        default: {
            float red = EdgeValues::anyFloat(in);
            float blue = EdgeValues::anyFloat(in);
            call = "SpecifyCameraDoWhiteBalance" + head + CallText::of(static_cast<double>(red)) +
                   ", " + CallText::of(static_cast<double>(blue)) + ")";
            status =
                invoke(call, [&] { return SpecifyCameraDoWhiteBalance(handle, index, red, blue); });
            break;
        }
    }
    expectCameraIndex(handle, index, status, call);
}

void ApiProgram::cameraGetter(ByteReader& in) {
    const std::size_t operand = handleOperand(in);
    void* const& handle = handleRef(operand);
    const std::string h = handleName(operand);
    const int index = EdgeValues::cameraIndex(in);
    const std::string head = "(" + h + ", " + CallText::of(index) + ")";
    std::string call;
    RETSTATUS status = RET_OPERATE_FAILED;
    bool indexed = true;
    switch (in.choose(12)) {
        case 0: {
            double exposure = -7;
            call = "GetCameraExposure" + head;
            status = invoke(call, [&] { return GetCameraExposure(handle, index, exposure); });
            break;
        }
        case 1: {
            int gain = -7;
            call = "GetCameraGain" + head;
            status = invoke(call, [&] { return GetCameraGain(handle, index, gain); });
            break;
        }
        case 2: {
            int sharpness = -7;
            call = "GetCameraSharpness" + head;
            status = invoke(call, [&] { return GetCameraSharpness(handle, index, sharpness); });
            break;
        }
        case 3: {
            int gamma = -7;
            call = "GetCameraGamma" + head;
            status = invoke(call, [&] { return GetCameraGamma(handle, index, gamma); });
            break;
        }
        case 4: {
            auto mode = static_cast<TRIGGERMODE>(-7);
            call = "GetCameraTriggerMode" + head;
            status = invoke(call, [&] { return GetCameraTriggerMode(handle, index, mode); });
            if (status == RET_OPERATE_SUCCESS) {
                report_.expect(mode == TRIGGERMODE_FREERUN || mode == TRIGGERMODE_TRIGGERED,
                               call + " gave the mode " + CallText::of(static_cast<int>(mode)));
            }
            break;
        }
        case 5: {
            // The serial must be null on entry; a placeholder tries the other case.
            const bool placeholder = in.flag();
            char* serial = placeholder ? &g_serialPlaceholder : nullptr;
            call = "GetCameraSerialNumber" + head + (placeholder ? " into a placeholder" : "");
            status = invoke(call, [&] { return GetCameraSerialNumber(handle, index, serial); });
            if (serial != nullptr && serial != &g_serialPlaceholder) {
                // A malloc'd string: read it whole, compare it with the camera's serial.
                const std::string text(serial);
                if (status == RET_OPERATE_SUCCESS && !live_.camerasClosed && index >= 0 &&
                    index < live_.cameraCount) {
                    report_.expect(text == live_.serials[static_cast<std::size_t>(index)],
                                   call + " gave \"" + text + "\"");
                }
                std::free(serial);
            } else if (status == RET_OPERATE_SUCCESS) {
                report_.expect(placeholder, call + " succeeded without a serial");
            }
            break;
        }
        case 6: {
            int width = -7;
            int height = -7;
            call = "GetCameraResolution" + head;
            status =
                invoke(call, [&] { return GetCameraResolution(handle, index, width, height); });
            break;
        }
        case 7: {
            bool color = false;
            call = "IsCameraColor" + head;
            status = invoke(call, [&] { return IsCameraColor(handle, index, color); });
            break;
        }
        case 8: {
            float red = -7;
            float blue = -7;
            call = "GetSpecifyCameraWBRatio" + head;
            status =
                invoke(call, [&] { return GetSpecifyCameraWBRatio(handle, index, red, blue); });
            break;
        }
        case 9: {
            int channels = -7;
            call = "GetSpecifyCameraChannelNum" + head;
            status =
                invoke(call, [&] { return GetSpecifyCameraChannelNum(handle, index, channels); });
            break;
        }
        case 10: {
            int count = -7;
            indexed = false;
            call = "GetConnectCameraCount(" + h + ")";
            status = invoke(call, [&] { return GetConnectCameraCount(handle, count); });
            if (isLive(handle)) {
                report_.expect(status == (count > 0 ? RET_OPERATE_SUCCESS : RET_CAMERA_UNCONNECTED),
                               call + " returned " + statusOf(status) + " with the count " +
                                   CallText::of(count));
            }
            break;
        }
        default: {
            const bool print = in.flag();
            indexed = false;
            call = "PrintCameraSnapFailInfomation(" + h + ", " + CallText::of(print) + ")";
            status = invoke(call, [&] { return PrintCameraSnapFailInfomation(handle, print); });
            break;
        }
    }
    if (indexed) {
        expectCameraIndex(handle, index, status, call);
    } else {
        expectRefused(handle, status, call);
    }
}

void ApiProgram::callback(ByteReader& in) {
    const std::size_t operand = handleOperand(in);
    void* const& handle = handleRef(operand);
    const std::string h = handleName(operand);
    const std::size_t kind = in.choose(7);
    const bool set = in.byte() < 192;  // mostly register, sometimes unregister
    void* const contexts[] = {&CallbackProbe::instance(), nullptr, CallbackProbe::foreignContext()};
    const std::size_t contextPick = in.choose(3);
    void* context = contexts[contextPick];
    const char* contextNames[] = {"probe", "null", "foreign"};
    const std::string tail =
        std::string(", ") + (set ? "callback" : "null") + ", " + contextNames[contextPick] + ")";
    std::string call;
    RETSTATUS status = RET_OPERATE_FAILED;
    switch (kind) {
        case 0:
            call = "SetDisplayCallBackFunction(" + h + tail;
            status = invoke(call, [&] {
                return SetDisplayCallBackFunction(handle, set ? &CallbackProbe::display : nullptr,
                                                  context);
            });
            break;
        case 1:
            call = "SetDisplayCallBackFunction2(" + h + tail;
            status = invoke(call, [&] {
                return SetDisplayCallBackFunction2(handle, set ? &CallbackProbe::display2 : nullptr,
                                                   context);
            });
            break;
        case 2:
            call = "SetScanCallBackFunction(" + h + tail;
            status = invoke(call, [&] {
                return SetScanCallBackFunction(handle, set ? &CallbackProbe::scan : nullptr,
                                               context);
            });
            if (isLive(handle)) {
                report_.expect(status == RET_OPERATION_UNSUPPORTED,
                               call + " in the stripe mode returned " + statusOf(status));
            }
            break;
        case 3:
            call = "SetScanCallBackFunction2(" + h + tail;
            status = invoke(call, [&] {
                return SetScanCallBackFunction2(handle, set ? &CallbackProbe::scan2 : nullptr,
                                                context);
            });
            break;
        case 4:
            call = "SetScanFullCallBackFunction(" + h + tail;
            status = invoke(call, [&] {
                return SetScanFullCallBackFunction(handle, set ? &CallbackProbe::full : nullptr,
                                                   context);
            });
            break;
        case 5:
            call = "SetTextureScanFullCallBackFunction(" + h + tail;
            status = invoke(call, [&] {
                return SetTextureScanFullCallBackFunction(
                    handle, set ? &CallbackProbe::texture : nullptr, context);
            });
            break;
        default:
            call = "SetStatusCallBackFunction(" + h + tail;
            status = invoke(call, [&] {
                return SetStatusCallBackFunction(handle, set ? &CallbackProbe::status : nullptr,
                                                 context);
            });
            break;
    }
    expectRefused(handle, status, call);
}

}  // namespace zeta::fuzz
