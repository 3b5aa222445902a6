#include "TriggerBus.h"

#include <algorithm>

namespace zeta::sim {

void TriggerBus::subscribe(const std::shared_ptr<TriggerListener>& listener) {
    std::lock_guard lock(mutex_);
    listeners_.push_back(listener);
}

std::uint64_t TriggerBus::stampAt(int route, std::uint64_t tUs) const {
    std::lock_guard lock(mutex_);
    if (stampType_ == 1) return tUs;
    const std::uint64_t epoch = epochUs_[route == 1 ? 1 : 0];
    return tUs >= epoch ? tUs - epoch : 0;
}

TriggerPulse TriggerBus::emit(int route, const Illumination& light, int sequenceNumber) {
    TriggerPulse pulse;
    pulse.route = route == 1 ? 1 : 0;
    pulse.tUs = clock_.nowUs();
    pulse.stamp = stampAt(pulse.route, pulse.tUs);
    pulse.light = light;
    pulse.sequenceNumber = sequenceNumber;
    deliver(pulse);
    return pulse;
}

void TriggerBus::emitBoth(const Illumination& monoLight, const Illumination& colorLight,
                          int sequenceNumber) {
    TriggerPulse pulse;
    pulse.tUs = clock_.nowUs();
    pulse.sequenceNumber = sequenceNumber;
    pulse.route = 0;
    pulse.stamp = stampAt(0, pulse.tUs);
    pulse.light = monoLight;
    deliver(pulse);
    pulse.route = 1;
    pulse.stamp = stampAt(1, pulse.tUs);
    pulse.light = colorLight;
    deliver(pulse);
}

void TriggerBus::deliver(const TriggerPulse& pulse) {
    std::vector<std::shared_ptr<TriggerListener>> targets;
    {
        std::lock_guard lock(mutex_);
        ++pulses_[pulse.route];
        listeners_.erase(std::remove_if(listeners_.begin(), listeners_.end(),
                                        [](const auto& w) { return w.expired(); }),
                         listeners_.end());
        for (const auto& weak : listeners_) {
            if (auto listener = weak.lock()) targets.push_back(std::move(listener));
        }
    }
    for (const auto& listener : targets) listener->onPulse(pulse);
}

void TriggerBus::setSteadyLight(const Illumination& light) {
    std::lock_guard lock(mutex_);
    steady_ = light;
}

Illumination TriggerBus::steadyLight() const {
    std::lock_guard lock(mutex_);
    return steady_;
}

void TriggerBus::resetStamps(int route) {
    const std::uint64_t now = clock_.nowUs();
    std::lock_guard lock(mutex_);
    if (route == 0 || route == 1) {
        epochUs_[route] = now;
    } else {
        epochUs_[0] = epochUs_[1] = now;
    }
}

void TriggerBus::setStampType(int type) {
    std::lock_guard lock(mutex_);
    stampType_ = type == 1 ? 1 : 0;
}

std::uint64_t TriggerBus::pulses(int route) const {
    std::lock_guard lock(mutex_);
    return pulses_[route == 1 ? 1 : 0];
}

}  // namespace zeta::sim
