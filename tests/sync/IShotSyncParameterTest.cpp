// Per-camera parameter slots (35-50, 74): the camera traffic each one causes, the stored lists,
// the first-set rule of the colour cameras, and the status codes for bad and missing cameras.
#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
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
using zeta::test::LogCapture;

// Camera numbers of the rig below.
constexpr int kMono = 0;    // M1, format 1
constexpr int kRgb = 1;     // C1, format 17 (colour)
constexpr int kRaw = 2;     // R1, format 16 (colour)
constexpr int kRgb48 = 3;   // H1, format 18 (colour when enumerated, mono here)
constexpr int kMono16 = 4;  // D1, format 2

// Journal records of camera operations other than those the grab threads make on their own
// (the format query at their start, the resolution read with every frame, the snapshots).
std::size_t parameterTraffic() {
    std::size_t n = 0;
    for (const auto& record : zeta::sim::journal()) {
        if (record.op != "GetColorMode" && record.op != "GetResolution" &&
            record.op != "SnapShot") {
            ++n;
        }
    }
    return n;
}

class IShotSyncParameterTest : public ::testing::Test {
protected:
    void SetUp() override {
        zeta::sync::test::resetProcessWideState();
        useRig(rigWithCameras({cam("M1"), cam("C1", 64, 48, 17), cam("R1", 64, 48, 16),
                               cam("H1", 64, 48, 18), cam("D1", 64, 48, 2)}));
        ASSERT_EQ(connect(sync_, {"M1", "C1", "R1", "H1", "D1"}, {64, 64, 64, 64, 64},
                          {48, 48, 48, 48, 48}),
                  0);
        zeta::sim::clearJournal();
    }
    void TearDown() override { zeta::sim::clearFailures(); }

    // Adds a logical camera whose thread (index 5) does not exist.
    int addMissingCamera() {
        sync_.StopGrabThreads();  // the display handler reads the channel words
        sync_.m_cameraChannels.push_back(0x550);
        zeta::sim::clearJournal();
        return static_cast<int>(sync_.m_cameraChannels.size()) - 1;
    }

    CSyncBProbe sync_;
};

TEST_F(IShotSyncParameterTest, ExposureIsSentInMicrosecondsAndStored) {
    LogCapture log;
    EXPECT_EQ(sync_.SetCameraExposureTime(kMono, 12.5), 0);
    EXPECT_EQ(argsOf("SetExposureTime", "M1"), (std::vector<std::string>{"[12500]"}));
    EXPECT_EQ(sync_.m_cameraExposure[kMono], 12500);
    EXPECT_EQ(sync_.m_textureExposure, (std::vector<int>{12}));
    EXPECT_TRUE(
        log.contains("IShotSync::SetCameraExposureTime color=0m_firstSetTextureExposure=1"
                     "camOrder=0camCount=5exposureTime=12.5"));
    double ms = 0.0;
    EXPECT_EQ(sync_.GetCameraExposure(kMono, ms), 0);
    EXPECT_DOUBLE_EQ(ms, 12.5);

    // The texture list grows with entries of 5 up to the thread index.
    EXPECT_EQ(sync_.SetCameraExposureTime(kMono16, 3.7), 0);
    EXPECT_EQ(argsOf("SetExposureTime", "D1"), (std::vector<std::string>{"[3700]"}));
    EXPECT_EQ(sync_.m_textureExposure, (std::vector<int>{12, 5, 5, 5, 3}));
    // A mono camera is set every time.
    EXPECT_EQ(sync_.SetCameraExposureTime(kMono, 2.0), 0);
    EXPECT_EQ(argsOf("SetExposureTime", "M1").size(), 2u);
    EXPECT_TRUE(sync_.m_firstSetTextureExposure);
}

