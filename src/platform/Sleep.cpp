#include "platform/Sleep.h"

#include <thread>

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
// windows.h first: the two below build on its types.
#include <timeapi.h>
#include <winternl.h>

// Exported by ntdll: a delay of the calling thread, in 100 ns units (negative: relative).
extern "C" NTSTATUS NTAPI NtDelayExecution(BOOLEAN alertable, PLARGE_INTEGER interval);
#endif

namespace zeta::platform {

void sleepMs(std::uint32_t ms) {
    if (ms == 0) {
        std::this_thread::yield();
        return;
    }
    sleepPrecisely(std::chrono::milliseconds(ms));
}

#if defined(_WIN32)

void sleepPrecisely(std::chrono::nanoseconds duration) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + duration;
    timeBeginPeriod(1);
    for (Clock::time_point now = Clock::now(); now < end; now = Clock::now()) {
        const auto remaining = std::chrono::duration_cast<std::chrono::nanoseconds>(end - now);
        LARGE_INTEGER interval;
        interval.QuadPart = -((remaining.count() + 99) / 100);  // relative, rounded up
        NtDelayExecution(FALSE, &interval);
    }
    timeEndPeriod(1);
}

#else

void sleepPrecisely(std::chrono::nanoseconds duration) {
    if (duration > std::chrono::nanoseconds::zero()) std::this_thread::sleep_for(duration);
}

#endif

}  // namespace zeta::platform
