#include "PreviewCounter.h"

#include <algorithm>
#include <cmath>

namespace zeta::cli {

PreviewCounter::PreviewCounter(int cameras, int periodMs)
    : periodMs_(std::max(1, periodMs)), cameras_(static_cast<std::size_t>(std::max(0, cameras))) {}

void PreviewCounter::onFrame(int camera, const unsigned char* data, int width, int height,
                             int channels) {
    onFrameAt(std::chrono::steady_clock::now(), camera, data, width, height, channels);
}

void PreviewCounter::onFrameAt(TimePoint now, int camera, const unsigned char* data, int width,
                               int height, int channels) {
    std::lock_guard lock(mutex_);
    if (camera < 0 || camera >= static_cast<int>(cameras_.size())) return;
    Camera& state = cameras_[static_cast<std::size_t>(camera)];
    if (state.frames == 0) state.first = now;
    state.last = now;
    ++state.frames;
    if (data != nullptr && width > 0 && height > 0 && channels > 0) {
        // The frame is the library's, valid during the call only: copied.
        const std::size_t size = static_cast<std::size_t>(width) *
                                 static_cast<std::size_t>(height) *
                                 static_cast<std::size_t>(channels);
        state.data.assign(data, data + size);
        state.width = width;
        state.height = height;
        state.channels = channels;
    }
}

PreviewCounter::Snapshot PreviewCounter::snapshot(int camera) const {
    std::lock_guard lock(mutex_);
    Snapshot result;
    if (camera < 0 || camera >= static_cast<int>(cameras_.size())) return result;
    const Camera& state = cameras_[static_cast<std::size_t>(camera)];
    result.frames = state.frames;
    if (state.frames > 0) {
        // The routes pulse once per period: between the first and the last frame a camera that
        // missed nothing delivered one frame per period.
        const double spanMs =
            std::chrono::duration<double, std::milli>(state.last - state.first).count();
        const int expected = static_cast<int>(std::lround(spanMs / periodMs_)) + 1;
        result.dropped = std::max(0, expected - state.frames);
    }
    return result;
}

Image PreviewCounter::lastFrame(int camera) const {
    std::lock_guard lock(mutex_);
    if (camera < 0 || camera >= static_cast<int>(cameras_.size())) return {};
    const Camera& state = cameras_[static_cast<std::size_t>(camera)];
    if (state.data.empty()) return {};
    return Image::fromFrame(state.data.data(), state.width, state.height, state.channels);
}

}  // namespace zeta::cli
