#include "ProgressTicker.h"

#include <algorithm>
#include <chrono>

namespace zeta::cli {

ProgressTicker::ProgressTicker(ProgressBar& bar, int expectedMs)
    : bar_(bar), expectedMs_(std::max(1, expectedMs)), thread_([this] { run(); }) {}

ProgressTicker::~ProgressTicker() {
    {
        std::lock_guard lock(mutex_);
        stop_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

void ProgressTicker::run() {
    const auto start = std::chrono::steady_clock::now();
    std::unique_lock lock(mutex_);
    while (!wake_.wait_for(lock, std::chrono::milliseconds(100), [this] { return stop_; })) {
        const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - start);
        bar_.update(std::min(0.99, static_cast<double>(elapsed.count()) / expectedMs_));
    }
}

}  // namespace zeta::cli
