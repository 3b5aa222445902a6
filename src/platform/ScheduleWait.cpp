#include "platform/ScheduleWait.h"

#include "platform/Sleep.h"

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
// windows.h first: timeapi.h builds on its types.
#include <timeapi.h>

#ifndef CREATE_WAITABLE_TIMER_HIGH_RESOLUTION
#define CREATE_WAITABLE_TIMER_HIGH_RESOLUTION 0x00000002
#endif
#endif

namespace zeta::platform {

#if defined(_WIN32)

namespace {

// The last stretch of a wait, slept precisely: longer than the lateness of a wait on the timer
// (a few hundred microseconds under Wine, where the timer is served by another process).
constexpr std::chrono::milliseconds kFinalStretch{2};

}  // namespace

struct ScheduleWait::Timer {
    Timer() {
        timeBeginPeriod(1);
        wakeEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        timer = CreateWaitableTimerExW(nullptr, nullptr, CREATE_WAITABLE_TIMER_HIGH_RESOLUTION,
                                       TIMER_ALL_ACCESS);
        if (timer == nullptr) timer = CreateWaitableTimerW(nullptr, FALSE, nullptr);
    }
    ~Timer() {
        if (timer != nullptr) CloseHandle(timer);
        if (wakeEvent != nullptr) CloseHandle(wakeEvent);
        timeEndPeriod(1);
    }
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    // Waits for the wake event and, with a due time, the timer; `due` in 100 ns units from now.
    void wait(const LONGLONG* due) {
        if (wakeEvent == nullptr) {
            Sleep(1);  // no event to wait on: the caller polls its schedule
            return;
        }
        if (due == nullptr || timer == nullptr) {
            WaitForSingleObject(wakeEvent, due == nullptr ? INFINITE : 1);
            return;
        }
        LARGE_INTEGER relative;
        relative.QuadPart = -*due;  // negative: relative to now
        if (!SetWaitableTimer(timer, &relative, 0, nullptr, nullptr, FALSE)) {
            WaitForSingleObject(wakeEvent, 1);
            return;
        }
        HANDLE handles[2] = {wakeEvent, timer};
        WaitForMultipleObjects(2, handles, FALSE, INFINITE);
        CancelWaitableTimer(timer);
    }

    HANDLE wakeEvent = nullptr;  // auto-reset: one wake() ends one wait
    HANDLE timer = nullptr;      // synchronisation timer, set anew for each wait
};

ScheduleWait::ScheduleWait() : timer_(std::make_unique<Timer>()) {}

ScheduleWait::~ScheduleWait() = default;

void ScheduleWait::waitUntil(std::unique_lock<std::mutex>& lock,
                             std::chrono::steady_clock::time_point deadline) {
    const auto remaining = std::chrono::duration_cast<std::chrono::nanoseconds>(
        deadline - std::chrono::steady_clock::now());
    if (remaining <= std::chrono::nanoseconds::zero()) return;
    lock.unlock();
    if (remaining <= kFinalStretch) {
        sleepPrecisely(remaining);
    } else {
        // Until the final stretch; the caller re-checks its schedule and waits again.
        const LONGLONG due = (remaining - kFinalStretch).count() / 100;
        timer_->wait(&due);
    }
    lock.lock();
}

void ScheduleWait::wait(std::unique_lock<std::mutex>& lock) {
    lock.unlock();
    timer_->wait(nullptr);
    lock.lock();
}

void ScheduleWait::wake() {
    if (timer_->wakeEvent != nullptr) SetEvent(timer_->wakeEvent);
}

#else

struct ScheduleWait::Timer {};

ScheduleWait::ScheduleWait() = default;

ScheduleWait::~ScheduleWait() = default;

void ScheduleWait::waitUntil(std::unique_lock<std::mutex>& lock,
                             std::chrono::steady_clock::time_point deadline) {
    condition_.wait_until(lock, deadline);
}

void ScheduleWait::wait(std::unique_lock<std::mutex>& lock) {
    condition_.wait(lock);
}

void ScheduleWait::wake() {
    condition_.notify_all();
}

#endif

}  // namespace zeta::platform
