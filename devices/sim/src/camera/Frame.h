// One frame a camera exposed, shared by every handle it is queued to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zeta::sim {

// Written once by the camera's thread before it is queued; read-only from then on, so the handles
// that share it need no lock. `bytes` is the image (every sensor image side by side, row by row)
// followed by the 64-bit little-endian time stamp.
struct Frame {
    static constexpr std::size_t kStampBytes = 8;

    std::vector<std::uint8_t> bytes;
    int sensorWidth = 0;  // one sensor image
    int height = 0;
    int sensors = 1;
    int format = 1;
    std::uint64_t stamp = 0;
    int number = 0;              // byte 4 of each sensor image
    std::uint64_t exposure = 0;  // the camera's count of exposures when this one was made, from 1

    const std::uint8_t* data() const { return bytes.data(); }
    std::size_t imageBytes() const {
        return bytes.size() >= kStampBytes ? bytes.size() - kStampBytes : 0;
    }
};

}  // namespace zeta::sim
