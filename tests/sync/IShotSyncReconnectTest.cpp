// Reconnection on request (ReConnectDeviceEx / ReConnectDevice) and the automatic-reconnection
// settings: the board reopened on its stored path, the restored trigger, strobe, time-stamp and
// projection state, the restart report command, the retries, and the watched events of
// EnableAutoReconnect with the supervision step switched off.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "IShotSyncA_Probe.h"
#include "LibraryTestSupport.h"
#include "SimTestSupport.h"
#include "zetaVoroSim/SimControl.h"

namespace {

using namespace std::chrono_literals;
using zeta::sim::test::lastRecordOf;
using zeta::sim::test::recordsOf;
using zeta::sim::test::waitUntil;
using zeta::sync::test::boardCalls;
using zeta::test::LogCapture;

// Records the scan-parameter lists and the trigger settings the reconnection hands back to the
// mode.
class ScanParameterSync : public CSyncProbe {
public:
    int SetScanParameter(const std::vector<int>& parameters) override {
        handed.push_back(parameters);
        return CSyncProbe::SetScanParameter(parameters);
    }
    int SetTriggerPulseWidth(const int& route, const int& width) override {
        widths.emplace_back(route, width);
        return CSyncProbe::SetTriggerPulseWidth(route, width);
    }
    int SetVideoTriggerPeriod(const int& route, const int& period) override {
        periods.emplace_back(route, period);
        return CSyncProbe::SetVideoTriggerPeriod(route, period);
    }
    std::vector<std::vector<int>> handed;
    std::vector<std::pair<int, int>> widths;
    std::vector<std::pair<int, int>> periods;
};

class IShotSyncReconnectTest : public ::testing::Test {
protected:
    void SetUp() override {
        zeta::sim::test::useRig(zeta::sim::defaultRigText());
        ASSERT_EQ(sync_.InitProjector("sim:board0"), 0);
        zeta::sim::clearJournal();
    }
    void TearDown() override { zeta::sim::clearFailures(); }

