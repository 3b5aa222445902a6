// A small host of the device libraries for the end-to-end tests: one board handle and the
// cameras of the rig, opened by serial and started.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "zetaCamera.h"
#include "zetaVoroDLPdev.h"

namespace zeta::sim::test {

struct Frame {
    std::vector<std::uint8_t> pixels;  // the image part
    std::uint64_t stamp = 0;
    int width = 0;
    int height = 0;
    int bytesPerPixel = 1;
};

class ScannerHarness {
public:
    ScannerHarness() = default;
    ~ScannerHarness() { close(); }
    ScannerHarness(const ScannerHarness&) = delete;
    ScannerHarness& operator=(const ScannerHarness&) = delete;

    // Opens the board on "sim:board0" and every listed camera (triggered when `triggered`).
    bool open(const std::vector<std::string>& serials, bool triggered) {
        const char* path = "sim:board0";
        if (!zetaVoroDLPdev::zetaInitHidDev(board, path)) return false;
        for (const auto& serial : serials) {
            void* camera = nullptr;
            if (zetaCamera::CreateCamera(camera, serial.c_str()) != 0) return false;
            cameras.push_back(camera);
            if (zetaCamera::OpenCamera(camera, serial.c_str(), 0, 0) != 0) return false;
            zetaCamera::SN_TRIG_MODE mode =
                triggered ? zetaCamera::SN_TRIG_EXTERNAL : zetaCamera::SN_TRIG_FREERUN;
            if (zetaCamera::SetTriggerMode(camera, mode, 0, 0, 0) != 0) return false;
            if (zetaCamera::StartCamera(camera, 0.0) != 0) return false;
        }
        return true;
    }

    // One blocking snapshot of camera `index`, copied out.
    bool snap(std::size_t index, Frame& frame) {
        void* camera = cameras.at(index);
        unsigned char* data = nullptr;
        if (zetaCamera::SnapShot(camera, data) != 0 || data == nullptr) return false;
        int width = 0;
        int height = 0;
        zetaCamera::SN_IMG_FORMAT format = zetaCamera::SN_IMG_MONO8;
        if (zetaCamera::GetResolution(camera, width, height) != 0) return false;
        if (zetaCamera::GetColorMode(camera, format) != 0) return false;
        frame.width = width;
        frame.height = height;
        frame.bytesPerPixel = format == 2 ? 2 : format == 17 ? 3 : format == 18 ? 6 : 1;
        const std::size_t size = static_cast<std::size_t>(width) * height * frame.bytesPerPixel;
        frame.pixels.assign(data, data + size);
        std::memcpy(&frame.stamp, data + size, sizeof frame.stamp);
        return true;
    }

    // Drops what the cameras queued so far.
    void resetQueues() {
        for (void* camera : cameras) zetaCamera::SetCameraToInitializedState(camera);
    }

    void close() {
        for (void*& camera : cameras) {
            zetaCamera::CloseCamera(camera);
            zetaCamera::ReleaseCamera(camera);
        }
        cameras.clear();
        if (board != nullptr) zetaVoroDLPdev::zetaExitHidDev(board);
    }

    void* board = nullptr;
    std::vector<void*> cameras;
};

}  // namespace zeta::sim::test
