#pragma once

#include <cstdint>

#include "platform/WaitResult.h"

namespace zeta::platform {

namespace detail {
class EventHub;
}

// Manual- or auto-reset event.
//
// A manual-reset event stays signalled after set() until reset(); every waiter is
// released while it is signalled. An auto-reset event is consumed (reset) by the one
// waiter it releases, so one set() releases exactly one waiter; set() on an event that
// is already signalled has no further effect.
//
// Threads: any thread may call every method, concurrently. The event must outlive
// every wait that refers to it (destroying an event while a thread waits on it is a
// programming error).
//
// Invariant: signalled_ is read and written only under the process-wide event-hub
// mutex (see EventHub.h), which is also what waitForEvents() holds while it checks
// and consumes several events at once. manualReset_ never changes after construction.
class Event {
public:
    explicit Event(bool manualReset, bool initiallySet = false);
    ~Event() = default;

    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;
    Event(Event&&) = delete;
    Event& operator=(Event&&) = delete;

    // Signals the event and wakes the waiters it can satisfy.
    void set();

    // Returns the event to the non-signalled state.
    void reset();

    // True if the event is signalled right now. Never consumes an auto-reset event.
    bool isSet() const;

    // Waits up to timeoutMs milliseconds (kInfinite = no time-out, 0 = just test) for the
    // event. Returns true if it was signalled; an auto-reset event is then consumed.
    bool wait(std::uint32_t timeoutMs);

    bool isManualReset() const { return manualReset_; }

private:
    friend class detail::EventHub;

    const bool manualReset_;
    bool signalled_;
};

}  // namespace zeta::platform
