// The trigger and strobe behaviours the stripe modes share, run over every stripe mode: clamping
// of periods and pulse widths, the board query each getter chooses, the polarity kept per route,
// the strobe retry, strobe-follows-trigger and the colour-route reset.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "LibraryTestSupport.h"
#include "ModeProbe.h"
#include "SimTestSupport.h"
#include "sync/StripeSync.h"
#include "zetaVoroSim/SimControl.h"

namespace {

using zeta::sim::test::lastRecordOf;
using zeta::sim::test::recordsOf;

// Every scan mode whose trigger slots are the stripe modes' shared behaviours.
using StripeFamilyModes = ::testing::Types<CStripeSync>;

template <class Mode>
class StripeFamilyTriggerTest : public ::testing::Test {
protected:
    void SetUp() override {
        zeta::sim::test::useRig(zeta::sim::test::rigWithCameras({R"({"serial":"M0"})"}));
        ASSERT_EQ(sync_.InitProjector("sim:board0"), 0);
        zeta::sim::clearJournal();
    }
    void TearDown() override { zeta::sim::clearFailures(); }

    ModeProbe<Mode> sync_;
};

TYPED_TEST_SUITE(StripeFamilyTriggerTest, StripeFamilyModes);

TYPED_TEST(StripeFamilyTriggerTest, MonoPeriodBelowTheWidthIsSentAsWidthPlusOne) {
    ASSERT_EQ(this->sync_.SetTriggerPulseWidth(0, 8), 0);
    ASSERT_EQ(this->sync_.m_triggerWidth[0], 8);
    zeta::test::LogCapture log;
    zeta::sim::clearJournal();
    EXPECT_EQ(this->sync_.SetVideoTriggerPeriod(0, 5), 0);
    EXPECT_EQ(lastRecordOf("zetaSetVideoTriggerPeriod").args, "[0,9]");
    EXPECT_EQ(this->sync_.m_triggerVideoPeriod[0], 9);
    EXPECT_EQ(this->sync_.m_triggerVideoPeriod[1], 10);
    EXPECT_TRUE(this->sync_.m_bVideoPeriodDirty);
    EXPECT_EQ(zeta::sim::boardState().routes[0].periodMs, 9);
    EXPECT_TRUE(log.contains("SetVideoTriggerPeriod lineOrder=0triggerPeriod=5"));
    EXPECT_TRUE(log.contains("m_triggerWidth[0]=8 m_triggerWidth[1]=1"));
    EXPECT_TRUE(log.contains("tmpVideoPeriod=9"));
}

TYPED_TEST(StripeFamilyTriggerTest, PeriodEqualToTheWidthIsNotCorrected) {
    ASSERT_EQ(this->sync_.SetTriggerPulseWidth(0, 8), 0);
    EXPECT_EQ(this->sync_.SetVideoTriggerPeriod(0, 8), 0);
    EXPECT_EQ(lastRecordOf("zetaSetVideoTriggerPeriod").args, "[0,8]");
    EXPECT_EQ(this->sync_.m_triggerVideoPeriod[0], 8);
}

TYPED_TEST(StripeFamilyTriggerTest, ColourPeriodIsClampedByTheColourWidthOnly) {
    ASSERT_EQ(this->sync_.SetTriggerPulseWidth(1, 6), 0);
    EXPECT_EQ(this->sync_.SetVideoTriggerPeriod(1, 2), 0);
    EXPECT_EQ(lastRecordOf("zetaSetVideoTriggerPeriod").args, "[1,7]");
    EXPECT_EQ(this->sync_.m_triggerVideoPeriod[0], 10);
    EXPECT_EQ(this->sync_.m_triggerVideoPeriod[1], 7);
    // The mono route is not held to the colour width.
    EXPECT_EQ(this->sync_.SetVideoTriggerPeriod(0, 2), 0);
    EXPECT_EQ(lastRecordOf("zetaSetVideoTriggerPeriod").args, "[0,2]");
}

TYPED_TEST(StripeFamilyTriggerTest, BothRoutesPeriodTakesTheLargerWidthPlusOne) {
    ASSERT_EQ(this->sync_.SetTriggerPulseWidth(0, 3), 0);
    ASSERT_EQ(this->sync_.SetTriggerPulseWidth(1, 6), 0);
    EXPECT_EQ(this->sync_.SetVideoTriggerPeriod(2, 4), 0);
    EXPECT_EQ(lastRecordOf("zetaSetVideoTriggerPeriod").args, "[2,7]");
    EXPECT_EQ(this->sync_.m_triggerVideoPeriod[0], 7);
    EXPECT_EQ(this->sync_.m_triggerVideoPeriod[1], 7);
    // Any route other than 0 and 1 goes to the board as both.
    EXPECT_EQ(this->sync_.SetVideoTriggerPeriod(5, 30), 0);
    EXPECT_EQ(lastRecordOf("zetaSetVideoTriggerPeriod").args, "[2,30]");
    EXPECT_EQ(this->sync_.m_triggerVideoPeriod[0], 30);
    EXPECT_EQ(this->sync_.m_triggerVideoPeriod[1], 30);
}

TYPED_TEST(StripeFamilyTriggerTest, FailedPeriodReturns3AndStoresNothing) {
    zeta::sim::failNext("board", "zetaSetVideoTriggerPeriod", 1);
    EXPECT_EQ(this->sync_.SetVideoTriggerPeriod(0, 25), 3);
    EXPECT_EQ(this->sync_.m_triggerVideoPeriod[0], 10);
    EXPECT_FALSE(this->sync_.m_bVideoPeriodDirty);
    EXPECT_FALSE(lastRecordOf("zetaSetVideoTriggerPeriod").ok);
}

TYPED_TEST(StripeFamilyTriggerTest, BothRoutesWidthTakesTheSmallerPeriodMinusOne) {
    ASSERT_EQ(this->sync_.SetVideoTriggerPeriod(1, 12), 0);
    ASSERT_EQ(this->sync_.m_triggerVideoPeriod[0], 10);
    ASSERT_EQ(this->sync_.m_triggerVideoPeriod[1], 12);
    zeta::test::LogCapture log;
    EXPECT_EQ(this->sync_.SetTriggerPulseWidth(2, 10), 0);
    EXPECT_EQ(lastRecordOf("zetaSetTriggerPulseWidth").args, "[2,9]");
    EXPECT_EQ(this->sync_.m_triggerWidth[0], 9);
    EXPECT_EQ(this->sync_.m_triggerWidth[1], 9);
    EXPECT_TRUE(this->sync_.m_bTriggerWidthDirty);
    EXPECT_TRUE(log.contains("SetTriggerPulseWidth lineOrder=2pulseWidth=10"));
    EXPECT_TRUE(log.contains("pulseWidth=9"));
}

TYPED_TEST(StripeFamilyTriggerTest, WidthReachingTheRoutePeriodIsClampedPerRoute) {
    EXPECT_EQ(this->sync_.SetTriggerPulseWidth(0, 10), 0);
    EXPECT_EQ(lastRecordOf("zetaSetTriggerPulseWidth").args, "[0,9]");
    EXPECT_EQ(this->sync_.m_triggerWidth[0], 9);
    EXPECT_EQ(this->sync_.m_triggerWidth[1], 1);
    ASSERT_EQ(this->sync_.SetVideoTriggerPeriod(1, 20), 0);
    EXPECT_EQ(this->sync_.SetTriggerPulseWidth(1, 15), 0);
    EXPECT_EQ(lastRecordOf("zetaSetTriggerPulseWidth").args, "[1,15]");
    EXPECT_EQ(this->sync_.SetTriggerPulseWidth(1, 25), 0);
    EXPECT_EQ(lastRecordOf("zetaSetTriggerPulseWidth").args, "[1,19]");
    EXPECT_EQ(this->sync_.m_triggerWidth[1], 19);
}

TYPED_TEST(StripeFamilyTriggerTest, PolarityIsSentAndStoredPerRoute) {
    zeta::test::LogCapture log;
    EXPECT_EQ(this->sync_.SetTriggerPolarity(1, 1), 0);
    EXPECT_EQ(lastRecordOf("zetaSetTriggerPolarity").args, "[1,1]");
    EXPECT_EQ(this->sync_.m_triggerPolarity[0], -1);
    EXPECT_EQ(this->sync_.m_triggerPolarity[1], 1);
    EXPECT_TRUE(log.contains("tmpTriggerRoute=1polarity=1"));
    EXPECT_EQ(this->sync_.SetTriggerPolarity(2, 0), 0);
    EXPECT_EQ(this->sync_.m_triggerPolarity[0], 0);
    EXPECT_EQ(this->sync_.m_triggerPolarity[1], 0);
    zeta::sim::failNext("board", "zetaSetTriggerPolarity", 1);
    EXPECT_EQ(this->sync_.SetTriggerPolarity(0, 1), 3);
    EXPECT_EQ(this->sync_.m_triggerPolarity[0], 0);
}

TYPED_TEST(StripeFamilyTriggerTest, GettersAskTheColourQueryForRoute1AndTheMonoQueryOtherwise) {
    ASSERT_EQ(this->sync_.SetVideoTriggerPeriod(0, 20), 0);
    ASSERT_EQ(this->sync_.SetVideoTriggerPeriod(1, 30), 0);
    ASSERT_EQ(this->sync_.SetTriggerPulseWidth(0, 4), 0);
    ASSERT_EQ(this->sync_.SetTriggerPulseWidth(1, 6), 0);
    ASSERT_EQ(this->sync_.SetTriggerPolarity(0, 1), 0);
    ASSERT_EQ(this->sync_.SetTriggerPolarity(1, 0), 0);
    zeta::sim::clearJournal();

    int value = -1;
    EXPECT_EQ(this->sync_.GetVideoTriggerPeriod(0, value), 0);
    EXPECT_EQ(value, 20);
    EXPECT_EQ(this->sync_.GetVideoTriggerPeriod(1, value), 0);
    EXPECT_EQ(value, 30);
    EXPECT_EQ(this->sync_.GetVideoTriggerPeriod(2, value), 0);
    EXPECT_EQ(value, 20);
    EXPECT_EQ(recordsOf("zetaQueryMonoCameraVideoTriggerParameter", "board").size(), 2u);
    EXPECT_EQ(recordsOf("zetaQueryColorCameraVideoTriggerParameter", "board").size(), 1u);

    EXPECT_EQ(this->sync_.GetTriggerPulseWidth(0, value), 0);
    EXPECT_EQ(value, 4);
    EXPECT_EQ(this->sync_.GetTriggerPulseWidth(1, value), 0);
    EXPECT_EQ(value, 6);
    EXPECT_EQ(this->sync_.GetTriggerPulseWidth(2, value), 0);
    EXPECT_EQ(value, 4);
    EXPECT_EQ(this->sync_.GetTriggerPolarity(0, value), 0);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(this->sync_.GetTriggerPolarity(1, value), 0);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(this->sync_.GetTriggerPolarity(2, value), 0);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(recordsOf("zetaQueryMonoCameraTriggerParameter", "board").size(), 4u);
    EXPECT_EQ(recordsOf("zetaQueryColorCameraTriggerParameter", "board").size(), 2u);

    zeta::sim::failNext("board", "zetaQueryColorCameraVideoTriggerParameter", 1);
    EXPECT_EQ(this->sync_.GetVideoTriggerPeriod(1, value), 3);
    zeta::sim::failNext("board", "zetaQueryMonoCameraTriggerParameter", 2);
    EXPECT_EQ(this->sync_.GetTriggerPulseWidth(0, value), 3);
    EXPECT_EQ(this->sync_.GetTriggerPolarity(2, value), 3);
}

TYPED_TEST(StripeFamilyTriggerTest, PowerStrobeUpRetriesOnceAfterAFailure) {
    zeta::test::LogCapture log;
    zeta::sim::failNext("board", "zetaOpenOrCloseStrobe", 1);
    EXPECT_EQ(this->sync_.PowerStrobeUp(0, true), 0);
    const auto records = recordsOf("zetaOpenOrCloseStrobe", "board");
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].args, "[0,true]");
    EXPECT_FALSE(records[0].ok);
    EXPECT_EQ(records[1].args, "[0,true]");
    EXPECT_TRUE(records[1].ok);
    EXPECT_EQ(log.count("EnableStrobe tmpRet="), 2);
    EXPECT_TRUE(log.contains("EnableStrobe tmpTriggerRoute=0bEnable=1"));
    EXPECT_TRUE(this->sync_.m_bStrobePowered[0]);
    EXPECT_FALSE(this->sync_.m_bStrobePowered[1]);
    EXPECT_TRUE(zeta::sim::boardState().routes[0].strobe);
}

