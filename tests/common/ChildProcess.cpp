#include "ChildProcess.h"

namespace zeta::test {

void ChildProcess::finish() {
    if (running()) kill();
    stopReading_ = true;
    joinReaders();
    closeNative();
}

bool ChildProcess::start(const Options& options) {
    if (started_) return false;
    if (!spawn(options)) {
        closeNative();
        return false;
    }
    started_ = true;
    for (int which = 0; which < 2; ++which) {
        readers_[which] = std::thread([this, which] { readOutput(which); });
    }
    return true;
}

void ChildProcess::append(int which, const char* bytes, std::size_t count) {
    std::lock_guard lock(mutex_);
#if defined(_WIN32)
    // The child's C runtime writes text mode line ends; a "\r" at the end of one read may be
    // followed by the "\n" of the next.
    std::string& text = text_[which];
    for (std::size_t i = 0; i < count; ++i) {
        const char c = bytes[i];
        if (pendingCr_[which]) {
            pendingCr_[which] = false;
            if (c != '\n') text.push_back('\r');
        }
        if (c == '\r') {
            pendingCr_[which] = true;
        } else {
            text.push_back(c);
        }
    }
#else
    text_[which].append(bytes, count);
#endif
    if (count == 0) {
        if (pendingCr_[which]) text_[which].push_back('\r');
        pendingCr_[which] = false;
        closed_[which] = true;
    }
    changed_.notify_all();
}

bool ChildProcess::waitForOutput(const std::string& text, std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] {
        return text_[0].find(text) != std::string::npos || closed_[0];
    }) && text_[0].find(text) != std::string::npos;
}

bool ChildProcess::waitForExit(std::chrono::milliseconds timeout) {
    if (!started_) return false;
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    if (!ended_) {
        if (!waitNative(timeout)) return false;
        ended_ = true;
    }
    // Whatever the child wrote just before it ended.
    std::unique_lock lock(mutex_);
    if (!changed_.wait_until(lock, deadline, [this] { return closed_[0] && closed_[1]; })) {
        return false;
    }
    lock.unlock();
    joinReaders();
    return true;
}

void ChildProcess::kill() {
    if (!started_ || ended_) return;
    killNative();
    ended_ = waitNative(std::chrono::seconds(30));
    if (ended_) joinReaders();
}

std::string ChildProcess::out() const {
    std::lock_guard lock(mutex_);
    return text_[0];
}

std::string ChildProcess::err() const {
    std::lock_guard lock(mutex_);
    return text_[1];
}

void ChildProcess::joinReaders() {
    for (std::thread& reader : readers_) {
        if (reader.joinable()) reader.join();
    }
}

}  // namespace zeta::test
