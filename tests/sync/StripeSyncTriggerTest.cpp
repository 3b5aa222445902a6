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

TEST_F(StripeSyncTriggerTest, MonoPeriodBelowTheWidthIsSentAsWidthPlusOne) {
    ASSERT_EQ(sync_.SetTriggerPulseWidth(0, 8), 0);
    ASSERT_EQ(sync_.m_triggerWidth[0], 8);
    zeta::test::LogCapture log;
    zeta::sim::clearJournal();
    EXPECT_EQ(sync_.SetVideoTriggerPeriod(0, 5), 0);
    EXPECT_EQ(lastRecordOf("zetaSetVideoTriggerPeriod").args, "[0,9]");
    EXPECT_EQ(sync_.m_triggerVideoPeriod[0], 9);
    EXPECT_EQ(sync_.m_triggerVideoPeriod[1], 10);
    EXPECT_TRUE(sync_.m_bVideoPeriodDirty);
    EXPECT_EQ(zeta::sim::boardState().routes[0].periodMs, 9);
    EXPECT_TRUE(log.contains("SetVideoTriggerPeriod lineOrder=0triggerPeriod=5"));
    EXPECT_TRUE(log.contains("m_triggerWidth[0]=8 m_triggerWidth[1]=1"));
    EXPECT_TRUE(log.contains("tmpVideoPeriod=9"));
}

TEST_F(StripeSyncTriggerTest, PeriodEqualToTheWidthIsNotCorrected) {
    ASSERT_EQ(sync_.SetTriggerPulseWidth(0, 8), 0);
    EXPECT_EQ(sync_.SetVideoTriggerPeriod(0, 8), 0);
    EXPECT_EQ(lastRecordOf("zetaSetVideoTriggerPeriod").args, "[0,8]");
    EXPECT_EQ(sync_.m_triggerVideoPeriod[0], 8);
}

TEST_F(StripeSyncTriggerTest, ColourPeriodIsClampedByTheColourWidthOnly) {
    ASSERT_EQ(sync_.SetTriggerPulseWidth(1, 6), 0);
    EXPECT_EQ(sync_.SetVideoTriggerPeriod(1, 2), 0);
    EXPECT_EQ(lastRecordOf("zetaSetVideoTriggerPeriod").args, "[1,7]");
    EXPECT_EQ(sync_.m_triggerVideoPeriod[0], 10);
    EXPECT_EQ(sync_.m_triggerVideoPeriod[1], 7);
    // The mono route is not held to the colour width.
    EXPECT_EQ(sync_.SetVideoTriggerPeriod(0, 2), 0);
    EXPECT_EQ(lastRecordOf("zetaSetVideoTriggerPeriod").args, "[0,2]");
}

TEST_F(StripeSyncTriggerTest, BothRoutesPeriodTakesTheLargerWidthPlusOne) {
    ASSERT_EQ(sync_.SetTriggerPulseWidth(0, 3), 0);
    ASSERT_EQ(sync_.SetTriggerPulseWidth(1, 6), 0);
    EXPECT_EQ(sync_.SetVideoTriggerPeriod(2, 4), 0);
    EXPECT_EQ(lastRecordOf("zetaSetVideoTriggerPeriod").args, "[2,7]");
    EXPECT_EQ(sync_.m_triggerVideoPeriod[0], 7);
    EXPECT_EQ(sync_.m_triggerVideoPeriod[1], 7);
    // Any route other than 0 and 1 goes to the board as both.
    EXPECT_EQ(sync_.SetVideoTriggerPeriod(5, 30), 0);
    EXPECT_EQ(lastRecordOf("zetaSetVideoTriggerPeriod").args, "[2,30]");
    EXPECT_EQ(sync_.m_triggerVideoPeriod[0], 30);
    EXPECT_EQ(sync_.m_triggerVideoPeriod[1], 30);
}

