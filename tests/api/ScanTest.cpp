// Scans through the public header, on the virtual scanner.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "ApiTestSupport.h"

namespace {

using namespace zetaVoroSync;
using namespace zeta::api::test;
using zeta::sim::test::useRig;
using zeta::test::ConsoleCapture;
using zeta::test::LogCapture;

SCANPARAMETERS stripeParameters(int frameRate) {
    SCANPARAMETERS parameters{};
    parameters.scanFrameRate = frameRate;
    parameters.scanSpacePercent = 77;
    parameters.scanColorSegregationCount = 3;
    parameters.scanColorDelayTime = 90;
    parameters.bScanWithTexture = 1;
    parameters.scanFrameCount = 15;
    parameters.bScanWithMonoStrobeLight = 1;
    parameters.speckleLaserParameter = 5;
    return parameters;
}

// Two triggered mono cameras, ready for a fast stripe scan (10 ms per stripe pulse).
class ApiScan : public ::testing::Test {
protected:
    void SetUp() override {
        useRig(monoRig(2));
        connection_ = std::make_unique<Connection>(std::vector<std::string>{"ZV0001", "ZV0002"});
        ASSERT_EQ(connection_->status(), RET_OPERATE_SUCCESS);
        ASSERT_EQ(SetCameraTriggerMode(handle(), 0, TRIGGERMODE_TRIGGERED), RET_OPERATE_SUCCESS);
        ASSERT_EQ(SetCameraTriggerMode(handle(), 1, TRIGGERMODE_TRIGGERED), RET_OPERATE_SUCCESS);
        ASSERT_EQ(SetScanParameter(handle(), stripeParameters(10)), RET_OPERATE_SUCCESS);
        mark_ = journalMark();
    }
    void TearDown() override { connection_.reset(); }
    void*& handle() { return connection_->handle(); }

    std::unique_ptr<Connection> connection_;
    std::uint64_t mark_ = 0;
};

TEST(ApiScanParameter, StripeModeSendsFieldsZeroAndFive) {
    useRig(monoRig(1));
    Connection connection({"ZV0001"});
    ASSERT_EQ(connection.status(), RET_OPERATE_SUCCESS);
    const auto mark = journalMark();
    SCANPARAMETERS parameters = stripeParameters(12);
    parameters.scanFrameCount = 16;
    EXPECT_EQ(SetScanParameter(connection.handle(), parameters), RET_OPERATE_SUCCESS);
    auto records = recordsSince(mark, "zetaSetStripeScanParameter");
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].args, "[12,16]");
    EXPECT_EQ(zeta::sim::boardState().stripeFirst, 12);

    zeta::sim::failNext("board", "zetaSetStripeScanParameter", 1);
    EXPECT_EQ(SetScanParameter(connection.handle(), parameters), RET_OPERATE_FAILED);
}

TEST_F(ApiScan, AStripeScanCollectsFifteenFramesPerCameraFrameByFrame) {
    LogCapture log;
    std::string console;
    {
        ConsoleCapture capture;
        EXPECT_EQ(Scan(handle(), true), RET_OPERATE_SUCCESS);
        console = capture.text();
    }
    EXPECT_EQ(console.rfind("[ZETAVOROSYNC_API] --- Goto Scan: 1\n", 0), 0u) << console;
    EXPECT_NE(console.find("==== Start Scan =====\n"), std::string::npos);
    EXPECT_NE(console.find("End Scan\n"), std::string::npos);
    EXPECT_TRUE(log.contains("zetaVoroSync scan   : start"));
    EXPECT_TRUE(log.contains("zetaVoroSync scan   retVal: 0"));
    EXPECT_FALSE(log.contains("Remember the last operation"));

    std::vector<std::string> calls;
    for (auto& r : recordsSince(mark_, "", "board")) calls.push_back(r.op + " " + r.args);
    EXPECT_EQ(calls, (std::vector<std::string>{"zetaStartOrStopVideoTrigger [2,false]",
                                               "zetaOutputSingleTrigger [2]", "zetaScan [0]",
                                               "zetaStartOrStopVideoTrigger [0,true]"}));

    std::vector<unsigned char*> images;
    std::vector<int> widths, heights, channels;
    ASSERT_EQ(GetScanImages(handle(), images, widths, heights, channels), RET_OPERATE_SUCCESS);
    ASSERT_EQ(images.size(), 30u);
    ASSERT_EQ(widths.size(), 30u);
    ASSERT_EQ(heights.size(), 30u);
    ASSERT_EQ(channels.size(), 30u);
    for (int i = 0; i < 30; ++i) {
        const auto k = static_cast<std::size_t>(i);
        ASSERT_NE(images[k], nullptr);
        EXPECT_EQ(widths[k], 64);
        EXPECT_EQ(heights[k], 48);
        EXPECT_EQ(channels[k], 1);
        EXPECT_EQ(tagByte(images[k], 4), i / 2) << i;  // frame number in the stripe sequence
        EXPECT_EQ(tagByte(images[k], 5), i % 2) << i;  // camera
    }
    // The images stay the library's: not freed here.
}

TEST_F(ApiScan, GetScanImagesNeedsAScan) {
    std::vector<unsigned char*> images;
    std::vector<int> widths, heights, channels;
    EXPECT_EQ(GetScanImages(handle(), images, widths, heights, channels), RET_OPERATE_FAILED);
    EXPECT_TRUE(images.empty());
    EXPECT_TRUE(recordsSince(mark_, "", "board").empty());
}

