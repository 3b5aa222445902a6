#include "BoardEngine.h"

#include <algorithm>

#include "platform/ProcessLifetime.h"

namespace zeta::sim {

namespace {

// The routes a command names: 0, 1, or both for 2 (any other value names none).
bool names(int route, int r) {
    return route == r || route == 2;
}

}  // namespace

BoardEngine::BoardEngine(std::shared_ptr<TriggerBus> bus) : bus_(std::move(bus)) {}

BoardEngine::~BoardEngine() {
    shutdown();
}

bool BoardEngine::scheduledLocked() const {
    if (shutDown_) return false;
    if (scan_) return true;
    for (const VideoRoute& video : video_) {
        if (video.on && video.period.count() > 0) return true;
    }
    return false;
}

void BoardEngine::followSchedule() {
    // The engine thread never starts or joins itself: a listener's command that empties the
    // schedule leaves it waiting, and the next command from another thread joins it.
    std::lock_guard join(joinMutex_);
    bool wanted = false;
    {
        std::lock_guard lock(mutex_);
        if (std::this_thread::get_id() == threadId_) return;
        wanted = scheduledLocked();
        if (wanted && !thread_.joinable()) {
            platform::keepModuleLoaded();
            stopping_ = false;
            // The thread blocks on the mutex until its id is recorded.
            thread_ = std::thread([this] { run(); });
            threadId_ = thread_.get_id();
            return;
        }
        if (wanted || !thread_.joinable()) return;
        stopping_ = true;
    }
    wake_.wake();
    idle_.notify_all();
    thread_.join();
    std::lock_guard lock(mutex_);
    threadId_ = std::thread::id();
}

void BoardEngine::shutdown() {
    bool onEngineThread = false;
    {
        std::lock_guard lock(mutex_);
        shutDown_ = true;
        scan_.reset();
        ++scanGeneration_;
        onEngineThread = std::this_thread::get_id() == threadId_;
        if (onEngineThread) stopping_ = true;
    }
    if (!onEngineThread) {
        followSchedule();  // nothing is scheduled any more: joins the thread
        return;
    }
    // Shut down from a listener on the engine thread: the loop ends when the listener returns;
    // the thread cannot join itself.
    std::lock_guard join(joinMutex_);
    if (thread_.joinable()) thread_.detach();
}

void BoardEngine::waitIdleLocked(std::unique_lock<std::mutex>& lock) {
    if (std::this_thread::get_id() == threadId_) return;
    idle_.wait(lock, [this] { return !emitting_; });
}

Illumination BoardEngine::litFor(Illumination light, int route) const {
    light.strobe = light.strobe || strobe_[route == 1 ? 1 : 0];
    return light;
}

void BoardEngine::setPresent(bool present) {
    std::unique_lock lock(mutex_);
    waitIdleLocked(lock);
    present_ = present;
}

void BoardEngine::setProjection(const Illumination& light) {
    std::unique_lock lock(mutex_);
    waitIdleLocked(lock);
    projection_ = light;
    if (scan_) endScanLocked(Clock::now());
    bus_->setSteadyLight(light);
    wake_.wake();
    lock.unlock();
    followSchedule();
}

void BoardEngine::setVideoTrigger(int route, bool on) {
    std::unique_lock lock(mutex_);
    waitIdleLocked(lock);
    const auto now = Clock::now();
    for (int r = 0; r < 2; ++r) {
        if (!names(route, r)) continue;
        if (on && !video_[r].on) video_[r].next = now + video_[r].period;
        video_[r].on = on;
    }
    wake_.wake();
    lock.unlock();
    followSchedule();
}

void BoardEngine::setVideoPeriod(int route, int periodMs) {
    std::unique_lock lock(mutex_);
    waitIdleLocked(lock);
    const auto now = Clock::now();
    for (int r = 0; r < 2; ++r) {
        if (!names(route, r)) continue;
        video_[r].period = std::chrono::milliseconds(std::max(periodMs, 0));
        video_[r].next = now + video_[r].period;
    }
    wake_.wake();
    lock.unlock();
    followSchedule();
}

void BoardEngine::setRouteStrobe(int route, bool lit) {
    std::unique_lock lock(mutex_);
    waitIdleLocked(lock);
    for (int r = 0; r < 2; ++r) {
        if (names(route, r)) strobe_[r] = lit;
    }
}

void BoardEngine::setLamps(bool irLamp, bool laser) {
    std::unique_lock lock(mutex_);
    waitIdleLocked(lock);
    irLamp_ = irLamp;
    laser_ = laser;
}

bool BoardEngine::startScan(ScanProgram program) {
    if (program.period().count() <= 0 || program.cycleLength() == 0) return false;
    std::unique_lock lock(mutex_);
    waitIdleLocked(lock);
    const auto now = Clock::now();
    if (scan_) endScanLocked(now);
    scan_.emplace(std::move(program));
    ++scanGeneration_;
    scan_->nextTick = now + scan_->program.period();
    scan_->lastDue = now;
    wake_.wake();
    lock.unlock();
    followSchedule();
    return true;
}

bool BoardEngine::stopScan() {
    std::unique_lock lock(mutex_);
    waitIdleLocked(lock);
    if (!scan_) return false;
    endScanLocked(Clock::now());
    wake_.wake();
    lock.unlock();
    followSchedule();
    return true;
}

bool BoardEngine::scanRunning() const {
    std::lock_guard lock(mutex_);
    return scan_.has_value();
}

void BoardEngine::singleTrigger(int route) {
    Illumination mono;
    Illumination colour;
    {
        std::lock_guard lock(mutex_);
        if (shutDown_ || !present_) return;
        const Illumination steady = bus_->steadyLight();
        mono = litFor(steady, 0);
        colour = litFor(steady, 1);
    }
    if (route == 2) {
        bus_->emitBoth(mono, colour);
    } else {
        bus_->emit(route, route == 1 ? colour : mono);
    }
}

void BoardEngine::endScanLocked(Clock::time_point end) {
    scan_.reset();
    ++scanGeneration_;
    bus_->setSteadyLight(projection_);
    // Held video triggers resume one of their periods after the scan's end.
    for (VideoRoute& video : video_) {
        if (video.on) video.next = end + video.period;
    }
}

std::optional<BoardEngine::Clock::time_point> BoardEngine::nextDueLocked() const {
    std::optional<Clock::time_point> due;
    auto consider = [&due](Clock::time_point t) {
        if (!due || t < *due) due = t;
    };
    if (scan_) {
        if (!scan_->ticksDone) consider(scan_->nextTick);
        for (const DelayedPulse& delayed : scan_->delayed) {
            if (delayed.anchored) consider(delayed.due);
        }
        return due;
    }
    for (const VideoRoute& video : video_) {
        if (video.on && video.period.count() > 0) consider(video.next);
    }
    return due;
}

BoardEngine::OutPulse BoardEngine::scanPulseLocked(Clock::time_point due,
                                                   const ScanProgram::Pulse& pulse) const {
    OutPulse out;
    out.due = due;
    out.route = pulse.route;
    out.light = litFor(pulse.light, pulse.route == 1 ? 1 : 0);
    out.colorLight = litFor(pulse.light, 1);
    out.sequenceNumber = pulse.sequenceNumber;
    out.fromScan = true;
    return out;
}

std::vector<BoardEngine::OutPulse> BoardEngine::collectDueLocked(Clock::time_point now) {
    std::vector<OutPulse> out;
    if (scan_) {
        ScanRun& scan = *scan_;
        if (!scan.ticksDone && scan.nextTick <= now) {
            const Clock::time_point tickTime = scan.nextTick;
            for (const auto& pulse : scan.program.pulsesAt(scan.tick, irLamp_, laser_)) {
                if (pulse.delay.count() == 0) {
                    out.push_back(scanPulseLocked(tickTime, pulse));
                } else {
                    // An absent board emits nothing to anchor to: keep the schedule.
                    scan.delayed.push_back({tickTime + pulse.delay, pulse, !present_});
                }
            }
            scan.lastDue = std::max(scan.lastDue, tickTime);
            ++scan.tick;
            if (!scan.program.repeats() && scan.tick >= scan.program.cycleLength()) {
                scan.ticksDone = true;
            } else if (now - tickTime > scan.program.period() / 2) {
                // The engine woke more than half a period late (a loaded machine): the rest of the
                // sequence moves with this tick, so its pulses keep a period apart instead of
                // bunching up behind it as a real board never sends them.
                scan.nextTick = now + scan.program.period();
            } else {
                scan.nextTick += scan.program.period();
            }
        }
        for (auto it = scan.delayed.begin(); it != scan.delayed.end();) {
            if (it->anchored && it->due <= now) {
                out.push_back(scanPulseLocked(it->due, it->pulse));
                scan.lastDue = std::max(scan.lastDue, it->due);
                it = scan.delayed.erase(it);
            } else {
                ++it;
            }
        }
    } else {
        bool due[2];
        for (int r = 0; r < 2; ++r) {
            due[r] = video_[r].on && video_[r].period.count() > 0 && video_[r].next <= now;
        }
        if (due[0] && due[1] && video_[0].next == video_[1].next) {
            // Both routes fall together: one pulse on both, one stamp.
            OutPulse both;
            both.due = video_[0].next;
            both.route = 2;
            both.light = litFor(projection_, 0);
            both.colorLight = litFor(projection_, 1);
            out.push_back(both);
            for (VideoRoute& video : video_) video.next += video.period;
        } else {
            for (int r = 0; r < 2; ++r) {
                if (!due[r]) continue;
                OutPulse pulse;
                pulse.due = video_[r].next;
                pulse.route = r;
                pulse.light = litFor(projection_, r);
                out.push_back(pulse);
                video_[r].next += video_[r].period;
            }
        }
    }
    if (!present_) return {};  // an unplugged board keeps time but drives no line
    std::stable_sort(out.begin(), out.end(),
                     [](const OutPulse& a, const OutPulse& b) { return a.due < b.due; });
    // While a scan runs the projector shows the pattern of its latest mono pulse.
    for (auto it = out.rbegin(); it != out.rend(); ++it) {
        if (it->fromScan && it->route != 1) {
            Illumination shown = it->light;
            shown.strobe = false;
            bus_->setSteadyLight(shown);
            break;
        }
    }
    return out;
}

void BoardEngine::run() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        if (scan_ && scan_->ticksDone && scan_->delayed.empty()) endScanLocked(scan_->lastDue);
        const std::optional<Clock::time_point> due = nextDueLocked();
        if (!due) {
            wake_.wait(lock);
            continue;
        }
        const Clock::time_point now = Clock::now();
        if (*due > now) {
            wake_.waitUntil(lock, *due);
            continue;
        }
        std::vector<OutPulse> batch = collectDueLocked(now);
        const std::uint64_t generation = scanGeneration_;
        std::optional<Clock::time_point> monoSent;
        if (!batch.empty()) {
            emitting_ = true;
            lock.unlock();
            for (const OutPulse& pulse : batch) {
                try {
                    if (pulse.route == 2) {
                        bus_->emitBoth(pulse.light, pulse.colorLight, pulse.sequenceNumber);
                    } else {
                        const TriggerPulse sent =
                            bus_->emit(pulse.route, pulse.light, pulse.sequenceNumber);
                        if (pulse.fromScan && pulse.route == 0) {
                            monoSent = bus_->clock().epoch() + std::chrono::microseconds(sent.tUs);
                        }
                    }
                } catch (...) {
                    // A listener that throws loses its pulse; the schedule goes on.
                }
            }
            lock.lock();
            emitting_ = false;
            idle_.notify_all();
        }
        // Only the engine thread itself (a listener) can have changed the scan meanwhile.
        if (scan_ && generation == scanGeneration_) anchorDelayedLocked(monoSent);
    }
}

void BoardEngine::anchorDelayedLocked(std::optional<Clock::time_point> monoSent) {
    for (DelayedPulse& delayed : scan_->delayed) {
        if (delayed.anchored) continue;
        // The stamp of the mono pulse is its emission time truncated to microseconds, so a due
        // time counted from it keeps the colour stamp at least the delay after the mono stamp.
        if (monoSent) delayed.due = std::max(delayed.due, *monoSent + delayed.pulse.delay);
        delayed.anchored = true;
    }
}

}  // namespace zeta::sim
