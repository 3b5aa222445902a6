// The api tests log from several threads at once (the grab threads, the status and watchdog
// threads and the test's own). For every log line glog asks the C library for the local time
// zone; with TZ unset, glibc then frees and duplicates its copy of the zone's name on each call,
// under a lock of its own that ThreadSanitizer cannot see, so two threads logging at once are
// reported as a race. A fixed TZ, set before any thread exists, makes glibc keep its first copy.
// An existing TZ is left as it is.
#include <cstdlib>

namespace {

const bool kTimeZoneFixed = [] {
    setenv("TZ", "UTC", 0);
    return true;
}();

}  // namespace
