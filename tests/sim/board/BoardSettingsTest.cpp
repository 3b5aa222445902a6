// What the board stores: power-on values, setter/query round trips, the state the control API
// reports, status bytes, firmware, raw commands and the image store.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "BoardTestSupport.h"

namespace zeta::sim::test {
namespace {

using namespace zetaVoroDLPdev;

constexpr TRIGGERROUTE kMono = TRIGGER_ROUTE_MONO;
constexpr TRIGGERROUTE kColour = TRIGGER_ROUTE_COLOR;
constexpr TRIGGERROUTE kBoth = TRIGGER_ROUTE_BOTH;

TEST(BoardSettings, PowerOnValues) {
    useRig(boardRig(R"("stripePeriodMs": 7)"));
    OpenBoard board;
    ASSERT_TRUE(board.ok());
    bool running = true;
    int period = 0;
    ASSERT_TRUE(zetaQueryMonoCameraVideoTriggerParameter(board, running, period));
    EXPECT_FALSE(running);
    EXPECT_EQ(period, 10);
    running = true;
    ASSERT_TRUE(zetaQueryColorCameraVideoTriggerParameter(board, running, period));
    EXPECT_FALSE(running);
    EXPECT_EQ(period, 10);
    int polarity = -5;
    int width = 0;
    ASSERT_TRUE(zetaQueryMonoCameraTriggerParameter(board, polarity, width));
    EXPECT_EQ(polarity, 0);
    EXPECT_EQ(width, 1);
    ASSERT_TRUE(zetaQueryColorCameraTriggerParameter(board, polarity, width));
    EXPECT_EQ(polarity, 0);
    EXPECT_EQ(width, 1);
    int brightness = 0;
    ASSERT_TRUE(zetaQueryProjectorBrightnessPercent(board, brightness));
    EXPECT_EQ(brightness, 100);

    const BoardState state = boardState();
    EXPECT_TRUE(state.present);
    EXPECT_EQ(state.openHandles, 1);
    EXPECT_EQ(state.projection, 0);
    for (const RouteState& route : state.routes) {
        EXPECT_FALSE(route.videoTrigger);
        EXPECT_EQ(route.periodMs, 10);
        EXPECT_EQ(route.pulseWidthMs, 1);
        EXPECT_EQ(route.polarity, 0);
        EXPECT_FALSE(route.strobe);
        EXPECT_FALSE(route.strobeFlicker);
        EXPECT_EQ(route.pulses, 0u);
    }
    EXPECT_EQ(state.scanType, -1);
    EXPECT_EQ(state.e7Mode, -1);
    EXPECT_FALSE(state.scanRunning);
    EXPECT_EQ(state.brightness, 100);
    EXPECT_EQ(state.e7Brightness, 100);
    EXPECT_EQ(state.stripeFirst, 7);
    EXPECT_EQ(state.stripeSecond, 0);
    EXPECT_EQ(state.specklePeriodMs, 10);
    EXPECT_EQ(state.speckleSpace, 10);
    EXPECT_EQ(state.speckLaserPeriodMs, 20);
    EXPECT_EQ(state.speckLaserFrames, 3);
    EXPECT_EQ(state.colorSegregationCount, 3);
    EXPECT_EQ(state.colorDelayUs, 90);
    EXPECT_FALSE(state.speckleWithTexture);
    EXPECT_FALSE(state.zoom);
    EXPECT_FALSE(state.irLamp);
    EXPECT_FALSE(state.laser);
    EXPECT_EQ(state.distanceIndicate, 0);
    EXPECT_EQ(state.timeStampType, 0);
    EXPECT_EQ(state.monoColorSpan, 0);
    EXPECT_FALSE(state.fixScanFastMode);
    EXPECT_FALSE(state.fixScanFreeProjectMode);
    EXPECT_EQ(state.colorRouteResets, 0);
}

TEST(BoardSettings, VideoTriggerRoundTripPerRouteAndForBoth) {
    useRig(boardRig());
    OpenBoard board;
    ASSERT_TRUE(zetaSetVideoTriggerPeriod(board, kMono, 33));
    ASSERT_TRUE(zetaSetVideoTriggerPeriod(board, kColour, 0));  // 0 is stored
    bool running = false;
    int period = -1;
    ASSERT_TRUE(zetaQueryMonoCameraVideoTriggerParameter(board, running, period));
    EXPECT_EQ(period, 33);
    ASSERT_TRUE(zetaQueryColorCameraVideoTriggerParameter(board, running, period));
    EXPECT_EQ(period, 0);
    ASSERT_TRUE(zetaSetVideoTriggerPeriod(board, kBoth, 65535));
    ASSERT_TRUE(zetaQueryMonoCameraVideoTriggerParameter(board, running, period));
    EXPECT_EQ(period, 65535);
    ASSERT_TRUE(zetaQueryColorCameraVideoTriggerParameter(board, running, period));
    EXPECT_EQ(period, 65535);

    ASSERT_TRUE(zetaStartOrStopVideoTrigger(board, kColour, true));
    ASSERT_TRUE(zetaQueryMonoCameraVideoTriggerParameter(board, running, period));
    EXPECT_FALSE(running);
    ASSERT_TRUE(zetaQueryColorCameraVideoTriggerParameter(board, running, period));
    EXPECT_TRUE(running);
    ASSERT_TRUE(zetaE7StartOrStopVideoTrigger(board, kBoth, true));
    ASSERT_TRUE(zetaQueryMonoCameraVideoTriggerParameter(board, running, period));
    EXPECT_TRUE(running);
    ASSERT_TRUE(zetaStartOrStopVideoTrigger(board, kBoth, false));
    ASSERT_TRUE(zetaQueryColorCameraVideoTriggerParameter(board, running, period));
    EXPECT_FALSE(running);
    EXPECT_FALSE(boardState().routes[0].videoTrigger);
}

TEST(BoardSettings, PulseWidthAndPolarityRoundTrip) {
    useRig(boardRig());
    OpenBoard board;
    ASSERT_TRUE(zetaSetTriggerPulseWidth(board, kMono, 4));
    ASSERT_TRUE(zetaSetTriggerPulseWidth(board, kColour, 65535));
    ASSERT_TRUE(zetaSetTriggerPolarity(board, kMono, -1));  // any non-zero value is 1
    ASSERT_TRUE(zetaSetTriggerPolarity(board, kColour, 0));
    int polarity = 0;
    int width = 0;
    ASSERT_TRUE(zetaQueryMonoCameraTriggerParameter(board, polarity, width));
    EXPECT_EQ(polarity, 1);
    EXPECT_EQ(width, 4);
    ASSERT_TRUE(zetaQueryColorCameraTriggerParameter(board, polarity, width));
    EXPECT_EQ(polarity, 0);
    EXPECT_EQ(width, 65535);
    ASSERT_TRUE(zetaSetTriggerPulseWidth(board, kBoth, 0));
    ASSERT_TRUE(zetaSetTriggerPolarity(board, kBoth, 7));
    const BoardState state = boardState();
    for (const RouteState& route : state.routes) {
        EXPECT_EQ(route.pulseWidthMs, 0);
        EXPECT_EQ(route.polarity, 1);
    }
}

TEST(BoardSettings, BrightnessRoundTrip) {
    useRig(boardRig());
    OpenBoard board;
    ASSERT_TRUE(zetaSetProjectorBrightnessPercent(board, 0));
    int percent = -1;
    ASSERT_TRUE(zetaQueryProjectorBrightnessPercent(board, percent));
    EXPECT_EQ(percent, 0);
    ASSERT_TRUE(zetaSetProjectorBrightnessPercent(board, 55));
    ASSERT_TRUE(zetaE7SetProjectorBrightnessPercent(board, 42));
    ASSERT_TRUE(zetaQueryProjectorBrightnessPercent(board, percent));
    EXPECT_EQ(percent, 55);  // the E7 setter keeps its own value
    EXPECT_EQ(boardState().brightness, 55);
    EXPECT_EQ(boardState().e7Brightness, 42);
}

TEST(BoardSettings, EveryStoredValueShowsInTheState) {
    useRig(boardRig());
    OpenBoard board;
    const PROJECTTYPE grey = PROJECT_GREY;
    ASSERT_TRUE(zetaProject(board, grey));
    ASSERT_TRUE(zetaOpenOrCloseStrobe(board, kColour, true));
    ASSERT_TRUE(zetaOpenOrCloseStrobeFlicker(board, kBoth, true));
    ASSERT_TRUE(zetaOpenOrCloseZoomFunction(board, true));
    ASSERT_TRUE(zetaSetIRLampAndLaser(board, true, false));
    const DISTANCEINDICATE far = DISTANCE_INDICATE_FAR;
    ASSERT_TRUE(zetaSetDistanceIndicate(board, far));
    ASSERT_TRUE(zetaResetColorRoute(board));
    ASSERT_TRUE(zetaResetColorRoute(board));
    ASSERT_TRUE(zetaSetStripeScanParameter(board, 12, 65535));
    ASSERT_TRUE(zetaSetSpeckleOrLaserScanParameter(board, 65535, 100));
    ASSERT_TRUE(zetaSetSpeckLaserScanParameter(board, 1, 0));
    ASSERT_TRUE(zetaSetColorCameraLineTriggerSegregationCount(board, 1000));
    ASSERT_TRUE(zetaSetColorCameraLineTriggerDelay(board, 1000000));
    ASSERT_TRUE(zetaSetSpeckleScanWithTexture(board, true));
    ASSERT_TRUE(zetaSetCameraTimeStampType(board, 1));
    ASSERT_TRUE(zetaSetVideoWidthHeight(board, 4096, 1));
    ASSERT_TRUE(zetaSetMonoColorSpan(board, 4));
    ASSERT_TRUE(zetaSetStrobeLightingTime(board, 15, 10000));
    ASSERT_TRUE(zetaSetStrobeLightingTime(board, 0, 0));
    ASSERT_TRUE(zetaSetStrobeLightingTime(board, 3, 250));
    ASSERT_TRUE(zetaEnterFixScanFastMode(board));

    BoardState state = boardState();
    EXPECT_EQ(state.projection, 12);
    EXPECT_FALSE(state.routes[0].strobe);
    EXPECT_TRUE(state.routes[1].strobe);
    EXPECT_TRUE(state.routes[0].strobeFlicker);
    EXPECT_TRUE(state.routes[1].strobeFlicker);
    EXPECT_TRUE(state.zoom);
    EXPECT_TRUE(state.irLamp);
    EXPECT_FALSE(state.laser);
    EXPECT_EQ(state.distanceIndicate, 3);
    EXPECT_EQ(state.colorRouteResets, 2);
    EXPECT_EQ(state.stripeFirst, 12);
    EXPECT_EQ(state.stripeSecond, 65535);
    EXPECT_EQ(state.specklePeriodMs, 65535);
    EXPECT_EQ(state.speckleSpace, 100);
    EXPECT_EQ(state.speckLaserPeriodMs, 1);
    EXPECT_EQ(state.speckLaserFrames, 0);
    EXPECT_EQ(state.colorSegregationCount, 1000);
    EXPECT_EQ(state.colorDelayUs, 1000000);
    EXPECT_TRUE(state.speckleWithTexture);
    EXPECT_EQ(state.timeStampType, 1);
    EXPECT_EQ(state.videoWidth, 4096);
    EXPECT_EQ(state.videoHeight, 1);
    EXPECT_EQ(state.monoColorSpan, 4);
    EXPECT_EQ(state.strobeLightingTimeUs[15], 10000);
    EXPECT_EQ(state.strobeLightingTimeUs[0], 0);
    EXPECT_EQ(state.strobeLightingTimeUs[3], 250);
    EXPECT_TRUE(state.fixScanFastMode);
    EXPECT_FALSE(state.fixScanFreeProjectMode);

    // The fix-scan modes exclude each other; the flags and lamps go back off.
    ASSERT_TRUE(zetaEnterFixScanFreeProjectMode(board));
    ASSERT_TRUE(zetaOpenOrCloseZoomFunction(board, false));
    ASSERT_TRUE(zetaSetIRLampAndLaser(board, false, true));
    ASSERT_TRUE(zetaOpenOrCloseStrobeFlicker(board, kMono, false));
    ASSERT_TRUE(zetaSetSpeckleScanWithTexture(board, false));
    state = boardState();
    EXPECT_FALSE(state.fixScanFastMode);
    EXPECT_TRUE(state.fixScanFreeProjectMode);
    EXPECT_FALSE(state.zoom);
    EXPECT_FALSE(state.irLamp);
    EXPECT_TRUE(state.laser);
    EXPECT_FALSE(state.routes[0].strobeFlicker);
    EXPECT_TRUE(state.routes[1].strobeFlicker);
    EXPECT_FALSE(state.speckleWithTexture);
}

TEST(BoardSettings, StatusComesFromTheRigAndFromSetStatus) {
    useRig(boardRig(R"("status": {"first": 1, "second": 254, "state": 192, "flag": false})"));
    OpenBoard board;
    unsigned char first = 0;
    unsigned char second = 0;
    unsigned char state = 0;
    bool flag = true;
    ASSERT_TRUE(zetaQueryCurrentStatus(board, first, second, state, flag));
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 254);
    EXPECT_EQ(state, 192);
    EXPECT_FALSE(flag);
    setStatus(9, 8, 0x40, true);
    ASSERT_TRUE(zetaQueryCurrentStatus(board, first, second, state, flag));
    EXPECT_EQ(first, 9);
    EXPECT_EQ(second, 8);
    EXPECT_EQ(state, 0x40);
    EXPECT_TRUE(flag);
    EXPECT_EQ(lastRecordOf("zetaQueryCurrentStatus").args, "[]");
}

TEST(BoardSettings, StatusDefaultsToZeroAndFlagTrue) {
    useRig(boardRig());
    OpenBoard board;
    unsigned char first = 5;
    unsigned char second = 5;
    unsigned char state = 5;
    bool flag = false;
    ASSERT_TRUE(zetaQueryCurrentStatus(board, first, second, state, flag));
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 0);
    EXPECT_EQ(state, 0);
    EXPECT_TRUE(flag);
}

