// Names the system time zone explicitly for the whole test program before any test runs.
// Compiled into every test program of the library (camera, sync and api suites).
//
// glog computes each message's time-zone offset with the C library, which re-reads the TZ
// setting on every call while TZ is unset, replacing a string it shares between threads. Two
// threads logging at once (a grab thread and the test's thread) then race inside the C library,
// under a lock ThreadSanitizer cannot see, and the sanitizer stops the run. With TZ naming the
// zone file the library reads the setting once and keeps it. ":/etc/localtime" is the zone the
// C library uses anyway when TZ is unset, so no time changes.
//
// Windows has no zone file, and its C runtime reads the zone once per thread without that race:
// nothing is named there.
#include <cstdlib>

#include "platform/ProcessEnvironment.h"

namespace {

[[maybe_unused]] const bool kTimeZoneNamed = [] {
#if !defined(_WIN32)
    if (std::getenv("TZ") == nullptr) {
        zeta::platform::setEnvironmentVariable("TZ", ":/etc/localtime");
    }
#endif
    return true;
}();

}  // namespace
