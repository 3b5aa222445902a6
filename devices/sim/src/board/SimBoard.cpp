#include "SimBoard.h"

#include <algorithm>

#include "BoardLights.h"

namespace zeta::sim {

namespace {

constexpr int kRouteBoth = 2;
constexpr int kMaxCommandBytes = 64;
constexpr int kMaxImageChunkBytes = 64;
// Raw commands kept per kind; the oldest are dropped beyond this, so a host that talks to the
// board for hours does not grow the process without bound.
constexpr std::size_t kKeptCommands = 65536;

bool within(int value, int low, int high) {
    return value >= low && value <= high;
}

bool validRoute(int route) {
    return within(route, 0, kRouteBoth);
}

// Routes 0 and 1 that a route argument names.
bool names(int route, int r) {
    return route == r || route == kRouteBoth;
}

bool validScanType(int type) {
    switch (type) {
        case 0:
        case 1:
        case 2:
        case 4:
        case 5:
        case 6:
        case 7:
        case 8:
        case 9:
        case 10:
            return true;
        default:
            return false;
    }
}

bool validE7Mode(int mode) {
    return mode == 6 || mode == 32 || mode == 33 || mode == 41;
}

}  // namespace

SimBoard::SimBoard(const BoardConfig& config, std::shared_ptr<TriggerBus> bus)
    : config_(config),
      bus_(bus),
      present_(config.present),
      status_{config.statusFirst, config.statusSecond, config.statusState},
      statusFlag_(config.statusFlag),
      engine_(std::move(bus)) {
    // Power-on values.
    for (RouteState& route : state_.routes) {
        route.periodMs = 10;
        route.pulseWidthMs = 1;
        route.polarity = 0;
    }
    state_.stripeFirst = config.stripePeriodMs;
    state_.stripeSecond = 0;
    engine_.setPresent(present_);
}

SimBoard::~SimBoard() {
    shutdown();
}

void SimBoard::shutdown() {
    {
        std::lock_guard lock(mutex_);
        shutDown_ = true;
    }
    engine_.shutdown();
}

bool SimBoard::acceptsPath(const std::string& path) const {
    return std::find(config_.paths.begin(), config_.paths.end(), path) != config_.paths.end();
}

bool SimBoard::present() const {
    std::lock_guard lock(mutex_);
    return present_;
}

void SimBoard::setPresent(bool present) {
    std::lock_guard lock(mutex_);
    present_ = present;
    engine_.setPresent(present);
}

void SimBoard::setStatus(std::uint8_t first, std::uint8_t second, std::uint8_t state, bool flag) {
    std::lock_guard lock(mutex_);
    status_[0] = first;
    status_[1] = second;
    status_[2] = state;
    statusFlag_ = flag;
}

void SimBoard::sessionOpened() {
    std::lock_guard lock(mutex_);
    ++state_.openHandles;
}

void SimBoard::sessionClosed() {
    std::lock_guard lock(mutex_);
    if (state_.openHandles > 0) --state_.openHandles;
}

BoardState SimBoard::state() const {
    std::lock_guard lock(mutex_);
    BoardState state = state_;
    state.present = present_;
    for (int r = 0; r < 2; ++r) state.routes[r].pulses = bus_->pulses(r);
    state.scanRunning = engine_.scanRunning();
    return state;
}

std::vector<std::vector<std::uint8_t>> SimBoard::sentCommands(bool report) const {
    std::lock_guard lock(mutex_);
    return commands_[report ? 1 : 0];
}

ImageStoreState SimBoard::imageStore() const {
    std::lock_guard lock(mutex_);
    return imageStore_;
}

bool SimBoard::answering() const {
    std::lock_guard lock(mutex_);
    return present_ && !shutDown_;
}

// ---- triggers ---------------------------------------------------------------------------------

bool SimBoard::setVideoTrigger(int route, bool start) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !validRoute(route)) return false;
    for (int r = 0; r < 2; ++r) {
        if (names(route, r)) state_.routes[r].videoTrigger = start;
    }
    engine_.setVideoTrigger(route, start);
    return true;
}

bool SimBoard::setVideoTriggerPeriod(int route, int periodMs) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !validRoute(route) || !within(periodMs, 0, 65535)) return false;
    for (int r = 0; r < 2; ++r) {
        if (names(route, r)) state_.routes[r].periodMs = periodMs;
    }
    engine_.setVideoPeriod(route, periodMs);
    return true;
}

bool SimBoard::setTriggerPulseWidth(int route, int widthMs) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !validRoute(route) || !within(widthMs, 0, 65535)) return false;
    for (int r = 0; r < 2; ++r) {
        if (names(route, r)) state_.routes[r].pulseWidthMs = widthMs;
    }
    return true;
}