TEST(BoardSettings, FirmwareComesFromTheRig) {
    useRig(boardRig(R"("firmware": "2XP-A V7")"));
    OpenBoard board;
    std::string version = "old";
    ASSERT_TRUE(zetaQueryProjectorFirewareVersion(board, version));
    EXPECT_EQ(version, "2XP-A V7");
    useRig(boardRig());
    OpenBoard other;
    ASSERT_TRUE(zetaQueryProjectorFirewareVersion(other, version));
    EXPECT_EQ(version, "EP-E7 V12");
}

TEST(BoardSettings, RawCommandsAreKeptByteByByte) {
    useRig(boardRig());
    OpenBoard board;
    const char line[] = {0x01, 0x7f, static_cast<char>(0xff), 0x00, 0x10};
    const char* const lineData = line;
    ASSERT_TRUE(zetaSendCmdLine(board, lineData, 5));
    std::string report(64, 'r');
    const char* const reportData = report.data();
    ASSERT_TRUE(zetaSendReportCmd(board, reportData, 64));
    ASSERT_TRUE(zetaSendCmdLine(board, lineData, 1));

    const auto lines = sentCommands(false);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], (std::vector<std::uint8_t>{0x01, 0x7f, 0xff, 0x00, 0x10}));
    EXPECT_EQ(lines[1], (std::vector<std::uint8_t>{0x01}));
    const auto reports = sentCommands(true);
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_EQ(reports[0], std::vector<std::uint8_t>(64, 'r'));

    EXPECT_EQ(recordsOf("zetaSendCmdLine")[0].args, "[5,5]");
    EXPECT_EQ(lastRecordOf("zetaSendReportCmd").args, "[64,64]");
}

