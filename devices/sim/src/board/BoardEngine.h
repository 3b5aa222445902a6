// The board's timing: the thread that sends video-trigger and scan pulses on the trigger bus.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "Illumination.h"
#include "ScanProgram.h"
#include "TriggerBus.h"
#include "platform/ScheduleWait.h"
#include "zetaVoroSim/SimExport.h"

namespace zeta::sim {

// One engine per board. Its thread sleeps until the next due pulse and follows an absolute
// schedule (next = previous due time + period): it never drifts, and when it wakes late it fires
// at once and keeps the schedule. The thread runs only while there is something to emit (a video
// trigger with a period, or a scan): the command that empties the schedule (the library's
// DisConnectDevice stops both video triggers) joins it, on the commanding thread, and the next
// command that schedules a pulse starts it again. So a board left without triggers leaves no
// thread behind, while one whose connection was closed with a trigger running keeps pulsing as a
// real board would. The mutex guards every field below it; the thread releases it
// while it emits, so a listener may call back into the engine. Every command that changes what
// is pulsed first waits for a pulse being emitted to finish, so once a command returns nothing
// of the old schedule is emitted any more (except when the command comes from a listener on the
// engine thread itself).
//
// Routes of the commands: 0 mono, 1 colour, 2 both, changed at the same instant so that their
// pulses fall together and carry one stamp. Thread-safe.
class ZETA_SIM_API BoardEngine {
public:
    explicit BoardEngine(std::shared_ptr<TriggerBus> bus);
    ~BoardEngine();
    BoardEngine(const BoardEngine&) = delete;
    BoardEngine& operator=(const BoardEngine&) = delete;

    // Stops and joins the thread for good. Idempotent; later commands are accepted but nothing is
    // emitted.
    void shutdown();

    // An absent (unplugged) board keeps its schedules running but emits nothing.
    void setPresent(bool present);
    // Shows `light` as the steady light; ends a running scan.
    void setProjection(const Illumination& light);
    // Video triggers pulse the projection at their period while no scan runs; a period of 0
    // pulses nothing. Starting one (or changing its period) schedules its first pulse one period
    // later.
    void setVideoTrigger(int route, bool on);
    void setVideoPeriod(int route, int periodMs);
    // The strobe of a route is lit for every pulse on it (strobe or strobe flicker).
    void setRouteStrobe(int route, bool lit);
    void setLamps(bool irLamp, bool laser);

    // Starts `program`, replacing a running scan; its first tick comes one period from now.
    // False (and nothing changes) for a program without a period.
    bool startScan(ScanProgram program);
    // Ends a running scan; the steady light returns to the projection and the video triggers
    // resume. True when a scan was running.
    bool stopScan();
    bool scanRunning() const;

    // One pulse now, on the calling thread, showing the steady light.
    void singleTrigger(int route);

private:
    using Clock = std::chrono::steady_clock;

    struct VideoRoute {
        bool on = false;
        std::chrono::microseconds period{std::chrono::milliseconds(10)};
        Clock::time_point next;
    };

    // A colour line trigger waiting for its time. Its delay counts from the moment its mono pulse
    // actually went out, so it is not eligible ("anchored") until that pulse was emitted.
    struct DelayedPulse {
        Clock::time_point due;
        ScanProgram::Pulse pulse;
        bool anchored = false;
    };

    struct ScanRun {
        explicit ScanRun(ScanProgram p) : program(std::move(p)) {}
        ScanProgram program;
        std::uint64_t tick = 0;
        Clock::time_point nextTick;
        bool ticksDone = false;             // a one-shot scan gave its last tick
        std::vector<DelayedPulse> delayed;  // colour line triggers still to come
        Clock::time_point lastDue;          // due time of the latest pulse given
    };

    // One pulse of a batch, ready to emit.
    struct OutPulse {
        Clock::time_point due;
        int route = 0;            // 0, 1, or 2 for both with one stamp
        Illumination light;       // mono light (or the light of route 1 alone)
        Illumination colorLight;  // colour light of a pulse on both routes
        int sequenceNumber = -1;
        bool fromScan = false;
    };

    void run();
    // True while there is something to emit, so that the thread has to run.
    bool scheduledLocked() const;
    // Starts the thread when the schedule has something and none runs; joins it when the schedule
    // is empty. Called after every command that changes what is scheduled, without mutex_.
    void followSchedule();
    std::optional<Clock::time_point> nextDueLocked() const;
    std::vector<OutPulse> collectDueLocked(Clock::time_point now);
    OutPulse scanPulseLocked(Clock::time_point due, const ScanProgram::Pulse& pulse) const;
    void endScanLocked(Clock::time_point end);
    // Anchors the delayed pulses of the tick just emitted to the emission of its mono pulse.
    void anchorDelayedLocked(std::optional<Clock::time_point> monoSent);
    void waitIdleLocked(std::unique_lock<std::mutex>& lock);
    Illumination litFor(Illumination light, int route) const;

    const std::shared_ptr<TriggerBus> bus_;

    mutable std::mutex mutex_;
    platform::ScheduleWait wake_;   // the engine thread waits here for its next due time
    std::condition_variable idle_;  // commands wait here for an emission to finish
    bool shutDown_ = false;         // for good: the thread is never started again
    bool stopping_ = false;         // the running thread is asked to end
    bool emitting_ = false;         // the engine thread is emitting a batch, mutex released
    bool present_ = true;
    Illumination projection_;
    VideoRoute video_[2];
    bool strobe_[2] = {false, false};
    bool irLamp_ = false;
    bool laser_ = false;
    std::optional<ScanRun> scan_;
    std::uint64_t scanGeneration_ = 0;  // changes whenever scan_ starts or ends

    std::mutex joinMutex_;  // serialises starting and joining the thread; taken before mutex_
    std::thread thread_;
    std::thread::id threadId_;  // written under mutex_ before the thread runs its loop
};

}  // namespace zeta::sim
