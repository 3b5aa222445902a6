// Creating, enumerating and opening cameras.
#include "CameraTestSupport.h"

namespace zeta::sim::test {
namespace {

using namespace zetaCamera;

std::string fourCameras() {
    return rigWithCameras({cameraJson("A1"), cameraJson("B1", R"("type":"QX")"), cameraJson("A2"),
                           cameraJson("A3", R"("present":false)")});
}

std::string serialOf(void* handle) {
    std::string serial;
    EXPECT_EQ(GetSerialNo(handle, serial), 0);
    return serial;
}

TEST(CameraEnumeration, TypeHandleCountsPresentCamerasOfItsTypeAndOpensThemInRigOrder) {
    useRig(fourCameras());
    CameraRef zv("ZV");
    ASSERT_EQ(zv.created(), 0);
    ASSERT_NE(zv.get(), nullptr);
    int total = -1;
    ASSERT_EQ(GetDeviceTotal(zv.get(), total), 0);
    EXPECT_EQ(total, 2);  // A3 is listed but not present; B1 is of another type

    ASSERT_EQ(OpenCamera(zv.get(), 0, 0, 0), 0);
    EXPECT_EQ(serialOf(zv.get()), "A1");
    CameraRef second("ZV");
    ASSERT_EQ(OpenCamera(second.get(), 1, 0, 0), 0);
    EXPECT_EQ(serialOf(second.get()), "A2");
    CameraRef third("ZV");
    EXPECT_NE(OpenCamera(third.get(), 2, 0, 0), 0);

    CameraRef qx("QX");
    ASSERT_EQ(GetDeviceTotal(qx.get(), total), 0);
    EXPECT_EQ(total, 1);
    ASSERT_EQ(OpenCamera(qx.get(), 0, 0, 0), 0);
    EXPECT_EQ(serialOf(qx.get()), "B1");
}

TEST(CameraEnumeration, SerialHandleNamesItsCameraAndEnumeratesItsType) {
    useRig(fourCameras());
    CameraRef a2("A2");
    ASSERT_EQ(a2.created(), 0);
    EXPECT_EQ(lastRecordOf("CreateCamera").dev, "A2");
    int total = 0;
    ASSERT_EQ(GetDeviceTotal(a2.get(), total), 0);
    EXPECT_EQ(total, 2);
    EXPECT_EQ(lastRecordOf("GetDeviceTotal").dev, "A2");
    ASSERT_EQ(OpenCamera(a2.get(), "A2", 0, 0), 0);
    EXPECT_EQ(serialOf(a2.get()), "A2");
}

TEST(CameraEnumeration, TypeHandleOpensACameraBySerial) {
    useRig(fourCameras());
    CameraRef zv("ZV");
    ASSERT_EQ(OpenCamera(zv.get(), "B1", 0, 0), 0);
    EXPECT_EQ(serialOf(zv.get()), "B1");
    EXPECT_EQ(lastRecordOf("OpenCamera").dev, "B1");
    EXPECT_EQ(lastRecordOf("OpenCamera").args, R"(["B1",0,0])");
}

TEST(CameraEnumeration, UnknownOrNullSelectorFailsAndNullsTheHandle) {
    useRig(fourCameras());
    void* handle = reinterpret_cast<void*>(0x1234);
    EXPECT_NE(CreateCamera(handle, "NOPE"), 0);
    EXPECT_EQ(handle, nullptr);
    handle = reinterpret_cast<void*>(0x1234);
    EXPECT_NE(CreateCamera(handle, nullptr), 0);
    EXPECT_EQ(handle, nullptr);
    auto records = recordsOf("CreateCamera");
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].line.substr(records[0].line.find("\"dev\"")),
              R"("dev":"camera","op":"CreateCamera","args":["NOPE"],"ok":false})");
    EXPECT_EQ(records[1].args, "[null]");
    EXPECT_FALSE(records[1].ok);
}

TEST(CameraEnumeration, ACameraListedAsNotPresentCannotBeCreatedNorOpened) {
    useRig(fourCameras());
    void* handle = nullptr;
    EXPECT_NE(CreateCamera(handle, "A3"), 0);
    EXPECT_EQ(handle, nullptr);
    CameraRef zv("ZV");
    EXPECT_NE(OpenCamera(zv.get(), "A3", 0, 0), 0);
    EXPECT_EQ(lastRecordOf("OpenCamera").dev, "camera");
}

