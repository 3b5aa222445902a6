// Connection and handle lifecycle through the public header, on the virtual scanner.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "ApiTestSupport.h"

namespace {

using namespace zetaVoroSync;
using namespace zeta::api::test;
using zeta::sim::test::rigWithCameras;
using zeta::sim::test::useRig;
using zeta::test::CameraNames;
using zeta::test::ConsoleCapture;
using zeta::test::LogCapture;

void freeAll(std::vector<char*>& serials) {
    for (char* s : serials) std::free(s);
    serials.clear();
}

// ---- GetCamerasInformation / GetCameraCount -------------------------------------------------

TEST(ApiCameraEnumeration, GetCamerasInformationListsTheCamerasOfAType) {
    useRig(smallRig());
    LogCapture log;
    std::vector<char*> serials;
    std::vector<int> widths, heights;
    std::vector<bool> flags;
    int count = -1;
    const char* type = "ZV";
    EXPECT_EQ(GetCamerasInformation(type, serials, widths, heights, flags, count),
              RET_OPERATE_SUCCESS);
    EXPECT_EQ(count, 3);
    ASSERT_EQ(serials.size(), 3u);
    EXPECT_STREQ(serials[0], "ZV0001");
    EXPECT_STREQ(serials[1], "ZV0002");
    EXPECT_STREQ(serials[2], "ZV0003");
    EXPECT_EQ(widths, (std::vector<int>{64, 64, 64}));
    EXPECT_EQ(heights, (std::vector<int>{48, 48, 48}));
    EXPECT_EQ(flags, (std::vector<bool>{false, false, true}));
    EXPECT_TRUE(log.contains("zetaVoroSync version: 1.0.2.3"));
    EXPECT_TRUE(log.contains("SerialsCount:3"));
    EXPECT_TRUE(log.contains("cameraCount:3"));
    const int at = log.indexOf("zetaVoroSync version: ");
    ASSERT_GE(at, 0);
    EXPECT_EQ(log.files()[static_cast<std::size_t>(at)], "zetaVoroSyncControl.cpp");
    auto creates = zeta::sim::test::recordsOf("CreateCamera", "camera");
    ASSERT_FALSE(creates.empty());
    EXPECT_EQ(creates.front().args, R"(["ZV"])");
    freeAll(serials);
}

TEST(ApiCameraEnumeration, GetCamerasInformationAppendsToTheCallersLists) {
    useRig(smallRig());
    std::vector<char*> serials;
    std::vector<int> widths{7}, heights{8};
    std::vector<bool> flags{true};
    int count = -1;
    const char* type = "ZV";
    EXPECT_EQ(GetCamerasInformation(type, serials, widths, heights, flags, count),
              RET_OPERATE_SUCCESS);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(widths, (std::vector<int>{7, 64, 64, 64}));
    EXPECT_EQ(flags.size(), 4u);
    freeAll(serials);
}

TEST(ApiCameraEnumeration, GetCamerasInformationOfAnUnknownTypeSucceedsWithNoCamera) {
    useRig(smallRig());
    LogCapture log;
    std::vector<char*> serials;
    std::vector<int> widths, heights;
    std::vector<bool> flags;
    int count = -1;
    const char* type = "QQ";
    EXPECT_EQ(GetCamerasInformation(type, serials, widths, heights, flags, count),
              RET_OPERATE_SUCCESS);
    EXPECT_EQ(count, 0);
    EXPECT_TRUE(serials.empty());
    EXPECT_TRUE(log.contains("SerialsCount:0"));
    EXPECT_TRUE(log.contains("cameraCount:0"));
}

TEST(ApiCameraEnumeration, GetCamerasInformationWithANullTypeEnumeratesNothing) {
    useRig(smallRig());
    const auto mark = journalMark();
    std::vector<char*> serials;
    std::vector<int> widths, heights;
    std::vector<bool> flags;
    int count = -1;
    const char* type = nullptr;
    EXPECT_EQ(GetCamerasInformation(type, serials, widths, heights, flags, count),
              RET_OPERATE_SUCCESS);
    EXPECT_EQ(count, 0);
    EXPECT_TRUE(serials.empty());
    EXPECT_TRUE(trafficSince(mark).empty());
}

TEST(ApiCameraEnumeration, GetCameraCountCountsThePresentCameras) {
    useRig(smallRig());
    int count = -1;
    const char* type = "ZV";
    EXPECT_EQ(GetCameraCount(type, count), RET_OPERATE_SUCCESS);
    EXPECT_EQ(count, 3);
    ASSERT_TRUE(zeta::sim::unplug("ZV0002"));
    EXPECT_EQ(GetCameraCount(type, count), RET_OPERATE_SUCCESS);
    EXPECT_EQ(count, 2);
    EXPECT_FALSE(zeta::sim::test::recordsOf("GetDeviceTotal").empty());

    const char* unknown = "QQ";
    EXPECT_EQ(GetCameraCount(unknown, count), RET_OPERATE_SUCCESS);
    EXPECT_EQ(count, 0);
    const char* none = nullptr;
    count = -1;
    EXPECT_EQ(GetCameraCount(none, count), RET_OPERATE_SUCCESS);
    EXPECT_EQ(count, 0);
}

// ---- IsConnectedOnU3 ----------------------------------------------------------------------

TEST(ApiIsConnectedOnU3, ACameraOnUsb3) {
    useRig(rigWithCameras({cameraJson("ZV0001")}));
    LogCapture log;
    bool onU3 = false;
    EXPECT_EQ(IsConnectedOnU3("ZV", onU3), RET_OPERATE_SUCCESS);
    EXPECT_TRUE(onU3);
    const int created = log.indexOf("tmpBuf=Start new CStripeSync");
    const int asked = log.indexOf("tmpBuf=Start Function IsConnectedOnU3", created);
    const int deleting = log.indexOf("tmpBuf=Start Delete CStripeSync Object", asked);
    const int deleted = log.indexOf("tmpBuf=End Delete CStripeSync Object", deleting);
    EXPECT_GE(created, 0);
    EXPECT_GT(asked, created);
    EXPECT_GT(deleting, asked);
    EXPECT_GT(deleted, deleting);
    EXPECT_FALSE(zeta::sim::test::recordsOf("GetResolution").empty());
}

TEST(ApiIsConnectedOnU3, ACameraOnUsb2) {
    useRig(rigWithCameras({cameraJson("ZV0001", 1, R"("usb3": false)")}));
    bool onU3 = true;
    EXPECT_EQ(IsConnectedOnU3("ZV", onU3), RET_OPERATE_SUCCESS);
    EXPECT_FALSE(onU3);
}

// The camera layer releases its handle after the first camera and then cannot open the second
// one: with several cameras the question fails (the system's behaviour, kept).
TEST(ApiIsConnectedOnU3, SeveralCamerasReportAFailure) {
    useRig(smallRig());
    bool onU3 = false;
    EXPECT_EQ(IsConnectedOnU3("ZV", onU3), RET_OPERATE_FAILED);
}

TEST(ApiIsConnectedOnU3, OtherCameraFamiliesAreUnsupportedWithoutCreatingAnything) {
    useRig(smallRig());
    LogCapture log;
    const auto mark = journalMark();
    bool onU3 = true;
    EXPECT_EQ(IsConnectedOnU3("XY0001", onU3), RET_OPERATION_UNSUPPORTED);
    EXPECT_EQ(IsConnectedOnU3("zv", onU3), RET_OPERATION_UNSUPPORTED);
    EXPECT_EQ(IsConnectedOnU3("Z", onU3), RET_OPERATION_UNSUPPORTED);
    EXPECT_EQ(IsConnectedOnU3("", onU3), RET_OPERATION_UNSUPPORTED);
    EXPECT_EQ(IsConnectedOnU3(nullptr, onU3), RET_OPERATION_UNSUPPORTED);
    EXPECT_TRUE(onU3);
    EXPECT_FALSE(log.contains("Start new CStripeSync"));
    EXPECT_TRUE(trafficSince(mark).empty());
}

// ---- ConnectDevice / DisConnectDevice -----------------------------------------------------

TEST(ApiConnect, ConnectAndDisconnectTheStripeMode) {
    useRig(smallRig());
    LogCapture log;
    CameraNames names({"ZV0001", "ZV0002", "ZV0003"});
    const std::vector<int> widths{64, 64, 64}, heights{48, 48, 48};
    void* handle = nullptr;
    std::string console;
    {
        ConsoleCapture capture;
        EXPECT_EQ(ConnectDevice("STRIPE", kBoardPath, names.get(), widths, heights, handle),
                  RET_OPERATE_SUCCESS);
        console = capture.text();
    }
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(console.rfind("Connect device begin =====================================>\n"
                            "ConnectCamera: Camera_0 is ZV0001\n"
                            "ConnectCamera: Camera_1 is ZV0002\n"
                            "ConnectCamera: Camera_2 is ZV0003\n",
                            0),
              0u)
        << console;
    EXPECT_TRUE(log.contains("Success Connnect Device hSync="));
    auto init = zeta::sim::test::lastRecordOf("zetaInitHidDev");
    EXPECT_EQ(init.args, R"(["sim:board0"])");
    EXPECT_TRUE(init.ok);
    for (const char* serial : {"ZV0001", "ZV0002", "ZV0003"}) {
        EXPECT_FALSE(zeta::sim::test::recordsOf("OpenCamera", serial).empty()) << serial;
    }
    int count = 0;
    EXPECT_EQ(GetConnectCameraCount(handle, count), RET_OPERATE_SUCCESS);
    EXPECT_EQ(count, 3);

    const auto mark = journalMark();
    {
        ConsoleCapture capture;
        EXPECT_EQ(DisConnectDevice(handle), RET_OPERATE_SUCCESS);
        EXPECT_NE(capture.text().find("End Disconnect\n"), std::string::npos);
    }
    EXPECT_EQ(handle, nullptr);
    EXPECT_TRUE(log.contains("DisConnectDevice hSync="));
    EXPECT_TRUE(log.contains("tmpBuf=End Function DisConnectDevice"));
    EXPECT_EQ(recordsSince(mark, "zetaExitHidDev").size(), 1u);
    EXPECT_EQ(zeta::sim::boardState().openHandles, 0);
}

TEST(ApiConnect, ModeStringsAreExactAndCaseSensitive) {
    useRig(smallRig());
    const auto mark = journalMark();
    CameraNames names({"ZV0001"});
    int sentinel = 0;
    void* handle = &sentinel;
    for (const char* mode : {"stripe", "Stripe", "STRIPE ", "STRIP", "", "UNKNOWN"}) {
        EXPECT_EQ(ConnectDevice(mode, kBoardPath, names.get(), {64}, {48}, handle),
                  RET_SYNC_TYPE_UNSUPPORTED)
            << mode;
    }
    EXPECT_EQ(handle, &sentinel);
    EXPECT_TRUE(trafficSince(mark).empty());
}

// The other modes of the table have no synchroniser class in this build yet: they are refused
// like an unknown string, print nothing of their own and create nothing.
TEST(ApiConnect, ModesWithoutAClassAreUnsupported) {
    useRig(smallRig());
    const auto mark = journalMark();
    CameraNames names({"ZV0001"});
    void* handle = nullptr;
    ConsoleCapture capture;
    for (const char* mode : {"LASER", "CALIBRATE_E7", "SPECKLE", "SPECKLE_E7", "E7STRIPE",
                             "STRIPESEQUENCE", "SPECKLELASER", "DPLASER"}) {
        EXPECT_EQ(ConnectDevice(mode, kBoardPath, names.get(), {64}, {48}, handle),
                  RET_SYNC_TYPE_UNSUPPORTED)
            << mode;
    }
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(capture.text().find("Init SPECKLE"), std::string::npos);
    EXPECT_TRUE(trafficSince(mark).empty());
}

TEST(ApiConnect, NullModeIsAParameterError) {
    useRig(smallRig());
    const auto mark = journalMark();
    CameraNames names({"ZV0001"});
    void* handle = nullptr;
    const char* mode = nullptr;
    EXPECT_EQ(ConnectDevice(mode, kBoardPath, names.get(), {64}, {48}, handle),
              RET_PARAMETER_ERROR);
    EXPECT_EQ(handle, nullptr);
    EXPECT_TRUE(trafficSince(mark).empty());
}

TEST(ApiConnect, VectorsOfUnequalSizesAreRefusedBeforeAnythingIsCreated) {
    useRig(smallRig());
    LogCapture log;
    const auto mark = journalMark();
    CameraNames two({"ZV0001", "ZV0002"});
    void* handle = nullptr;
    EXPECT_EQ(ConnectDevice("STRIPE", kBoardPath, two.get(), {64}, {48}, handle),
              RET_PARAMETER_ERROR);
    EXPECT_EQ(ConnectDevice("STRIPE", kBoardPath, two.get(), {64, 64}, {48}, handle),
              RET_PARAMETER_ERROR);
    EXPECT_EQ(ConnectDevice("STRIPE", kBoardPath, two.get(), {64}, {48, 48}, handle),
              RET_PARAMETER_ERROR);
    EXPECT_EQ(handle, nullptr);
    EXPECT_TRUE(trafficSince(mark).empty());
    EXPECT_FALSE(log.contains("Enter InitProjector"));
}

// Found by the fuzzer: seventeen camera threads cannot be numbered by the channel words (their
// frames would be taken for another camera's and every scan would wait for them in vain).
TEST(ApiConnect, SeventeenCameraThreadsAreAParameterErrorAndNoCameraIsOpened) {
    useRig(monoRig(17));
    std::vector<std::string> serials;
    for (int i = 1; i <= 17; ++i) serials.push_back("ZV000" + std::to_string(i));
    CameraNames names(serials);
    const std::vector<int> widths(17, kWidth);
    const std::vector<int> heights(17, kHeight);
    LogCapture log;
    const auto mark = journalMark();
    void* handle = nullptr;
    EXPECT_EQ(ConnectDevice("STRIPE", kBoardPath, names.get(), widths, heights, handle),
              RET_PARAMETER_ERROR);
    EXPECT_EQ(handle, nullptr);
    EXPECT_TRUE(recordsSince(mark, "CreateCamera").empty());
    EXPECT_EQ(recordsSince(mark, "zetaExitHidDev").size(), 1u);
    EXPECT_TRUE(log.contains("IShotSync::OpenCameras refused: more than 16 camera threads"));
}

// A null camera name is printed as "(null)" and refused before anything is created: the camera
// library would otherwise receive a null serial.
TEST(ApiConnect, NullCameraNameIsRefusedBeforeAnythingIsCreated) {
    useRig(smallRig());
    const auto mark = journalMark();
    std::vector<char*> names{const_cast<char*>("ZV0001"), nullptr};
    void* handle = nullptr;
    ConsoleCapture capture;
    EXPECT_EQ(ConnectDevice("STRIPE", kBoardPath, names, {64, 64}, {48, 48}, handle),
              RET_PARAMETER_ERROR);
    EXPECT_NE(capture.text().find("ConnectCamera: Camera_0 is ZV0001\n"
                                  "ConnectCamera: Camera_1 is (null)\n"),
              std::string::npos);
    EXPECT_EQ(handle, nullptr);
    EXPECT_TRUE(trafficSince(mark).empty());
}

TEST(ApiConnect, BoardThatCannotBeOpenedLeavesTheHandleAndKeepsTheDeviceNumber) {
    useRig(smallRig());
    Connection first({"ZV0001"});
    ASSERT_EQ(first.status(), RET_OPERATE_SUCCESS);
    void* copy = first.handle();
    resetDeviceType();

    CameraNames names({"ZV0002"});
    int sentinel = 0;
    void* handle = &sentinel;
    const auto mark = journalMark();
    EXPECT_EQ(ConnectDevice("STRIPE", "sim:no-such-board", names.get(), {64}, {48}, handle),
              RET_PROJECTOR_UNCONNECTED);
    EXPECT_EQ(handle, &sentinel);
    auto init = recordsSince(mark, "zetaInitHidDev");
    ASSERT_EQ(init.size(), 1u);
    EXPECT_FALSE(init[0].ok);
    EXPECT_TRUE(recordsSince(mark, "OpenCamera").empty());

    // The failed connection recorded its device number: the next disconnect destroys.
    EXPECT_EQ(first.disconnect(), RET_OPERATE_SUCCESS);
    int count = 0;
    EXPECT_EQ(GetConnectCameraCount(copy, count), RET_HANDLE_NULL);
}

TEST(ApiConnect, NullProjectorPathIsAParameterError) {
    useRig(smallRig());
    const auto mark = journalMark();
    CameraNames names({"ZV0001"});
    void* handle = nullptr;
    const char* path = nullptr;
    EXPECT_EQ(ConnectDevice("STRIPE", path, names.get(), {64}, {48}, handle), RET_PARAMETER_ERROR);
    EXPECT_EQ(handle, nullptr);
    EXPECT_TRUE(recordsSince(mark, "zetaInitHidDev").empty());
    resetDeviceType();
}

TEST(ApiConnect, CamerasThatFailToOpenCloseTheBoardAndDestroyTheObject) {
    useRig(smallRig());
    Connection first({"ZV0001"});
    ASSERT_EQ(first.status(), RET_OPERATE_SUCCESS);
    void* copy = first.handle();

    LogCapture log;
    CameraNames names({"ZV0009"});
    int sentinel = 0;
    void* handle = &sentinel;
    const auto mark = journalMark();
    std::string console;
    {
        ConsoleCapture capture;
        EXPECT_EQ(ConnectDevice("STRIPE", kBoardPath, names.get(), {64}, {48}, handle),
                  RET_CAMERA_UNCONNECTED);
        console = capture.text();
    }
    EXPECT_EQ(handle, &sentinel);
    const auto board = opsSince(mark, "board");
    ASSERT_FALSE(board.empty());
    EXPECT_EQ(board.front(), "zetaInitHidDev");
    EXPECT_EQ(recordsSince(mark, "zetaExitHidDev").size(), 1u);
    EXPECT_FALSE(log.contains("Success Connnect Device"));
    EXPECT_TRUE(log.contains("DisConnectDevice hSync="));
    EXPECT_NE(console.find("End Disconnect\n"), std::string::npos);

    // The disconnect of the failed connection reset the device number: the first handle's
    // disconnect now nulls it without destroying its object, which only closes its devices.
    log.clear();
    const auto second = journalMark();
    EXPECT_EQ(first.disconnect(), RET_OPERATE_SUCCESS);
    EXPECT_FALSE(log.contains("~IShotSync"));
    EXPECT_EQ(recordsSince(second, "zetaExitHidDev").size(), 1u);
    int count = 0;
    EXPECT_EQ(GetConnectCameraCount(copy, count), RET_HANDLE_NULL);
}

TEST(ApiConnect, AnEmptyCameraListIsAParameterErrorAfterTheBoardWasOpenedAndClosed) {
    useRig(smallRig());
    const auto mark = journalMark();
    const std::vector<char*> names;
    void* handle = nullptr;
    EXPECT_EQ(ConnectDevice("STRIPE", kBoardPath, names, {}, {}, handle), RET_PARAMETER_ERROR);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(recordsSince(mark, "zetaInitHidDev").size(), 1u);
    EXPECT_EQ(recordsSince(mark, "zetaExitHidDev").size(), 1u);
    EXPECT_EQ(zeta::sim::boardState().openHandles, 0);
}

TEST(ApiConnect, DisconnectTwiceWithTwoCopiesOfTheHandle) {
    useRig(smallRig());
    LogCapture log;
    Connection connection({"ZV0001", "ZV0002"});
    ASSERT_EQ(connection.status(), RET_OPERATE_SUCCESS);
    void* copy = connection.handle();
    const auto mark = journalMark();
    EXPECT_EQ(DisConnectDevice(connection.handle()), RET_OPERATE_SUCCESS);
    EXPECT_EQ(connection.handle(), nullptr);
    EXPECT_EQ(recordsSince(mark, "zetaExitHidDev").size(), 1u);

    ConsoleCapture capture;
    EXPECT_EQ(DisConnectDevice(copy), RET_OPERATE_SUCCESS);
    EXPECT_EQ(copy, nullptr);
    EXPECT_NE(capture.text().find("End Disconnect\n"), std::string::npos);
    EXPECT_EQ(recordsSince(mark, "zetaExitHidDev").size(), 1u);
    EXPECT_EQ(log.count("tmpBuf=End Function DisConnectDevice"), 2);
}

// A handle DisConnectDevice destroyed is never destroyed again, even while the device number says
// a device is connected: it is only nulled.
TEST(ApiConnect, DisconnectOfADestroyedHandleNeverDestroysAgain) {
    useRig(smallRig());
    LogCapture log;
    Connection connection({"ZV0001"});
    ASSERT_EQ(connection.status(), RET_OPERATE_SUCCESS);
    void* copy = connection.handle();
    EXPECT_EQ(connection.disconnect(), RET_OPERATE_SUCCESS);
    setDeviceTypeStripe();
    const auto mark = journalMark();
    EXPECT_EQ(DisConnectDevice(copy), RET_OPERATE_SUCCESS);
    EXPECT_EQ(copy, nullptr);
    EXPECT_TRUE(log.contains("DisConnectDevice handle is not connected"));
    EXPECT_TRUE(trafficSince(mark).empty());
}

TEST(ApiConnect, DisconnectOfANullHandle) {
    LogCapture log;
    void* handle = nullptr;
    ConsoleCapture capture;
    EXPECT_EQ(DisConnectDevice(handle), RET_HANDLE_NULL);
    EXPECT_EQ(capture.text().find("End Disconnect"), std::string::npos);
    EXPECT_TRUE(log.contains("DisConnectDevice hSync="));
}

// ---- ReconnectDevice / CloseDeviceCamera / EnableAutoReconnect ---------------------------------

TEST(ApiReconnect, ReconnectReopensTheBoardAndTheCameras) {
    useRig(monoRig(2));
    Connection connection({"ZV0001", "ZV0002"});
    ASSERT_EQ(connection.status(), RET_OPERATE_SUCCESS);
    // Replacing the cameras under grab threads that are still starting up races in the camera
    // layer (the thread's first read of its camera handle is unlocked): let them start first.
    waitForFrames({"ZV0001", "ZV0002"});
    const auto mark = journalMark();
    EXPECT_EQ(ReconnectDevice(connection.handle()), RET_OPERATE_SUCCESS);
    const auto board = opsSince(mark, "board");
    ASSERT_GE(board.size(), 2u);
    EXPECT_EQ(board[0], "zetaExitHidDev");
    EXPECT_EQ(board[1], "zetaInitHidDev");
    const auto init = recordsSince(mark, "zetaInitHidDev");
    ASSERT_FALSE(init.empty());
    EXPECT_EQ(init.front().args, R"(["sim:board0"])");
    EXPECT_FALSE(recordsSince(mark, "OpenCamera", "ZV0001").empty());
    EXPECT_FALSE(recordsSince(mark, "OpenCamera", "ZV0002").empty());
    int count = 0;
    EXPECT_EQ(GetConnectCameraCount(connection.handle(), count), RET_OPERATE_SUCCESS);
    EXPECT_EQ(count, 2);
}

TEST(ApiReconnect, ReconnectWithoutABoardFailsWithoutTheRestartCommand) {
    useRig(monoRig(1));
    Connection connection({"ZV0001"});
    ASSERT_EQ(connection.status(), RET_OPERATE_SUCCESS);
    // Replacing the cameras under grab threads that are still starting up races in the camera
    // layer (the thread's first read of its camera handle is unlocked): let them start first.
    waitForFrames({"ZV0001"});
    ASSERT_TRUE(zeta::sim::unplug("board"));
    EXPECT_EQ(ReconnectDevice(connection.handle()), RET_OPERATE_FAILED);
    EXPECT_TRUE(zeta::sim::sentCommands(true).empty());
    ASSERT_TRUE(zeta::sim::replug("board"));
    EXPECT_EQ(connection.disconnect(), RET_OPERATE_SUCCESS);
}

TEST(ApiReconnect, CloseDeviceCameraReleasesTheCamerasAndKeepsTheHandle) {
    useRig(monoRig(2));
    LogCapture log;
    Connection connection({"ZV0001", "ZV0002"});
    ASSERT_EQ(connection.status(), RET_OPERATE_SUCCESS);
    // Replacing the cameras under grab threads that are still starting up races in the camera
    // layer (the thread's first read of its camera handle is unlocked): let them start first.
    waitForFrames({"ZV0001", "ZV0002"});
    const auto mark = journalMark();
    EXPECT_EQ(CloseDeviceCamera(connection.handle()), RET_OPERATE_SUCCESS);
    EXPECT_EQ(recordsSince(mark, "ReleaseCamera", "ZV0001").size(), 1u);
    EXPECT_EQ(recordsSince(mark, "ReleaseCamera", "ZV0002").size(), 1u);
    EXPECT_TRUE(log.contains("ReleaseCamera success"));
    int count = 0;
    EXPECT_EQ(GetConnectCameraCount(connection.handle(), count), RET_OPERATE_SUCCESS);
    EXPECT_EQ(connection.disconnect(), RET_OPERATE_SUCCESS);
}

TEST(ApiReconnect, EnableAutoReconnectTalksToNoDevice) {
    useRig(monoRig(2));
    Connection connection({"ZV0001", "ZV0002"});
    ASSERT_EQ(connection.status(), RET_OPERATE_SUCCESS);
    const auto mark = journalMark();
    EXPECT_EQ(EnableAutoReconnect(connection.handle(), true, true, {true, true}),
              RET_OPERATE_SUCCESS);
    EXPECT_EQ(EnableAutoReconnect(connection.handle(), false, false, {}), RET_OPERATE_SUCCESS);
    // More watched cameras than the handle has are simply not taken.
    EXPECT_EQ(EnableAutoReconnect(connection.handle(), true, false, std::vector<bool>(40, true)),
              RET_OPERATE_SUCCESS);
    EXPECT_TRUE(opsSince(mark, "board").empty());
}

// ---- GetFirewareVersion -----------------------------------------------------------------------

TEST(ApiFirmwareVersion, ThroughAHandle) {
    useRig(monoRig(1));
    LogCapture log;
    Connection connection({"ZV0001"});
    ASSERT_EQ(connection.status(), RET_OPERATE_SUCCESS);
    const auto mark = journalMark();
    std::string version = "old";
    EXPECT_EQ(GetFirewareVersion(connection.handle(), nullptr, nullptr, version),
              RET_OPERATE_SUCCESS);
    EXPECT_EQ(version, "EP-E7 V12");
    EXPECT_EQ(opsSince(mark, "board"),
              (std::vector<std::string>{"zetaQueryProjectorFirewareVersion"}));
    EXPECT_TRUE(log.contains("versionString=EP-E7 V12"));
}

TEST(ApiFirmwareVersion, ThroughATemporaryConnection) {
    useRig(monoRig(1));
    const auto mark = journalMark();
    std::string version;
    EXPECT_EQ(GetFirewareVersion(nullptr, "STRIPE", kBoardPath, version), RET_OPERATE_SUCCESS);
    EXPECT_EQ(version, "EP-E7 V12");
    EXPECT_EQ(opsSince(mark, "board"),
              (std::vector<std::string>{"zetaInitHidDev", "zetaQueryProjectorFirewareVersion",
                                        "zetaExitHidDev"}));
    EXPECT_EQ(zeta::sim::boardState().openHandles, 0);
}

TEST(ApiFirmwareVersion, FailedQuery) {
    useRig(monoRig(1));
    LogCapture log;
    zeta::sim::failNext("board", "zetaQueryProjectorFirewareVersion", 1);
    std::string version;
    EXPECT_EQ(GetFirewareVersion(nullptr, "STRIPE", kBoardPath, version), RET_OPERATE_FAILED);
    EXPECT_TRUE(log.contains("Get FWVersion Failed"));
    EXPECT_EQ(zeta::sim::boardState().openHandles, 0);
}

TEST(ApiFirmwareVersion, NoHandleAndNoMode) {
    useRig(monoRig(1));
    const auto mark = journalMark();
    std::string version = "kept";
    EXPECT_EQ(GetFirewareVersion(nullptr, nullptr, kBoardPath, version), RET_HANDLE_NULL);
    EXPECT_EQ(version, "kept");
    EXPECT_TRUE(trafficSince(mark).empty());
}

TEST(ApiFirmwareVersion, ModesOtherThanTheTableAreUnsupported) {
    useRig(monoRig(1));
    const auto mark = journalMark();
    for (const char* mode : {"E7STRIPE", "SPECKLE_E7", "CALIBRATE_E7", "stripe", "LASER"}) {
        std::string version = "old";
        EXPECT_EQ(GetFirewareVersion(nullptr, mode, kBoardPath, version), RET_SYNC_TYPE_UNSUPPORTED)
            << mode;
        EXPECT_EQ(version, "") << mode;
    }
    EXPECT_TRUE(trafficSince(mark).empty());
}

TEST(ApiFirmwareVersion, BoardThatCannotBeOpened) {
    useRig(monoRig(1));
    const auto mark = journalMark();
    std::string version;
    EXPECT_EQ(GetFirewareVersion(nullptr, "STRIPE", "sim:no-such-board", version),
              RET_PROJECTOR_UNCONNECTED);
    // A null path is tried as the empty path.
    EXPECT_EQ(GetFirewareVersion(nullptr, "STRIPE", nullptr, version), RET_PROJECTOR_UNCONNECTED);
    auto init = recordsSince(mark, "zetaInitHidDev");
    ASSERT_EQ(init.size(), 2u);
    EXPECT_EQ(init[0].args, R"(["sim:no-such-board"])");
    EXPECT_EQ(init[1].args, R"([""])");
    EXPECT_TRUE(recordsSince(mark, "zetaQueryProjectorFirewareVersion").empty());
}

}  // namespace