TEST_F(IShotSyncParameterTest, OnlyTheFirstExposureOfAColourCameraTakesEffect) {
    LogCapture log;
    EXPECT_EQ(sync_.SetCameraExposureTime(kRgb, 20.0), 0);
    EXPECT_FALSE(sync_.m_firstSetTextureExposure);
    EXPECT_EQ(sync_.SetCameraExposureTime(kRgb, 30.0), 0);
    // Process-wide: another colour camera is refused too.
    EXPECT_EQ(sync_.SetCameraExposureTime(kRaw, 30.0), 0);
    EXPECT_EQ(argsOf("SetExposureTime", "C1"), (std::vector<std::string>{"[20000]"}));
    EXPECT_TRUE(argsOf("SetExposureTime", "R1").empty());
    EXPECT_EQ(sync_.m_cameraExposure[kRgb], 20000);
    EXPECT_EQ(sync_.m_cameraExposure[kRaw], 0);
    double ms = 0.0;
    EXPECT_EQ(sync_.GetCameraExposure(kRgb, ms), 0);
    EXPECT_DOUBLE_EQ(ms, 20.0);
    EXPECT_TRUE(
        log.contains("IShotSync::SetCameraExposureTime color=3m_firstSetTextureExposure=0"
                     "camOrder=1camCount=5exposureTime=30"));
}

// An exposure whose microseconds the camera cannot take (NaN, an infinity, or past what a
// 32-bit long holds, the camera library's long on Windows and the int the slot stores) is a bad
// argument: nothing is sent to the camera and nothing stored.
TEST_F(IShotSyncParameterTest, AnExposureWithoutMicrosecondsTheCameraCanTakeIsRefused) {
    ASSERT_EQ(sync_.SetCameraExposureTime(kMono, 12.5), 0);
    zeta::sim::clearJournal();
    const double refused[] = {std::numeric_limits<double>::quiet_NaN(),
                              std::numeric_limits<double>::infinity(),
                              -std::numeric_limits<double>::infinity(),
                              1e300,
                              -1e300,
                              2147483.649,   // just past 2^31 - 1 microseconds
                              -2147483.650,  // just past -2^31
                              3e9};          // fits a 64-bit long, not a 32-bit one
    for (double ms : refused) {
        EXPECT_EQ(sync_.SetCameraExposureTime(kMono, ms), 1) << ms;
    }
    EXPECT_TRUE(recordsOf("SetExposureTime").empty());
    EXPECT_EQ(parameterTraffic(), 0u);
    EXPECT_EQ(sync_.m_cameraExposure[kMono], 12500);
    EXPECT_EQ(sync_.m_textureExposure, (std::vector<int>{12}));

    // Values close to the limits are sent (the camera judges them).
    EXPECT_EQ(sync_.SetCameraExposureTime(kMono, 2147483.5), 0);
    EXPECT_EQ(sync_.SetCameraExposureTime(kMono, -2147483.5), 0);
    EXPECT_EQ(argsOf("SetExposureTime", "M1"),
              (std::vector<std::string>{"[2147483500]", "[-2147483500]"}));
    EXPECT_EQ(sync_.m_cameraExposure[kMono], -2147483500);
    EXPECT_EQ(sync_.m_textureExposure, (std::vector<int>{-2147483}));
}

// A refused exposure is not a colour camera's first one: the next good value still takes effect.
TEST_F(IShotSyncParameterTest, ARefusedExposureLeavesAColourCamerasFirstSettingToCome) {
    EXPECT_EQ(sync_.SetCameraExposureTime(kRgb, std::numeric_limits<double>::quiet_NaN()), 1);
    EXPECT_TRUE(sync_.m_firstSetTextureExposure);
    EXPECT_TRUE(recordsOf("SetExposureTime").empty());
    EXPECT_EQ(sync_.SetCameraExposureTime(kRgb, 20.0), 0);
    EXPECT_EQ(argsOf("SetExposureTime", "C1"), (std::vector<std::string>{"[20000]"}));
    EXPECT_FALSE(sync_.m_firstSetTextureExposure);
}

