#include "platform/TickCount.h"

#include <chrono>

namespace zeta::platform {

std::uint64_t tickCount64Ms() {
    const auto sinceEpoch = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(sinceEpoch).count());
}

std::uint32_t tickCountMs() {
    return static_cast<std::uint32_t>(tickCount64Ms());
}

}  // namespace zeta::platform