TEST_F(ApiScan, GetScanImagesNeedsEmptyLists) {
    ASSERT_EQ(Scan(handle(), true), RET_OPERATE_SUCCESS);
    const auto mark = journalMark();
    std::vector<unsigned char*> images;
    std::vector<int> widths, heights, channels;
    std::vector<int> used{1};
    EXPECT_EQ(GetScanImages(handle(), images, used, heights, channels), RET_PARAMETER_ERROR);
    EXPECT_EQ(GetScanImages(handle(), images, widths, used, channels), RET_PARAMETER_ERROR);
    EXPECT_EQ(GetScanImages(handle(), images, widths, heights, used), RET_PARAMETER_ERROR);
    unsigned char byte = 0;
    std::vector<unsigned char*> usedImages{&byte};
    EXPECT_EQ(GetScanImages(handle(), usedImages, widths, heights, channels), RET_PARAMETER_ERROR);
    EXPECT_EQ(used, (std::vector<int>{1}));
    EXPECT_EQ(usedImages.size(), 1u);
    EXPECT_TRUE(images.empty() && widths.empty() && heights.empty() && channels.empty());
    EXPECT_TRUE(trafficSince(mark).empty());
}

TEST_F(ApiScan, AFailedScanStartIsReportedWithItsConsoleLine) {
    LogCapture log;
    zeta::sim::failNext("board", "zetaScan", 1);
    ConsoleCapture console;
    EXPECT_EQ(Scan(handle(), false), RET_OPERATE_FAILED);
    const std::string text = console.text();
    EXPECT_EQ(text.rfind("[ZETAVOROSYNC_API] --- Goto Scan: 0\n", 0), 0u) << text;
    EXPECT_NE(text.find("Exit Scan Function  [Operate Failed]\n"), std::string::npos);
    EXPECT_TRUE(log.contains("zetaVoroSync scan   : stop"));
    EXPECT_TRUE(log.contains("zetaVoroSync scan   retVal: 4"));
    // The stripe mode does not remember the failed request.
    EXPECT_FALSE(log.contains("Remember the last operation"));
}

TEST_F(ApiScan, ScanWithACountIsNotAStripeScan) {
    EXPECT_EQ(Scan(handle(), true, 3), RET_OPERATE_SUCCESS);
    EXPECT_TRUE(recordsSince(mark_, "zetaScan").empty());
}

TEST_F(ApiScan, SpeckleOrLaserNeedsTheSpeckleMode) {
    EXPECT_EQ(SpeckleOrLaser(handle(), true), RET_SYNC_TYPE_UNSUPPORTED);
    EXPECT_EQ(SpeckleOrLaser(handle(), false), RET_SYNC_TYPE_UNSUPPORTED);
    EXPECT_TRUE(trafficSince(mark_).empty());
}

TEST_F(ApiScan, StartSequenceScanStartsTheModesScan) {
    LogCapture log;
    EXPECT_EQ(startSequenceScan(handle(), 5), RET_OPERATE_SUCCESS);
    EXPECT_TRUE(log.contains("startSequenceScan hSync="));
    EXPECT_TRUE(log.contains("nSequenceCount=5"));
    EXPECT_TRUE(log.contains("startSequenceScan retVal=0"));
    EXPECT_EQ(recordsSince(mark_, "zetaScan").size(), 1u);
}

TEST_F(ApiScan, StartSequenceScanWithAScanParameter) {
    LogCapture log;
    EXPECT_EQ(startSequenceScan(handle(), 6, 7), RET_OPERATE_SUCCESS);
    EXPECT_TRUE(log.contains("nSequenceCount=6"));
    EXPECT_TRUE(log.contains("scanParam=7"));
    EXPECT_TRUE(log.contains("startSequenceScan retVal=0"));
    EXPECT_TRUE(recordsSince(mark_, "zetaScan").empty());
}

TEST_F(ApiScan, StartSequenceScanBelowFiveCallsNothing) {
    LogCapture log;
    EXPECT_EQ(startSequenceScan(handle(), 4), RET_PARAMETER_ERROR);
    EXPECT_EQ(startSequenceScan(handle(), 4, 1), RET_PARAMETER_ERROR);
    EXPECT_EQ(startSequenceScan(handle(), -5), RET_PARAMETER_ERROR);
    EXPECT_FALSE(log.contains("startSequenceScan"));
    EXPECT_TRUE(trafficSince(mark_).empty());
}

TEST_F(ApiScan, StopSequenceScanAndResetBuffer) {
    LogCapture log;
    EXPECT_EQ(stopSequenceScan(handle()), RET_OPERATE_SUCCESS);
    EXPECT_TRUE(log.contains("stopSequenceScan hSync="));
    EXPECT_TRUE(log.contains("stopSequenceScan retVal=0"));
    EXPECT_EQ(ResetBuffer(handle()), RET_OPERATE_SUCCESS);
    EXPECT_TRUE(log.contains("ResetBuffer hSync="));
    EXPECT_TRUE(log.contains("ResetBuffer retVal=0"));
    EXPECT_TRUE(trafficSince(mark_).empty());
}

}  // namespace
