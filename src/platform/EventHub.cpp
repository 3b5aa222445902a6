#include "platform/EventHub.h"

#include <chrono>

#include "platform/Event.h"
#include "platform/WaitResult.h"

namespace zeta::platform::detail {

EventHub& EventHub::instance() {
    // Never destroyed: threads may still set or wait on events during static destruction.
    static EventHub* const hub = new EventHub();
    return *hub;
}

void EventHub::set(Event& event) {
    std::lock_guard lock(mutex_);
    if (event.signalled_) {
        return;
    }
    event.signalled_ = true;
    // Every waiter re-checks its own events under mutex_; an auto-reset event is taken
    // by the first waiter that re-checks it, the others go back to waiting.
    if (waiters_ != 0) {
        changed_.notify_all();
    }
}

void EventHub::reset(Event& event) {
    std::lock_guard lock(mutex_);
    event.signalled_ = false;
}

bool EventHub::isSet(const Event& event) {
    std::lock_guard lock(mutex_);
    return event.signalled_;
}

std::size_t EventHub::waiterCount() {
    std::lock_guard lock(mutex_);
    return waiters_;
}

int EventHub::tryAcquireLocked(std::span<Event* const> events, bool waitAll) {
    if (waitAll) {
        for (const Event* event : events) {
            if (!event->signalled_) {
                return kWaitTimeout;
            }
        }
        for (Event* event : events) {
            if (!event->manualReset_) {
                event->signalled_ = false;
            }
        }
        return kWaitObject0;
    }
    for (std::size_t i = 0; i < events.size(); ++i) {
        Event* event = events[i];
        if (event->signalled_) {
            if (!event->manualReset_) {
                event->signalled_ = false;
            }
            return kWaitObject0 + static_cast<int>(i);
        }
    }
    return kWaitTimeout;
}

int EventHub::wait(std::span<Event* const> events, bool waitAll, std::uint32_t timeoutMs) {
    using Clock = std::chrono::steady_clock;
    const bool infinite = timeoutMs == kInfinite;
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);

    std::unique_lock lock(mutex_);
    int result = tryAcquireLocked(events, waitAll);
    if (result != kWaitTimeout || timeoutMs == 0) {
        return result;
    }
    ++waiters_;
    for (;;) {
        if (infinite) {
            changed_.wait(lock);
        } else if (changed_.wait_until(lock, deadline) == std::cv_status::timeout) {
            // The events may have been signalled just as the time-out elapsed: a last check
            // keeps a signal that arrived in time from being reported as a time-out.
            result = tryAcquireLocked(events, waitAll);
            break;
        }
        result = tryAcquireLocked(events, waitAll);
        if (result != kWaitTimeout) {
            break;
        }
    }
    --waiters_;
    return result;
}

}  // namespace zeta::platform::detail
