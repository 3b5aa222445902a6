#include "ProcessStats.h"

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
// windows.h first: the two below build on its types.
#include <psapi.h>
#include <tlhelp32.h>
#elif defined(__linux__)
#include <filesystem>
#include <fstream>
#include <sstream>
#endif

namespace zeta::test {

namespace {

#if defined(_WIN32)

void readFigures(ProcessStats& stats) {
    PROCESS_MEMORY_COUNTERS memory{};
    if (GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof memory)) {
        stats.residentBytes = static_cast<std::int64_t>(memory.WorkingSetSize);
    }
    DWORD handles = 0;
    if (GetProcessHandleCount(GetCurrentProcess(), &handles)) {
        // The snapshot below is closed again before it could be counted.
        stats.descriptors = static_cast<int>(handles);
    }
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (snapshot != INVALID_HANDLE_VALUE) {
        THREADENTRY32 entry{};
        entry.dwSize = sizeof entry;
        int threads = 0;
        const DWORD self = GetCurrentProcessId();
        for (BOOL more = Thread32First(snapshot, &entry); more;
             more = Thread32Next(snapshot, &entry)) {
            if (entry.th32OwnerProcessID == self) ++threads;
        }
        CloseHandle(snapshot);
        stats.threads = threads;
    }
}

#elif defined(__linux__)

void readFigures(ProcessStats& stats) {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        std::istringstream fields(line);
        std::string key;
        fields >> key;
        if (key == "VmRSS:") {
            std::int64_t kib = -1;
            if (fields >> kib) stats.residentBytes = kib * 1024;
        } else if (key == "Threads:") {
            fields >> stats.threads;
        }
    }
    std::error_code error;
    int entries = 0;
    for (std::filesystem::directory_iterator it("/proc/self/fd", error), end; !error && it != end;
         it.increment(error)) {
        ++entries;
    }
    // The listing includes the descriptor the iterator itself holds open on /proc/self/fd.
    if (!error && entries > 0) stats.descriptors = entries - 1;
}

#else

void readFigures(ProcessStats&) {}

#endif

}  // namespace

ProcessStats ProcessStats::now() {
    ProcessStats stats;
    readFigures(stats);
    return stats;
}

std::string ProcessStats::text(std::int64_t figure) {
    return figure < 0 ? std::string("n/a") : std::to_string(figure);
}

}  // namespace zeta::test
