#include "sync/TriggerRules.h"

#include <algorithm>
#include <climits>

namespace TriggerRules {

namespace {

// value + delta in the int range: a stored width or polarity at the edge of int (a board that
// took it) must not overflow when a period is raised above it.
int Shifted(int value, int delta) {
    const long long shifted = static_cast<long long>(value) + delta;
    return static_cast<int>(std::clamp<long long>(shifted, INT_MIN, INT_MAX));
}

int Clamped(int period, int maximum) {
    return std::clamp(period, 1, maximum);
}

// A period not above the route's width is raised to width + 1; for both routes, a period not
// above either width is raised to the larger width + 1 (the colour width on a tie: equal values).
int AboveWidth(int boardRoute, int period, const int (&widths)[2]) {
    if (boardRoute == 0 || boardRoute == 1) {
        return period <= widths[boardRoute] ? Shifted(widths[boardRoute], 1) : period;
    }
    if (period <= widths[0] || period <= widths[1]) {
        return Shifted(std::max(widths[0], widths[1]), 1);
    }
    return period;
}

}  // namespace

zetaVoroDLPdev::TRIGGERROUTE BoardRoute(int route) {
    if (route == 0) return zetaVoroDLPdev::TRIGGER_ROUTE_MONO;
    if (route == 1) return zetaVoroDLPdev::TRIGGER_ROUTE_COLOR;
    return zetaVoroDLPdev::TRIGGER_ROUTE_BOTH;
}

int StripePeriod(int boardRoute, int period, const int (&widths)[2],
                 const int (&/*polarities*/)[2]) {
    if (boardRoute == 0 || boardRoute == 1) {
        return period < widths[boardRoute] ? Shifted(widths[boardRoute], 1) : period;
    }
    if (period < widths[0] || period < widths[1]) {
        return Shifted(std::max(widths[0], widths[1]), 1);
    }
    return period;
}

int SpecklePeriod(int boardRoute, int period, const int (&widths)[2],
                  const int (&/*polarities*/)[2]) {
    period = Clamped(period, 200);
    if (boardRoute == 0 || boardRoute == 1) {
        return period <= widths[boardRoute] ? Shifted(widths[boardRoute], 1) : period;
    }
    // Both routes: the mono width is the only one compared (kept as the mode does it).
    return period <= widths[0] ? Shifted(std::max(widths[0], widths[1]), 1) : period;
}

int LaserPeriod(int boardRoute, int period, const int (&widths)[2], const int (&polarities)[2]) {
    period = Clamped(period, 1000);
    if (boardRoute == 0 || boardRoute == 1) {
        return period <= widths[boardRoute] ? Shifted(polarities[boardRoute], 1) : period;
    }
    if (period <= widths[0] || period <= widths[1]) {
        return Shifted(std::max(polarities[0], polarities[1]), 1);
    }
    return period;
}

int SpeckleLaserPeriod(int boardRoute, int period, const int (&widths)[2],
                       const int (&/*polarities*/)[2]) {
    return AboveWidth(boardRoute, Clamped(period, 200), widths);
}

int DualLaserPeriod(int boardRoute, int period, const int (&widths)[2],
                    const int (&/*polarities*/)[2]) {
    return AboveWidth(boardRoute, Clamped(period, 1000), widths);
}

int StripeWidth(int boardRoute, int width, const int (&periods)[2]) {
    if (boardRoute == 0 || boardRoute == 1) {
        return width >= periods[boardRoute] ? Shifted(periods[boardRoute], -1) : width;
    }
    if (width >= periods[0] || width >= periods[1]) {
        return Shifted(std::min(periods[0], periods[1]), -1);
    }
    return width;
}

int SpeckleWidth(int boardRoute, int width, const int (&periods)[2]) {
    if (boardRoute == 0 || boardRoute == 1) return StripeWidth(boardRoute, width, periods);
    // Both routes: the colour period - 1, whichever period is the smaller (kept as the mode
    // does it).
    if (width >= periods[0] || width >= periods[1]) return Shifted(periods[1], -1);
    return width;
}

int DualLaserWidth(int boardRoute, int width, const int (&periods)[2]) {
    if (boardRoute == 0 || boardRoute == 1) return StripeWidth(boardRoute, width, periods);
    // Both routes: only the colour period is compared, and the larger period - 1 is taken (kept
    // as the mode does it).
    if (width >= periods[1]) return Shifted(std::max(periods[0], periods[1]), -1);
    return width;
}

}  // namespace TriggerRules
