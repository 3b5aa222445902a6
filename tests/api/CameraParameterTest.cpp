// Camera parameters through the public header, on the virtual scanner.
#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ApiTestSupport.h"

namespace {

using namespace zetaVoroSync;
using namespace zeta::api::test;
using zeta::sim::test::useRig;

// Cameras 0 and 1 mono (ZV0001, ZV0002), camera 2 colour (ZV0003).
class ApiCamera : public ::testing::Test {
protected:
    void SetUp() override {
        useRig(smallRig());
        connection_ =
            std::make_unique<Connection>(std::vector<std::string>{"ZV0001", "ZV0002", "ZV0003"});
        ASSERT_EQ(connection_->status(), RET_OPERATE_SUCCESS);
        mark_ = journalMark();
    }
    void TearDown() override { connection_.reset(); }

    void*& handle() { return connection_->handle(); }
    std::string lastArgs(const std::string& op, const std::string& dev) const {
        auto records = recordsSince(mark_, op, dev);
        return records.empty() ? "<none>" : records.back().args;
    }

    std::unique_ptr<Connection> connection_;
    std::uint64_t mark_ = 0;
};

TEST_F(ApiCamera, GetConnectCameraCount) {
    int count = 0;
    EXPECT_EQ(GetConnectCameraCount(handle(), count), RET_OPERATE_SUCCESS);
    EXPECT_EQ(count, 3);
}

TEST_F(ApiCamera, Exposure) {
    EXPECT_EQ(SetCameraExposure(handle(), 1, 5.0), RET_OPERATE_SUCCESS);
    EXPECT_EQ(lastArgs("SetExposureTime", "ZV0002"), "[5000]");
    double exposure = 0.0;
    EXPECT_EQ(GetCameraExposure(handle(), 1, exposure), RET_OPERATE_SUCCESS);
    EXPECT_DOUBLE_EQ(exposure, 5.0);
    zeta::sim::CameraStats stats;
    ASSERT_TRUE(zeta::sim::cameraStats("ZV0002", stats));
    EXPECT_EQ(stats.exposureUs, 5000);
}

// An exposure that has no microseconds the camera can take is refused; the camera keeps its
// exposure and hears nothing of it.
TEST_F(ApiCamera, ExposureThatIsNotANumberOrOutOfRangeIsAParameterError) {
    ASSERT_EQ(SetCameraExposure(handle(), 1, 5.0), RET_OPERATE_SUCCESS);
    const auto mark = journalMark();
    for (double ms :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
          -std::numeric_limits<double>::infinity(), 1e300, 3e9}) {
        EXPECT_EQ(SetCameraExposure(handle(), 1, ms), RET_PARAMETER_ERROR) << ms;
    }
    EXPECT_TRUE(trafficSince(mark).empty());
    double exposure = 0.0;
    EXPECT_EQ(GetCameraExposure(handle(), 1, exposure), RET_OPERATE_SUCCESS);
    EXPECT_DOUBLE_EQ(exposure, 5.0);
}

TEST_F(ApiCamera, Gain) {
    EXPECT_EQ(SetCameraGain(handle(), 0, 3), RET_OPERATE_SUCCESS);
    EXPECT_EQ(lastArgs("SetGain", "ZV0001"), "[3]");
    int gain = -1;
    EXPECT_EQ(GetCameraGain(handle(), 0, gain), RET_OPERATE_SUCCESS);
    EXPECT_EQ(gain, 3);
}

TEST_F(ApiCamera, Sharpness) {
    EXPECT_EQ(SetCameraSharpness(handle(), 1, 40), RET_OPERATE_SUCCESS);
    EXPECT_EQ(lastArgs("SetCameraIntParam", "ZV0002"), "[6,40]");
    int sharpness = -1;
    EXPECT_EQ(GetCameraSharpness(handle(), 1, sharpness), RET_OPERATE_SUCCESS);
    EXPECT_EQ(sharpness, 40);
}

TEST_F(ApiCamera, Gamma) {
    EXPECT_EQ(SetCameraGamma(handle(), 0, 150), RET_OPERATE_SUCCESS);
    EXPECT_EQ(lastArgs("SetCameraIntParam", "ZV0001"), "[7,150]");
    int gamma = -1;
    EXPECT_EQ(GetCameraGamma(handle(), 0, gamma), RET_OPERATE_SUCCESS);
    EXPECT_EQ(gamma, 150);
}

