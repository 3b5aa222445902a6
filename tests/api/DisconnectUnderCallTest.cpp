// DisConnectDevice while other host threads are still inside calls on the same handle, and the
// objects the library keeps alive: no object is destroyed under a running call, calls arriving
// after the disconnect began are refused, and a kept object holds no thread and no device.
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "ApiTestSupport.h"
#include "ProcessStats.h"

namespace {

using namespace zetaVoroSync;
using namespace zeta::api::test;
using zeta::sim::test::useRig;
using zeta::sim::test::waitUntil;
using zeta::test::LogCapture;

using namespace std::chrono_literals;

bool journalHas(std::uint64_t mark, const std::string& op) {
    return !recordsSince(mark, op).empty();
}

void prepareScan(void* handle, int cameras, int frameRate) {
    for (int i = 0; i < cameras; ++i) {
        ASSERT_EQ(SetCameraTriggerMode(handle, i, TRIGGERMODE_TRIGGERED), RET_OPERATE_SUCCESS);
    }
    SCANPARAMETERS parameters{};
    parameters.scanFrameRate = frameRate;
    parameters.scanFrameCount = 15;
    ASSERT_EQ(SetScanParameter(handle, parameters), RET_OPERATE_SUCCESS);
}

// A scan in its settle sleep (four periods of 2 s) is woken by the disconnect, which then
// destroys the object only once the scan has returned.
TEST(ApiDisconnectUnderCall, DisconnectWakesAScanInItsSettleAndWaitsForIt) {
    useRig(monoRig(2));
    Connection connection({"ZV0001", "ZV0002"});
    ASSERT_EQ(connection.status(), RET_OPERATE_SUCCESS);
    prepareScan(connection.handle(), 2, 2000);
    const auto mark = journalMark();
    void* h = connection.handle();
    auto scan = std::async(std::launch::async, [h] { return Scan(h, true); });
    ASSERT_TRUE(waitUntil([&] { return journalHas(mark, "zetaOutputSingleTrigger"); }, 5s));

    LogCapture log;
    const auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(DisConnectDevice(connection.handle()), RET_OPERATE_SUCCESS);
    EXPECT_LT(std::chrono::steady_clock::now() - started, 3s);
    EXPECT_EQ(connection.handle(), nullptr);
    ASSERT_EQ(scan.wait_for(1s), std::future_status::ready);
    EXPECT_EQ(scan.get(), RET_OPERATE_FAILED);
    // The scan ended before the object went: its last step precedes the destruction.
    const int scanEnd = log.indexOf("zetaVoroSync scan   retVal: 4");
    const int destroyed = log.indexOf("~IShotSync");
    ASSERT_GE(scanEnd, 0);
    EXPECT_GT(destroyed, scanEnd);
    // No board scan was started for a scan cut short by a disconnect.
    EXPECT_FALSE(journalHas(mark, "zetaScan"));
    EXPECT_EQ(zeta::sim::boardState().openHandles, 0);
}

// A scan waiting for a camera that never delivers would wait 20 s; the disconnect wakes it.
TEST(ApiDisconnectUnderCall, DisconnectWakesAScanWaitingForFrames) {
    useRig(monoRig(2));
    Connection connection({"ZV0001", "ZV0002"});
    ASSERT_EQ(connection.status(), RET_OPERATE_SUCCESS);
    prepareScan(connection.handle(), 2, 10);
    ASSERT_TRUE(zeta::sim::dropFrames("ZV0002", -1));
    const auto mark = journalMark();
    void* h = connection.handle();
    auto scan = std::async(std::launch::async, [h] { return Scan(h, true); });
    ASSERT_TRUE(waitUntil([&] { return journalHas(mark, "zetaScan"); }, 5s));

    const auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(DisConnectDevice(connection.handle()), RET_OPERATE_SUCCESS);
    EXPECT_LT(std::chrono::steady_clock::now() - started, 3s);
    ASSERT_EQ(scan.wait_for(1s), std::future_status::ready);
    EXPECT_EQ(scan.get(), RET_OPERATE_FAILED);
}

// A firmware transfer is not cut short: the disconnect waits for it, and every call that arrives
// meanwhile is refused as on a disconnected handle.
TEST(ApiDisconnectUnderCall, CallsAfterTheDisconnectBeganAreRefusedWhileItWaits) {
    useRig(monoRig(1));
    Connection connection({"ZV0001"});
    ASSERT_EQ(connection.status(), RET_OPERATE_SUCCESS);
    ScratchDirectory scratch;
    const auto file = scratch.path() / "logo.SPLASH";
    {
        std::ofstream out(file, std::ios::binary);
        out << "abcdefgh\n12345678\n";
    }
    const std::wstring path = file.wstring();
    const auto mark = journalMark();
    void* h = connection.handle();
    auto transfer = std::async(std::launch::async, [h, &path] {
        return UpdateFirewareImageData(h, path.c_str(), 1, nullptr, nullptr);
    });
    ASSERT_TRUE(waitUntil([&] { return journalHas(mark, "zetaE7StartWriteImage"); }, 5s));

    LogCapture log;
    void* copy = connection.handle();
    auto disconnect = std::async(std::launch::async, [&copy] { return DisConnectDevice(copy); });
    ASSERT_TRUE(
        waitUntil([&] { return log.contains("DisConnectDevice waits for 1 call(s)"); }, 5s));
    int count = 0;
    EXPECT_EQ(GetConnectCameraCount(connection.handle(), count), RET_HANDLE_NULL);
    EXPECT_EQ(disconnect.wait_for(0s), std::future_status::timeout);

    ASSERT_EQ(transfer.wait_for(20s), std::future_status::ready);
    EXPECT_EQ(transfer.get(), RET_OPERATE_SUCCESS);
    ASSERT_EQ(disconnect.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(disconnect.get(), RET_OPERATE_SUCCESS);
    EXPECT_EQ(zeta::sim::imageStore().completedWrites, 1);
    EXPECT_GT(log.indexOf("~IShotSync"), log.indexOf("UpdateFirewareImageData retVal=0"));
    connection.handle() = nullptr;
}

// A host polling for a scanner that is not plugged in: every refused ConnectDevice leaves its
// object alive, as the library always has, but no thread with it.
TEST(ApiKeptObjects, ConnectToAMissingBoardLeavesNoThreadBehind) {
    useRig(monoRig(1));
    zeta::test::CameraNames names({"ZV0001"});
    // The first attempt may leave threads of the runtime behind (ThreadSanitizer starts its
    // background thread with the first thread the process creates; the virtual scanner's threads
    // run only while a device handle is open): the attempts after it may add none.
    {
        void* handle = nullptr;
        ASSERT_EQ(
            ConnectDevice("STRIPE", "sim:no-such-board", names.get(), {kWidth}, {kHeight}, handle),
            RET_PROJECTOR_UNCONNECTED);
    }
    const int before = zeta::test::ProcessStats::now().threads;
    ASSERT_GT(before, 0);
    for (int i = 0; i < 20; ++i) {
        void* handle = nullptr;
        ASSERT_EQ(
            ConnectDevice("STRIPE", "sim:no-such-board", names.get(), {kWidth}, {kHeight}, handle),
            RET_PROJECTOR_UNCONNECTED);
        EXPECT_EQ(handle, nullptr);
    }
    EXPECT_LE(zeta::test::ProcessStats::now().threads, before);
    resetDeviceType();
}

TEST(ApiKeptObjects, FirmwareVersionOfAMissingBoardLeavesNoThreadBehind) {
    useRig(monoRig(1));
    {  // The first attempt may leave threads of the runtime behind, as above.
        std::string version;
        ASSERT_EQ(GetFirewareVersion(nullptr, "STRIPE", "sim:no-such-board", version),
                  RET_PROJECTOR_UNCONNECTED);
    }
    const int before = zeta::test::ProcessStats::now().threads;
    for (int i = 0; i < 10; ++i) {
        std::string version;
        ASSERT_EQ(GetFirewareVersion(nullptr, "STRIPE", "sim:no-such-board", version),
                  RET_PROJECTOR_UNCONNECTED);
    }
    EXPECT_LE(zeta::test::ProcessStats::now().threads, before);
}

// The device number was cleared by another handle's disconnect: the object is not destroyed,
// but its threads stop and its board and cameras close; the handle is refused from then on.
TEST(ApiKeptObjects, AnObjectTheDisconnectKeepsHoldsNoThreadAndNoDevice) {
    useRig(monoRig(2));
    Connection first({"ZV0001"});
    ASSERT_EQ(first.status(), RET_OPERATE_SUCCESS);
    Connection second({"ZV0002"});
    ASSERT_EQ(second.status(), RET_OPERATE_SUCCESS);
    ASSERT_EQ(SetStatusCallBackFunction(second.handle(), nullptr, nullptr), RET_OPERATE_SUCCESS);
    void* copy = second.handle();
    EXPECT_EQ(first.disconnect(), RET_OPERATE_SUCCESS);
    // The second handle runs its watchdog, its status thread and its camera's grab thread.
    const int withSecondOnly = zeta::test::ProcessStats::now().threads;

    const auto mark = journalMark();
    EXPECT_EQ(second.disconnect(), RET_OPERATE_SUCCESS);
    EXPECT_EQ(second.handle(), nullptr);
    EXPECT_EQ(recordsSince(mark, "zetaExitHidDev").size(), 1u);
    EXPECT_EQ(zeta::sim::boardState().openHandles, 0);
    zeta::sim::CameraStats stats;
    ASSERT_TRUE(zeta::sim::cameraStats("ZV0002", stats));
    EXPECT_EQ(stats.openHandles, 0);
    EXPECT_LE(zeta::test::ProcessStats::now().threads, withSecondOnly - 3);
    int count = 0;
    EXPECT_EQ(GetConnectCameraCount(copy, count), RET_HANDLE_NULL);
}

}  // namespace
