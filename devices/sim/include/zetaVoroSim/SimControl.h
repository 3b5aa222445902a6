// Run-time control of the virtual scanner, for tests, tools and host developers.
//
// The virtual scanner is one board and any number of cameras on one trigger bus and one clock,
// shared by every device library in the process. These functions load a rig, read the journal of
// device calls, inject faults and look at the state of the simulated devices. They are safe to
// call from any thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "zetaVoroSim/SimExport.h"

namespace zeta::sim {

// ---- rig ---------------------------------------------------------------------------------------

// Replaces the rig with the one described by `json` (the rig file format). Every open handle of
// the previous rig becomes unusable: its calls fail. On a malformed text the rig becomes broken
// (every device call fails), `error` receives the reason and false is returned.
ZETA_SIM_API bool loadRigText(const std::string& json, std::string* error = nullptr);
// The same from a file.
ZETA_SIM_API bool loadRigFile(const std::string& path, std::string* error = nullptr);
// Loads the rig that the environment names (ZETA_SIM_RIG), or the built-in default rig.
ZETA_SIM_API bool reloadRig(std::string* error = nullptr);
// The built-in default rig, as rig-file text.
ZETA_SIM_API std::string defaultRigText();
// Microseconds of the rig clock (0 when the rig was loaded).
ZETA_SIM_API std::uint64_t nowUs();

// ---- journal -----------------------------------------------------------------------------------

struct JournalRecord {
    std::uint64_t n = 0;    // number of the call in this process, from 1
    std::uint64_t tUs = 0;  // rig clock at the return of the call
    std::string dev;        // "board", a camera serial, "camera" or "image"
    std::string op;         // operation name as declared
    std::string args;       // the input arguments as a JSON array, e.g. "[0,true]"
    bool ok = false;        // success by the operation's own convention
    std::string line;       // the whole record as written to the journal file
};

// Records kept in memory since the last clear (at most journalCapacity(), oldest dropped first).
ZETA_SIM_API std::vector<JournalRecord> journal();
ZETA_SIM_API void clearJournal();
ZETA_SIM_API void setJournalCapacity(std::size_t records);
ZETA_SIM_API std::size_t journalCapacity();
// Whether SnapShot calls are journaled (ZETA_SIM_JOURNAL_FRAMES=1 turns it on at start).
ZETA_SIM_API void setJournalFrames(bool on);
// Appends the journal to `path` from now on (what ZETA_SIM_JOURNAL does); empty: stop writing.
ZETA_SIM_API bool setJournalFile(const std::string& path);

// ---- faults ------------------------------------------------------------------------------------

// The next `times` calls of `op` on `dev` fail (-1: every call from now on), after `skip` calls
// that still succeed. `dev` is "board", a camera serial, "camera" (enumeration handles) or "image".
ZETA_SIM_API void failNext(const std::string& dev, const std::string& op, int times, int skip = 0);
// Removes every injected operation failure (those of the rig file too).
ZETA_SIM_API void clearFailures();
// Unplugs the board ("board") or a camera (its serial): every call on it fails until replug.
// An unplugged camera produces no frames and is not counted by enumeration. Returns false for an
// unknown device.
ZETA_SIM_API bool unplug(const std::string& dev);
ZETA_SIM_API bool replug(const std::string& dev);
// The bytes the board's status query returns (error bits are bits 6 and 7 of `state`).
ZETA_SIM_API void setStatus(std::uint8_t first, std::uint8_t second, std::uint8_t state, bool flag);

// Frame faults of one camera, counted in frames the camera produces from now on: after `skip`
// frames, the next `times` frames (-1: all) are lost, delivered twice, or carry `number` in
// byte 4 of each sensor image instead of their number in the sequence.
ZETA_SIM_API bool dropFrames(const std::string& serial, int times, int skip = 0);
ZETA_SIM_API bool duplicateFrames(const std::string& serial, int times, int skip = 0);
ZETA_SIM_API bool renumberFrames(const std::string& serial, int number, int times, int skip = 0);

// ---- what the devices did ----------------------------------------------------------------------

struct RouteState {
    bool videoTrigger = false;  // video trigger running
    int periodMs = 0;
    int pulseWidthMs = 0;
    int polarity = 0;
    bool strobe = false;
    bool strobeFlicker = false;
    std::uint64_t pulses = 0;  // pulses emitted on this route since the rig was loaded
};

struct BoardState {
    bool present = true;
    int openHandles = 0;
    int projection = 0;  // PROJECTTYPE last shown
    RouteState routes[2];
    int scanType = -1;  // running or last SCANTYPE, -1 none
    int e7Mode = -1;    // running or last E7 scan mode, -1 none
    int e7InnerWord = 0;
    bool scanRunning = false;  // a scan engine sequence is running now
    int brightness = 100;
    int e7Brightness = 100;
    bool zoom = false;
    bool irLamp = false;
    bool laser = false;
    int distanceIndicate = 0;
    int stripeFirst = 10, stripeSecond = 0;       // zetaSetStripeScanParameter
    int specklePeriodMs = 10, speckleSpace = 10;  // zetaSetSpeckleOrLaserScanParameter
    int speckLaserPeriodMs = 20, speckLaserFrames = 3;
    int colorSegregationCount = 3, colorDelayUs = 90;
    bool speckleWithTexture = false;
    int timeStampType = 0;
    int videoWidth = 0, videoHeight = 0;
    int monoColorSpan = 0;
    int strobeLightingTimeUs[16] = {};
    bool fixScanFastMode = false;
    bool fixScanFreeProjectMode = false;
    int colorRouteResets = 0;
};
ZETA_SIM_API BoardState boardState();

// Raw commands sent with zetaSendCmdLine (report = false) or zetaSendReportCmd (report = true).
ZETA_SIM_API std::vector<std::vector<std::uint8_t>> sentCommands(bool report);

// The image store of the board: the last write, started by zetaE7StartWriteImage.
struct ImageStoreState {
    bool writing = false;                           // started and not yet stopped
    int imageType = -1;                             // type of the last started write, -1 none
    int writes = 0;                                 // writes started since the rig was loaded
    int completedWrites = 0;                        // writes stopped
    std::vector<std::vector<std::uint8_t>> chunks;  // chunks of the last write, in order
    std::size_t totalBytes = 0;                     // bytes of the last write
};
ZETA_SIM_API ImageStoreState imageStore();

struct CameraStats {
    bool present = true;
    std::uint64_t framesProduced = 0;   // frames exposed (triggered or free run)
    std::uint64_t framesDelivered = 0;  // frames returned by SnapShot, on every handle
    std::uint64_t framesDropped = 0;    // frames lost: faults, full queues, locked handles
    int openHandles = 0;
    int triggerMode = 0;
    long exposureUs = 0;
    int gain = 0;
};
// Statistics of one camera; false for an unknown serial.
ZETA_SIM_API bool cameraStats(const std::string& serial, CameraStats& stats);

}  // namespace zeta::sim
