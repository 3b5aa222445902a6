// Bad handles and bad arguments: every operation fails by its own convention, writes none of its
// outputs and is journaled as failed. Nothing crashes.
#include <cstdlib>

#include "CameraTestSupport.h"

namespace zeta::sim::test {
namespace {

using namespace zetaCamera;

// Calls every operation of the library on `handle` and checks each fails cleanly.
void expectEveryOperationFails(void* handle, const std::string& dev) {
    clearJournal();
    int total = 11, gain = 12, low = 13, high = 14, width = 15, height = 16, type = 17, value = 18;
    long exposure = 19;
    std::string serial = "keep";
    SN_IMG_FORMAT format = SN_IMG_RGB48;
    SN_TRIG_MODE mode = SN_TRIG_EXTERNAL;
    float r = 2.0F, g = 3.0F, b = 4.0F;
    unsigned char sentinel = 0;
    unsigned char* data = &sentinel;
    std::vector<unsigned char*> planes;
    std::vector<int> widths, heights;
    std::vector<SN_IMG_FORMAT> formats;
    const unsigned char frame[64] = {};

    EXPECT_NE(GetDeviceTotal(handle, total), 0);
    EXPECT_NE(OpenCamera(handle, 0, 0, 0), 0);
    EXPECT_NE(OpenCamera(handle, "A1", 0, 0), 0);
    EXPECT_NE(CloseCamera(handle), 0);
    EXPECT_NE(StartCamera(handle, 0.0), 0);
    EXPECT_NE(SnapShot(handle, data), 0);
    EXPECT_FALSE(SplitImage(handle, planes, widths, heights, formats, frame));
    EXPECT_FALSE(LockSnapThread(handle, true));
    UnlockOthers(handle);
    EXPECT_NE(GetExposureTime(handle, exposure), 0);
    EXPECT_NE(SetExposureTime(handle, 100), 0);
    EXPECT_NE(GetGain(handle, gain), 0);
    EXPECT_NE(SetGain(handle, 1), 0);
    EXPECT_NE(GetGainRange(handle, low, high), 0);
    EXPECT_NE(GetResolution(handle, width, height), 0);
    EXPECT_NE(GetSerialNo(handle, serial), 0);
    EXPECT_NE(GetColorMode(handle, format), 0);
    EXPECT_FALSE(GetDeviceType(handle, type));
    EXPECT_NE(GetTriggerMode(handle, mode), 0);
    EXPECT_NE(SetTriggerMode(handle, SN_TRIG_FREERUN, 0, 0, 0), 0);
    EXPECT_EQ(SetBinningSize(handle, 2), 0);
    EXPECT_TRUE(GetCameraIntParam(handle, CAMPARAM_GAMMA, value));
    EXPECT_TRUE(SetCameraIntParam(handle, CAMPARAM_GAMMA, 100));
    EXPECT_FALSE(AutoWhiteBalance(handle, true, r, g, b));
    EXPECT_FALSE(ResetCameraState(handle));
    SetCameraToInitializedState(handle);
    EXPECT_FALSE(SpecifiedCameraTimeStampSource(handle, TIMESTAMP_SRC_CAMERA));
    void* released = handle;
    ReleaseCamera(released);
    EXPECT_EQ(released, handle);

    EXPECT_EQ(total, 11);
    EXPECT_EQ(gain, 12);
    EXPECT_EQ(low, 13);
    EXPECT_EQ(high, 14);
    EXPECT_EQ(width, 15);
    EXPECT_EQ(height, 16);
    EXPECT_EQ(type, 17);
    EXPECT_EQ(value, 18);
    EXPECT_EQ(exposure, 19);
    EXPECT_EQ(serial, "keep");
    EXPECT_EQ(format, SN_IMG_RGB48);
    EXPECT_EQ(mode, SN_TRIG_EXTERNAL);
    EXPECT_EQ(r, 2.0F);
    EXPECT_EQ(g, 3.0F);
    EXPECT_EQ(b, 4.0F);
    EXPECT_EQ(data, &sentinel);
    EXPECT_TRUE(planes.empty());
    EXPECT_TRUE(widths.empty());
    EXPECT_TRUE(heights.empty());
    EXPECT_TRUE(formats.empty());

    std::vector<JournalRecord> records;
    for (auto& record : journal()) {
        if (record.op != "SnapShot") records.push_back(record);  // journaled only on request
    }
    EXPECT_EQ(records.size(), 27U);
    for (const auto& record : records) {
        EXPECT_FALSE(record.ok) << record.line;
        EXPECT_EQ(record.dev, dev) << record.line;
    }
}

std::string twoCameras() {
    return rigWithCameras({cameraJson("A1"), cameraJson("A2")});
}

TEST(CameraBadInput, NullHandle) {
    useRig(twoCameras());
    expectEveryOperationFails(nullptr, "camera");
}

TEST(CameraBadInput, GarbageHandleIsNeverDereferenced) {
    useRig(twoCameras());
    expectEveryOperationFails(reinterpret_cast<void*>(0x1), "camera");
    expectEveryOperationFails(reinterpret_cast<void*>(~std::uintptr_t{0}), "camera");
    int local = 0;
    expectEveryOperationFails(&local, "camera");
}

TEST(CameraBadInput, ReleasedHandle) {
    useRig(twoCameras());
    void* handle = nullptr;
    ASSERT_EQ(CreateCamera(handle, "A1"), 0);
    ASSERT_EQ(OpenCamera(handle, "A1", 0, 0), 0);
    void* stale = handle;
    ReleaseCamera(handle);
    expectEveryOperationFails(stale, "camera");
}

TEST(CameraBadInput, HandleOfAnUnpluggedCamera) {
    useRig(twoCameras());
    CameraRef camera("A1");
    ASSERT_EQ(OpenCamera(camera.get(), "A1", 0, 0), 0);
    ASSERT_TRUE(unplug("A1"));
    ASSERT_TRUE(unplug("A2"));
    // Releasing still works on an unplugged camera, so it is checked apart.
    clearJournal();
    int total = 3;
    EXPECT_NE(GetDeviceTotal(camera.get(), total), 0);
    EXPECT_NE(OpenCamera(camera.get(), "A2", 0, 0), 0);
    long exposure = 4;
    EXPECT_NE(GetExposureTime(camera.get(), exposure), 0);
    EXPECT_NE(SetCameraIntParam(camera.get(), CAMPARAM_GAMMA, 100), false);
    EXPECT_FALSE(ResetCameraState(camera.get()));
    EXPECT_EQ(total, 3);
    EXPECT_EQ(exposure, 4);
    for (const auto& record : journal()) {
        EXPECT_FALSE(record.ok) << record.line;
        EXPECT_EQ(record.dev, "A1") << record.line;
    }
    ReleaseCamera(camera.ref());
    EXPECT_EQ(camera.get(), nullptr);
    EXPECT_TRUE(lastRecordOf("ReleaseCamera").ok);
}

TEST(CameraBadInput, NullSelectorSerialAndFrame) {
    useRig(twoCameras());
    void* handle = reinterpret_cast<void*>(0x99);
    EXPECT_NE(CreateCamera(handle, nullptr), 0);
    EXPECT_EQ(handle, nullptr);
    CameraRef camera("ZV");
    EXPECT_NE(OpenCamera(camera.get(), static_cast<const char*>(nullptr), 0, 0), 0);
    EXPECT_EQ(lastRecordOf("OpenCamera").args, "[null,0,0]");
    EXPECT_EQ(lastRecordOf("OpenCamera").dev, "camera");
    EXPECT_NE(OpenCamera(camera.get(), "", 0, 0), 0);
    ASSERT_EQ(OpenCamera(camera.get(), "A1", 0, 0), 0);
    std::vector<unsigned char*> planes;
    std::vector<int> widths, heights;
    std::vector<SN_IMG_FORMAT> formats;
    EXPECT_FALSE(SplitImage(camera.get(), planes, widths, heights, formats, nullptr));
    EXPECT_TRUE(planes.empty());
    EXPECT_EQ(lastRecordOf("SplitImage").args, "[0]");
    EXPECT_FALSE(lastRecordOf("SplitImage").ok);
}

TEST(CameraBadInput, OutOfRangeIndex) {
    useRig(twoCameras());
    CameraRef camera("ZV");
    for (int index : {-1, 2, 1000, -2147483647 - 1}) {
        EXPECT_NE(OpenCamera(camera.get(), index, 0, 0), 0) << index;
        EXPECT_FALSE(lastRecordOf("OpenCamera").ok);
        EXPECT_EQ(lastRecordOf("OpenCamera").dev, "camera");
    }
    EXPECT_EQ(statsOf("A1").openHandles, 0);
}

TEST(CameraBadInput, OversizedOpen) {
    useRig(twoCameras());
    CameraRef camera("ZV");
    EXPECT_NE(OpenCamera(camera.get(), 0, 128, 48), 0);
    EXPECT_NE(OpenCamera(camera.get(), 0, 64, 96), 0);
    EXPECT_NE(OpenCamera(camera.get(), 0, 2147483647, 2147483647), 0);
    EXPECT_EQ(lastRecordOf("OpenCamera").args, "[0,2147483647,2147483647]");
    EXPECT_EQ(statsOf("A1").openHandles, 0);
}

TEST(CameraBadInput, ValuesOutOfRange) {
    useRig(rigWithCameras({cameraJson("A1", R"("gainMin": 1, "gainMax": 8)")}));
    CameraRef camera("A1");
    ASSERT_EQ(OpenCamera(camera.get(), "A1", 0, 0), 0);
    for (long exposure : {-1L, 0L, 10000001L}) {
        EXPECT_NE(SetExposureTime(camera.get(), exposure), 0) << exposure;
    }
    for (int gain : {0, 9, -100}) EXPECT_NE(SetGain(camera.get(), gain), 0) << gain;
    EXPECT_NE(SetTriggerMode(camera.get(), static_cast<SN_TRIG_MODE>(2), 0, 0, 0), 0);
    EXPECT_NE(SetTriggerMode(camera.get(), static_cast<SN_TRIG_MODE>(-1), 0, 0, 0), 0);
    EXPECT_TRUE(SetCameraIntParam(camera.get(), static_cast<CAMPARAM>(0), 1));
    EXPECT_TRUE(SetCameraIntParam(camera.get(), static_cast<CAMPARAM>(21), 1));
    EXPECT_NE(StartCamera(camera.get(), -30.0), 0);
    long exposure = 0;
    int gain = 0;
    SN_TRIG_MODE mode = SN_TRIG_EXTERNAL;
    ASSERT_EQ(GetExposureTime(camera.get(), exposure), 0);
    ASSERT_EQ(GetGain(camera.get(), gain), 0);
    ASSERT_EQ(GetTriggerMode(camera.get(), mode), 0);
    EXPECT_EQ(exposure, 10000);
    EXPECT_EQ(gain, 1);
    EXPECT_EQ(mode, SN_TRIG_FREERUN);
    auto records = recordsOf("SetExposureTime");
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(records[0].args, "[-1]");
    EXPECT_FALSE(records[0].ok);
    EXPECT_EQ(records[0].dev, "A1");
}

TEST(CameraBadInput, SnapShotWithoutStartFails) {
    useRig(rigWithCameras({cameraJson("A1", R"("snapTimeoutMs": 50)")}));
    CameraRef camera("A1");
    ASSERT_EQ(OpenCamera(camera.get(), "A1", 0, 0), 0);
    unsigned char* data = nullptr;
    EXPECT_NE(SnapShot(camera.get(), data), 0);
    EXPECT_EQ(data, nullptr);
}

}  // namespace
}  // namespace zeta::sim::test
