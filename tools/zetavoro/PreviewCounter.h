// What the preview's display callback saw: frames per camera, their arrival times and each
// camera's last frame.
//
// onFrame runs on the library's grab threads (one per camera, inside that camera's locks and the
// library's callback lock) and takes mutex_ only, briefly: it copies the frame into a buffer that
// keeps its capacity, so a frame costs one copy and no allocation. The other methods run on the
// main thread and take mutex_.
#pragma once

#include <chrono>
#include <mutex>
#include <vector>

#include "Image.h"

namespace zeta::cli {

class PreviewCounter {
public:
    PreviewCounter(int cameras, int periodMs);

    using TimePoint = std::chrono::steady_clock::time_point;

    // A frame that arrived now.
    void onFrame(int camera, const unsigned char* data, int width, int height, int channels);
    // A frame that arrived at `at`.
    void onFrameAt(TimePoint at, int camera, const unsigned char* data, int width, int height,
                   int channels);

    struct Snapshot {
        int frames = 0;
        int dropped = 0;  // pulses missed between the first and the last frame
    };
    Snapshot snapshot(int camera) const;
    // The camera's last frame (empty when none came).
    Image lastFrame(int camera) const;

private:
    struct Camera {
        int frames = 0;
        TimePoint first;
        TimePoint last;
        std::vector<unsigned char> data;
        int width = 0;
        int height = 0;
        int channels = 0;
    };

    mutable std::mutex mutex_;
    int periodMs_;
    std::vector<Camera> cameras_;
};

}  // namespace zeta::cli
