// Byte counts of frames and images. The camera library describes a frame by int width, height
// and a colour format; their product overflows an int long before it overflows memory, so every
// frame size is computed here, in std::size_t, and never as an int product.
#pragma once

#include <cstddef>

namespace FrameBytes {

// width x height x bytesPerPixel; 0 when any of them is not positive. A product past SIZE_MAX
// gives SIZE_MAX: the counts are used as upper bounds of copies that are also bounded by the real
// buffers, so a saturated count can never make a copy longer than its buffers.
std::size_t Of(int width, int height, int bytesPerPixel);

// A count as the int the camera thread keeps its buffer size in: at most INT_MAX. No camera frame
// comes near it; the cap only keeps a size the library accepted from wrapping to a negative int.
int AsInt(std::size_t bytes);

}  // namespace FrameBytes