    ScanParameterSync sync_;
};

TEST_F(IShotSyncReconnectTest, ABoardThatCannotBeReopenedGives1WithoutTheReportCommand) {
    ASSERT_TRUE(zeta::sim::unplug("board"));
    LogCapture log;
    zeta::test::ConsoleCapture console;
    EXPECT_EQ(sync_.ReConnectDeviceEx(), 1);
    const std::string printed = console.text();
    EXPECT_FALSE(sync_.m_bReconnecting);
    EXPECT_EQ(sync_.m_hProjector, nullptr);
    EXPECT_TRUE(recordsOf("zetaSendReportCmd").empty());
    EXPECT_EQ(recordsOf("zetaInitHidDev").size(), 1u);
    EXPECT_EQ(sync_.strobeByTriggerCalls, 0);
    EXPECT_TRUE(log.contains("Start Reconnect Device Function"));
    EXPECT_TRUE(log.contains("Init Projector First time failed"));
    EXPECT_EQ(log.count("ReConnectDeviceEx ret=1"), 1);
    EXPECT_FALSE(log.contains("Start Send Restart Report Command to Device"));
    EXPECT_NE(printed.find("Start Reconnect Device Function"), std::string::npos);
    EXPECT_NE(printed.find("Init Projector First time failed"), std::string::npos);

    // An object whose board never opened has no path to reopen.
    CSyncProbe never;
    EXPECT_EQ(never.ReConnectDeviceEx(), 1);
}

TEST_F(IShotSyncReconnectTest, TheBoardIsReopenedAndTheLastTriggerRouteRestarted) {
    ASSERT_EQ(sync_.EnableContinueTrigger(1, true), 0);
    ASSERT_EQ(sync_.EnableContinueTrigger(2, false), 0);
    zeta::sim::clearJournal();
    LogCapture log;

    EXPECT_EQ(sync_.ReConnectDeviceEx(), 0);

    EXPECT_EQ(boardCalls(),
              (std::vector<std::string>{"zetaExitHidDev []", R"(zetaInitHidDev ["sim:board0"])",
                                        "zetaResetCameraTimeStamp [-1]",
                                        "zetaStartOrStopVideoTrigger [1,true]"}));
    EXPECT_NE(sync_.m_hProjector, nullptr);
    EXPECT_EQ(zeta::sim::boardState().openHandles, 1);
    EXPECT_TRUE(zeta::sim::boardState().routes[1].videoTrigger);
    // The strobe is first released from the trigger on its route.
    EXPECT_EQ(sync_.strobeByTriggerCalls, 1);
    EXPECT_FALSE(sync_.m_bStrobeByTrigger);
    EXPECT_FALSE(sync_.m_bReconnecting);
    EXPECT_TRUE(sync_.handed.empty());

    const auto messages = log.messages();
    int at = -1;
    for (const char* step :
         {"Start Reconnect Device Function", "Init Projector First time success",
          "m_strobeControlRoute=0", "SetStrobeControlByTrigger success", "Restart camera success",
          "ResetCameraTimeStamp success", "ReConnectDeviceEx ret=0", "ReConnectDeviceEx ret=0"}) {
        const int next = zeta::sync::test::indexOfExact(messages, step, at + 1);
        EXPECT_GT(next, at) << step;
        at = next;
    }
}

TEST_F(IShotSyncReconnectTest, DirtyTriggerSettingsAreSentAgainPerRoute) {
    sync_.m_triggerWidth[0] = 3;
    sync_.m_triggerWidth[1] = 4;
    sync_.m_triggerVideoPeriod[0] = 20;
    sync_.m_triggerVideoPeriod[1] = -1;
    LogCapture log;
    EXPECT_EQ(sync_.ReConnectDevice(), 0);
    EXPECT_TRUE(sync_.widths.empty());
    EXPECT_TRUE(sync_.periods.empty());
    EXPECT_EQ(log.count("m_triggerWidth[i]=3m_bTriggerWidthDirty=0"), 1);
    EXPECT_EQ(log.count("m_triggerWidth[i]=4m_bTriggerWidthDirty=0"), 1);
    EXPECT_EQ(log.count("m_triggerVideoPeriod[i]=20m_bVideoPeriodDirty=0"), 1);
    EXPECT_EQ(log.count("m_triggerVideoPeriod[i]="), 1);

    sync_.m_bTriggerWidthDirty = true;
    sync_.m_bVideoPeriodDirty = true;
    EXPECT_EQ(sync_.ReConnectDevice(), 0);
    EXPECT_EQ(sync_.widths, (std::vector<std::pair<int, int>>{{0, 3}, {1, 4}}));
    // The colour period is negative: not sent.
    EXPECT_EQ(sync_.periods, (std::vector<std::pair<int, int>>{{0, 20}}));
}

TEST_F(IShotSyncReconnectTest, StoredScanParametersAreHandedToTheModeAgain) {
    sync_.m_scanParameters = {100, 15};
    EXPECT_EQ(sync_.ReConnectDevice(), 0);
    ASSERT_EQ(sync_.handed.size(), 1u);
    EXPECT_EQ(sync_.handed[0], (std::vector<int>{100, 15}));
}

TEST_F(IShotSyncReconnectTest, AStrobeFollowingTheTriggerIsRestoredWithTheTrigger) {
    sync_.SetStrobeControlByTrigger(1, true);
    ASSERT_EQ(sync_.EnableContinueTrigger(0, true), 0);
    sync_.strobeByTriggerCalls = 0;
    EXPECT_EQ(sync_.ReConnectDevice(), 0);
    // Off while reconnecting, on again at the end.
    EXPECT_EQ(sync_.strobeByTriggerCalls, 2);
    EXPECT_TRUE(sync_.m_bStrobeByTrigger);
    EXPECT_EQ(sync_.m_strobeControlRoute, 1);
    EXPECT_EQ(lastRecordOf("zetaStartOrStopVideoTrigger").args, "[0,true]");
}

TEST_F(IShotSyncReconnectTest, AScanningModeOtherThanStripeKeepsItsTriggers) {
    sync_.m_bScanning = true;
    sync_.m_syncType = 3;
    sync_.SetStrobeControlByTrigger(0, true);
    sync_.strobeByTriggerCalls = 0;
    EXPECT_EQ(sync_.ReConnectDevice(), 0);
    EXPECT_TRUE(recordsOf("zetaStartOrStopVideoTrigger").empty());
    EXPECT_EQ(sync_.strobeByTriggerCalls, 1);

    sync_.m_syncType = 1;
    zeta::sim::clearJournal();
    EXPECT_EQ(sync_.ReConnectDevice(), 0);
    EXPECT_EQ(recordsOf("zetaStartOrStopVideoTrigger").size(), 1u);
}

TEST_F(IShotSyncReconnectTest, TheProjectionIsRestoredFromTheLastStatusValue) {
    struct Case {
        int status;
        int device;  // PROJECTTYPE sent, -1 none
    };
    const Case cases[] = {{1, 3},  {2, 1}, {3, 2},  {4, 5},   {5, 7},   {6, 8},   {7, 9},
                          {8, 10}, {9, 4}, {20, 6}, {24, 12}, {16, -1}, {25, -1}, {0, -1}};
    for (const Case& c : cases) {
        zeta::sim::clearJournal();
        sync_.m_projectorStatus = c.status;
        EXPECT_EQ(sync_.ReConnectDevice(), 0) << c.status;
        const auto projections = recordsOf("zetaProject");
        if (c.device < 0) {
            EXPECT_TRUE(projections.empty()) << c.status;
        } else {
            ASSERT_EQ(projections.size(), 1u) << c.status;
            EXPECT_EQ(projections[0].args, "[" + std::to_string(c.device) + "]") << c.status;
        }
    }
    EXPECT_TRUE(sync_.scanCalls.empty());

    // A failed projection is the result.
    sync_.m_projectorStatus = 2;
    zeta::sim::failNext("board", "zetaProject", 1);
    EXPECT_EQ(sync_.ReConnectDevice(), 3);
}

TEST_F(IShotSyncReconnectTest, AScanThatWasRunningIsStartedOrStoppedAgain) {
    struct Case {
        int status;
        int scanState;
        std::vector<bool> scans;
    };
    const Case cases[] = {{0, 1, {true}},   {0, 2, {}},      {3, 1, {true}},  {3, 2, {}},
                          {12, 2, {false}}, {12, 0, {true}}, {23, 1, {true}}, {10, 2, {false}},
                          {16, 1, {}},      {30, 1, {}}};
    for (const Case& c : cases) {
        sync_.scanCalls.clear();
        sync_.m_projectorStatus = c.status;
        sync_.m_lastScanOperation = c.scanState;
        EXPECT_EQ(sync_.ReConnectDevice(), 0) << c.status << "/" << c.scanState;
        EXPECT_EQ(sync_.scanCalls, c.scans) << c.status << "/" << c.scanState;
        // A scan call that succeeded forgets the remembered operation.
        EXPECT_EQ(sync_.m_lastScanOperation, c.scans.empty() ? c.scanState : 0);
    }

    // A failed scan call is the result and the operation stays remembered.
    sync_.scanResult = 4;
    sync_.m_projectorStatus = 0;
    sync_.m_lastScanOperation = 1;
    EXPECT_EQ(sync_.ReConnectDevice(), 4);
    EXPECT_EQ(sync_.m_lastScanOperation, 1);
}

TEST_F(IShotSyncReconnectTest, AfterARestartedScanTheStrobeAndItsTriggerFollowAgain) {
    sync_.SetStrobeControlByTrigger(1, true);
    sync_.strobeByTriggerCalls = 0;
    sync_.m_projectorStatus = 0;
    sync_.m_lastScanOperation = 1;
    EXPECT_EQ(sync_.ReConnectDevice(), 0);
    EXPECT_EQ(sync_.scanCalls, std::vector<bool>{true});
    // Off, on after the scan with its trigger route, on again with the (now) last route.
    EXPECT_EQ(sync_.strobeByTriggerCalls, 3);
    EXPECT_EQ(sync_.m_triggerLineOrder, 1);
    const auto triggers = recordsOf("zetaStartOrStopVideoTrigger");
    ASSERT_EQ(triggers.size(), 2u);
    EXPECT_EQ(triggers[0].args, "[1,true]");
    EXPECT_EQ(triggers[1].args, "[1,true]");
}

TEST_F(IShotSyncReconnectTest, AFailedTimeStampResetGives5AndIsRetriedTwice) {
    zeta::sim::failNext("board", "zetaResetCameraTimeStamp", -1);
    LogCapture log;
    EXPECT_EQ(sync_.ReConnectDeviceEx(), 5);
    EXPECT_EQ(recordsOf("zetaInitHidDev").size(), 3u);
    EXPECT_EQ(recordsOf("zetaResetCameraTimeStamp").size(), 3u);
    EXPECT_EQ(log.count("ResetCameraTimeStamp failed"), 3);
    EXPECT_EQ(log.count("ReConnectDevice ret=5"), 2);
    EXPECT_TRUE(recordsOf("zetaSendReportCmd").empty());
    EXPECT_FALSE(sync_.m_bReconnecting);

    // One failure only: the first retry succeeds.
    zeta::sim::clearFailures();
    zeta::sim::failNext("board", "zetaResetCameraTimeStamp", 1);
    zeta::sim::clearJournal();
    EXPECT_EQ(sync_.ReConnectDeviceEx(), 0);
    EXPECT_EQ(recordsOf("zetaInitHidDev").size(), 2u);
}

TEST_F(IShotSyncReconnectTest, ReconnectingReArmsTheFirstTextureExposureAndGain) {
    CSyncProbe::m_firstSetTextureExposure = false;
    CSyncProbe::m_firstSetTextureGain = false;
    EXPECT_EQ(sync_.ReConnectDeviceEx(), 0);
    EXPECT_TRUE(CSyncProbe::m_firstSetTextureExposure);
    EXPECT_TRUE(CSyncProbe::m_firstSetTextureGain);
}

// The board restarts after the report command; the reconnection waits 6 s for it.
TEST_F(IShotSyncReconnectTest, AFailedStrobeSendsTheRestartReportCommandAndTriesAgain) {
    sync_.strobeByTriggerResult = 3;
    LogCapture log;
    zeta::test::ConsoleCapture console;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(sync_.ReConnectDeviceEx(), 3);
    const auto elapsed = std::chrono::steady_clock::now() - start;
    const std::string printed = console.text();

    EXPECT_GE(elapsed, 6000ms);
    const auto reports = recordsOf("zetaSendReportCmd", "board");
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_EQ(reports[0].args, "[2,2]");
    EXPECT_EQ(zeta::sim::sentCommands(true).back(), (std::vector<std::uint8_t>{2, 0xBB}));
    EXPECT_EQ(recordsOf("zetaInitHidDev").size(), 2u);
    EXPECT_EQ(sync_.strobeByTriggerCalls, 2);
    // Neither attempt got as far as the time stamps.
    EXPECT_TRUE(recordsOf("zetaResetCameraTimeStamp").empty());
    EXPECT_FALSE(sync_.m_bReconnecting);

    const auto messages = log.messages();
    int at = -1;
    for (const char* step :
         {"SetStrobeControlByTrigger failed.", "ReConnectDeviceEx ret=3",
          "Start Send Restart Report Command to Device", "IShotSync Send Report Command:2 187",
          "Send Restart Report Command to Device", "SetStrobeControlByTrigger failed.",
          "1ReConnectDevice ret=3", "ReConnectDeviceEx ret=3"}) {
        const int next = zeta::sync::test::indexOfExact(messages, step, at + 1);
        EXPECT_GT(next, at) << step;
        at = next;
    }
    EXPECT_NE(printed.find("Start Send Restart Report Command to Device"), std::string::npos);
    EXPECT_NE(printed.find("End Reconnect Device Second time, ret = 3\n"), std::string::npos);
}

TEST_F(IShotSyncReconnectTest, CloseDeviceCameraWithoutCamerasDoesNothing) {
    LogCapture log;
    EXPECT_EQ(sync_.CloseDeviceCamera(), 0);
    EXPECT_FALSE(log.contains("ReleaseCamera success"));
    EXPECT_TRUE(zeta::sim::journal().empty());
}

// ---- EnableAutoReconnect and the switched-off watchdog ------------------------------------------

TEST(IShotSyncAutoReconnectTest, TheProjectorEventIsWatchedFirst) {
    zeta::sim::test::useRig(zeta::sim::defaultRigText());
    CSyncProbe sync;
    EXPECT_EQ(sync.EnableAutoReconnect(true, true, {}), 0);
    EXPECT_TRUE(sync.m_bAutoReconnect);
    EXPECT_EQ(sync.m_waitHandleCount, 1);
    EXPECT_EQ(sync.m_waitHandles[0], sync.m_hWatchdogEvent.get());

    EXPECT_EQ(sync.EnableAutoReconnect(false, false, {true, true}), 0);
    EXPECT_FALSE(sync.m_bAutoReconnect);
    EXPECT_EQ(sync.m_waitHandleCount, 0);
}

TEST(IShotSyncAutoReconnectTest, CameraEventsAreWatchedOnlyWhereTheListAndTheEventsReach) {
    zeta::sim::test::useRig(zeta::sim::defaultRigText());
    CSyncProbe sync;
    for (int i = 0; i < 3; ++i) {
        sync.m_cameraEvents.push_back(std::make_unique<zeta::platform::Event>(true, false));
    }
    EXPECT_EQ(sync.EnableAutoReconnect(true, false, {true, false, true, true, true}), 0);
    ASSERT_EQ(sync.m_waitHandleCount, 2);
    EXPECT_EQ(sync.m_waitHandles[0], sync.m_cameraEvents[0].get());
    EXPECT_EQ(sync.m_waitHandles[1], sync.m_cameraEvents[2].get());

    EXPECT_EQ(sync.EnableAutoReconnect(true, true, {false, true}), 0);
    ASSERT_EQ(sync.m_waitHandleCount, 2);
    EXPECT_EQ(sync.m_waitHandles[0], sync.m_hWatchdogEvent.get());
    EXPECT_EQ(sync.m_waitHandles[1], sync.m_cameraEvents[1].get());
}

TEST(IShotSyncAutoReconnectTest, MoreCamerasThanWatchedEntriesStopAtTheCapacity) {
    zeta::sim::test::useRig(zeta::sim::defaultRigText());
    CSyncProbe sync;
    for (int i = 0; i < 12; ++i) {
        sync.m_cameraEvents.push_back(std::make_unique<zeta::platform::Event>(true, false));
    }
    EXPECT_EQ(sync.EnableAutoReconnect(true, true, std::vector<bool>(12, true)), 0);
    ASSERT_EQ(sync.m_waitHandleCount, IShotSync::kMaxWaitHandles);
    std::set<zeta::platform::Event*> distinct(sync.m_waitHandles.begin(), sync.m_waitHandles.end());
    EXPECT_EQ(distinct.size(), static_cast<std::size_t>(IShotSync::kMaxWaitHandles));
    EXPECT_EQ(sync.m_waitHandles[0], sync.m_hWatchdogEvent.get());
    for (int i = 1; i < IShotSync::kMaxWaitHandles; ++i) {
        EXPECT_EQ(sync.m_waitHandles[i], sync.m_cameraEvents[i - 1].get()) << i;
    }
}

TEST(IShotSyncAutoReconnectTest, TheWatchdogNeverReconnectsWhileItsSupervisionIsOff) {
    zeta::sim::test::useRig(zeta::sim::defaultRigText());
    CSyncProbe sync;
    ASSERT_EQ(sync.InitProjector("sim:board0"), 0);
    ASSERT_EQ(sync.EnableAutoReconnect(true, true, {}), 0);
    ASSERT_TRUE(zeta::sim::unplug("board"));
    zeta::sim::clearJournal();
    LogCapture log;
    // Several watchdog cycles pass without a reconnection or a device call.
    EXPECT_FALSE(waitUntil([] { return !zeta::sim::journal().empty(); }, 1200ms));
    EXPECT_FALSE(log.contains("Start Reconnect Device Function"));
    EXPECT_TRUE(sync.m_hWatchdogThread->joinable());
    EXPECT_TRUE(sync.m_bDeviceReady);
    ASSERT_TRUE(zeta::sim::replug("board"));
}

}  // namespace