TEST(BoardSettings, RawCommandsOutsideOneTo64BytesAreRefused) {
    useRig(boardRig());
    OpenBoard board;
    std::string big(200, 'x');
    const char* const data = big.data();
    const char* const none = nullptr;
    EXPECT_FALSE(zetaSendCmdLine(board, data, 0));
    EXPECT_FALSE(zetaSendCmdLine(board, data, 65));
    EXPECT_FALSE(zetaSendCmdLine(board, data, -1));
    EXPECT_FALSE(zetaSendCmdLine(board, none, 4));
    EXPECT_FALSE(zetaSendReportCmd(board, data, -2147483647 - 1));
    EXPECT_FALSE(zetaSendReportCmd(board, none, 0));
    EXPECT_TRUE(sentCommands(false).empty());
    EXPECT_TRUE(sentCommands(true).empty());
    const auto records = recordsOf("zetaSendCmdLine");
    ASSERT_EQ(records.size(), 4u);
    EXPECT_EQ(records[2].args, "[-1,-1]");
    EXPECT_EQ(records[3].args, "[null,4]");
    for (const auto& record : records) EXPECT_FALSE(record.ok);
}

TEST(BoardSettings, ImageStoreKeepsTheChunksOfTheLastWrite) {
    useRig(boardRig());
    OpenBoard board;
    ImageStoreState store = imageStore();
    EXPECT_FALSE(store.writing);
    EXPECT_EQ(store.imageType, -1);
    EXPECT_EQ(store.writes, 0);

    const unsigned char type = 1;
    ASSERT_TRUE(zetaE7StartWriteImage(board, type));
    const std::vector<unsigned char> a{1, 2, 3, 4};
    const std::vector<unsigned char> b(64, 0xee);
    const unsigned char* const aData = a.data();
    const unsigned char* const bData = b.data();
    ASSERT_TRUE(zetaE7WriteImageData(board, aData, 4));
    ASSERT_TRUE(zetaE7WriteImageData(board, bData, 64));
    store = imageStore();
    EXPECT_TRUE(store.writing);
    EXPECT_EQ(store.imageType, 1);
    ASSERT_TRUE(zetaE7StopWriteImage(board));
    store = imageStore();
    EXPECT_FALSE(store.writing);
    EXPECT_EQ(store.writes, 1);
    EXPECT_EQ(store.completedWrites, 1);
    ASSERT_EQ(store.chunks.size(), 2u);
    EXPECT_EQ(store.chunks[0], (std::vector<std::uint8_t>{1, 2, 3, 4}));
    EXPECT_EQ(store.chunks[1], std::vector<std::uint8_t>(64, 0xee));
    EXPECT_EQ(store.totalBytes, 68u);
    EXPECT_EQ(lastRecordOf("zetaE7StartWriteImage").args, "[1]");
    EXPECT_EQ(lastRecordOf("zetaE7WriteImageData").args, "[64,64]");
    EXPECT_EQ(lastRecordOf("zetaE7StopWriteImage").args, "[]");

    // A new start discards an unfinished write.
    const unsigned char firmware = 0;
    ASSERT_TRUE(zetaE7StartWriteImage(board, firmware));
    ASSERT_TRUE(zetaE7WriteImageData(board, aData, 2));
    ASSERT_TRUE(zetaE7StartWriteImage(board, firmware));
    ASSERT_TRUE(zetaE7WriteImageData(board, aData, 3));
    ASSERT_TRUE(zetaE7StopWriteImage(board));
    store = imageStore();
    EXPECT_EQ(store.imageType, 0);
    EXPECT_EQ(store.writes, 3);
    EXPECT_EQ(store.completedWrites, 2);
    ASSERT_EQ(store.chunks.size(), 1u);
    EXPECT_EQ(store.chunks[0], (std::vector<std::uint8_t>{1, 2, 3}));
    EXPECT_EQ(store.totalBytes, 3u);
}

