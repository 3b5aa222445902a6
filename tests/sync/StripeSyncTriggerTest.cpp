// CStripeSync's trigger, strobe, scan-parameter and settings slots against the virtual board:
// clamping of periods and pulse widths, the board query each getter chooses, the strobe retry,
// strobe-follows-trigger, and the device traffic of ReValidSetting.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "LibraryTestSupport.h"
#include "SimTestSupport.h"
#include "sync/StripeSync.h"
#include "zetaVoroSim/SimControl.h"

namespace {

using zeta::sim::test::lastRecordOf;
using zeta::sim::test::recordsOf;

class StripeTriggerProbe : public CStripeSync {
public:
    // The tests own these objects on their stacks: the teardown an owner runs before delete.
    ~StripeTriggerProbe() override { Shutdown(); }

    using CStripeSync::m_bScanWithStrobe;
    using CStripeSync::m_scanFrameCount;
    using CStripeSync::m_scanFrameRate;
    using CStripeSync::m_scanSpacePercent;
    using IShotSync::m_bScanning;
    using IShotSync::m_bStrobeByTrigger;
    using IShotSync::m_bStrobePowered;
    using IShotSync::m_bTriggerWidthDirty;
    using IShotSync::m_bVideoPeriodDirty;
    using IShotSync::m_hProjector;
    using IShotSync::m_savedVideoTrigger;
    using IShotSync::m_scanParameters;
    using IShotSync::m_strobeControlRoute;
    using IShotSync::m_syncType;
    using IShotSync::m_triggerPolarity;
    using IShotSync::m_triggerVideoPeriod;
    using IShotSync::m_triggerWidth;
};

// Board records of the journal, as "op args" strings, in order.
std::vector<std::string> boardCalls() {
    std::vector<std::string> calls;
    for (const auto& record : zeta::sim::journal()) {
        if (record.dev == "board") calls.push_back(record.op + " " + record.args);
    }
    return calls;
}

class StripeSyncTriggerTest : public ::testing::Test {
protected:
    void SetUp() override {
        zeta::sim::test::useRig(zeta::sim::test::rigWithCameras({R"({"serial":"M0"})"}));
        ASSERT_EQ(sync_.InitProjector("sim:board0"), 0);
        zeta::sim::clearJournal();
    }
    void TearDown() override { zeta::sim::clearFailures(); }

