// One simulated camera.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "RigConfig.h"
#include "TriggerBus.h"
#include "camera/Frame.h"
#include "camera/FramePool.h"
#include "camera/FrameRenderer.h"
#include "platform/ScheduleWait.h"
#include "zetaVoroSim/SimControl.h"
#include "zetaVoroSim/SimExport.h"

namespace zeta::sim {

// Thread-safe. CONTRACT used by the rest of the virtual scanner (VirtualScanner, the control
// API); the camera operations called by the camera library are declared below it.
class ZETA_SIM_API SimCamera : public TriggerListener,
                               public std::enable_shared_from_this<SimCamera> {
public:
    // `position` is the camera's index in the rig file.
    SimCamera(const CameraConfig& config, int position, std::shared_ptr<TriggerBus> bus);
    ~SimCamera() override;
    SimCamera(const SimCamera&) = delete;
    SimCamera& operator=(const SimCamera&) = delete;

    // Subscribes to the bus; called once, after construction.
    void start();
    // The camera's thread, which makes the frames: run while a device handle of the process is
    // open (VirtualScanner). Without it the camera keeps its settings and sessions but makes no
    // frame. Neither is called on the camera's own thread.
    void startThread();
    void stopThread();
    // Stops the thread and wakes every waiting SnapShot; every later operation fails.
    void shutdown();

    const std::string& serial() const;
    const std::string& type() const;
    int position() const;

    bool present() const;
    void setPresent(bool present);
    CameraStats stats() const;
    void setDropFrames(const FrameFaultRule& rule);
    void setDuplicateFrames(const FrameFaultRule& rule);
    void setRenumberFrames(const FrameFaultRule& rule);

    void onPulse(const TriggerPulse& pulse) override;

    // ---- operations of the camera library ------------------------------------------------------
    // Each returns false, changing nothing, when the camera is unplugged or shut down or when an
    // argument is refused.

    // One open handle's link to this camera: its delivery state and frame queue. Never reused.
    using SessionId = std::uint64_t;

    // Present and not shut down.
    bool available() const;

    // Opens a session. 0 x 0 keeps the frame size; otherwise width x height (width divisible by
    // the sensor count, at most the full frame) becomes the frame of every session: the region
    // starting at the top-left corner of each sensor image. Queued frames of another size are
    // dropped.
    bool attach(int width, int height, SessionId& session);
    // Ends a session: its queue is dropped and a SnapShot waiting on it fails. Works on an
    // unplugged or shut down camera too.
    void detach(SessionId session);
    bool hasSession(SessionId session) const;

    // Starts delivery to the session; a non-zero `frameRate` (up to 100000) sets the free-run rate.
    bool startDelivery(SessionId session, double frameRate);
    // While locked, frames are not queued to the session (they count as dropped).
    bool lockDelivery(SessionId session, bool lock);
    // Drops the session's queued frames.
    bool dropQueued(SessionId session);
    // Drops the queued frames of every session.
    bool dropAllQueued();
    // Makes every SnapShot waiting on this camera return WOKEN.
    bool wakeWaiters();

    enum class SnapResult { Frame, TimedOut, Woken, Unavailable };
    // Waits up to the camera's snap time-out for the session's next queued frame. WOKEN: the
    // session ended or wakeWaiters was called while waiting.
    SnapResult snap(SessionId session, std::shared_ptr<const Frame>& frame);

    // The size GetResolution reports: the whole frame, or 1 x 1 on a USB 2 link.
    bool reportedResolution(int& width, int& height) const;
    // The layout of the frames produced now.
    bool layout(int& sensorWidth, int& height, int& sensors, int& format) const;

    bool exposure(long& microseconds) const;
    bool setExposure(long microseconds);  // 1 .. 10,000,000
    bool gain(int& gain) const;
    bool setGain(int gain);  // gainMin .. gainMax
    bool gainRange(int& minGain, int& maxGain) const;
    bool colorFormat(int& format) const;
    bool deviceType(int& type) const;  // false when the rig's deviceType is not above 0
    bool triggerMode(int& mode) const;
    bool setTriggerMode(int mode);  // 0 free run, 1 triggered
    bool setBinning(int size);      // 0, 2, 3, 4; stored only
    bool intParam(int param, int& value) const;
    bool setIntParam(int param, int value);
    // Colour formats only. `operate`: computes the ratios and writes them; otherwise applies the
    // given ones (each 0.01 .. 16).
    bool whiteBalance(bool operate, float& r, float& g, float& b);
    bool setTimeStampSource(int source);  // 0 the pulse's stamp, 1 the rig clock at exposure

    static constexpr std::size_t kMaxPendingPulses = 4096;

private:
    // A session's frame queue: a ring of at most `buffers` frames, allocated at attach.
    struct Session {
        std::vector<std::shared_ptr<const Frame>> ring;
        std::size_t head = 0;
        std::size_t count = 0;
        bool started = false;
        bool locked = false;
        // Frames of earlier exposures are not queued: a reset, unlocked or newly started queue
        // takes only frames exposed after that moment, even if one was being made meanwhile.
        std::uint64_t acceptFrom = 0;
    };
    // What one exposure shows and carries.
    struct Exposure {
        Illumination light;
        std::uint64_t stamp = 0;
        int number = 0;
    };

    void run();
    bool availableLocked() const;
    bool producingLocked() const;
    void expose(std::unique_lock<std::mutex>& lock, const Exposure& exposure,
                std::uint64_t exposureNumber);
    void deliverLocked(const std::shared_ptr<const Frame>& frame, int copies);
    void clearSessionLocked(Session& session);
    void clearAllLocked();
    void changeLayoutLocked(int fullWidth, int fullHeight, int width, int height);

    const CameraConfig config_;
    const int position_;
    const std::shared_ptr<TriggerBus> bus_;

    // Guards every member below, except those marked as the camera thread's. Never held while
    // rendering or copying a frame, nor while calling the bus.
    mutable std::mutex mutex_;
    platform::ScheduleWait workWait_;  // wakes the camera's thread: pulses, state changes
    std::condition_variable frameCv_;  // wakes SnapShot waiters: frames, closing, waking
    std::thread thread_;
    bool shutdown_ = false;
    bool threadStop_ = false;  // the running thread is asked to end (stopThread)
    bool present_;

    int fullWidth_;  // one sensor image at the camera's resolution
    int fullHeight_;
    int width_;  // one sensor image as delivered (a region of the full one)
    int height_;
    std::uint64_t layoutGeneration_ = 0;  // frames of an older layout are not delivered

    long exposureUs_ = 10000;
    int gain_;
    int triggerMode_ = 0;
    int binning_ = 0;
    int sharpness_ = 50;
    int gamma_ = 100;
    float balance_[3] = {1.0F, 1.0F, 1.0F};
    int timeStampSource_ = 0;
    double fps_;
    bool restartFreeRun_ = true;  // the next free-run frame is due now

    FrameFaultRule drop_;
    FrameFaultRule duplicate_;
    FrameFaultRule renumber_;

    std::map<SessionId, Session> sessions_;
    SessionId nextSession_ = 1;
    // A pulse waiting for the camera's thread, with the number of its exposure. The exposure is
    // numbered when the pulse arrives, so a queue reset after the pulse and before the camera's
    // thread makes the frame never receives that frame.
    struct PendingPulse {
        TriggerPulse pulse;
        std::uint64_t exposureNumber = 0;
    };
    std::deque<PendingPulse> pending_;
    std::uint64_t wakeGeneration_ = 0;  // bumped by wakeWaiters

    std::uint64_t produced_ = 0;  // also the number of the last exposure
    std::uint64_t taken_ = 0;     // exposures the camera's thread has taken up (or lost)
    std::uint64_t delivered_ = 0;
    std::uint64_t dropped_ = 0;

    // The camera thread's own: only run() and expose() touch them, outside the lock.
    FrameRenderer renderer_;
    const std::shared_ptr<FramePool> pool_;
};

}  // namespace zeta::sim
