// The fuzzer's findings, each kept as the input that showed it and replayed through the same
// program of exported calls (tests/fuzz): none may break a promise of the public header, and
// under the sanitizers none may misuse memory. The ordinary tests of each behaviour are in the
// suites of the exports concerned.
#include <gtest/gtest.h>

#include <string>

#include "ProgramReplay.h"

namespace {

zeta::fuzz::ProgramReport replay(const std::string& name) {
    return zeta::fuzz::ProgramReplay::runFile(std::string(ZETA_FUZZ_REGRESSIONS_DIR) + "/" + name);
}

// SetCameraExposure(h, 0, NaN) converted NaN to integer microseconds (undefined behaviour).
TEST(FuzzFinding, ExposureOfNaNMillisecondsIsRefusedNotConverted) {
    const auto report = replay("exposure-nan-converted-unchecked");
    EXPECT_TRUE(report.violations().empty()) << report.text();
}

// 1e18 ms does not fit a long in microseconds.
TEST(FuzzFinding, ExposureBeyondTheMicrosecondsIsRefusedNotConverted) {
    const auto report = replay("exposure-above-long-microseconds-converted-unchecked");
    EXPECT_TRUE(report.violations().empty()) << report.text();
}

// 4294967296 ms does not fit the int the exposure was stored in.
TEST(FuzzFinding, ExposureBeyondIntMillisecondsIsRefusedNotConverted) {
    const auto report = replay("exposure-above-int-milliseconds-converted-unchecked");
    EXPECT_TRUE(report.violations().empty()) << report.text();
}

// A one-sensor raw colour camera named twice: the RGB snap read three bytes a pixel of its
// one-byte sub-image (heap read overflow).
TEST(FuzzFinding, RgbSnapOfARawCameraNamedTwiceStaysInsideItsImage) {
    const auto report = replay("rgb-snap-of-raw-camera-named-twice-overflows");
    EXPECT_TRUE(report.violations().empty()) << report.text();
}

// Twenty camera threads were accepted, and every scan waited 20 s for frames numbered as another
// camera's. ConnectDevice now refuses them.
TEST(FuzzFinding, MoreThanSixteenCameraThreadsAreRefusedAtConnection) {
    const auto report = replay("scan-with-more-than-sixteen-camera-threads-waits-20s");
    EXPECT_TRUE(report.violations().empty()) << report.text();
    bool refused = false;
    for (const std::string& call : report.calls()) {
        if (call.rfind("ConnectDevice(", 0) == 0 && call.size() > 5 &&
            call.compare(call.size() - 5, 5, " -> 3") == 0) {
            refused = true;
        }
    }
    EXPECT_TRUE(refused) << report.text();
}

}  // namespace
