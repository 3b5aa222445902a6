#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <span>

namespace zeta::platform {
class Event;
}

namespace zeta::platform::detail {

// Internal: the single process-wide mutex + condition variable shared by every Event.
//
// Keeping the state of all events under one mutex makes a wait on several events
// simple and atomic: a wait-all checks and consumes all of its events in one critical
// section, so it either takes all of them or none.
//
// Threads: any thread, concurrently. The hub is created on first use and deliberately
// never destroyed, so events used during static destruction stay valid.
//
// Invariant protected by mutex_: the signalled_ flag of every Event, and waiters_ = the
// number of threads currently blocked in wait(). Every change that can satisfy a waiter
// notifies changed_ while holding mutex_.
class EventHub {
public:
    static EventHub& instance();

    EventHub(const EventHub&) = delete;
    EventHub& operator=(const EventHub&) = delete;

    void set(Event& event);
    void reset(Event& event);
    bool isSet(const Event& event);

    // Waits for one (waitAll = false) or all (waitAll = true) of events. The caller has
    // validated the list (non-empty, no null entry, at most kMaximumWaitObjects).
    // Returns kWaitObject0 + index (wait-any), kWaitObject0 (wait-all) or kWaitTimeout.
    int wait(std::span<Event* const> events, bool waitAll, std::uint32_t timeoutMs);

    // Number of threads currently blocked in wait() (for diagnostics and tests).
    std::size_t waiterCount();

private:
    EventHub() = default;
    ~EventHub() = default;

    // Checks the events and consumes the auto-reset ones that satisfy the wait.
    // Returns the wait result, or kWaitTimeout if the wait is not satisfied yet.
    // Requires mutex_ to be held.
    static int tryAcquireLocked(std::span<Event* const> events, bool waitAll);

    std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t waiters_ = 0;
};

}  // namespace zeta::platform::detail
