// Every exported function with a null handle and with a handle DisConnectDevice already
// destroyed: the documented status, nothing sent to any device, nothing written to the outputs.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "ApiTestSupport.h"

namespace {

using namespace zetaVoroSync;
using namespace zeta::api::test;
using zeta::sim::test::useRig;
using zeta::test::ConsoleCapture;
using zeta::test::LogCapture;

struct Call {
    const char* name;
    RETSTATUS withNullHandle;
    std::function<RETSTATUS(void*&)> run;
};

void display(const void* const&, const int&, const unsigned char* const&, const int&, const int&,
             const int&) {}
void display2(const void* const&, const int&, const unsigned char* const&, const int&, const int&,
              const int&, int) {}
void full(const void* const&, std::vector<_MY_IMAGE_*>&) {}
void texture(const void* const&, std::vector<_MY_IMAGE_*>&, const bool&) {}
void status(const void* const&, const unsigned long&, const unsigned long&, const unsigned long&,
            const bool&) {}
void progress(const void*, int) {}

// Every export that takes a handle, with arguments that would be valid for a live handle.
std::vector<Call> everyCall() {
    static int out = 0;
    static double exposure = 0;
    static float ratio = 0;
    static bool flag = false;
    static TRIGGERPOLARITY polarity = TRIGGERPOLARITY_LOW;
    static TRIGGERMODE mode = TRIGGERMODE_FREERUN;
    static std::string version;
    const int camera = 0;
    const CONTROLROUTE mono = CONTROLROUTE_MONO;
    const RETSTATUS null = RET_HANDLE_NULL;
    return {
        {"ReconnectDevice", null, [](void*& h) { return ReconnectDevice(h); }},
        {"CloseDeviceCamera", null, [](void*& h) { return CloseDeviceCamera(h); }},
        {"EnableAutoReconnect", null,
         [](void*& h) { return EnableAutoReconnect(h, true, true, {true}); }},
        {"GetFirewareVersion", null,
         [](void*& h) { return GetFirewareVersion(h, nullptr, kBoardPath, version); }},
        {"PowerStrobeUp", null, [=](void*& h) { return PowerStrobeUp(h, mono, true); }},
        {"SetStrobeControlledByTrigger", null,
         [=](void*& h) { return SetStrobeControlledByTrigger(h, mono, true); }},
        {"EnableIRProjectorAndLaser", null,
         [](void*& h) { return EnableIRProjectorAndLaser(h, true, true); }},
        {"SetVideoTriggerPeriod", null,
         [=](void*& h) { return SetVideoTriggerPeriod(h, mono, 20); }},
        {"GetVideoTriggerPeriod", null,
         [=](void*& h) { return GetVideoTriggerPeriod(h, mono, out); }},
        {"SetProjectorBrightness", null, [](void*& h) { return SetProjectorBrightness(h, 50); }},
        {"GetProjectorBrightness", null, [](void*& h) { return GetProjectorBrightness(h, out); }},
        {"SetTriggerPulseWidth", null, [=](void*& h) { return SetTriggerPulseWidth(h, mono, 2); }},
        {"GetTriggerPulseWidth", null,
         [=](void*& h) { return GetTriggerPulseWidth(h, mono, out); }},
        {"SetTriggerPolarity", null,
         [=](void*& h) { return SetTriggerPolarity(h, mono, TRIGGERPOLARITY_HIGH); }},
        {"GetTriggerPolarity", null,
         [=](void*& h) { return GetTriggerPolarity(h, mono, polarity); }},
        {"EnableVideoTrigger", null, [=](void*& h) { return EnableVideoTrigger(h, mono, true); }},
        {"PushSingleTrigger", null, [=](void*& h) { return PushSingleTrigger(h, mono); }},
        {"Project", null, [](void*& h) { return Project(h, PROJECT_WHITE); }},
        {"SetDistanceIndicate", null,
         [](void*& h) { return SetDistanceIndicate(h, DISTANCE_NEAR); }},
        {"EnableZoomFunction", null, [](void*& h) { return EnableZoomFunction(h, true); }},
        {"ResetColorModule", null, [](void*& h) { return ResetColorModule(h); }},
        {"EnterFixScanFastMode", null, [](void*& h) { return EnterFixScanFastMode(h); }},
        {"EnterFixScanFreeProjectMode", null,
         [](void*& h) { return EnterFixScanFreeProjectMode(h); }},
        {"GetConnectCameraCount", null, [](void*& h) { return GetConnectCameraCount(h, out); }},
        {"SetCameraExposure", null, [=](void*& h) { return SetCameraExposure(h, camera, 5.0); }},
        {"GetCameraExposure", null,
         [=](void*& h) { return GetCameraExposure(h, camera, exposure); }},
        {"SetCameraGain", null, [=](void*& h) { return SetCameraGain(h, camera, 2); }},
        {"GetCameraGain", null, [=](void*& h) { return GetCameraGain(h, camera, out); }},
        {"SetCameraSharpness", null, [=](void*& h) { return SetCameraSharpness(h, camera, 2); }},
        {"GetCameraSharpness", null, [=](void*& h) { return GetCameraSharpness(h, camera, out); }},
        {"SetCameraGamma", null, [=](void*& h) { return SetCameraGamma(h, camera, 2); }},
        {"GetCameraGamma", null, [=](void*& h) { return GetCameraGamma(h, camera, out); }},
        {"SetCameraTriggerMode", null,
         [=](void*& h) { return SetCameraTriggerMode(h, camera, TRIGGERMODE_TRIGGERED); }},
        {"GetCameraTriggerMode", null,
         [=](void*& h) { return GetCameraTriggerMode(h, camera, mode); }},
        {"GetCameraSerialNumber", null,
         [=](void*& h) {
             char* serial = nullptr;
             return GetCameraSerialNumber(h, camera, serial);
         }},
        {"GetCameraResolution", null,
         [=](void*& h) { return GetCameraResolution(h, camera, out, out); }},
        {"IsCameraColor", null, [=](void*& h) { return IsCameraColor(h, camera, flag); }},
        {"SpecifyCameraDoWhiteBalance", null,
         [=](void*& h) { return SpecifyCameraDoWhiteBalance(h, camera, ratio, ratio); }},
        {"GetSpecifyCameraWBRatio", null,
         [=](void*& h) { return GetSpecifyCameraWBRatio(h, camera, ratio, ratio); }},
        {"SetCameraBinning", null,
         [=](void*& h) { return SetCameraBinning(h, camera, BINNING_2X2); }},
        {"GetSpecifyCameraChannelNum", null,
         [=](void*& h) { return GetSpecifyCameraChannelNum(h, camera, out); }},
        {"PrintCameraSnapFailInfomation", null,
         [](void*& h) { return PrintCameraSnapFailInfomation(h, true); }},
        {"SetDisplayCallBackFunction", null,
         [](void*& h) { return SetDisplayCallBackFunction(h, &display, nullptr); }},
        {"SetScanCallBackFunction", null,
         [](void*& h) { return SetScanCallBackFunction(h, &display, nullptr); }},
        {"SetDisplayCallBackFunction2", null,
         [](void*& h) { return SetDisplayCallBackFunction2(h, &display2, nullptr); }},
        {"SetScanCallBackFunction2", null,
         [](void*& h) { return SetScanCallBackFunction2(h, &display2, nullptr); }},
        {"SetScanFullCallBackFunction", null,
         [](void*& h) { return SetScanFullCallBackFunction(h, &full, nullptr); }},
        {"SetTextureScanFullCallBackFunction", null,
         [](void*& h) { return SetTextureScanFullCallBackFunction(h, &texture, nullptr); }},
        {"SetStatusCallBackFunction", null,
         [](void*& h) { return SetStatusCallBackFunction(h, &status, nullptr); }},
        {"GetScanImages", null,
         [](void*& h) {
             std::vector<unsigned char*> images;
             std::vector<int> widths, heights, channels;
             return GetScanImages(h, images, widths, heights, channels);
         }},
        {"SetScanParameter", null,
         [](void*& h) {
             SCANPARAMETERS parameters{10, 10, 3, 90, 0, 15, 0, 0};
             return SetScanParameter(h, parameters);
         }},
        {"Scan(start, count)", null, [](void*& h) { return Scan(h, true, 3); }},
        {"Scan(start)", null, [](void*& h) { return Scan(h, true); }},
        {"SpeckleOrLaser", null, [](void*& h) { return SpeckleOrLaser(h, true); }},
        {"startSequenceScan(count)", RET_PARAMETER_ERROR,
         [](void*& h) { return startSequenceScan(h, 5); }},
        {"startSequenceScan(count, param)", RET_PARAMETER_ERROR,
         [](void*& h) { return startSequenceScan(h, 5, 1); }},
        {"stopSequenceScan", null, [](void*& h) { return stopSequenceScan(h); }},
        {"ResetBuffer", null, [](void*& h) { return ResetBuffer(h); }},
        {"ResetCameraTimeStamp(route)", null, [](void*& h) { return ResetCameraTimeStamp(h, 0); }},
        {"ResetCameraTimeStamp()", null, [](void*& h) { return ResetCameraTimeStamp(h); }},
        {"SpecifiedTimeStampType", null,
         [](void*& h) { return SpecifiedTimeStampType(h, TIMESTAMP_CAMERA); }},
        {"ResetVideoWidthHeight", null,
         [](void*& h) { return ResetVideoWidthHeight(h, 1280, 1024); }},
        {"SetMonoColorSpan", RET_PARAMETER_ERROR, [](void*& h) { return SetMonoColorSpan(h, 2); }},
        {"SetStrobeLightingTime", RET_PARAMETER_ERROR,
         [=](void*& h) { return SetStrobeLightingTime(h, camera, 100); }},
        {"UpdateFirewareImageData", RET_PARAMETER_ERROR,
         [](void*& h) { return UpdateFirewareImageData(h, L"image.bin", 1, &progress, nullptr); }},
        {"SnapSingleImageFromSpecifyCamera", null,
         [=](void*& h) {
             unsigned char* image = nullptr;
             int w = 0, hh = 0, c = 0;
             return SnapSingleImageFromSpecifyCamera(h, camera, image, w, hh, c);
         }},
        {"SnapRGBImageFromSpecifyCamera", null,
         [=](void*& h) {
             unsigned char* image = nullptr;
             int w = 0, hh = 0;
             return SnapRGBImageFromSpecifyCamera(h, camera, image, w, hh);
         }},
        {"SnapSingleGroupImages", null,
         [](void*& h) {
             std::vector<unsigned char*> images;
             std::vector<int> widths, heights, channels;
             return SnapSingleGroupImages(h, PROJECT_WHITE, images, widths, heights, channels);
         }},
        {"SnapSingleGroupRGBImages", null,
         [](void*& h) {
             std::vector<unsigned char*> images;
             std::vector<int> widths, heights;
             return SnapSingleGroupRGBImages(h, images, widths, heights);
         }},
    };
}

TEST(ApiHandleCheck, EveryFunctionWithANullHandle) {
    useRig(smallRig());
    ScratchDirectory scratch;
    const auto mark = journalMark();
    for (const Call& call : everyCall()) {
        void* handle = nullptr;
        EXPECT_EQ(call.run(handle), call.withNullHandle) << call.name;
    }
    EXPECT_TRUE(trafficSince(mark).empty());
}

TEST(ApiHandleCheck, EveryFunctionWithADestroyedHandle) {
    useRig(smallRig());
    ScratchDirectory scratch;
    Connection connection({"ZV0001", "ZV0002", "ZV0003"});
    ASSERT_EQ(connection.status(), RET_OPERATE_SUCCESS);
    void* stale = connection.handle();
    ASSERT_EQ(connection.disconnect(), RET_OPERATE_SUCCESS);
    LogCapture log;
    const auto mark = journalMark();
    for (const Call& call : everyCall()) {
        void* handle = stale;
        EXPECT_EQ(call.run(handle), RET_HANDLE_NULL) << call.name;
        EXPECT_EQ(handle, stale) << call.name;
    }
    EXPECT_TRUE(trafficSince(mark).empty());
    EXPECT_GE(log.count("refused a handle that is not connected hSync="),
              static_cast<int>(everyCall().size()));
}

// A pointer that no ConnectDevice produced is refused the same way.
TEST(ApiHandleCheck, APointerThatIsNoHandle) {
    useRig(smallRig());
    const auto mark = journalMark();
    int notAHandle = 0;
    void* handle = &notAHandle;
    int count = -1;
    EXPECT_EQ(GetConnectCameraCount(handle, count), RET_HANDLE_NULL);
    EXPECT_EQ(count, -1);
    EXPECT_EQ(Project(handle, PROJECT_WHITE), RET_HANDLE_NULL);
    EXPECT_EQ(notAHandle, 0);
    EXPECT_TRUE(trafficSince(mark).empty());
}

TEST(ApiHandleCheck, ConsoleLinesOfANullHandle) {
    void* handle = nullptr;
    {
        ConsoleCapture console;
        EXPECT_EQ(Project(handle, PROJECT_STRIPE), RET_HANDLE_NULL);
        EXPECT_EQ(console.text(),
                  "[ZETAVOROSYNC_API] --- Goto Projector: 6\nExit Project Function [Not Init]\n");
    }
    {
        ConsoleCapture console;
        EXPECT_EQ(Scan(handle, true), RET_HANDLE_NULL);
        EXPECT_EQ(Scan(handle, false, 2), RET_HANDLE_NULL);
        EXPECT_EQ(console.text(),
                  "[ZETAVOROSYNC_API] --- Goto Scan: 1\nExit Scan Function [Handle is NULL]\n"
                  "[ZETAVOROSYNC_API] --- Goto Scan: 0\nExit Scan Function [Handle is NULL]\n");
    }
    {
        ConsoleCapture console;
        EXPECT_EQ(SetDisplayCallBackFunction(handle, &display, nullptr), RET_HANDLE_NULL);
        EXPECT_EQ(console.text(), "Exit SetDisplayCallBackFunction  [Not Init]\n");
    }
    {
        ConsoleCapture console;
        std::vector<unsigned char*> images;
        std::vector<int> widths, heights, channels;
        EXPECT_EQ(SnapSingleGroupImages(handle, PROJECT_WHITE, images, widths, heights, channels),
                  RET_HANDLE_NULL);
        EXPECT_EQ(console.text(), "Exit SnapSingleGroupImages Function [Not Init]\n");
    }
    {
        ConsoleCapture console;
        EXPECT_EQ(PowerStrobeUp(handle, CONTROLROUTE_COLOR, false), RET_HANDLE_NULL);
        EXPECT_EQ(SetStrobeControlledByTrigger(handle, CONTROLROUTE_COLOR, true), RET_HANDLE_NULL);
        EXPECT_EQ(console.text(),
                  "[ZETAVOROSYNC_API] --- Goto PowerStrobeUp Path: 1  0\n"
                  "[ZETAVOROSYNC_API] --- Goto SetStrobeControlledByTrigger: 1\n");
    }
    {
        // The other functions say nothing about a null handle.
        ConsoleCapture console;
        EXPECT_EQ(EnableVideoTrigger(handle, CONTROLROUTE_MONO, true), RET_HANDLE_NULL);
        EXPECT_EQ(EnableZoomFunction(handle, true), RET_HANDLE_NULL);
        EXPECT_EQ(console.text(), "");
    }
}

}  // namespace