TEST(BoardSettings, ImageStoreRefusesChunksOutsideAWriteAndBadChunks) {
    useRig(boardRig());
    OpenBoard board;
    const std::vector<unsigned char> data(100, 7);
    const unsigned char* const bytes = data.data();
    const unsigned char* const none = nullptr;
    EXPECT_FALSE(zetaE7WriteImageData(board, bytes, 4));  // nothing started
    EXPECT_FALSE(zetaE7StopWriteImage(board));            // nothing started
    const unsigned char badType = 2;
    EXPECT_FALSE(zetaE7StartWriteImage(board, badType));
    const unsigned char type = 1;
    ASSERT_TRUE(zetaE7StartWriteImage(board, type));
    EXPECT_FALSE(zetaE7WriteImageData(board, none, 4));
    EXPECT_FALSE(zetaE7WriteImageData(board, bytes, 0));
    EXPECT_FALSE(zetaE7WriteImageData(board, bytes, 65));
    EXPECT_FALSE(zetaE7WriteImageData(board, bytes, -8));
    ASSERT_TRUE(zetaE7StopWriteImage(board));
    EXPECT_FALSE(zetaE7StopWriteImage(board));  // already stopped
    EXPECT_FALSE(zetaE7WriteImageData(board, bytes, 4));
    const ImageStoreState store = imageStore();
    EXPECT_TRUE(store.chunks.empty());
    EXPECT_EQ(store.totalBytes, 0u);
    EXPECT_EQ(store.writes, 1);
    EXPECT_EQ(store.completedWrites, 1);
    EXPECT_EQ(recordsOf("zetaE7WriteImageData")[1].args, "[null,4]");
}

TEST(BoardSettings, StateOfABrokenRigIsTheDefault) {
    std::string error;
    EXPECT_FALSE(loadRigText("[]", &error));
    const BoardState state = boardState();
    EXPECT_EQ(state.openHandles, 0);
    EXPECT_TRUE(sentCommands(false).empty());
    EXPECT_EQ(imageStore().writes, 0);
    useRig(boardRig());
}

}  // namespace
}  // namespace zeta::sim::test
