// Helpers shared by the library's tests (camera, sync and api layers): capture of the diagnostic
// log and of the console, and small builders for the camera-name vectors of ConnectDevice.
#pragma once

#include <glog/logging.h>

#include <mutex>
#include <string>
#include <vector>

namespace zeta::test {

// Collects every log message (text only, without the prefix) while it exists.
// Threads: messages may arrive from any thread; every method is safe to call concurrently.
class LogCapture : public google::LogSink {
public:
    LogCapture();
    ~LogCapture() override;
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    void send(google::LogSeverity severity, const char* fullFilename, const char* baseFilename,
              int line, const struct ::tm* tmTime, const char* message, size_t messageLen) override;

    std::vector<std::string> messages() const;
    // Source file base names of the messages, in the same order.
    std::vector<std::string> files() const;
    // True when some message contains `text`.
    bool contains(const std::string& text) const;
    // Number of messages containing `text`.
    int count(const std::string& text) const;
    // Index of the first message containing `text` at or after `from`, or -1.
    int indexOf(const std::string& text, int from = 0) const;
    void clear();

private:
    mutable std::mutex mutex_;
    std::vector<std::string> messages_;
    std::vector<std::string> files_;
};

// Captures standard output between construction and text() (gtest's capture; one at a time).
class ConsoleCapture {
public:
    ConsoleCapture();
    ~ConsoleCapture();
    ConsoleCapture(const ConsoleCapture&) = delete;
    ConsoleCapture& operator=(const ConsoleCapture&) = delete;
    // Ends the capture (first call) and returns everything printed meanwhile.
    const std::string& text();

private:
    bool capturing_ = true;
    std::string text_;
};

// Owns C strings for the `const std::vector<char*>&` arguments of the library.
class CameraNames {
public:
    CameraNames(std::initializer_list<std::string> names);
    explicit CameraNames(const std::vector<std::string>& names);
    const std::vector<char*>& get() const { return pointers_; }

private:
    std::vector<std::string> storage_;
    std::vector<char*> pointers_;
};

}  // namespace zeta::test
