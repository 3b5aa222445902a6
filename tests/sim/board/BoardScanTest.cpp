// What every scan type and E7 scan mode pulses: counts, routes, numbering, lights, periods, and
// how scans end.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include "BoardTestSupport.h"
#include "board/BoardLights.h"

namespace zeta::sim::test {
namespace {

using namespace zetaVoroDLPdev;
using Kind = Illumination::Kind;
using std::chrono::milliseconds;

constexpr TRIGGERROUTE kMono = TRIGGER_ROUTE_MONO;

bool scan(void* const& handle, int type) {
    const auto scanType = static_cast<SCANTYPE>(type);
    return zetaScan(handle, scanType);
}

bool project(void* const& handle, int pattern) {
    const auto type = static_cast<PROJECTTYPE>(pattern);
    return zetaProject(handle, type);
}

std::vector<int> numbersOf(const std::vector<TriggerPulse>& pulses) {
    std::vector<int> numbers;
    for (const auto& pulse : pulses) numbers.push_back(pulse.sequenceNumber);
    return numbers;
}

std::vector<int> upTo(int count) {
    std::vector<int> numbers;
    for (int k = 0; k < count; ++k) numbers.push_back(k);
    return numbers;
}

// Every pulse, whatever the route, is a numbered stripe k on route 0.
void expectStripes(const std::vector<TriggerPulse>& pulses, int count) {
    ASSERT_EQ(pulses.size(), static_cast<std::size_t>(count));
    for (int k = 0; k < count; ++k) {
        EXPECT_EQ(pulses[k].route, 0) << k;
        EXPECT_EQ(pulses[k].sequenceNumber, k) << k;
        EXPECT_EQ(pulses[k].light.kind, Kind::Stripe) << k;
        EXPECT_EQ(pulses[k].light.index, k) << k;
    }
}

// Mean spacing of consecutive pulses in microseconds.
double meanSpacingUs(const std::vector<TriggerPulse>& pulses) {
    if (pulses.size() < 2) return 0.0;
    return static_cast<double>(pulses.back().tUs - pulses.front().tUs) /
           static_cast<double>(pulses.size() - 1);
}

// The typical spacing of a pulse train: one late wake-up of the board's engine on a loaded
// machine lengthens one interval (the schedule then moves with it), which the median ignores.
double medianSpacingUs(const std::vector<TriggerPulse>& pulses) {
    if (pulses.size() < 2) return 0.0;
    std::vector<double> spacings;
    for (std::size_t i = 1; i < pulses.size(); ++i) {
        spacings.push_back(static_cast<double>(pulses[i].tUs - pulses[i - 1].tUs));
    }
    std::nth_element(spacings.begin(), spacings.begin() + spacings.size() / 2, spacings.end());
    return spacings[spacings.size() / 2];
}

class BoardScan : public ::testing::Test {
protected:
    void SetUp() override { load(""); }

    void load(const std::string& boardExtra) {
        board_.reset();
        useRig(boardRig(boardExtra));
        board_ = std::make_unique<OpenBoard>();
        ASSERT_TRUE(board_->ok());
        recorder_ = PulseRecorder::attach();
    }

    void* const& board() const { return board_->handle(); }
    PulseRecorder& recorder() const { return *recorder_; }