TYPED_TEST(StripeFamilyTriggerTest, PowerStrobeUpFailingTwiceReturns3) {
    zeta::sim::failNext("board", "zetaOpenOrCloseStrobe", 2);
    EXPECT_EQ(this->sync_.PowerStrobeUp(1, true), 3);
    EXPECT_EQ(recordsOf("zetaOpenOrCloseStrobe", "board").size(), 2u);
    EXPECT_FALSE(this->sync_.m_bStrobePowered[1]);
}

TYPED_TEST(StripeFamilyTriggerTest, PowerStrobeUpOnBothRoutesSendsOnceAndRecordsBoth) {
    zeta::test::LogCapture log;
    EXPECT_EQ(this->sync_.PowerStrobeUp(2, true), 0);
    EXPECT_EQ(recordsOf("zetaOpenOrCloseStrobe", "board").size(), 1u);
    EXPECT_EQ(log.count("EnableStrobe tmpRet="), 1);
    EXPECT_TRUE(this->sync_.m_bStrobePowered[0]);
    EXPECT_TRUE(this->sync_.m_bStrobePowered[1]);
    EXPECT_EQ(this->sync_.PowerStrobeUp(7, false), 0);
    EXPECT_EQ(lastRecordOf("zetaOpenOrCloseStrobe").args, "[2,false]");
    EXPECT_FALSE(this->sync_.m_bStrobePowered[0]);
    EXPECT_FALSE(this->sync_.m_bStrobePowered[1]);
}

