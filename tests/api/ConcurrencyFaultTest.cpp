// Concurrency and device faults through the public header: disconnecting while a host callback
// runs, a camera that never delivers, unplugging devices in the middle of an operation, and two
// handles connected at once.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "ApiTestSupport.h"

namespace {

using namespace zetaVoroSync;
using namespace zeta::api::test;
using zeta::sim::test::useRig;
using zeta::sim::test::waitUntil;
using zeta::test::ConsoleCapture;
using zeta::test::LogCapture;

using namespace std::chrono_literals;

// A host callback that blocks until the test lets it go.
struct Latch {
    std::atomic<bool> entered{false};
    std::atomic<bool> released{false};
    std::atomic<int> calls{0};
};

void blockingDisplay(const void* const& context, const int&, const unsigned char* const&,
                     const int&, const int&, const int&) {
    auto* latch = static_cast<Latch*>(const_cast<void*>(context));
    ++latch->calls;
    latch->entered = true;
    while (!latch->released) std::this_thread::sleep_for(1ms);
}

// Disconnecting unregisters the display callback, which waits for the running call to return.
TEST(ApiConcurrency, DisconnectWaitsForARunningDisplayCallback) {
    useRig(monoRig(1));
    Connection connection({"ZV0001"});
    ASSERT_EQ(connection.status(), RET_OPERATE_SUCCESS);
    Latch latch;
    ASSERT_EQ(SetDisplayCallBackFunction(connection.handle(), &blockingDisplay, &latch),
              RET_OPERATE_SUCCESS);
    ASSERT_TRUE(waitUntil([&] { return latch.entered.load(); }, 5000ms));

    void* handle = connection.handle();
    auto disconnect =
        std::async(std::launch::async, [&handle] { return DisConnectDevice(handle); });
    // Still inside the callback: the disconnect cannot have finished.
    EXPECT_EQ(disconnect.wait_for(300ms), std::future_status::timeout);
    std::thread releaser([&] { latch.released = true; });
    releaser.join();
    ASSERT_EQ(disconnect.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(disconnect.get(), RET_OPERATE_SUCCESS);
    EXPECT_EQ(handle, nullptr);
    connection.handle() = nullptr;
    const int calls = latch.calls;
    int count = 0;
    void* copy = handle;
    EXPECT_EQ(GetConnectCameraCount(copy, count), RET_HANDLE_NULL);
    EXPECT_EQ(latch.calls, calls);
}

SCANPARAMETERS stripeParameters(int frameRate) {
    SCANPARAMETERS parameters{};
    parameters.scanFrameRate = frameRate;
    parameters.scanFrameCount = 15;
    return parameters;
}

void triggerAll(void* const& handle, int cameras) {
    for (int i = 0; i < cameras; ++i) {
        ASSERT_EQ(SetCameraTriggerMode(handle, i, TRIGGERMODE_TRIGGERED), RET_OPERATE_SUCCESS);
    }
}

std::uint64_t delivered(const char* serial) {
    zeta::sim::CameraStats stats;
    zeta::sim::cameraStats(serial, stats);
    return stats.framesDelivered;
}

// The one slow test: a scan of three mono cameras of which the third never delivers and the
// second is unplugged after a few frames. The scan gives up after its 20 s, and the frames that
// did arrive are kept, frame by frame and camera by camera.
TEST(ApiFault, ScanWithACameraThatNeverDeliversTimesOutAndKeepsTheOtherFrames) {
    useRig(monoRig(3));
    Connection connection({"ZV0001", "ZV0002", "ZV0003"});
    ASSERT_EQ(connection.status(), RET_OPERATE_SUCCESS);
    triggerAll(connection.handle(), 3);
    // 50 ms per stripe pulse: time enough to unplug the second camera in the middle.
    ASSERT_EQ(SetScanParameter(connection.handle(), stripeParameters(50)), RET_OPERATE_SUCCESS);
    ASSERT_TRUE(zeta::sim::dropFrames("ZV0003", -1));

    const auto before = delivered("ZV0002");
    const auto started = std::chrono::steady_clock::now();
    void* handle = connection.handle();
    auto scan = std::async(std::launch::async, [&handle] {
        ConsoleCapture console;
        const RETSTATUS status = Scan(handle, true);
        return std::make_pair(status, console.text());
    });
    ASSERT_TRUE(waitUntil([&] { return delivered("ZV0002") >= before + 4; }, 10s));
    ASSERT_TRUE(zeta::sim::unplug("ZV0002"));
    ASSERT_EQ(scan.wait_for(40s), std::future_status::ready);
    const auto [status, console] = scan.get();
    const auto elapsed = std::chrono::steady_clock::now() - started;
    EXPECT_EQ(status, RET_OPERATE_FAILED);
    EXPECT_NE(console.find("Exit Scan Function  [Operate Failed]\n"), std::string::npos);
    EXPECT_GE(elapsed, 19s);

    std::vector<unsigned char*> images;
    std::vector<int> widths, heights, channels;
    ASSERT_EQ(GetScanImages(handle, images, widths, heights, channels), RET_OPERATE_SUCCESS);
    // Camera 0 delivered its 15 frames, camera 1 some of them, camera 2 none.
    ASSERT_GT(images.size(), 16u);
    ASSERT_LT(images.size(), 30u);
    const std::size_t fromCamera1 = images.size() - 15;
    std::size_t at = 0;
    for (int frame = 0; frame < 15; ++frame) {
        for (int camera = 0; camera < 2; ++camera) {
            if (camera == 1 && static_cast<std::size_t>(frame) >= fromCamera1) continue;
            ASSERT_LT(at, images.size());
            EXPECT_EQ(tagByte(images[at], 4), frame) << at;
            EXPECT_EQ(tagByte(images[at], 5), camera) << at;
            ++at;
        }
    }
    EXPECT_EQ(at, images.size());
    ASSERT_TRUE(zeta::sim::replug("ZV0002"));
}

// Unplugging the board while a scan settles: the scan start fails at once and the scan reports
// it; replugged, the handle works again.
TEST(ApiFault, BoardUnpluggedInTheMiddleOfAScan) {
    useRig(monoRig(1));
    Connection connection({"ZV0001"});
    ASSERT_EQ(connection.status(), RET_OPERATE_SUCCESS);
    triggerAll(connection.handle(), 1);
    // 200 ms per pulse: the scan settles 800 ms before it starts the board's scan.
    ASSERT_EQ(SetScanParameter(connection.handle(), stripeParameters(200)), RET_OPERATE_SUCCESS);
    const auto mark = journalMark();
    void* handle = connection.handle();
    auto scan = std::async(std::launch::async, [&handle] { return Scan(handle, true); });
    ASSERT_TRUE(
        waitUntil([&] { return !recordsSince(mark, "zetaOutputSingleTrigger").empty(); }, 5s));
    ASSERT_TRUE(zeta::sim::unplug("board"));
    ASSERT_EQ(scan.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(scan.get(), RET_OPERATE_FAILED);
    auto starts = recordsSince(mark, "zetaScan");
    ASSERT_EQ(starts.size(), 1u);
    EXPECT_FALSE(starts[0].ok);
    ASSERT_TRUE(zeta::sim::replug("board"));
    int percent = 0;
    EXPECT_EQ(GetProjectorBrightness(handle, percent), RET_OPERATE_SUCCESS);
}

// Unplugging a camera while a group of still images is being snapped ends the snap with a
// status; it never hangs.
TEST(ApiFault, CameraUnpluggedInTheMiddleOfASnap) {
    useRig(monoRig(2, R"("fps": 4, "snapTimeoutMs": 1000)"));
    Connection connection({"ZV0001", "ZV0002"});
    ASSERT_EQ(connection.status(), RET_OPERATE_SUCCESS);
    const auto mark = journalMark();
    void* handle = connection.handle();
    std::vector<unsigned char*> images;
    std::vector<int> widths, heights, channels;
    auto snap = std::async(std::launch::async, [&] {
        return SnapSingleGroupImages(handle, PROJECT_WHITE, images, widths, heights, channels);
    });
    ASSERT_TRUE(waitUntil([&] { return !recordsSince(mark, "zetaProject").empty(); }, 5s));
    ASSERT_TRUE(zeta::sim::unplug("ZV0002"));
    ASSERT_EQ(snap.wait_for(20s), std::future_status::ready);
    const RETSTATUS status = snap.get();
    EXPECT_TRUE(status == RET_OPERATE_SUCCESS || status == RET_OPERATE_FAILED) << status;
    EXPECT_EQ(images.size(), widths.size());
    EXPECT_EQ(images.size(), heights.size());
    for (unsigned char* image : images) std::free(image);
    ASSERT_TRUE(zeta::sim::replug("ZV0002"));
}

// Unplugging the board while a colour image is composed from three projections: the snap ends
// with a status, never a hang.
TEST(ApiFault, BoardUnpluggedInTheMiddleOfAnRgbSnap) {
    useRig(monoRig(1, R"("snapTimeoutMs": 300)"));
    Connection connection({"ZV0001"});
    ASSERT_EQ(connection.status(), RET_OPERATE_SUCCESS);
    ScratchDirectory scratch;
    const auto mark = journalMark();
    void* handle = connection.handle();
    unsigned char* image = nullptr;
    int width = 0, height = 0;
    auto snap = std::async(std::launch::async, [&] {
        return SnapRGBImageFromSpecifyCamera(handle, 0, image, width, height);
    });
    ASSERT_TRUE(waitUntil([&] { return !recordsSince(mark, "zetaProject").empty(); }, 5s));
    ASSERT_TRUE(zeta::sim::unplug("board"));
    ASSERT_EQ(snap.wait_for(30s), std::future_status::ready);
    const RETSTATUS status = snap.get();
    EXPECT_TRUE(status == RET_OPERATE_SUCCESS || status == RET_OPERATE_FAILED) << status;
    EXPECT_EQ(status == RET_OPERATE_SUCCESS, image != nullptr);
    std::free(image);
    ASSERT_TRUE(zeta::sim::replug("board"));
}

// The device number is one value for the whole process: disconnecting the first of two handles
// resets it, so the second disconnect does not destroy its object. The object is kept, but it
// closes its board and cameras and refuses its handle from then on.
TEST(ApiConcurrency, TwoHandlesShareTheDeviceNumber) {
    useRig(monoRig(2));
    Connection first({"ZV0001"});
    ASSERT_EQ(first.status(), RET_OPERATE_SUCCESS);
    Connection second({"ZV0002"});
    ASSERT_EQ(second.status(), RET_OPERATE_SUCCESS);
    EXPECT_NE(first.handle(), second.handle());
    EXPECT_EQ(zeta::sim::boardState().openHandles, 2);

    void* copy = second.handle();
    LogCapture log;
    const auto mark = journalMark();
    EXPECT_EQ(first.disconnect(), RET_OPERATE_SUCCESS);
    EXPECT_EQ(recordsSince(mark, "zetaExitHidDev").size(), 1u);
    EXPECT_EQ(log.count("~IShotSync 7"), 1);
    EXPECT_EQ(second.disconnect(), RET_OPERATE_SUCCESS);
    EXPECT_EQ(second.handle(), nullptr);
    // Not destroyed, but retired: its board closed as well.
    EXPECT_EQ(log.count("~IShotSync 7"), 1);
    EXPECT_EQ(recordsSince(mark, "zetaExitHidDev").size(), 2u);
    EXPECT_EQ(zeta::sim::boardState().openHandles, 0);

    int count = 0;
    EXPECT_EQ(GetConnectCameraCount(copy, count), RET_HANDLE_NULL);
}

// Two handles used from two threads at once: each works on its own camera.
TEST(ApiConcurrency, TwoHandlesUsedFromTwoThreads) {
    useRig(monoRig(2));
    Connection first({"ZV0001"});
    ASSERT_EQ(first.status(), RET_OPERATE_SUCCESS);
    Connection second({"ZV0002"});
    ASSERT_EQ(second.status(), RET_OPERATE_SUCCESS);
    auto work = [](void* handle, int gain) {
        for (int i = 0; i < 20; ++i) {
            if (SetCameraGain(handle, 0, gain) != RET_OPERATE_SUCCESS) return false;
            int read = -1;
            if (GetCameraGain(handle, 0, read) != RET_OPERATE_SUCCESS || read != gain) return false;
        }
        return true;
    };
    auto a = std::async(std::launch::async, work, first.handle(), 3);
    auto b = std::async(std::launch::async, work, second.handle(), 5);
    EXPECT_TRUE(a.get());
    EXPECT_TRUE(b.get());
    EXPECT_EQ(first.disconnect(), RET_OPERATE_SUCCESS);
    EXPECT_EQ(second.disconnect(), RET_OPERATE_SUCCESS);
}

}  // namespace