TEST_F(IShotSyncParameterTest, OnlyTheFirstGainOfAColourCameraTakesEffect) {
    LogCapture log;
    EXPECT_EQ(sync_.SetCameraGain(kMono, 7), 0);
    EXPECT_EQ(sync_.SetCameraGain(kMono, 8), 0);
    EXPECT_EQ(argsOf("SetGain", "M1"), (std::vector<std::string>{"[7]", "[8]"}));
    EXPECT_EQ(sync_.m_cameraGain[kMono], 8);
    EXPECT_TRUE(
        log.contains("IShotSync::SetCameraGain color=0m_firstSetTextureGain=1camOrder=0gain=7"));

    EXPECT_EQ(sync_.SetCameraGain(kRgb, 5), 0);
    EXPECT_EQ(sync_.SetCameraGain(kRgb, 6), 0);
    EXPECT_EQ(argsOf("SetGain", "C1"), (std::vector<std::string>{"[5]"}));
    EXPECT_EQ(sync_.m_cameraGain[kRgb], 5);
    EXPECT_TRUE(
        log.contains("IShotSync::SetCameraGain color=3m_firstSetTextureGain=0camOrder=1gain=6"));
    int gain = 0;
    EXPECT_EQ(sync_.GetCameraGain(kRgb, gain), 0);
    EXPECT_EQ(gain, 5);
}

TEST_F(IShotSyncParameterTest, SharpnessAndGammaAreCameraIntParameters6And7) {
    EXPECT_EQ(sync_.SetCameraSharpness(kMono, 40), 0);
    EXPECT_EQ(sync_.SetCameraGamma(kMono, 150), 0);
    EXPECT_EQ(argsOf("SetCameraIntParam", "M1"), (std::vector<std::string>{"[6,40]", "[7,150]"}));
    EXPECT_EQ(sync_.m_cameraSharpness[kMono], 40);
    EXPECT_EQ(sync_.m_cameraGamma[kMono], 150);
    int value = 0;
    EXPECT_EQ(sync_.GetCameraSharpness(kMono, value), 0);
    EXPECT_EQ(value, 40);
    EXPECT_EQ(sync_.GetCameraGamma(kMono, value), 0);
    EXPECT_EQ(value, 150);
    // 0 whatever the camera answered; the value is stored all the same.
    EXPECT_EQ(sync_.SetCameraSharpness(kMono, 500), 0);
    EXPECT_FALSE(recordsOf("SetCameraIntParam", "M1").back().ok);
    EXPECT_EQ(sync_.m_cameraSharpness[kMono], 500);
}

TEST_F(IShotSyncParameterTest, TriggerModeIsSetWithThreeZeroArguments) {
    int mode = -1;
    EXPECT_EQ(sync_.SetCameraTriggerMode(kMono, 5), 0);
    EXPECT_EQ(sync_.GetCameraTriggerMode(kMono, mode), 0);
    EXPECT_EQ(mode, 1);
    EXPECT_EQ(sync_.SetCameraTriggerMode(kMono, 0), 0);
    EXPECT_EQ(sync_.GetCameraTriggerMode(kMono, mode), 0);
    EXPECT_EQ(mode, 0);
    EXPECT_EQ(argsOf("SetTriggerMode", "M1"), (std::vector<std::string>{"[1,0,0,0]", "[0,0,0,0]"}));
}

TEST_F(IShotSyncParameterTest, BinningModesMapToBinningSizes) {
    for (int mode : {1, 2, 3, 5, 0}) EXPECT_EQ(sync_.SetCameraBinning(kMono, mode), 0);
    EXPECT_EQ(argsOf("SetBinningSize", "M1"),
              (std::vector<std::string>{"[2]", "[3]", "[4]", "[0]", "[0]"}));
    zeta::sim::failNext("M1", "SetBinningSize", 1);
    EXPECT_EQ(sync_.SetCameraBinning(kMono, 1), 1);
}