bool SimBoard::setTriggerPolarity(int route, int polarity) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !validRoute(route)) return false;
    for (int r = 0; r < 2; ++r) {
        if (names(route, r)) state_.routes[r].polarity = polarity != 0 ? 1 : 0;
    }
    return true;
}

bool SimBoard::queryVideoTrigger(int route, bool& running, int& periodMs) const {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !within(route, 0, 1)) return false;
    running = state_.routes[route].videoTrigger;
    periodMs = state_.routes[route].periodMs;
    return true;
}

bool SimBoard::queryTriggerParameter(int route, int& polarity, int& widthMs) const {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !within(route, 0, 1)) return false;
    polarity = state_.routes[route].polarity;
    widthMs = state_.routes[route].pulseWidthMs;
    return true;
}

bool SimBoard::outputSingleTrigger(int route) {
    {
        std::lock_guard lock(mutex_);
        if (!present_ || shutDown_ || !validRoute(route)) return false;
    }
    // Emitted without the board's lock: the listeners run on this thread.
    engine_.singleTrigger(route);
    return true;
}

// ---- projection and lights --------------------------------------------------------------------

bool SimBoard::project(int pattern) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !within(pattern, 0, 13)) return false;
    state_.projection = pattern;
    engine_.setProjection(projectionLight(pattern));
    return true;
}

void SimBoard::updateStrobeLocked(int route) {
    for (int r = 0; r < 2; ++r) {
        if (!names(route, r)) continue;
        engine_.setRouteStrobe(r, state_.routes[r].strobe || state_.routes[r].strobeFlicker);
    }
}

bool SimBoard::setStrobe(int route, bool on) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !validRoute(route)) return false;
    for (int r = 0; r < 2; ++r) {
        if (names(route, r)) state_.routes[r].strobe = on;
    }
    updateStrobeLocked(route);
    return true;
}

bool SimBoard::setStrobeFlicker(int route, bool on) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !validRoute(route)) return false;
    for (int r = 0; r < 2; ++r) {
        if (names(route, r)) state_.routes[r].strobeFlicker = on;
    }
    updateStrobeLocked(route);
    return true;
}

bool SimBoard::setZoom(bool on) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_) return false;
    state_.zoom = on;
    return true;
}

bool SimBoard::setIrLampAndLaser(bool irLamp, bool laser) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_) return false;
    state_.irLamp = irLamp;
    state_.laser = laser;
    engine_.setLamps(irLamp, laser);
    return true;
}

bool SimBoard::setDistanceIndicate(int state) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !within(state, 0, 3)) return false;
    state_.distanceIndicate = state;
    return true;
}

bool SimBoard::setBrightness(int percent) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !within(percent, 0, 100)) return false;
    state_.brightness = percent;
    return true;
}

bool SimBoard::queryBrightness(int& percent) const {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_) return false;
    percent = state_.brightness;
    return true;
}

bool SimBoard::setE7Brightness(int percent) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !within(percent, 0, 100)) return false;
    state_.e7Brightness = percent;
    return true;
}

bool SimBoard::resetColorRoute() {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_) return false;
    ++state_.colorRouteResets;
    return true;
}

// ---- scans ------------------------------------------------------------------------------------

ScanSettings SimBoard::scanSettingsLocked() const {
    ScanSettings settings;
    settings.stripePeriodMs = state_.stripeFirst;
    settings.specklePeriodMs = state_.specklePeriodMs;
    settings.speckLaserPeriodMs = state_.speckLaserPeriodMs;
    settings.speckLaserFrames = state_.speckLaserFrames;
    settings.segregationCount = state_.colorSegregationCount;
    settings.colorDelayUs = state_.colorDelayUs;
    settings.speckleWithTexture = state_.speckleWithTexture;
    settings.monoVideoPeriodMs = state_.routes[0].periodMs;
    settings.sequenceLength = config_.sequenceLength;
    return settings;
}

bool SimBoard::startProgramLocked(const std::optional<ScanProgram>& program) {
    return program.has_value() && engine_.startScan(*program);
}

bool SimBoard::scan(int scanType) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !validScanType(scanType)) return false;
    if (scanType == 7 || scanType == 10) {
        // The stop commands end whatever scan runs, and are fine when none does.
        engine_.stopScan();
    } else if (!startProgramLocked(ScanProgram::forScanType(scanType, scanSettingsLocked()))) {
        return false;  // a stripe period of 0 cannot pace a scan
    }
    state_.scanType = scanType;
    return true;
}

bool SimBoard::setStripeScanParameter(int first, int second) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !within(first, 0, 65535) || !within(second, 0, 65535)) {
        return false;
    }
    state_.stripeFirst = first;
    state_.stripeSecond = second;
    return true;
}

bool SimBoard::setSpeckleOrLaserScanParameter(int periodMs, int spacePercent) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !within(periodMs, 1, 65535) || !within(spacePercent, 0, 100)) {
        return false;
    }
    state_.specklePeriodMs = periodMs;
    state_.speckleSpace = spacePercent;
    return true;
}

