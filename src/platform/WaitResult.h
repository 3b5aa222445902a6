#pragma once

#include <cstddef>
#include <cstdint>

namespace zeta::platform {

// Results of waitForEvent() / waitForEvents().
// kWaitObject0 + i is returned when event i satisfied a wait-any (always 0 for a wait-all).
inline constexpr int kWaitObject0 = 0;
// Returned when the time-out elapsed before the wait was satisfied.
inline constexpr int kWaitTimeout = -1;
// Returned for an invalid call: empty list, null entry or more than kMaximumWaitObjects events.
inline constexpr int kWaitFailed = -2;

// Largest number of events a single waitForEvents() call accepts.
inline constexpr std::size_t kMaximumWaitObjects = 64;

// Time-out value meaning "wait without time-out".
inline constexpr std::uint32_t kInfinite = 0xFFFFFFFFu;

}  // namespace zeta::platform
