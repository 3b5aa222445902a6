#pragma once

#include <chrono>
#include <cstdint>

namespace zeta::platform {

// Suspends the calling thread for at least ms milliseconds. sleepMs(0) only yields the
// rest of the time slice to other ready threads.
// Threads: any thread; touches no shared state.
void sleepMs(std::uint32_t ms);

// Suspends the calling thread for at least `duration` and wakes as soon after it as the system
// allows: within a fraction of a millisecond on Linux and under Wine, within the raised system
// timer period (1 ms, see below) on Windows.
//
// Windows: Sleep() and std::this_thread::sleep_for count in whole periods of the system timer
// (15.6 ms unless a process raised it), and the MinGW-w64 runtime's sleep_for can even return a
// little early. This one sleeps with the kernel's own delay in 100 ns units, with the timer
// resolution raised to 1 ms (timeBeginPeriod) for the time of the sleep, and sleeps again if it
// woke early.
// Threads: any thread; touches no shared state.
void sleepPrecisely(std::chrono::nanoseconds duration);

}  // namespace zeta::platform