TEST_F(IShotSyncParameterTest, WhiteBalanceNeedsAColourCamera) {
    float r = 0.0f;
    float b = 0.0f;
    EXPECT_EQ(sync_.SpecifyCameraDoWhiteBalance(kMono, r, b), 3);
    // Format 18 reports colour-mode code 0: not a colour camera for the synchroniser.
    EXPECT_EQ(sync_.SpecifyCameraDoWhiteBalance(kRgb48, r, b), 3);
    EXPECT_TRUE(recordsOf("AutoWhiteBalance").empty());
    EXPECT_EQ(sync_.GetSpecifyCameraWBRatio(kMono, r, b), 3);

    // Never balanced: the stored ratios are still -1.
    EXPECT_EQ(sync_.GetSpecifyCameraWBRatio(kRgb, r, b), 4);

    // Zero ratios: the camera balances itself.
    EXPECT_EQ(sync_.SpecifyCameraDoWhiteBalance(kRgb, r, b), 0);
    EXPECT_FLOAT_EQ(r, 1.25f);
    EXPECT_FLOAT_EQ(b, 1.5f);
    auto records = recordsOf("AutoWhiteBalance", "C1");
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].args.rfind("[true,", 0), 0u) << records[0].args;

    // Non-zero ratios are applied, with a green ratio of 0: the camera refuses a ratio of 0,
    // so applying ratios fails (4) and the stored ratios stay those of the last balance.
    r = 2.0f;
    b = 3.0f;
    EXPECT_EQ(sync_.SpecifyCameraDoWhiteBalance(kRgb, r, b), 4);
    records = recordsOf("AutoWhiteBalance", "C1");
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[1].args, "[false,2.0,0.0,3.0]");
    EXPECT_FALSE(records[1].ok);
    float rr = 0.0f;
    float bb = 0.0f;
    EXPECT_EQ(sync_.GetSpecifyCameraWBRatio(kRgb, rr, bb), 0);
    EXPECT_FLOAT_EQ(rr, 1.25f);
    EXPECT_FLOAT_EQ(bb, 1.5f);

    zeta::sim::failNext("C1", "AutoWhiteBalance", 1);
    r = 0.0f;
    b = 0.0f;
    EXPECT_EQ(sync_.SpecifyCameraDoWhiteBalance(kRgb, r, b), 4);
}

TEST_F(IShotSyncParameterTest, SerialNumberIsACopyTheCallerFrees) {
    char* serial = reinterpret_cast<char*>(&sync_);
    EXPECT_EQ(sync_.GetCameraSerialNumber(kRgb, serial), 1);
    serial = nullptr;
    ASSERT_EQ(sync_.GetCameraSerialNumber(kRgb, serial), 0);
    ASSERT_NE(serial, nullptr);
    EXPECT_STREQ(serial, "C1");
    std::free(serial);
    serial = nullptr;
    EXPECT_EQ(sync_.GetCameraSerialNumber(addMissingCamera(), serial), 2);
    EXPECT_EQ(serial, nullptr);
}

TEST_F(IShotSyncParameterTest, ResolutionColourAndChannelsFollowTheFormat) {
    int width = 0;
    int height = 0;
    EXPECT_EQ(sync_.GetCameraResolution(kMono, width, height), 0);
    EXPECT_EQ(width, 64);
    EXPECT_EQ(height, 48);

    const bool expectedColour[] = {false, true, true, false, false};
    const int expectedChannels[] = {1, 3, 1, 6, 2};
    for (int camOrder = 0; camOrder < 5; ++camOrder) {
        bool colour = !expectedColour[camOrder];
        EXPECT_EQ(sync_.IsCameraColor(camOrder, colour), 0);
        EXPECT_EQ(colour, expectedColour[camOrder]) << camOrder;
        int channels = 0;
        EXPECT_EQ(sync_.GetSpecifyCameraChannelNum(camOrder, channels), 0);
        EXPECT_EQ(channels, expectedChannels[camOrder]) << camOrder;
    }
}

