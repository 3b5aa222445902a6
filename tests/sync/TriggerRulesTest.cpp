// The rules the scan modes turn a host's period or pulse width with before the board gets it,
// every branch of each, the deliberately odd ones included.
#include <gtest/gtest.h>

#include <climits>

#include "sync/TriggerRules.h"

namespace {

using namespace TriggerRules;

constexpr int kNoPolarity[2] = {-1, -1};

TEST(TriggerRulesTest, BoardRouteKeepsMonoAndColourAndMakesAnythingElseBoth) {
    EXPECT_EQ(BoardRoute(0), zetaVoroDLPdev::TRIGGER_ROUTE_MONO);
    EXPECT_EQ(BoardRoute(1), zetaVoroDLPdev::TRIGGER_ROUTE_COLOR);
    EXPECT_EQ(BoardRoute(2), zetaVoroDLPdev::TRIGGER_ROUTE_BOTH);
    EXPECT_EQ(BoardRoute(-1), zetaVoroDLPdev::TRIGGER_ROUTE_BOTH);
    EXPECT_EQ(BoardRoute(7), zetaVoroDLPdev::TRIGGER_ROUTE_BOTH);
}

// ---- Stripe periods: below the width is raised, equal is kept, no range ----

TEST(TriggerRulesTest, StripePeriodBelowTheRouteWidthBecomesWidthPlusOne) {
    const int widths[2] = {8, 3};
    EXPECT_EQ(StripePeriod(0, 5, widths, kNoPolarity), 9);
    EXPECT_EQ(StripePeriod(1, 2, widths, kNoPolarity), 4);
    // The other route's width does not count.
    EXPECT_EQ(StripePeriod(1, 5, widths, kNoPolarity), 5);
}

TEST(TriggerRulesTest, StripePeriodEqualToTheWidthIsKeptAndNothingIsClamped) {
    const int widths[2] = {8, 8};
    EXPECT_EQ(StripePeriod(0, 8, widths, kNoPolarity), 8);
    EXPECT_EQ(StripePeriod(0, 100000, widths, kNoPolarity), 100000);
}

TEST(TriggerRulesTest, StripePeriodForBothRoutesTakesTheLargerWidthPlusOne) {
    const int widths[2] = {3, 6};
    EXPECT_EQ(StripePeriod(2, 5, widths, kNoPolarity), 7);
    EXPECT_EQ(StripePeriod(2, 2, widths, kNoPolarity), 7);
    EXPECT_EQ(StripePeriod(2, 6, widths, kNoPolarity), 6);
}

// ---- Speckle periods: 1..200, not above the width, route 2 compares the mono width only ----

TEST(TriggerRulesTest, SpecklePeriodIsClampedTo1To200ThenRaisedAboveTheWidth) {
    const int widths[2] = {1, 1};
    EXPECT_EQ(SpecklePeriod(0, 0, widths, kNoPolarity), 2);  // 0 -> 1 -> not above 1 -> 2
    EXPECT_EQ(SpecklePeriod(0, 500, widths, kNoPolarity), 200);
    EXPECT_EQ(SpecklePeriod(0, -40, widths, kNoPolarity), 2);
}

TEST(TriggerRulesTest, SpecklePeriodEqualToTheWidthIsRaised) {
    const int widths[2] = {5, 9};
    EXPECT_EQ(SpecklePeriod(0, 5, widths, kNoPolarity), 6);
    EXPECT_EQ(SpecklePeriod(1, 9, widths, kNoPolarity), 10);
    EXPECT_EQ(SpecklePeriod(1, 10, widths, kNoPolarity), 10);
}

TEST(TriggerRulesTest, SpecklePeriodForBothRoutesComparesTheMonoWidthOnly) {
    const int widths[2] = {1, 5};
    // Below the colour width, but above the mono one: sent unchanged.
    EXPECT_EQ(SpecklePeriod(2, 3, widths, kNoPolarity), 3);
    // Not above the mono width: the larger width + 1.
    const int wide[2] = {4, 5};
    EXPECT_EQ(SpecklePeriod(2, 4, wide, kNoPolarity), 6);
}

// ---- Laser periods: 1..1000, widths compared, polarities raised to ----

TEST(TriggerRulesTest, LaserPeriodNotAboveTheWidthBecomesThePolarityPlusOne) {
    const int widths[2] = {1, 1};
    EXPECT_EQ(LaserPeriod(0, 1, widths, kNoPolarity), 0);  // polarity -1 + 1
    const int polarities[2] = {1, 0};
    const int wide[2] = {5, 7};
    EXPECT_EQ(LaserPeriod(0, 4, wide, polarities), 2);
    EXPECT_EQ(LaserPeriod(1, 7, wide, polarities), 1);
    EXPECT_EQ(LaserPeriod(1, 8, wide, polarities), 8);
}

TEST(TriggerRulesTest, LaserPeriodIsClampedTo1To1000First) {
    const int widths[2] = {1, 1};
    EXPECT_EQ(LaserPeriod(0, 5000, widths, kNoPolarity), 1000);
    EXPECT_EQ(LaserPeriod(0, -3, widths, kNoPolarity), 0);  // 1, not above 1, polarity -1 + 1
}

TEST(TriggerRulesTest, LaserPeriodForBothRoutesTakesTheLargerPolarityPlusOne) {
    const int widths[2] = {2, 9};
    const int polarities[2] = {0, 1};
    EXPECT_EQ(LaserPeriod(2, 5, widths, polarities), 2);  // not above the colour width
    EXPECT_EQ(LaserPeriod(2, 2, widths, polarities), 2);  // not above the mono width
    EXPECT_EQ(LaserPeriod(2, 10, widths, polarities), 10);
}

// ---- Speckle-laser and dual-laser periods: not above the width, larger width for both ----

TEST(TriggerRulesTest, SpeckleLaserPeriodIsClampedTo200AndRaisedAboveTheWidths) {
    const int widths[2] = {4, 6};
    EXPECT_EQ(SpeckleLaserPeriod(0, 4, widths, kNoPolarity), 5);
    EXPECT_EQ(SpeckleLaserPeriod(1, 3, widths, kNoPolarity), 7);
    EXPECT_EQ(SpeckleLaserPeriod(2, 5, widths, kNoPolarity), 7);
    EXPECT_EQ(SpeckleLaserPeriod(2, 300, widths, kNoPolarity), 200);
    EXPECT_EQ(SpeckleLaserPeriod(0, 0, widths, kNoPolarity), 5);
}

TEST(TriggerRulesTest, DualLaserPeriodIsClampedTo1000AndRaisedAboveTheWidths) {
    const int widths[2] = {4, 6};
    EXPECT_EQ(DualLaserPeriod(0, 500, widths, kNoPolarity), 500);
    EXPECT_EQ(DualLaserPeriod(0, 5000, widths, kNoPolarity), 1000);
    EXPECT_EQ(DualLaserPeriod(2, 6, widths, kNoPolarity), 7);
    EXPECT_EQ(DualLaserPeriod(1, 0, widths, kNoPolarity), 7);
}

// ---- Pulse widths ----

TEST(TriggerRulesTest, StripeWidthNotBelowTheRoutePeriodBecomesPeriodMinusOne) {
    const int periods[2] = {10, 12};
    EXPECT_EQ(StripeWidth(0, 10, periods), 9);
    EXPECT_EQ(StripeWidth(0, 9, periods), 9);
    EXPECT_EQ(StripeWidth(1, 11, periods), 11);
    EXPECT_EQ(StripeWidth(1, 40, periods), 11);
}

TEST(TriggerRulesTest, StripeWidthForBothRoutesTakesTheSmallerPeriodMinusOne) {
    const int periods[2] = {10, 12};
    EXPECT_EQ(StripeWidth(2, 10, periods), 9);
    const int colourSmaller[2] = {30, 10};
    EXPECT_EQ(StripeWidth(2, 20, colourSmaller), 9);
    EXPECT_EQ(StripeWidth(2, 5, colourSmaller), 5);
}

TEST(TriggerRulesTest, SpeckleWidthForBothRoutesTakesTheColourPeriodMinusOne) {
    const int periods[2] = {10, 30};
    EXPECT_EQ(SpeckleWidth(2, 20, periods), 29);
    EXPECT_EQ(SpeckleWidth(2, 9, periods), 9);
    EXPECT_EQ(SpeckleWidth(0, 20, periods), 9);
    EXPECT_EQ(SpeckleWidth(1, 30, periods), 29);
}

TEST(TriggerRulesTest, DualLaserWidthForBothRoutesComparesTheColourPeriodOnly) {
    const int periods[2] = {30, 10};
    EXPECT_EQ(DualLaserWidth(2, 20, periods), 29);
    // Not below the mono period but below the colour one: unchanged.
    const int monoSmaller[2] = {10, 30};
    EXPECT_EQ(DualLaserWidth(2, 20, monoSmaller), 20);
    EXPECT_EQ(DualLaserWidth(0, 40, monoSmaller), 9);
}

TEST(TriggerRulesTest, RaisingAndLoweringAtTheEdgeOfIntSaturates) {
    const int widths[2] = {INT_MAX, INT_MAX};
    EXPECT_EQ(StripePeriod(0, 5, widths, kNoPolarity), INT_MAX);
    const int polarities[2] = {INT_MAX, 0};
    const int small[2] = {3, 3};
    EXPECT_EQ(LaserPeriod(0, 2, small, polarities), INT_MAX);
    const int periods[2] = {INT_MIN, INT_MIN};
    EXPECT_EQ(StripeWidth(0, 5, periods), INT_MIN);
}

}  // namespace