bool SimBoard::setSpeckLaserScanParameter(int periodMs, int laserFrames) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !within(periodMs, 1, 65535) || !within(laserFrames, 0, 100)) {
        return false;
    }
    state_.speckLaserPeriodMs = periodMs;
    state_.speckLaserFrames = laserFrames;
    return true;
}

bool SimBoard::setColorLineTriggerSegregationCount(int count) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !within(count, 1, 1000)) return false;
    state_.colorSegregationCount = count;
    return true;
}

bool SimBoard::setColorLineTriggerDelay(int delayUs) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !within(delayUs, 0, 1000000)) return false;
    state_.colorDelayUs = delayUs;
    return true;
}

bool SimBoard::setSpeckleScanWithTexture(bool withTexture) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_) return false;
    state_.speckleWithTexture = withTexture;
    return true;
}

bool SimBoard::enterFixScanFastMode() {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_) return false;
    // The two fix-scan modes exclude each other: entering one leaves the other.
    state_.fixScanFastMode = true;
    state_.fixScanFreeProjectMode = false;
    return true;
}

bool SimBoard::enterFixScanFreeProjectMode() {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_) return false;
    state_.fixScanFreeProjectMode = true;
    state_.fixScanFastMode = false;
    return true;
}

bool SimBoard::startE7ScanMode(int mode, int innerWord) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !validE7Mode(mode) || !within(innerWord, 0, 255)) return false;
    if (!startProgramLocked(ScanProgram::forE7Mode(mode, innerWord, scanSettingsLocked()))) {
        return false;  // a period of 0 (stripe, or the mono video period for mode 6)
    }
    state_.e7Mode = mode;
    state_.e7InnerWord = innerWord;
    return true;
}

bool SimBoard::stopE7ScanMode() {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_) return false;
    engine_.stopScan();
    return true;
}

// ---- cameras behind the board -----------------------------------------------------------------

bool SimBoard::resetCameraTimeStamp(int route) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !within(route, -1, 2)) return false;
    bus_->resetStamps(route);
    return true;
}

bool SimBoard::setCameraTimeStampType(int type) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !within(type, 0, 1)) return false;
    state_.timeStampType = type;
    bus_->setStampType(type);
    return true;
}

bool SimBoard::setVideoWidthHeight(int width, int height) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !within(width, 1, 4096) || !within(height, 1, 4096)) {
        return false;
    }
    state_.videoWidth = width;
    state_.videoHeight = height;
    return true;
}

bool SimBoard::setMonoColorSpan(int span) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !within(span, 0, 4)) return false;
    state_.monoColorSpan = span;
    return true;
}

bool SimBoard::setStrobeLightingTime(int camera, int timeUs) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !within(camera, 0, 15) || !within(timeUs, 0, 10000)) {
        return false;
    }
    state_.strobeLightingTimeUs[camera] = timeUs;
    return true;
}

// ---- status and commands ----------------------------------------------------------------------

bool SimBoard::queryStatus(std::uint8_t& first, std::uint8_t& second, std::uint8_t& state,
                           bool& flag) const {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_) return false;
    first = status_[0];
    second = status_[1];
    state = status_[2];
    flag = statusFlag_;
    return true;
}

bool SimBoard::queryFirmware(std::string& version) const {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_) return false;
    version = config_.firmware;
    return true;
}

bool SimBoard::sendCommand(bool report, const std::uint8_t* bytes, int length) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || bytes == nullptr || !within(length, 1, kMaxCommandBytes)) {
        return false;
    }
    auto& commands = commands_[report ? 1 : 0];
    commands.emplace_back(bytes, bytes + length);
    if (commands.size() > kKeptCommands) commands.erase(commands.begin());
    return true;
}

// ---- image store ------------------------------------------------------------------------------

bool SimBoard::startImageWrite(int imageType) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !within(imageType, 0, 1)) return false;
    imageStore_.writing = true;
    imageStore_.imageType = imageType;
    ++imageStore_.writes;
    imageStore_.chunks.clear();
    imageStore_.totalBytes = 0;
    return true;
}

bool SimBoard::writeImageData(const std::uint8_t* data, int length) {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || data == nullptr || !within(length, 1, kMaxImageChunkBytes) ||
        !imageStore_.writing) {
        return false;
    }
    imageStore_.chunks.emplace_back(data, data + length);
    imageStore_.totalBytes += static_cast<std::size_t>(length);
    return true;
}

bool SimBoard::stopImageWrite() {
    std::lock_guard lock(mutex_);
    if (!present_ || shutDown_ || !imageStore_.writing) return false;
    imageStore_.writing = false;
    ++imageStore_.completedWrites;
    return true;
}

}  // namespace zeta::sim