TEST_F(StripeSyncTriggerTest, FailedPeriodReturns3AndStoresNothing) {
    zeta::sim::failNext("board", "zetaSetVideoTriggerPeriod", 1);
    EXPECT_EQ(sync_.SetVideoTriggerPeriod(0, 25), 3);
    EXPECT_EQ(sync_.m_triggerVideoPeriod[0], 10);
    EXPECT_FALSE(sync_.m_bVideoPeriodDirty);
    EXPECT_FALSE(lastRecordOf("zetaSetVideoTriggerPeriod").ok);
}

TEST_F(StripeSyncTriggerTest, BothRoutesWidthTakesTheSmallerPeriodMinusOne) {
    ASSERT_EQ(sync_.SetVideoTriggerPeriod(1, 12), 0);
    ASSERT_EQ(sync_.m_triggerVideoPeriod[0], 10);
    ASSERT_EQ(sync_.m_triggerVideoPeriod[1], 12);
    zeta::test::LogCapture log;
    EXPECT_EQ(sync_.SetTriggerPulseWidth(2, 10), 0);
    EXPECT_EQ(lastRecordOf("zetaSetTriggerPulseWidth").args, "[2,9]");
    EXPECT_EQ(sync_.m_triggerWidth[0], 9);
    EXPECT_EQ(sync_.m_triggerWidth[1], 9);
    EXPECT_TRUE(sync_.m_bTriggerWidthDirty);
    EXPECT_TRUE(log.contains("SetTriggerPulseWidth lineOrder=2pulseWidth=10"));
    EXPECT_TRUE(log.contains("pulseWidth=9"));
}

TEST_F(StripeSyncTriggerTest, WidthReachingTheRoutePeriodIsClampedPerRoute) {
    EXPECT_EQ(sync_.SetTriggerPulseWidth(0, 10), 0);
    EXPECT_EQ(lastRecordOf("zetaSetTriggerPulseWidth").args, "[0,9]");
    EXPECT_EQ(sync_.m_triggerWidth[0], 9);
    EXPECT_EQ(sync_.m_triggerWidth[1], 1);
    ASSERT_EQ(sync_.SetVideoTriggerPeriod(1, 20), 0);
    EXPECT_EQ(sync_.SetTriggerPulseWidth(1, 15), 0);
    EXPECT_EQ(lastRecordOf("zetaSetTriggerPulseWidth").args, "[1,15]");
    EXPECT_EQ(sync_.SetTriggerPulseWidth(1, 25), 0);
    EXPECT_EQ(lastRecordOf("zetaSetTriggerPulseWidth").args, "[1,19]");
    EXPECT_EQ(sync_.m_triggerWidth[1], 19);
}

TEST_F(StripeSyncTriggerTest, PolarityIsSentAndStoredPerRoute) {
    zeta::test::LogCapture log;
    EXPECT_EQ(sync_.SetTriggerPolarity(1, 1), 0);
    EXPECT_EQ(lastRecordOf("zetaSetTriggerPolarity").args, "[1,1]");
    EXPECT_EQ(sync_.m_triggerPolarity[0], -1);
    EXPECT_EQ(sync_.m_triggerPolarity[1], 1);
    EXPECT_TRUE(log.contains("tmpTriggerRoute=1polarity=1"));
    EXPECT_EQ(sync_.SetTriggerPolarity(2, 0), 0);
    EXPECT_EQ(sync_.m_triggerPolarity[0], 0);
    EXPECT_EQ(sync_.m_triggerPolarity[1], 0);
    zeta::sim::failNext("board", "zetaSetTriggerPolarity", 1);
    EXPECT_EQ(sync_.SetTriggerPolarity(0, 1), 3);
    EXPECT_EQ(sync_.m_triggerPolarity[0], 0);
}

