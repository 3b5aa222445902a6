// The board's pulses on the trigger bus: video triggers, single triggers, stamps, strobes,
// unplugging.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

#include "BoardTestSupport.h"
#include "board/BoardLights.h"

namespace zeta::sim::test {
namespace {

using namespace zetaVoroDLPdev;
using std::chrono::milliseconds;

constexpr TRIGGERROUTE kMono = TRIGGER_ROUTE_MONO;
constexpr TRIGGERROUTE kColour = TRIGGER_ROUTE_COLOR;
constexpr TRIGGERROUTE kBoth = TRIGGER_ROUTE_BOTH;

// Pulses of `route` whose time lies in [from, from + span).
std::size_t countIn(const std::vector<TriggerPulse>& pulses, std::uint64_t from,
                    std::uint64_t span) {
    return static_cast<std::size_t>(std::count_if(pulses.begin(), pulses.end(), [&](const auto& p) {
        return p.tUs >= from && p.tUs < from + span;
    }));
}

TEST(BoardTriggers, AVideoTriggerPulsesAtItsPeriod) {
    useRig(boardRig());
    OpenBoard board;
    auto recorder = PulseRecorder::attach();
    ASSERT_TRUE(zetaSetVideoTriggerPeriod(board, kMono, 10));
    ASSERT_TRUE(zetaStartOrStopVideoTrigger(board, kMono, true));
    ASSERT_TRUE(recorder->waitFor(1, 0));
    const std::uint64_t first = recorder->onRoute(0).front().tUs;
    ASSERT_TRUE(waitUntil([&] { return nowUs() > first + 1'050'000; }, milliseconds(5000)));
    ASSERT_TRUE(zetaStartOrStopVideoTrigger(board, kMono, false));
    const auto pulses = recorder->onRoute(0);
    const std::size_t inOneSecond = countIn(pulses, first, 1'000'000);
    EXPECT_GE(inOneSecond, 90u);
    EXPECT_LE(inOneSecond, 110u);
    EXPECT_EQ(recorder->count(1), 0u);
    for (const auto& pulse : pulses) {
        EXPECT_EQ(pulse.sequenceNumber, -1);
        EXPECT_EQ(pulse.light, projectionLight(0));
    }
    EXPECT_EQ(boardState().routes[0].pulses, pulses.size());
    // Stopped: nothing more.
    EXPECT_FALSE(recorder->anotherWithin(pulses.size(), milliseconds(40)));
}

TEST(BoardTriggers, TheFirstVideoPulseComesOnePeriodAfterTheStart) {
    useRig(boardRig());
    OpenBoard board;
    auto recorder = PulseRecorder::attach();
    ASSERT_TRUE(zetaSetVideoTriggerPeriod(board, kColour, 40));
    const std::uint64_t start = nowUs();
    ASSERT_TRUE(zetaStartOrStopVideoTrigger(board, kColour, true));
    ASSERT_TRUE(recorder->waitFor(1, 1));
    ASSERT_TRUE(zetaStartOrStopVideoTrigger(board, kColour, false));
    EXPECT_GE(recorder->onRoute(1).front().tUs, start + 40'000);
    EXPECT_EQ(recorder->count(0), 0u);
}

TEST(BoardTriggers, AVideoTriggerWithPeriodZeroPulsesNothing) {
    useRig(boardRig());
    OpenBoard board;
    auto recorder = PulseRecorder::attach();
    ASSERT_TRUE(zetaSetVideoTriggerPeriod(board, kMono, 0));
    ASSERT_TRUE(zetaStartOrStopVideoTrigger(board, kMono, true));
    EXPECT_FALSE(recorder->anotherWithin(0, milliseconds(50)));
    // A period makes it pulse.
    ASSERT_TRUE(zetaSetVideoTriggerPeriod(board, kMono, 2));
    EXPECT_TRUE(recorder->waitFor(3, 0));
}

TEST(BoardTriggers, VideoTriggersOnBothRoutesShareTheirStamps) {
    useRig(boardRig());
    OpenBoard board;
    auto recorder = PulseRecorder::attach();
    ASSERT_TRUE(zetaSetVideoTriggerPeriod(board, kBoth, 3));
    ASSERT_TRUE(zetaE7StartOrStopVideoTrigger(board, kBoth, true));
    ASSERT_TRUE(recorder->waitFor(5, 1));
    ASSERT_TRUE(zetaE7StartOrStopVideoTrigger(board, kBoth, false));
    const auto mono = recorder->onRoute(0);
    const auto colour = recorder->onRoute(1);
    ASSERT_EQ(mono.size(), colour.size());
    for (std::size_t i = 0; i < mono.size(); ++i) {
        EXPECT_EQ(mono[i].stamp, colour[i].stamp) << i;
        EXPECT_EQ(mono[i].tUs, colour[i].tUs) << i;
    }
}

TEST(BoardTriggers, VideoPulsesShowTheProjectionAndTheRouteStrobe) {
    useRig(boardRig());
    OpenBoard board;
    auto recorder = PulseRecorder::attach();
    const PROJECTTYPE blue = PROJECT_BLUE;
    ASSERT_TRUE(zetaProject(board, blue));
    ASSERT_TRUE(zetaOpenOrCloseStrobe(board, kColour, true));
    ASSERT_TRUE(zetaSetVideoTriggerPeriod(board, kBoth, 2));
    ASSERT_TRUE(zetaStartOrStopVideoTrigger(board, kBoth, true));
    ASSERT_TRUE(recorder->waitFor(2, 1));
    ASSERT_TRUE(zetaStartOrStopVideoTrigger(board, kBoth, false));
    Illumination lit = flatLight(0, 0, 255);
    EXPECT_EQ(recorder->onRoute(0).front().light, lit);
    lit.strobe = true;
    EXPECT_EQ(recorder->onRoute(1).front().light, lit);

    // Strobe flicker on the mono route lights its pulses too.
    recorder->clear();
    ASSERT_TRUE(zetaOpenOrCloseStrobe(board, kColour, false));
    ASSERT_TRUE(zetaOpenOrCloseStrobeFlicker(board, kMono, true));
    ASSERT_TRUE(zetaStartOrStopVideoTrigger(board, kBoth, true));
    ASSERT_TRUE(recorder->waitFor(2, 1));
    ASSERT_TRUE(zetaStartOrStopVideoTrigger(board, kBoth, false));
    EXPECT_TRUE(recorder->onRoute(0).front().light.strobe);
    EXPECT_FALSE(recorder->onRoute(1).front().light.strobe);
}

TEST(BoardTriggers, ASingleTriggerPulsesOnceOnItsRoute) {
    useRig(boardRig());
    OpenBoard board;
    auto recorder = PulseRecorder::attach();
    const PROJECTTYPE checker = PROJECT_CHECKERBOARD;
    ASSERT_TRUE(zetaProject(board, checker));
    ASSERT_TRUE(zetaOutputSingleTrigger(board, kMono));
    ASSERT_EQ(recorder->count(), 1u);  // emitted before the call returns
    EXPECT_EQ(recorder->pulses()[0].route, 0);
    EXPECT_EQ(recorder->pulses()[0].light, projectionLight(10));
    EXPECT_EQ(recorder->pulses()[0].sequenceNumber, -1);
    ASSERT_TRUE(zetaOutputSingleTrigger(board, kColour));
    ASSERT_EQ(recorder->count(), 2u);
    EXPECT_EQ(recorder->pulses()[1].route, 1);
    EXPECT_EQ(boardState().routes[0].pulses, 1u);
    EXPECT_EQ(boardState().routes[1].pulses, 1u);
}

TEST(BoardTriggers, ASingleTriggerOnBothRoutesCarriesOneStamp) {
    useRig(boardRig());
    OpenBoard board;
    auto recorder = PulseRecorder::attach();
    ASSERT_TRUE(waitUntil([] { return nowUs() > 2000; }));
    ASSERT_TRUE(zetaOutputSingleTrigger(board, kBoth));
    const auto pulses = recorder->pulses();
    ASSERT_EQ(pulses.size(), 2u);
    EXPECT_NE(pulses[0].route, pulses[1].route);
    EXPECT_EQ(pulses[0].stamp, pulses[1].stamp);
    EXPECT_EQ(pulses[0].tUs, pulses[1].tUs);
    EXPECT_GT(pulses[0].stamp, 0u);
    // A later pulse carries a later stamp.
    ASSERT_TRUE(waitUntil([&] { return nowUs() > pulses[0].tUs + 1000; }));
    ASSERT_TRUE(zetaOutputSingleTrigger(board, kMono));
    EXPECT_GT(recorder->pulses().back().stamp, pulses[0].stamp);
}

TEST(BoardTriggers, ResettingTheStampsRestartsThemNearZero) {
    useRig(boardRig());
    OpenBoard board;
    auto recorder = PulseRecorder::attach();
    ASSERT_TRUE(waitUntil([] { return nowUs() > 200'000; }));
    ASSERT_TRUE(zetaOutputSingleTrigger(board, kBoth));
    EXPECT_GE(recorder->pulses()[0].stamp, 200'000u);
    ASSERT_TRUE(zetaResetCameraTimeStamp(board, 0));
    ASSERT_TRUE(zetaOutputSingleTrigger(board, kBoth));
    auto pulses = recorder->pulses();
    ASSERT_EQ(pulses.size(), 4u);
    for (std::size_t i = 2; i < 4; ++i) {
        if (pulses[i].route == 0) {
            EXPECT_LT(pulses[i].stamp, 100'000u);  // restarted
        } else {
            EXPECT_GE(pulses[i].stamp, 200'000u);  // the colour route keeps counting
        }
    }
    EXPECT_EQ(lastRecordOf("zetaResetCameraTimeStamp").args, "[0]");
    // -1 restarts both.
    ASSERT_TRUE(zetaResetCameraTimeStamp(board, -1));
    ASSERT_TRUE(zetaOutputSingleTrigger(board, kBoth));
    pulses = recorder->pulses();
    ASSERT_EQ(pulses.size(), 6u);
    EXPECT_LT(pulses[4].stamp, 100'000u);
    EXPECT_EQ(pulses[4].stamp, pulses[5].stamp);
}

TEST(BoardTriggers, StampTypeOneFollowsTheRigClock) {
    useRig(boardRig());
    OpenBoard board;
    auto recorder = PulseRecorder::attach();
    ASSERT_TRUE(waitUntil([] { return nowUs() > 50'000; }));
    ASSERT_TRUE(zetaResetCameraTimeStamp(board, 2));
    ASSERT_TRUE(zetaSetCameraTimeStampType(board, 1));
    ASSERT_TRUE(zetaOutputSingleTrigger(board, kMono));
    const auto pulse = recorder->pulses().at(0);
    EXPECT_EQ(pulse.stamp, pulse.tUs);
    EXPECT_GE(pulse.stamp, 50'000u);
    ASSERT_TRUE(zetaSetCameraTimeStampType(board, 0));
    ASSERT_TRUE(zetaOutputSingleTrigger(board, kMono));
    EXPECT_LT(recorder->pulses().at(1).stamp, recorder->pulses().at(1).tUs);
}

TEST(BoardTriggers, AnUnpluggedBoardEmitsNothingAndResumesWhenReplugged) {
    useRig(boardRig());
    OpenBoard board;
    auto recorder = PulseRecorder::attach();
    ASSERT_TRUE(zetaSetVideoTriggerPeriod(board, kMono, 2));
    ASSERT_TRUE(zetaStartOrStopVideoTrigger(board, kMono, true));
    ASSERT_TRUE(recorder->waitFor(2, 0));
    ASSERT_TRUE(unplug("board"));
    const std::size_t seen = recorder->count();
    EXPECT_FALSE(recorder->anotherWithin(seen, milliseconds(40)));
    EXPECT_FALSE(zetaOutputSingleTrigger(board, kMono));
    EXPECT_EQ(recorder->count(), seen);
    ASSERT_TRUE(replug("board"));
    // The video trigger kept running silently: pulses come again without a new start.
    EXPECT_TRUE(recorder->waitFor(seen + 3, 0));
    EXPECT_TRUE(boardState().routes[0].videoTrigger);
}

TEST(BoardTriggers, ChangingThePeriodOfARunningTriggerTakesEffect) {
    useRig(boardRig());
    OpenBoard board;
    auto recorder = PulseRecorder::attach();
    ASSERT_TRUE(zetaSetVideoTriggerPeriod(board, kMono, 1000));
    ASSERT_TRUE(zetaStartOrStopVideoTrigger(board, kMono, true));
    ASSERT_TRUE(zetaSetVideoTriggerPeriod(board, kMono, 2));
    EXPECT_TRUE(recorder->waitFor(5, 0, milliseconds(900)));
}

TEST(BoardTriggers, ShutdownStopsTheEngine) {
    useRig(boardRig());
    OpenBoard board;
    auto recorder = PulseRecorder::attach();
    ASSERT_TRUE(zetaSetVideoTriggerPeriod(board, kMono, 1));
    ASSERT_TRUE(zetaStartOrStopVideoTrigger(board, kMono, true));
    ASSERT_TRUE(recorder->waitFor(2, 0));
    // A reload shuts the old board down: its engine stops.
    useRig(boardRig());
    const std::size_t seen = recorder->count();
    EXPECT_FALSE(recorder->anotherWithin(seen, milliseconds(30)));
    EXPECT_FALSE(zetaOutputSingleTrigger(board, kMono));
}

}  // namespace
}  // namespace zeta::sim::test
