// The journal records of the camera library: device, operation, arguments and result.
#include "CameraTestSupport.h"

namespace zeta::sim::test {
namespace {

using namespace zetaCamera;

// The part of a record after its number and time: what a test can know in advance.
std::string tail(const JournalRecord& record) {
    return record.line.substr(record.line.find("\"dev\""));
}

TEST(CameraJournal, EveryCallIsOneRecordNamedAfterTheOperation) {
    useRig(rigWithCameras({cameraJson("A1"), cameraJson("C1", R"("format": 17, "route": 0)")}));
    setJournalFrames(true);
    void* handle = nullptr;
    ASSERT_EQ(CreateCamera(handle, "ZV"), 0);
    int total = 0;
    ASSERT_EQ(GetDeviceTotal(handle, total), 0);
    ASSERT_EQ(OpenCamera(handle, 1, 0, 0), 0);
    ASSERT_EQ(SetTriggerMode(handle, SN_TRIG_EXTERNAL, 0, 5, 1), 0);
    ASSERT_EQ(SetExposureTime(handle, 5000), 0);
    EXPECT_NE(SetGain(handle, 99), 0);
    ASSERT_EQ(StartCamera(handle, 12.5), 0);
    float r = 1.0F, g = 1.0F, b = 1.0F;
    ASSERT_TRUE(AutoWhiteBalance(handle, false, r, g, b));
    ASSERT_TRUE(LockSnapThread(handle, false));
    pulse(0, {}, 2);
    unsigned char* data = nullptr;
    ASSERT_EQ(SnapShot(handle, data), 0);
    std::vector<unsigned char*> planes;
    std::vector<int> widths, heights;
    std::vector<SN_IMG_FORMAT> formats;
    ASSERT_TRUE(SplitImage(handle, planes, widths, heights, formats, data));
    for (auto* plane : planes) std::free(plane);
    int value = 0;
    EXPECT_FALSE(GetCameraIntParam(handle, CAMPARAM_RESOLUTION, value));
    EXPECT_EQ(SetBinningSize(handle, 2), 1);
    EXPECT_TRUE(SpecifiedCameraTimeStampSource(handle, TIMESTAMP_SRC_CAMERA));
    SetCameraToInitializedState(handle);
    UnlockOthers(handle);
    EXPECT_TRUE(ResetCameraState(handle));
    ASSERT_EQ(CloseCamera(handle), 0);
    ReleaseCamera(handle);
    setJournalFrames(false);

    const std::vector<std::string> expected = {
        R"("dev":"camera","op":"CreateCamera","args":["ZV"],"ok":true})",
        R"("dev":"camera","op":"GetDeviceTotal","args":[],"ok":true})",
        R"("dev":"C1","op":"OpenCamera","args":[1,0,0],"ok":true})",
        R"("dev":"C1","op":"SetTriggerMode","args":[1,0,5,1],"ok":true})",
        R"("dev":"C1","op":"SetExposureTime","args":[5000],"ok":true})",
        R"("dev":"C1","op":"SetGain","args":[99],"ok":false})",
        R"("dev":"C1","op":"StartCamera","args":[12.5],"ok":true})",
        R"("dev":"C1","op":"AutoWhiteBalance","args":[false,1.0,1.0,1.0],"ok":true})",
        R"("dev":"C1","op":"LockSnapThread","args":[false],"ok":true})",
        R"("dev":"C1","op":"SnapShot","args":[],"ok":true})",
        R"("dev":"C1","op":"SplitImage","args":[9224],"ok":true})",
        R"("dev":"C1","op":"GetCameraIntParam","args":[20],"ok":true})",
        R"("dev":"C1","op":"SetBinningSize","args":[2],"ok":true})",
        R"("dev":"C1","op":"SpecifiedCameraTimeStampSource","args":[1],"ok":true})",
        R"("dev":"C1","op":"SetCameraToInitializedState","args":[],"ok":true})",
        R"("dev":"C1","op":"UnlockOthers","args":[],"ok":true})",
        R"("dev":"C1","op":"ResetCameraState","args":[],"ok":true})",
        R"("dev":"C1","op":"CloseCamera","args":[],"ok":true})",
        R"("dev":"C1","op":"ReleaseCamera","args":[],"ok":true})",
    };
    const auto records = journal();
    ASSERT_EQ(records.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(tail(records[i]), expected[i]);
    for (std::size_t i = 1; i < records.size(); ++i) {
        EXPECT_EQ(records[i].n, records[i - 1].n + 1);
        EXPECT_GE(records[i].tUs, records[i - 1].tUs);
    }
}

TEST(CameraJournal, SnapShotsAreJournaledOnlyOnRequest) {
    useRig(rigWithCameras({cameraJson("A1", R"("snapTimeoutMs": 50)")}));
    CameraRef camera;
    ASSERT_NO_FATAL_FAILURE(openStarted(camera, "A1"));
    unsigned char* data = nullptr;
    EXPECT_NE(SnapShot(camera.get(), data), 0);
    EXPECT_TRUE(recordsOf("SnapShot").empty());
    setJournalFrames(true);
    EXPECT_NE(SnapShot(camera.get(), data), 0);
    setJournalFrames(false);
    ASSERT_EQ(recordsOf("SnapShot").size(), 1U);
    EXPECT_EQ(tail(recordsOf("SnapShot")[0]),
              R"("dev":"A1","op":"SnapShot","args":[],"ok":false})");
}

TEST(CameraJournal, OpenBySerialAndGetters) {
    useRig(rigWithCameras({cameraJson("A1")}));
    void* handle = nullptr;
    ASSERT_EQ(CreateCamera(handle, "A1"), 0);
    ASSERT_EQ(OpenCamera(handle, "A1", 64, 48), 0);
    long exposure = 0;
    int gain = 0, low = 0, high = 0, width = 0, height = 0, type = 0;
    std::string serial;
    SN_IMG_FORMAT format{};
    SN_TRIG_MODE mode{};
    ASSERT_EQ(GetExposureTime(handle, exposure), 0);
    ASSERT_EQ(GetGain(handle, gain), 0);
    ASSERT_EQ(GetGainRange(handle, low, high), 0);
    ASSERT_EQ(GetResolution(handle, width, height), 0);
    ASSERT_EQ(GetSerialNo(handle, serial), 0);
    ASSERT_EQ(GetColorMode(handle, format), 0);
    ASSERT_TRUE(GetDeviceType(handle, type));
    ASSERT_EQ(GetTriggerMode(handle, mode), 0);
    EXPECT_TRUE(SetCameraIntParam(handle, CAMPARAM_GAMMA, 0));
    ReleaseCamera(handle);
    const std::vector<std::string> expected = {
        R"("dev":"A1","op":"CreateCamera","args":["A1"],"ok":true})",
        R"("dev":"A1","op":"OpenCamera","args":["A1",64,48],"ok":true})",
        R"("dev":"A1","op":"GetExposureTime","args":[],"ok":true})",
        R"("dev":"A1","op":"GetGain","args":[],"ok":true})",
        R"("dev":"A1","op":"GetGainRange","args":[],"ok":true})",
        R"("dev":"A1","op":"GetResolution","args":[],"ok":true})",
        R"("dev":"A1","op":"GetSerialNo","args":[],"ok":true})",
        R"("dev":"A1","op":"GetColorMode","args":[],"ok":true})",
        R"("dev":"A1","op":"GetDeviceType","args":[],"ok":true})",
        R"("dev":"A1","op":"GetTriggerMode","args":[],"ok":true})",
        R"("dev":"A1","op":"SetCameraIntParam","args":[7,0],"ok":false})",
        R"("dev":"A1","op":"ReleaseCamera","args":[],"ok":true})",
    };
    const auto records = journal();
    ASSERT_EQ(records.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(tail(records[i]), expected[i]);
}

}  // namespace
}  // namespace zeta::sim::test
