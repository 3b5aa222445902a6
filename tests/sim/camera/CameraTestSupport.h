// Helpers shared by the camera library's tests on the virtual scanner.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "SimTestSupport.h"
#include "TriggerBus.h"
#include "board/BoardLights.h"
#include "VirtualScanner.h"
#include "zetaCamera.h"
#include "zetaVoroSim/SimControl.h"

namespace zeta::sim::test {

// A camera of the rig file: small frames by default, so tests stay quick under the sanitizers.
// Snapshots wait up to 2 s unless `extra` says otherwise, which only a lost frame ever takes.
inline std::string cameraJson(const std::string& serial, const std::string& extra = "") {
    std::string text = R"({"serial":")" + serial + R"(","width":64,"height":48)";
    if (extra.find("snapTimeoutMs") == std::string::npos) text += R"(,"snapTimeoutMs":2000)";
    if (!extra.empty()) text += "," + extra;
    return text + "}";
}

// A rig of the given cameras with `camera.fail` rules for enumeration handles.
inline std::string withCameraLibraryFaults(const std::string& rig, const std::string& fail) {
    std::string text = rig;
    text.pop_back();  // the closing brace
    return text + R"(, "camera": {"fail": )" + fail + "}}";
}

// A camera handle released at the end of the scope.
class CameraRef {
public:
    CameraRef() = default;
    explicit CameraRef(const char* selector) {
        created_ = zetaCamera::CreateCamera(handle_, selector);
    }
    ~CameraRef() {
        if (handle_ != nullptr) zetaCamera::ReleaseCamera(handle_);
    }
    CameraRef(const CameraRef&) = delete;
    CameraRef& operator=(const CameraRef&) = delete;

    void* get() const { return handle_; }
    void*& ref() { return handle_; }
    int created() const { return created_; }

private:
    void* handle_ = nullptr;
    int created_ = -1;
};

// Creates a handle by serial, opens it and starts delivery; triggered mode unless `freeRun`.
inline void openStarted(CameraRef& camera, const std::string& serial, bool freeRun = false) {
    ASSERT_EQ(zetaCamera::CreateCamera(camera.ref(), serial.c_str()), 0);
    ASSERT_EQ(zetaCamera::OpenCamera(camera.get(), serial.c_str(), 0, 0), 0);
    ASSERT_EQ(zetaCamera::SetTriggerMode(
                  camera.get(),
                  freeRun ? zetaCamera::SN_TRIG_FREERUN : zetaCamera::SN_TRIG_EXTERNAL, 0, 0, 0),
              0);
    ASSERT_EQ(zetaCamera::StartCamera(camera.get(), 0.0), 0);
}

inline std::shared_ptr<TriggerBus> bus() {
    return VirtualScanner::instance().rig()->bus;
}

inline TriggerPulse pulse(int route, const Illumination& light = {}, int sequenceNumber = -1) {
    return bus()->emit(route, light, sequenceNumber);
}

inline Illumination light(Illumination::Kind kind, int index = 0, bool strobe = false) {
    Illumination result;
    result.kind = kind;
    result.index = index;
    result.strobe = strobe;
    return result;
}

// A flat light of one colour, as the board shows it.
inline Illumination flat(std::uint8_t r, std::uint8_t g, std::uint8_t b) {
    return flatLight(r, g, b);
}

inline CameraStats statsOf(const std::string& serial) {
    CameraStats stats;
    EXPECT_TRUE(cameraStats(serial, stats)) << serial;
    return stats;
}

// Waits until the camera has exposed `count` frames.
inline bool waitProduced(const std::string& serial, std::uint64_t count) {
    return waitUntil([&] { return statsOf(serial).framesProduced >= count; });
}

// The 64-bit little-endian stamp after `imageBytes` of image.
inline std::uint64_t stampAt(const unsigned char* frame, std::size_t imageBytes) {
    std::uint64_t stamp = 0;
    for (int i = 7; i >= 0; --i) stamp = (stamp << 8) | frame[imageBytes + i];
    return stamp;
}

// A copy of the image part of the frame SnapShot returned.
inline std::vector<unsigned char> imageOf(const unsigned char* frame, std::size_t imageBytes) {
    return std::vector<unsigned char>(frame, frame + imageBytes);
}

// Mean of every `stride`-th byte from `offset` (a channel of an interleaved image), skipping none
// of the tags: they are too few to move a mean.
inline double meanOf(const std::vector<unsigned char>& image, std::size_t offset = 0,
                     std::size_t stride = 1) {
    double sum = 0;
    std::size_t n = 0;
    for (std::size_t i = offset; i < image.size(); i += stride, ++n) sum += image[i];
    return n == 0 ? 0.0 : sum / static_cast<double>(n);
}

// Snaps one frame; fails the test (and returns an empty image) when none comes.
inline std::vector<unsigned char> snapImage(void* handle, std::size_t imageBytes,
                                            std::uint64_t* stamp = nullptr) {
    unsigned char* data = nullptr;
    if (zetaCamera::SnapShot(handle, data) != 0 || data == nullptr) {
        ADD_FAILURE() << "no frame";
        return {};
    }
    if (stamp != nullptr) *stamp = stampAt(data, imageBytes);
    return imageOf(data, imageBytes);
}

}  // namespace zeta::sim::test