TYPED_TEST(StripeFamilyTriggerTest, PowerStrobeUpWhileTheTriggerControlsTheStrobeReturns3Silently) {
    ASSERT_EQ(this->sync_.SetStrobeControlByTrigger(0, true), 0);
    zeta::sim::clearJournal();
    EXPECT_EQ(this->sync_.PowerStrobeUp(0, true), 3);
    EXPECT_TRUE(recordsOf("zetaOpenOrCloseStrobe").empty());
    EXPECT_FALSE(this->sync_.m_bStrobePowered[0]);
}

TYPED_TEST(StripeFamilyTriggerTest, StrobeControlByTriggerClearsTheStrobeStatesAndRecordsTheRoute) {
    ASSERT_EQ(this->sync_.PowerStrobeUp(2, true), 0);
    zeta::test::LogCapture log;
    EXPECT_EQ(this->sync_.SetStrobeControlByTrigger(1, true), 0);
    EXPECT_EQ(lastRecordOf("zetaOpenOrCloseStrobeFlicker").args, "[1,true]");
    EXPECT_TRUE(this->sync_.m_bStrobeByTrigger);
    EXPECT_EQ(this->sync_.m_strobeControlRoute, 1);
    EXPECT_FALSE(this->sync_.m_bStrobePowered[0]);
    EXPECT_FALSE(this->sync_.m_bStrobePowered[1]);
    EXPECT_TRUE(log.contains("SetStrobeControlByTrigger lineOrder=1bTrue=1"));
    EXPECT_TRUE(log.contains("SetStrobeControlByTrigger true"));
    EXPECT_TRUE(zeta::sim::boardState().routes[1].strobeFlicker);

    // Switching it off leaves the strobe states alone.
    ASSERT_EQ(this->sync_.SetStrobeControlByTrigger(1, false), 0);
    ASSERT_EQ(this->sync_.PowerStrobeUp(0, true), 0);
    EXPECT_EQ(this->sync_.SetStrobeControlByTrigger(0, false), 0);
    EXPECT_TRUE(this->sync_.m_bStrobePowered[0]);
    EXPECT_FALSE(this->sync_.m_bStrobeByTrigger);
    EXPECT_EQ(this->sync_.m_strobeControlRoute, 0);
}

TYPED_TEST(StripeFamilyTriggerTest, StrobeControlByTriggerKeepsTheFlagWhenTheDeviceFails) {
    zeta::test::LogCapture log;
    zeta::sim::failNext("board", "zetaOpenOrCloseStrobeFlicker", 1);
    EXPECT_EQ(this->sync_.SetStrobeControlByTrigger(2, true), 3);
    EXPECT_TRUE(this->sync_.m_bStrobeByTrigger);
    EXPECT_EQ(this->sync_.m_strobeControlRoute, 2);
    EXPECT_TRUE(log.contains("SetStrobeControlByTrigger false"));
    EXPECT_FALSE(log.contains("SetStrobeControlByTrigger true"));
    EXPECT_EQ(this->sync_.PowerStrobeUp(0, true), 3);
}

TYPED_TEST(StripeFamilyTriggerTest, ResetColorModuleResetsTheColourRoute) {
    EXPECT_EQ(this->sync_.ResetColorModule(), 0);
    EXPECT_EQ(zeta::sim::boardState().colorRouteResets, 1);
    zeta::sim::failNext("board", "zetaResetColorRoute", 1);
    EXPECT_EQ(this->sync_.ResetColorModule(), 3);
}

}  // namespace
