#include "platform/Sleep.h"

#include <chrono>
#include <thread>

namespace zeta::platform {

void sleepMs(std::uint32_t ms) {
    if (ms == 0) {
        std::this_thread::yield();
        return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

}  // namespace zeta::platform
