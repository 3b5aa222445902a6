#include "camera/SimCamera.h"

#include <chrono>
#include <cmath>
#include <cstring>
#include <new>

#include "platform/ProcessLifetime.h"

namespace zeta::sim {

namespace {

constexpr long kMinExposureUs = 1;
constexpr long kMaxExposureUs = 10000000;
constexpr double kMaxFrameRate = 100000.0;
constexpr int kParamSharpness = 6;
constexpr int kParamGamma = 7;
constexpr int kParamResolution = 20;

struct Preset {
    int width;
    int height;
};
constexpr Preset kPresets[] = {{640, 512}, {704, 576}, {1280, 1024}};

// The ratios a colour camera settles on when it balances itself: fixed, so runs repeat.
constexpr float kAutoBalance[3] = {1.25F, 1.0F, 1.5F};

bool isColour(int format) {
    return format == 16 || format == 17 || format == 18;
}

}  // namespace

SimCamera::SimCamera(const CameraConfig& config, int position, std::shared_ptr<TriggerBus> bus)
    : config_(config),
      position_(position),
      bus_(std::move(bus)),
      present_(config.present),
      fullWidth_(config.width),
      fullHeight_(config.height),
      width_(config.width),
      height_(config.height),
      gain_(config.gainMin),
      fps_(config.fps),
      drop_(config.drop.value_or(FrameFaultRule{})),
      duplicate_(config.duplicate.value_or(FrameFaultRule{})),
      renumber_(config.renumber.value_or(FrameFaultRule{})),
      renderer_(position),
      pool_(FramePool::create()) {}

SimCamera::~SimCamera() {
    shutdown();
}

void SimCamera::start() {
    bus_->subscribe(shared_from_this());
}

void SimCamera::startThread() {
    std::lock_guard lock(mutex_);
    if (shutdown_ || thread_.joinable()) return;
    platform::keepModuleLoaded();
    threadStop_ = false;
    restartFreeRun_ = true;
    thread_ = std::thread([this] { run(); });
}

void SimCamera::stopThread() {
    std::thread thread;
    {
        std::lock_guard lock(mutex_);
        threadStop_ = true;
        thread = std::move(thread_);
        workWait_.wake();
    }
    if (thread.joinable()) {
        if (thread.get_id() == std::this_thread::get_id()) {
            thread.detach();  // never expected: nothing on the camera's thread stops it
        } else {
            thread.join();
        }
    }
}

void SimCamera::shutdown() {
    std::thread thread;
    {
        std::lock_guard lock(mutex_);
        shutdown_ = true;
        pending_.clear();
        for (auto& [id, session] : sessions_) {
            for (auto& frame : session.ring) frame.reset();
            session.head = session.count = 0;
        }
        thread = std::move(thread_);
        workWait_.wake();
        frameCv_.notify_all();
    }
    if (thread.joinable()) {
        if (thread.get_id() == std::this_thread::get_id()) {
            thread.detach();  // never expected: nothing on the camera's thread shuts it down
        } else {
            thread.join();
        }
    }
}

const std::string& SimCamera::serial() const {
    return config_.serial;
}
const std::string& SimCamera::type() const {
    return config_.type;
}
int SimCamera::position() const {
    return position_;
}

bool SimCamera::present() const {
    std::lock_guard lock(mutex_);
    return present_;
}

void SimCamera::setPresent(bool present) {
    std::lock_guard lock(mutex_);
    if (present_ == present) return;
    present_ = present;
    if (!present) {
        // Unplugged: what was queued is lost, waiting snapshots fail.
        pending_.clear();
        clearAllLocked();
    }
    restartFreeRun_ = true;
    workWait_.wake();
    frameCv_.notify_all();
}

CameraStats SimCamera::stats() const {
    std::lock_guard lock(mutex_);
    CameraStats stats;
    stats.present = present_;
    stats.framesProduced = taken_;
    stats.framesDelivered = delivered_;
    stats.framesDropped = dropped_;
    stats.openHandles = static_cast<int>(sessions_.size());
    stats.triggerMode = triggerMode_;
    stats.exposureUs = exposureUs_;
    stats.gain = gain_;
    return stats;
}

void SimCamera::setDropFrames(const FrameFaultRule& rule) {
    std::lock_guard lock(mutex_);
    drop_ = rule;
}

void SimCamera::setDuplicateFrames(const FrameFaultRule& rule) {
    std::lock_guard lock(mutex_);
    duplicate_ = rule;
}

void SimCamera::setRenumberFrames(const FrameFaultRule& rule) {
    std::lock_guard lock(mutex_);
    renumber_ = rule;
}

// Runs on the board's thread (or the thread of a single-trigger call): only queues the pulse for
// the camera's thread.
void SimCamera::onPulse(const TriggerPulse& pulse) {
    std::lock_guard lock(mutex_);
    if (pulse.route != config_.route || triggerMode_ != 1 || !producingLocked()) return;
    if (pending_.size() >= kMaxPendingPulses) {
        // The camera cannot keep up: the exposure is lost.
        ++produced_;
        ++taken_;
        ++dropped_;
        return;
    }
    pending_.push_back({pulse, ++produced_});
    workWait_.wake();
}

bool SimCamera::availableLocked() const {
    return present_ && !shutdown_;
}

bool SimCamera::producingLocked() const {
    if (!availableLocked()) return false;
    for (const auto& [id, session] : sessions_) {
        if (session.started) return true;
    }
    return false;
}

// The camera's thread. Takes mutex_ alone (and, inside it, the frame pool's leaf lock when a frame
// is released); the bus is called and frames are rendered and copied with mutex_ released.
void SimCamera::run() {
    using Clock = std::chrono::steady_clock;
    std::unique_lock lock(mutex_);
    Clock::time_point nextDue = Clock::now();
    while (!shutdown_ && !threadStop_) {
        if (!producingLocked()) {
            pending_.clear();
            restartFreeRun_ = true;
            workWait_.wait(lock);
            continue;
        }
        if (triggerMode_ == 1) {
            if (pending_.empty()) {
                workWait_.wait(lock);
                continue;
            }
            const TriggerPulse pulse = pending_.front().pulse;
            const std::uint64_t number = pending_.front().exposureNumber;
            pending_.pop_front();
            ++taken_;
            Exposure exposure;
            exposure.light = pulse.light;
            exposure.stamp = timeStampSource_ == 1 ? pulse.tUs : pulse.stamp;
            exposure.number = pulse.sequenceNumber < 0 ? 0 : pulse.sequenceNumber;
            expose(lock, exposure, number);
            continue;
        }
        const Clock::time_point now = Clock::now();
        if (restartFreeRun_) {
            restartFreeRun_ = false;
            nextDue = now;
        }
        if (now < nextDue) {
            workWait_.waitUntil(lock, nextDue);
            continue;
        }
        // Late frames are not made up for: a camera that cannot keep its rate runs flat out.
        nextDue +=
            std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1.0 / fps_));
        if (nextDue < now) nextDue = now;
        // The exposure is numbered before the light is looked at, so a queue reset after this
        // point never receives a frame showing the light from before the reset.
        const std::uint64_t number = ++produced_;
        ++taken_;
        lock.unlock();
        Exposure exposure;
        exposure.light = bus_->steadyLight();
        exposure.stamp = bus_->clock().nowUs();
        lock.lock();
        expose(lock, exposure, number);
    }
}

