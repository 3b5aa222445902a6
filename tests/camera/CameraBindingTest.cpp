// The binding of one camera thread to the camera library: InializeCamera, OpenCamera,
// ReOpenCamera, SetCameraID, CloseCamera, ReleaseCamera, StartCamera and the destructor.
#include "CameraThreadTestSupport.h"

namespace zeta::camera::test {
namespace {

using zeta::test::LogCapture;

class CameraBindingTest : public CameraThreadTest {};

TEST_F(CameraBindingTest, InializeCameraCreatesAHandleForTheSerial) {
    useRig(rigWithCameras({cameraJson("A1")}));
    LogCapture log;
    ObservedCameraThread camera(nullptr);

    EXPECT_TRUE(camera.InializeCamera("A1"));
    EXPECT_NE(camera.handle(), nullptr);
    EXPECT_EQ(camera.storedDevId(), "A1");
    EXPECT_EQ(cameraMessages(log),
              (std::vector<std::string>{"InializeCamera devId=A1", "InializeCamera retValue=0"}));
    const auto creates = recordsOf("CreateCamera", "A1");
    ASSERT_EQ(creates.size(), 1U);
    EXPECT_EQ(creates[0].args, R"(["A1"])");
    EXPECT_TRUE(creates[0].ok);
}

TEST_F(CameraBindingTest, InializeCameraWithAnUnknownSerialFails) {
    useRig(rigWithCameras({cameraJson("A1")}));
    LogCapture log;
    ObservedCameraThread camera(nullptr);

    EXPECT_FALSE(camera.InializeCamera("NOPE"));
    EXPECT_EQ(camera.handle(), nullptr);
    EXPECT_EQ(countExact(log, "InializeCamera retValue=-1"), 1);
}

TEST_F(CameraBindingTest, InializeCameraWithoutSelectorOrSerialTouchesNoLibrary) {
    useRig(rigWithCameras({cameraJson("A1")}));
    LogCapture log;
    ObservedCameraThread camera(nullptr);

    EXPECT_FALSE(camera.InializeCamera(nullptr));
    EXPECT_EQ(cameraMessages(log),
              (std::vector<std::string>{"InializeCamera ", "InializeCamera retValue=-1"}));
    EXPECT_TRUE(zeta::sim::journal().empty());
}

TEST_F(CameraBindingTest, InializeCameraWithoutSelectorUsesTheStoredSerial) {
    useRig(rigWithCameras({cameraJson("A01")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_TRUE(camera.InializeCamera("A01"));
    ASSERT_TRUE(camera.OpenCamera("A01", 64, 48));
    camera.CloseCamera();
    camera.ReleaseCamera();
    zeta::sim::clearJournal();

    EXPECT_TRUE(camera.InializeCamera(nullptr));
    EXPECT_NE(camera.handle(), nullptr);
    const auto creates = recordsOf("CreateCamera");
    ASSERT_EQ(creates.size(), 1U);
    EXPECT_EQ(creates[0].args, R"(["A01"])");
}

TEST_F(CameraBindingTest, InializeCameraWithoutSelectorIgnoresASerialOfTwoCharacters) {
    useRig(rigWithCameras({cameraJson("AB")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_TRUE(camera.InializeCamera("AB"));
    ASSERT_TRUE(camera.OpenCamera("AB", 64, 48));
    camera.CloseCamera();
    camera.ReleaseCamera();
    zeta::sim::clearJournal();

    EXPECT_FALSE(camera.InializeCamera(nullptr));
    EXPECT_TRUE(recordsOf("CreateCamera").empty());
}

TEST_F(CameraBindingTest, OpenCameraOpensBySerialAndSizesTheBuffer) {
    useRig(rigWithCameras({cameraJson("A1")}));
    LogCapture log;
    ObservedCameraThread camera(nullptr);
    ASSERT_TRUE(camera.InializeCamera("A1"));

    EXPECT_TRUE(camera.OpenCamera("A1", 64, 48));
    EXPECT_TRUE(camera.IsOpen());
    EXPECT_EQ(camera.GetSerial(), "A1");
    EXPECT_EQ(camera.width(), 64);
    EXPECT_EQ(camera.height(), 48);
    EXPECT_EQ(camera.bufferSize(), 64 * 48);
    EXPECT_EQ(countExact(log, "OpenCamera m_bOpen=1"), 1);
    const auto opens = recordsOf("OpenCamera", "A1");
    ASSERT_EQ(opens.size(), 1U);
    EXPECT_EQ(opens[0].args, R"(["A1",64,48])");
    EXPECT_TRUE(opens[0].ok);
    EXPECT_EQ(recordsOf("GetColorMode", "A1").size(), 1U);
}

struct BufferCase {
    int format;
    int channels;
};

class CameraBufferSizeTest : public CameraThreadTest,
                             public ::testing::WithParamInterface<BufferCase> {};

TEST_P(CameraBufferSizeTest, BufferIsWidthTimesHeightTimesChannels) {
    const BufferCase c = GetParam();
    useRig(rigWithCameras({cameraJson("A1", R"("format":)" + std::to_string(c.format))}));
    ObservedCameraThread camera(nullptr);
    ASSERT_TRUE(camera.InializeCamera("A1"));
    ASSERT_TRUE(camera.OpenCamera("A1", 32, 16));
    EXPECT_EQ(camera.bufferSize(), 32 * 16 * c.channels);
}

INSTANTIATE_TEST_SUITE_P(Formats, CameraBufferSizeTest,
                         ::testing::Values(BufferCase{1, 1}, BufferCase{2, 2}, BufferCase{16, 1},
                                           BufferCase{17, 3}, BufferCase{18, 6}));

TEST_F(CameraBindingTest, OpenCameraAtZeroSizeKeepsAnEmptyBuffer) {
    useRig(rigWithCameras({cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_TRUE(camera.InializeCamera("A1"));
    EXPECT_TRUE(camera.OpenCamera("A1", 0, 0));
    EXPECT_EQ(camera.bufferSize(), 0);
}

TEST_F(CameraBindingTest, FailedOpenLeavesTheCameraClosed) {
    useRig(rigWithCameras({cameraJson("A1"), cameraJson("A2", R"("present":false)")}));
    LogCapture log;
    ObservedCameraThread camera(nullptr);
    ASSERT_TRUE(camera.InializeCamera("A1"));

    EXPECT_FALSE(camera.OpenCamera("A2", 64, 48));
    EXPECT_FALSE(camera.IsOpen());
    EXPECT_EQ(camera.bufferSize(), 0);
    EXPECT_EQ(countExact(log, "OpenCamera failed"), 1);
    EXPECT_EQ(countExact(log, "OpenCamera m_bOpen=1"), 0);
}

TEST_F(CameraBindingTest, OpenCameraOnARunningCameraStopsAndClosesItFirst) {
    useRig(rigWithCameras({cameraJson("A1")}));
    FrameRecorder recorder;
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    camera.SetScanCallBackFunction(&FrameRecorder::callBack, &recorder);
    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(recorder.waitFor(1));
    LogCapture log;
    zeta::sim::clearJournal();

    EXPECT_TRUE(camera.OpenCamera("A1", 32, 16));
    EXPECT_FALSE(camera.hasThread());
    EXPECT_FALSE(camera.hasCallbacks());  // closing forgets the callbacks
    EXPECT_EQ(camera.bufferSize(), 32 * 16);
    EXPECT_TRUE(inOrder(
        cameraMessages(log),
        {"StopThread end", "Call Function CPhysicalCameraThread::CloseCamera() CloseCamera 0",
         "CloseCamera 1", "OpenCamera m_bOpen=1"}));
    const auto journal = zeta::sim::journal();
    std::vector<std::string> ops;
    for (const auto& record : journal) ops.push_back(record.op);
    EXPECT_TRUE(inOrder(ops, {"UnlockOthers", "CloseCamera", "OpenCamera"}));
}

TEST_F(CameraBindingTest, ReOpenWithoutSelectorOrSerialFailsWithoutTouchingTheLibrary) {
    useRig(rigWithCameras({cameraJson("A1")}));
    LogCapture log;
    ObservedCameraThread camera(nullptr);

    EXPECT_FALSE(camera.ReOpenCamera());
    EXPECT_TRUE(zeta::sim::journal().empty());
    EXPECT_EQ(cameraMessages(log),
              (std::vector<std::string>{"ReOpenCamera m_camera=0",
                                        "ReOpenCamera retValue=-1m_camera=0"}));
}

TEST_F(CameraBindingTest, ReOpenAfterReleaseCreatesWithTheSelectorAndReopensAtTheStoredSize) {
    useRig(rigWithCameras({cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 32, 16));
    camera.ReleaseCamera();
    LogCapture log;
    zeta::sim::clearJournal();

    EXPECT_TRUE(camera.ReOpenCamera());
    EXPECT_NE(camera.handle(), nullptr);
    std::vector<std::string> ops;
    for (const auto& record : zeta::sim::journal()) ops.push_back(record.op + record.args);
    EXPECT_EQ(ops, (std::vector<std::string>{R"(CreateCamera["A1"])", "CloseCamera[]",
                                             R"(OpenCamera["A1",32,16])", "GetDeviceType[]"}));
    const auto messages = cameraMessages(log);
    ASSERT_EQ(messages.size(), 4U);
    EXPECT_EQ(messages[0], "ReOpenCamera m_camera=0");
    EXPECT_EQ(messages[1].rfind("ReOpenCamera retValue=0m_camera=", 0), 0U);
    EXPECT_EQ(messages[2], "ReOpenCamera nRet=0");
    EXPECT_EQ(messages[3], "ReOpenCamera ret=1deviceType=1");
}

TEST_F(CameraBindingTest, ReOpenWithAHandleClosesAndReopensWithoutCreating) {
    useRig(rigWithCameras({cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    void* const handle = camera.handle();
    zeta::sim::clearJournal();

    EXPECT_TRUE(camera.ReOpenCamera());
    EXPECT_EQ(camera.handle(), handle);
    std::vector<std::string> ops;
    for (const auto& record : zeta::sim::journal()) ops.push_back(record.op);
    EXPECT_EQ(ops, (std::vector<std::string>{"CloseCamera", "OpenCamera", "GetDeviceType"}));
}

TEST_F(CameraBindingTest, ReOpenWithoutSelectorCreatesWithTheStoredSerial) {
    useRig(rigWithCameras({cameraJson("A01")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A01", 64, 48));
    camera.ReleaseCamera();
    camera.forgetDevId();
    zeta::sim::clearJournal();

    EXPECT_TRUE(camera.ReOpenCamera());
    const auto creates = recordsOf("CreateCamera");
    ASSERT_EQ(creates.size(), 1U);
    EXPECT_EQ(creates[0].args, R"(["A01"])");
}

TEST_F(CameraBindingTest, ReOpenFailsWhenTheCameraCannotBeOpened) {
    useRig(rigWithCameras({cameraJson("A1")}));
    LogCapture log;
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    zeta::sim::failNext("A1", "OpenCamera", 1);

    EXPECT_FALSE(camera.ReOpenCamera());
    EXPECT_EQ(countExact(log, "ReOpenCamera nRet=-1"), 1);
    EXPECT_TRUE(recordsOf("GetDeviceType").empty());
}

TEST_F(CameraBindingTest, ReOpenFailsForADeviceTypeOfZero) {
    useRig(rigWithCameras({cameraJson("A1", R"("deviceType":0)")}));
    LogCapture log;
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));

    EXPECT_FALSE(camera.ReOpenCamera());
    EXPECT_EQ(countExact(log, "ReOpenCamera ret=0deviceType=0"), 1);
    EXPECT_EQ(countExact(log, "ReOpenCamera failed"), 1);
}

TEST_F(CameraBindingTest, SetCameraIDNeedsAHandle) {
    useRig(rigWithCameras({cameraJson("A1")}));
    LogCapture log;
    ObservedCameraThread camera(nullptr);

    EXPECT_FALSE(camera.SetCameraID(5));
    EXPECT_EQ(camera.GetCameraID(), -1);
    ASSERT_TRUE(camera.InializeCamera("A1"));
    EXPECT_TRUE(camera.SetCameraID(5));
    EXPECT_EQ(camera.GetCameraID(), 5);
    EXPECT_EQ(countExact(log, "SetCameraID m_cameraID=5"), 1);
}

TEST_F(CameraBindingTest, CloseCameraForgetsFrameAndCallbacksButKeepsTheHandle) {
    useRig(rigWithCameras({cameraJson("A1")}));
    FrameRecorder recorder;
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    camera.SetScanCallBackFunction(&FrameRecorder::callBack, &recorder);
    camera.DisplayCallBackFunction(&FrameRecorder::callBack, &recorder);
    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(recorder.waitFor(1));
    LogCapture log;
    zeta::sim::clearJournal();

    EXPECT_TRUE(camera.CloseCamera());
    EXPECT_FALSE(camera.IsOpen());
    EXPECT_FALSE(camera.hasThread());
    EXPECT_FALSE(camera.hasCallbacks());
    EXPECT_EQ(camera.bufferSize(), 0);
    EXPECT_EQ(camera.currentFrame(), nullptr);
    EXPECT_NE(camera.handle(), nullptr);
    EXPECT_TRUE(inOrder(cameraMessages(log),
                        {"Call Function CPhysicalCameraThread::CloseCamera() CloseCamera 0",
                         "StopThread end", "CloseCamera 1"}));
    const auto closes = recordsOf("CloseCamera", "A1");
    ASSERT_EQ(closes.size(), 1U);
    EXPECT_TRUE(closes[0].ok);

    // Closed already: the library is not called again.
    zeta::sim::clearJournal();
    EXPECT_TRUE(camera.CloseCamera());
    EXPECT_TRUE(recordsOf("CloseCamera").empty());
}

TEST_F(CameraBindingTest, ReleaseCameraReleasesOnce) {
    useRig(rigWithCameras({cameraJson("A1")}));
    LogCapture log;
    ObservedCameraThread camera(nullptr);
    ASSERT_TRUE(camera.InializeCamera("A1"));

    EXPECT_TRUE(camera.ReleaseCamera());
    EXPECT_EQ(camera.handle(), nullptr);
    EXPECT_TRUE(camera.ReleaseCamera());
    const auto releases = recordsOf("ReleaseCamera");
    ASSERT_EQ(releases.size(), 1U);
    EXPECT_EQ(releases[0].dev, "A1");
    EXPECT_TRUE(releases[0].ok);
    EXPECT_EQ(countExact(log, "ReleaseCamera 0"), 2);
    EXPECT_EQ(countExact(log, "ReleaseCamera 1"), 2);
}

TEST_F(CameraBindingTest, StartCameraStartsDeliveryAtTheCamerasOwnRate) {
    useRig(rigWithCameras({cameraJson("A1")}));
    LogCapture log;
    ObservedCameraThread camera(nullptr);
    ASSERT_TRUE(camera.InializeCamera("A1"));
    ASSERT_TRUE(camera.OpenCamera("A1", 64, 48));

    EXPECT_TRUE(camera.StartCamera());
    const auto starts = recordsOf("StartCamera", "A1");
    ASSERT_EQ(starts.size(), 1U);
    EXPECT_EQ(starts[0].args, "[0.0]");
    EXPECT_TRUE(inOrder(cameraMessages(log), {"StartCamera", "StartCamera ok"}));
}

TEST_F(CameraBindingTest, StartCameraOnAClosedCameraFails) {
    useRig(rigWithCameras({cameraJson("A1")}));
    LogCapture log;
    ObservedCameraThread camera(nullptr);
    ASSERT_TRUE(camera.InializeCamera("A1"));

    EXPECT_FALSE(camera.StartCamera());
    EXPECT_TRUE(inOrder(cameraMessages(log), {"StartCamera", "StartCamera failed"}));
}

TEST_F(CameraBindingTest, DestructorStopsClosesAndReleases) {
    useRig(rigWithCameras({cameraJson("A1")}));
    LogCapture log;
    {
        ObservedCameraThread camera(nullptr);
        ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
        ASSERT_TRUE(camera.StartThread());
        ASSERT_TRUE(waitUntil([] { return statsOf("A1").framesDelivered >= 2; }));
        log.clear();
        zeta::sim::clearJournal();
    }
    EXPECT_TRUE(
        inOrder(cameraMessages(log),
                {"~CPhysicalCameraThread 0",
                 "Call Function CPhysicalCameraThread::CloseCamera() CloseCamera 0",
                 "CPhysicalCameraThread::ThreadFun exit", "CloseCamera 1", "ReleaseCamera 0",
                 "ReleaseCamera 1", "~CPhysicalCameraThread 1", "~CPhysicalCameraThread 2"}));
    // The grab thread's last pass may still read the resolution before the destructor's calls.
    std::vector<std::string> ops;
    for (const auto& record : zeta::sim::journal()) {
        if (record.op != "GetResolution") ops.push_back(record.op);
    }
    EXPECT_EQ(ops, (std::vector<std::string>{"UnlockOthers", "CloseCamera", "ReleaseCamera"}));
    EXPECT_EQ(statsOf("A1").openHandles, 0);
}

TEST_F(CameraBindingTest, LogLinesCarryTheCameraThreadsSourceFile) {
    useRig(rigWithCameras({cameraJson("A1")}));
    LogCapture log;
    ObservedCameraThread camera(nullptr);
    ASSERT_TRUE(camera.InializeCamera("A1"));
    const auto messages = log.messages();
    const auto files = log.files();
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages[0], "InializeCamera devId=A1");
    EXPECT_EQ(files[0], "PhysicalCameraThread.cpp");
}

}  // namespace
}  // namespace zeta::camera::test