TEST_F(ApiCamera, TriggerModeAnyNonZeroIsTriggered) {
    EXPECT_EQ(SetCameraTriggerMode(handle(), 0, static_cast<TRIGGERMODE>(5)), RET_OPERATE_SUCCESS);
    EXPECT_EQ(lastArgs("SetTriggerMode", "ZV0001").rfind("[1", 0), 0u);
    TRIGGERMODE mode = TRIGGERMODE_FREERUN;
    EXPECT_EQ(GetCameraTriggerMode(handle(), 0, mode), RET_OPERATE_SUCCESS);
    EXPECT_EQ(mode, TRIGGERMODE_TRIGGERED);
    EXPECT_EQ(SetCameraTriggerMode(handle(), 0, TRIGGERMODE_FREERUN), RET_OPERATE_SUCCESS);
    EXPECT_EQ(lastArgs("SetTriggerMode", "ZV0001").rfind("[0", 0), 0u);
    EXPECT_EQ(GetCameraTriggerMode(handle(), 0, mode), RET_OPERATE_SUCCESS);
    EXPECT_EQ(mode, TRIGGERMODE_FREERUN);
}

TEST_F(ApiCamera, SerialNumberIsMallocdForTheCaller) {
    char* serial = nullptr;
    EXPECT_EQ(GetCameraSerialNumber(handle(), 1, serial), RET_OPERATE_SUCCESS);
    ASSERT_NE(serial, nullptr);
    EXPECT_STREQ(serial, "ZV0002");
    // A non-null target is refused and left as it is.
    char* kept = serial;
    EXPECT_EQ(GetCameraSerialNumber(handle(), 0, serial), RET_PARAMETER_ERROR);
    EXPECT_EQ(serial, kept);
    std::free(serial);
}

TEST_F(ApiCamera, Resolution) {
    int width = 0, height = 0;
    EXPECT_EQ(GetCameraResolution(handle(), 2, width, height), RET_OPERATE_SUCCESS);
    EXPECT_EQ(width, 64);
    EXPECT_EQ(height, 48);
}

TEST_F(ApiCamera, IsCameraColor) {
    bool color = true;
    EXPECT_EQ(IsCameraColor(handle(), 0, color), RET_OPERATE_SUCCESS);
    EXPECT_FALSE(color);
    EXPECT_EQ(IsCameraColor(handle(), 2, color), RET_OPERATE_SUCCESS);
    EXPECT_TRUE(color);
}

TEST_F(ApiCamera, WhiteBalanceOfTheColourCamera) {
    float r = 0.0f, b = 0.0f;
    // Never balanced yet: no ratios to report.
    EXPECT_EQ(GetSpecifyCameraWBRatio(handle(), 2, r, b), RET_OPERATE_FAILED);
    EXPECT_EQ(SpecifyCameraDoWhiteBalance(handle(), 2, r, b), RET_OPERATE_SUCCESS);
    EXPECT_FLOAT_EQ(r, 1.25f);
    EXPECT_FLOAT_EQ(b, 1.5f);
    EXPECT_EQ(recordsSince(mark_, "AutoWhiteBalance", "ZV0003").size(), 1u);
    float r2 = 0.0f, b2 = 0.0f;
    EXPECT_EQ(GetSpecifyCameraWBRatio(handle(), 2, r2, b2), RET_OPERATE_SUCCESS);
    EXPECT_FLOAT_EQ(r2, 1.25f);
    EXPECT_FLOAT_EQ(b2, 1.5f);
}

TEST_F(ApiCamera, WhiteBalanceOfAMonoCameraIsUnsupported) {
    float r = 0.0f, b = 0.0f;
    EXPECT_EQ(SpecifyCameraDoWhiteBalance(handle(), 0, r, b), RET_OPERATION_UNSUPPORTED);
    EXPECT_EQ(GetSpecifyCameraWBRatio(handle(), 0, r, b), RET_OPERATION_UNSUPPORTED);
    EXPECT_TRUE(recordsSince(mark_, "AutoWhiteBalance").empty());
}