// Called on the camera's thread with `lock` held, for an exposure already counted as produced;
// releases the lock while the frame is made.
void SimCamera::expose(std::unique_lock<std::mutex>& lock, const Exposure& exposure,
                       std::uint64_t exposureNumber) {
    if (!producingLocked() || drop_.consume()) {
        ++dropped_;
        return;
    }
    const int copies = duplicate_.consume() ? 2 : 1;
    const int number = renumber_.consume() ? renumber_.value : exposure.number;
    FrameRenderer::Key key;
    key.light = exposure.light;
    key.fullWidth = fullWidth_;
    key.fullHeight = fullHeight_;
    key.width = width_;
    key.height = height_;
    key.sensors = config_.sensors;
    key.format = config_.format;
    const std::uint64_t generation = layoutGeneration_;
    lock.unlock();

    std::shared_ptr<Frame> frame;
    try {
        const std::vector<std::uint8_t>& image = renderer_.image(key);
        frame = pool_->acquire(image.size() + Frame::kStampBytes);
        std::memcpy(frame->bytes.data(), image.data(), image.size());
    } catch (const std::bad_alloc&) {
        frame.reset();
    }
    if (frame) {
        frame->sensorWidth = key.width;
        frame->height = key.height;
        frame->sensors = key.sensors;
        frame->format = key.format;
        frame->stamp = exposure.stamp;
        frame->number = number;
        frame->exposure = exposureNumber;
        // Tags in row 0 of every sensor image; a sensor row too short for a tag goes without.
        const std::size_t sensorRowBytes = static_cast<std::size_t>(key.width) *
                                           static_cast<std::size_t>(bytesPerPixel(key.format));
        const std::uint8_t tags[3] = {static_cast<std::uint8_t>(number & 0xFF),
                                      static_cast<std::uint8_t>(position_ & 0xFF), 0};
        for (int sensor = 0; sensor < key.sensors; ++sensor) {
            std::uint8_t* first = frame->bytes.data() + sensor * sensorRowBytes;
            for (std::size_t i = 0; i < 3; ++i) {
                if (4 + i >= sensorRowBytes) break;
                first[4 + i] = i == 2 ? static_cast<std::uint8_t>(sensor & 0xFF) : tags[i];
            }
        }
        std::uint8_t* stamp = frame->bytes.data() + frame->imageBytes();
        for (std::size_t i = 0; i < Frame::kStampBytes; ++i) {
            stamp[i] = static_cast<std::uint8_t>((exposure.stamp >> (8 * i)) & 0xFFU);
        }
    }

    lock.lock();
    if (!frame || generation != layoutGeneration_ || !producingLocked()) {
        ++dropped_;
        return;
    }
    deliverLocked(frame, copies);
}

