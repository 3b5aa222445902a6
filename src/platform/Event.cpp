#include "platform/Event.h"

#include "platform/EventHub.h"
#include "platform/WaitResult.h"

namespace zeta::platform {

Event::Event(bool manualReset, bool initiallySet)
    : manualReset_(manualReset), signalled_(initiallySet) {}

void Event::set() {
    detail::EventHub::instance().set(*this);
}

void Event::reset() {
    detail::EventHub::instance().reset(*this);
}

bool Event::isSet() const {
    return detail::EventHub::instance().isSet(*this);
}

bool Event::wait(std::uint32_t timeoutMs) {
    Event* const self = this;
    return detail::EventHub::instance().wait(std::span<Event* const>(&self, 1), false, timeoutMs) ==
           kWaitObject0;
}

}  // namespace zeta::platform
