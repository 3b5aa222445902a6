// ProcessStats: what the calling process holds of the system right now (resident memory, threads,
// open descriptors or handles), for the soak program and the tests that check that repeated
// connections leave nothing behind.
//
// Linux reads /proc/self/status and /proc/self/fd; Windows asks GetProcessMemoryInfo, a thread
// snapshot and GetProcessHandleCount. A figure the platform cannot give is -1 ("n/a").
// Threads: any thread; reads only.
#pragma once

#include <cstdint>
#include <string>

namespace zeta::test {

class ProcessStats {
public:
    std::int64_t residentBytes = -1;
    int threads = -1;
    // Open file descriptors (Linux) or open handles of any kind (Windows).
    int descriptors = -1;

    static ProcessStats now();
    // A figure as text: the number, or "n/a".
    static std::string text(std::int64_t figure);
};

}  // namespace zeta::test
