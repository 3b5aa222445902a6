// Reconnection and camera release with real camera threads on the virtual cameras: cameras
// released, re-created and reopened with their stored settings, partial failures (5, retried
// twice), CloseDeviceCamera, the time-stamp type handed to every camera, and a destructor that
// finds threads a failed reconnection left paused.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "IShotSyncA_Probe.h"
#include "LibraryTestSupport.h"
#include "SimTestSupport.h"
#include "zetaVoroSim/SimControl.h"

namespace {

using namespace std::chrono_literals;
using zeta::sim::test::recordsOf;
using zeta::sim::test::waitUntil;
using zeta::test::CameraNames;
using zeta::test::LogCapture;

int countExact(const std::vector<std::string>& messages, const std::string& text) {
    return static_cast<int>(std::count(messages.begin(), messages.end(), text));
}

int occurrences(const std::string& text, const std::string& part) {
    int n = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
    return n;
}

std::vector<std::string> cameraOps(const std::string& serial) {
    std::vector<std::string> ops;
    for (const auto& record : zeta::sim::journal()) {
        if (record.dev == serial && record.op != "SnapShot")
            ops.push_back(record.op + " " + record.args);
    }
    return ops;
}

std::uint64_t delivered(const std::string& serial) {
    zeta::sim::CameraStats stats;
    zeta::sim::cameraStats(serial, stats);
    return stats.framesDelivered;
}

class IShotSyncReconnectCamerasTest : public ::testing::Test {
protected:
    void SetUp() override {
        zeta::sim::test::useRig(
            zeta::sim::test::rigWithCameras({R"({"serial":"M0","width":64,"height":48})",
                                             R"({"serial":"M1","width":64,"height":48})"}));
        sync_ = std::make_unique<CSyncProbe>();
        ASSERT_EQ(sync_->InitProjector("sim:board0"), 0);
        CameraNames names{"M0", "M1"};
        ASSERT_EQ(sync_->OpenCameras(names.get(), {64, 64}, {48, 48}), 0);
        ASSERT_EQ(sync_->m_cameras.size(), 2u);
        // Both grab loops are running (past their start-up) before a test touches the cameras.
        ASSERT_TRUE(waitUntil([] { return delivered("M0") > 0 && delivered("M1") > 0; }));
        zeta::sim::clearJournal();
    }
    void TearDown() override {
        // As the owner does before deleting a synchroniser.
        if (sync_) sync_->StopCameraThreads();
        sync_.reset();
        zeta::sim::clearFailures();
    }