TEST_F(IShotSyncParameterTest, BadCameraNumbersGive1AndTouchNoCamera) {
    for (int camOrder : {-1, 5}) {
        double ms = 0.0;
        int value = 0;
        int width = 0;
        int height = 0;
        float r = 0.0f;
        float b = 0.0f;
        bool colour = false;
        char* serial = nullptr;
        EXPECT_EQ(sync_.SetCameraExposureTime(camOrder, 1.0), 1);
        EXPECT_EQ(sync_.GetCameraExposure(camOrder, ms), 1);
        EXPECT_EQ(sync_.SetCameraGain(camOrder, 1), 1);
        EXPECT_EQ(sync_.GetCameraGain(camOrder, value), 1);
        EXPECT_EQ(sync_.SetCameraSharpness(camOrder, 1), 1);
        EXPECT_EQ(sync_.GetCameraSharpness(camOrder, value), 1);
        EXPECT_EQ(sync_.SetCameraGamma(camOrder, 1), 1);
        EXPECT_EQ(sync_.GetCameraGamma(camOrder, value), 1);
        EXPECT_EQ(sync_.SpecifyCameraDoWhiteBalance(camOrder, r, b), 1);
        EXPECT_EQ(sync_.GetSpecifyCameraWBRatio(camOrder, r, b), 1);
        EXPECT_EQ(sync_.SetCameraTriggerMode(camOrder, 1), 1);
        EXPECT_EQ(sync_.GetCameraTriggerMode(camOrder, value), 1);
        EXPECT_EQ(sync_.GetCameraSerialNumber(camOrder, serial), 1);
        EXPECT_EQ(sync_.GetCameraResolution(camOrder, width, height), 1);
        EXPECT_EQ(sync_.IsCameraColor(camOrder, colour), 1);
        EXPECT_EQ(sync_.SetCameraBinning(camOrder, 1), 1);
        EXPECT_EQ(sync_.GetSpecifyCameraChannelNum(camOrder, value), 1);
    }
    EXPECT_EQ(parameterTraffic(), 0u) << zeta::sim::journal().back().line;
}

TEST_F(IShotSyncParameterTest, AMissingThreadGives2) {
    const int missing = addMissingCamera();
    double ms = 0.0;
    int value = 0;
    int width = 0;
    int height = 0;
    float r = 0.0f;
    float b = 0.0f;
    bool colour = true;
    EXPECT_EQ(sync_.SetCameraExposureTime(missing, 1.0), 2);
    EXPECT_EQ(sync_.GetCameraExposure(missing, ms), 2);
    EXPECT_DOUBLE_EQ(ms, -1.0);
    EXPECT_EQ(sync_.SetCameraGain(missing, 1), 2);
    EXPECT_EQ(sync_.GetCameraGain(missing, value), 2);
    EXPECT_EQ(value, -1);
    EXPECT_EQ(sync_.SetCameraSharpness(missing, 1), 2);
    EXPECT_EQ(sync_.GetCameraSharpness(missing, value), 2);
    EXPECT_EQ(sync_.SetCameraGamma(missing, 1), 2);
    EXPECT_EQ(sync_.GetCameraGamma(missing, value), 2);
    EXPECT_EQ(sync_.SpecifyCameraDoWhiteBalance(missing, r, b), 2);
    EXPECT_EQ(sync_.GetSpecifyCameraWBRatio(missing, r, b), 2);
    EXPECT_EQ(sync_.SetCameraTriggerMode(missing, 1), 2);
    EXPECT_EQ(sync_.GetCameraTriggerMode(missing, value), 2);
    EXPECT_EQ(sync_.GetCameraResolution(missing, width, height), 2);
    EXPECT_EQ(width, -1);
    EXPECT_EQ(height, -1);
    EXPECT_EQ(sync_.IsCameraColor(missing, colour), 2);
    EXPECT_FALSE(colour);
    EXPECT_EQ(sync_.SetCameraBinning(missing, 1), 2);
    EXPECT_EQ(sync_.GetSpecifyCameraChannelNum(missing, value), 2);
    EXPECT_EQ(parameterTraffic(), 0u) << zeta::sim::journal().back().line;
}

}  // namespace
