#pragma once

#include <glog/logging.h>

#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/EventHub.h"

namespace zeta::platform::test {

// Upper bound for waiting on a condition that must become true; generous so that slow
// sanitizer builds never fail for lack of time. A correct implementation reaches the
// condition long before.
inline constexpr std::chrono::seconds kConditionBound{20};

// Polls pred until it holds or kConditionBound elapses; returns the last value of pred.
template <typename Pred>
bool waitUntil(Pred pred) {
    const auto deadline = std::chrono::steady_clock::now() + kConditionBound;
    while (!pred()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return pred();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// Waits until exactly `count` threads are blocked inside an event wait.
inline bool waitForBlockedWaiters(std::size_t count) {
    return waitUntil([count] { return detail::EventHub::instance().waiterCount() == count; });
}

// Records every log message written while it is alive.
class LogCapture : public google::LogSink {
public:
    struct Entry {
        google::LogSeverity severity;
        std::string text;
    };

    LogCapture() { google::AddLogSink(this); }
    ~LogCapture() override { google::RemoveLogSink(this); }

    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    using google::LogSink::send;
    void send(google::LogSeverity severity, const char* /*fullFilename*/,
              const char* /*baseFilename*/, int /*line*/, const google::LogMessageTime& /*time*/,
              const char* message, std::size_t messageLen) override {
        std::lock_guard lock(mutex_);
        entries_.push_back({severity, std::string(message, messageLen)});
    }

    std::vector<Entry> entries() const {
        std::lock_guard lock(mutex_);
        return entries_;
    }

    std::size_t count(google::LogSeverity severity, const std::string& text) const {
        std::lock_guard lock(mutex_);
        std::size_t n = 0;
        for (const Entry& entry : entries_) {
            if (entry.severity == severity && entry.text == text) {
                ++n;
            }
        }
        return n;
    }

private:
    mutable std::mutex mutex_;
    std::vector<Entry> entries_;
};

}  // namespace zeta::platform::test
