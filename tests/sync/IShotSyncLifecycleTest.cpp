// IShotSync lifecycle: construction (watchdog running, no device touched), InitProjector,
// ExitProjector, ExitSync (device order, logs, threads) and the destructor's steps.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "IShotSyncA_Probe.h"
#include "LibraryTestSupport.h"
#include "SimTestSupport.h"
#include "zetaVoroSim/SimControl.h"

namespace {

using zeta::sim::test::recordsOf;
using zeta::sync::test::boardCalls;
using zeta::sync::test::indexOfExact;
using zeta::test::LogCapture;

void ignoreStatus(const void* const&, const unsigned long&, const unsigned long&,
                  const unsigned long&, const bool&) {}

void ignoreFrame(const void* const&, const int&, const unsigned char* const&, const int&,
                 const int&, const int&) {}

class IShotSyncLifecycleTest : public ::testing::Test {
protected:
    void SetUp() override { zeta::sim::test::useRig(zeta::sim::defaultRigText()); }
    void TearDown() override { zeta::sim::clearFailures(); }
};

TEST_F(IShotSyncLifecycleTest, ConstructionStartsTheWatchdogAndTouchesNoDevice) {
    CSyncProbe sync;
    ASSERT_NE(sync.m_hWatchdogThread, nullptr);
    EXPECT_TRUE(sync.m_hWatchdogThread->joinable());
    ASSERT_NE(sync.m_hWatchdogEvent, nullptr);
    EXPECT_TRUE(sync.m_hWatchdogEvent->isManualReset());
    EXPECT_FALSE(sync.m_hWatchdogEvent->isSet());
    EXPECT_TRUE(sync.m_bContinueWatchdog);
    EXPECT_EQ(sync.m_hProjector, nullptr);
    EXPECT_EQ(sync.m_hThread, nullptr);
    EXPECT_TRUE(sync.m_cameras.empty());
    EXPECT_TRUE(sync.m_cameraEvents.empty());
    EXPECT_TRUE(sync.m_cameraExposure.empty());
    EXPECT_EQ(sync.m_syncType, 0);
    EXPECT_EQ(sync.GetSyncType(), 0);
    EXPECT_FALSE(sync.m_bScanning);
    EXPECT_FALSE(sync.m_bAutoReconnect);
    EXPECT_TRUE(sync.m_bDeviceReady);
    EXPECT_EQ(sync.m_savedVideoTrigger[0], -1);
    EXPECT_EQ(sync.m_savedVideoTrigger[1], -1);
    EXPECT_EQ(sync.m_lastScanOperation, 0);
    EXPECT_EQ(sync.m_timeStampType, 0);
    EXPECT_TRUE(zeta::sim::journal().empty());
}

TEST_F(IShotSyncLifecycleTest, InitProjectorWithANullPathReturns1AndOpensNothing) {
    LogCapture log;
    CSyncProbe sync;
    const char* const path = nullptr;
    EXPECT_EQ(sync.InitProjector(path), 1);
    EXPECT_EQ(sync.m_hProjector, nullptr);
    EXPECT_TRUE(sync.m_projectorPath.empty());
    EXPECT_TRUE(log.contains("Enter InitProjector In IShotSync"));
    EXPECT_FALSE(log.contains("IShotSync::InitProjector Init Failed"));
    EXPECT_TRUE(recordsOf("zetaInitHidDev").empty());
}

TEST_F(IShotSyncLifecycleTest, InitProjectorOpensTheBoardAndKeepsThePath) {
    CSyncProbe sync;
    EXPECT_EQ(sync.InitProjector("sim:board0"), 0);
    EXPECT_NE(sync.m_hProjector, nullptr);
    EXPECT_EQ(sync.m_projectorPath, "sim:board0");
    const auto opens = recordsOf("zetaInitHidDev", "board");
    ASSERT_EQ(opens.size(), 1u);
    EXPECT_EQ(opens[0].args, R"(["sim:board0"])");
    EXPECT_TRUE(opens[0].ok);
    EXPECT_EQ(zeta::sim::boardState().openHandles, 1);
}

TEST_F(IShotSyncLifecycleTest, InitProjectorOnARefusedPathReturns2AndKeepsTheLastPath) {
    CSyncProbe sync;
    ASSERT_EQ(sync.InitProjector("sim:board0"), 0);
    void* const opened = sync.m_hProjector;
    LogCapture log;
    EXPECT_EQ(sync.InitProjector("sim:elsewhere"), 2);
    EXPECT_TRUE(log.contains("IShotSync::InitProjector Init Failed"));
    EXPECT_EQ(sync.m_projectorPath, "sim:board0");
    EXPECT_EQ(sync.m_hProjector, opened);

    CSyncProbe fresh;
    EXPECT_EQ(fresh.InitProjector("sim:elsewhere"), 2);
    EXPECT_EQ(fresh.m_hProjector, nullptr);
    EXPECT_TRUE(fresh.m_projectorPath.empty());
}

TEST_F(IShotSyncLifecycleTest, ExitProjectorClosesTheBoardOnlyOnce) {
    CSyncProbe sync;
    ASSERT_EQ(sync.InitProjector("sim:board0"), 0);
    zeta::sim::clearJournal();
    LogCapture log;
    EXPECT_EQ(sync.ExitProjector(), 0);
    EXPECT_EQ(sync.m_hProjector, nullptr);
    EXPECT_EQ(boardCalls(), std::vector<std::string>{"zetaExitHidDev []"});
    EXPECT_EQ(zeta::sim::boardState().openHandles, 0);
    // Only the board is closed: the watchdog keeps running.
    EXPECT_NE(sync.m_hWatchdogThread, nullptr);

    EXPECT_EQ(sync.ExitProjector(), 0);
    EXPECT_EQ(boardCalls().size(), 1u);
    const auto messages = log.messages();
    const int first0 = indexOfExact(messages, "IShotSync::ExitProjector 0");
    const int first1 = indexOfExact(messages, "IShotSync::ExitProjector 1", first0);
    const int second0 = indexOfExact(messages, "IShotSync::ExitProjector 0", first1);
    const int second1 = indexOfExact(messages, "IShotSync::ExitProjector 1", second0);
    EXPECT_GE(first0, 0);
    EXPECT_LT(first0, first1);
    EXPECT_LT(first1, second0);
    EXPECT_LT(second0, second1);
}

TEST_F(IShotSyncLifecycleTest, ExitSyncStopsTriggersProjectsNothingAndClosesTheBoard) {
    CSyncProbe sync;
    ASSERT_EQ(sync.InitProjector("sim:board0"), 0);
    ASSERT_EQ(sync.EnableContinueTrigger(2, true), 0);
    ASSERT_EQ(sync.SetDisplayCallBackFunction(ignoreFrame, &sync), 0);
    ASSERT_EQ(sync.SetScanCallBackFunction(ignoreFrame, &sync), 0);
    sync.m_bScanning = true;
    zeta::sim::clearJournal();
    LogCapture log;

    EXPECT_EQ(sync.ExitSync(), 0);

    EXPECT_EQ(boardCalls(), (std::vector<std::string>{"zetaStartOrStopVideoTrigger [2,false]",
                                                      "zetaProject [0]", "zetaExitHidDev []"}));
    EXPECT_EQ(sync.m_hProjector, nullptr);
    EXPECT_FALSE(sync.m_bScanning);
    EXPECT_FALSE(zeta::sim::boardState().routes[0].videoTrigger);
    EXPECT_FALSE(zeta::sim::boardState().routes[1].videoTrigger);
    // No further preview or scan frame reaches the application.
    EXPECT_EQ(sync.m_pDisplayCallBack, nullptr);
    EXPECT_EQ(sync.m_pScanCallBack, nullptr);
    // With a board open the watchdog is stopped and its event closed.
    EXPECT_EQ(sync.m_hWatchdogThread, nullptr);
    EXPECT_EQ(sync.m_hWatchdogEvent, nullptr);
    EXPECT_FALSE(sync.m_bContinueWatchdog);

    const auto messages = log.messages();
    int at = indexOfExact(messages,
                          "IShotSync::ExitSync m_hThread=0 m_bReconnecting=0"
                          "m_bContinueStatusThread=0");
    ASSERT_GE(at, 0);
    const int board = log.indexOf("IShotSync::ExitSync m_hProjector=0x", at);
    ASSERT_GT(board, at);
    const int watchdogExit = indexOfExact(messages, "thread exit", board);
    ASSERT_GT(watchdogExit, board);
    at = watchdogExit;
    for (const char* step :
         {"IShotSync::ExitSync zetaStartOrStopVideoTrigger", "IShotSync::ExitSync zetaProject",
          "IShotSync::ExitSync zetaExitHidDev", "IShotSync::ExitSync end"}) {
        const int next = indexOfExact(messages, step, at);
        EXPECT_GT(next, at) << step;
        at = next;
    }
    EXPECT_FALSE(log.contains("IShotSync::ExitSync WaitForSingleObject before"));
}

TEST_F(IShotSyncLifecycleTest, ExitSyncWithoutABoardStopsTheStatusThreadAndLeavesTheWatchdog) {
    LogCapture log;
    auto sync = std::make_unique<CSyncProbe>();
    ASSERT_EQ(sync->SetStatusCallBackFunction(ignoreStatus, nullptr), 0);
    ASSERT_NE(sync->m_hThread, nullptr);
    sync->m_bReconnecting = true;

    EXPECT_EQ(sync->ExitSync(), 0);

    EXPECT_EQ(sync->m_hThread, nullptr);
    EXPECT_FALSE(sync->m_bContinueStatusThread);
    EXPECT_FALSE(sync->m_bReconnecting);
    EXPECT_EQ(sync->m_pStatusCallBack, nullptr);
    EXPECT_TRUE(log.contains("IShotSync::ExitSync m_hThread=0x"));
    EXPECT_TRUE(log.contains(" m_bReconnecting=1m_bContinueStatusThread=1"));
    const auto messages = log.messages();
    const int before = indexOfExact(messages, "IShotSync::ExitSync WaitForSingleObject before");
    const int exited = indexOfExact(messages, "Exit Status Thread", before);
    const int board = indexOfExact(messages, "IShotSync::ExitSync m_hProjector=0", exited);
    EXPECT_GE(before, 0);
    EXPECT_GT(exited, before);
    EXPECT_GT(board, exited);
    EXPECT_TRUE(log.contains("IShotSync::ExitSync end"));
    EXPECT_TRUE(boardCalls().empty());

    // The watchdog still runs; the owner's teardown stops it, before the destructor runs.
    ASSERT_NE(sync->m_hWatchdogThread, nullptr);
    EXPECT_TRUE(sync->m_hWatchdogThread->joinable());
    EXPECT_TRUE(sync->m_bContinueWatchdog);
    EXPECT_FALSE(log.contains("thread exit"));
    const int beforeDestruction = static_cast<int>(log.messages().size());
    sync.reset();
    const auto after = log.messages();
    const int destructor = indexOfExact(after, "~IShotSync", beforeDestruction);
    EXPECT_GE(destructor, 0);
    const int watchdogExit = indexOfExact(after, "thread exit", beforeDestruction);
    EXPECT_GT(watchdogExit, beforeDestruction);
    EXPECT_LT(watchdogExit, destructor);
}

TEST_F(IShotSyncLifecycleTest, ExitSyncTwiceOnlyLogsTheSecondTime) {
    CSyncProbe sync;
    ASSERT_EQ(sync.InitProjector("sim:board0"), 0);
    ASSERT_EQ(sync.SetStatusCallBackFunction(ignoreStatus, nullptr), 0);
    ASSERT_EQ(sync.ExitSync(), 0);
    zeta::sim::clearJournal();
    LogCapture log;

    EXPECT_EQ(sync.ExitSync(), 0);

    EXPECT_TRUE(zeta::sim::journal().empty());
    EXPECT_EQ(log.messages(),
              (std::vector<std::string>{
                  "IShotSync::ExitSync m_hThread=0 m_bReconnecting=0m_bContinueStatusThread=0",
                  "IShotSync::ExitSync m_hProjector=0", "IShotSync::ExitSync end"}));
}

TEST_F(IShotSyncLifecycleTest, DestructorAnnouncesEachStepInOrder) {
    auto sync = std::make_unique<CSyncProbe>();
    ASSERT_EQ(sync->InitProjector("sim:board0"), 0);
    LogCapture log;
    sync.reset();
    const auto messages = log.messages();
    int at = indexOfExact(messages, "IShotSync::ExitSync end");
    ASSERT_GE(at, 0);
    for (const char* step : {"~IShotSync", "~IShotSync 1", "~IShotSync 2", "~IShotSync 3",
                             "~IShotSync 4", "~IShotSync 5", "~IShotSync 6", "~IShotSync 7"}) {
        const int next = indexOfExact(messages, step, at);
        EXPECT_GT(next, at) << step;
        at = next;
    }
    EXPECT_EQ(indexOfExact(messages, "~IShotSync 7"), static_cast<int>(messages.size()) - 1);
    // The subclass closed the board through ExitSync before the base destructor ran.
    EXPECT_EQ(zeta::sim::boardState().openHandles, 0);
}

TEST_F(IShotSyncLifecycleTest, DestructorStopsAStatusThreadAndFreesTheGroupRecords) {
    LogCapture log;
    auto sync = std::make_unique<CSyncProbe>();
    ASSERT_EQ(sync->SetStatusCallBackFunction(ignoreStatus, nullptr), 0);
    // Group records as the matchers leave them: records with new, pixels with malloc, and
    // entries that were never filled. Leak checking (ASan) sees any that is not freed.
    auto* record =
        new zetaVoroSync::_MY_IMAGE_{4, 2, 1, static_cast<unsigned char*>(std::malloc(8))};
    sync->m_fullImages = {record, nullptr};
    auto* texture =
        new zetaVoroSync::_MY_IMAGE_{2, 2, 3, static_cast<unsigned char*>(std::malloc(12))};
    sync->m_textureImages = {nullptr, texture};
    sync->m_cameraEvents.push_back(std::make_unique<zeta::platform::Event>(true, false));
    sync->m_cameraEvents.push_back(nullptr);

    sync.reset();

    EXPECT_TRUE(log.contains("Exit Status Thread"));
    EXPECT_GE(indexOfExact(log.messages(), "~IShotSync 7"), 0);
}

TEST_F(IShotSyncLifecycleTest, ListenerSlotsLogTheFailedSnapAndAcceptNotifications) {
    CSyncProbe sync;
    LogCapture log;
    sync.onSnapFailed(3, 2);
    sync.onCameraThreadNotify(7);
    EXPECT_TRUE(sync.IsSecondCallBackEnabled());
    EXPECT_EQ(log.messages(),
              (std::vector<std::string>{"onSnapFailed camID=3colorMode =2", "onSnapFailed end"}));
    EXPECT_TRUE(zeta::sim::journal().empty());
}

TEST_F(IShotSyncLifecycleTest, CreateCameraThreadMakesAnUnopenedCameraThread) {
    CSyncProbe sync;
    CPhysicalCameraThread* camera = sync.CreateCameraThread(&sync);
    ASSERT_NE(camera, nullptr);
    EXPECT_FALSE(camera->IsOpen());
    EXPECT_EQ(camera->GetCameraID(), -1);
    delete camera;
}

TEST_F(IShotSyncLifecycleTest, IsConnectOnU3AsksTheCameraLayerBetweenItsTraces) {
    zeta::sim::test::useRig(
        zeta::sim::test::rigWithCameras({R"({"serial":"ZV0001","type":"ZV"})"}));
    CSyncProbe sync;
    LogCapture log;
    bool onU3 = false;
    EXPECT_EQ(sync.IsConnectOnU3("ZV", onU3), 0);
    EXPECT_TRUE(onU3);
    // The traces' closing newline is the log line's own end.
    const int start = log.indexOf("tmpBuf=Start Function CPhysicalCameraThread::IsConnectOnU3");
    const int inner = log.indexOf("IsConnectOnU3 0", start);
    const int end = log.indexOf("tmpBuf=End Function CPhysicalCameraThread::IsConnectOnU3", inner);
    EXPECT_GE(start, 0);
    EXPECT_GT(inner, start);
    EXPECT_GT(end, inner);

    zeta::sim::test::useRig(
        zeta::sim::test::rigWithCameras({R"({"serial":"ZV0001","type":"ZV","usb3":false})"}));
    EXPECT_EQ(sync.IsConnectOnU3("ZV", onU3), 0);
    EXPECT_FALSE(onU3);

    // A type with no camera cannot be measured.
    EXPECT_EQ(sync.IsConnectOnU3("QQ", onU3), 1);
    EXPECT_FALSE(onU3);
    const char* const none = nullptr;
    EXPECT_EQ(sync.IsConnectOnU3(none, onU3), 1);
}

}  // namespace
