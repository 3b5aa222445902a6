// EdgeValues: arguments for the exported calls, drawn from the edges of each type.
//
// Most draws pick from a short table of the values that break code (0, -1, the limits of the
// type, NaN and the infinities, the boundaries the exported functions document); the rest take
// raw bits from the input, so that the fuzzer can still reach any value. The tables are fixed:
// a byte means the same value in every build, which keeps a saved input reproducible.
#pragma once

#include <cstdint>

#include "ByteReader.h"

namespace zeta::fuzz {

class EdgeValues {
public:
    // Any int: documented boundaries (0..4 spans, 10000 strobe time, 640/704/1280 sizes,
    // 65535 the board's limit, ...), the type's limits and raw bits.
    static int anyInt(ByteReader& in);
    // A small count or period: mostly 0..20, sometimes anyInt.
    static int smallInt(ByteReader& in);
    // A camera index: mostly 0..3, sometimes past the end, negative or a limit.
    static int cameraIndex(ByteReader& in);
    // An enumeration's value: its valid ones, the next ones, -1 and the limits.
    static std::int32_t enumValue(ByteReader& in, std::int32_t validCount);
    // A double: ordinary values, 0 and -0, NaN, the infinities, limits, denormals, raw bits.
    static double anyDouble(ByteReader& in);
    // A float, likewise.
    static float anyFloat(ByteReader& in);
};

}  // namespace zeta::fuzz