void SimCamera::deliverLocked(const std::shared_ptr<const Frame>& frame, int copies) {
    for (auto& [id, session] : sessions_) {
        if (!session.started) continue;
        for (int copy = 0; copy < copies; ++copy) {
            if (session.locked || frame->exposure < session.acceptFrom) {
                ++dropped_;
                continue;
            }
            const std::size_t size = session.ring.size();
            if (session.count == size) {
                session.ring[session.head].reset();
                session.head = (session.head + 1) % size;
                --session.count;
                ++dropped_;
            }
            session.ring[(session.head + session.count) % size] = frame;
            ++session.count;
        }
    }
    frameCv_.notify_all();
}

void SimCamera::clearSessionLocked(Session& session) {
    dropped_ += session.count;
    session.acceptFrom = produced_ + 1;
    for (auto& frame : session.ring) frame.reset();
    session.head = 0;
    session.count = 0;
}

void SimCamera::clearAllLocked() {
    for (auto& [id, session] : sessions_) clearSessionLocked(session);
}

void SimCamera::changeLayoutLocked(int fullWidth, int fullHeight, int width, int height) {
    if (fullWidth == fullWidth_ && fullHeight == fullHeight_ && width == width_ &&
        height == height_) {
        return;
    }
    fullWidth_ = fullWidth;
    fullHeight_ = fullHeight;
    width_ = width;
    height_ = height;
    ++layoutGeneration_;
    clearAllLocked();
}

// ---- operations of the camera library ----------------------------------------------------------

bool SimCamera::available() const {
    std::lock_guard lock(mutex_);
    return availableLocked();
}

bool SimCamera::attach(int width, int height, SessionId& session) {
    std::lock_guard lock(mutex_);
    if (!availableLocked()) return false;
    if (width < 0 || height < 0 || (width == 0) != (height == 0)) return false;
    if (width != 0) {
        const long long frameWidth = static_cast<long long>(fullWidth_) * config_.sensors;
        if (width > frameWidth || height > fullHeight_ || width % config_.sensors != 0) {
            return false;
        }
        changeLayoutLocked(fullWidth_, fullHeight_, width / config_.sensors, height);
    }
    Session fresh;
    fresh.ring.resize(static_cast<std::size_t>(config_.buffers));
    fresh.acceptFrom = produced_ + 1;
    session = nextSession_++;
    sessions_.emplace(session, std::move(fresh));
    workWait_.wake();
    return true;
}

