// CallbackProbe: the host callbacks a fuzz program registers, and what they saw.
//
// Each callback checks what the public header promises about its arguments: the user context is
// one the program registered, every byte of a lent frame (width x height x channels) and of each
// full-scan record can be read during the call (AddressSanitizer reports it otherwise), status
// values are bytes, bit fields or the documented "unreadable" values, and firmware progress stays
// within 0..10000. They copy nothing, call nothing of the library and return at once, as a host's
// callbacks must.
//
// Threads: the frame callbacks run on the cameras' grab threads, the status callback on a handle's
// status thread, the progress callback on the program's thread. The counters are atomic and the
// violation list has its own lock, so every method is safe from any thread. One probe serves the
// whole process (the callbacks are plain functions): a program resets it at its start and reads
// it after its last DisConnectDevice, when no callback can run any more.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "zetaVoroSync/zetaVoroSync.h"

namespace zeta::fuzz {

class CallbackProbe {
public:
    static CallbackProbe& instance();

    // A user context the program passes that is neither the probe nor null: it must come back
    // unchanged, and nothing may read through it.
    static void* foreignContext();

    void reset();
    std::vector<std::string> takeViolations();
    std::uint64_t frames() const { return frames_.load(); }
    std::uint64_t groups() const { return groups_.load(); }
    std::uint64_t statusReports() const { return statusReports_.load(); }
    std::uint64_t progressReports() const { return progressReports_.load(); }

    static void display(const void* const& context, const int& cameraIndex,
                        const unsigned char* const& data, const int& width, const int& height,
                        const int& channels);
    static void display2(const void* const& context, const int& cameraIndex,
                         const unsigned char* const& data, const int& width, const int& height,
                         const int& channels, int frameTag);
    static void scan(const void* const& context, const int& cameraIndex,
                     const unsigned char* const& data, const int& width, const int& height,
                     const int& channels);
    static void scan2(const void* const& context, const int& cameraIndex,
                      const unsigned char* const& data, const int& width, const int& height,
                      const int& channels, int frameTag);
    static void full(const void* const& context, std::vector<zetaVoroSync::_MY_IMAGE_*>& images);
    static void texture(const void* const& context, std::vector<zetaVoroSync::_MY_IMAGE_*>& images,
                        const bool& valid);
    static void status(const void* const& context, const unsigned long& status,
                       const unsigned long& stateHigh, const unsigned long& stateLow,
                       const bool& flag);
    static void progress(const void* context, int percentage);

    // Reads the first and the last byte of `bytes` bytes at `data` (a lent or handed-out buffer):
    // a buffer shorter than promised shows as an AddressSanitizer report.
    static void touch(const unsigned char* data, std::size_t bytes);

private:
    CallbackProbe() = default;
    void checkContext(const void* context, const char* callback);
    void checkFrame(const char* callback, const unsigned char* data, int width, int height,
                    int channels);
    void violation(const std::string& what);

    std::atomic<std::uint64_t> frames_{0};
    std::atomic<std::uint64_t> groups_{0};
    std::atomic<std::uint64_t> statusReports_{0};
    std::atomic<std::uint64_t> progressReports_{0};
    std::mutex mutex_;                     // guards violations_
    std::vector<std::string> violations_;  // at most kMaxViolations, the first ones
};

}  // namespace zeta::fuzz
