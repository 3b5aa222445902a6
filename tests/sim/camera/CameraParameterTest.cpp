// Camera parameters and the success convention of each operation.
#include "CameraTestSupport.h"

namespace zeta::sim::test {
namespace {

using namespace zetaCamera;

// An open handle on the only camera of a rig made of `camera`.
class CameraParameters : public ::testing::Test {
protected:
    void open(const std::string& camera) {
        useRig(rigWithCameras({camera}));
        ASSERT_EQ(CreateCamera(camera_.ref(), "P1"), 0);
        ASSERT_EQ(OpenCamera(camera_.get(), "P1", 0, 0), 0);
    }
    void* handle() const { return camera_.get(); }

    CameraRef camera_;
};

TEST_F(CameraParameters, PowerOnValues) {
    ASSERT_NO_FATAL_FAILURE(open(cameraJson("P1", R"("gainMin": 2, "gainMax": 30)")));
    long exposure = 0;
    ASSERT_EQ(GetExposureTime(handle(), exposure), 0);
    EXPECT_EQ(exposure, 10000);
    int gain = -1, low = -1, high = -1;
    ASSERT_EQ(GetGain(handle(), gain), 0);
    EXPECT_EQ(gain, 2);
    ASSERT_EQ(GetGainRange(handle(), low, high), 0);
    EXPECT_EQ(low, 2);
    EXPECT_EQ(high, 30);
    SN_TRIG_MODE mode = SN_TRIG_EXTERNAL;
    ASSERT_EQ(GetTriggerMode(handle(), mode), 0);
    EXPECT_EQ(mode, SN_TRIG_FREERUN);
    int value = -1;
    EXPECT_FALSE(GetCameraIntParam(handle(), CAMPARAM_SHARPNESS, value));
    EXPECT_EQ(value, 50);
    EXPECT_FALSE(GetCameraIntParam(handle(), CAMPARAM_GAMMA, value));
    EXPECT_EQ(value, 100);
    EXPECT_FALSE(GetCameraIntParam(handle(), CAMPARAM_RESOLUTION, value));
    EXPECT_EQ(value, -1);  // 64 x 48 is no preset
    const CameraStats stats = statsOf("P1");
    EXPECT_EQ(stats.exposureUs, 10000);
    EXPECT_EQ(stats.gain, 2);
    EXPECT_EQ(stats.triggerMode, 0);
    EXPECT_EQ(stats.openHandles, 1);
}

TEST_F(CameraParameters, ExposureGainAndTriggerModeAreKept) {
    ASSERT_NO_FATAL_FAILURE(open(cameraJson("P1")));
    ASSERT_EQ(SetExposureTime(handle(), 5000), 0);
    ASSERT_EQ(SetGain(handle(), 24), 0);
    ASSERT_EQ(SetTriggerMode(handle(), SN_TRIG_EXTERNAL, 2, 10, 1), 0);
    long exposure = 0;
    int gain = 0;
    SN_TRIG_MODE mode = SN_TRIG_FREERUN;
    ASSERT_EQ(GetExposureTime(handle(), exposure), 0);
    ASSERT_EQ(GetGain(handle(), gain), 0);
    ASSERT_EQ(GetTriggerMode(handle(), mode), 0);
    EXPECT_EQ(exposure, 5000);
    EXPECT_EQ(gain, 24);
    EXPECT_EQ(mode, SN_TRIG_EXTERNAL);
    const CameraStats stats = statsOf("P1");
    EXPECT_EQ(stats.exposureUs, 5000);
    EXPECT_EQ(stats.gain, 24);
    EXPECT_EQ(stats.triggerMode, 1);
    EXPECT_EQ(lastRecordOf("SetTriggerMode").args, "[1,2,10,1]");
    // The whole range is accepted.
    EXPECT_EQ(SetExposureTime(handle(), 1), 0);
    EXPECT_EQ(SetExposureTime(handle(), 10000000), 0);
    EXPECT_EQ(SetGain(handle(), 0), 0);
}

TEST_F(CameraParameters, BinningSucceedsWithNonZero) {
    ASSERT_NO_FATAL_FAILURE(open(cameraJson("P1")));
    for (int size : {0, 2, 3, 4}) {
        EXPECT_EQ(SetBinningSize(handle(), size), 1) << size;
        EXPECT_TRUE(lastRecordOf("SetBinningSize").ok);
    }
    for (int size : {1, 5, -2}) {
        EXPECT_EQ(SetBinningSize(handle(), size), 0) << size;
        EXPECT_FALSE(lastRecordOf("SetBinningSize").ok);
    }
    int width = 0, height = 0;
    ASSERT_EQ(GetResolution(handle(), width, height), 0);
    EXPECT_EQ(width, 64);  // binning is stored, the frame keeps its size
}

TEST_F(CameraParameters, IntParamsSucceedWithFalse) {
    ASSERT_NO_FATAL_FAILURE(open(cameraJson("P1")));
    EXPECT_FALSE(SetCameraIntParam(handle(), CAMPARAM_SHARPNESS, 80));
    EXPECT_FALSE(SetCameraIntParam(handle(), CAMPARAM_GAMMA, 220));
    int value = 0;
    EXPECT_FALSE(GetCameraIntParam(handle(), CAMPARAM_SHARPNESS, value));
    EXPECT_EQ(value, 80);
    EXPECT_FALSE(GetCameraIntParam(handle(), CAMPARAM_GAMMA, value));
    EXPECT_EQ(value, 220);
    EXPECT_TRUE(lastRecordOf("GetCameraIntParam").ok);
    EXPECT_EQ(lastRecordOf("GetCameraIntParam").args, "[7]");

    EXPECT_TRUE(SetCameraIntParam(handle(), CAMPARAM_SHARPNESS, 101));
    EXPECT_TRUE(SetCameraIntParam(handle(), CAMPARAM_GAMMA, 0));
    EXPECT_TRUE(SetCameraIntParam(handle(), CAMPARAM_RESOLUTION, 3));
    EXPECT_TRUE(SetCameraIntParam(handle(), static_cast<CAMPARAM>(5), 1));
    EXPECT_FALSE(lastRecordOf("SetCameraIntParam").ok);
    value = 1234;
    EXPECT_TRUE(GetCameraIntParam(handle(), static_cast<CAMPARAM>(99), value));
    EXPECT_EQ(value, 1234);
    EXPECT_FALSE(lastRecordOf("GetCameraIntParam").ok);
}

TEST_F(CameraParameters, DeviceTypeSucceedsWithTrueAndAPositiveType) {
    ASSERT_NO_FATAL_FAILURE(open(cameraJson("P1", R"("deviceType": 7)")));
    int type = 0;
    EXPECT_TRUE(GetDeviceType(handle(), type));
    EXPECT_EQ(type, 7);
}

TEST_F(CameraParameters, DeviceTypeZeroFails) {
    ASSERT_NO_FATAL_FAILURE(open(cameraJson("P1", R"("deviceType": 0)")));
    int type = 55;
    EXPECT_FALSE(GetDeviceType(handle(), type));
    EXPECT_EQ(type, 55);
    EXPECT_FALSE(lastRecordOf("GetDeviceType").ok);
}

TEST_F(CameraParameters, ResolutionPresetsResizeTheFramesOfEveryHandle) {
    ASSERT_NO_FATAL_FAILURE(
        open(cameraJson("P1", R"("width": 1280, "height": 1024, "snapTimeoutMs": 30000)")));
    CameraRef other("P1");
    ASSERT_EQ(OpenCamera(other.get(), "P1", 0, 0), 0);
    ASSERT_EQ(SetTriggerMode(handle(), SN_TRIG_EXTERNAL, 0, 0, 0), 0);
    ASSERT_EQ(StartCamera(handle(), 0.0), 0);
    ASSERT_EQ(StartCamera(other.get(), 0.0), 0);
    int value = -1;
    EXPECT_FALSE(GetCameraIntParam(handle(), CAMPARAM_RESOLUTION, value));
    EXPECT_EQ(value, 2);

    // A frame of the old size is queued, then the preset changes: that frame is dropped.
    pulse(0, {}, 1);
    ASSERT_TRUE(waitProduced("P1", 1));
    const int presets[][2] = {{640, 512}, {704, 576}, {1280, 1024}};
    for (int preset : {0, 1, 2}) {
        EXPECT_FALSE(SetCameraIntParam(handle(), CAMPARAM_RESOLUTION, preset));
        EXPECT_FALSE(GetCameraIntParam(other.get(), CAMPARAM_RESOLUTION, value));
        EXPECT_EQ(value, preset);
        for (void* h : {handle(), other.get()}) {
            int width = 0, height = 0;
            ASSERT_EQ(GetResolution(h, width, height), 0);
            EXPECT_EQ(width, presets[preset][0]);
            EXPECT_EQ(height, presets[preset][1]);
        }
        const TriggerPulse sent = pulse(0, {}, 10 + preset);
        const std::size_t bytes = static_cast<std::size_t>(presets[preset][0]) * presets[preset][1];
        for (void* h : {handle(), other.get()}) {
            unsigned char* data = nullptr;
            ASSERT_EQ(SnapShot(h, data), 0);
            EXPECT_EQ(data[4], 10 + preset) << "preset " << preset;
            EXPECT_EQ(stampAt(data, bytes), sent.stamp);
        }
    }
}

TEST_F(CameraParameters, OpenWithARegionMakesTheFrameThatRegion) {
    ASSERT_NO_FATAL_FAILURE(open(cameraJson("P1")));
    CameraRef region("P1");
    ASSERT_EQ(OpenCamera(region.get(), "P1", 32, 24), 0);
    int width = 0, height = 0;
    for (void* h : {handle(), region.get()}) {
        ASSERT_EQ(GetResolution(h, width, height), 0);
        EXPECT_EQ(width, 32);
        EXPECT_EQ(height, 24);
    }
    ASSERT_EQ(SetTriggerMode(region.get(), SN_TRIG_EXTERNAL, 0, 0, 0), 0);
    ASSERT_EQ(StartCamera(region.get(), 0.0), 0);
    const TriggerPulse sent = pulse(0, {}, 4);
    unsigned char* data = nullptr;
    ASSERT_EQ(SnapShot(region.get(), data), 0);
    EXPECT_EQ(data[4], 4);
    EXPECT_EQ(stampAt(data, 32 * 24), sent.stamp);
    // 0 x 0 keeps the size as it is now.
    CameraRef keep("P1");
    ASSERT_EQ(OpenCamera(keep.get(), "P1", 0, 0), 0);
    ASSERT_EQ(GetResolution(keep.get(), width, height), 0);
    EXPECT_EQ(width, 32);
    // Bigger than the full frame, half a size, negative: refused.
    EXPECT_NE(OpenCamera(keep.get(), "P1", 65, 48), 0);
    EXPECT_NE(OpenCamera(keep.get(), "P1", 64, 49), 0);
    EXPECT_NE(OpenCamera(keep.get(), "P1", 64, 0), 0);
    EXPECT_NE(OpenCamera(keep.get(), "P1", -64, -48), 0);
    EXPECT_FALSE(lastRecordOf("OpenCamera").ok);
    // The full frame again.
    ASSERT_EQ(OpenCamera(keep.get(), "P1", 64, 48), 0);
    ASSERT_EQ(GetResolution(keep.get(), width, height), 0);
    EXPECT_EQ(width, 64);
    EXPECT_EQ(height, 48);
}

TEST_F(CameraParameters, RegionOfAMultiSensorCameraSplitsEvenly) {
    ASSERT_NO_FATAL_FAILURE(open(cameraJson("P1", R"("sensors": 2, "width": 32, "height": 16)")));
    CameraRef region("P1");
    EXPECT_NE(OpenCamera(region.get(), "P1", 31, 16), 0);  // not divisible by the sensor count
    EXPECT_NE(OpenCamera(region.get(), "P1", 66, 16), 0);
    ASSERT_EQ(OpenCamera(region.get(), "P1", 40, 10), 0);
    int width = 0, height = 0;
    ASSERT_EQ(GetResolution(region.get(), width, height), 0);
    EXPECT_EQ(width, 40);
    EXPECT_EQ(height, 10);
    ASSERT_EQ(SetTriggerMode(region.get(), SN_TRIG_EXTERNAL, 0, 0, 0), 0);
    ASSERT_EQ(StartCamera(region.get(), 0.0), 0);
    pulse(0, {}, 8);
    unsigned char* data = nullptr;
    ASSERT_EQ(SnapShot(region.get(), data), 0);
    EXPECT_EQ(data[20 + 6], 1);  // sensor 1 starts at column 20
    std::vector<unsigned char*> planes;
    std::vector<int> widths, heights;
    std::vector<SN_IMG_FORMAT> formats;
    ASSERT_TRUE(SplitImage(region.get(), planes, widths, heights, formats, data));
    ASSERT_EQ(planes.size(), 2U);
    EXPECT_EQ(widths[0], 20);
    EXPECT_EQ(heights[1], 10);
    for (auto* plane : planes) std::free(plane);
}

TEST_F(CameraParameters, AUsb2CameraReportsOnePixelButDeliversFullFrames) {
    ASSERT_NO_FATAL_FAILURE(open(cameraJson("P1", R"("usb3": false)")));
    int width = 0, height = 0;
    ASSERT_EQ(GetResolution(handle(), width, height), 0);
    EXPECT_EQ(width, 1);
    EXPECT_EQ(height, 1);
    ASSERT_EQ(SetTriggerMode(handle(), SN_TRIG_EXTERNAL, 0, 0, 0), 0);
    ASSERT_EQ(StartCamera(handle(), 0.0), 0);
    const TriggerPulse sent = pulse(0, {}, 1);
    unsigned char* data = nullptr;
    ASSERT_EQ(SnapShot(handle(), data), 0);
    EXPECT_EQ(stampAt(data, 64 * 48), sent.stamp);
}

TEST_F(CameraParameters, ColourCameraBalancesItsWhite) {
    ASSERT_NO_FATAL_FAILURE(open(cameraJson("P1", R"("format": 17)")));
    float r = 0.5F, g = 0.5F, b = 0.5F;
    EXPECT_TRUE(AutoWhiteBalance(handle(), true, r, g, b));
    EXPECT_FLOAT_EQ(r, 1.25F);
    EXPECT_FLOAT_EQ(g, 1.0F);
    EXPECT_FLOAT_EQ(b, 1.5F);
    EXPECT_EQ(lastRecordOf("AutoWhiteBalance").args, "[true,0.5,0.5,0.5]");

    r = 2.0F, g = 1.0F, b = 0.25F;
    EXPECT_TRUE(AutoWhiteBalance(handle(), false, r, g, b));
    EXPECT_FLOAT_EQ(r, 2.0F);
    EXPECT_FLOAT_EQ(g, 1.0F);
    EXPECT_FLOAT_EQ(b, 0.25F);

    r = 20.0F, g = 1.0F, b = 1.0F;
    EXPECT_FALSE(AutoWhiteBalance(handle(), false, r, g, b));
    EXPECT_FLOAT_EQ(r, 20.0F);
    r = 1.0F, b = 0.0F;
    EXPECT_FALSE(AutoWhiteBalance(handle(), false, r, g, b));
    EXPECT_FALSE(lastRecordOf("AutoWhiteBalance").ok);
}

TEST_F(CameraParameters, MonoCameraHasNoWhiteBalance) {
    ASSERT_NO_FATAL_FAILURE(open(cameraJson("P1")));
    float r = 0.5F, g = 0.5F, b = 0.5F;
    EXPECT_FALSE(AutoWhiteBalance(handle(), true, r, g, b));
    EXPECT_FLOAT_EQ(r, 0.5F);
    EXPECT_FALSE(AutoWhiteBalance(handle(), false, r, g, b));
}

TEST_F(CameraParameters, TimeStampSourceChoosesThePulseStampOrTheRigClock) {
    ASSERT_NO_FATAL_FAILURE(open(cameraJson("P1")));
    ASSERT_EQ(SetTriggerMode(handle(), SN_TRIG_EXTERNAL, 0, 0, 0), 0);
    ASSERT_EQ(StartCamera(handle(), 0.0), 0);
    // Stamps counted from a reset differ from the rig clock.
    ASSERT_TRUE(waitUntil([] { return nowUs() > 2000; }));
    bus()->resetStamps(0);
    TriggerPulse sent = pulse(0);
    ASSERT_NE(sent.stamp, sent.tUs);
    std::uint64_t stamp = 0;
    snapImage(handle(), 64 * 48, &stamp);
    EXPECT_EQ(stamp, sent.stamp);

    EXPECT_TRUE(SpecifiedCameraTimeStampSource(handle(), TIMESTAMP_SRC_CAMERA));
    sent = pulse(0);
    snapImage(handle(), 64 * 48, &stamp);
    EXPECT_EQ(stamp, sent.tUs);

    EXPECT_TRUE(SpecifiedCameraTimeStampSource(handle(), TIMESTAMP_SRC_TRIGGER));
    EXPECT_FALSE(SpecifiedCameraTimeStampSource(handle(), static_cast<TIMESTAMP_SRC>(2)));
    EXPECT_EQ(lastRecordOf("SpecifiedCameraTimeStampSource").args, "[2]");
}

TEST_F(CameraParameters, StartCameraSetsTheFreeRunRate) {
    ASSERT_NO_FATAL_FAILURE(open(cameraJson("P1", R"("fps": 1)")));
    // At 1 frame per second the second frame would take a second; at 500 it comes at once.
    ASSERT_EQ(StartCamera(handle(), 500.0), 0);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 5; ++i) snapImage(handle(), 64 * 48);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
    EXPECT_NE(StartCamera(handle(), -1.0), 0);
    EXPECT_NE(StartCamera(handle(), 1e9), 0);
}

}  // namespace
}  // namespace zeta::sim::test
