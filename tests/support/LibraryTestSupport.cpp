#include "LibraryTestSupport.h"

#include <gtest/gtest.h>

namespace zeta::test {

LogCapture::LogCapture() {
    google::AddLogSink(this);
}

LogCapture::~LogCapture() {
    google::RemoveLogSink(this);
}

void LogCapture::send(google::LogSeverity, const char*, const char* baseFilename, int,
                      const struct ::tm*, const char* message, size_t messageLen) {
    std::lock_guard<std::mutex> lock(mutex_);
    messages_.emplace_back(message, messageLen);
    files_.emplace_back(baseFilename ? baseFilename : "");
}

std::vector<std::string> LogCapture::messages() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return messages_;
}

std::vector<std::string> LogCapture::files() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return files_;
}

bool LogCapture::contains(const std::string& text) const {
    return indexOf(text) >= 0;
}

int LogCapture::count(const std::string& text) const {
    std::lock_guard<std::mutex> lock(mutex_);
    int n = 0;
    for (const auto& m : messages_) {
        if (m.find(text) != std::string::npos) ++n;
    }
    return n;
}

int LogCapture::indexOf(const std::string& text, int from) const {
    std::lock_guard<std::mutex> lock(mutex_);
    for (int i = from < 0 ? 0 : from; i < static_cast<int>(messages_.size()); ++i) {
        if (messages_[static_cast<size_t>(i)].find(text) != std::string::npos) return i;
    }
    return -1;
}

void LogCapture::clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    messages_.clear();
    files_.clear();
}

ConsoleCapture::ConsoleCapture() {
    testing::internal::CaptureStdout();
}

ConsoleCapture::~ConsoleCapture() {
    text();
}

const std::string& ConsoleCapture::text() {
    if (capturing_) {
        capturing_ = false;
        text_ = testing::internal::GetCapturedStdout();
    }
    return text_;
}

CameraNames::CameraNames(std::initializer_list<std::string> names)
    : CameraNames(std::vector<std::string>(names)) {}

CameraNames::CameraNames(const std::vector<std::string>& names) : storage_(names) {
    for (auto& s : storage_) pointers_.push_back(s.data());
}

}  // namespace zeta::test
