#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

namespace zeta::platform {

// The wait of a thread that follows a schedule: until the next due time, or until another thread
// changes the schedule and wakes it. Used like a condition variable with one waiting thread, with
// one difference that matters on Windows: it wakes close to the due time.
//
// A condition variable's timed wait wakes a millisecond or more after its time on Windows (more
// under Wine), which would stretch a 2 ms trigger period to more than 3 ms. There a wait has two
// stretches: until 2 ms before the due time it waits for an event (the wake-ups) and a
// high-resolution waitable timer (a plain one on a Windows that has none); the last 2 ms it
// sleeps with sleepPrecisely(), which a wake-up does not cut short (a change of the schedule is
// seen at the due time at the latest). The system timer resolution is raised to 1 ms
// (timeBeginPeriod) for the life of the object, that is of the schedule. Elsewhere it is a
// std::condition_variable.
//
// Threads: waitUntil() and wait() are called by one thread (the schedule's), with `lock` held;
// wake() by any thread. As with a condition variable, a thread that changes the schedule does so
// under `lock` and then calls wake(), so the waiting thread either sees the change before it waits
// or is woken. Either wait may return early for no reason (on Windows a wake() that came while
// the thread was not waiting ends its next wait at once): the caller re-checks its schedule.
class ScheduleWait {
public:
    ScheduleWait();
    ~ScheduleWait();
    ScheduleWait(const ScheduleWait&) = delete;
    ScheduleWait& operator=(const ScheduleWait&) = delete;

    // Releases `lock`, waits until `deadline` or a wake(), and takes `lock` again.
    void waitUntil(std::unique_lock<std::mutex>& lock,
                   std::chrono::steady_clock::time_point deadline);
    // Releases `lock`, waits for a wake(), and takes `lock` again.
    void wait(std::unique_lock<std::mutex>& lock);
    // Wakes the waiting thread.
    void wake();

private:
    struct Timer;  // Windows: the event, the timer and the raised timer resolution
    std::unique_ptr<Timer> timer_;
    std::condition_variable condition_;  // elsewhere
};

}  // namespace zeta::platform