TEST_F(StripeSyncTriggerTest, GettersAskTheColourQueryForRoute1AndTheMonoQueryOtherwise) {
    ASSERT_EQ(sync_.SetVideoTriggerPeriod(0, 20), 0);
    ASSERT_EQ(sync_.SetVideoTriggerPeriod(1, 30), 0);
    ASSERT_EQ(sync_.SetTriggerPulseWidth(0, 4), 0);
    ASSERT_EQ(sync_.SetTriggerPulseWidth(1, 6), 0);
    ASSERT_EQ(sync_.SetTriggerPolarity(0, 1), 0);
    ASSERT_EQ(sync_.SetTriggerPolarity(1, 0), 0);
    zeta::sim::clearJournal();

    int value = -1;
    EXPECT_EQ(sync_.GetVideoTriggerPeriod(0, value), 0);
    EXPECT_EQ(value, 20);
    EXPECT_EQ(sync_.GetVideoTriggerPeriod(1, value), 0);
    EXPECT_EQ(value, 30);
    EXPECT_EQ(sync_.GetVideoTriggerPeriod(2, value), 0);
    EXPECT_EQ(value, 20);
    EXPECT_EQ(recordsOf("zetaQueryMonoCameraVideoTriggerParameter", "board").size(), 2u);
    EXPECT_EQ(recordsOf("zetaQueryColorCameraVideoTriggerParameter", "board").size(), 1u);

    EXPECT_EQ(sync_.GetTriggerPulseWidth(0, value), 0);
    EXPECT_EQ(value, 4);
    EXPECT_EQ(sync_.GetTriggerPulseWidth(1, value), 0);
    EXPECT_EQ(value, 6);
    EXPECT_EQ(sync_.GetTriggerPulseWidth(2, value), 0);
    EXPECT_EQ(value, 4);
    EXPECT_EQ(sync_.GetTriggerPolarity(0, value), 0);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(sync_.GetTriggerPolarity(1, value), 0);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(sync_.GetTriggerPolarity(2, value), 0);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(recordsOf("zetaQueryMonoCameraTriggerParameter", "board").size(), 4u);
    EXPECT_EQ(recordsOf("zetaQueryColorCameraTriggerParameter", "board").size(), 2u);

    zeta::sim::failNext("board", "zetaQueryColorCameraVideoTriggerParameter", 1);
    EXPECT_EQ(sync_.GetVideoTriggerPeriod(1, value), 3);
    zeta::sim::failNext("board", "zetaQueryMonoCameraTriggerParameter", 2);
    EXPECT_EQ(sync_.GetTriggerPulseWidth(0, value), 3);
    EXPECT_EQ(sync_.GetTriggerPolarity(2, value), 3);
}

TEST_F(StripeSyncTriggerTest, PowerStrobeUpRetriesOnceAfterAFailure) {
    zeta::test::LogCapture log;
    zeta::sim::failNext("board", "zetaOpenOrCloseStrobe", 1);
    EXPECT_EQ(sync_.PowerStrobeUp(0, true), 0);
    const auto records = recordsOf("zetaOpenOrCloseStrobe", "board");
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].args, "[0,true]");
    EXPECT_FALSE(records[0].ok);
    EXPECT_EQ(records[1].args, "[0,true]");
    EXPECT_TRUE(records[1].ok);
    EXPECT_EQ(log.count("EnableStrobe tmpRet="), 2);
    EXPECT_TRUE(log.contains("EnableStrobe tmpTriggerRoute=0bEnable=1"));
    EXPECT_TRUE(sync_.m_bStrobePowered[0]);
    EXPECT_FALSE(sync_.m_bStrobePowered[1]);
    EXPECT_TRUE(zeta::sim::boardState().routes[0].strobe);
}

TEST_F(StripeSyncTriggerTest, PowerStrobeUpFailingTwiceReturns3) {
    zeta::sim::failNext("board", "zetaOpenOrCloseStrobe", 2);
    EXPECT_EQ(sync_.PowerStrobeUp(1, true), 3);
    EXPECT_EQ(recordsOf("zetaOpenOrCloseStrobe", "board").size(), 2u);
    EXPECT_FALSE(sync_.m_bStrobePowered[1]);
}

