// The trigger bus between the board and the cameras of one rig.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "Illumination.h"
#include "SimClock.h"
#include "zetaVoroSim/SimExport.h"

namespace zeta::sim {

// A camera listens to the bus. onPulse runs on the board's engine thread (or the thread of a
// single-trigger call) and must only queue the pulse, never block.
class TriggerListener {
public:
    virtual ~TriggerListener() = default;
    virtual void onPulse(const TriggerPulse& pulse) = 0;
};

// Thread-safe. The mutex guards the listener list, the steady light and the stamp epochs; it is
// released before listeners are called, so a listener may call back into the bus.
class ZETA_SIM_API TriggerBus {
public:
    explicit TriggerBus(const SimClock& clock) : clock_(clock) {}

    void subscribe(const std::shared_ptr<TriggerListener>& listener);

    // Emits one pulse on `route` (0 or 1) now; fills in the time and the stamp.
    // Returns the pulse as sent.
    TriggerPulse emit(int route, const Illumination& light, int sequenceNumber = -1);
    // Emits one pulse on both routes with the same time and stamp.
    void emitBoth(const Illumination& monoLight, const Illumination& colorLight,
                  int sequenceNumber = -1);

    // What the projector shows when no pulse says otherwise (cameras in free run see this).
    void setSteadyLight(const Illumination& light);
    Illumination steadyLight() const;

    // Stamps restart at 0 on `route` (0, 1; -1 or 2 both).
    void resetStamps(int route);
    // 0: stamps count from the last reset (board ticks); 1: the rig clock (camera ticks).
    void setStampType(int type);
    // The stamp a pulse at `tUs` on `route` carries. Ticks are microseconds.
    std::uint64_t stampAt(int route, std::uint64_t tUs) const;

    // Pulses emitted per route since the rig was loaded.
    std::uint64_t pulses(int route) const;

    const SimClock& clock() const { return clock_; }

private:
    void deliver(const TriggerPulse& pulse);

    const SimClock& clock_;
    mutable std::mutex mutex_;
    std::vector<std::weak_ptr<TriggerListener>> listeners_;
    Illumination steady_;
    std::uint64_t epochUs_[2] = {0, 0};
    int stampType_ = 0;
    std::uint64_t pulses_[2] = {0, 0};
};

}  // namespace zeta::sim
