#include "ProcessThreads.h"

#ifdef _WIN32
#include <windows.h>
#include <tlhelp32.h>
#else
#include <filesystem>
#include <system_error>
#endif

namespace zeta::test {

#ifdef _WIN32

int processThreadCount() {
    const DWORD self = GetCurrentProcessId();
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (snapshot == INVALID_HANDLE_VALUE) return -1;
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    int count = 0;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
        if (entry.th32OwnerProcessID == self) ++count;
    }
    CloseHandle(snapshot);
    return count;
}

#else

int processThreadCount() {
    // Linux lists one entry per thread of the process under /proc/self/task.
    std::error_code error;
    int count = 0;
    for (std::filesystem::directory_iterator it("/proc/self/task", error), end;
         !error && it != end; it.increment(error)) {
        ++count;
    }
    return error ? -1 : count;
}

#endif

}  // namespace zeta::test