TEST(CameraEnumeration, UnpluggedCameraIsNotCountedUntilReplugged) {
    useRig(fourCameras());
    ASSERT_TRUE(unplug("A1"));
    CameraRef zv("ZV");
    int total = 0;
    ASSERT_EQ(GetDeviceTotal(zv.get(), total), 0);
    EXPECT_EQ(total, 1);
    void* byserial = nullptr;
    EXPECT_NE(CreateCamera(byserial, "A1"), 0);
    ASSERT_EQ(OpenCamera(zv.get(), 0, 0, 0), 0);
    EXPECT_EQ(serialOf(zv.get()), "A2");

    ASSERT_TRUE(replug("A1"));
    ASSERT_EQ(GetDeviceTotal(zv.get(), total), 0);
    EXPECT_EQ(total, 2);
    CameraRef a1("A1");
    EXPECT_EQ(a1.created(), 0);
}

TEST(CameraEnumeration, RigFileCanMakeTheSecondCreationFail) {
    useRig(withCameraLibraryFaults(fourCameras(), R"({"CreateCamera": {"skip": 1, "times": 1}})"));
    CameraRef first("ZV");
    EXPECT_EQ(first.created(), 0);
    CameraRef second("ZV");
    EXPECT_NE(second.created(), 0);
    EXPECT_EQ(second.get(), nullptr);
    CameraRef third("ZV");
    EXPECT_EQ(third.created(), 0);
    auto records = recordsOf("CreateCamera", "camera");
    ASSERT_EQ(records.size(), 3U);
    EXPECT_TRUE(records[0].ok);
    EXPECT_FALSE(records[1].ok);
    EXPECT_TRUE(records[2].ok);
}

TEST(CameraEnumeration, FailNextCountsCreationsAfterTheSkippedOnes) {
    useRig(fourCameras());
    failNext("camera", "CreateCamera", 1, 2);
    CameraRef first("ZV");
    CameraRef second("QX");
    CameraRef third("ZV");
    CameraRef fourth("ZV");
    EXPECT_EQ(first.created(), 0);
    EXPECT_EQ(second.created(), 0);
    EXPECT_NE(third.created(), 0);
    EXPECT_EQ(fourth.created(), 0);
}

TEST(CameraEnumeration, ACameraThatCannotBeCreatedBySerial) {
    useRig(rigWithCameras({cameraJson("A1", R"("fail": {"CreateCamera": -1})"), cameraJson("A2")}));
    void* handle = nullptr;
    EXPECT_NE(CreateCamera(handle, "A1"), 0);
    EXPECT_NE(CreateCamera(handle, "A1"), 0);
    EXPECT_EQ(handle, nullptr);
    auto records = recordsOf("CreateCamera", "A1");
    ASSERT_EQ(records.size(), 2U);
    EXPECT_FALSE(records[1].ok);
    CameraRef a2("A2");
    EXPECT_EQ(a2.created(), 0);
}

TEST(CameraEnumeration, ACameraThatCannotBeOpened) {
    useRig(rigWithCameras({cameraJson("A1", R"("fail": {"OpenCamera": -1})"), cameraJson("A2")}));
    CameraRef zv("ZV");
    EXPECT_NE(OpenCamera(zv.get(), 0, 0, 0), 0);
    EXPECT_NE(OpenCamera(zv.get(), "A1", 0, 0), 0);
    EXPECT_EQ(lastRecordOf("OpenCamera").dev, "camera");
    EXPECT_FALSE(lastRecordOf("OpenCamera").ok);
    std::string serial = "untouched";
    EXPECT_NE(GetSerialNo(zv.get(), serial), 0);  // not open
    EXPECT_EQ(serial, "untouched");
    ASSERT_EQ(OpenCamera(zv.get(), 1, 0, 0), 0);
    EXPECT_EQ(serialOf(zv.get()), "A2");
}

TEST(CameraEnumeration, FailNextMakesOneOpenFail) {
    useRig(rigWithCameras({cameraJson("A1")}));
    failNext("A1", "OpenCamera", 1);
    CameraRef zv("ZV");
    EXPECT_NE(OpenCamera(zv.get(), 0, 0, 0), 0);
    EXPECT_EQ(OpenCamera(zv.get(), 0, 0, 0), 0);
    EXPECT_EQ(statsOf("A1").openHandles, 1);
}

