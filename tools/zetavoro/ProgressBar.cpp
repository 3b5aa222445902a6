#include "ProgressBar.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "platform/ProcessEnvironment.h"

namespace zeta::cli {
namespace {
constexpr int kBarWidth = 30;
}

ProgressBar::ProgressBar(std::string label, int showAfterMs)
    : label_(std::move(label)),
      start_(std::chrono::steady_clock::now()),
      showAfter_(showAfterMs),
      terminal_(platform::isTerminal(stderr)) {}

ProgressBar::~ProgressBar() {
    finish();
}

void ProgressBar::update(double fraction) {
    std::lock_guard lock(mutex_);
    if (finished_) return;
    fraction_ = std::max(fraction_, std::clamp(fraction, 0.0, 1.0));
    if (!shown_ && std::chrono::steady_clock::now() - start_ < showAfter_) return;
    shown_ = true;
    draw();
}

void ProgressBar::finish() {
    std::lock_guard lock(mutex_);
    if (finished_) return;
    finished_ = true;
    if (!shown_) return;
    fraction_ = 1.0;
    draw();
    if (terminal_) std::fputc('\n', stderr);
    std::fflush(stderr);
}

void ProgressBar::draw() {
    const int percent = static_cast<int>(fraction_ * 100.0);
    if (terminal_) {
        if (percent == percentDrawn_) return;
        percentDrawn_ = percent;
        const int filled = percent * kBarWidth / 100;
        std::fprintf(stderr, "\r%s [%s%s] %3d %%", label_.c_str(), std::string(filled, '#').c_str(),
                     std::string(kBarWidth - filled, '.').c_str(), percent);
    } else {
        const int tenths = percent / 10;
        if (tenths <= tenthsPrinted_) return;
        tenthsPrinted_ = tenths;
        std::fprintf(stderr, "%s: %d %%\n", label_.c_str(), tenths * 10);
    }
    std::fflush(stderr);
}

}  // namespace zeta::cli
