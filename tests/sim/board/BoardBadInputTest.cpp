// Calls that must fail cleanly: bad handles, arguments outside their ranges, a board that does not
// answer. A failing call returns false, writes none of its outputs and is journaled ok:false.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "BoardTestSupport.h"

namespace zeta::sim::test {
namespace {

using namespace zetaVoroDLPdev;

// Sentinels the queries must leave alone.
struct Outputs {
    bool running = true;
    int period = -77;
    int polarity = -77;
    int width = -77;
    int percent = -77;
    unsigned char first = 0xa1, second = 0xa2, state = 0xa3;
    bool flag = false;
    std::string version = "untouched";

    bool untouched() const {
        return running && period == -77 && polarity == -77 && width == -77 && percent == -77 &&
               first == 0xa1 && second == 0xa2 && state == 0xa3 && !flag && version == "untouched";
    }
};

using Operation = std::pair<std::string, std::function<bool(void* const&)>>;

// Every operation of the board library that takes an open handle, with valid arguments.
std::vector<Operation> everyOperation(Outputs& out) {
    static const char command[4] = {1, 2, 3, 4};
    static const unsigned char chunk[4] = {1, 2, 3, 4};
    const TRIGGERROUTE mono = TRIGGER_ROUTE_MONO;
    return {
        {"zetaStartOrStopVideoTrigger",
         [=](void* const& h) { return zetaStartOrStopVideoTrigger(h, mono, true); }},
        {"zetaSetVideoTriggerPeriod",
         [=](void* const& h) { return zetaSetVideoTriggerPeriod(h, mono, 10); }},
        {"zetaSetTriggerPulseWidth",
         [=](void* const& h) { return zetaSetTriggerPulseWidth(h, mono, 1); }},
        {"zetaSetTriggerPolarity",
         [=](void* const& h) { return zetaSetTriggerPolarity(h, mono, 1); }},
        {"zetaQueryMonoCameraVideoTriggerParameter",
         [&out](void* const& h) {
             return zetaQueryMonoCameraVideoTriggerParameter(h, out.running, out.period);
         }},
        {"zetaQueryColorCameraVideoTriggerParameter",
         [&out](void* const& h) {
             return zetaQueryColorCameraVideoTriggerParameter(h, out.running, out.period);
         }},
        {"zetaQueryMonoCameraTriggerParameter",
         [&out](void* const& h) {
             return zetaQueryMonoCameraTriggerParameter(h, out.polarity, out.width);
         }},
        {"zetaQueryColorCameraTriggerParameter",
         [&out](void* const& h) {
             return zetaQueryColorCameraTriggerParameter(h, out.polarity, out.width);
         }},
        {"zetaOutputSingleTrigger",
         [=](void* const& h) { return zetaOutputSingleTrigger(h, mono); }},
        {"zetaE7StartOrStopVideoTrigger",
         [=](void* const& h) { return zetaE7StartOrStopVideoTrigger(h, mono, false); }},
        {"zetaProject",
         [](void* const& h) {
             const PROJECTTYPE white = PROJECT_WHITE;
             return zetaProject(h, white);
         }},
        {"zetaOpenOrCloseStrobe",
         [=](void* const& h) { return zetaOpenOrCloseStrobe(h, mono, true); }},
        {"zetaOpenOrCloseStrobeFlicker",
         [=](void* const& h) { return zetaOpenOrCloseStrobeFlicker(h, mono, true); }},
        {"zetaOpenOrCloseZoomFunction",
         [](void* const& h) { return zetaOpenOrCloseZoomFunction(h, true); }},
        {"zetaSetIRLampAndLaser",
         [](void* const& h) { return zetaSetIRLampAndLaser(h, true, true); }},
        {"zetaSetDistanceIndicate",
         [](void* const& h) {
             const DISTANCEINDICATE good = DISTANCE_INDICATE_GOOD;
             return zetaSetDistanceIndicate(h, good);
         }},
        {"zetaSetProjectorBrightnessPercent",
         [](void* const& h) { return zetaSetProjectorBrightnessPercent(h, 50); }},
        {"zetaQueryProjectorBrightnessPercent",
         [&out](void* const& h) { return zetaQueryProjectorBrightnessPercent(h, out.percent); }},
        {"zetaE7SetProjectorBrightnessPercent",
         [](void* const& h) { return zetaE7SetProjectorBrightnessPercent(h, 50); }},
        {"zetaResetColorRoute", [](void* const& h) { return zetaResetColorRoute(h); }},
        {"zetaScan",
         [](void* const& h) {
             const SCANTYPE stop = SCAN_SEQUENCE_STOP;
             return zetaScan(h, stop);
         }},
        {"zetaSetStripeScanParameter",
         [](void* const& h) { return zetaSetStripeScanParameter(h, 10, 0); }},
        {"zetaSetSpeckleOrLaserScanParameter",
         [](void* const& h) { return zetaSetSpeckleOrLaserScanParameter(h, 10, 10); }},
        {"zetaSetSpeckLaserScanParameter",
         [](void* const& h) { return zetaSetSpeckLaserScanParameter(h, 20, 3); }},
        {"zetaSetColorCameraLineTriggerSegregationCount",
         [](void* const& h) { return zetaSetColorCameraLineTriggerSegregationCount(h, 3); }},
        {"zetaSetColorCameraLineTriggerDelay",
         [](void* const& h) { return zetaSetColorCameraLineTriggerDelay(h, 90); }},
        {"zetaSetSpeckleScanWithTexture",
         [](void* const& h) { return zetaSetSpeckleScanWithTexture(h, true); }},
        {"zetaEnterFixScanFastMode", [](void* const& h) { return zetaEnterFixScanFastMode(h); }},
        {"zetaEnterFixScanFreeProjectMode",
         [](void* const& h) { return zetaEnterFixScanFreeProjectMode(h); }},
        {"zetaE7StartScanMode", [](void* const& h) { return zetaE7StartScanMode(h, 32, 4); }},
        {"zetaE7StopScanMode", [](void* const& h) { return zetaE7StopScanMode(h); }},
        {"zetaResetCameraTimeStamp", [](void* const& h) { return zetaResetCameraTimeStamp(h, 2); }},
        {"zetaSetCameraTimeStampType",
         [](void* const& h) { return zetaSetCameraTimeStampType(h, 1); }},
        {"zetaSetVideoWidthHeight",
         [](void* const& h) { return zetaSetVideoWidthHeight(h, 640, 480); }},
        {"zetaSetMonoColorSpan", [](void* const& h) { return zetaSetMonoColorSpan(h, 2); }},
        {"zetaSetStrobeLightingTime",
         [](void* const& h) { return zetaSetStrobeLightingTime(h, 1, 100); }},
        {"zetaQueryCurrentStatus",
         [&out](void* const& h) {
             return zetaQueryCurrentStatus(h, out.first, out.second, out.state, out.flag);
         }},
        {"zetaQueryProjectorFirewareVersion",
         [&out](void* const& h) { return zetaQueryProjectorFirewareVersion(h, out.version); }},
        {"zetaSendCmdLine",
         [](void* const& h) {
             const char* const data = command;
             return zetaSendCmdLine(h, data, 4);
         }},
        {"zetaSendReportCmd",
         [](void* const& h) {
             const char* const data = command;
             return zetaSendReportCmd(h, data, 4);
         }},
        {"zetaE7StartWriteImage",
         [](void* const& h) {
             const unsigned char type = 1;
             return zetaE7StartWriteImage(h, type);
         }},
        {"zetaE7WriteImageData",
         [](void* const& h) {
             const unsigned char* const data = chunk;
             return zetaE7WriteImageData(h, data, 4);
         }},
        {"zetaE7StopWriteImage", [](void* const& h) { return zetaE7StopWriteImage(h); }},
    };
}

// Every operation fails on `handle`, writes no output and is journaled ok:false.
void expectEveryOperationFails(void* const& handle, const std::string& why) {
    Outputs out;
    for (auto& [name, operation] : everyOperation(out)) {
        clearJournal();
        EXPECT_FALSE(operation(handle)) << name << " " << why;
        const auto records = recordsOf(name, "board");
        ASSERT_EQ(records.size(), 1u) << name << " " << why;
        EXPECT_FALSE(records[0].ok) << name << " " << why;
    }
    EXPECT_TRUE(out.untouched()) << why;
}

TEST(BoardBadInput, TheOperationTableCoversEveryOperationAndWorksOnAGoodHandle) {
    useRig(boardRig());
    OpenBoard board;
    ASSERT_TRUE(board.ok());
    Outputs out;
    auto operations = everyOperation(out);
    EXPECT_EQ(operations.size(), 43u);  // every operation but zetaInitHidDev and zetaExitHidDev
    for (auto& [name, operation] : operations) {
        EXPECT_TRUE(operation(board)) << name;
        EXPECT_TRUE(lastRecordOf(name).ok) << name;
    }
}

TEST(BoardBadInput, ANullHandleFailsEverywhere) {
    useRig(boardRig());
    OpenBoard board;  // a board is open, but not through this handle
    void* const handle = nullptr;
    expectEveryOperationFails(handle, "(null handle)");
}

TEST(BoardBadInput, AGarbageHandleFailsEverywhere) {
    useRig(boardRig());
    OpenBoard board;
    void* const garbage = reinterpret_cast<void*>(0xdeadbeef);
    expectEveryOperationFails(garbage, "(garbage handle)");
    void* const almost =
        reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(board.handle()) + 1);
    expectEveryOperationFails(almost, "(handle + 1)");
}

TEST(BoardBadInput, AClosedHandleFailsEverywhere) {
    useRig(boardRig());
    void* handle = nullptr;
    const char* const path = "sim:board0";
    ASSERT_TRUE(zetaInitHidDev(handle, path));
    void* const closed = handle;
    ASSERT_TRUE(zetaExitHidDev(handle));
    expectEveryOperationFails(closed, "(closed handle)");
}

TEST(BoardBadInput, AStaleHandleAfterAReloadFailsEverywhere) {
    useRig(boardRig());
    void* handle = nullptr;
    const char* const path = "sim:board0";
    ASSERT_TRUE(zetaInitHidDev(handle, path));
    useRig(boardRig());
    expectEveryOperationFails(handle, "(stale handle)");
}

TEST(BoardBadInput, AnUnpluggedBoardFailsEverywhereAndAnswersAgainWhenReplugged) {
    useRig(boardRig());
    OpenBoard board;
    ASSERT_TRUE(unplug("board"));
    expectEveryOperationFails(board, "(unplugged)");
    EXPECT_FALSE(boardState().present);
    ASSERT_TRUE(replug("board"));
    Outputs out;
    for (auto& [name, operation] : everyOperation(out)) EXPECT_TRUE(operation(board)) << name;
}

TEST(BoardBadInput, ABrokenRigFailsEverywhere) {
    useRig(boardRig());
    OpenBoard board;
    void* const handle = board.handle();
    std::string error;
    ASSERT_FALSE(loadRigText(R"({"board": {"nonsense": 1}})", &error));
    expectEveryOperationFails(handle, "(broken rig)");
    useRig(boardRig());
}

TEST(BoardBadInput, AnInjectedFaultFailsEveryOperation) {
    useRig(boardRig());
    OpenBoard board;
    Outputs out;
    for (auto& [name, operation] : everyOperation(out)) {
        failNext("board", name, 1);
        clearJournal();
        EXPECT_FALSE(operation(board)) << name;
        EXPECT_FALSE(lastRecordOf(name).ok) << name;
    }
    EXPECT_TRUE(out.untouched());
}

// One operation with one argument out of its range.
struct Refusal {
    std::string name;
    std::function<bool(void* const&)> call;
};

TEST(BoardBadInput, ArgumentsOutsideTheirRangesAreRefused) {
    useRig(boardRig());
    OpenBoard board;
    const auto route = [](int value) { return static_cast<TRIGGERROUTE>(value); };
    const std::vector<Refusal> refusals = {
        {"route -1",
         [&](void* const& h) { return zetaStartOrStopVideoTrigger(h, route(-1), true); }},
        {"route 3", [&](void* const& h) { return zetaStartOrStopVideoTrigger(h, route(3), true); }},
        {"E7 route 3",
         [&](void* const& h) { return zetaE7StartOrStopVideoTrigger(h, route(3), true); }},
        {"period route", [&](void* const& h) { return zetaSetVideoTriggerPeriod(h, route(5), 1); }},
        {"period -1", [&](void* const& h) { return zetaSetVideoTriggerPeriod(h, route(0), -1); }},
        {"period 65536",
         [&](void* const& h) { return zetaSetVideoTriggerPeriod(h, route(0), 65536); }},
        {"width -1", [&](void* const& h) { return zetaSetTriggerPulseWidth(h, route(1), -1); }},
        {"width 65536",
         [&](void* const& h) { return zetaSetTriggerPulseWidth(h, route(2), 65536); }},
        {"polarity route", [&](void* const& h) { return zetaSetTriggerPolarity(h, route(-2), 0); }},
        {"single route", [&](void* const& h) { return zetaOutputSingleTrigger(h, route(4)); }},
        {"strobe route", [&](void* const& h) { return zetaOpenOrCloseStrobe(h, route(3), true); }},
        {"flicker route",
         [&](void* const& h) { return zetaOpenOrCloseStrobeFlicker(h, route(-1), true); }},
        {"project -1",
         [](void* const& h) {
             const auto p = static_cast<PROJECTTYPE>(-1);
             return zetaProject(h, p);
         }},
        {"project 14",
         [](void* const& h) {
             const auto p = static_cast<PROJECTTYPE>(14);
             return zetaProject(h, p);
         }},
        {"distance 4",
         [](void* const& h) {
             const auto d = static_cast<DISTANCEINDICATE>(4);
             return zetaSetDistanceIndicate(h, d);
         }},
        {"distance -1",
         [](void* const& h) {
             const auto d = static_cast<DISTANCEINDICATE>(-1);
             return zetaSetDistanceIndicate(h, d);
         }},
        {"brightness 101",
         [](void* const& h) { return zetaSetProjectorBrightnessPercent(h, 101); }},
        {"brightness -1", [](void* const& h) { return zetaSetProjectorBrightnessPercent(h, -1); }},
        {"E7 brightness 101",
         [](void* const& h) { return zetaE7SetProjectorBrightnessPercent(h, 101); }},
        {"scan 3",
         [](void* const& h) {
             const auto s = static_cast<SCANTYPE>(3);
             return zetaScan(h, s);
         }},
        {"scan 11",
         [](void* const& h) {
             const auto s = static_cast<SCANTYPE>(11);
             return zetaScan(h, s);
         }},
        {"scan -1",
         [](void* const& h) {
             const auto s = static_cast<SCANTYPE>(-1);
             return zetaScan(h, s);
         }},
        {"stripe first -1", [](void* const& h) { return zetaSetStripeScanParameter(h, -1, 0); }},
        {"stripe second 65536",
         [](void* const& h) { return zetaSetStripeScanParameter(h, 10, 65536); }},
        {"speckle period 0",
         [](void* const& h) { return zetaSetSpeckleOrLaserScanParameter(h, 0, 10); }},
        {"speckle period 65536",
         [](void* const& h) { return zetaSetSpeckleOrLaserScanParameter(h, 65536, 10); }},
        {"speckle space 101",
         [](void* const& h) { return zetaSetSpeckleOrLaserScanParameter(h, 10, 101); }},
        {"speckle space -1",
         [](void* const& h) { return zetaSetSpeckleOrLaserScanParameter(h, 10, -1); }},
        {"speck-laser period 0",
         [](void* const& h) { return zetaSetSpeckLaserScanParameter(h, 0, 3); }},
        {"speck-laser frames 101",
         [](void* const& h) { return zetaSetSpeckLaserScanParameter(h, 20, 101); }},
        {"speck-laser frames -1",
         [](void* const& h) { return zetaSetSpeckLaserScanParameter(h, 20, -1); }},
        {"segregation 0",
         [](void* const& h) { return zetaSetColorCameraLineTriggerSegregationCount(h, 0); }},
        {"segregation 1001",
         [](void* const& h) { return zetaSetColorCameraLineTriggerSegregationCount(h, 1001); }},
        {"delay -1", [](void* const& h) { return zetaSetColorCameraLineTriggerDelay(h, -1); }},
        {"delay 1000001",
         [](void* const& h) { return zetaSetColorCameraLineTriggerDelay(h, 1000001); }},
        {"E7 mode 0", [](void* const& h) { return zetaE7StartScanMode(h, 0, 0); }},
        {"E7 mode 34", [](void* const& h) { return zetaE7StartScanMode(h, 34, 0); }},
        {"E7 inner 256", [](void* const& h) { return zetaE7StartScanMode(h, 32, 256); }},
        {"E7 inner -1", [](void* const& h) { return zetaE7StartScanMode(h, 41, -1); }},
        {"stamp route -2", [](void* const& h) { return zetaResetCameraTimeStamp(h, -2); }},
        {"stamp route 3", [](void* const& h) { return zetaResetCameraTimeStamp(h, 3); }},
        {"stamp type 2", [](void* const& h) { return zetaSetCameraTimeStampType(h, 2); }},
        {"stamp type -1", [](void* const& h) { return zetaSetCameraTimeStampType(h, -1); }},
        {"video width 0", [](void* const& h) { return zetaSetVideoWidthHeight(h, 0, 10); }},
        {"video height 4097", [](void* const& h) { return zetaSetVideoWidthHeight(h, 10, 4097); }},
        {"span 5", [](void* const& h) { return zetaSetMonoColorSpan(h, 5); }},
        {"span -1", [](void* const& h) { return zetaSetMonoColorSpan(h, -1); }},
        {"strobe camera 16", [](void* const& h) { return zetaSetStrobeLightingTime(h, 16, 10); }},
        {"strobe camera -1", [](void* const& h) { return zetaSetStrobeLightingTime(h, -1, 10); }},
        {"strobe time 10001",
         [](void* const& h) { return zetaSetStrobeLightingTime(h, 0, 10001); }},
        {"image type 255",
         [](void* const& h) {
             const unsigned char type = 255;
             return zetaE7StartWriteImage(h, type);
         }},
    };
    const BoardState before = boardState();
    for (const auto& refusal : refusals) {
        clearJournal();
        EXPECT_FALSE(refusal.call(board)) << refusal.name;
        const auto records = journal();
        ASSERT_EQ(records.size(), 1u) << refusal.name;
        EXPECT_FALSE(records[0].ok) << refusal.name;
    }
    // Nothing changed.
    const BoardState after = boardState();
    EXPECT_EQ(after.projection, before.projection);
    EXPECT_EQ(after.brightness, before.brightness);
    EXPECT_EQ(after.e7Brightness, before.e7Brightness);
    EXPECT_EQ(after.scanType, -1);
    EXPECT_EQ(after.e7Mode, -1);
    EXPECT_EQ(after.routes[0].periodMs, 10);
    EXPECT_EQ(after.routes[0].pulseWidthMs, 1);
    EXPECT_FALSE(after.routes[0].videoTrigger);
    EXPECT_EQ(after.stripeFirst, before.stripeFirst);
    EXPECT_EQ(after.specklePeriodMs, before.specklePeriodMs);
    EXPECT_EQ(after.speckLaserFrames, before.speckLaserFrames);
    EXPECT_EQ(after.colorSegregationCount, before.colorSegregationCount);
    EXPECT_EQ(after.colorDelayUs, before.colorDelayUs);
    EXPECT_EQ(after.timeStampType, 0);
    EXPECT_EQ(after.videoWidth, 0);
    EXPECT_EQ(after.monoColorSpan, 0);
    EXPECT_EQ(after.routes[0].pulses + after.routes[1].pulses, 0u);
}

TEST(BoardBadInput, AScanWithoutAPeriodIsRefused) {
    useRig(boardRig());
    OpenBoard board;
    ASSERT_TRUE(zetaSetStripeScanParameter(board, 0, 0));
    for (int type : {0, 8, 9}) {
        const auto scan = static_cast<SCANTYPE>(type);
        EXPECT_FALSE(zetaScan(board, scan)) << type;
    }
    EXPECT_FALSE(zetaE7StartScanMode(board, 32, 0));
    EXPECT_FALSE(zetaE7StartScanMode(board, 33, 0));
    ASSERT_TRUE(zetaSetVideoTriggerPeriod(board, TRIGGER_ROUTE_MONO, 0));
    EXPECT_FALSE(zetaE7StartScanMode(board, 6, 0));
    EXPECT_FALSE(boardState().scanRunning);
    EXPECT_EQ(boardState().scanType, -1);
    EXPECT_EQ(boardState().e7Mode, -1);
}

}  // namespace
}  // namespace zeta::sim::test
