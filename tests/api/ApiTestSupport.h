// Helpers of the end-to-end tests of the exported functions: small rigs, a connection that
// disconnects itself, journal marks and a scratch working directory.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "LibraryTestSupport.h"
#include "ScratchDir.h"
#include "SimTestSupport.h"
#include "zetaVoroSim/SimControl.h"
#include "zetaVoroSync/zetaVoroSync.h"

namespace zeta::api::test {

inline constexpr const char* kBoardPath = "sim:board0";
inline constexpr int kWidth = 64;
inline constexpr int kHeight = 48;

// One camera of a rig: 64 x 48 by default, format 1 (mono) or as given, plus extra JSON keys.
std::string cameraJson(const std::string& serial, int format = 1, const std::string& extra = "");
// The tests' usual rig, small for speed: ZV0001 and ZV0002 mono, ZV0003 colour (format 17).
std::string smallRig();
// Only mono cameras: ZV0001 ... ZV000n.
std::string monoRig(int cameras = 2, const std::string& extra = "");

// A connection made with ConnectDevice, disconnected by the destructor when still connected.
class Connection {
public:
    explicit Connection(const std::vector<std::string>& serials, const char* mode = "STRIPE",
                        const char* projectorPath = kBoardPath);
    // With the sizes given per serial (a multi-sensor camera is opened at its whole frame).
    Connection(const std::vector<std::string>& serials, const std::vector<int>& widths,
               const std::vector<int>& heights);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    zetaVoroSync::RETSTATUS status() const { return status_; }
    void*& handle() { return handle_; }
    // Disconnects now; returns DisConnectDevice's status.
    zetaVoroSync::RETSTATUS disconnect();

private:
    zetaVoroSync::RETSTATUS status_;
    void* handle_ = nullptr;
};

// Sets the process-wide device number of the exported layer to 0, through DisConnectDevice on a
// handle that was never connected (nothing is destroyed).
void resetDeviceType();
// Sets it to 1 (the stripe mode), through a ConnectDevice whose board cannot be opened: the
// library keeps that object alive on purpose, and only its watchdog runs.
void setDeviceTypeStripe();

// Waits (bounded) until each camera has delivered a frame since the rig was loaded, i.e. until
// the grab threads of a new connection are running their passes.
void waitForFrames(const std::vector<std::string>& serials);

// Number of the newest journal record (0 for an empty journal).
std::uint64_t journalMark();
// Records after `mark`, optionally of one operation and one device.
std::vector<zeta::sim::JournalRecord> recordsSince(std::uint64_t mark, const std::string& op = "",
                                                   const std::string& dev = "");
// Records after `mark` that are device traffic of the operation under test: every record except
// the reads each camera's grab thread makes on its own for every frame (GetResolution) and when
// it starts (GetColorMode).
std::vector<zeta::sim::JournalRecord> trafficSince(std::uint64_t mark, const std::string& dev = "");
// Operation names of the traffic after `mark` (of `dev` when given), in order.
std::vector<std::string> opsSince(std::uint64_t mark, const std::string& dev = "");

// A fresh scratch directory made the working directory; the old one is restored and the
// scratch directory removed by the destructor.
class ScratchDirectory {
public:
    ScratchDirectory();
    ~ScratchDirectory();
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;
    const std::filesystem::path& path() const { return scratch_.path(); }

private:
    std::filesystem::path previous_;
    zeta::test::ScratchDir scratch_;
};

// Byte `index` of image row 0 (the virtual scanner's tag bytes: 4 frame number, 5 camera
// position in the rig, 6 sensor index).
inline int tagByte(const unsigned char* image, int index) {
    return image[index];
}

}  // namespace zeta::api::test