TEST_F(ApiCamera, BinningModesOtherThanOneToThreeMeanNoBinning) {
    const std::pair<int, int> cases[] = {{1, 2}, {2, 3}, {3, 4}, {0, 0}, {5, 0}, {-2, 0}};
    for (auto [mode, size] : cases) {
        EXPECT_EQ(SetCameraBinning(handle(), 0, static_cast<BINNING_MODE>(mode)),
                  RET_OPERATE_SUCCESS)
            << mode;
        EXPECT_EQ(lastArgs("SetBinningSize", "ZV0001"), "[" + std::to_string(size) + "]") << mode;
    }
}

TEST_F(ApiCamera, ChannelNumbers) {
    int channels = 0;
    EXPECT_EQ(GetSpecifyCameraChannelNum(handle(), 0, channels), RET_OPERATE_SUCCESS);
    EXPECT_EQ(channels, 1);
    EXPECT_EQ(GetSpecifyCameraChannelNum(handle(), 2, channels), RET_OPERATE_SUCCESS);
    EXPECT_EQ(channels, 3);
}

TEST_F(ApiCamera, PrintCameraSnapFailInfomation) {
    EXPECT_EQ(PrintCameraSnapFailInfomation(handle(), true), RET_OPERATE_SUCCESS);
    EXPECT_EQ(PrintCameraSnapFailInfomation(handle(), false), RET_OPERATE_SUCCESS);
    EXPECT_TRUE(recordsSince(mark_, "", "board").empty());
}

// Every per-camera operation refuses a camera index outside the serial list and touches
// nothing.
TEST_F(ApiCamera, OutOfRangeCameraIndexIsAParameterError) {
    for (int index : {3, -1, 100}) {
        double exposure = -3.0;
        int value = -3;
        TRIGGERMODE mode = static_cast<TRIGGERMODE>(-3);
        char* serial = nullptr;
        int width = -3, height = -3;
        bool color = true;
        float r = -3.0f, b = -3.0f;
        EXPECT_EQ(SetCameraExposure(handle(), index, 5.0), RET_PARAMETER_ERROR);
        EXPECT_EQ(GetCameraExposure(handle(), index, exposure), RET_PARAMETER_ERROR);
        EXPECT_EQ(SetCameraGain(handle(), index, 2), RET_PARAMETER_ERROR);
        EXPECT_EQ(GetCameraGain(handle(), index, value), RET_PARAMETER_ERROR);
        EXPECT_EQ(SetCameraSharpness(handle(), index, 2), RET_PARAMETER_ERROR);
        EXPECT_EQ(GetCameraSharpness(handle(), index, value), RET_PARAMETER_ERROR);
        EXPECT_EQ(SetCameraGamma(handle(), index, 2), RET_PARAMETER_ERROR);
        EXPECT_EQ(GetCameraGamma(handle(), index, value), RET_PARAMETER_ERROR);
        EXPECT_EQ(SetCameraTriggerMode(handle(), index, TRIGGERMODE_TRIGGERED),
                  RET_PARAMETER_ERROR);
        EXPECT_EQ(GetCameraTriggerMode(handle(), index, mode), RET_PARAMETER_ERROR);
        EXPECT_EQ(GetCameraSerialNumber(handle(), index, serial), RET_PARAMETER_ERROR);
        EXPECT_EQ(GetCameraResolution(handle(), index, width, height), RET_PARAMETER_ERROR);
        EXPECT_EQ(IsCameraColor(handle(), index, color), RET_PARAMETER_ERROR);
        EXPECT_EQ(SpecifyCameraDoWhiteBalance(handle(), index, r, b), RET_PARAMETER_ERROR);
        EXPECT_EQ(GetSpecifyCameraWBRatio(handle(), index, r, b), RET_PARAMETER_ERROR);
        EXPECT_EQ(SetCameraBinning(handle(), index, BINNING_2X2), RET_PARAMETER_ERROR);
        EXPECT_EQ(GetSpecifyCameraChannelNum(handle(), index, value), RET_PARAMETER_ERROR);
        EXPECT_EQ(serial, nullptr);
        EXPECT_EQ(mode, static_cast<TRIGGERMODE>(-3));
    }
    EXPECT_TRUE(trafficSince(mark_).empty());
}

}  // namespace