TEST_F(StripeSyncTriggerTest, PowerStrobeUpOnBothRoutesSendsOnceAndRecordsBoth) {
    zeta::test::LogCapture log;
    EXPECT_EQ(sync_.PowerStrobeUp(2, true), 0);
    EXPECT_EQ(recordsOf("zetaOpenOrCloseStrobe", "board").size(), 1u);
    EXPECT_EQ(log.count("EnableStrobe tmpRet="), 1);
    EXPECT_TRUE(sync_.m_bStrobePowered[0]);
    EXPECT_TRUE(sync_.m_bStrobePowered[1]);
    EXPECT_EQ(sync_.PowerStrobeUp(7, false), 0);
    EXPECT_EQ(lastRecordOf("zetaOpenOrCloseStrobe").args, "[2,false]");
    EXPECT_FALSE(sync_.m_bStrobePowered[0]);
    EXPECT_FALSE(sync_.m_bStrobePowered[1]);
}

TEST_F(StripeSyncTriggerTest, PowerStrobeUpWhileTheTriggerControlsTheStrobeReturns3Silently) {
    ASSERT_EQ(sync_.SetStrobeControlByTrigger(0, true), 0);
    zeta::sim::clearJournal();
    EXPECT_EQ(sync_.PowerStrobeUp(0, true), 3);
    EXPECT_TRUE(recordsOf("zetaOpenOrCloseStrobe").empty());
    EXPECT_FALSE(sync_.m_bStrobePowered[0]);
}

TEST_F(StripeSyncTriggerTest, StrobeControlByTriggerClearsTheStrobeStatesAndRecordsTheRoute) {
    ASSERT_EQ(sync_.PowerStrobeUp(2, true), 0);
    zeta::test::LogCapture log;
    EXPECT_EQ(sync_.SetStrobeControlByTrigger(1, true), 0);
    EXPECT_EQ(lastRecordOf("zetaOpenOrCloseStrobeFlicker").args, "[1,true]");
    EXPECT_TRUE(sync_.m_bStrobeByTrigger);
    EXPECT_EQ(sync_.m_strobeControlRoute, 1);
    EXPECT_FALSE(sync_.m_bStrobePowered[0]);
    EXPECT_FALSE(sync_.m_bStrobePowered[1]);
    EXPECT_TRUE(log.contains("SetStrobeControlByTrigger lineOrder=1bTrue=1"));
    EXPECT_TRUE(log.contains("SetStrobeControlByTrigger true"));
    EXPECT_TRUE(zeta::sim::boardState().routes[1].strobeFlicker);

    // Switching it off leaves the strobe states alone.
    ASSERT_EQ(sync_.SetStrobeControlByTrigger(1, false), 0);
    ASSERT_EQ(sync_.PowerStrobeUp(0, true), 0);
    EXPECT_EQ(sync_.SetStrobeControlByTrigger(0, false), 0);
    EXPECT_TRUE(sync_.m_bStrobePowered[0]);
    EXPECT_FALSE(sync_.m_bStrobeByTrigger);
    EXPECT_EQ(sync_.m_strobeControlRoute, 0);
}

TEST_F(StripeSyncTriggerTest, StrobeControlByTriggerKeepsTheFlagWhenTheDeviceFails) {
    zeta::test::LogCapture log;
    zeta::sim::failNext("board", "zetaOpenOrCloseStrobeFlicker", 1);
    EXPECT_EQ(sync_.SetStrobeControlByTrigger(2, true), 3);
    EXPECT_TRUE(sync_.m_bStrobeByTrigger);
    EXPECT_EQ(sync_.m_strobeControlRoute, 2);
    EXPECT_TRUE(log.contains("SetStrobeControlByTrigger false"));
    EXPECT_FALSE(log.contains("SetStrobeControlByTrigger true"));
    EXPECT_EQ(sync_.PowerStrobeUp(0, true), 3);
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

TEST_F(StripeSyncTriggerTest, ResetColorModuleResetsTheColourRoute) {
    EXPECT_EQ(sync_.ResetColorModule(), 0);
    EXPECT_EQ(zeta::sim::boardState().colorRouteResets, 1);
    zeta::sim::failNext("board", "zetaResetColorRoute", 1);
    EXPECT_EQ(sync_.ResetColorModule(), 3);
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
