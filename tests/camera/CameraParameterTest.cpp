// Camera parameters of a camera thread: what each setter sends to the camera, what it logs and
// prints, and what it returns, and the getters.
#include "CameraThreadTestSupport.h"

namespace zeta::camera::test {
namespace {

using zeta::test::ConsoleCapture;
using zeta::test::LogCapture;

class CameraParameterTest : public CameraThreadTest {
protected:
    // An opened (not grabbing) camera thread on `serial`; the journal is emptied afterwards.
    void open(ObservedCameraThread& camera, const std::string& serial) {
        ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, serial, 64, 48));
        zeta::sim::clearJournal();
    }
};

TEST_F(CameraParameterTest, EveryParameterFailsAtOnceWithoutHandle) {
    useRig(rigWithCameras({cameraJson("A1")}));
    LogCapture log;
    ConsoleCapture console;
    ObservedCameraThread camera(nullptr);
    long exposure = 0;
    int value = 0;
    float r = 1.0f, g = 1.0f, b = 1.0f;
    std::string serial;

    EXPECT_FALSE(camera.SetExposureTime(5000));
    EXPECT_FALSE(camera.GetExposureTime(exposure));
    EXPECT_FALSE(camera.SetGain(1));
    EXPECT_FALSE(camera.GetGain(value));
    EXPECT_FALSE(camera.SetSharpness(10));
    EXPECT_FALSE(camera.GetSharpness(value));
    EXPECT_FALSE(camera.SetGamma(10));
    EXPECT_FALSE(camera.GetGamma(value));
    EXPECT_FALSE(camera.SetTriggerMode(1));
    EXPECT_FALSE(camera.GetTriggerMode(value));
    EXPECT_FALSE(camera.SetBinning(2));
    EXPECT_FALSE(camera.AutoWhiteBalance(true, r, g, b));
    EXPECT_FALSE(camera.GetResolution(value, value));
    EXPECT_FALSE(camera.GetSerialNumber(serial));
    EXPECT_FALSE(camera.GetColorFormat(value));
    EXPECT_EQ(camera.GetColorMode(), -1);
    EXPECT_EQ(camera.GetChannelNum(), 0);
    EXPECT_FALSE(camera.SpecifiedCameraTimeStampSource(1));
    EXPECT_FALSE(camera.ResetCameraState());
    camera.SetCameraToInitializedState();
    EXPECT_FALSE(camera.GetDeviceTotal(value));

    EXPECT_TRUE(zeta::sim::journal().empty());
    EXPECT_TRUE(log.messages().empty());
    EXPECT_EQ(console.text(), "");
}