    std::unique_ptr<OpenBoard> board_;
    std::shared_ptr<PulseRecorder> recorder_;
};

// ---- one-shot sequences -----------------------------------------------------------------------

TEST_F(BoardScan, StripeIsSixteenNumberedPulsesAtTheStripePeriod) {
    ASSERT_TRUE(zetaSetStripeScanParameter(board(), 3, 0));
    const std::uint64_t start = nowUs();
    ASSERT_TRUE(scan(board(), 0));
    EXPECT_TRUE(boardState().scanRunning);
    EXPECT_EQ(boardState().scanType, 0);
    ASSERT_TRUE(waitScanEnded());
    const auto pulses = recorder().pulses();
    expectStripes(pulses, 16);
    EXPECT_GE(pulses.front().tUs, start + 3000);  // one period after the call
    EXPECT_NEAR(meanSpacingUs(pulses), 3000.0, 600.0);
    EXPECT_FALSE(recorder().anotherWithin(16, milliseconds(30)));
}

TEST_F(BoardScan, StripeUsesTheRigStripePeriodUntilOneIsSet) {
    load(R"("stripePeriodMs": 4)");
    ASSERT_TRUE(scan(board(), 0));
    ASSERT_TRUE(waitScanEnded());
    const auto pulses = recorder().pulses();
    expectStripes(pulses, 16);
    EXPECT_NEAR(meanSpacingUs(pulses), 4000.0, 800.0);
}

TEST_F(BoardScan, E7StripeIsSeventeenNumberedPulses) {
    ASSERT_TRUE(zetaSetStripeScanParameter(board(), 2, 0));
    ASSERT_TRUE(scan(board(), 8));
    ASSERT_TRUE(waitScanEnded());
    expectStripes(recorder().pulses(), 17);
    EXPECT_EQ(boardState().scanType, 8);
}

TEST_F(BoardScan, AOneShotSequenceRestoresTheProjection) {
    ASSERT_TRUE(project(board(), 7));
    ASSERT_TRUE(zetaSetStripeScanParameter(board(), 2, 0));
    ASSERT_TRUE(scan(board(), 0));
    ASSERT_TRUE(recorder().waitFor(3));
    auto bus = VirtualScanner::instance().rig()->bus;
    EXPECT_EQ(bus->steadyLight().kind, Kind::Stripe);  // the projector shows the stripes
    ASSERT_TRUE(waitScanEnded());
    EXPECT_EQ(bus->steadyLight(), flatLight(255, 0, 0));
    EXPECT_EQ(boardState().projection, 7);
}

TEST_F(BoardScan, E7BurstIsSeventeenStripesAndOneColourPulse) {
    ASSERT_TRUE(zetaSetStripeScanParameter(board(), 3, 0));
    ASSERT_TRUE(zetaE7StartScanMode(board(), 32, 0));
    EXPECT_EQ(boardState().e7Mode, 32);
    EXPECT_EQ(boardState().e7InnerWord, 0);
    ASSERT_TRUE(waitScanEnded());
    const auto mono = recorder().onRoute(0);
    expectStripes(mono, 17);
    const auto colour = recorder().onRoute(1);
    ASSERT_EQ(colour.size(), 1u);
    EXPECT_EQ(colour[0].sequenceNumber, 17);
    EXPECT_EQ(colour[0].light, flatLight(255, 255, 255));
    // One period after the last stripe.
    EXPECT_GE(colour[0].tUs, mono.back().tUs + 1500);
}

TEST_F(BoardScan, E7BurstWithDeshakeHasEighteenStripes) {
    ASSERT_TRUE(zetaSetStripeScanParameter(board(), 2, 0));
    ASSERT_TRUE(zetaE7StartScanMode(board(), 32, 0x1 | 0x2));
    ASSERT_TRUE(waitScanEnded());
    expectStripes(recorder().onRoute(0), 18);
    const auto colour = recorder().onRoute(1);
    ASSERT_EQ(colour.size(), 1u);
    EXPECT_EQ(colour[0].sequenceNumber, 18);
}

TEST_F(BoardScan, E7BurstWithoutTextureHasNoColourPulse) {
    ASSERT_TRUE(zetaSetStripeScanParameter(board(), 2, 0));
    ASSERT_TRUE(zetaE7StartScanMode(board(), 32, 0x4));
    ASSERT_TRUE(waitScanEnded());
    expectStripes(recorder().onRoute(0), 17);
    EXPECT_EQ(recorder().count(1), 0u);
    recorder().clear();
    ASSERT_TRUE(zetaE7StartScanMode(board(), 32, 0x4 | 0x1));
    ASSERT_TRUE(waitScanEnded());
    expectStripes(recorder().onRoute(0), 18);
    EXPECT_EQ(recorder().count(1), 0u);
}

// ---- repeating sequences ----------------------------------------------------------------------

TEST_F(BoardScan, SequenceRepeatsNumberedSequencesUntilStopped) {
    load(R"("sequenceLength": 5)");
    ASSERT_TRUE(zetaSetStripeScanParameter(board(), 2, 0));
    ASSERT_TRUE(scan(board(), 9));
    ASSERT_TRUE(recorder().waitFor(12));
    ASSERT_TRUE(scan(board(), 10));
    EXPECT_FALSE(boardState().scanRunning);
    EXPECT_EQ(boardState().scanType, 10);
    const auto pulses = recorder().pulses();
    const std::size_t seen = pulses.size();
    ASSERT_GE(seen, 12u);
    for (std::size_t i = 0; i < seen; ++i) {
        EXPECT_EQ(pulses[i].route, 0);
        EXPECT_EQ(pulses[i].sequenceNumber, static_cast<int>(i % 5)) << i;
        EXPECT_EQ(pulses[i].light.index, static_cast<int>(i % 5)) << i;
    }
    // The next sequence starts one period after the last pulse: even spacing throughout.
    EXPECT_NEAR(meanSpacingUs(pulses), 2000.0, 500.0);
    EXPECT_FALSE(recorder().anotherWithin(seen, milliseconds(30)));
    // Stopping again, with nothing running, is fine.
    EXPECT_TRUE(scan(board(), 10));
    EXPECT_TRUE(scan(board(), 7));
}

TEST_F(BoardScan, SequenceUsesFifteenPulsesByDefault) {
    ASSERT_TRUE(zetaSetStripeScanParameter(board(), 1, 0));
    ASSERT_TRUE(scan(board(), 9));
    ASSERT_TRUE(recorder().waitFor(31));
    ASSERT_TRUE(scan(board(), 10));
    const auto numbers = numbersOf(recorder().pulses());
    EXPECT_EQ(std::vector<int>(numbers.begin(), numbers.begin() + 15), upTo(15));
    EXPECT_EQ(std::vector<int>(numbers.begin() + 15, numbers.begin() + 30), upTo(15));
    EXPECT_EQ(numbers[30], 0);
}

TEST_F(BoardScan, E7SequenceRepeatsBurstsWithTheirColourPulse) {
    ASSERT_TRUE(zetaSetStripeScanParameter(board(), 1, 0));
    ASSERT_TRUE(zetaE7StartScanMode(board(), 33, 0));
    ASSERT_TRUE(recorder().waitFor(40));
    ASSERT_TRUE(zetaE7StopScanMode(board()));
    EXPECT_FALSE(boardState().scanRunning);
    EXPECT_EQ(boardState().e7Mode, 33);
    const auto pulses = recorder().pulses();
    for (std::size_t i = 0; i < pulses.size(); ++i) {
        const int k = static_cast<int>(i % 18);
        EXPECT_EQ(pulses[i].sequenceNumber, k) << i;
        EXPECT_EQ(pulses[i].route, k == 17 ? 1 : 0) << i;
    }
    EXPECT_FALSE(recorder().anotherWithin(pulses.size(), milliseconds(30)));
    EXPECT_TRUE(zetaE7StopScanMode(board()));  // nothing runs: still fine
}

TEST_F(BoardScan, E7SequenceWithDeshakeAndNoTexture) {
    ASSERT_TRUE(zetaSetStripeScanParameter(board(), 1, 0));
    ASSERT_TRUE(zetaE7StartScanMode(board(), 33, 0x1 | 0x4));
    ASSERT_TRUE(recorder().waitFor(40));
    ASSERT_TRUE(zetaE7StopScanMode(board()));
    const auto pulses = recorder().pulses();
    for (std::size_t i = 0; i < pulses.size(); ++i) {
        EXPECT_EQ(pulses[i].sequenceNumber, static_cast<int>(i % 18)) << i;
        EXPECT_EQ(pulses[i].route, 0) << i;
    }
}

// ---- continuous scans -------------------------------------------------------------------------

TEST_F(BoardScan, LaserSweepsItsLinesAtTheLaserPeriodUntilAProjection) {
    ASSERT_TRUE(zetaSetSpeckleOrLaserScanParameter(board(), 2, 50));
    ASSERT_TRUE(scan(board(), 1));
    ASSERT_TRUE(recorder().waitFor(10));
    ASSERT_TRUE(project(board(), 0));  // ends the scan
    EXPECT_FALSE(boardState().scanRunning);
    const auto pulses = recorder().pulses();
    for (std::size_t i = 0; i < pulses.size(); ++i) {
        EXPECT_EQ(pulses[i].route, 0);
        EXPECT_EQ(pulses[i].sequenceNumber, -1);
        EXPECT_EQ(pulses[i].light.kind, Kind::LaserLines);
        EXPECT_EQ(pulses[i].light.index, static_cast<int>(i));
    }
    EXPECT_NEAR(meanSpacingUs(pulses), 2000.0, 500.0);
    EXPECT_FALSE(recorder().anotherWithin(pulses.size(), milliseconds(30)));
    EXPECT_EQ(VirtualScanner::instance().rig()->bus->steadyLight(), projectionLight(0));
}

TEST_F(BoardScan, SpeckleWithoutTexturePulsesOnlyTheMonoRoute) {
    ASSERT_TRUE(zetaSetSpeckleOrLaserScanParameter(board(), 2, 10));
    ASSERT_TRUE(scan(board(), 2));
    ASSERT_TRUE(recorder().waitFor(10));
    ASSERT_TRUE(project(board(), 0));
    const auto pulses = recorder().pulses();
    for (const auto& pulse : pulses) {
        EXPECT_EQ(pulse.route, 0);
        EXPECT_EQ(pulse.light.kind, Kind::Speckle);
        EXPECT_FALSE(pulse.light.strobe);
        EXPECT_EQ(pulse.sequenceNumber, -1);
    }
}

TEST_F(BoardScan, SpeckleWithTextureAddsAColourPulseEverySegregationCount) {
    ASSERT_TRUE(zetaSetSpeckleOrLaserScanParameter(board(), 5, 10));
    ASSERT_TRUE(zetaSetColorCameraLineTriggerSegregationCount(board(), 3));
    ASSERT_TRUE(zetaSetColorCameraLineTriggerDelay(board(), 1500));
    ASSERT_TRUE(zetaSetSpeckleScanWithTexture(board(), true));
    ASSERT_TRUE(scan(board(), 2));
    ASSERT_TRUE(recorder().waitFor(4, 1));
    ASSERT_TRUE(project(board(), 0));
    const auto pulses = recorder().pulses();
    // Mono pulses 3, 6, 9, ... are each followed by one colour pulse before the next mono one.
    int monoSeen = 0;
    std::vector<std::uint64_t> delays;
    std::uint64_t lastMono = 0;
    std::uint64_t lastStamp = 0;
    for (const auto& pulse : pulses) {
        if (pulse.route == 0) {
            ++monoSeen;
            lastMono = pulse.tUs;
            lastStamp = pulse.stamp;
            EXPECT_EQ(pulse.light.kind, Kind::Speckle);
        } else {
            EXPECT_EQ(monoSeen % 3, 0) << "colour pulse after mono pulse " << monoSeen;
            EXPECT_GT(monoSeen, 0);
            EXPECT_EQ(pulse.light, flatLight(255, 255, 255));
            // Never earlier than the delay after its mono pulse, stamps included.
            EXPECT_GE(pulse.tUs, lastMono + 1500);
            EXPECT_GE(pulse.stamp, lastStamp + 1500);
            delays.push_back(pulse.tUs - lastMono);
        }
    }
    ASSERT_GE(delays.size(), 4u);
    std::sort(delays.begin(), delays.end());
    const std::uint64_t median = delays[delays.size() / 2];
    EXPECT_LT(median, 5000u);  // and, usually, well before the next one
}

TEST_F(BoardScan, SpeckleStrobeLightsTheMonoStrobe) {
    ASSERT_TRUE(zetaSetSpeckleOrLaserScanParameter(board(), 2, 10));
    ASSERT_TRUE(scan(board(), 5));
    ASSERT_TRUE(recorder().waitFor(5));
    ASSERT_TRUE(scan(board(), 7));  // any scan command ends it
    for (const auto& pulse : recorder().pulses()) {
        EXPECT_EQ(pulse.light.kind, Kind::Speckle);
        EXPECT_TRUE(pulse.light.strobe);
    }
}

TEST_F(BoardScan, DualLaserLightFollowsTheLamps) {
    ASSERT_TRUE(zetaSetSpeckleOrLaserScanParameter(board(), 2, 10));
    ASSERT_TRUE(zetaSetIRLampAndLaser(board(), false, true));
    ASSERT_TRUE(scan(board(), 4));
    ASSERT_TRUE(recorder().waitFor(3));
    EXPECT_EQ(recorder().pulses()[0].light.kind, Kind::LaserLines);

    ASSERT_TRUE(zetaSetIRLampAndLaser(board(), true, false));
    std::size_t seen = recorder().count();
    ASSERT_TRUE(recorder().waitFor(seen + 2));
    EXPECT_EQ(recorder().pulses()[seen].light, flatLight(128, 128, 128));

    ASSERT_TRUE(zetaSetIRLampAndLaser(board(), false, false));
    seen = recorder().count();
    ASSERT_TRUE(recorder().waitFor(seen + 2));
    EXPECT_EQ(recorder().pulses()[seen].light.kind, Kind::Dark);

    ASSERT_TRUE(zetaSetIRLampAndLaser(board(), true, true));
    seen = recorder().count();
    ASSERT_TRUE(recorder().waitFor(seen + 2));
    EXPECT_EQ(recorder().pulses()[seen].light.kind, Kind::LaserLines);
    ASSERT_TRUE(project(board(), 0));
    for (const auto& pulse : recorder().pulses()) EXPECT_EQ(pulse.route, 0);
}

TEST_F(BoardScan, SpeckleLaserCyclesOneSpeckleAndTheLaserFrames) {
    ASSERT_TRUE(zetaSetSpeckLaserScanParameter(board(), 2, 3));
    ASSERT_TRUE(scan(board(), 6));
    ASSERT_TRUE(recorder().waitFor(13));
    ASSERT_TRUE(scan(board(), 7));
    EXPECT_FALSE(boardState().scanRunning);
    const auto pulses = recorder().pulses();
    for (std::size_t i = 0; i < pulses.size(); ++i) {
        EXPECT_EQ(pulses[i].route, 0);
        if (i % 4 == 0) {
            EXPECT_EQ(pulses[i].light.kind, Kind::Speckle) << i;
        } else {
            EXPECT_EQ(pulses[i].light.kind, Kind::DenseLaser) << i;
        }
    }
    EXPECT_NEAR(meanSpacingUs(pulses), 2000.0, 500.0);
    EXPECT_FALSE(recorder().anotherWithin(pulses.size(), milliseconds(30)));
}

TEST_F(BoardScan, SpeckleLaserWithoutLaserFramesIsOnlySpeckle) {
    ASSERT_TRUE(zetaSetSpeckLaserScanParameter(board(), 2, 0));
    ASSERT_TRUE(scan(board(), 6));
    ASSERT_TRUE(recorder().waitFor(4));
    ASSERT_TRUE(scan(board(), 7));
    for (const auto& pulse : recorder().pulses()) EXPECT_EQ(pulse.light.kind, Kind::Speckle);
}

TEST_F(BoardScan, E7SpeckleWithTextureStrobeAndWithout) {
    ASSERT_TRUE(zetaSetSpeckleOrLaserScanParameter(board(), 2, 10));
    ASSERT_TRUE(zetaSetColorCameraLineTriggerSegregationCount(board(), 2));
    ASSERT_TRUE(zetaSetColorCameraLineTriggerDelay(board(), 0));
    // Texture (bit 0x4 clear) even though the speckle texture setting is off; mono strobe lit.
    ASSERT_TRUE(zetaE7StartScanMode(board(), 41, 0x1));
    ASSERT_TRUE(recorder().waitFor(3, 1));
    ASSERT_TRUE(zetaE7StopScanMode(board()));
    int monoSeen = 0;
    for (const auto& pulse : recorder().pulses()) {
        if (pulse.route == 0) {
            ++monoSeen;
            EXPECT_EQ(pulse.light.kind, Kind::Speckle);
            EXPECT_TRUE(pulse.light.strobe);
        } else {
            EXPECT_EQ(monoSeen % 2, 0);
        }
    }
    // No texture, no strobe.
    recorder().clear();
    ASSERT_TRUE(zetaE7StartScanMode(board(), 41, 0x4));
    ASSERT_TRUE(recorder().waitFor(8, 0));
    ASSERT_TRUE(zetaE7StopScanMode(board()));
    EXPECT_EQ(recorder().count(1), 0u);
    for (const auto& pulse : recorder().pulses()) EXPECT_FALSE(pulse.light.strobe);
}

TEST_F(BoardScan, E7ContinuousPulsesBothRoutesWithTheCalibrationPattern) {
    ASSERT_TRUE(zetaSetVideoTriggerPeriod(board(), kMono, 2));
    const struct {
        int inner;
        Illumination light;
    } patterns[] = {
        {0, flatLight(255, 255, 255)},    {1, patternLight(Kind::Checkerboard)},
        {2, patternLight(Kind::DotGrid)}, {3, patternLight(Kind::Stripe, 0)},
        {4, patternLight(Kind::Speckle)},
    };
    for (const auto& pattern : patterns) {
        recorder().clear();
        ASSERT_TRUE(zetaE7StartScanMode(board(), 6, pattern.inner));
        ASSERT_TRUE(recorder().waitFor(8, 1));
        ASSERT_TRUE(zetaE7StopScanMode(board()));
        const auto mono = recorder().onRoute(0);
        const auto colour = recorder().onRoute(1);
        ASSERT_EQ(mono.size(), colour.size()) << pattern.inner;
        for (std::size_t i = 0; i < mono.size(); ++i) {
            EXPECT_EQ(mono[i].stamp, colour[i].stamp);
            EXPECT_EQ(mono[i].light, pattern.light) << pattern.inner;
            EXPECT_EQ(colour[i].light, pattern.light) << pattern.inner;
        }
        EXPECT_NEAR(medianSpacingUs(mono), 2000.0, 500.0);
    }
}

// ---- how scans end and interact -----------------------------------------------------------------

TEST_F(BoardScan, ANewScanReplacesTheRunningOne) {
    ASSERT_TRUE(zetaSetSpeckleOrLaserScanParameter(board(), 2, 10));
    ASSERT_TRUE(zetaSetStripeScanParameter(board(), 2, 0));
    ASSERT_TRUE(scan(board(), 1));
    ASSERT_TRUE(recorder().waitFor(3));
    ASSERT_TRUE(scan(board(), 0));
    const std::size_t laserPulses = recorder().count();
    ASSERT_TRUE(waitScanEnded());
    const auto pulses = recorder().pulses();
    const std::vector<TriggerPulse> stripes(pulses.begin() + laserPulses, pulses.end());
    expectStripes(stripes, 16);
    // The laser scan is over: it does not come back after the stripes.
    EXPECT_FALSE(recorder().anotherWithin(pulses.size(), milliseconds(30)));
}

TEST_F(BoardScan, AnE7ModeAndAScanTypeShareTheOneScanEngine) {
    ASSERT_TRUE(zetaSetVideoTriggerPeriod(board(), kMono, 2));
    ASSERT_TRUE(zetaE7StartScanMode(board(), 6, 0));
    ASSERT_TRUE(recorder().waitFor(2, 1));
    ASSERT_TRUE(scan(board(), 10));  // a scan command ends the E7 mode too
    EXPECT_FALSE(boardState().scanRunning);
    EXPECT_FALSE(recorder().anotherWithin(recorder().count(), milliseconds(30)));
}

TEST_F(BoardScan, VideoTriggersAreHeldDuringASequenceAndResumeAfter) {
    ASSERT_TRUE(zetaSetVideoTriggerPeriod(board(), kMono, 2));
    ASSERT_TRUE(zetaStartOrStopVideoTrigger(board(), kMono, true));
    ASSERT_TRUE(recorder().waitFor(3));
    ASSERT_TRUE(zetaSetStripeScanParameter(board(), 3, 0));
    ASSERT_TRUE(scan(board(), 0));
    const std::size_t before = recorder().count();
    ASSERT_TRUE(waitScanEnded());
    bool running = false;
    int period = 0;
    ASSERT_TRUE(zetaQueryMonoCameraVideoTriggerParameter(board(), running, period));
    EXPECT_TRUE(running);  // the setting is kept while held
    ASSERT_TRUE(recorder().waitFor(before + 16 + 3));
    ASSERT_TRUE(zetaStartOrStopVideoTrigger(board(), kMono, false));
    const auto pulses = recorder().pulses();
    // Between the call and the end of the sequence only stripes.
    const std::vector<TriggerPulse> during(pulses.begin() + before, pulses.begin() + before + 16);
    expectStripes(during, 16);
    // Then the video trigger again, showing the projection.
    for (std::size_t i = before + 16; i < pulses.size(); ++i) {
        EXPECT_EQ(pulses[i].sequenceNumber, -1) << i;
        EXPECT_EQ(pulses[i].light, projectionLight(0)) << i;
    }
}

TEST_F(BoardScan, VideoTriggersResumeWhenAContinuousScanIsStopped) {
    ASSERT_TRUE(zetaSetVideoTriggerPeriod(board(), kMono, 2));
    ASSERT_TRUE(zetaStartOrStopVideoTrigger(board(), kMono, true));
    ASSERT_TRUE(zetaSetSpeckLaserScanParameter(board(), 2, 1));
    ASSERT_TRUE(scan(board(), 6));
    ASSERT_TRUE(recorder().waitFor(4));
    ASSERT_TRUE(scan(board(), 7));
    const std::size_t seen = recorder().count();
    ASSERT_TRUE(recorder().waitFor(seen + 3));
    const auto pulses = recorder().pulses();
    for (std::size_t i = seen; i < pulses.size(); ++i) {
        EXPECT_EQ(pulses[i].light, projectionLight(0));
    }
}

TEST_F(BoardScan, ScanParametersAreReadWhenTheScanStarts) {
    ASSERT_TRUE(zetaSetStripeScanParameter(board(), 2, 0));
    ASSERT_TRUE(scan(board(), 8));
    ASSERT_TRUE(zetaSetStripeScanParameter(board(), 500, 0));  // too late for this scan
    ASSERT_TRUE(waitScanEnded(milliseconds(2000)));
    expectStripes(recorder().pulses(), 17);
}

TEST_F(BoardScan, AnUnpluggedBoardKeepsItsScanRunningSilently) {
    ASSERT_TRUE(zetaSetSpeckleOrLaserScanParameter(board(), 2, 10));
    ASSERT_TRUE(scan(board(), 1));
    ASSERT_TRUE(recorder().waitFor(2));
    ASSERT_TRUE(unplug("board"));
    const std::size_t seen = recorder().count();
    EXPECT_FALSE(recorder().anotherWithin(seen, milliseconds(30)));
    EXPECT_TRUE(boardState().scanRunning);
    ASSERT_TRUE(replug("board"));
    ASSERT_TRUE(recorder().waitFor(seen + 2));
    ASSERT_TRUE(project(board(), 0));
    // The laser lines kept sweeping while nothing was emitted.
    const auto pulses = recorder().pulses();
    EXPECT_GT(pulses[seen].light.index, pulses[seen - 1].light.index + 1);
}

}  // namespace
}  // namespace zeta::sim::test
