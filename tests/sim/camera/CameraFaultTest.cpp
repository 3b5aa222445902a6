// Frame faults, unplugging and reloading the rig.
#include "CameraTestSupport.h"

namespace zeta::sim::test {
namespace {

using namespace zetaCamera;

constexpr std::size_t kBytes = 64 * 48;

// Snaps and returns byte 4 (the frame's number), or -1 when no frame comes.
int snapNumber(void* handle) {
    unsigned char* data = nullptr;
    if (SnapShot(handle, data) != 0) return -1;
    return data[4];
}

TEST(CameraFaults, RigFileDropsFrames) {
    useRig(rigWithCameras({cameraJson(
        "M1", R"("snapTimeoutMs": 200, "frames": {"drop": {"skip": 1, "times": 2}})")}));
    CameraRef camera;
    ASSERT_NO_FATAL_FAILURE(openStarted(camera, "M1"));
    for (int n = 1; n <= 5; ++n) pulse(0, {}, n);
    ASSERT_TRUE(waitProduced("M1", 5));
    EXPECT_EQ(snapNumber(camera.get()), 1);
    EXPECT_EQ(snapNumber(camera.get()), 4);
    EXPECT_EQ(snapNumber(camera.get()), 5);
    EXPECT_EQ(snapNumber(camera.get()), -1);
    const CameraStats stats = statsOf("M1");
    EXPECT_EQ(stats.framesProduced, 5U);
    EXPECT_EQ(stats.framesDropped, 2U);
    EXPECT_EQ(stats.framesDelivered, 3U);
}

TEST(CameraFaults, RigFileDuplicatesFrames) {
    useRig(rigWithCameras(
        {cameraJson("M1", R"("snapTimeoutMs": 200, "frames": {"duplicate": {"times": 1}})")}));
    CameraRef camera;
    ASSERT_NO_FATAL_FAILURE(openStarted(camera, "M1"));
    const TriggerPulse sent = pulse(0, flat(200, 200, 200), 3);
    std::uint64_t first = 0, second = 0;
    const auto a = snapImage(camera.get(), kBytes, &first);
    const auto b = snapImage(camera.get(), kBytes, &second);
    EXPECT_EQ(a, b);
    EXPECT_EQ(first, sent.stamp);
    EXPECT_EQ(second, sent.stamp);
    EXPECT_EQ(snapNumber(camera.get()), -1);
    pulse(0, {}, 4);
    EXPECT_EQ(snapNumber(camera.get()), 4);
    EXPECT_EQ(snapNumber(camera.get()), -1);  // the rule was for one frame
    EXPECT_EQ(statsOf("M1").framesProduced, 2U);
    EXPECT_EQ(statsOf("M1").framesDelivered, 3U);
}

TEST(CameraFaults, RigFileRenumbersFrames) {
    useRig(rigWithCameras(
        {cameraJson("M1", R"("frames": {"renumber": {"skip": 1, "times": 1, "value": 9}})")}));
    CameraRef camera;
    ASSERT_NO_FATAL_FAILURE(openStarted(camera, "M1"));
    for (int n = 0; n < 3; ++n) pulse(0, {}, n);
    EXPECT_EQ(snapNumber(camera.get()), 0);
    EXPECT_EQ(snapNumber(camera.get()), 9);
    EXPECT_EQ(snapNumber(camera.get()), 2);
}

TEST(CameraFaults, RenumberingReachesEverySensorImage) {
    useRig(rigWithCameras({cameraJson(
        "D1",
        R"("sensors": 2, "width": 32, "frames": {"renumber": {"times": -1, "value": 77}})")}));
    CameraRef camera;
    ASSERT_NO_FATAL_FAILURE(openStarted(camera, "D1"));
    pulse(0, {}, 1);
    unsigned char* data = nullptr;
    ASSERT_EQ(SnapShot(camera.get(), data), 0);
    EXPECT_EQ(data[4], 77);
    EXPECT_EQ(data[32 + 4], 77);
}

TEST(CameraFaults, ControlApiInjectsFrameFaultsAtRunTime) {
    useRig(rigWithCameras({cameraJson("M1", R"("snapTimeoutMs": 200)")}));
    CameraRef camera;
    ASSERT_NO_FATAL_FAILURE(openStarted(camera, "M1"));
    EXPECT_FALSE(dropFrames("NOPE", 1));

    ASSERT_TRUE(dropFrames("M1", 1));
    pulse(0, {}, 1);
    pulse(0, {}, 2);
    EXPECT_EQ(snapNumber(camera.get()), 2);
    EXPECT_EQ(statsOf("M1").framesDropped, 1U);

    ASSERT_TRUE(duplicateFrames("M1", 1, 1));
    pulse(0, {}, 3);
    pulse(0, {}, 4);
    EXPECT_EQ(snapNumber(camera.get()), 3);
    EXPECT_EQ(snapNumber(camera.get()), 4);
    EXPECT_EQ(snapNumber(camera.get()), 4);
    EXPECT_EQ(snapNumber(camera.get()), -1);

    ASSERT_TRUE(renumberFrames("M1", 42, 2));
    for (int n = 5; n <= 7; ++n) pulse(0, {}, n);
    EXPECT_EQ(snapNumber(camera.get()), 42);
    EXPECT_EQ(snapNumber(camera.get()), 42);
    EXPECT_EQ(snapNumber(camera.get()), 7);
}

TEST(CameraFaults, UnpluggedCameraFailsEveryCallAndWorksAgainWhenReplugged) {
    useRig(rigWithCameras({cameraJson("M1", R"("snapTimeoutMs": 200)")}));
    CameraRef camera;
    ASSERT_NO_FATAL_FAILURE(openStarted(camera, "M1"));
    pulse(0, {}, 1);
    ASSERT_TRUE(waitProduced("M1", 1));
    ASSERT_TRUE(unplug("M1"));
    EXPECT_FALSE(statsOf("M1").present);

    long exposure = 3;
    EXPECT_NE(GetExposureTime(camera.get(), exposure), 0);
    EXPECT_EQ(exposure, 3);
    EXPECT_NE(SetGain(camera.get(), 1), 0);
    std::string serial = "x";
    EXPECT_NE(GetSerialNo(camera.get(), serial), 0);
    EXPECT_EQ(serial, "x");
    unsigned char* data = nullptr;
    EXPECT_NE(SnapShot(camera.get(), data), 0);
    EXPECT_EQ(data, nullptr);
    int total = 5;
    EXPECT_NE(GetDeviceTotal(camera.get(), total), 0);
    EXPECT_EQ(lastRecordOf("GetSerialNo").dev, "M1");
    EXPECT_FALSE(lastRecordOf("GetSerialNo").ok);
    pulse(0, {}, 2);
    EXPECT_EQ(statsOf("M1").framesProduced, 1U);  // no frames while unplugged

    ASSERT_TRUE(replug("M1"));
    EXPECT_EQ(GetSerialNo(camera.get(), serial), 0);
    EXPECT_EQ(serial, "M1");
    // Frames queued before the unplug were lost; new ones come to the same handle.
    pulse(0, {}, 3);
    EXPECT_EQ(snapNumber(camera.get()), 3);
}

TEST(CameraFaults, ReloadingTheRigMakesOldHandlesFailCleanly) {
    useRig(rigWithCameras({cameraJson("M1")}));
    void* handle = nullptr;
    ASSERT_EQ(CreateCamera(handle, "M1"), 0);
    ASSERT_EQ(OpenCamera(handle, "M1", 0, 0), 0);
    ASSERT_EQ(StartCamera(handle, 0.0), 0);
    void* enumeration = nullptr;
    ASSERT_EQ(CreateCamera(enumeration, "ZV"), 0);

    useRig(rigWithCameras({cameraJson("M1")}));
    long exposure = 8;
    EXPECT_NE(GetExposureTime(handle, exposure), 0);
    EXPECT_EQ(exposure, 8);
    unsigned char* data = nullptr;
    EXPECT_NE(SnapShot(handle, data), 0);
    EXPECT_NE(CloseCamera(handle), 0);
    int total = 9;
    EXPECT_NE(GetDeviceTotal(enumeration, total), 0);
    EXPECT_EQ(total, 9);
    void* const stale = handle;
    ReleaseCamera(handle);
    EXPECT_EQ(handle, stale);
    EXPECT_EQ(lastRecordOf("ReleaseCamera").dev, "camera");
    EXPECT_FALSE(lastRecordOf("ReleaseCamera").ok);
    EXPECT_EQ(statsOf("M1").openHandles, 0);

    // The new rig's camera works.
    CameraRef fresh("M1");
    EXPECT_EQ(OpenCamera(fresh.get(), "M1", 0, 0), 0);
}

TEST(CameraFaults, BrokenRigFailsEveryCall) {
    std::string error;
    EXPECT_FALSE(loadRigText(R"({"cameras": [{"serial": "M1", "width": -4}]})", &error));
    void* handle = reinterpret_cast<void*>(0x10);
    EXPECT_NE(CreateCamera(handle, "ZV"), 0);
    EXPECT_EQ(handle, nullptr);
    EXPECT_NE(CreateCamera(handle, "M1"), 0);
    useRig(rigWithCameras({cameraJson("M1")}));
    CameraRef camera("M1");
    EXPECT_EQ(camera.created(), 0);
}

TEST(CameraFaults, InjectedFailuresOfOpenCameraOperations) {
    useRig(rigWithCameras({cameraJson("M1")}));
    CameraRef camera("M1");
    ASSERT_EQ(OpenCamera(camera.get(), "M1", 0, 0), 0);
    failNext("M1", "SetExposureTime", 1);
    failNext("M1", "SetBinningSize", 1);
    failNext("M1", "GetCameraIntParam", 1);
    failNext("M1", "GetDeviceType", 1);
    failNext("M1", "ReleaseCamera", 1);
    EXPECT_NE(SetExposureTime(camera.get(), 500), 0);
    EXPECT_EQ(SetExposureTime(camera.get(), 500), 0);
    EXPECT_EQ(SetBinningSize(camera.get(), 2), 0);
    EXPECT_EQ(SetBinningSize(camera.get(), 2), 1);
    int value = -5;
    EXPECT_TRUE(GetCameraIntParam(camera.get(), CAMPARAM_GAMMA, value));
    EXPECT_EQ(value, -5);
    EXPECT_FALSE(GetCameraIntParam(camera.get(), CAMPARAM_GAMMA, value));
    EXPECT_FALSE(GetDeviceType(camera.get(), value));
    EXPECT_TRUE(GetDeviceType(camera.get(), value));
    // A release that fails keeps the handle: it can be released again.
    void* kept = camera.get();
    ReleaseCamera(camera.ref());
    EXPECT_EQ(camera.get(), kept);
    EXPECT_EQ(statsOf("M1").openHandles, 1);
    ReleaseCamera(camera.ref());
    EXPECT_EQ(camera.get(), nullptr);
    EXPECT_EQ(statsOf("M1").openHandles, 0);
}

}  // namespace
}  // namespace zeta::sim::test
