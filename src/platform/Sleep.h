#pragma once

#include <cstdint>

namespace zeta::platform {

// Suspends the calling thread for at least ms milliseconds. sleepMs(0) only yields the
// rest of the time slice to other ready threads.
// Threads: any thread; touches no shared state.
void sleepMs(std::uint32_t ms);

}  // namespace zeta::platform