void SimCamera::detach(SessionId session) {
    std::lock_guard lock(mutex_);
    auto it = sessions_.find(session);
    if (it == sessions_.end()) return;
    sessions_.erase(it);
    workWait_.wake();
    frameCv_.notify_all();
}

bool SimCamera::hasSession(SessionId session) const {
    std::lock_guard lock(mutex_);
    return sessions_.count(session) != 0;
}

bool SimCamera::startDelivery(SessionId session, double frameRate) {
    std::lock_guard lock(mutex_);
    if (!availableLocked()) return false;
    if (!std::isfinite(frameRate) || frameRate < 0.0 || frameRate > kMaxFrameRate) return false;
    auto it = sessions_.find(session);
    if (it == sessions_.end()) return false;
    if (!it->second.started) {
        it->second.started = true;
        it->second.acceptFrom = produced_ + 1;
    }
    if (frameRate > 0.0 && frameRate != fps_) {
        fps_ = frameRate;
        restartFreeRun_ = true;
    }
    workWait_.wake();
    return true;
}

bool SimCamera::lockDelivery(SessionId session, bool lock) {
    std::lock_guard guard(mutex_);
    if (!availableLocked()) return false;
    auto it = sessions_.find(session);
    if (it == sessions_.end()) return false;
    if (it->second.locked && !lock) it->second.acceptFrom = produced_ + 1;
    it->second.locked = lock;
    return true;
}

bool SimCamera::dropQueued(SessionId session) {
    std::lock_guard lock(mutex_);
    if (!availableLocked()) return false;
    auto it = sessions_.find(session);
    if (it == sessions_.end()) return false;
    clearSessionLocked(it->second);
    return true;
}

bool SimCamera::dropAllQueued() {
    std::lock_guard lock(mutex_);
    if (!availableLocked()) return false;
    clearAllLocked();
    return true;
}

bool SimCamera::wakeWaiters() {
    std::lock_guard lock(mutex_);
    if (!availableLocked()) return false;
    ++wakeGeneration_;
    frameCv_.notify_all();
    return true;
}

SimCamera::SnapResult SimCamera::snap(SessionId session, std::shared_ptr<const Frame>& frame) {
    std::unique_lock lock(mutex_);
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(config_.snapTimeoutMs);
    const std::uint64_t wake = wakeGeneration_;
    for (;;) {
        if (!availableLocked()) return SnapResult::Unavailable;
        auto it = sessions_.find(session);
        if (it == sessions_.end() || wakeGeneration_ != wake) return SnapResult::Woken;
        Session& queue = it->second;
        if (queue.count > 0) {
            frame = std::move(queue.ring[queue.head]);
            queue.head = (queue.head + 1) % queue.ring.size();
            --queue.count;
            ++delivered_;
            return SnapResult::Frame;
        }
        if (std::chrono::steady_clock::now() >= deadline) return SnapResult::TimedOut;
        frameCv_.wait_until(lock, deadline);
    }
}

bool SimCamera::reportedResolution(int& width, int& height) const {
    std::lock_guard lock(mutex_);
    if (!availableLocked()) return false;
    if (config_.usb3) {
        width = width_ * config_.sensors;
        height = height_;
    } else {
        // A camera on a USB 2 link tells the host so by reporting a single pixel.
        width = 1;
        height = 1;
    }
    return true;
}

bool SimCamera::layout(int& sensorWidth, int& height, int& sensors, int& format) const {
    std::lock_guard lock(mutex_);
    if (!availableLocked()) return false;
    sensorWidth = width_;
    height = height_;
    sensors = config_.sensors;
    format = config_.format;
    return true;
}

bool SimCamera::exposure(long& microseconds) const {
    std::lock_guard lock(mutex_);
    if (!availableLocked()) return false;
    microseconds = exposureUs_;
    return true;
}

bool SimCamera::setExposure(long microseconds) {
    std::lock_guard lock(mutex_);
    if (!availableLocked()) return false;
    if (microseconds < kMinExposureUs || microseconds > kMaxExposureUs) return false;
    exposureUs_ = microseconds;
    return true;
}

