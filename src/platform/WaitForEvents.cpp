#include "platform/WaitForEvents.h"

#include "platform/EventHub.h"

namespace zeta::platform {

int waitForEvent(Event& event, std::uint32_t timeoutMs) {
    Event* const self = &event;
    return detail::EventHub::instance().wait(std::span<Event* const>(&self, 1), false, timeoutMs);
}

int waitForEvents(std::span<Event* const> events, bool waitAll, std::uint32_t timeoutMs) {
    if (events.empty() || events.size() > kMaximumWaitObjects) {
        return kWaitFailed;
    }
    for (const Event* event : events) {
        if (event == nullptr) {
            return kWaitFailed;
        }
    }
    return detail::EventHub::instance().wait(events, waitAll, timeoutMs);
}

}  // namespace zeta::platform
