#pragma once

#include <cstdint>
#include <span>

#include "platform/Event.h"
#include "platform/WaitResult.h"

namespace zeta::platform {

// Waits up to timeoutMs milliseconds (kInfinite = no time-out, 0 = just test) for one
// event. Returns kWaitObject0 if it was signalled (an auto-reset event is then
// consumed) or kWaitTimeout.
// Threads: any thread; the event must stay alive for the whole wait.
int waitForEvent(Event& event, std::uint32_t timeoutMs);

// Waits up to timeoutMs milliseconds for several events.
//
// waitAll = false: returns kWaitObject0 + i as soon as any event is signalled, i being
//   the lowest index of the signalled events; only that event is consumed if it is
//   auto-reset.
// waitAll = true: returns kWaitObject0 only at a moment when all events are signalled
//   together, and only then consumes the auto-reset ones. On time-out none is consumed.
//
// Returns kWaitTimeout on time-out, and kWaitFailed without waiting for an empty list,
// a null entry or more than kMaximumWaitObjects events.
// Threads: any thread; the events must stay alive for the whole wait.
int waitForEvents(std::span<Event* const> events, bool waitAll, std::uint32_t timeoutMs);

}  // namespace zeta::platform
