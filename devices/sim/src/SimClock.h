// The rig clock: microseconds since the rig was loaded, shared by the board and the cameras.
#pragma once

#include <chrono>
#include <cstdint>

#include "zetaVoroSim/SimExport.h"

namespace zeta::sim {

// Immutable after construction; any thread may read it.
class ZETA_SIM_API SimClock {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    SimClock() : epoch_(std::chrono::steady_clock::now()) {}

    std::uint64_t nowUs() const { return toUs(std::chrono::steady_clock::now()); }
    std::uint64_t toUs(TimePoint t) const {
        if (t < epoch_) return 0;
        return static_cast<std::uint64_t>(
            std::chrono::duration_cast<std::chrono::microseconds>(t - epoch_).count());
    }
    TimePoint epoch() const { return epoch_; }

private:
    TimePoint epoch_;
};

}  // namespace zeta::sim
