#include "SyncRegistry.h"

#include <glog/logging.h>

#include <algorithm>
#include <cstdlib>
#include <exception>

#include "platform/ProcessLifetime.h"
#include "sync/IShotSync.h"

namespace zeta::api {

SyncRegistry& SyncRegistry::instance() {
    // Never destroyed: exported functions may still run on host threads during process exit.
    static SyncRegistry* registry = new SyncRegistry();
    return *registry;
}

void SyncRegistry::addLive(IShotSync* sync) {
    if (sync == nullptr) return;
    std::lock_guard<std::mutex> lock(mutex_);
    if (std::find(live_.begin(), live_.end(), sync) == live_.end()) live_.push_back(sync);
}

bool SyncRegistry::isLive(const void* handle) const {
    if (handle == nullptr) return false;
    std::lock_guard<std::mutex> lock(mutex_);
    return std::any_of(live_.begin(), live_.end(), [handle](const IShotSync* sync) {
        return static_cast<const void*>(sync) == handle;
    });
}

SyncRegistry::Lease::~Lease() {
    release();
}

SyncRegistry::Lease::Lease(Lease&& other) noexcept
    : registry_(other.registry_), sync_(other.sync_) {
    other.registry_ = nullptr;
    other.sync_ = nullptr;
}

SyncRegistry::Lease& SyncRegistry::Lease::operator=(Lease&& other) noexcept {
    if (this != &other) {
        release();
        registry_ = other.registry_;
        sync_ = other.sync_;
        other.registry_ = nullptr;
        other.sync_ = nullptr;
    }
    return *this;
}

void SyncRegistry::Lease::release() {
    if (registry_ != nullptr && sync_ != nullptr) registry_->returnLease(sync_);
    registry_ = nullptr;
    sync_ = nullptr;
}

SyncRegistry::Lease SyncRegistry::acquire(const void* handle) {
    if (handle == nullptr) return {};
    std::lock_guard<std::mutex> lock(mutex_);
    for (IShotSync* sync : live_) {
        if (static_cast<const void*>(sync) == handle) {
            ++calls_[sync];
            return Lease(this, sync);
        }
    }
    return {};
}

void SyncRegistry::returnLease(IShotSync* sync) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = calls_.find(sync);
    if (it == calls_.end()) return;
    if (--it->second <= 0) {
        calls_.erase(it);
        callsDone_.notify_all();
    }
}

void SyncRegistry::waitForCalls(IShotSync* sync) {
    std::unique_lock<std::mutex> lock(mutex_);
    auto running = [&] {
        auto it = calls_.find(sync);
        return it == calls_.end() ? 0 : it->second;
    };
    if (running() == 0) return;
    LOG(INFO) << "DisConnectDevice waits for " << running()
              << " call(s) still running on hSync=" << sync;
    callsDone_.wait(lock, [&] { return running() == 0; });
}

int SyncRegistry::callsOn(const IShotSync* sync) const {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = calls_.find(sync);
    return it == calls_.end() ? 0 : it->second;
}

bool SyncRegistry::removeLive(IShotSync* sync) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = std::find(live_.begin(), live_.end(), sync);
    if (it == live_.end()) return false;
    live_.erase(it);
    return true;
}

void SyncRegistry::abandon(IShotSync* sync) {
    if (sync == nullptr) return;
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = std::find(live_.begin(), live_.end(), sync);
    if (it != live_.end()) live_.erase(it);
    if (std::find(abandoned_.begin(), abandoned_.end(), sync) == abandoned_.end()) {
        abandoned_.push_back(sync);
    }
}

std::size_t SyncRegistry::liveCount() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return live_.size();
}

std::size_t SyncRegistry::abandonedCount() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return abandoned_.size();
}

void SyncRegistry::armExitCleanup() {
    std::call_once(exitCleanupArmed_,
                   [] { zeta::platform::runAtProcessExit(&SyncRegistry::destroyAllAtExit); });
}

void SyncRegistry::destroyAllAtExit() {
    // On Windows this handler runs in exit(), before the threads are stopped, for a host on
    // msvcrt; for another host in the DLL's process detach, after ExitProcess has stopped every
    // thread of the library, perhaps inside one of its locks: then nothing is destroyed, waited
    // for or logged, and the system takes back what is left.
    if (zeta::platform::processIsEnding()) return;
    SyncRegistry& registry = instance();
    std::vector<IShotSync*> doomed;
    {
        std::lock_guard<std::mutex> lock(registry.mutex_);
        doomed.swap(registry.live_);
        doomed.insert(doomed.end(), registry.abandoned_.begin(), registry.abandoned_.end());
        registry.abandoned_.clear();
    }
    // Destroyed outside the lock: a destructor waits for callbacks and threads that may
    // themselves ask the registry. An object a host thread is still calling into (a host that
    // returned from main without joining its threads) is left behind: destroying it would pull
    // it from under that call.
    for (IShotSync* sync : doomed) {
        try {
            sync->RequestShutdown();
            if (registry.callsOn(sync) > 0) {
                LOG(INFO) << "zetaVoroSync process exit: hSync=" << sync
                          << " is still in use, left alone";
                continue;
            }
            LOG(INFO) << "zetaVoroSync process exit: destroying hSync=" << sync;
            IShotSync::Destroy(sync);
        } catch (...) {
            // Nothing may leave an exit handler; the object is simply left behind.
        }
    }
}

}  // namespace zeta::api
