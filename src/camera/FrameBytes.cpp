#include "camera/FrameBytes.h"

#include <climits>
#include <cstdint>

namespace FrameBytes {

std::size_t Of(int width, int height, int bytesPerPixel) {
    if (width <= 0 || height <= 0 || bytesPerPixel <= 0) {
        return 0;
    }
    const auto w = static_cast<std::size_t>(width);
    const auto h = static_cast<std::size_t>(height);
    const auto b = static_cast<std::size_t>(bytesPerPixel);
    if (h > SIZE_MAX / w) {
        return SIZE_MAX;
    }
    const std::size_t pixels = w * h;
    if (b > SIZE_MAX / pixels) {
        return SIZE_MAX;
    }
    return pixels * b;
}

int AsInt(std::size_t bytes) {
    return bytes > static_cast<std::size_t>(INT_MAX) ? INT_MAX : static_cast<int>(bytes);
}

}  // namespace FrameBytes
