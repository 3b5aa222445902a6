// Helpers of the board's tests: a recorder of trigger pulses and an open board handle.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "Illumination.h"
#include "SimTestSupport.h"
#include "TriggerBus.h"
#include "VirtualScanner.h"
#include "zetaVoroDLPdev.h"

namespace zeta::sim::test {

// Records every pulse of the current rig's trigger bus. onPulse runs on the board's engine
// thread (or a single-trigger caller); the mutex guards the record.
class PulseRecorder : public TriggerListener {
public:
    // A recorder subscribed to the bus of the rig loaded now.
    static std::shared_ptr<PulseRecorder> attach() {
        auto recorder = std::make_shared<PulseRecorder>();
        VirtualScanner::instance().rig()->bus->subscribe(recorder);
        return recorder;
    }

    void onPulse(const TriggerPulse& pulse) override {
        std::lock_guard lock(mutex_);
        pulses_.push_back(pulse);
    }

    std::vector<TriggerPulse> pulses() const {
        std::lock_guard lock(mutex_);
        return pulses_;
    }

    // Pulses of one route (0 or 1).
    std::vector<TriggerPulse> onRoute(int route) const {
        std::vector<TriggerPulse> found;
        for (const auto& pulse : pulses()) {
            if (pulse.route == route) found.push_back(pulse);
        }
        return found;
    }

    std::size_t count() const {
        std::lock_guard lock(mutex_);
        return pulses_.size();
    }

    std::size_t count(int route) const { return onRoute(route).size(); }

    // Waits (bounded) until at least `n` pulses were recorded on `route` (-1: any route).
    bool waitFor(std::size_t n, int route = -1,
                 std::chrono::milliseconds limit = std::chrono::milliseconds(5000)) const {
        return waitUntil([&] { return (route < 0 ? count() : count(route)) >= n; }, limit);
    }

    // True when a pulse arrives within `window` after the `seen` pulses recorded so far: for
    // checking that nothing more comes.
    bool anotherWithin(std::size_t seen, std::chrono::milliseconds window) const {
        return waitUntil([&] { return count() > seen; }, window);
    }

    void clear() {
        std::lock_guard lock(mutex_);
        pulses_.clear();
    }

private:
    mutable std::mutex mutex_;
    std::vector<TriggerPulse> pulses_;
};

// The board opened on its first path; closed when it goes out of scope.
class OpenBoard {
public:
    explicit OpenBoard(const char* path = "sim:board0") {
        const char* const& p = path;
        ok_ = zetaVoroDLPdev::zetaInitHidDev(handle_, p);
    }
    ~OpenBoard() {
        if (handle_ != nullptr) zetaVoroDLPdev::zetaExitHidDev(handle_);
    }
    OpenBoard(const OpenBoard&) = delete;
    OpenBoard& operator=(const OpenBoard&) = delete;

    bool ok() const { return ok_; }
    void* const& handle() const { return handle_; }
    operator void* const&() const { return handle_; }

private:
    void* handle_ = nullptr;
    bool ok_ = false;
};

// A rig of only the board (no cameras), with `boardExtra` keys added to the board object.
inline std::string boardRig(const std::string& boardExtra = "") {
    return rigWithCameras({}, boardExtra);
}

inline bool waitScanEnded(std::chrono::milliseconds limit = std::chrono::milliseconds(5000)) {
    return waitUntil([] { return !boardState().scanRunning; }, limit);
}

}  // namespace zeta::sim::test
