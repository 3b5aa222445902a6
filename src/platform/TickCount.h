#pragma once

#include <cstdint>

namespace zeta::platform {

// Milliseconds elapsed on the monotonic (steady) clock, as a 64-bit count that does not
// wrap in practice. Never goes backwards, unaffected by changes of the wall clock.
// Threads: any thread; touches no shared state.
std::uint64_t tickCount64Ms();

// The low 32 bits of tickCount64Ms(): wraps to 0 about every 49.7 days, so compare
// two ticks only through their unsigned difference (later - earlier).
// Threads: any thread; touches no shared state.
std::uint32_t tickCountMs();

}  // namespace zeta::platform