    std::unique_ptr<CSyncProbe> sync_;
};

TEST_F(IShotSyncReconnectCamerasTest, CamerasAreReopenedWithTheirStoredSettings) {
    sync_->m_cameraExposure = {5000, 0};
    sync_->m_cameraGain = {3, 0};
    sync_->m_cameraGamma = {120, -1};
    sync_->m_cameraSharpness = {40, 0};
    LogCapture log;
    zeta::test::ConsoleCapture console;

    EXPECT_EQ(sync_->ReConnectDeviceEx(), 0);
    const std::string printed = console.text();

    const auto m0 = cameraOps("M0");
    const auto has = [](const std::vector<std::string>& ops, const std::string& op) {
        return std::find(ops.begin(), ops.end(), op) != ops.end();
    };
    EXPECT_TRUE(has(m0, "ReleaseCamera []"));
    EXPECT_TRUE(has(m0, R"(CreateCamera ["M0"])"));
    EXPECT_TRUE(has(m0, "SetExposureTime [5000]"));
    EXPECT_TRUE(has(m0, "SetGain [3]"));
    EXPECT_TRUE(has(m0, "SetCameraIntParam [7,120]"));
    EXPECT_TRUE(has(m0, "SetCameraIntParam [6,40]"));
    EXPECT_TRUE(has(m0, "StartCamera [0.0]"));
    // Values never set (0 exposure, gain and sharpness, negative gamma) are not re-applied.
    const auto m1 = cameraOps("M1");
    EXPECT_TRUE(has(m1, R"(CreateCamera ["M1"])"));
    EXPECT_TRUE(has(m1, "StartCamera [0.0]"));
    for (const auto& op : m1) {
        EXPECT_EQ(op.find("SetExposureTime"), std::string::npos) << op;
        EXPECT_EQ(op.find("SetGain"), std::string::npos) << op;
        EXPECT_EQ(op.find("SetCameraIntParam"), std::string::npos) << op;
    }
    // Released before re-created, re-created before reopened.
    const auto released = std::find(m0.begin(), m0.end(), "ReleaseCamera []");
    const auto created = std::find(m0.begin(), m0.end(), R"(CreateCamera ["M0"])");
    const auto exposure = std::find(m0.begin(), m0.end(), "SetExposureTime [5000]");
    EXPECT_LT(released, created);
    EXPECT_LT(created, exposure);

    const auto messages = log.messages();
    EXPECT_EQ(countExact(messages, "ReInitializeCamera success"), 2);
    EXPECT_EQ(countExact(messages, "ReOpenCamera success"), 2);
    EXPECT_EQ(occurrences(printed, "ReInitializeCamera success\n"), 2);

    // The grab threads run again.
    const auto before0 = delivered("M0");
    const auto before1 = delivered("M1");
    EXPECT_TRUE(waitUntil([&] { return delivered("M0") > before0 && delivered("M1") > before1; }));
}

TEST_F(IShotSyncReconnectCamerasTest, ACameraThatCannotBeReopenedGives5AfterTwoRetries) {
    ASSERT_TRUE(zeta::sim::unplug("M1"));
    LogCapture log;
    EXPECT_EQ(sync_->ReConnectDeviceEx(), 5);
    const auto messages = log.messages();
    EXPECT_EQ(countExact(messages, "ReOpenCamera failed"), 3);
    EXPECT_EQ(countExact(messages, "ReConnectDevice ret=5"), 2);
    EXPECT_EQ(countExact(messages, "ReConnectDeviceEx ret=5"), 2);
    EXPECT_EQ(recordsOf("zetaInitHidDev").size(), 3u);
    EXPECT_TRUE(recordsOf("zetaSendReportCmd").empty());
    EXPECT_FALSE(sync_->m_bReconnecting);

    // The other camera runs on; once the lost one is back a new reconnection restores it.
    const auto before0 = delivered("M0");
    EXPECT_TRUE(waitUntil([&] { return delivered("M0") > before0; }));
    ASSERT_TRUE(zeta::sim::replug("M1"));
    EXPECT_EQ(sync_->ReConnectDeviceEx(), 0);
    const auto before1 = delivered("M1");
    EXPECT_TRUE(waitUntil([&] { return delivered("M1") > before1; }));
}

TEST_F(IShotSyncReconnectCamerasTest, OnlyAPartialCameraFailureCounts) {
    // Every camera lost: the result does not report it (kept as the system does it), and the
    // destructor still ends the threads left paused.
    ASSERT_TRUE(zeta::sim::unplug("M0"));
    ASSERT_TRUE(zeta::sim::unplug("M1"));
    LogCapture log;
    EXPECT_EQ(sync_->ReConnectDeviceEx(), 0);
    EXPECT_EQ(countExact(log.messages(), "ReOpenCamera failed"), 2);
    sync_.reset();
    EXPECT_GE(zeta::sync::test::indexOfExact(log.messages(), "~IShotSync 7"), 0);
}

TEST_F(IShotSyncReconnectCamerasTest, CloseDeviceCameraReleasesEveryCameraAndResumesItsThread) {
    LogCapture log;
    zeta::test::ConsoleCapture console;
    EXPECT_EQ(sync_->CloseDeviceCamera(), 0);
    const std::string printed = console.text();
    EXPECT_EQ(recordsOf("ReleaseCamera", "M0").size(), 1u);
    EXPECT_EQ(recordsOf("ReleaseCamera", "M1").size(), 1u);
    const auto messages = log.messages();
    EXPECT_EQ(countExact(messages, "ReleaseCamera success"), 2);
    EXPECT_EQ(countExact(messages, "ReInitializeCamera success"), 0);
    EXPECT_EQ(occurrences(printed, "ReInitializeCamera success\n"), 2);
    // The threads run again, without a camera: their failed snaps pile up until the grab loop
    // reports them (after 600 on a mono camera).
    EXPECT_TRUE(waitUntil([&] { return log.count("ThreadFun bSnapOk=1") >= 2; }, 10000ms));
}

TEST_F(IShotSyncReconnectCamerasTest, TheTimeStampTypeReachesEveryCamera) {
    EXPECT_TRUE(sync_->SpecifiedTimeStampType(1));
    EXPECT_EQ(recordsOf("SpecifiedCameraTimeStampSource", "M0").back().args, "[1]");
    EXPECT_EQ(recordsOf("SpecifiedCameraTimeStampSource", "M1").back().args, "[1]");
    EXPECT_TRUE(sync_->SpecifiedTimeStampType(3));
    EXPECT_EQ(recordsOf("SpecifiedCameraTimeStampSource", "M0").back().args, "[0]");
}

TEST_F(IShotSyncReconnectCamerasTest, StoppedCameraThreadsDeliverNoMoreFrames) {
    LogCapture log;
    sync_->StopCameraThreads();
    EXPECT_EQ(log.count("CPhysicalCameraThread::ThreadFun exit"), 2);
    const auto before0 = delivered("M0");
    const auto before1 = delivered("M1");
    EXPECT_FALSE(
        waitUntil([&] { return delivered("M0") > before0 || delivered("M1") > before1; }, 300ms));
    // The cameras stay open for the destructor to close.
    zeta::sim::CameraStats stats;
    ASSERT_TRUE(zeta::sim::cameraStats("M0", stats));
    EXPECT_EQ(stats.openHandles, 1);
}

TEST_F(IShotSyncReconnectCamerasTest, TheDestructorClosesEveryCameraThread) {
    LogCapture log;
    sync_->StopCameraThreads();
    sync_.reset();
    zeta::sim::CameraStats stats;
    ASSERT_TRUE(zeta::sim::cameraStats("M0", stats));
    EXPECT_EQ(stats.openHandles, 0);
    ASSERT_TRUE(zeta::sim::cameraStats("M1", stats));
    EXPECT_EQ(stats.openHandles, 0);
    const auto messages = log.messages();
    const int first = zeta::sync::test::indexOfExact(messages, "~IShotSync 1");
    const int cameraGone = log.indexOf("~CPhysicalCameraThread", first);
    const int second = zeta::sync::test::indexOfExact(messages, "~IShotSync 2");
    EXPECT_GT(cameraGone, first);
    EXPECT_GT(second, cameraGone);
}

// The destructor on its own, with grab threads still running when the base destructor starts
// (the subclass destructor only takes the frame handlers off).
TEST_F(IShotSyncReconnectCamerasTest, TheDestructorEndsRunningGrabThreadsBeforeClosingTheirEvents) {
    ASSERT_EQ(sync_->EnableAutoReconnect(true, false, {true, true}), 0);
    ASSERT_TRUE(waitUntil(
        [&] { return sync_->m_cameraEvents[0]->isSet() && sync_->m_cameraEvents[1]->isSet(); }));
    LogCapture log;
    sync_.reset();
    EXPECT_EQ(log.count("CPhysicalCameraThread::ThreadFun exit"), 2);
    EXPECT_GE(zeta::sync::test::indexOfExact(log.messages(), "~IShotSync 7"), 0);
}

}  // namespace
