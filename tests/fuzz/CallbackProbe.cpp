#include "CallbackProbe.h"

#include <cstddef>

namespace zeta::fuzz {

namespace {

constexpr std::size_t kMaxViolations = 16;

// Where touch() puts what it reads, so that the reads are not optimised away.
std::atomic<unsigned> g_touchSink{0};

// Status values the public header allows besides the board's own bytes and bit fields.
constexpr unsigned long kUnreadable = 65535;
constexpr unsigned long kNotReady = 65534;

}  // namespace

CallbackProbe& CallbackProbe::instance() {
    // Never destroyed: a grab thread of a handle the process exit tears down may still call in.
    static CallbackProbe* probe = new CallbackProbe();
    return *probe;
}

void* CallbackProbe::foreignContext() {
    static int notAProbe = 0;
    return &notAProbe;
}

void CallbackProbe::reset() {
    frames_ = 0;
    groups_ = 0;
    statusReports_ = 0;
    progressReports_ = 0;
    std::lock_guard<std::mutex> lock(mutex_);
    violations_.clear();
}

std::vector<std::string> CallbackProbe::takeViolations() {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::string> taken;
    taken.swap(violations_);
    return taken;
}

void CallbackProbe::touch(const unsigned char* data, std::size_t bytes) {
    if (data == nullptr || bytes == 0) return;
    const volatile unsigned char* bytesRead = data;
    const unsigned sum = bytesRead[0] + bytesRead[bytes - 1];
    g_touchSink.fetch_add(sum, std::memory_order_relaxed);
}

void CallbackProbe::violation(const std::string& what) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (violations_.size() < kMaxViolations) violations_.push_back(what);
}

void CallbackProbe::checkContext(const void* context, const char* callback) {
    if (context != this && context != nullptr && context != foreignContext()) {
        violation(std::string(callback) + " got a user context that was never registered");
    }
}

void CallbackProbe::checkFrame(const char* callback, const unsigned char* data, int width,
                               int height, int channels) {
    frames_.fetch_add(1, std::memory_order_relaxed);
    if (width < 0 || height < 0) {
        violation(std::string(callback) + " got a negative size " + std::to_string(width) + "x" +
                  std::to_string(height));
        return;
    }
    if (width == 0 || height == 0) return;
    if (data == nullptr) {
        violation(std::string(callback) + " got no data for a " + std::to_string(width) + "x" +
                  std::to_string(height) + " frame");
        return;
    }
    if (channels < 1) {
        violation(std::string(callback) + " got channels=" + std::to_string(channels));
        return;
    }
    touch(data, static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
                    static_cast<std::size_t>(channels));
}

void CallbackProbe::display(const void* const& context, const int&,
                            const unsigned char* const& data, const int& width, const int& height,
                            const int& channels) {
    CallbackProbe& probe = instance();
    probe.checkContext(context, "display callback");
    probe.checkFrame("display callback", data, width, height, channels);
}

void CallbackProbe::display2(const void* const& context, const int&,
                             const unsigned char* const& data, const int& width, const int& height,
                             const int& channels, int) {
    CallbackProbe& probe = instance();
    probe.checkContext(context, "display callback 2");
    probe.checkFrame("display callback 2", data, width, height, channels);
}

void CallbackProbe::scan(const void* const& context, const int&, const unsigned char* const& data,
                         const int& width, const int& height, const int& channels) {
    CallbackProbe& probe = instance();
    probe.checkContext(context, "scan callback");
    probe.checkFrame("scan callback", data, width, height, channels);
}

void CallbackProbe::scan2(const void* const& context, const int&, const unsigned char* const& data,
                          const int& width, const int& height, const int& channels, int) {
    CallbackProbe& probe = instance();
    probe.checkContext(context, "scan callback 2");
    probe.checkFrame("scan callback 2", data, width, height, channels);
}

void CallbackProbe::full(const void* const& context,
                         std::vector<zetaVoroSync::_MY_IMAGE_*>& images) {
    CallbackProbe& probe = instance();
    probe.checkContext(context, "full-scan callback");
    probe.groups_.fetch_add(1, std::memory_order_relaxed);
    for (const zetaVoroSync::_MY_IMAGE_* image : images) {
        if (image == nullptr) continue;
        probe.checkFrame("full-scan callback", image->data, image->width, image->height,
                         image->channels);
    }
}

void CallbackProbe::texture(const void* const& context,
                            std::vector<zetaVoroSync::_MY_IMAGE_*>& images, const bool&) {
    CallbackProbe& probe = instance();
    probe.checkContext(context, "texture full-scan callback");
    probe.groups_.fetch_add(1, std::memory_order_relaxed);
    for (const zetaVoroSync::_MY_IMAGE_* image : images) {
        if (image == nullptr) continue;
        probe.checkFrame("texture full-scan callback", image->data, image->width, image->height,
                         image->channels);
    }
}

void CallbackProbe::status(const void* const& context, const unsigned long& status,
                           const unsigned long& stateHigh, const unsigned long& stateLow,
                           const bool&) {
    CallbackProbe& probe = instance();
    probe.checkContext(context, "status callback");
    probe.statusReports_.fetch_add(1, std::memory_order_relaxed);
    const bool statusOk = status <= 255 || status == kNotReady || status == kUnreadable;
    const bool highOk = stateHigh <= 3 || stateHigh == kUnreadable;
    const bool lowOk = stateLow <= 7 || stateLow == kUnreadable;
    if (!statusOk || !highOk || !lowOk) {
        probe.violation("status callback got " + std::to_string(status) + ", " +
                        std::to_string(stateHigh) + ", " + std::to_string(stateLow));
    }
}

void CallbackProbe::progress(const void* context, int percentage) {
    CallbackProbe& probe = instance();
    probe.checkContext(context, "firmware progress callback");
    probe.progressReports_.fetch_add(1, std::memory_order_relaxed);
    if (percentage < 0 || percentage > 10000) {
        probe.violation("firmware progress " + std::to_string(percentage) + " is outside 0..10000");
    }
}

}  // namespace zeta::fuzz