TEST(CameraEnumeration, ACameraWhoseSerialCannotBeRead) {
    useRig(rigWithCameras({cameraJson("A1", R"("fail": {"GetSerialNo": -1})")}));
    CameraRef zv("ZV");
    ASSERT_EQ(OpenCamera(zv.get(), 0, 0, 0), 0);
    std::string serial = "untouched";
    EXPECT_NE(GetSerialNo(zv.get(), serial), 0);
    EXPECT_EQ(serial, "untouched");
    auto record = lastRecordOf("GetSerialNo");
    EXPECT_EQ(record.dev, "A1");
    EXPECT_FALSE(record.ok);
}

TEST(CameraEnumeration, EnumerationCallsCanBeMadeToFail) {
    useRig(rigWithCameras({cameraJson("A1")}));
    failNext("camera", "GetDeviceTotal", 1);
    CameraRef zv("ZV");
    int total = 42;
    EXPECT_NE(GetDeviceTotal(zv.get(), total), 0);
    EXPECT_EQ(total, 42);
    EXPECT_EQ(GetDeviceTotal(zv.get(), total), 0);
    EXPECT_EQ(total, 1);
}

TEST(CameraEnumeration, EnumerationHandleRefusesCameraOperations) {
    useRig(rigWithCameras({cameraJson("A1")}));
    CameraRef zv("ZV");
    long exposure = 7;
    EXPECT_NE(GetExposureTime(zv.get(), exposure), 0);
    EXPECT_EQ(exposure, 7);
    EXPECT_NE(StartCamera(zv.get(), 0.0), 0);
    EXPECT_NE(CloseCamera(zv.get()), 0);
    unsigned char* data = nullptr;
    EXPECT_NE(SnapShot(zv.get(), data), 0);
    EXPECT_EQ(lastRecordOf("StartCamera").dev, "camera");
}

TEST(CameraEnumeration, ClosedHandleCanBeOpenedAgain) {
    useRig(rigWithCameras({cameraJson("A1"), cameraJson("A2")}));
    CameraRef zv("ZV");
    ASSERT_EQ(OpenCamera(zv.get(), 0, 0, 0), 0);
    EXPECT_EQ(statsOf("A1").openHandles, 1);
    ASSERT_EQ(CloseCamera(zv.get()), 0);
    EXPECT_EQ(statsOf("A1").openHandles, 0);
    EXPECT_EQ(lastRecordOf("CloseCamera").dev, "A1");
    long exposure = 0;
    EXPECT_NE(GetExposureTime(zv.get(), exposure), 0);
    EXPECT_NE(CloseCamera(zv.get()), 0);
    ASSERT_EQ(OpenCamera(zv.get(), 1, 0, 0), 0);
    EXPECT_EQ(serialOf(zv.get()), "A2");
    EXPECT_EQ(GetExposureTime(zv.get(), exposure), 0);
}

TEST(CameraEnumeration, OpeningAnOpenHandleMovesItToTheNewCamera) {
    useRig(rigWithCameras({cameraJson("A1"), cameraJson("A2")}));
    CameraRef zv("ZV");
    ASSERT_EQ(OpenCamera(zv.get(), 0, 0, 0), 0);
    ASSERT_EQ(OpenCamera(zv.get(), 1, 0, 0), 0);
    EXPECT_EQ(statsOf("A1").openHandles, 0);
    EXPECT_EQ(statsOf("A2").openHandles, 1);
    // A failed open leaves the handle as it was.
    EXPECT_NE(OpenCamera(zv.get(), 5, 0, 0), 0);
    EXPECT_EQ(serialOf(zv.get()), "A2");
    EXPECT_EQ(lastRecordOf("OpenCamera").dev, "A2");
}

TEST(CameraEnumeration, ReleaseNullsTheHandleAndEndsTheSession) {
    useRig(rigWithCameras({cameraJson("A1")}));
    void* handle = nullptr;
    ASSERT_EQ(CreateCamera(handle, "A1"), 0);
    ASSERT_EQ(OpenCamera(handle, "A1", 0, 0), 0);
    void* stale = handle;
    ReleaseCamera(handle);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(statsOf("A1").openHandles, 0);
    EXPECT_TRUE(lastRecordOf("ReleaseCamera").ok);
    EXPECT_EQ(lastRecordOf("ReleaseCamera").dev, "A1");
    void* const kept = stale;
    ReleaseCamera(stale);
    EXPECT_EQ(stale, kept);  // a failing release leaves the variable alone
    EXPECT_FALSE(lastRecordOf("ReleaseCamera").ok);
    EXPECT_EQ(lastRecordOf("ReleaseCamera").dev, "camera");
}

}  // namespace
}  // namespace zeta::sim::test
