// The projector control board library.
//
// Every operation takes the board handle that zetaInitHidDev filled and returns true on success.
// A call on a null, closed or unknown handle, with an argument outside its range, or on a board
// that is unplugged fails and writes none of its outputs. Routes address the trigger and strobe
// outputs of the board: 0 the mono (geometry) cameras, 1 the colour (texture) cameras, 2 both.
// Periods and pulse widths are in milliseconds.
#pragma once

#include <string>

#include "zetaDeviceExport.h"

namespace zetaVoroDLPdev {

// Trigger and strobe output of the board.
enum TRIGGERROUTE : int {
    TRIGGER_ROUTE_MONO = 0,
    TRIGGER_ROUTE_COLOR = 1,
    TRIGGER_ROUTE_BOTH = 2,
};

// Pattern the projector shows. Any other value is refused.
enum PROJECTTYPE : int {
    PROJECT_OFF = 0,            // nothing: the scene is dark
    PROJECT_WHITE = 1,          // full white
    PROJECT_TEXTURE_WHITE = 2,  // white for colour (texture) shots
    PROJECT_AIM = 3,            // aiming cross
    PROJECT_STRIPE = 4,         // a static fringe
    PROJECT_LASER_LINES = 5,    // laser lines (live view)
    PROJECT_SPECKLE = 6,        // random dots
    PROJECT_RED = 7,            // flat red
    PROJECT_GREEN = 8,          // flat green
    PROJECT_BLUE = 9,           // flat blue
    PROJECT_CHECKERBOARD = 10,  // calibration checkerboard
    PROJECT_DENSE_LASER = 11,   // dense parallel laser lines
    PROJECT_GREY = 12,          // flat mid grey
    PROJECT_DOT_GRID = 13,      // calibration dot grid
};

// Scan the board's scan engine runs. Values not listed here are refused.
enum SCANTYPE : int {
    SCAN_STRIPE = 0,               // one stripe sequence on the mono route
    SCAN_LASER = 1,                // continuous laser-line scan
    SCAN_SPECKLE = 2,              // continuous speckle scan, optional colour line triggers
    SCAN_DUAL_LASER = 4,           // continuous laser scan with the IR lamp / laser pair
    SCAN_SPECKLE_STROBE = 5,       // continuous speckle scan with the mono strobe lit
    SCAN_SPECKLE_LASER_START = 6,  // speckle frames alternating with laser bursts, until 7
    SCAN_SPECKLE_LASER_STOP = 7,
    SCAN_E7_STRIPE = 8,       // one E7 stripe sequence (17 frames)
    SCAN_SEQUENCE_START = 9,  // numbered stripe sequences, again and again, until 10
    SCAN_SEQUENCE_STOP = 10,
};

// Scan modes of the E7 board (first argument of zetaE7StartScanMode).
enum E7SCANMODE : int {
    E7_SCAN_CONTINUOUS = 6,  // continuous triggering; the inner word picks a calibration pattern
    E7_SCAN_BURST = 32,      // one stripe burst
    E7_SCAN_SEQUENCE = 33,   // numbered stripe bursts, again and again, until stopped
    E7_SCAN_SPECKLE = 41,    // continuous speckle
};

// Bits of the E7 inner scan word.
enum E7SCANBITS : int {
    E7_INNER_DESHAKE = 0x1,     // one more stripe frame per burst
    E7_INNER_MARKER = 0x2,      // marker lighting on
    E7_INNER_NO_TEXTURE = 0x4,  // no colour frame after the burst (active low texture)
};

// State of the distance indicator.
enum DISTANCEINDICATE : int {
    DISTANCE_INDICATE_OFF = 0,
    DISTANCE_INDICATE_NEAR = 1,
    DISTANCE_INDICATE_GOOD = 2,
    DISTANCE_INDICATE_FAR = 3,
};

// --- connection -------------------------------------------------------------------------------
// Opens the board on `path`; fills `handle` on success and leaves it untouched otherwise.
ZETA_DLPDEV_API bool zetaInitHidDev(void*& handle, const char* const& path);
// Closes the board and nulls `handle`. The handle is unusable afterwards.
ZETA_DLPDEV_API bool zetaExitHidDev(void*& handle);

// --- triggers ---------------------------------------------------------------------------------
ZETA_DLPDEV_API bool zetaStartOrStopVideoTrigger(void* const& handle, const TRIGGERROUTE& route,
                                                 const bool& start);
ZETA_DLPDEV_API bool zetaSetVideoTriggerPeriod(void* const& handle, const TRIGGERROUTE& route,
                                               const int& periodMs);
ZETA_DLPDEV_API bool zetaSetTriggerPulseWidth(void* const& handle, const TRIGGERROUTE& route,
                                              const int& widthMs);
ZETA_DLPDEV_API bool zetaSetTriggerPolarity(void* const& handle, const TRIGGERROUTE& route,
                                            const int& polarity);
ZETA_DLPDEV_API bool zetaQueryMonoCameraVideoTriggerParameter(void* const& handle, bool& running,
                                                              int& periodMs);
ZETA_DLPDEV_API bool zetaQueryColorCameraVideoTriggerParameter(void* const& handle, bool& running,
                                                               int& periodMs);
ZETA_DLPDEV_API bool zetaQueryMonoCameraTriggerParameter(void* const& handle, int& polarity,
                                                         int& widthMs);
ZETA_DLPDEV_API bool zetaQueryColorCameraTriggerParameter(void* const& handle, int& polarity,
                                                          int& widthMs);
ZETA_DLPDEV_API bool zetaOutputSingleTrigger(void* const& handle, const TRIGGERROUTE& route);
ZETA_DLPDEV_API bool zetaE7StartOrStopVideoTrigger(void* const& handle, const TRIGGERROUTE& route,
                                                   const bool& start);

// --- projection and lights --------------------------------------------------------------------
// Shows a pattern. Projecting anything ends a running continuous scan.
ZETA_DLPDEV_API bool zetaProject(void* const& handle, const PROJECTTYPE& pattern);
ZETA_DLPDEV_API bool zetaOpenOrCloseStrobe(void* const& handle, const TRIGGERROUTE& route,
                                           const bool& on);
// Strobe flicker: the strobe of the route fires with each trigger pulse.
ZETA_DLPDEV_API bool zetaOpenOrCloseStrobeFlicker(void* const& handle, const TRIGGERROUTE& route,
                                                  const bool& on);
ZETA_DLPDEV_API bool zetaOpenOrCloseZoomFunction(void* const& handle, const bool& on);
ZETA_DLPDEV_API bool zetaSetIRLampAndLaser(void* const& handle, const bool& irLamp,
                                           const bool& laser);
ZETA_DLPDEV_API bool zetaSetDistanceIndicate(void* const& handle, const DISTANCEINDICATE& state);
ZETA_DLPDEV_API bool zetaSetProjectorBrightnessPercent(void* const& handle, const int& percent);
ZETA_DLPDEV_API bool zetaQueryProjectorBrightnessPercent(void* const& handle, int& percent);
ZETA_DLPDEV_API bool zetaE7SetProjectorBrightnessPercent(void* const& handle, const int& percent);
ZETA_DLPDEV_API bool zetaResetColorRoute(void* const& handle);

// --- scans ------------------------------------------------------------------------------------
ZETA_DLPDEV_API bool zetaScan(void* const& handle, const SCANTYPE& scanType);
// First word: stripe trigger period in ms; second word: stored with it.
ZETA_DLPDEV_API bool zetaSetStripeScanParameter(void* const& handle, const int& first,
                                                const int& second);
// Speckle and laser scans: trigger period in ms and projection space (duty) percent.
ZETA_DLPDEV_API bool zetaSetSpeckleOrLaserScanParameter(void* const& handle, const int& periodMs,
                                                        const int& spacePercent);
// Speckle-laser scan: trigger period in ms and laser frames after every speckle frame.
ZETA_DLPDEV_API bool zetaSetSpeckLaserScanParameter(void* const& handle, const int& periodMs,
                                                    const int& laserFrames);
ZETA_DLPDEV_API bool zetaSetColorCameraLineTriggerSegregationCount(void* const& handle,
                                                                   const int& count);
// Delay of the colour line trigger after its mono pulse, in microseconds.
ZETA_DLPDEV_API bool zetaSetColorCameraLineTriggerDelay(void* const& handle, const int& delayUs);
ZETA_DLPDEV_API bool zetaSetSpeckleScanWithTexture(void* const& handle, const bool& withTexture);
ZETA_DLPDEV_API bool zetaEnterFixScanFastMode(void* const& handle);
ZETA_DLPDEV_API bool zetaEnterFixScanFreeProjectMode(void* const& handle);
ZETA_DLPDEV_API bool zetaE7StartScanMode(void* const& handle, const int& mode,
                                         const int& innerWord);
ZETA_DLPDEV_API bool zetaE7StopScanMode(void* const& handle);

// --- cameras behind the board -----------------------------------------------------------------
// Restarts the time stamps that the trigger pulses give the cameras: route 0, 1, or -1/2 for both.
ZETA_DLPDEV_API bool zetaResetCameraTimeStamp(void* const& handle, const int& route);
// Time-stamp type of the pulses: 0 board ticks, 1 camera ticks.
ZETA_DLPDEV_API bool zetaSetCameraTimeStampType(void* const& handle, const int& type);
ZETA_DLPDEV_API bool zetaSetVideoWidthHeight(void* const& handle, const int& width,
                                             const int& height);
// Spacing between mono and colour triggers, 0 to 4.
ZETA_DLPDEV_API bool zetaSetMonoColorSpan(void* const& handle, const int& span);
// Strobe lighting time of one camera position (0 to 15), 0 to 10000 microseconds.
ZETA_DLPDEV_API bool zetaSetStrobeLightingTime(void* const& handle, const int& camera,
                                               const int& timeUs);

// --- status and commands ----------------------------------------------------------------------
ZETA_DLPDEV_API bool zetaQueryCurrentStatus(void* const& handle, unsigned char& first,
                                            unsigned char& second, unsigned char& state,
                                            bool& flag);
ZETA_DLPDEV_API bool zetaQueryProjectorFirewareVersion(void* const& handle, std::string& version);
// Raw commands of 1 to 64 bytes.
ZETA_DLPDEV_API bool zetaSendCmdLine(void* const& handle, const char* const& cmd, const int& len);
ZETA_DLPDEV_API bool zetaSendReportCmd(void* const& handle, const char* const& cmd, const int& len);

// --- image store ------------------------------------------------------------------------------
// imageType: 1 splash image, 0 firmware image. Chunks are 1 to 64 bytes.
ZETA_DLPDEV_API bool zetaE7StartWriteImage(void* const& handle, const unsigned char& imageType);
ZETA_DLPDEV_API bool zetaE7WriteImageData(void* const& handle, const unsigned char* const& data,
                                          const int& len);
ZETA_DLPDEV_API bool zetaE7StopWriteImage(void* const& handle);

}  // namespace zetaVoroDLPdev
