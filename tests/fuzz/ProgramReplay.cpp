#include "ProgramReplay.h"

#include <cstdlib>
#include <fstream>
#include <iterator>

#include "ApiProgram.h"
#include "ScratchDir.h"
#include "zetaVoroSim/SimControl.h"

namespace zeta::fuzz {

namespace {

// ZETA_FUZZ_TRACE=1 traces every replay, e.g. that of a failing regression test.
bool traceAsked() {
    const char* value = std::getenv("ZETA_FUZZ_TRACE");
    return value != nullptr && value[0] != '\0' && value[0] != '0';
}

}  // namespace

ProgramReport ProgramReplay::run(const std::vector<std::uint8_t>& input, bool trace) {
    ProgramReport report(trace || traceAsked());
    // The program's rig shortens the journal; the tests that run after a replay in the same
    // process (a shard of the test program, say) get the length they had.
    const std::size_t journalCapacity = zeta::sim::journalCapacity();
    {
        const zeta::test::ScratchDir scratch;
        ApiProgram program(report, scratch.path());
        program.run(input.data(), input.size());
    }
    zeta::sim::setJournalCapacity(journalCapacity);
    return report;
}

ProgramReport ProgramReplay::runFile(const std::string& path, bool trace) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        ProgramReport report(trace);
        report.violation("cannot read the fuzz input " + path);
        return report;
    }
    const std::vector<std::uint8_t> input((std::istreambuf_iterator<char>(file)),
                                          std::istreambuf_iterator<char>());
    return run(input, trace);
}

}  // namespace zeta::fuzz
