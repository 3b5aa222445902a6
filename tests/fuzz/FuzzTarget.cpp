// The libFuzzer target zeta_api_fuzzer: each input is run as a program of exported calls
// (ApiProgram) on a small rig of the virtual scanner. A crash, a sanitizer report or a broken
// promise of the public header (a ProgramReport violation, printed with the call sequence that
// led to it, then abort) is a finding; see README.md for running it and keeping a finding as a
// regression test.
//
// Set ZETA_FUZZ_TRACE=1 to print every call as the program makes it, e.g. to read a saved input
// back as its call sequence: ZETA_FUZZ_TRACE=1 zeta_api_fuzzer crash-<sha1>.
#include <glog/logging.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "ApiProgram.h"
#include "ProgramReport.h"
#include "ScratchDir.h"

namespace {

// The programs' working folder (the colour snaps write their diagnostic files into it), emptied
// after every input and removed at exit.
zeta::test::ScratchDir* g_scratch = nullptr;
bool g_trace = false;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** argv) {
    // The library logs every call at information severity: each message is still formatted (that
    // code runs too) but written nowhere, so that a long run neither fills a disk nor a terminal.
    google::InitGoogleLogging((*argv)[0]);
    for (int severity = google::GLOG_INFO; severity < google::NUM_SEVERITIES; ++severity) {
        google::SetLogDestination(severity, "");
    }
    FLAGS_logtostderr = false;
    FLAGS_alsologtostderr = false;
    FLAGS_stderrthreshold = google::GLOG_FATAL;
    g_scratch = new zeta::test::ScratchDir();
    std::atexit([] { delete g_scratch; });
    const char* trace = std::getenv("ZETA_FUZZ_TRACE");
    g_trace = trace != nullptr && trace[0] != '\0' && trace[0] != '0';
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zeta::fuzz::ProgramReport report(g_trace);
    zeta::fuzz::ApiProgram program(report, g_scratch->path());
    program.run(data, size);
    if (!report.violations().empty()) {
        std::fprintf(stderr, "zeta fuzz: the library broke a promise of its public header\n%s",
                     report.text().c_str());
        std::fflush(stderr);
        std::abort();
    }
    return 0;
}