    StripeTriggerProbe sync_;
};

TEST(StripeSyncConstructionTest, StartsWithTheStripeDefaults) {
    StripeTriggerProbe sync;
    EXPECT_EQ(sync.m_syncType, 1);
    EXPECT_EQ(sync.GetSyncType(), 1);
    EXPECT_FALSE(sync.m_bScanning);
    EXPECT_EQ(sync.m_triggerWidth[0], 1);
    EXPECT_EQ(sync.m_triggerWidth[1], 1);
    EXPECT_EQ(sync.m_triggerVideoPeriod[0], 10);
    EXPECT_EQ(sync.m_triggerVideoPeriod[1], 10);
    EXPECT_EQ(sync.m_triggerPolarity[0], -1);
    EXPECT_EQ(sync.m_triggerPolarity[1], -1);
    EXPECT_FALSE(sync.m_bStrobePowered[0]);
    EXPECT_FALSE(sync.m_bStrobePowered[1]);
    EXPECT_FALSE(sync.m_bStrobeByTrigger);
    EXPECT_EQ(sync.m_scanFrameRate, 100);
    EXPECT_EQ(sync.m_scanFrameCount, 15);
}

TEST(StripeSyncConstructionTest, WithoutProjectorEverySlotReturns2AndSendsNothing) {
    zeta::sim::test::useRig(zeta::sim::test::rigWithCameras({R"({"serial":"M0"})"}));
    StripeTriggerProbe sync;
    int value = -7;
    EXPECT_EQ(sync.SetVideoTriggerPeriod(0, 20), 2);
    EXPECT_EQ(sync.GetVideoTriggerPeriod(0, value), 2);
    EXPECT_EQ(sync.SetTriggerPulseWidth(0, 2), 2);
    EXPECT_EQ(sync.GetTriggerPulseWidth(0, value), 2);
    EXPECT_EQ(sync.SetTriggerPolarity(0, 1), 2);
    EXPECT_EQ(sync.GetTriggerPolarity(0, value), 2);
    EXPECT_EQ(sync.PowerStrobeUp(0, true), 2);
    EXPECT_EQ(sync.SetStrobeControlByTrigger(0, true), 2);
    EXPECT_EQ(sync.SetScanParameter({20, 0}), 2);
    EXPECT_EQ(sync.ResetColorModule(), 2);
    EXPECT_EQ(sync.ReValidSetting(), 2);
    EXPECT_EQ(value, -7);
    EXPECT_TRUE(boardCalls().empty());
    EXPECT_EQ(sync.m_triggerVideoPeriod[0], 10);
    EXPECT_EQ(sync.m_triggerWidth[0], 1);
    EXPECT_FALSE(sync.m_bStrobeByTrigger);
    EXPECT_FALSE(sync.m_bVideoPeriodDirty);
}

TEST_F(StripeSyncTriggerTest, ScanParameterWithOneValueReturns1AndSendsNothing) {
    EXPECT_EQ(sync_.SetScanParameter({20}), 1);
    EXPECT_EQ(sync_.SetScanParameter({}), 1);
    EXPECT_TRUE(recordsOf("zetaSetStripeScanParameter").empty());
    EXPECT_TRUE(sync_.m_scanParameters.empty());
    EXPECT_EQ(sync_.m_scanFrameRate, 100);
}

TEST_F(StripeSyncTriggerTest, ScanParameterSendsTheFirstTwoValuesAndKeepsTheWholeList) {
    zeta::test::LogCapture log;
    EXPECT_EQ(sync_.SetScanParameter({20, 50, 7}), 0);
    EXPECT_EQ(lastRecordOf("zetaSetStripeScanParameter").args, "[20,50]");
    EXPECT_EQ(sync_.m_scanFrameRate, 20);
    EXPECT_EQ(sync_.m_scanSpacePercent, 50);
    EXPECT_EQ(sync_.m_scanParameters, (std::vector<int>{20, 50, 7}));
    EXPECT_EQ(zeta::sim::boardState().stripeFirst, 20);
    EXPECT_TRUE(log.contains("paramters[0]=20"));
    EXPECT_TRUE(log.contains("paramters[1]=50"));
}

TEST_F(StripeSyncTriggerTest, FailedScanParameterReturns3AndKeepsTheFrameRate) {
    zeta::sim::failNext("board", "zetaSetStripeScanParameter", 1);
    EXPECT_EQ(sync_.SetScanParameter({20, 50}), 3);
    EXPECT_EQ(sync_.m_scanFrameRate, 100);
    EXPECT_EQ(sync_.m_scanSpacePercent, 0);
    // The list itself was stored before the board was asked.
    EXPECT_EQ(sync_.m_scanParameters, (std::vector<int>{20, 50}));
}

TEST_F(StripeSyncTriggerTest, ReValidSettingClearsTheStrobeStateAndSendsItsSequence) {
    ASSERT_EQ(sync_.PowerStrobeUp(2, true), 0);
    sync_.m_bStrobeByTrigger = true;
    sync_.m_bScanWithStrobe = true;
    zeta::sim::clearJournal();

    EXPECT_EQ(sync_.ReValidSetting(), 0);
    EXPECT_EQ(boardCalls(), (std::vector<std::string>{
                                "zetaProject [3]",
                                "zetaOpenOrCloseStrobe [0,false]",
                                "zetaOpenOrCloseStrobe [1,false]",
                                "zetaOpenOrCloseStrobeFlicker [2,false]",
                                "zetaStartOrStopVideoTrigger [0,true]",
                                "zetaStartOrStopVideoTrigger [1,true]",
                            }));
    EXPECT_FALSE(sync_.m_bStrobePowered[0]);
    EXPECT_FALSE(sync_.m_bStrobePowered[1]);
    EXPECT_FALSE(sync_.m_bStrobeByTrigger);
    EXPECT_FALSE(sync_.m_bScanWithStrobe);
    EXPECT_EQ(sync_.m_savedVideoTrigger[0], 1);
    EXPECT_EQ(sync_.m_savedVideoTrigger[1], 1);
    const auto board = zeta::sim::boardState();
    EXPECT_EQ(board.projection, 3);
    EXPECT_TRUE(board.routes[0].videoTrigger);
    EXPECT_TRUE(board.routes[1].videoTrigger);
    EXPECT_FALSE(board.routes[0].strobe);
}

TEST_F(StripeSyncTriggerTest, ReValidSettingResultIsThatOfTheLastCallOnly) {
    zeta::sim::failNext("board", "zetaProject", 1);
    zeta::sim::failNext("board", "zetaOpenOrCloseStrobe", 2);
    EXPECT_EQ(sync_.ReValidSetting(), 0);
    EXPECT_EQ(boardCalls().size(), 6u);

    zeta::sim::clearJournal();
    // The second video-trigger start (colour) fails.
    zeta::sim::failNext("board", "zetaStartOrStopVideoTrigger", 1, 1);
    EXPECT_EQ(sync_.ReValidSetting(), 3);
    EXPECT_EQ(boardCalls().size(), 6u);
}

}  // namespace
