#include "SyncRegistry.h"

#include <glog/logging.h>

#include <algorithm>
#include <cstdlib>
#include <exception>

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
    std::call_once(exitCleanupArmed_, [] { std::atexit(&SyncRegistry::destroyAllAtExit); });
}

void SyncRegistry::destroyAllAtExit() {
    SyncRegistry& registry = instance();
    std::vector<IShotSync*> doomed;
    {
        std::lock_guard<std::mutex> lock(registry.mutex_);
        doomed.swap(registry.live_);
        doomed.insert(doomed.end(), registry.abandoned_.begin(), registry.abandoned_.end());
        registry.abandoned_.clear();
    }
    // Destroyed outside the lock: a destructor waits for callbacks and threads that may
    // themselves ask the registry.
    for (IShotSync* sync : doomed) {
        try {
            LOG(INFO) << "zetaVoroSync process exit: destroying hSync=" << sync;
            delete sync;
        } catch (...) {
            // Nothing may leave an exit handler; the object is simply left behind.
        }
    }
}

}  // namespace zeta::api
