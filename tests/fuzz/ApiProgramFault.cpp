// ApiProgram: faults of the virtual scanner injected between exported calls, through its control
// API: failing device operations, unplugged and replugged devices, lost, repeated and misnumbered
// frames, status bytes with error bits. They reach the library's failure paths, which a host sees
// when a cable is pulled. Loading the rig at the start of the next program clears them all.
#include <string>
#include <vector>

#include "ApiProgram.h"
#include "CallText.h"
#include "EdgeValues.h"
#include "zetaVoroSim/SimControl.h"

namespace zeta::fuzz {

namespace {

// Board operations the library calls. zetaExitHidDev is left out: a board that refuses to be
// closed keeps its handle, which the end-of-program check would blame on the library.
const std::vector<const char*>& boardOperations() {
    static const auto* operations = new std::vector<const char*>{
        "zetaInitHidDev",
        "zetaStartOrStopVideoTrigger",
        "zetaSetVideoTriggerPeriod",
        "zetaSetTriggerPulseWidth",
        "zetaSetTriggerPolarity",
        "zetaQueryMonoCameraVideoTriggerParameter",
        "zetaQueryMonoCameraTriggerParameter",
        "zetaOutputSingleTrigger",
        "zetaProject",
        "zetaOpenOrCloseStrobe",
        "zetaOpenOrCloseStrobeFlicker",
        "zetaSetProjectorBrightnessPercent",
        "zetaQueryProjectorBrightnessPercent",
        "zetaScan",
        "zetaSetStripeScanParameter",
        "zetaResetCameraTimeStamp",
        "zetaSetCameraTimeStampType",
        "zetaQueryCurrentStatus",
        "zetaQueryProjectorFirewareVersion",
        "zetaSendReportCmd",
        "zetaE7StartWriteImage",
        "zetaE7WriteImageData",
        "zetaE7StopWriteImage",
    };
    return *operations;
}

// Camera operations the library calls. ReleaseCamera is left out for the same reason.
const std::vector<const char*>& cameraOperations() {
    static const auto* operations = new std::vector<const char*>{"CreateCamera",
                                                                 "GetDeviceTotal",
                                                                 "OpenCamera",
                                                                 "CloseCamera",
                                                                 "StartCamera",
                                                                 "SnapShot",
                                                                 "SplitImage",
                                                                 "LockSnapThread",
                                                                 "SetExposureTime",
                                                                 "GetExposureTime",
                                                                 "SetGain",
                                                                 "GetGain",
                                                                 "GetResolution",
                                                                 "GetSerialNo",
                                                                 "GetColorMode",
                                                                 "GetTriggerMode",
                                                                 "SetTriggerMode",
                                                                 "SetBinningSize",
                                                                 "AutoWhiteBalance",
                                                                 "ResetCameraState",
                                                                 "SetCameraToInitializedState",
                                                                 "SpecifiedCameraTimeStampSource",
                                                                 "GetCameraIntParam",
                                                                 "SetCameraIntParam"};
    return *operations;
}

}  // namespace

std::string ApiProgram::faultDevice(ByteReader& in, bool withLibraries) {
    const auto& cameras = rig_->cameras();
    const std::size_t pick = in.choose(cameras.size() + (withLibraries ? 3 : 1));
    if (pick == 0) return "board";
    if (pick <= cameras.size()) return cameras[pick - 1].serial;
    return pick == cameras.size() + 1 ? "camera" : "image";
}

void ApiProgram::fault(ByteReader& in) {
    constexpr int kTimes[] = {1, 2, 3, -1};
    switch (in.choose(6)) {
        case 0: {
            const std::string dev = faultDevice(in, true);
            const std::vector<const char*>& operations =
                dev == "board" ? boardOperations() : cameraOperations();
            const char* op =
                dev == "image" ? "zetaWriteImage" : operations[in.choose(operations.size())];
            const int times = kTimes[in.choose(4)];
            const int skip = static_cast<int>(in.choose(4));
            report_.call("fault: the next " + CallText::of(times) + " calls of " + op + " on " +
                         dev + " fail, after " + CallText::of(skip));
            zeta::sim::failNext(dev, op, times, skip);
            if (dev == "board") {
                boardFaults_ = true;
            } else if (dev != "image") {
                cameraFaults_ = true;
            }
            break;
        }
        case 1: {
            const std::string dev = faultDevice(in, false);
            report_.call("fault: unplug " + dev);
            zeta::sim::unplug(dev);
            (dev == "board" ? boardFaults_ : cameraFaults_) = true;
            break;
        }
        case 2: {
            const std::string dev = faultDevice(in, false);
            report_.call("fault: replug " + dev);
            zeta::sim::replug(dev);
            break;
        }
        case 3: {
            const auto& cameras = rig_->cameras();
            const std::string serial = cameras[in.choose(cameras.size())].serial;
            const std::size_t kind = in.choose(3);
            const int times = kTimes[in.choose(4)];
            const int skip = static_cast<int>(in.choose(4));
            const char* kinds[] = {"lose", "repeat", "misnumber"};
            report_.call(std::string("fault: ") + kinds[kind] + " " + CallText::of(times) +
                         " frames of " + serial + " after " + CallText::of(skip));
            if (kind == 0) {
                zeta::sim::dropFrames(serial, times, skip);
                cameraFaults_ = true;
            } else if (kind == 1) {
                zeta::sim::duplicateFrames(serial, times, skip);
            } else {
                zeta::sim::renumberFrames(serial, EdgeValues::anyInt(in), times, skip);
            }
            break;
        }
        case 4: {
            const std::uint8_t first = in.byte();
            const std::uint8_t second = in.byte();
            const std::uint8_t state = in.byte();
            const bool flag = in.flag();
            report_.call("fault: status bytes " + CallText::of(static_cast<int>(first)) + ", " +
                         CallText::of(static_cast<int>(second)) + ", " +
                         CallText::of(static_cast<int>(state)) + ", " + CallText::of(flag));
            zeta::sim::setStatus(first, second, state, flag);
            break;
        }
        default:
            report_.call("fault: clear the failing operations");
            zeta::sim::clearFailures();
            break;
    }
}

}  // namespace zeta::fuzz
