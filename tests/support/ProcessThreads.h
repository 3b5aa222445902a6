// The number of threads the test process runs now, for tests that check that the library leaves
// no thread behind. One implementation per platform.
#pragma once

namespace zeta::test {

// Threads of the calling process; -1 when the system cannot tell.
int processThreadCount();

}  // namespace zeta::test
