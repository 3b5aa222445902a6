#include "platform/CriticalSection.h"

#include <glog/logging.h>

namespace zeta::platform {

void CriticalSection::enter() {
    const std::thread::id self = std::this_thread::get_id();
    std::unique_lock lock(mutex_);
    if (owner_ == self) {
        ++count_;
        return;
    }
    released_.wait(lock, [this] { return owner_ == std::thread::id(); });
    owner_ = self;
    count_ = 1;
}

bool CriticalSection::tryEnter() {
    const std::thread::id self = std::this_thread::get_id();
    std::lock_guard lock(mutex_);
    if (owner_ == self) {
        ++count_;
        return true;
    }
    if (owner_ != std::thread::id()) {
        return false;
    }
    owner_ = self;
    count_ = 1;
    return true;
}

bool CriticalSection::leave() {
    const std::thread::id self = std::this_thread::get_id();
    {
        std::lock_guard lock(mutex_);
        if (owner_ == self) {
            if (--count_ == 0) {
                owner_ = std::thread::id();
                released_.notify_one();
            }
            return true;
        }
    }
    // Logged outside mutex_ so that a log sink may use this lock without deadlocking.
    LOG(WARNING) << "CriticalSection::leave refused: the calling thread does not hold the lock";
    return false;
}

bool CriticalSection::isHeldByCurrentThread() const {
    const std::thread::id self = std::this_thread::get_id();
    std::lock_guard lock(mutex_);
    return owner_ == self;
}

int CriticalSection::recursionCount() const {
    const std::thread::id self = std::this_thread::get_id();
    std::lock_guard lock(mutex_);
    return owner_ == self ? count_ : 0;
}

}  // namespace zeta::platform
