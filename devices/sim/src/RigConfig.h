// The description of a virtual scanner: one board and its cameras, as read from a rig file.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "zetaVoroSim/SimExport.h"

namespace zeta::sim {

// Counts one event against "after `skip` events, the next `times` (-1: all later) are hit";
// true when this event is hit. Shared by operation faults and frame faults.
inline bool consumeFaultCount(int& skip, int& times) {
    if (skip > 0) {
        --skip;
        return false;
    }
    if (times == -1) return true;
    if (times > 0) {
        --times;
        return true;
    }
    return false;
}

// How many calls of one operation fail: after `skip` successful calls, the next `times`
// calls fail (-1: every later call).
struct FaultRule {
    int skip = 0;
    int times = 0;

    bool consume() { return consumeFaultCount(skip, times); }
};
using FaultRules = std::map<std::string, FaultRule>;

// The same counting applied to the frames a camera produces.
struct FrameFaultRule {
    int skip = 0;
    int times = 0;
    int value = 0;  // renumber: the number written into byte 4

    bool consume() { return consumeFaultCount(skip, times); }
};

struct BoardConfig {
    std::vector<std::string> paths{"sim:board0"};
    std::string firmware{"EP-E7 V12"};
    std::uint8_t statusFirst = 0;
    std::uint8_t statusSecond = 0;
    std::uint8_t statusState = 0;
    bool statusFlag = true;
    bool present = true;
    int stripePeriodMs = 10;  // stripe trigger period until zetaSetStripeScanParameter
    int sequenceLength = 15;  // frames of one numbered sequence of SCANTYPE 9
    FaultRules fail;
};

struct CameraConfig {
    std::string serial;
    std::string type{"ZV"};
    int width = 1280;  // one sensor image
    int height = 1024;
    int format = 1;  // SN_IMG_FORMAT
    int sensors = 1;
    int route = 0;      // trigger route listened to
    double fps = 30.0;  // free-run rate
    bool usb3 = true;
    int gainMin = 0;
    int gainMax = 24;
    bool present = true;
    int deviceType = 1;       // GetDeviceType
    int snapTimeoutMs = 100;  // how long SnapShot waits for a frame
    int buffers = 8;          // frames queued per handle before the oldest is dropped
    FaultRules fail;
    std::optional<FrameFaultRule> drop;
    std::optional<FrameFaultRule> duplicate;
    std::optional<FrameFaultRule> renumber;
};

struct RigConfig {
    BoardConfig board;
    std::vector<CameraConfig> cameras;
    FaultRules cameraLibraryFail;  // calls on enumeration handles (journal device "camera")
    FaultRules imageFail;          // calls of the image library (journal device "image")
};

// Bytes per pixel of a colour format: 1, 2, 1, 3, 6; 1 for an unknown format.
ZETA_SIM_API int bytesPerPixel(int format);

// Parses a rig file's text. On failure returns nullopt and fills `error` with the key and the
// problem ("cameras[1].width: must be a number from 1 to 4096"). `source` names the file in
// messages.
ZETA_SIM_API std::optional<RigConfig> parseRig(const std::string& text, std::string& error);

// The built-in rig: one board and three cameras (two mono, one colour) at 1280 x 1024.
ZETA_SIM_API const std::string& defaultRigJson();

}  // namespace zeta::sim
