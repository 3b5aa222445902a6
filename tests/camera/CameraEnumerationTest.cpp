// Enumeration of the cameras of one type before any camera thread exists:
// GetAllSpecifyTypeCameraInformation, GetSpecifyTypeCameraCount and IsConnectOnU3.
#include <cstdlib>
#include <cstring>

#include "CameraThreadTestSupport.h"

namespace zeta::camera::test {
namespace {

using zeta::test::ConsoleCapture;
using zeta::test::LogCapture;

// The lists GetAllSpecifyTypeCameraInformation fills; frees the serial buffers it hands out.
struct CameraInformation {
    std::vector<char*> serials;
    std::vector<int> widths;
    std::vector<int> heights;
    std::vector<bool> colors;

    ~CameraInformation() {
        for (char* serial : serials) std::free(serial);
    }
    int fetch(const std::string& type) {
        return CPhysicalCameraThread::GetAllSpecifyTypeCameraInformation(type, serials, widths,
                                                                         heights, colors);
    }
    std::vector<std::string> serialTexts() const {
        std::vector<std::string> texts;
        for (const char* serial : serials) texts.emplace_back(serial != nullptr ? serial : "");
        return texts;
    }
};

std::vector<std::string> argsOf(const std::vector<zeta::sim::JournalRecord>& records) {
    std::vector<std::string> args;
    for (const auto& record : records) args.push_back(record.args);
    return args;
}

class CameraEnumerationTest : public CameraThreadTest {};

TEST_F(CameraEnumerationTest, DescribesEveryCameraOfTheTypeInRigOrder) {
    useRig(rigWithCameras({
        cameraJson("A1"),
        cameraJson("X1", R"("type":"XY")"),
        cameraJson("A2", R"("sensors":2)", 32, 8),
        cameraJson("C1", R"("format":17,"gainMin":2,"gainMax":30)", 40, 30),
    }));
    LogCapture log;
    ConsoleCapture console;
    CameraInformation info;

    EXPECT_EQ(info.fetch("ZV"), 3);

    EXPECT_EQ(info.serialTexts(), (std::vector<std::string>{"A1", "A2", "C1"}));
    EXPECT_EQ(info.widths, (std::vector<int>{64, 64, 40}));  // a 2-sensor frame is 2 x 32 wide
    EXPECT_EQ(info.heights, (std::vector<int>{48, 8, 30}));
    EXPECT_EQ(info.colors, (std::vector<bool>{false, false, true}));
    EXPECT_EQ(console.text(),
              "Camera Is Color Mode: 0\nCamera 0 gain range 0 - 24\n"
              "Camera Is Color Mode: 0\nCamera 1 gain range 0 - 24\n"
              "Camera Is Color Mode: 1\nCamera 2 gain range 2 - 30\n");
    EXPECT_EQ(cameraMessages(log),
              (std::vector<std::string>{"GetAllSpecifyTypeCameraInformation 0",
                                        "GetAllSpecifyTypeCameraInformation tmpRealCount=3"}));

    // One enumeration handle per device, each opened by its index and closed and released.
    EXPECT_EQ(argsOf(recordsOf("CreateCamera")),
              (std::vector<std::string>{R"(["ZV"])", R"(["ZV"])", R"(["ZV"])"}));
    EXPECT_EQ(argsOf(recordsOf("OpenCamera")),
              (std::vector<std::string>{"[0,0,0]", "[1,0,0]", "[2,0,0]"}));
    const auto closes = recordsOf("CloseCamera");
    const auto releases = recordsOf("ReleaseCamera");
    ASSERT_EQ(closes.size(), 3U);
    ASSERT_EQ(releases.size(), 3U);
    for (const auto& record : closes) EXPECT_TRUE(record.ok);
    for (const auto& record : releases) EXPECT_TRUE(record.ok);
    EXPECT_EQ(recordsOf("GetSerialNo", "C1").size(), 1U);
    EXPECT_EQ(recordsOf("GetGainRange", "A2").size(), 1U);
    EXPECT_TRUE(recordsOf("OpenCamera", "X1").empty());
}

TEST_F(CameraEnumerationTest, ColourFlagFollowsTheFormat) {
    useRig(rigWithCameras({cameraJson("F2", R"("format":2)"), cameraJson("F16", R"("format":16)"),
                           cameraJson("F18", R"("format":18)")}));
    ConsoleCapture console;
    CameraInformation info;

    EXPECT_EQ(info.fetch("ZV"), 3);
    EXPECT_EQ(info.colors, (std::vector<bool>{false, true, true}));
    const std::string& text = console.text();
    EXPECT_NE(text.find("Camera Is Color Mode: 0\nCamera 0"), std::string::npos);
    EXPECT_NE(text.find("Camera Is Color Mode: 1\nCamera 1"), std::string::npos);
    EXPECT_NE(text.find("Camera Is Color Mode: 1\nCamera 2"), std::string::npos);
}

TEST_F(CameraEnumerationTest, UnknownTypePrintsItsFirstTwoCharactersAndDescribesNothing) {
    useRig(rigWithCameras({cameraJson("A1")}));
    LogCapture log;
    ConsoleCapture console;
    CameraInformation info;

    EXPECT_EQ(info.fetch("QRS"), 0);
    EXPECT_EQ(console.text(), "Create Camera Failed: QR\n");
    EXPECT_EQ(cameraMessages(log),
              (std::vector<std::string>{"GetAllSpecifyTypeCameraInformation 0",
                                        "GetAllSpecifyTypeCameraInformation failed"}));
    EXPECT_TRUE(info.serials.empty());
    EXPECT_TRUE(info.widths.empty());
    EXPECT_TRUE(info.heights.empty());
    EXPECT_TRUE(info.colors.empty());
    EXPECT_TRUE(recordsOf("OpenCamera").empty());
}

TEST_F(CameraEnumerationTest, FailedDeviceTotalReleasesTheHandleAndDescribesNothing) {
    useRig(withEnumerationFaults(rigWithCameras({cameraJson("A1")}), R"({"GetDeviceTotal": 1})"));
    LogCapture log;
    ConsoleCapture console;
    CameraInformation info;

    EXPECT_EQ(info.fetch("ZV"), 0);
    EXPECT_EQ(console.text(), "Device Total: 0\n");
    EXPECT_EQ(cameraMessages(log),
              (std::vector<std::string>{"GetAllSpecifyTypeCameraInformation 0",
                                        "GetAllSpecifyTypeCameraInformation failed1"}));
    const auto releases = recordsOf("ReleaseCamera", "camera");
    ASSERT_EQ(releases.size(), 1U);
    EXPECT_TRUE(releases[0].ok);
    EXPECT_TRUE(info.serials.empty());
}

TEST_F(CameraEnumerationTest, OnlyTheHandlesThatCouldBeCreatedAreExamined) {
    // Three devices; the second of the three handle creations fails.
    useRig(withEnumerationFaults(
        rigWithCameras({cameraJson("A1"), cameraJson("A2"), cameraJson("A3")}),
        R"({"CreateCamera": {"skip": 1, "times": 1}})"));
    CameraInformation info;

    EXPECT_EQ(info.fetch("ZV"), 2);
    EXPECT_EQ(info.serialTexts(), (std::vector<std::string>{"A1", "A2"}));
    const auto creates = recordsOf("CreateCamera");
    ASSERT_EQ(creates.size(), 3U);
    EXPECT_TRUE(creates[0].ok);
    EXPECT_FALSE(creates[1].ok);
    EXPECT_TRUE(creates[2].ok);
    EXPECT_EQ(argsOf(recordsOf("OpenCamera")), (std::vector<std::string>{"[0,0,0]", "[1,0,0]"}));
    EXPECT_TRUE(recordsOf("OpenCamera", "A3").empty());
    EXPECT_EQ(recordsOf("ReleaseCamera").size(), 2U);
}

TEST_F(CameraEnumerationTest, CameraWhoseSerialCannotBeReadIsAbsentFromEveryList) {
    useRig(rigWithCameras({cameraJson("A1", "", 64, 48),
                           cameraJson("A2", R"("fail":{"GetSerialNo":-1})", 32, 16),
                           cameraJson("C1", R"("format":17)", 40, 30)}));
    ConsoleCapture console;
    CameraInformation info;

    EXPECT_EQ(info.fetch("ZV"), 2);
    EXPECT_EQ(info.serialTexts(), (std::vector<std::string>{"A1", "C1"}));
    EXPECT_EQ(info.widths, (std::vector<int>{64, 40}));
    EXPECT_EQ(info.heights, (std::vector<int>{48, 30}));
    EXPECT_EQ(info.colors, (std::vector<bool>{false, true}));
    const std::string& text = console.text();
    EXPECT_NE(text.find("Get Camera 1 Serial Failed\n"), std::string::npos);
    EXPECT_EQ(text.find("Camera 1 gain range"), std::string::npos);
    EXPECT_NE(text.find("Camera 2 gain range 0 - 24\n"), std::string::npos);
    // The camera was opened all the same, and is closed with the others.
    EXPECT_EQ(recordsOf("CloseCamera", "A2").size(), 1U);
}

TEST_F(CameraEnumerationTest, CameraThatCannotBeOpenedIsSkipped) {
    useRig(rigWithCameras(
        {cameraJson("A1"), cameraJson("A2", R"("fail":{"OpenCamera":-1})"), cameraJson("A3")}));
    ConsoleCapture console;
    CameraInformation info;

    EXPECT_EQ(info.fetch("ZV"), 2);
    EXPECT_EQ(info.serialTexts(), (std::vector<std::string>{"A1", "A3"}));
    EXPECT_NE(console.text().find("Open Camera 1 Failed\n"), std::string::npos);
    EXPECT_EQ(recordsOf("ReleaseCamera").size(), 3U);
}

TEST_F(CameraEnumerationTest, LongSerialIsCutTo259CharactersAndTerminated) {
    const std::string serial(300, 'S');
    useRig(rigWithCameras({cameraJson(serial), cameraJson("A2")}));
    CameraInformation info;

    ASSERT_EQ(info.fetch("ZV"), 2);
    ASSERT_NE(info.serials[0], nullptr);
    EXPECT_EQ(std::strlen(info.serials[0]), 259U);
    EXPECT_EQ(std::string(info.serials[0]), serial.substr(0, 259));
    EXPECT_EQ(info.serials[0][259], '\0');
    EXPECT_STREQ(info.serials[1], "A2");
}

TEST_F(CameraEnumerationTest, CountsThePresentCamerasOfTheType) {
    useRig(rigWithCameras({cameraJson("A1"), cameraJson("X1", R"("type":"XY")"), cameraJson("A2"),
                           cameraJson("A3", R"("present":false)")}));
    LogCapture log;

    EXPECT_EQ(CPhysicalCameraThread::GetSpecifyTypeCameraCount("ZV"), 2);
    EXPECT_EQ(CPhysicalCameraThread::GetSpecifyTypeCameraCount("XY"), 1);
    const auto messages = cameraMessages(log);
    EXPECT_TRUE(inOrder(messages, {"GetSpecifyTypeCameraCount ", "GetSpecifyTypeCameraCount 1",
                                   "GetSpecifyTypeCameraCount tmpCameraNum=2"}));
    EXPECT_EQ(indexOfExact(messages, "GetSpecifyTypeCameraCount tmpCameraNum=1"), 5);
    const auto releases = recordsOf("ReleaseCamera", "camera");
    ASSERT_EQ(releases.size(), 2U);
    EXPECT_TRUE(releases[0].ok);
}

TEST_F(CameraEnumerationTest, CountOfAnUnknownTypeIsZeroWithItsSuccessSoundingLogLine) {
    useRig(rigWithCameras({cameraJson("A1")}));
    LogCapture log;
    ConsoleCapture console;

    EXPECT_EQ(CPhysicalCameraThread::GetSpecifyTypeCameraCount("QRS"), 0);
    EXPECT_EQ(console.text(), "Create Camera Failed: QR\n");
    EXPECT_EQ(cameraMessages(log), (std::vector<std::string>{"GetSpecifyTypeCameraCount ",
                                                             "GetSpecifyTypeCameraCount ok"}));
}

TEST_F(CameraEnumerationTest, CountWithAFailedDeviceTotalIsZeroAndReleasesTheHandle) {
    useRig(withEnumerationFaults(rigWithCameras({cameraJson("A1")}), R"({"GetDeviceTotal": 1})"));
    LogCapture log;
    ConsoleCapture console;

    EXPECT_EQ(CPhysicalCameraThread::GetSpecifyTypeCameraCount("ZV"), 0);
    EXPECT_EQ(console.text(), "Device Total: 0\n");
    EXPECT_EQ(cameraMessages(log),
              (std::vector<std::string>{"GetSpecifyTypeCameraCount ", "GetSpecifyTypeCameraCount 1",
                                        "GetSpecifyTypeCameraCount ok1"}));
    const auto releases = recordsOf("ReleaseCamera", "camera");
    ASSERT_EQ(releases.size(), 1U);
    EXPECT_TRUE(releases[0].ok);
}

TEST_F(CameraEnumerationTest, OneUsb3CameraIsOnU3WithEveryTraceLine) {
    useRig(rigWithCameras({cameraJson("A1")}));
    LogCapture log;
    bool onU3 = false;

    EXPECT_EQ(CPhysicalCameraThread::IsConnectOnU3("ZV", onU3), 0);
    EXPECT_TRUE(onU3);
    EXPECT_EQ(cameraMessages(log), (std::vector<std::string>{
                                       "IsConnectOnU3 0",
                                       "tmpBuf=Start Function zetaCamera::CreateCamera",
                                       "tmpBuf=End Function zetaCamera::CreateCamera",
                                       "tmpBuf=Start Function zetaCamera::GetDeviceTotal",
                                       "tmpBuf=Start Function zetaCamera::OpenCamera   index=0",
                                       "tmpBuf=End Function zetaCamera::OpenCamera   index=0",
                                       "tmpBuf=Start Function zetaCamera::GetResolution   index=0",
                                       "tmpBuf=End Function zetaCamera::GetResolution   index=0",
                                       "IsConnectOnU3 ReleaseCamera start",
                                       "tmpBuf=Start Function zetaCamera::ReleaseCamera",
                                       "tmpBuf=End Function zetaCamera::ReleaseCamera",
                                       "IsConnectOnU3 ReleaseCamera end",
                                       "IsConnectOnU3 return bOerateSuccess=1",
                                   }));
    EXPECT_EQ(argsOf(recordsOf("OpenCamera")), (std::vector<std::string>{"[0,0,0]"}));
}

TEST_F(CameraEnumerationTest, CameraReportingWidthOneIsNotOnU3ButTheCallSucceeds) {
    useRig(rigWithCameras({cameraJson("A1", R"("usb3":false)")}));
    bool onU3 = true;

    EXPECT_EQ(CPhysicalCameraThread::IsConnectOnU3("ZV", onU3), 0);
    EXPECT_FALSE(onU3);
}

TEST_F(CameraEnumerationTest, TwoCameraRigFailsInTheSecondRoundOnTheReleasedHandle) {
    // The handle is released after the first camera; the second round opens with the released
    // (null) handle, which fails, so the answer is 1 with the first camera's link kept.
    useRig(rigWithCameras({cameraJson("A1"), cameraJson("A2")}));
    LogCapture log;
    bool onU3 = false;

    EXPECT_EQ(CPhysicalCameraThread::IsConnectOnU3("ZV", onU3), 1);
    EXPECT_TRUE(onU3);
    const auto opens = recordsOf("OpenCamera");
    ASSERT_EQ(opens.size(), 2U);
    EXPECT_EQ(opens[0].args, "[0,0,0]");
    EXPECT_TRUE(opens[0].ok);
    EXPECT_EQ(opens[1].args, "[1,0,0]");
    EXPECT_FALSE(opens[1].ok);
    EXPECT_EQ(opens[1].dev, "camera");
    const auto releases = recordsOf("ReleaseCamera");
    ASSERT_EQ(releases.size(), 2U);
    EXPECT_TRUE(releases[0].ok);
    EXPECT_FALSE(releases[1].ok);
    EXPECT_TRUE(recordsOf("GetResolution").size() == 1U);
    const auto messages = cameraMessages(log);
    EXPECT_EQ(countExact(log, "IsConnectOnU3 ReleaseCamera start"), 1);
    EXPECT_TRUE(inOrder(messages, {"tmpBuf=Start Function zetaCamera::OpenCamera   index=1",
                                   "tmpBuf=End Function zetaCamera::OpenCamera   index=1",
                                   "tmpBuf=Start Function zetaCamera::ReleaseCamera",
                                   "tmpBuf=End Function zetaCamera::ReleaseCamera",
                                   "IsConnectOnU3 return bOerateSuccess=0"}));
}

TEST_F(CameraEnumerationTest, TwoCameraRigWithAUsb2FirstCameraIsNotOnU3) {
    useRig(rigWithCameras({cameraJson("A1", R"("usb3":false)"), cameraJson("A2")}));
    bool onU3 = true;

    EXPECT_EQ(CPhysicalCameraThread::IsConnectOnU3("ZV", onU3), 1);
    EXPECT_FALSE(onU3);
}

TEST_F(CameraEnumerationTest, U3QueryOfAnUnknownTypeReleasesAndReturnsOne) {
    useRig(rigWithCameras({cameraJson("A1")}));
    LogCapture log;
    bool onU3 = true;

    EXPECT_EQ(CPhysicalCameraThread::IsConnectOnU3("QRS", onU3), 1);
    EXPECT_FALSE(onU3);
    EXPECT_EQ(
        cameraMessages(log),
        (std::vector<std::string>{
            "IsConnectOnU3 0", "tmpBuf=Start Function zetaCamera::CreateCamera",
            "tmpBuf=End Function zetaCamera::CreateCamera", "IsConnectOnU3 CreateCamera failed",
            "tmpBuf=Start Function zetaCamera::ReleaseCamera",
            "tmpBuf=End Function zetaCamera::ReleaseCamera", "IsConnectOnU3 ReleaseCamera end"}));
    EXPECT_TRUE(recordsOf("GetDeviceTotal").empty());
}

TEST_F(CameraEnumerationTest, U3QueryWithNoPresentCameraReturnsOne) {
    useRig(rigWithCameras({cameraJson("A1", R"("present":false)")}));
    LogCapture log;
    bool onU3 = true;

    EXPECT_EQ(CPhysicalCameraThread::IsConnectOnU3("ZV", onU3), 1);
    EXPECT_FALSE(onU3);
    EXPECT_TRUE(recordsOf("OpenCamera").empty());
    const auto releases = recordsOf("ReleaseCamera");
    ASSERT_EQ(releases.size(), 1U);
    EXPECT_TRUE(releases[0].ok);
    EXPECT_EQ(countExact(log, "IsConnectOnU3 return bOerateSuccess=0"), 0);
}

TEST_F(CameraEnumerationTest, U3QueryWithAFailedResolutionReturnsOne) {
    useRig(rigWithCameras({cameraJson("A1", R"("fail":{"GetResolution":1})")}));
    LogCapture log;
    bool onU3 = true;

    EXPECT_EQ(CPhysicalCameraThread::IsConnectOnU3("ZV", onU3), 1);
    EXPECT_FALSE(onU3);
    EXPECT_TRUE(inOrder(cameraMessages(log),
                        {"IsConnectOnU3 ReleaseCamera start", "IsConnectOnU3 ReleaseCamera end",
                         "IsConnectOnU3 return bOerateSuccess=0"}));
}

}  // namespace
}  // namespace zeta::camera::test
