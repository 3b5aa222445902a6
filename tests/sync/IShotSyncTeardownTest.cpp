// The one teardown protocol of every synchroniser: Shutdown before delete, Retire for an object
// that is kept but never used again, and the early end of a scan once a shutdown was requested.
#include <gtest/gtest.h>

#include <chrono>
#include <future>

#include "IShotSyncB_Support.h"

namespace {

using zeta::sim::test::rigWithCameras;
using zeta::sim::test::useRig;
using zeta::sync::test::cam;
using zeta::sync::test::connect;
using zeta::test::LogCapture;

TEST(IShotSyncTeardownTest, ShutdownRunsOnceAndDestroyRunsIt) {
    useRig(rigWithCameras({cam("M0")}));
    auto* sync = new CSyncBProbe();
    ASSERT_EQ(connect(*sync, {"M0"}, {64}, {48}), 0);
    LogCapture log;
    sync->Shutdown();
    EXPECT_EQ(log.count("IShotSync::ExitSync end"), 1);
    EXPECT_EQ(sync->m_hProjector, nullptr);
    EXPECT_EQ(sync->m_hWatchdogThread, nullptr);
    sync->Shutdown();
    EXPECT_EQ(log.count("IShotSync::ExitSync end"), 1);
    IShotSync::Destroy(sync);
    EXPECT_EQ(log.count("IShotSync::ExitSync end"), 1);
    EXPECT_GT(log.indexOf("~IShotSync 7"), log.indexOf("IShotSync::ExitSync end"));
    IShotSync::Destroy(nullptr);
}

TEST(IShotSyncTeardownTest, RetireStopsEveryThreadAndClosesEveryDevice) {
    useRig(rigWithCameras({cam("M0"), cam("M1")}));
    CSyncBProbe sync;
    ASSERT_EQ(connect(sync, {"M0", "M1"}, {64, 64}, {48, 48}), 0);
    ASSERT_EQ(sync.SetStatusCallBackFunction(nullptr, nullptr), 0);
    sync.Retire();
    EXPECT_EQ(sync.m_hThread, nullptr);
    EXPECT_EQ(sync.m_hWatchdogThread, nullptr);
    EXPECT_EQ(sync.m_hProjector, nullptr);
    EXPECT_TRUE(sync.m_cameras.empty());
    EXPECT_EQ(zeta::sim::boardState().openHandles, 0);
    for (const char* serial : {"M0", "M1"}) {
        zeta::sim::CameraStats stats;
        ASSERT_TRUE(zeta::sim::cameraStats(serial, stats));
        EXPECT_EQ(stats.openHandles, 0) << serial;
    }
    // The object answers as one without devices.
    int count = -1;
    EXPECT_EQ(sync.GetConnectCameraCount(count), 0);
    EXPECT_EQ(count, 0);
}

TEST(IShotSyncTeardownTest, AShutdownRequestEndsWaitsEarly) {
    CSyncBProbe sync;
    zeta::platform::Event never(true, false);
    std::vector<zeta::platform::Event*> events{&never};
    auto waiting =
        std::async(std::launch::async, [&] { return sync.WaitAllUnlessShutdown(events, 60000); });
    EXPECT_EQ(waiting.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    sync.RequestShutdown();
    ASSERT_EQ(waiting.wait_for(std::chrono::seconds(2)), std::future_status::ready);
    EXPECT_FALSE(waiting.get());
    const auto started = std::chrono::steady_clock::now();
    sync.SleepUnlessShutdown(60000);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(1));
    // A wait that is satisfied still reports it.
    never.set();
    EXPECT_TRUE(sync.WaitAllUnlessShutdown(events, 0));
}

}  // namespace