bool SimCamera::gain(int& gain) const {
    std::lock_guard lock(mutex_);
    if (!availableLocked()) return false;
    gain = gain_;
    return true;
}

bool SimCamera::setGain(int gain) {
    std::lock_guard lock(mutex_);
    if (!availableLocked()) return false;
    if (gain < config_.gainMin || gain > config_.gainMax) return false;
    gain_ = gain;
    return true;
}

bool SimCamera::gainRange(int& minGain, int& maxGain) const {
    std::lock_guard lock(mutex_);
    if (!availableLocked()) return false;
    minGain = config_.gainMin;
    maxGain = config_.gainMax;
    return true;
}

bool SimCamera::colorFormat(int& format) const {
    std::lock_guard lock(mutex_);
    if (!availableLocked()) return false;
    format = config_.format;
    return true;
}

bool SimCamera::deviceType(int& type) const {
    std::lock_guard lock(mutex_);
    if (!availableLocked() || config_.deviceType <= 0) return false;
    type = config_.deviceType;
    return true;
}

bool SimCamera::triggerMode(int& mode) const {
    std::lock_guard lock(mutex_);
    if (!availableLocked()) return false;
    mode = triggerMode_;
    return true;
}

bool SimCamera::setTriggerMode(int mode) {
    std::lock_guard lock(mutex_);
    if (!availableLocked()) return false;
    if (mode != 0 && mode != 1) return false;
    if (mode != triggerMode_) {
        triggerMode_ = mode;
        pending_.clear();
        restartFreeRun_ = true;
        workWait_.wake();
    }
    return true;
}

bool SimCamera::setBinning(int size) {
    std::lock_guard lock(mutex_);
    if (!availableLocked()) return false;
    if (size != 0 && size != 2 && size != 3 && size != 4) return false;
    binning_ = size;
    return true;
}

bool SimCamera::intParam(int param, int& value) const {
    std::lock_guard lock(mutex_);
    if (!availableLocked()) return false;
    switch (param) {
        case kParamSharpness:
            value = sharpness_;
            return true;
        case kParamGamma:
            value = gamma_;
            return true;
        case kParamResolution: {
            // The preset the full sensor size matches; a rig size that is no preset reads -1.
            int preset = -1;
            for (int i = 0; i < 3; ++i) {
                if (kPresets[i].width == fullWidth_ && kPresets[i].height == fullHeight_)
                    preset = i;
            }
            value = preset;
            return true;
        }
        default:
            return false;
    }
}

bool SimCamera::setIntParam(int param, int value) {
    std::lock_guard lock(mutex_);
    if (!availableLocked()) return false;
    switch (param) {
        case kParamSharpness:
            if (value < 0 || value > 100) return false;
            sharpness_ = value;
            return true;
        case kParamGamma:
            if (value < 1 || value > 400) return false;
            gamma_ = value;
            return true;
        case kParamResolution: {
            if (value < 0 || value > 2) return false;
            const Preset preset = kPresets[value];
            changeLayoutLocked(preset.width, preset.height, preset.width, preset.height);
            return true;
        }
        default:
            return false;
    }
}

bool SimCamera::whiteBalance(bool operate, float& r, float& g, float& b) {
    std::lock_guard lock(mutex_);
    if (!availableLocked() || !isColour(config_.format)) return false;
    if (operate) {
        for (int c = 0; c < 3; ++c) balance_[c] = kAutoBalance[c];
    } else {
        const float given[3] = {r, g, b};
        for (float ratio : given) {
            if (!std::isfinite(ratio) || ratio < 0.01F || ratio > 16.0F) return false;
        }
        for (int c = 0; c < 3; ++c) balance_[c] = given[c];
    }
    r = balance_[0];
    g = balance_[1];
    b = balance_[2];
    return true;
}

bool SimCamera::setTimeStampSource(int source) {
    std::lock_guard lock(mutex_);
    if (!availableLocked()) return false;
    if (source != 0 && source != 1) return false;
    timeStampSource_ = source;
    return true;
}

}  // namespace zeta::sim
