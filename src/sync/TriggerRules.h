// TriggerRules: how the scan modes turn a host's trigger period or pulse width into the value the
// board is sent, and the board route of a route number.
//
// Every scan mode keeps each route's video-trigger period longer than its pulse width, but the
// modes do it in different ways (what they compare, what they raise a value to, whether they clamp
// to a range first). Each way is one pure function here, named after the mode family that uses it;
// the scan modes' setters pass one of them to IShotSync::SetVideoTriggerPeriodBy /
// SetTriggerPulseWidthBy. Several rules look odd (a period raised to a polarity, route 2 compared
// with one route only): they are how the modes behave, kept on purpose, and the comment of each
// rule says what it does.
//
// `boardRoute` is the route as the board takes it: 0 mono, 1 colour, 2 both (see BoardRoute).
// Arithmetic that would leave the int range saturates instead.
//
// Thread safety: pure functions; any thread.
#pragma once

#include "zetaVoroDLPdev.h"

namespace TriggerRules {

// The board's route for a route number: 0 mono and 1 colour are kept, anything else is both.
zetaVoroDLPdev::TRIGGERROUTE BoardRoute(int route);

// ---- Video-trigger periods (widths and polarities are the route's current values) ----

// Stripe modes: a period below the route's width becomes that width + 1; for both routes, a
// period below either width becomes the larger width + 1. A period equal to the width is kept.
int StripePeriod(int boardRoute, int period, const int (&widths)[2], const int (&polarities)[2]);

// Speckle modes: clamped to 1..200, then a period not above the route's width becomes that width
// + 1. For both routes only the mono width is compared, and the period then becomes the larger
// width + 1.
int SpecklePeriod(int boardRoute, int period, const int (&widths)[2], const int (&polarities)[2]);

// Laser mode and E7 calibration: clamped to 1..1000, then a period not above the route's width
// becomes the route's polarity + 1; for both routes, a period not above either width becomes the
// larger polarity + 1. Widths are compared, polarities raised to.
int LaserPeriod(int boardRoute, int period, const int (&widths)[2], const int (&polarities)[2]);

// Speckle-laser mode: clamped to 1..200, then a period not above the route's width becomes that
// width + 1; for both routes, a period not above either width becomes the larger width + 1.
int SpeckleLaserPeriod(int boardRoute, int period, const int (&widths)[2],
                       const int (&polarities)[2]);

// Dual-laser mode: as the speckle-laser rule, clamped to 1..1000.
int DualLaserPeriod(int boardRoute, int period, const int (&widths)[2], const int (&polarities)[2]);

// ---- Pulse widths (periods are the routes' current periods) ----

// Stripe and laser modes: a width not below the route's period becomes that period - 1; for both
// routes, a width not below either period becomes the smaller period - 1.
int StripeWidth(int boardRoute, int width, const int (&periods)[2]);

// Speckle modes: as the stripe rule, but for both routes the width becomes the colour period - 1,
// whichever period is the smaller.
int SpeckleWidth(int boardRoute, int width, const int (&periods)[2]);

// Dual-laser mode: as the stripe rule for one route; for both routes only the colour period is
// compared, and a width not below it becomes the larger period - 1.
int DualLaserWidth(int boardRoute, int width, const int (&periods)[2]);

}  // namespace TriggerRules
