// Console lines of the library: printf-style text on standard output, flushed at once so that a
// host (or a test capturing stdout) sees each line as it is printed.
#pragma once

namespace zeta::platform {

// Threads: any thread. Each call is one fputs + fflush; lines of two threads do not interleave
// within one call.
void consolePrintf(const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

}  // namespace zeta::platform
