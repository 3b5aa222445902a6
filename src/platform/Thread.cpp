#include "platform/Thread.h"

#include <chrono>
#include <exception>
#include <system_error>
#include <utility>

#include <glog/logging.h>

#include "platform/ProcessLifetime.h"
#include "platform/WaitResult.h"

namespace zeta::platform {

Thread::~Thread() {
    {
        std::lock_guard lock(controlMutex_);
        if (thread_.joinable() && thread_.get_id() == std::this_thread::get_id()) {
            LOG(FATAL) << "Thread destroyed from its own body";
        }
    }
    join();
}

bool Thread::start(std::function<unsigned()> body) {
    if (!body) {
        LOG(ERROR) << "Thread::start refused: empty body";
        return false;
    }
    std::lock_guard control(controlMutex_);
    {
        std::lock_guard state(stateMutex_);
        if (started_) {
            return false;
        }
    }
    // A host that unloads the library while this thread runs must not unmap the thread's code.
    keepModuleLoaded();
    try {
        thread_ = std::thread([this, body = std::move(body)] { run(body); });
    } catch (const std::system_error& error) {
        LOG(ERROR) << "Thread::start failed: " << error.what();
        return false;
    }
    std::lock_guard state(stateMutex_);
    started_ = true;
    return true;
}

void Thread::run(const std::function<unsigned()>& body) {
    unsigned code = kUncaughtExceptionExitCode;
    try {
        code = body();
    } catch (const std::exception& error) {
        LOG(ERROR) << "Thread body ended with an exception: " << error.what();
    } catch (...) {
        LOG(ERROR) << "Thread body ended with an unknown exception";
    }
    std::lock_guard state(stateMutex_);
    exitCode_ = code;
    finished_ = true;
    finishedChanged_.notify_all();
}

void Thread::join() {
    std::lock_guard control(controlMutex_);
    if (!thread_.joinable()) {
        return;
    }
    if (thread_.get_id() == std::this_thread::get_id()) {
        LOG(ERROR) << "Thread::join refused: called from the thread's own body";
        return;
    }
    thread_.join();
    std::lock_guard state(stateMutex_);
    joined_ = true;
}

bool Thread::waitFor(std::uint32_t timeoutMs) {
    std::unique_lock state(stateMutex_);
    if (!started_) {
        return false;
    }
    if (timeoutMs == kInfinite) {
        finishedChanged_.wait(state, [this] { return finished_; });
        return true;
    }
    return finishedChanged_.wait_for(state, std::chrono::milliseconds(timeoutMs),
                                     [this] { return finished_; });
}

bool Thread::joinable() const {
    std::lock_guard state(stateMutex_);
    return started_ && !joined_;
}

unsigned Thread::exitCode() const {
    std::lock_guard state(stateMutex_);
    return exitCode_;
}

}  // namespace zeta::platform
