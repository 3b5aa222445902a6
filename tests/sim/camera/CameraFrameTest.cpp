// Frames: when cameras expose, what a frame holds, and how handles receive them.
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <thread>

#include "CameraTestSupport.h"

namespace zeta::sim::test {
namespace {

using namespace zetaCamera;
using Kind = Illumination::Kind;

constexpr std::size_t kMonoBytes = 64 * 48;
constexpr std::size_t kColourBytes = 64 * 48 * 3;

TEST(CameraFrames, TriggeredCameraExposesOneFramePerPulseOnItsRoute) {
    useRig(rigWithCameras({cameraJson("M1"), cameraJson("C1", R"("format":17)")}));
    CameraRef mono, colour;
    ASSERT_NO_FATAL_FAILURE(openStarted(mono, "M1"));
    ASSERT_NO_FATAL_FAILURE(openStarted(colour, "C1"));

    pulse(0, flat(255, 255, 255));
    snapImage(mono.get(), kMonoBytes);
    EXPECT_EQ(statsOf("M1").framesProduced, 1U);
    EXPECT_EQ(statsOf("C1").framesProduced, 0U);  // route 1 saw no pulse

    pulse(1, flat(255, 255, 255));
    snapImage(colour.get(), kColourBytes);
    EXPECT_EQ(statsOf("C1").framesProduced, 1U);
    EXPECT_EQ(statsOf("M1").framesProduced, 1U);

    pulse(0);
    pulse(0);
    snapImage(mono.get(), kMonoBytes);
    snapImage(mono.get(), kMonoBytes);
    EXPECT_EQ(statsOf("M1").framesProduced, 3U);
    EXPECT_EQ(statsOf("M1").framesDelivered, 3U);
}

TEST(CameraFrames, PulsesBeforeStartOrInFreeRunAreIgnored) {
    useRig(rigWithCameras({cameraJson("M1", R"("fps": 1)")}));
    CameraRef camera("M1");
    ASSERT_EQ(OpenCamera(camera.get(), "M1", 0, 0), 0);
    ASSERT_EQ(SetTriggerMode(camera.get(), SN_TRIG_EXTERNAL, 0, 0, 0), 0);
    pulse(0);  // open but not started
    EXPECT_EQ(statsOf("M1").framesProduced, 0U);
    ASSERT_EQ(StartCamera(camera.get(), 0.0), 0);
    pulse(0, {}, 3);
    unsigned char* data = nullptr;
    ASSERT_EQ(SnapShot(camera.get(), data), 0);
    EXPECT_EQ(data[4], 3);
}

TEST(CameraFrames, SnapShotFailsAfterTheTimeOutWhenNoPulseComes) {
    useRig(rigWithCameras({cameraJson("M1", R"("snapTimeoutMs": 150)")}));
    CameraRef camera;
    ASSERT_NO_FATAL_FAILURE(openStarted(camera, "M1"));
    unsigned char sentinel = 0;
    unsigned char* data = &sentinel;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_NE(SnapShot(camera.get(), data), 0);
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(data, &sentinel);
    EXPECT_GE(waited, std::chrono::milliseconds(140));
    EXPECT_LT(waited, std::chrono::milliseconds(3000));
}

TEST(CameraFrames, FreeRunDeliversFramesStampedWithTheRigClock) {
    useRig(rigWithCameras({cameraJson("M1", R"("fps": 200)")}));
    CameraRef camera;
    ASSERT_NO_FATAL_FAILURE(openStarted(camera, "M1", true));
    std::uint64_t previous = 0;
    for (int i = 0; i < 5; ++i) {
        std::uint64_t stamp = 0;
        snapImage(camera.get(), kMonoBytes, &stamp);
        EXPECT_LE(stamp, nowUs());
        if (i > 0) {
            EXPECT_GT(stamp, previous);
        }
        previous = stamp;
    }
    EXPECT_EQ(statsOf("M1").triggerMode, 0);
    EXPECT_GE(statsOf("M1").framesProduced, 5U);
}

TEST(CameraFrames, FreeRunShowsWhatTheProjectorShowsNow) {
    useRig(rigWithCameras({cameraJson("M1", R"("fps": 200)")}));
    CameraRef camera;
    ASSERT_NO_FATAL_FAILURE(openStarted(camera, "M1", true));
    const auto dark = snapImage(camera.get(), kMonoBytes);
    EXPECT_LT(meanOf(dark), 20.0);

    bus()->setSteadyLight(flat(255, 255, 255));
    SetCameraToInitializedState(camera.get());
    const auto lit = snapImage(camera.get(), kMonoBytes);
    EXPECT_GT(meanOf(lit), 100.0);
}

TEST(CameraFrames, CamerasOfOnePulseCarryEqualStamps) {
    useRig(
        rigWithCameras({cameraJson("M1"), cameraJson("M2"), cameraJson("C1", R"("format":17)")}));
    CameraRef m1, m2, c1;
    ASSERT_NO_FATAL_FAILURE(openStarted(m1, "M1"));
    ASSERT_NO_FATAL_FAILURE(openStarted(m2, "M2"));
    ASSERT_NO_FATAL_FAILURE(openStarted(c1, "C1"));

    bus()->emitBoth(flat(255, 255, 255), flat(255, 0, 0));
    std::uint64_t s1 = 1, s2 = 2, s3 = 3;
    snapImage(m1.get(), kMonoBytes, &s1);
    snapImage(m2.get(), kMonoBytes, &s2);
    snapImage(c1.get(), kColourBytes, &s3);
    EXPECT_EQ(s1, s2);
    EXPECT_EQ(s1, s3);

    const TriggerPulse sent = pulse(0);
    snapImage(m1.get(), kMonoBytes, &s1);
    snapImage(m2.get(), kMonoBytes, &s2);
    EXPECT_EQ(s1, sent.stamp);
    EXPECT_EQ(s2, sent.stamp);
}

TEST(CameraFrames, TagBytesCarryTheNumberThePositionAndTheSensor) {
    useRig(rigWithCameras({cameraJson("M0"), cameraJson("M1")}));
    CameraRef camera;
    ASSERT_NO_FATAL_FAILURE(openStarted(camera, "M1"));
    const int numbers[] = {0, 1, 2, -1, 14, 300};
    const int expected[] = {0, 1, 2, 0, 14, 300 & 0xFF};
    for (int i = 0; i < 6; ++i) {
        pulse(0, flat(255, 255, 255), numbers[i]);
        const auto image = snapImage(camera.get(), kMonoBytes);
        ASSERT_EQ(image.size(), kMonoBytes);
        EXPECT_EQ(image[4], expected[i]) << "sequence number " << numbers[i];
        EXPECT_EQ(image[5], 1);  // second camera of the rig
        EXPECT_EQ(image[6], 0);
    }
}

TEST(CameraFrames, EveryFormatHasItsBytesPerPixelThenTheStamp) {
    useRig(rigWithCameras({cameraJson("F1", R"("format":1)"), cameraJson("F2", R"("format":2)"),
                           cameraJson("F16", R"("format":16,"route":0)"),
                           cameraJson("F17", R"("format":17,"route":0)"),
                           cameraJson("F18", R"("format":18,"route":0)")}));
    const char* serials[] = {"F1", "F2", "F16", "F17", "F18"};
    const std::size_t bytes[] = {1, 2, 1, 3, 6};
    const int formats[] = {1, 2, 16, 17, 18};
    CameraRef cameras[5];
    for (int i = 0; i < 5; ++i) ASSERT_NO_FATAL_FAILURE(openStarted(cameras[i], serials[i]));
    const TriggerPulse sent = pulse(0, flat(255, 40, 40), 9);
    for (int i = 0; i < 5; ++i) {
        SN_IMG_FORMAT format{};
        ASSERT_EQ(GetColorMode(cameras[i].get(), format), 0);
        EXPECT_EQ(format, formats[i]);
        int width = 0, height = 0;
        ASSERT_EQ(GetResolution(cameras[i].get(), width, height), 0);
        EXPECT_EQ(width, 64);
        EXPECT_EQ(height, 48);
        std::uint64_t stamp = 0;
        const auto image = snapImage(cameras[i].get(), 64 * 48 * bytes[i], &stamp);
        EXPECT_EQ(stamp, sent.stamp) << serials[i];
        ASSERT_EQ(image.size(), 64 * 48 * bytes[i]);
        EXPECT_EQ(image[4], 9);
        EXPECT_EQ(image[5], i);
    }
}

TEST(CameraFrames, ColourFormatsSeeTheColourAndMonoItsLuminance) {
    useRig(rigWithCameras({cameraJson("M1"), cameraJson("C1", R"("format":17,"route":0)"),
                           cameraJson("B1", R"("format":16,"route":0)")}));
    CameraRef mono, rgb, bayer;
    ASSERT_NO_FATAL_FAILURE(openStarted(mono, "M1"));
    ASSERT_NO_FATAL_FAILURE(openStarted(rgb, "C1"));
    ASSERT_NO_FATAL_FAILURE(openStarted(bayer, "B1"));

    pulse(0, flat(255, 0, 0));
    const auto monoRed = snapImage(mono.get(), kMonoBytes);
    const auto rgbRed = snapImage(rgb.get(), kColourBytes);
    const auto bayerRed = snapImage(bayer.get(), kMonoBytes);
    pulse(0, flat(255, 255, 255));
    const auto monoWhite = snapImage(mono.get(), kMonoBytes);

    EXPECT_GT(meanOf(rgbRed, 0, 3), 2.0 * meanOf(rgbRed, 1, 3));
    EXPECT_GT(meanOf(rgbRed, 0, 3), 2.0 * meanOf(rgbRed, 2, 3));
    EXPECT_LT(meanOf(monoRed), meanOf(monoWhite));
    EXPECT_GT(meanOf(monoRed), 15.0);
    // RGGB: the red sample of row 1 (even row, even column) is bright, the blue one (odd, odd)
    // dark.
    const std::size_t row = 64;
    EXPECT_GT(bayerRed[2 * row + 2], 2 * bayerRed[3 * row + 3]);
}

// Shoots one frame of `what` on route 0 and returns its image.
std::vector<unsigned char> shoot(void* handle, const Illumination& what,
                                 std::size_t bytes = kMonoBytes) {
    pulse(0, what);
    return snapImage(handle, bytes);
}

TEST(CameraFrames, ImagesShowTheProjectorsLight) {
    useRig(rigWithCameras({cameraJson("M1")}));
    CameraRef camera;
    ASSERT_NO_FATAL_FAILURE(openStarted(camera, "M1"));
    const auto dark = shoot(camera.get(), light(Kind::Dark));
    const auto white = shoot(camera.get(), flat(255, 255, 255));
    const auto strobe = shoot(camera.get(), light(Kind::Flat, 0, true));
    const auto whiteStrobe = [&] {
        Illumination lit = flat(255, 255, 255);
        lit.strobe = true;
        return shoot(camera.get(), lit);
    }();
    EXPECT_LT(meanOf(dark), 15.0);
    EXPECT_GT(meanOf(white), 100.0);
    EXPECT_GT(meanOf(whiteStrobe), meanOf(white) + 20.0);
    EXPECT_GT(meanOf(strobe), meanOf(dark));  // a black flat light, but the strobe is lit
    // Dark is a level without noise.
    for (std::size_t i = 8; i < dark.size(); ++i) ASSERT_EQ(dark[i], dark[8]) << i;

    std::vector<std::vector<unsigned char>> patterns;
    for (int k = 0; k < 12; ++k) patterns.push_back(shoot(camera.get(), light(Kind::Stripe, k)));
    for (Kind kind : {Kind::Speckle, Kind::LaserLines, Kind::DenseLaser, Kind::Aim,
                      Kind::Checkerboard, Kind::DotGrid}) {
        patterns.push_back(shoot(camera.get(), light(kind)));
    }
    patterns.push_back(shoot(camera.get(), light(Kind::LaserLines, 1)));
    patterns.push_back(shoot(camera.get(), light(Kind::DenseLaser, 1)));
    patterns.push_back(shoot(camera.get(), light(Kind::Speckle, 1)));
    patterns.push_back(white);
    patterns.push_back(dark);
    for (std::size_t i = 0; i < patterns.size(); ++i) {
        for (std::size_t j = i + 1; j < patterns.size(); ++j) {
            EXPECT_NE(patterns[i], patterns[j]) << "patterns " << i << " and " << j;
        }
    }
    // Stripes are vertical fringes: along a row they swing from dark to bright; down a column
    // they barely change (only the scene's colour tiles do).
    const auto& stripe = patterns[0];
    const auto [low, high] =
        std::minmax_element(stripe.begin() + 64 * 10, stripe.begin() + 64 * 11);
    EXPECT_GT(*high - *low, 60);
    // The same light gives the same image.
    EXPECT_EQ(shoot(camera.get(), light(Kind::Stripe, 3)), patterns[3]);
}

TEST(CameraFrames, CamerasSeeTheSceneFromSlightlyDifferentPlaces) {
    useRig(rigWithCameras({cameraJson("M1"), cameraJson("M2")}));
    CameraRef m1, m2;
    ASSERT_NO_FATAL_FAILURE(openStarted(m1, "M1"));
    ASSERT_NO_FATAL_FAILURE(openStarted(m2, "M2"));
    pulse(0, light(Kind::Stripe, 2));
    auto a = snapImage(m1.get(), kMonoBytes);
    auto b = snapImage(m2.get(), kMonoBytes);
    a[5] = b[5] = 0;  // the position tags differ anyway
    EXPECT_NE(a, b);
}

TEST(CameraFrames, ImagesRepeatForTheSameRig) {
    const std::string rig = rigWithCameras({cameraJson("M1"), cameraJson("C1", R"("format":17)")});
    std::vector<unsigned char> first[2], second[2];
    for (auto* images : {first, second}) {
        useRig(rig);
        CameraRef mono, colour;
        ASSERT_NO_FATAL_FAILURE(openStarted(mono, "M1"));
        ASSERT_NO_FATAL_FAILURE(openStarted(colour, "C1"));
        bus()->emitBoth(light(Kind::Speckle, 4), light(Kind::Checkerboard), 2);
        images[0] = snapImage(mono.get(), kMonoBytes);
        images[1] = snapImage(colour.get(), kColourBytes);
    }
    EXPECT_EQ(first[0], second[0]);
    EXPECT_EQ(first[1], second[1]);
}

TEST(CameraFrames, MultiSensorFrameHoldsTheSensorImagesSideBySide) {
    useRig(rigWithCameras(
        {cameraJson("D1", R"("sensors":2,"width":32,"height":16)"),
         cameraJson("D2", R"("sensors":2,"width":20,"height":10,"format":17,"route":0)")}));
    CameraRef mono, colour;
    ASSERT_NO_FATAL_FAILURE(openStarted(mono, "D1"));
    ASSERT_NO_FATAL_FAILURE(openStarted(colour, "D2"));
    int width = 0, height = 0;
    ASSERT_EQ(GetResolution(mono.get(), width, height), 0);
    EXPECT_EQ(width, 64);
    EXPECT_EQ(height, 16);
    ASSERT_EQ(GetResolution(colour.get(), width, height), 0);
    EXPECT_EQ(width, 40);
    EXPECT_EQ(height, 10);

    const TriggerPulse sent = pulse(0, light(Kind::Stripe, 1), 5);
    struct Layout {
        void* handle;
        int sensorWidth, height, bpp, format, position;
    } layouts[] = {{mono.get(), 32, 16, 1, 1, 0}, {colour.get(), 20, 10, 3, 17, 1}};
    for (const Layout& layout : layouts) {
        unsigned char* frame = nullptr;
        ASSERT_EQ(SnapShot(layout.handle, frame), 0);
        const std::size_t sensorRow = static_cast<std::size_t>(layout.sensorWidth) * layout.bpp;
        const std::size_t frameRow = 2 * sensorRow;
        EXPECT_EQ(stampAt(frame, frameRow * layout.height), sent.stamp);
        for (int sensor = 0; sensor < 2; ++sensor) {
            const unsigned char* first = frame + sensor * sensorRow;
            EXPECT_EQ(first[4], 5);
            EXPECT_EQ(first[5], layout.position);
            EXPECT_EQ(first[6], sensor);
        }

        // SplitImage appends one block per sensor image, its size and format.
        std::vector<unsigned char*> planes{nullptr};
        std::vector<int> widths{-1}, heights{-1};
        std::vector<SN_IMG_FORMAT> formats{SN_IMG_MONO8};
        ASSERT_TRUE(SplitImage(layout.handle, planes, widths, heights, formats, frame));
        ASSERT_EQ(planes.size(), 3U);
        ASSERT_EQ(widths.size(), 3U);
        ASSERT_EQ(heights.size(), 3U);
        ASSERT_EQ(formats.size(), 3U);
        EXPECT_EQ(planes[0], nullptr);
        for (int sensor = 0; sensor < 2; ++sensor) {
            EXPECT_EQ(widths[1 + sensor], layout.sensorWidth);
            EXPECT_EQ(heights[1 + sensor], layout.height);
            EXPECT_EQ(formats[1 + sensor], layout.format);
            for (int y = 0; y < layout.height; ++y) {
                EXPECT_EQ(std::memcmp(planes[1 + sensor] + y * sensorRow,
                                      frame + y * frameRow + sensor * sensorRow, sensorRow),
                          0)
                    << "sensor " << sensor << " row " << y;
            }
        }
        EXPECT_NE(std::memcmp(planes[1], planes[2], sensorRow * layout.height), 0);
        std::free(planes[1]);
        std::free(planes[2]);
        EXPECT_EQ(lastRecordOf("SplitImage").args,
                  "[" + std::to_string(frameRow * layout.height + 8) + "]");
    }
}

TEST(CameraFrames, SplitImageOfASingleSensorCameraCopiesTheImage) {
    useRig(rigWithCameras({cameraJson("M1")}));
    CameraRef camera;
    ASSERT_NO_FATAL_FAILURE(openStarted(camera, "M1"));
    pulse(0, light(Kind::DotGrid));
    unsigned char* frame = nullptr;
    ASSERT_EQ(SnapShot(camera.get(), frame), 0);
    std::vector<unsigned char*> planes;
    std::vector<int> widths, heights;
    std::vector<SN_IMG_FORMAT> formats;
    ASSERT_TRUE(SplitImage(camera.get(), planes, widths, heights, formats, frame));
    ASSERT_EQ(planes.size(), 1U);
    EXPECT_EQ(widths[0], 64);
    EXPECT_EQ(heights[0], 48);
    EXPECT_EQ(formats[0], SN_IMG_MONO8);
    EXPECT_EQ(std::memcmp(planes[0], frame, kMonoBytes), 0);
    std::free(planes[0]);
}

TEST(CameraFrames, ResetQueueDeliversOnlyFramesExposedAfterTheReset) {
    useRig(rigWithCameras({cameraJson("M1", R"("snapTimeoutMs": 200)")}));
    CameraRef camera;
    ASSERT_NO_FATAL_FAILURE(openStarted(camera, "M1"));
    pulse(0, {}, 1);
    pulse(0, {}, 2);
    pulse(0, {}, 3);
    ASSERT_TRUE(waitProduced("M1", 3));
    SetCameraToInitializedState(camera.get());
    EXPECT_TRUE(lastRecordOf("SetCameraToInitializedState").ok);
    unsigned char* data = nullptr;
    EXPECT_NE(SnapShot(camera.get(), data), 0);
    pulse(0, {}, 4);
    ASSERT_EQ(SnapShot(camera.get(), data), 0);
    EXPECT_EQ(data[4], 4);
    EXPECT_EQ(statsOf("M1").framesDropped, 3U);
}

// A pulse is an exposure at the moment it arrives: a reset right after it, before the camera
// has made the frame, still keeps that frame out of the queue.
TEST(CameraFrames, ResetQueueRefusesAFrameWhosePulseCameBeforeTheReset) {
    useRig(rigWithCameras({cameraJson("M1", R"("snapTimeoutMs": 200)")}));
    CameraRef camera;
    ASSERT_NO_FATAL_FAILURE(openStarted(camera, "M1"));
    for (int round = 0; round < 20; ++round) {
        pulse(0, {}, 1);
        SetCameraToInitializedState(camera.get());
        pulse(0, {}, 2);
        unsigned char* data = nullptr;
        ASSERT_EQ(SnapShot(camera.get(), data), 0);
        ASSERT_EQ(data[4], 2) << "round " << round;
    }
}

TEST(CameraFrames, ResetCameraStateDropsTheQueuesOfEveryHandle) {
    useRig(rigWithCameras({cameraJson("M1", R"("snapTimeoutMs": 200)")}));
    CameraRef first, second("M1");
    ASSERT_NO_FATAL_FAILURE(openStarted(first, "M1"));
    ASSERT_EQ(OpenCamera(second.get(), "M1", 0, 0), 0);
    ASSERT_EQ(StartCamera(second.get(), 0.0), 0);
    pulse(0, {}, 1);
    ASSERT_TRUE(waitProduced("M1", 1));
    EXPECT_TRUE(ResetCameraState(first.get()));
    unsigned char* data = nullptr;
    EXPECT_NE(SnapShot(first.get(), data), 0);
    EXPECT_NE(SnapShot(second.get(), data), 0);
    pulse(0, {}, 2);
    ASSERT_EQ(SnapShot(second.get(), data), 0);
    EXPECT_EQ(data[4], 2);
}

TEST(CameraFrames, LockedHandleReceivesNoFramesUntilUnlocked) {
    useRig(rigWithCameras({cameraJson("M1", R"("snapTimeoutMs": 200)")}));
    CameraRef camera;
    ASSERT_NO_FATAL_FAILURE(openStarted(camera, "M1"));
    EXPECT_TRUE(LockSnapThread(camera.get(), true));
    pulse(0, {}, 6);
    ASSERT_TRUE(waitUntil([] { return statsOf("M1").framesDropped >= 1; }));
    unsigned char* data = nullptr;
    EXPECT_NE(SnapShot(camera.get(), data), 0);
    EXPECT_TRUE(LockSnapThread(camera.get(), false));
    pulse(0, {}, 7);
    ASSERT_EQ(SnapShot(camera.get(), data), 0);
    EXPECT_EQ(data[4], 7);
    EXPECT_EQ(statsOf("M1").framesDropped, 1U);
}

TEST(CameraFrames, FullQueueDropsTheOldestFrame) {
    useRig(rigWithCameras({cameraJson("M1", R"("buffers": 2, "snapTimeoutMs": 200)")}));
    CameraRef camera;
    ASSERT_NO_FATAL_FAILURE(openStarted(camera, "M1"));
    for (int n = 1; n <= 4; ++n) pulse(0, {}, n);
    ASSERT_TRUE(waitUntil([] { return statsOf("M1").framesDropped >= 2; }));
    unsigned char* data = nullptr;
    ASSERT_EQ(SnapShot(camera.get(), data), 0);
    EXPECT_EQ(data[4], 3);
    ASSERT_EQ(SnapShot(camera.get(), data), 0);
    EXPECT_EQ(data[4], 4);
    EXPECT_NE(SnapShot(camera.get(), data), 0);
}

TEST(CameraFrames, EveryOpenStartedHandleOfACameraReceivesEveryFrame) {
    useRig(rigWithCameras({cameraJson("M1", R"("snapTimeoutMs": 200)")}));
    CameraRef first, second("ZV"), idle("M1");
    ASSERT_NO_FATAL_FAILURE(openStarted(first, "M1"));
    ASSERT_EQ(OpenCamera(second.get(), "M1", 0, 0), 0);
    ASSERT_EQ(StartCamera(second.get(), 0.0), 0);
    ASSERT_EQ(OpenCamera(idle.get(), "M1", 0, 0), 0);  // open, never started
    EXPECT_EQ(statsOf("M1").openHandles, 3);

    pulse(0, light(Kind::Aim), 2);
    unsigned char* a = nullptr;
    unsigned char* b = nullptr;
    unsigned char* c = nullptr;
    ASSERT_EQ(SnapShot(first.get(), a), 0);
    ASSERT_EQ(SnapShot(second.get(), b), 0);
    EXPECT_EQ(a, b);  // one buffer, shared
    EXPECT_EQ(a[4], 2);
    EXPECT_NE(SnapShot(idle.get(), c), 0);
    EXPECT_EQ(statsOf("M1").framesDelivered, 2U);
    EXPECT_EQ(statsOf("M1").framesProduced, 1U);
}

TEST(CameraFrames, SnapShotBufferStaysValidUntilTheHandlesNextSnapShot) {
    useRig(rigWithCameras({cameraJson("M1", R"("buffers": 1)")}));
    CameraRef camera;
    ASSERT_NO_FATAL_FAILURE(openStarted(camera, "M1"));
    pulse(0, light(Kind::Stripe, 0), 1);
    unsigned char* kept = nullptr;
    ASSERT_EQ(SnapShot(camera.get(), kept), 0);
    const auto copy = imageOf(kept, kMonoBytes + 8);
    for (int n = 2; n <= 6; ++n) pulse(0, light(Kind::Stripe, n), n);
    ASSERT_TRUE(waitUntil([] { return statsOf("M1").framesDropped >= 4; }));
    EXPECT_EQ(imageOf(kept, kMonoBytes + 8), copy);  // the queue moved on, this frame did not
    unsigned char* next = nullptr;
    ASSERT_EQ(SnapShot(camera.get(), next), 0);
    EXPECT_EQ(next[4], 6);
}

// Runs SnapShot on another thread; `interrupt` must make it fail long before the time-out.
void expectInterrupted(void* handle, const std::function<void()>& interrupt) {
    std::atomic<bool> entered{false};
    std::atomic<int> rc{1};
    std::chrono::steady_clock::duration waited{};
    std::thread waiter([&] {
        unsigned char* data = nullptr;
        entered = true;
        const auto start = std::chrono::steady_clock::now();
        rc = SnapShot(handle, data);
        waited = std::chrono::steady_clock::now() - start;
    });
    ASSERT_TRUE(waitUntil([&] { return entered.load(); }));
    // Most likely already waiting; either way the SnapShot must fail.
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    interrupt();
    waiter.join();
    EXPECT_NE(rc.load(), 0);
    EXPECT_LT(waited, std::chrono::milliseconds(5000));
}

std::string patientCamera() {
    return cameraJson("M1", R"("snapTimeoutMs": 20000)");
}

TEST(CameraFrames, ClosingWakesABlockedSnapShot) {
    useRig(rigWithCameras({patientCamera()}));
    CameraRef camera;
    ASSERT_NO_FATAL_FAILURE(openStarted(camera, "M1"));
    expectInterrupted(camera.get(), [&] { EXPECT_EQ(CloseCamera(camera.get()), 0); });
}

TEST(CameraFrames, ReleasingWakesABlockedSnapShot) {
    useRig(rigWithCameras({patientCamera()}));
    CameraRef camera;
    ASSERT_NO_FATAL_FAILURE(openStarted(camera, "M1"));
    void* handle = camera.get();
    expectInterrupted(handle, [&] { ReleaseCamera(camera.ref()); });
    EXPECT_EQ(camera.get(), nullptr);
}

TEST(CameraFrames, UnlockOthersWakesTheSnapShotsOfTheCamera) {
    useRig(rigWithCameras({patientCamera()}));
    CameraRef camera, other("M1");
    ASSERT_NO_FATAL_FAILURE(openStarted(camera, "M1"));
    ASSERT_EQ(OpenCamera(other.get(), "M1", 0, 0), 0);
    expectInterrupted(camera.get(), [&] { UnlockOthers(other.get()); });
    EXPECT_TRUE(lastRecordOf("UnlockOthers").ok);
    // The handle still works afterwards.
    pulse(0, {}, 3);
    unsigned char* data = nullptr;
    ASSERT_EQ(SnapShot(camera.get(), data), 0);
    EXPECT_EQ(data[4], 3);
}

TEST(CameraFrames, UnpluggingWakesABlockedSnapShot) {
    useRig(rigWithCameras({patientCamera()}));
    CameraRef camera;
    ASSERT_NO_FATAL_FAILURE(openStarted(camera, "M1"));
    expectInterrupted(camera.get(), [] { EXPECT_TRUE(unplug("M1")); });
}

TEST(CameraFrames, ReloadingTheRigWakesABlockedSnapShot) {
    useRig(rigWithCameras({patientCamera()}));
    CameraRef camera;
    ASSERT_NO_FATAL_FAILURE(openStarted(camera, "M1"));
    expectInterrupted(camera.get(), [] { useRig(rigWithCameras({cameraJson("M9")})); });
}

}  // namespace
}  // namespace zeta::sim::test
