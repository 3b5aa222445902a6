// The board slots of the IShotSync base against the virtual board: 2 without a board, 3 (or the
// slot's own failure value) when the device call fails, the arguments each slot hands on, the two
// pattern translations, trigger routes, saved video triggers, raw commands and the status word.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "IShotSyncA_Probe.h"
#include "LibraryTestSupport.h"
#include "SimTestSupport.h"
#include "zetaVoroSim/SimControl.h"

namespace {

using zeta::sim::test::lastRecordOf;
using zeta::sim::test::recordsOf;
using zeta::sync::test::boardCalls;
using zeta::test::LogCapture;

class IShotSyncBoardTest : public ::testing::Test {
protected:
    void SetUp() override {
        zeta::sim::test::useRig(zeta::sim::defaultRigText());
        ASSERT_EQ(sync_.InitProjector("sim:board0"), 0);
        zeta::sim::clearJournal();
    }
    void TearDown() override { zeta::sim::clearFailures(); }

    CSyncProbe sync_;
};

// Every board slot whose failures read 2 (no board) / 3 (device call failed), with the board
// operation it calls.
std::vector<std::pair<std::string, std::function<int(IShotSync&)>>> boardSlots() {
    return {
        {"zetaSetProjectorBrightnessPercent",
         [](IShotSync& s) { return s.SetProjectorBrightness(50); }},
        {"zetaQueryProjectorBrightnessPercent",
         [](IShotSync& s) {
             int percent = -1;
             return s.GetProjectorBrightness(percent);
         }},
        {"zetaStartOrStopVideoTrigger",
         [](IShotSync& s) { return s.EnableContinueTrigger(0, true); }},
        {"zetaOutputSingleTrigger", [](IShotSync& s) { return s.PushSingleTrigger(0); }},
        {"zetaProject", [](IShotSync& s) { return s.Project(3); }},
        {"zetaSetDistanceIndicate", [](IShotSync& s) { return s.SetDistanceIndicate(1); }},
        {"zetaOpenOrCloseZoomFunction", [](IShotSync& s) { return s.EnableZoomFunction(true); }},
        {"zetaResetColorRoute",
         [](IShotSync& s) { return static_cast<CSyncProbe&>(s).ResetColorRoute(); }},
        {"zetaEnterFixScanFastMode", [](IShotSync& s) { return s.EnterFixScanFastMode(); }},
        {"zetaEnterFixScanFreeProjectMode",
         [](IShotSync& s) { return s.EnterFixScanFreeProjectMode(); }},
    };
}

TEST(IShotSyncBoardSlotsWithoutBoardTest, EveryBoardSlotReturns2AndSendsNothing) {
    zeta::sim::test::useRig(zeta::sim::defaultRigText());
    CSyncProbe sync;
    for (auto& [op, slot] : boardSlots()) EXPECT_EQ(slot(sync), 2) << op;
    EXPECT_FALSE(sync.ResetCameraTimeStamp(-1));
    std::string version = "untouched";
    EXPECT_FALSE(sync.GetFirewareVersion(version));
    EXPECT_EQ(version, "untouched");
    EXPECT_EQ(sync.ResetVideoWidthHeight(1280, 1024), 2);
    EXPECT_EQ(sync.SetMonoColorSpan(1), 2);
    EXPECT_EQ(sync.SetStrobeLightingTime(0, 100), 2);
    sync.SaveOrRestoreVideoTrigger(true);
    EXPECT_EQ(sync.m_savedVideoTrigger[0], -1);
    EXPECT_EQ(sync.m_savedVideoTrigger[1], -1);
    sync.m_savedVideoTrigger[0] = 1;
    sync.SaveOrRestoreVideoTrigger(false);
    EXPECT_EQ(sync.m_savedVideoTrigger[0], 1);
    unsigned long first = 9, second = 9, high = 9, low = 9;
    bool flag = true;
    EXPECT_EQ(sync.QueryCurrentStatus(first, second, high, low, flag), 2);
    EXPECT_EQ(first + second + high + low, 0u);
    EXPECT_FALSE(flag);
    EXPECT_TRUE(zeta::sim::journal().empty());
}

TEST_F(IShotSyncBoardTest, AFailingDeviceCallGives3) {
    for (auto& [op, slot] : boardSlots()) {
        zeta::sim::failNext("board", op, 1);
        EXPECT_EQ(slot(sync_), 3) << op;
        EXPECT_FALSE(lastRecordOf(op).ok) << op;
        EXPECT_EQ(slot(sync_), 0) << op;
    }
}

TEST_F(IShotSyncBoardTest, SlotsWithABoolOrTheirOwnFailureValueReportDeviceFailures) {
    zeta::sim::failNext("board", "zetaResetCameraTimeStamp", 1);
    EXPECT_FALSE(sync_.ResetCameraTimeStamp(-1));
    zeta::sim::failNext("board", "zetaQueryProjectorFirewareVersion", 1);
    std::string version;
    EXPECT_FALSE(sync_.GetFirewareVersion(version));
    zeta::sim::failNext("board", "zetaSetVideoWidthHeight", 1);
    EXPECT_EQ(sync_.ResetVideoWidthHeight(640, 512), 2);
    zeta::sim::failNext("board", "zetaSetMonoColorSpan", 1);
    EXPECT_EQ(sync_.SetMonoColorSpan(2), 2);
    zeta::sim::failNext("board", "zetaSetStrobeLightingTime", 1);
    EXPECT_EQ(sync_.SetStrobeLightingTime(1, 200), 2);
    EXPECT_EQ(recordsOf("zetaSetVideoWidthHeight").size(), 1u);
}

TEST_F(IShotSyncBoardTest, BrightnessIsSetAndReadAsAPercentage) {
    EXPECT_EQ(sync_.SetProjectorBrightness(40), 0);
    EXPECT_EQ(lastRecordOf("zetaSetProjectorBrightnessPercent").args, "[40]");
    int percent = -1;
    EXPECT_EQ(sync_.GetProjectorBrightness(percent), 0);
    EXPECT_EQ(percent, 40);
    EXPECT_EQ(zeta::sim::boardState().brightness, 40);
}

TEST_F(IShotSyncBoardTest, ProjectTranslatesPatternCodesIntoDevicePatterns) {
    const int expected[13] = {0, 3, 4, 1, 2, 5, 12, 6, 10, 7, 8, 9, 13};
    for (int code = 0; code <= 12; ++code) {
        EXPECT_EQ(sync_.Project(code), 0) << code;
        EXPECT_EQ(lastRecordOf("zetaProject").args, "[" + std::to_string(expected[code]) + "]")
            << code;
        EXPECT_EQ(zeta::sim::boardState().projection, expected[code]);
    }
    zeta::sim::clearJournal();
    EXPECT_EQ(sync_.Project(13), 1);
    EXPECT_EQ(sync_.Project(-1), 1);
    EXPECT_TRUE(zeta::sim::journal().empty());
}

TEST_F(IShotSyncBoardTest, DistanceIndicatorKeeps1To3AndTurnsEverythingElseOff) {
    const std::vector<std::pair<int, int>> cases = {{1, 1}, {2, 2}, {3, 3},
                                                    {0, 0}, {4, 0}, {-1, 0}};
    for (auto [state, sent] : cases) {
        EXPECT_EQ(sync_.SetDistanceIndicate(state), 0);
        EXPECT_EQ(lastRecordOf("zetaSetDistanceIndicate").args, "[" + std::to_string(sent) + "]")
            << state;
    }
}

TEST_F(IShotSyncBoardTest, EnableContinueTriggerKeepsRoutes0And1AndSendsOthersToBoth) {
    LogCapture log;
    EXPECT_EQ(sync_.EnableContinueTrigger(1, true), 0);
    EXPECT_EQ(sync_.m_triggerLineOrder, 1);
    EXPECT_FALSE(sync_.m_bColorTrigleCopyFromMono);
    EXPECT_EQ(sync_.EnableContinueTrigger(5, true), 0);
    EXPECT_EQ(sync_.m_triggerLineOrder, 2);
    EXPECT_TRUE(sync_.m_bColorTrigleCopyFromMono);
    EXPECT_TRUE(zeta::sim::boardState().routes[0].videoTrigger);
    EXPECT_TRUE(zeta::sim::boardState().routes[1].videoTrigger);
    // Stopping keeps the last enabled route and ends the copy.
    EXPECT_EQ(sync_.EnableContinueTrigger(0, false), 0);
    EXPECT_EQ(sync_.m_triggerLineOrder, 2);
    EXPECT_FALSE(sync_.m_bColorTrigleCopyFromMono);
    EXPECT_FALSE(zeta::sim::boardState().routes[0].videoTrigger);
    EXPECT_TRUE(zeta::sim::boardState().routes[1].videoTrigger);

    EXPECT_EQ(boardCalls(), (std::vector<std::string>{"zetaStartOrStopVideoTrigger [1,true]",
                                                      "zetaStartOrStopVideoTrigger [2,true]",
                                                      "zetaStartOrStopVideoTrigger [0,false]"}));
    EXPECT_EQ(log.count("EnableContinueTrigger tmpLineOrder=2 bEnable=1"), 1);
    EXPECT_EQ(log.count("EnableContinueTrigger tmpLineOrder=0 bEnable=0"), 1);

    // A failed call changes neither the route nor the copy flag.
    zeta::sim::failNext("board", "zetaStartOrStopVideoTrigger", 1);
    EXPECT_EQ(sync_.EnableContinueTrigger(1, true), 3);
    EXPECT_EQ(sync_.m_triggerLineOrder, 2);
}

TEST_F(IShotSyncBoardTest, PushSingleTriggerSendsOnePulseOnTheRoute) {
    const auto before = zeta::sim::boardState();
    EXPECT_EQ(sync_.PushSingleTrigger(1), 0);
    EXPECT_EQ(sync_.PushSingleTrigger(7), 0);
    EXPECT_EQ(boardCalls(), (std::vector<std::string>{"zetaOutputSingleTrigger [1]",
                                                      "zetaOutputSingleTrigger [2]"}));
    const auto after = zeta::sim::boardState();
    EXPECT_EQ(after.routes[0].pulses, before.routes[0].pulses + 1);
    EXPECT_EQ(after.routes[1].pulses, before.routes[1].pulses + 2);
}

TEST_F(IShotSyncBoardTest, ZoomFixScanModesAndColourRouteReachTheBoard) {
    EXPECT_EQ(sync_.EnableZoomFunction(true), 0);
    EXPECT_TRUE(zeta::sim::boardState().zoom);
    EXPECT_EQ(sync_.EnterFixScanFastMode(), 0);
    EXPECT_TRUE(zeta::sim::boardState().fixScanFastMode);
    EXPECT_EQ(sync_.EnterFixScanFreeProjectMode(), 0);
    EXPECT_TRUE(zeta::sim::boardState().fixScanFreeProjectMode);
    EXPECT_EQ(sync_.ResetColorRoute(), 0);
    EXPECT_EQ(zeta::sim::boardState().colorRouteResets, 1);
    EXPECT_EQ(boardCalls(), (std::vector<std::string>{
                                "zetaOpenOrCloseZoomFunction [true]", "zetaEnterFixScanFastMode []",
                                "zetaEnterFixScanFreeProjectMode []", "zetaResetColorRoute []"}));
}

TEST_F(IShotSyncBoardTest, BaseDefaultsOfTheModeSlotsTouchNoDevice) {
    EXPECT_EQ(sync_.EnableIRProjectorAndLaser(true, true), 1);
    EXPECT_EQ(sync_.ResetColorModule(), 1);
    EXPECT_EQ(sync_.ResetBuffer(), 0);
    EXPECT_EQ(sync_.SetScanParameter({100, 15}), 0);
    EXPECT_EQ(sync_.m_scanParameters, (std::vector<int>{100, 15}));
    EXPECT_EQ(sync_.IShotSync::Scan(true, 3), 0);
    EXPECT_EQ(sync_.stopSequenceScan(), 0);
    EXPECT_EQ(sync_.SpeckleOrLaser(true), 4);
    EXPECT_EQ(sync_.SetLastScanOperation(2), 0);
    EXPECT_EQ(sync_.m_lastScanOperation, 2);
    EXPECT_EQ(sync_.startSequenceScan(6), 0);
    EXPECT_TRUE(zeta::sim::journal().empty());
}

TEST_F(IShotSyncBoardTest, TimeStampsResetOnTheBoardAndTheTypeIsKeptForTheCameras) {
    EXPECT_TRUE(sync_.ResetCameraTimeStamp(-1));
    EXPECT_EQ(lastRecordOf("zetaResetCameraTimeStamp").args, "[-1]");
    EXPECT_TRUE(sync_.ResetCameraTimeStamp(1));
    EXPECT_EQ(lastRecordOf("zetaResetCameraTimeStamp").args, "[1]");

    // Without a camera thread the type is kept but reaches nobody.
    EXPECT_FALSE(sync_.SpecifiedTimeStampType(1));
    EXPECT_EQ(sync_.m_timeStampType, 1);
    EXPECT_FALSE(sync_.SpecifiedTimeStampType(7));
    EXPECT_EQ(sync_.m_timeStampType, 0);
    EXPECT_EQ(recordsOf("zetaSetCameraTimeStampType").size(), 0u);
}

TEST_F(IShotSyncBoardTest, FirmwareVersionIsTheBoardsString) {
    std::string version;
    EXPECT_TRUE(sync_.GetFirewareVersion(version));
    EXPECT_EQ(version, "EP-E7 V12");

    zeta::sim::test::useRig(zeta::sim::test::rigWithCameras({}, R"("firmware": "X-42")"));
    CSyncProbe other;
    ASSERT_EQ(other.InitProjector("sim:board0"), 0);
    EXPECT_TRUE(other.GetFirewareVersion(version));
    EXPECT_EQ(version, "X-42");
}

TEST_F(IShotSyncBoardTest, VideoSizeSpanAndStrobeTimeReachTheBoard) {
    EXPECT_EQ(sync_.ResetVideoWidthHeight(1280, 1024), 0);
    EXPECT_EQ(sync_.SetMonoColorSpan(4), 0);
    EXPECT_EQ(sync_.SetStrobeLightingTime(3, 10000), 0);
    EXPECT_EQ(boardCalls(), (std::vector<std::string>{"zetaSetVideoWidthHeight [1280,1024]",
                                                      "zetaSetMonoColorSpan [4]",
                                                      "zetaSetStrobeLightingTime [3,10000]"}));
    const auto state = zeta::sim::boardState();
    EXPECT_EQ(state.videoWidth, 1280);
    EXPECT_EQ(state.videoHeight, 1024);
    EXPECT_EQ(state.monoColorSpan, 4);
    EXPECT_EQ(state.strobeLightingTimeUs[3], 10000);
    // Values the board refuses come back as 2.
    EXPECT_EQ(sync_.SetMonoColorSpan(5), 2);
    EXPECT_EQ(sync_.SetStrobeLightingTime(3, 10001), 2);
}

TEST_F(IShotSyncBoardTest, StatusWordIsSplitIntoItsFields) {
    zeta::sim::setStatus(7, 9, 0x35, true);
    unsigned long first = 0, second = 0, high = 0, low = 0;
    bool flag = false;
    EXPECT_EQ(sync_.QueryCurrentStatus(first, second, high, low, flag), 0);
    EXPECT_EQ(first, 7u);
    EXPECT_EQ(second, 9u);
    EXPECT_EQ(high, 3u);
    EXPECT_EQ(low, 5u);
    EXPECT_TRUE(flag);

    // Error bits (7 and 6): only the two-bit field carries the mark.
    for (unsigned char state : {0xC5, 0x85, 0x45}) {
        zeta::sim::setStatus(7, 9, state, true);
        EXPECT_EQ(sync_.QueryCurrentStatus(first, second, high, low, flag), 0);
        EXPECT_EQ(first, 0u);
        EXPECT_EQ(second, 0u);
        EXPECT_EQ(high, 65535u);
        EXPECT_EQ(low, 0u);
        EXPECT_FALSE(flag);
    }

    zeta::sim::failNext("board", "zetaQueryCurrentStatus", 1);
    first = second = high = low = 5;
    flag = true;
    EXPECT_EQ(sync_.QueryCurrentStatus(first, second, high, low, flag), 2);
    EXPECT_EQ(first + second + high + low, 0u);
    EXPECT_FALSE(flag);
}

TEST_F(IShotSyncBoardTest, RestoringWithNothingSavedSendsNoCommand) {
    sync_.SaveOrRestoreVideoTrigger(false);
    EXPECT_TRUE(zeta::sim::journal().empty());
}

TEST_F(IShotSyncBoardTest, SavedVideoTriggersAreRestoredOnceEach) {
    ASSERT_EQ(sync_.EnableContinueTrigger(0, true), 0);
    zeta::sim::clearJournal();
    sync_.SaveOrRestoreVideoTrigger(true);
    EXPECT_EQ(sync_.m_savedVideoTrigger[0], 1);
    EXPECT_EQ(sync_.m_savedVideoTrigger[1], 0);
    EXPECT_EQ(boardCalls(),
              (std::vector<std::string>{"zetaQueryMonoCameraVideoTriggerParameter []",
                                        "zetaQueryColorCameraVideoTriggerParameter []"}));

    ASSERT_EQ(sync_.EnableContinueTrigger(2, false), 0);
    ASSERT_EQ(sync_.EnableContinueTrigger(1, true), 0);
    zeta::sim::clearJournal();
    sync_.SaveOrRestoreVideoTrigger(false);
    EXPECT_EQ(boardCalls(), (std::vector<std::string>{"zetaStartOrStopVideoTrigger [0,true]",
                                                      "zetaStartOrStopVideoTrigger [1,false]"}));
    EXPECT_TRUE(zeta::sim::boardState().routes[0].videoTrigger);
    EXPECT_FALSE(zeta::sim::boardState().routes[1].videoTrigger);
    EXPECT_EQ(sync_.m_savedVideoTrigger[0], -1);
    EXPECT_EQ(sync_.m_savedVideoTrigger[1], -1);

    zeta::sim::clearJournal();
    sync_.SaveOrRestoreVideoTrigger(false);
    EXPECT_TRUE(zeta::sim::journal().empty());

    // A failed query leaves its entry unsaved.
    zeta::sim::failNext("board", "zetaQueryColorCameraVideoTriggerParameter", 1);
    sync_.SaveOrRestoreVideoTrigger(true);
    EXPECT_EQ(sync_.m_savedVideoTrigger[0], 1);
    EXPECT_EQ(sync_.m_savedVideoTrigger[1], -1);
}

TEST_F(IShotSyncBoardTest, RawCommandsAreLoggedAndForwardedUnchanged) {
    LogCapture log;
    const char customer[4] = {1, 2, 3, 4};
    EXPECT_TRUE(sync_.SendCustomerCommand(customer, 4));
    const char report[16] = {2, static_cast<char>(0xBB)};
    EXPECT_TRUE(sync_.SendReportCommand(report, 3));
    EXPECT_EQ(boardCalls(),
              (std::vector<std::string>{"zetaSendCmdLine [4,4]", "zetaSendReportCmd [3,3]"}));
    EXPECT_EQ(zeta::sim::sentCommands(false).back(), (std::vector<std::uint8_t>{1, 2, 3, 4}));
    EXPECT_EQ(zeta::sim::sentCommands(true).back(), (std::vector<std::uint8_t>{2, 0xBB, 0}));
    EXPECT_EQ(log.messages(), (std::vector<std::string>{"IShotSync Send Customer Command: 1 2 3",
                                                        "IShotSync Send Report Command:2 187 0"}));

    // The device answer comes back as it is.
    zeta::sim::failNext("board", "zetaSendCmdLine", 1);
    EXPECT_FALSE(sync_.SendCustomerCommand(customer, 4));
}

TEST_F(IShotSyncBoardTest, RawCommandsShowOnlyTheBytesTheyHaveAndSkipTheBoardCheck) {
    LogCapture log;
    EXPECT_FALSE(sync_.SendCustomerCommand(nullptr, 3));
    const char one[1] = {9};
    EXPECT_TRUE(sync_.SendReportCommand(one, 1));
    EXPECT_EQ(log.messages(), (std::vector<std::string>{"IShotSync Send Customer Command: ",
                                                        "IShotSync Send Report Command:9"}));
    EXPECT_EQ(lastRecordOf("zetaSendCmdLine").args, "[null,3]");

    // Without a board the command still goes to the device library, which refuses it.
    CSyncProbe unopened;
    zeta::sim::clearJournal();
    EXPECT_FALSE(unopened.SendReportCommand(one, 1));
    const auto records = recordsOf("zetaSendReportCmd", "board");
    ASSERT_EQ(records.size(), 1u);
    EXPECT_FALSE(records[0].ok);
}

}  // namespace
