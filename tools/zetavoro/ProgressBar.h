// Progress of work that may take longer than a second, on standard error.
//
// On a terminal a bar is redrawn in place; otherwise one line is printed each time another tenth
// is done ("firmware: 40 %"). Nothing is shown until the work has run for `showAfterMs`, so
// short work stays quiet. update() may be called from any thread (the library's progress
// callback runs on the thread that called it, a ticker on its own).
#pragma once

#include <chrono>
#include <mutex>
#include <string>

namespace zeta::cli {

class ProgressBar {
public:
    ProgressBar(std::string label, int showAfterMs);
    // Finishes the bar when still running.
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    // Done share, 0 to 1 (clamped; never goes back).
    void update(double fraction);
    // Shows 100 % when anything was shown, and ends the bar's line.
    void finish();

private:
    void draw();  // with mutex_ held

    std::mutex mutex_;
    std::string label_;
    std::chrono::steady_clock::time_point start_;
    std::chrono::milliseconds showAfter_;
    bool terminal_;
    bool shown_ = false;
    bool finished_ = false;
    double fraction_ = 0.0;
    int tenthsPrinted_ = -1;
    int percentDrawn_ = -1;
};

}  // namespace zeta::cli
