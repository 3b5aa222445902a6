// The camera set: OpenCameras (threads per run of serials, camera IDs, complex cameras, lists,
// failure paths, logs), ReopenCameras, GetConnectCameraCount and the enumeration slot.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "IShotSyncB_Support.h"

namespace {

using zeta::sim::test::recordsOf;
using zeta::sim::test::rigWithCameras;
using zeta::sim::test::useRig;
using zeta::sync::test::argsOf;
using zeta::sync::test::cam;
using zeta::sync::test::connect;
using zeta::test::CameraNames;
using zeta::test::ConsoleCapture;
using zeta::test::LogCapture;

class IShotSyncCamerasTest : public ::testing::Test {
protected:
    void SetUp() override { zeta::sync::test::resetProcessWideState(); }
    void TearDown() override { zeta::sim::clearFailures(); }
};

// A1 is a two-sensor camera (two 32 x 24 images side by side), B1 a plain camera.
void useComplexRig() {
    useRig(rigWithCameras({cam("A1", 32, 24, 1, 2), cam("B1", 64, 48)}));
}

TEST_F(IShotSyncCamerasTest, SerialsAABGiveTwoThreadsTheFirstServingTwoCameras) {
    useComplexRig();
    LogCapture log;
    CSyncBProbe sync;
    ASSERT_EQ(connect(sync, {"A1", "A1", "B1"}, {64, 64, 64}, {24, 24, 48}), 0);

    ASSERT_EQ(sync.m_cameras.size(), 2u);
    EXPECT_EQ(sync.m_cameras[0]->GetCameraID(), 0);
    EXPECT_EQ(sync.m_cameras[0]->GetCameraComplexInfo(), 2);
    EXPECT_EQ(sync.m_cameras[1]->GetCameraID(), 2);
    EXPECT_EQ(sync.m_cameras[1]->GetCameraComplexInfo(), 1);
    EXPECT_EQ(sync.CameraOf(0), sync.m_cameras[0]);
    EXPECT_EQ(sync.CameraOf(1), sync.m_cameras[0]);
    EXPECT_EQ(sync.CameraOf(2), sync.m_cameras[1]);
    int count = 0;
    EXPECT_EQ(sync.GetConnectCameraCount(count), 0);
    EXPECT_EQ(count, 2);

    EXPECT_EQ(sync.m_cameraChannels, (std::vector<std::uint32_t>{0x000, 0x101, 0x210}));
    EXPECT_EQ(sync.m_cameraSerials, (std::vector<std::string>{"A1", "B1"}));
    EXPECT_EQ(sync.m_cameraResolution, (std::vector<int>{64, 24, 64, 48}));
    EXPECT_EQ(sync.m_allCameraMask, 0x7u);
    EXPECT_EQ(sync.m_fullImages, (std::vector<zetaVoroSync::_MY_IMAGE_*>(3, nullptr)));
    ASSERT_EQ(sync.m_cameraEvents.size(), 2u);
    for (const auto& event : sync.m_cameraEvents) {
        ASSERT_NE(event, nullptr);
        EXPECT_TRUE(event->isManualReset());
        EXPECT_FALSE(event->isSet());
    }
    EXPECT_EQ(sync.m_cameraExposure, (std::vector<int>{0, 0}));
    EXPECT_EQ(sync.m_cameraGain, (std::vector<int>{0, 0}));
    EXPECT_EQ(sync.m_cameraGamma, (std::vector<int>{-1, -1}));
    EXPECT_EQ(sync.m_cameraSharpness, (std::vector<int>{0, 0}));

    // One library camera per thread, created by serial and opened at the listed size.
    EXPECT_EQ(recordsOf("CreateCamera", "A1").size(), 1u);
    EXPECT_EQ(recordsOf("CreateCamera", "B1").size(), 1u);
    EXPECT_EQ(argsOf("OpenCamera", "A1"), (std::vector<std::string>{R"(["A1",64,24])"}));
    EXPECT_EQ(argsOf("OpenCamera", "B1"), (std::vector<std::string>{R"(["B1",64,48])"}));
    EXPECT_EQ(recordsOf("StartCamera", "A1").size(), 1u);
    EXPECT_EQ(recordsOf("StartCamera", "B1").size(), 1u);

    EXPECT_TRUE(log.contains("IShotSync::OpenCameras tmpSerialCount=3"));
    EXPECT_TRUE(log.contains("tmpBuf=OpenCameras tmpSerialCount=3"));
    EXPECT_TRUE(log.contains("i=1tmpCH =1"));
    EXPECT_TRUE(log.contains("tmpBuf=OpenCameras tmpCH=16"));
    EXPECT_TRUE(log.contains("tmpFlag[0]= 2"));
    EXPECT_TRUE(log.contains("tmpFlag[1]= 1"));
    EXPECT_TRUE(log.contains("tmpBuf=OpenCameras2 tmpCH=1"));
    EXPECT_TRUE(log.contains("tmpBuf=OpenCameras tmpCH & 0x0f=1 already opend "));
    EXPECT_TRUE(log.contains("i=1tempValue =1"));
    EXPECT_TRUE(log.contains("i=0camSerials[i] =A1tmpFlag[(tmpCH & 0xf0) >> 4]=2"));
    EXPECT_TRUE(log.contains("i=2camSerials[i] =B1tmpFlag[(tmpCH & 0xf0) >> 4]=1"));
    EXPECT_TRUE(log.contains("SetCameraComplexInfo=2"));
    EXPECT_TRUE(log.contains("index=0index=2"));
    EXPECT_TRUE(log.contains("index=1index=2"));
}

TEST_F(IShotSyncCamerasTest, SerialsABAGiveThreeThreads) {
    useComplexRig();
    CSyncBProbe sync;
    ASSERT_EQ(connect(sync, {"A1", "B1", "A1"}, {64, 64, 64}, {24, 48, 24}), 0);
    ASSERT_EQ(sync.m_cameras.size(), 3u);
    for (int k = 0; k < 3; ++k) {
        EXPECT_EQ(sync.m_cameras[k]->GetCameraID(), k);
        EXPECT_EQ(sync.m_cameras[k]->GetCameraComplexInfo(), 1);
        EXPECT_EQ(sync.CameraOf(k), sync.m_cameras[k]);
    }
    EXPECT_EQ(sync.m_cameraSerials, (std::vector<std::string>{"A1", "B1", "A1"}));
    // The same camera twice: two library cameras on it.
    EXPECT_EQ(recordsOf("CreateCamera", "A1").size(), 2u);
    EXPECT_EQ(sync.m_allCameraMask, 0x7u);
}

TEST_F(IShotSyncCamerasTest, ListsOfDifferentLengthsGive1AndCreateNothing) {
    useComplexRig();
    LogCapture log;
    CSyncBProbe sync;
    ASSERT_EQ(sync.InitProjector("sim:board0"), 0);
    CameraNames names({"A1", "B1"});
    EXPECT_EQ(sync.OpenCameras(names.get(), {64}, {24, 48}), 1);
    EXPECT_EQ(sync.OpenCameras(names.get(), {64, 64}, {24}), 1);
    CameraNames none(std::vector<std::string>{});
    EXPECT_EQ(sync.OpenCameras(none.get(), {}, {}), 1);
    EXPECT_TRUE(sync.m_cameras.empty());
    EXPECT_TRUE(sync.m_cameraChannels.empty());
    EXPECT_TRUE(recordsOf("CreateCamera").empty());
    EXPECT_EQ(log.count("IShotSync::OpenCameras tmpSerialCount=2"), 2);
    EXPECT_TRUE(log.contains("IShotSync::OpenCameras tmpSerialCount=0"));
}

TEST_F(IShotSyncCamerasTest, ACameraThatCannotBeCreatedGives2AndDeletesTheOthers) {
    useComplexRig();
    LogCapture log;
    CSyncBProbe sync;
    EXPECT_EQ(connect(sync, {"B1", "NOPE"}, {64, 64}, {48, 48}), 2);
    EXPECT_TRUE(sync.m_cameras.empty());
    EXPECT_TRUE(log.contains("i=1tmpSerialCount=2"));
    // B1's thread was made and deleted: its library camera was released, never opened.
    EXPECT_EQ(recordsOf("CreateCamera", "B1").size(), 1u);
    EXPECT_EQ(recordsOf("ReleaseCamera", "B1").size(), 1u);
    EXPECT_TRUE(recordsOf("OpenCamera").empty());
}

TEST_F(IShotSyncCamerasTest, AFailedDeviceTotalGives2WithItsMessages) {
    useComplexRig();
    zeta::sim::failNext("B1", "GetDeviceTotal", 1);
    LogCapture log;
    ConsoleCapture console;
    CSyncBProbe sync;
    EXPECT_EQ(connect(sync, {"A1", "B1"}, {64, 64}, {24, 48}), 2);
    EXPECT_NE(console.text().find("Check Camera Total Failed\n"), std::string::npos);
    EXPECT_TRUE(log.contains("Check Camera Total Failed"));
    EXPECT_TRUE(sync.m_cameras.empty());
    EXPECT_TRUE(recordsOf("OpenCamera").empty());
}

TEST_F(IShotSyncCamerasTest, AFailedOpenClosesTheCamerasOpenedBeforeIt) {
    useComplexRig();
    zeta::sim::failNext("B1", "OpenCamera", 1);
    LogCapture log;
    ConsoleCapture console;
    CSyncBProbe sync;
    EXPECT_EQ(connect(sync, {"A1", "B1"}, {64, 64}, {24, 48}), 2);
    EXPECT_NE(console.text().find("Open Camera Failed in IShotSync::opencameras\n"),
              std::string::npos);
    EXPECT_TRUE(log.contains("Open Camera Failed in IShotSync::opencameras"));
    EXPECT_TRUE(sync.m_cameras.empty());
    EXPECT_TRUE(sync.m_cameraEvents.empty());
    // A1 was opened and started; B1's open failed. Both were closed and released.
    EXPECT_EQ(recordsOf("StartCamera", "A1").size(), 1u);
    EXPECT_TRUE(recordsOf("StartCamera", "B1").empty());
    EXPECT_GE(recordsOf("CloseCamera", "A1").size(), 1u);
    EXPECT_EQ(recordsOf("ReleaseCamera", "A1").size(), 1u);
    EXPECT_EQ(recordsOf("ReleaseCamera", "B1").size(), 1u);
}

TEST_F(IShotSyncCamerasTest, OpenCamerasInstallsBothFrameHandlersAndStartsTheThreads) {
    useComplexRig();
    LogCapture log;
    CSyncBProbe sync;
    ASSERT_EQ(connect(sync, {"A1", "B1"}, {64, 64}, {24, 48}), 0);
    EXPECT_EQ(log.count("DisplayCallBackFunction 1"), 2);
    EXPECT_EQ(log.count("SetScanCallBackFunction 1"), 2);
    EXPECT_EQ(log.count("StartThread m_bOpen=1"), 2);
    // The grab threads run: the cameras deliver frames.
    EXPECT_TRUE(zeta::sim::test::waitUntil([] {
        zeta::sim::CameraStats a, b;
        return zeta::sim::cameraStats("A1", a) && zeta::sim::cameraStats("B1", b) &&
               a.framesDelivered > 0 && b.framesDelivered > 0;
    }));
}

TEST_F(IShotSyncCamerasTest, ReopenCamerasRebuildsTheThreadsWithoutFrameHandlers) {
    useComplexRig();
    CSyncBProbe sync;
    ASSERT_EQ(connect(sync, {"A1", "A1", "B1"}, {64, 64, 64}, {24, 24, 48}), 0);
    LogCapture log;
    ASSERT_EQ(sync.ReopenCameras(), 0);

    ASSERT_EQ(sync.m_cameras.size(), 2u);
    // The camera ID is the thread index here, not the position in the serial list.
    EXPECT_EQ(sync.m_cameras[0]->GetCameraID(), 0);
    EXPECT_EQ(sync.m_cameras[0]->GetCameraComplexInfo(), 2);
    EXPECT_EQ(sync.m_cameras[1]->GetCameraID(), 1);
    EXPECT_EQ(sync.m_cameras[1]->GetCameraComplexInfo(), 1);
    // Lists are appended to, not rebuilt; the mask is not recomputed.
    EXPECT_EQ(sync.m_cameraEvents.size(), 4u);
    EXPECT_EQ(sync.m_cameraExposure.size(), 4u);
    EXPECT_EQ(sync.m_cameraGain.size(), 4u);
    EXPECT_EQ(sync.m_cameraGamma.size(), 2u);
    EXPECT_EQ(sync.m_cameraSharpness.size(), 2u);
    EXPECT_EQ(sync.m_fullImages.size(), 6u);
    EXPECT_EQ(sync.m_allCameraMask, 0x7u);
    EXPECT_EQ(sync.m_cameraResolution, (std::vector<int>{64, 24, 64, 48}));

    EXPECT_TRUE(log.contains("Start ReConnect Camera tmpSerialCount=3"));
    EXPECT_TRUE(log.contains("tmpBuf=ReopenCameras tmpSerialCount=3"));
    EXPECT_TRUE(log.contains("tmpBuf=ReopenCameras tmpCH=16"));
    EXPECT_TRUE(log.contains("tmpBuf=ReopenCameras drop tmpCH & 0x0f=1"));
    const auto messages = log.messages();
    int first = -1;
    for (int i = 0; i + 1 < static_cast<int>(messages.size()); ++i) {
        if (messages[i] == "tmpBuf=ReopenCameras drop tmpCH & 0xf0) >> 4=0") {
            first = i;
            break;
        }
    }
    ASSERT_GE(first, 0);
    EXPECT_EQ(messages[first + 1], "tmpBuf=ReopenCameras drop tmpCH & 0xf0) >> 4=2");
    EXPECT_EQ(log.count("tmpBuf=ReopenCameras drop tmpCH & 0xf0) >> 4=1"), 2);
    // New threads run, without display or scan handlers.
    EXPECT_EQ(log.count("StartThread m_bOpen=1"), 2);
    EXPECT_FALSE(log.contains("DisplayCallBackFunction 0"));
    EXPECT_FALSE(log.contains("SetScanCallBackFunction 0"));
    EXPECT_EQ(recordsOf("CreateCamera", "A1").size(), 2u);
    EXPECT_EQ(recordsOf("ReleaseCamera", "A1").size(), 1u);
}

TEST_F(IShotSyncCamerasTest, ReopenCamerasPrintsTheSerialThatCannotBeInitialised) {
    useComplexRig();
    CSyncBProbe sync;
    ASSERT_EQ(connect(sync, {"A1", "B1"}, {64, 64}, {24, 48}), 0);
    ASSERT_TRUE(zeta::sim::unplug("B1"));
    ConsoleCapture console;
    EXPECT_EQ(sync.ReopenCameras(), 2);
    EXPECT_NE(console.text().find("init Camera Failed, B1\n"), std::string::npos);
    EXPECT_TRUE(sync.m_cameras.empty());
    zeta::sim::replug("B1");
}

TEST_F(IShotSyncCamerasTest, EnumerationForwardsToTheCameraLayer) {
    useComplexRig();
    CSyncBProbe sync;
    std::vector<char*> serials;
    std::vector<int> widths;
    std::vector<int> heights;
    std::vector<bool> colors;
    EXPECT_EQ(sync.GetAllSpecifyTypeCameraInformation("ZV", serials, widths, heights, colors), 2);
    ASSERT_EQ(serials.size(), 2u);
    EXPECT_STREQ(serials[0], "A1");
    EXPECT_STREQ(serials[1], "B1");
    EXPECT_EQ(widths, (std::vector<int>{64, 64}));
    EXPECT_EQ(heights, (std::vector<int>{24, 48}));
    for (char* serial : serials) std::free(serial);
}

}  // namespace
