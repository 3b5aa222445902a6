// ProgramReplay: a saved fuzz input run again through ApiProgram, outside libFuzzer: the seed
// corpus and the regression tests of findings replay their inputs with it in every build.
//
// Each run gets a scratch folder of its own (removed afterwards) and loads its rig itself; the
// caller needs no set-up, and the journal's capacity is what it was afterwards. Threads: one replay at a time per process (the programs share the
// virtual scanner and the callback probe).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ProgramReport.h"

namespace zeta::fuzz {

class ProgramReplay {
public:
    // Runs `input`; `trace` (or ZETA_FUZZ_TRACE=1) prints every call on standard error as it is
    // made.
    static ProgramReport run(const std::vector<std::uint8_t>& input, bool trace = false);
    // Runs the input saved in `path`; a file that cannot be read is reported as a violation.
    static ProgramReport runFile(const std::string& path, bool trace = false);
};

}  // namespace zeta::fuzz
