// Repeated connect -> scan -> disconnect cycles: every cycle ends with nothing of it left behind.
// Under AddressSanitizer, LeakSanitizer checks at exit that no cycle leaked memory (a block lost by
// any cycle fails the test program); the tests themselves check that every cycle works, that the
// device traffic of a cycle is complete, and that the threads, descriptors and device handles of
// the process are back where they were after many cycles.
#include <gtest/gtest.h>

#include <chrono>
#include <vector>

#include "ApiTestSupport.h"
#include "ProcessStats.h"

namespace {

using namespace zetaVoroSync;
using namespace zeta::api::test;

TEST(ConnectScanCycle, TwentyCyclesEachScanAndLeaveNothingBehind) {
    zeta::sim::test::useRig(monoRig(2, R"("fps": 1000)"));
    SCANPARAMETERS parameters{};
    parameters.scanFrameRate = 1;
    parameters.scanFrameCount = 15;
    for (int cycle = 0; cycle < 20; ++cycle) {
        SCOPED_TRACE(cycle);
        Connection connection({"ZV0001", "ZV0002"});
        ASSERT_EQ(connection.status(), RET_OPERATE_SUCCESS);
        ASSERT_EQ(SetScanParameter(connection.handle(), parameters), RET_OPERATE_SUCCESS);
        ASSERT_EQ(Scan(connection.handle(), true), RET_OPERATE_SUCCESS);
        std::vector<unsigned char*> images;
        std::vector<int> widths, heights, channels;
        ASSERT_EQ(GetScanImages(connection.handle(), images, widths, heights, channels),
                  RET_OPERATE_SUCCESS);
        EXPECT_EQ(images.size(), 30u);
        const std::uint64_t mark = journalMark();
        ASSERT_EQ(connection.disconnect(), RET_OPERATE_SUCCESS);
        // Every camera was closed and released, the board closed.
        EXPECT_EQ(recordsSince(mark, "zetaExitHidDev").size(), 1u);
        EXPECT_EQ(recordsSince(mark, "ReleaseCamera").size(), 2u);
        zeta::sim::CameraStats stats;
        ASSERT_TRUE(zeta::sim::cameraStats("ZV0001", stats));
        EXPECT_EQ(stats.openHandles, 0);
    }
}

// One short cycle: connect two small free-running cameras, one stripe scan of 15 frames each at a
// 1 ms period, collect the group, disconnect.
void shortCycle(const SCANPARAMETERS& parameters) {
    Connection connection({"ZV0001", "ZV0002"});
    ASSERT_EQ(connection.status(), RET_OPERATE_SUCCESS);
    ASSERT_EQ(SetScanParameter(connection.handle(), parameters), RET_OPERATE_SUCCESS);
    ASSERT_EQ(Scan(connection.handle(), true), RET_OPERATE_SUCCESS);
    std::vector<unsigned char*> images;
    std::vector<int> widths, heights, channels;
    ASSERT_EQ(GetScanImages(connection.handle(), images, widths, heights, channels),
              RET_OPERATE_SUCCESS);
    ASSERT_EQ(images.size(), 30u);
    ASSERT_EQ(connection.disconnect(), RET_OPERATE_SUCCESS);
}

TEST(ConnectScanCycle, TwoHundredShortCyclesLeaveNoThreadDescriptorOrDeviceHandle) {
    zeta::sim::test::useRig(monoRig(2, R"("fps": 1000)"));
    SCANPARAMETERS parameters{};
    parameters.scanFrameRate = 1;
    parameters.scanFrameCount = 15;
    // The first cycle starts what stays for the process (log, registry, exit clean-up): the
    // figures are taken after it.
    ASSERT_NO_FATAL_FAILURE(shortCycle(parameters));
    const auto before = zeta::test::ProcessStats::now();
    // Linux and Windows give both figures.
    ASSERT_GE(before.threads, 0);
    ASSERT_GE(before.descriptors, 0);
    for (int cycle = 0; cycle < 200; ++cycle) {
        SCOPED_TRACE(cycle);
        ASSERT_NO_FATAL_FAILURE(shortCycle(parameters));
    }
    // Disconnect joins every thread of the handle; a thread still ending is given a bounded while.
    zeta::test::ProcessStats after;
    zeta::sim::test::waitUntil(
        [&] {
            after = zeta::test::ProcessStats::now();
            return after.threads <= before.threads && after.descriptors <= before.descriptors;
        },
        std::chrono::milliseconds(2000));
    EXPECT_EQ(after.threads, before.threads);
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_EQ(zeta::sim::boardState().openHandles, 0);
    for (const char* serial : {"ZV0001", "ZV0002"}) {
        zeta::sim::CameraStats stats;
        ASSERT_TRUE(zeta::sim::cameraStats(serial, stats));
        EXPECT_EQ(stats.openHandles, 0) << serial;
    }
}

}  // namespace
