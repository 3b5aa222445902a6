// Feeds a progress bar from the clock while a blocking call runs whose length is known only
// roughly (a scan: settle time plus one period per frame). It stops at 99 %: the caller
// finishes the bar when the call returns.
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

#include "ProgressBar.h"

namespace zeta::cli {

class ProgressTicker {
public:
    // Starts a thread that updates `bar` every 100 ms with elapsed ÷ `expectedMs`.
    // Thread: takes mutex_, then (inside update) the bar's own mutex.
    ProgressTicker(ProgressBar& bar, int expectedMs);
    // Stops and joins the thread.
    ~ProgressTicker();
    ProgressTicker(const ProgressTicker&) = delete;
    ProgressTicker& operator=(const ProgressTicker&) = delete;

private:
    void run();

    ProgressBar& bar_;
    int expectedMs_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stop_ = false;
    std::thread thread_;
};

}  // namespace zeta::cli
