// Repeated connect -> scan -> disconnect cycles: every cycle ends with nothing of it left behind.
// Under AddressSanitizer, LeakSanitizer checks at exit that no cycle leaked memory; the test itself
// checks that every cycle works and that the device traffic of the last one is complete.
#include <gtest/gtest.h>

#include <vector>

#include "ApiTestSupport.h"

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

}  // namespace
