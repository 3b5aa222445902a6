#include "EdgeValues.h"

#include <climits>
#include <cstring>
#include <limits>

namespace zeta::fuzz {

namespace {

constexpr int kInts[] = {0,       1,       -1,          2,           3,      4,      5,
                         10,      15,      16,          100,         512,    576,    640,
                         704,     1024,    1280,        10000,       10001,  65535,  65536,
                         INT_MAX, INT_MIN, INT_MAX - 1, INT_MIN + 1, 0x7FFF, -65536, 20000};

template <typename T, std::size_t N>
constexpr std::size_t countOf(const T (&)[N]) {
    return N;
}

}  // namespace

int EdgeValues::anyInt(ByteReader& in) {
    const std::uint8_t pick = in.byte();
    if (pick < 224) return kInts[pick % countOf(kInts)];
    return static_cast<int>(in.raw32());
}

int EdgeValues::smallInt(ByteReader& in) {
    const std::uint8_t pick = in.byte();
    if (pick < 200) return pick % 21;
    return anyInt(in);
}

int EdgeValues::cameraIndex(ByteReader& in) {
    const std::uint8_t pick = in.byte();
    if (pick < 208) return pick % 4;
    constexpr int kEdges[] = {4, 5, 15, 16, 31, 32, -1, -2, INT_MAX, INT_MIN, 255, 256};
    return kEdges[pick % countOf(kEdges)];
}

std::int32_t EdgeValues::enumValue(ByteReader& in, std::int32_t validCount) {
    const std::uint8_t pick = in.byte();
    if (pick < 192) return static_cast<std::int32_t>(pick % static_cast<unsigned>(validCount));
    switch (pick % 6) {
        case 0:
            return validCount;
        case 1:
            return validCount + 1;
        case 2:
            return -1;
        case 3:
            return INT_MAX;
        case 4:
            return INT_MIN;
        default:
            return static_cast<std::int32_t>(in.raw32());
    }
}

double EdgeValues::anyDouble(ByteReader& in) {
    constexpr double kInf = std::numeric_limits<double>::infinity();
    const double kDoubles[] = {0.0,
                               -0.0,
                               1.0,
                               0.5,
                               5.0,
                               10.0,
                               1e-3,
                               -1.0,
                               std::numeric_limits<double>::quiet_NaN(),
                               kInf,
                               -kInf,
                               std::numeric_limits<double>::max(),
                               std::numeric_limits<double>::lowest(),
                               std::numeric_limits<double>::min(),
                               std::numeric_limits<double>::denorm_min(),
                               2147483647.0,
                               2147483648.0,
                               -2147483649.0,
                               4294967296.0,
                               1e18,
                               1e300,
                               10000.0,
                               10000.001};
    const std::uint8_t pick = in.byte();
    if (pick < 224) return kDoubles[pick % countOf(kDoubles)];
    const std::uint64_t bits = in.raw64();
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

float EdgeValues::anyFloat(ByteReader& in) {
    constexpr float kInf = std::numeric_limits<float>::infinity();
    const float kFloats[] = {0.0f,
                             -0.0f,
                             1.0f,
                             0.5f,
                             2.0f,
                             -1.0f,
                             std::numeric_limits<float>::quiet_NaN(),
                             kInf,
                             -kInf,
                             std::numeric_limits<float>::max(),
                             std::numeric_limits<float>::lowest(),
                             std::numeric_limits<float>::min(),
                             std::numeric_limits<float>::denorm_min(),
                             2147483648.0f,
                             1e10f};
    const std::uint8_t pick = in.byte();
    if (pick < 224) return kFloats[pick % countOf(kFloats)];
    const std::uint32_t bits = in.raw32();
    float value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

}  // namespace zeta::fuzz
