// KnownFindings: defects of the library the fuzzer has found and that are being fixed, which the
// programs steer around until the fix lands.
//
// A finding that nearly every input reaches (an argument value of a common call) would stop every
// run within seconds and hide everything behind it. Until it is fixed, the program replaces the
// arguments that reach it by harmless ones and says so in its trace; each entry names the defect
// and its reproducer (see README.md). Set ZETA_FUZZ_KNOWN_FINDINGS=1 to generate them again, e.g.
// to check a fix; once fixed, the entry and its avoidance are deleted and the finding becomes a
// regression test.
#pragma once

namespace zeta::fuzz {

class KnownFindings {
public:
    enum Finding {
        // None at present: the three the fuzzer found first are fixed and kept as regression
        // tests (tests/api/FuzzFindingTest.cpp).
        kCount
    };

    // True while the programs steer around `finding`.
    static bool avoided(Finding finding);
};

}  // namespace zeta::fuzz