TEST_F(CameraParameterTest, SetExposureTimeSendsMicrosecondsAndAlwaysReportsSuccess) {
    useRig(rigWithCameras({cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(open(camera, "A1"));
    LogCapture log;
    ConsoleCapture console;

    EXPECT_TRUE(camera.SetExposureTime(5000));
    EXPECT_TRUE(camera.SetExposureTime(0));  // out of the camera's range: refused, still true

    EXPECT_EQ(console.text(),
              "\nCPhysicalCameraThread::SetExposureTime: 5000\n"
              "\nCPhysicalCameraThread::SetExposureTime: 0\n");
    EXPECT_EQ(cameraMessages(log),
              (std::vector<std::string>{"zetaCamera::SetExposureTime ret=0",
                                        "zetaCamera::SetExposureTime ret=-1"}));
    const auto sets = recordsOf("SetExposureTime", "A1");
    ASSERT_EQ(sets.size(), 2U);
    EXPECT_EQ(sets[0].args, "[5000]");
    EXPECT_TRUE(sets[0].ok);
    EXPECT_FALSE(sets[1].ok);
    long exposure = 0;
    EXPECT_TRUE(camera.GetExposureTime(exposure));
    EXPECT_EQ(exposure, 5000);
    EXPECT_EQ(statsOf("A1").exposureUs, 5000);
}

TEST_F(CameraParameterTest, SetGainSendsTheGainAndAlwaysReportsSuccess) {
    useRig(rigWithCameras({cameraJson("A1", R"("gainMin":1,"gainMax":24)")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(open(camera, "A1"));
    LogCapture log;
    ConsoleCapture console;

    EXPECT_TRUE(camera.SetGain(12));
    EXPECT_TRUE(camera.SetGain(30));  // above gainMax: refused, still true

    EXPECT_EQ(console.text(),
              "\nCPhysicalCameraThread::SetGain: 12\n\nCPhysicalCameraThread::SetGain: 30\n");
    EXPECT_EQ(cameraMessages(log), (std::vector<std::string>{"zetaCamera::SetGain ret=0",
                                                             "zetaCamera::SetGain ret=-1"}));
    const auto sets = recordsOf("SetGain", "A1");
    ASSERT_EQ(sets.size(), 2U);
    EXPECT_EQ(sets[0].args, "[12]");
    int gain = 0;
    EXPECT_TRUE(camera.GetGain(gain));
    EXPECT_EQ(gain, 12);
}

TEST_F(CameraParameterTest, SharpnessAndGammaReportTheLibrarysInvertedResult) {
    useRig(rigWithCameras({cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(open(camera, "A1"));
    ConsoleCapture console;

    EXPECT_TRUE(camera.SetSharpness(70));
    EXPECT_FALSE(camera.SetSharpness(101));
    EXPECT_TRUE(camera.SetGamma(150));
    EXPECT_FALSE(camera.SetGamma(0));

    EXPECT_EQ(console.text(),
              "\nCPhysicalCameraThread::SetSharpness: 70\n"
              "\nCPhysicalCameraThread::SetSharpness: 101\n"
              "\nCPhysicalCameraThread::SetGamma: 150\n"
              "\nCPhysicalCameraThread::SetGamma: 0\n");
    const auto sets = recordsOf("SetCameraIntParam", "A1");
    ASSERT_EQ(sets.size(), 4U);
    EXPECT_EQ(sets[0].args, "[6,70]");
    EXPECT_EQ(sets[2].args, "[7,150]");
    int sharpness = 0;
    int gamma = 0;
    EXPECT_TRUE(camera.GetSharpness(sharpness));
    EXPECT_TRUE(camera.GetGamma(gamma));
    EXPECT_EQ(sharpness, 70);
    EXPECT_EQ(gamma, 150);
}

TEST_F(CameraParameterTest, TriggerModeIsFreeRunOrTriggered) {
    useRig(rigWithCameras({cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(open(camera, "A1"));
    int mode = -1;

    EXPECT_TRUE(camera.SetTriggerMode(5));
    EXPECT_TRUE(camera.GetTriggerMode(mode));
    EXPECT_EQ(mode, 1);
    EXPECT_TRUE(camera.SetTriggerMode(0));
    EXPECT_TRUE(camera.GetTriggerMode(mode));
    EXPECT_EQ(mode, 0);
    const auto sets = recordsOf("SetTriggerMode", "A1");
    ASSERT_EQ(sets.size(), 2U);
    EXPECT_EQ(sets[0].args, "[1,0,0,0]");
    EXPECT_EQ(sets[1].args, "[0,0,0,0]");
}

TEST_F(CameraParameterTest, BinningSucceedsWithTheLibrarysNonZeroResult) {
    useRig(rigWithCameras({cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(open(camera, "A1"));

    EXPECT_TRUE(camera.SetBinning(2));
    EXPECT_FALSE(camera.SetBinning(5));
    const auto sets = recordsOf("SetBinningSize", "A1");
    ASSERT_EQ(sets.size(), 2U);
    EXPECT_EQ(sets[0].args, "[2]");
    EXPECT_TRUE(sets[0].ok);
    EXPECT_FALSE(sets[1].ok);
}

TEST_F(CameraParameterTest, AutoWhiteBalanceBalancesFromZeroAndStoresTheRatios) {
    useRig(rigWithCameras({cameraJson("C1", R"("format":17)")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(open(camera, "C1"));
    LogCapture log;
    float r = 3.0f, g = 3.0f, b = 3.0f;

    EXPECT_TRUE(camera.AutoWhiteBalance(true, r, g, b));
    EXPECT_FLOAT_EQ(r, 1.25f);
    EXPECT_FLOAT_EQ(g, 1.0f);
    EXPECT_FLOAT_EQ(b, 1.5f);
    float sr = 0, sg = 0, sb = 0;
    camera.GetWhiteBalanceRatio(sr, sg, sb);
    EXPECT_FLOAT_EQ(sr, 1.25f);
    EXPECT_FLOAT_EQ(sg, 1.0f);
    EXPECT_FLOAT_EQ(sb, 1.5f);
    EXPECT_EQ(lastRecordOf("AutoWhiteBalance").args, "[true,0.0,0.0,0.0]");
    EXPECT_EQ(countExact(log, "AutoWhiteBalance bOperateOrSet=1rRatio=3gRatio=3bRatio=3"), 1);

    r = 2.0f;
    g = 1.0f;
    b = 0.5f;
    EXPECT_TRUE(camera.AutoWhiteBalance(false, r, g, b));
    EXPECT_EQ(lastRecordOf("AutoWhiteBalance").args, "[false,2.0,1.0,0.5]");
    camera.GetWhiteBalanceRatio(sr, sg, sb);
    EXPECT_FLOAT_EQ(sr, 2.0f);
    EXPECT_FLOAT_EQ(sg, 1.0f);
    EXPECT_FLOAT_EQ(sb, 0.5f);
}

TEST_F(CameraParameterTest, FailedWhiteBalanceKeepsTheStoredRatios) {
    useRig(rigWithCameras({cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(open(camera, "A1"));
    float r = 2.0f, g = 2.0f, b = 2.0f;

    EXPECT_FALSE(camera.AutoWhiteBalance(true, r, g, b));  // a mono camera cannot balance
    EXPECT_FLOAT_EQ(r, 2.0f);
    float sr = 0, sg = 0, sb = 0;
    camera.GetWhiteBalanceRatio(sr, sg, sb);
    EXPECT_FLOAT_EQ(sr, -1.0f);
    EXPECT_FLOAT_EQ(sg, -1.0f);
    EXPECT_FLOAT_EQ(sb, -1.0f);
}

TEST_F(CameraParameterTest, GettersReportTheWholeFrameSerialAndFormat) {
    useRig(rigWithCameras({cameraJson("B2", R"("format":17,"sensors":2)", 32, 8)}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "B2", 64, 8));
    int width = 0, height = 0, format = 0;
    std::string serial;

    EXPECT_TRUE(camera.GetResolution(width, height));
    EXPECT_EQ(width, 64);
    EXPECT_EQ(height, 8);
    EXPECT_TRUE(camera.GetSerialNumber(serial));
    EXPECT_EQ(serial, "B2");
    EXPECT_TRUE(camera.GetColorFormat(format));
    EXPECT_EQ(format, 17);
}

struct ModeCase {
    int format;
    int colorMode;
    int channels;
};

class CameraColorModeTest : public CameraThreadTest,
                            public ::testing::WithParamInterface<ModeCase> {};

TEST_P(CameraColorModeTest, ColourModeAndChannelsFollowTheFormat) {
    const ModeCase c = GetParam();
    useRig(rigWithCameras({cameraJson("A1", R"("format":)" + std::to_string(c.format))}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    EXPECT_EQ(camera.GetColorMode(), c.colorMode);
    EXPECT_EQ(camera.GetChannelNum(), c.channels);
}

INSTANTIATE_TEST_SUITE_P(Formats, CameraColorModeTest,
                         ::testing::Values(ModeCase{1, 0, 1}, ModeCase{2, 1, 2}, ModeCase{16, 2, 1},
                                           ModeCase{17, 3, 3}, ModeCase{18, 0, 6}));

TEST_F(CameraParameterTest, FailedFormatQueryGivesNoColourModeAndNoChannels) {
    useRig(rigWithCameras({cameraJson("C1", R"("format":17)")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(open(camera, "C1"));
    zeta::sim::failNext("C1", "GetColorMode", 2);
    EXPECT_EQ(camera.GetColorMode(), -1);
    EXPECT_EQ(camera.GetChannelNum(), 0);
    EXPECT_EQ(camera.GetColorMode(), 3);
}

TEST_F(CameraParameterTest, TimeStampSourceIsPassedOnAndAlwaysReportsSuccess) {
    useRig(rigWithCameras({cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(open(camera, "A1"));
    LogCapture log;

    EXPECT_TRUE(camera.SpecifiedCameraTimeStampSource(1));
    EXPECT_TRUE(camera.SpecifiedCameraTimeStampSource(7));  // refused by the camera
    EXPECT_EQ(cameraMessages(log),
              (std::vector<std::string>{"SpecifiedCameraTimeStampSource timeStampSrc=1",
                                        "SpecifiedCameraTimeStampSource timeStampSrc=7"}));
    const auto sets = recordsOf("SpecifiedCameraTimeStampSource", "A1");
    ASSERT_EQ(sets.size(), 2U);
    EXPECT_EQ(sets[0].args, "[1]");
    EXPECT_TRUE(sets[0].ok);
    EXPECT_FALSE(sets[1].ok);
}

TEST_F(CameraParameterTest, ResetCameraStateReturnsTheLibrarysResult) {
    useRig(rigWithCameras({cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(open(camera, "A1"));
    LogCapture log;

    EXPECT_TRUE(camera.ResetCameraState());
    ASSERT_TRUE(zeta::sim::unplug("A1"));
    EXPECT_FALSE(camera.ResetCameraState());
    ASSERT_TRUE(zeta::sim::replug("A1"));
    EXPECT_EQ(cameraMessages(log),
              (std::vector<std::string>{"ResetCameraState 0", "ResetCameraState ret=1",
                                        "ResetCameraState 0", "ResetCameraState ret=0"}));
    EXPECT_EQ(recordsOf("ResetCameraState", "A1").size(), 2U);
}

TEST_F(CameraParameterTest, SetCameraToInitializedStateEmptiesTheQueueAndForgetsTheFrame) {
    useRig(rigWithCameras({cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(open(camera, "A1"));
    std::vector<unsigned char> buffer(64 * 48);
    unsigned char* target = buffer.data();
    ASSERT_TRUE(camera.SnapShot(target, buffer.size()));
    ASSERT_NE(camera.currentFrame(), nullptr);
    camera.setFrameSequence(7);
    LogCapture log;
    zeta::sim::clearJournal();

    camera.SetCameraToInitializedState();

    EXPECT_EQ(camera.currentFrame(), nullptr);
    EXPECT_EQ(camera.frameSequence(), 0);
    EXPECT_EQ(cameraMessages(log),
              (std::vector<std::string>{
                  "SetCameraToInitializedState 0", "SetCameraToInitializedState 1",
                  "SetCameraToInitializedState 2", "SetCameraToInitializedState 3",
                  "SetCameraToInitializedState 4", "SetCameraToInitializedState 5"}));
    std::vector<std::string> ops;
    for (const auto& record : zeta::sim::journal()) ops.push_back(record.op + record.args);
    EXPECT_EQ(ops,
              (std::vector<std::string>{"LockSnapThread[true]", "SetCameraToInitializedState[]",
                                        "LockSnapThread[false]"}));
}

TEST_F(CameraParameterTest, GetDeviceTotalCountsTheCamerasOfTheHandlesType) {
    useRig(
        rigWithCameras({cameraJson("A1"), cameraJson("A2"), cameraJson("X1", R"("type":"XY")")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(open(camera, "A1"));
    int total = 0;
    EXPECT_TRUE(camera.GetDeviceTotal(total));
    EXPECT_EQ(total, 2);
    zeta::sim::failNext("A1", "GetDeviceTotal", 1);
    EXPECT_FALSE(camera.GetDeviceTotal(total));
}

TEST_F(CameraParameterTest, PrintFlagAndComplexInfoAreStored) {
    useRig(rigWithCameras({cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    EXPECT_EQ(camera.GetCameraComplexInfo(), 1);
    camera.SetCameraComplexInfo(2);
    EXPECT_EQ(camera.GetCameraComplexInfo(), 2);
    EXPECT_EQ(camera.GetCameraID(), -1);
    EXPECT_FALSE(camera.IsOpen());
    EXPECT_FALSE(camera.IsLastSnapOk());
    EXPECT_TRUE(camera.SetResolution(640, 512));  // the base camera has no presets
}

}  // namespace
}  // namespace zeta::camera::test
