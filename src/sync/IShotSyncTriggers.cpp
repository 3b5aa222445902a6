// IShotSync: the trigger, strobe and settings behaviours that several scan modes share. Each scan
// mode's slot forwards to one of them (its header says which), so that one behaviour exists once
// however many modes use it.
//
// Threads: the host's calling threads, and the thread running a reconnection. Every function here
// holds m_csProjector for the whole operation: the board handle and the per-route settings it
// reads and writes are guarded by it. m_csProjector is recursive, and several behaviours call the
// object's own slots (PowerStrobeUp, SetStrobeControlByTrigger, Scan) while holding it.
#include <glog/logging.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <vector>

#include "platform/Console.h"
#include "platform/CriticalSectionGuard.h"
#include "sync/IShotSync.h"
#include "sync/TriggerRules.h"
#include "zetaVoroDLPdev.h"

using zeta::platform::CriticalSectionGuard;
using namespace zetaVoroDLPdev;

namespace {

// The route a getter asks: 0 mono, 1 colour, -1 refused.
int QueriedRoute(bool stripeRoutes, int route) {
    if (stripeRoutes) return route == 1 ? 1 : 0;
    if (route == 0 || route == 2) return 0;
    return route == 1 ? 1 : -1;
}

}  // namespace

// ---- Getters ----------------------------------------------------------------------------------

int IShotSync::GetVideoTriggerPeriodOf(GetterRoutes routes, int route, int& period) {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    const int queried = QueriedRoute(routes == GetterRoutes::Stripe, route);
    if (queried < 0) return 1;
    bool running = false;
    const bool ok = queried == 1
                        ? zetaQueryColorCameraVideoTriggerParameter(m_hProjector, running, period)
                        : zetaQueryMonoCameraVideoTriggerParameter(m_hProjector, running, period);
    return ok ? 0 : 3;
}

int IShotSync::GetTriggerPulseWidthOf(GetterRoutes routes, int route, int& width) {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    const int queried = QueriedRoute(routes == GetterRoutes::Stripe, route);
    if (queried < 0) return 1;
    int polarity = 0;
    const bool ok = queried == 1
                        ? zetaQueryColorCameraTriggerParameter(m_hProjector, polarity, width)
                        : zetaQueryMonoCameraTriggerParameter(m_hProjector, polarity, width);
    return ok ? 0 : 3;
}

int IShotSync::GetTriggerPolarityOf(GetterRoutes routes, int route, int& polarity) {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    // The polarity getter refuses no route: the speckle and laser modes ask the colour route for
    // anything but 0 and 2.
    const bool colour = routes == GetterRoutes::Stripe ? route == 1 : (route != 0 && route != 2);
    int width = 0;
    const bool ok = colour ? zetaQueryColorCameraTriggerParameter(m_hProjector, polarity, width)
                           : zetaQueryMonoCameraTriggerParameter(m_hProjector, polarity, width);
    return ok ? 0 : 3;
}

// ---- Periods, widths, polarities --------------------------------------------------------------

int IShotSync::SetVideoTriggerPeriodBy(PeriodRule rule, int route, int period, bool logClamp) {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    const TRIGGERROUTE boardRoute = TriggerRules::BoardRoute(route);
    const int tmpVideoPeriod = rule(boardRoute, period, m_triggerWidth, m_triggerPolarity);
    if (logClamp) {
        LOG(INFO) << "SetVideoTriggerPeriod lineOrder=" << route << "triggerPeriod=" << period;
        LOG(INFO) << "m_triggerWidth[0]=" << m_triggerWidth[0]
                  << " m_triggerWidth[1]=" << m_triggerWidth[1];
        LOG(INFO) << "tmpVideoPeriod=" << tmpVideoPeriod;
    }
    if (!zetaSetVideoTriggerPeriod(m_hProjector, boardRoute, tmpVideoPeriod)) return 3;
    if (boardRoute != TRIGGER_ROUTE_COLOR) m_triggerVideoPeriod[0] = tmpVideoPeriod;
    if (boardRoute != TRIGGER_ROUTE_MONO) m_triggerVideoPeriod[1] = tmpVideoPeriod;
    m_bVideoPeriodDirty = true;
    return 0;
}

int IShotSync::SetTriggerPulseWidthBy(WidthRule rule, int route, int width, bool logClamp) {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    const TRIGGERROUTE boardRoute = TriggerRules::BoardRoute(route);
    if (logClamp) LOG(INFO) << "SetTriggerPulseWidth lineOrder=" << route << "pulseWidth=" << width;
    const int tmpWidth = rule(boardRoute, width, m_triggerVideoPeriod);
    if (logClamp) LOG(INFO) << "pulseWidth=" << tmpWidth;
    if (!zetaSetTriggerPulseWidth(m_hProjector, boardRoute, tmpWidth)) return 3;
    if (boardRoute != TRIGGER_ROUTE_COLOR) m_triggerWidth[0] = tmpWidth;
    if (boardRoute != TRIGGER_ROUTE_MONO) m_triggerWidth[1] = tmpWidth;
    m_bTriggerWidthDirty = true;
    return 0;
}

int IShotSync::SetAndKeepTriggerPolarity(int route, int polarity) {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    const TRIGGERROUTE tmpTriggerRoute = TriggerRules::BoardRoute(route);
    LOG(INFO) << "tmpTriggerRoute=" << static_cast<int>(tmpTriggerRoute) << "polarity=" << polarity;
    if (!zetaSetTriggerPolarity(m_hProjector, tmpTriggerRoute, polarity)) return 3;
    if (tmpTriggerRoute != TRIGGER_ROUTE_COLOR) m_triggerPolarity[0] = polarity;
    if (tmpTriggerRoute != TRIGGER_ROUTE_MONO) m_triggerPolarity[1] = polarity;
    return 0;
}

int IShotSync::SendTriggerPolarity(int route, int polarity) {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    return zetaSetTriggerPolarity(m_hProjector, TriggerRules::BoardRoute(route), polarity) ? 0 : 3;
}

// ---- Strobes ----------------------------------------------------------------------------------

void IShotSync::RecordStrobePower(int route, bool on) {
    if (route == 0 || route == 2) m_bStrobePowered[0] = on;
    if (route == 1 || route == 2) m_bStrobePowered[1] = on;
}

int IShotSync::PowerStrobeUpRetryingOnce(int route, bool on) {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    if (m_bStrobeByTrigger) return 3;
    const TRIGGERROUTE tmpTriggerRoute = TriggerRules::BoardRoute(route);
    LOG(INFO) << "EnableStrobe tmpTriggerRoute=" << static_cast<int>(tmpTriggerRoute)
              << "bEnable=" << on;
    bool tmpRet = zetaOpenOrCloseStrobe(m_hProjector, tmpTriggerRoute, on);
    LOG(INFO) << "EnableStrobe tmpRet=" << tmpRet;
    if (!tmpRet) {
        // One retry: the board sometimes misses a strobe command.
        tmpRet = zetaOpenOrCloseStrobe(m_hProjector, tmpTriggerRoute, on);
        LOG(INFO) << "EnableStrobe tmpRet=" << tmpRet;
        if (!tmpRet) return 3;
    }
    RecordStrobePower(route, on);
    return 0;
}

int IShotSync::PowerStrobeUpOnce(int route, bool on) {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    if (m_bStrobeByTrigger) return 3;
    if (!zetaOpenOrCloseStrobe(m_hProjector, TriggerRules::BoardRoute(route), on)) return 3;
    RecordStrobePower(route, on);
    return 0;
}

int IShotSync::PowerStrobeUpAnnounced(int route, bool on) {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    if (m_bStrobeByTrigger) {
        zeta::platform::consolePrintf("Strobe Flick now\n");
        return 3;
    }
    if (route < 0 || route > 2) return 1;
    if (!zetaOpenOrCloseStrobe(m_hProjector, TriggerRules::BoardRoute(route), on)) return 3;
    RecordStrobePower(route, on);
    return 0;
}

int IShotSync::SetStrobeControlByTriggerStripe(int route, bool on) {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    m_bStrobeByTrigger = on;
    if (on) {
        m_bStrobePowered[0] = false;
        m_bStrobePowered[1] = false;
    }
    m_strobeControlRoute = route;
    LOG(INFO) << "SetStrobeControlByTrigger lineOrder=" << route << "bTrue=" << on;
    if (!zetaOpenOrCloseStrobeFlicker(m_hProjector, TriggerRules::BoardRoute(route), on)) {
        LOG(INFO) << "SetStrobeControlByTrigger false";
        return 3;
    }
    LOG(INFO) << "SetStrobeControlByTrigger true";
    return 0;
}

int IShotSync::SetStrobeControlByTriggerSwitchingOff(int route, bool on, bool logSteps) {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    if (on) {
        // Through the mode's own strobe slot, mono first; the flag is not set yet, so it does not
        // refuse.
        if (m_bStrobePowered[0]) PowerStrobeUp(0, false);
        if (m_bStrobePowered[1]) PowerStrobeUp(1, false);
        m_bStrobePowered[0] = false;
        m_bStrobePowered[1] = false;
    }
    m_bStrobeByTrigger = on;
    m_strobeControlRoute = route;
    if (logSteps) {
        LOG(INFO) << "SetStrobeControlByTrigger m_strobeControlRoute=" << route;
        LOG(INFO) << "SetStrobeControlByTrigger  0";
    }
    const bool ok = zetaOpenOrCloseStrobeFlicker(m_hProjector, TriggerRules::BoardRoute(route), on);
    if (ok && !on) {
        zetaOpenOrCloseStrobe(m_hProjector, TRIGGER_ROUTE_BOTH, false);
        m_bStrobePowered[0] = false;
        m_bStrobePowered[1] = false;
    }
    // The same text whether the board agreed or not.
    if (logSteps) LOG(INFO) << "SetStrobeControlByTrigger 1";
    return ok ? 0 : 3;
}

// ---- Settings after a reconnection ----------------------------------------------------------

int IShotSync::ReValidStripeSettings() {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    m_bStrobePowered[0] = false;
    m_bStrobePowered[1] = false;
    m_bStrobeByTrigger = false;
    // Both video triggers are on after this, and a later restore must say so.
    m_savedVideoTrigger[0] = 1;
    m_savedVideoTrigger[1] = 1;
    zetaProject(m_hProjector, PROJECT_AIM);
    zetaOpenOrCloseStrobe(m_hProjector, TRIGGER_ROUTE_MONO, false);
    zetaOpenOrCloseStrobe(m_hProjector, TRIGGER_ROUTE_COLOR, false);
    zetaOpenOrCloseStrobeFlicker(m_hProjector, TRIGGER_ROUTE_BOTH, false);
    SwitchVideoTriggerOnBoard(0, true);
    // Only the last command decides the result.
    return SwitchVideoTriggerOnBoard(1, true) ? 0 : 3;
}

int IShotSync::ReValidSpeckleSettings() {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    if (m_bScanning) {
        // The mode's own Scan sets the flag again once the board runs.
        m_bScanning = false;
        Scan(true);
        return 0;
    }
    if (m_bStrobePowered[0]) {
        m_bStrobePowered[0] = false;
        PowerStrobeUp(0, false);
    }
    if (m_bStrobePowered[1]) {
        m_bStrobePowered[1] = false;
        PowerStrobeUp(1, false);
    }
    if (m_bStrobeByTrigger) {
        m_bStrobeByTrigger = false;
        SetStrobeControlByTrigger(2, false);
    }
    for (int route = 0; route < 2; ++route) {
        if (m_savedVideoTrigger[route] != -1) {
            SwitchVideoTriggerOnBoard(route, m_savedVideoTrigger[route] != 0);
        }
    }
    return 0;
}

int IShotSync::ReValidLaserSettings() {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    // Every stored setting that was ever set goes out again; the board's answers are not
    // consulted (there is nothing better to do with a refusal here).
    const TRIGGERROUTE routes[2] = {TRIGGER_ROUTE_MONO, TRIGGER_ROUTE_COLOR};
    for (int i = 0; i < 2; ++i) {
        if (m_triggerWidth[i] >= 0)
            zetaSetTriggerPulseWidth(m_hProjector, routes[i], m_triggerWidth[i]);
    }
    for (int i = 0; i < 2; ++i) {
        if (m_triggerPolarity[i] >= 0) {
            zetaSetTriggerPolarity(m_hProjector, routes[i], m_triggerPolarity[i]);
        }
    }
    for (int i = 0; i < 2; ++i) {
        if (m_triggerVideoPeriod[i] >= 0) {
            zetaSetVideoTriggerPeriod(m_hProjector, routes[i], m_triggerVideoPeriod[i]);
        }
    }
    if (m_projectorBrightness >= 0) SetBrightnessOnBoard(m_projectorBrightness);
    zetaSetSpeckleOrLaserScanParameter(m_hProjector, m_scanFrameRate, m_scanSpacePercent);

    if (m_bScanning) {
        // The mode's own Scan sets the flag again once the board runs.
        m_bScanning = false;
        Scan(true);
        return 0;
    }
    if (m_bStrobePowered[0]) PowerStrobeUp(0, false);
    if (m_bStrobePowered[1]) PowerStrobeUp(1, false);
    if (m_bStrobeByTrigger) SetStrobeControlByTrigger(2, false);
    SwitchVideoTriggerOnBoard(0, true);
    return 0;
}

// ---- Scan parameters ------------------------------------------------------------------------

int IShotSync::SetSpeckleScanParameter(const std::vector<int>& parameters, bool logAndKeepCopy) {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    if (parameters.size() < 6) return 1;
    // The period is 1000 / rate: a rate of 0 has no period (the division would be undefined), so
    // it is refused like a short list, before anything is kept or sent.
    if (parameters[0] == 0) return 1;
    if (logAndKeepCopy) {
        LOG(INFO) << "CSpeckleSync::SetScanParameter paramters.size()=" << parameters.size();
        IShotSync::SetScanParameter(parameters);
    }
    const int period = 1000 / parameters[0];
    const bool withTexture = parameters[4] != 0;
    if (!zetaSetSpeckleOrLaserScanParameter(m_hProjector, period, parameters[1]) ||
        !zetaSetColorCameraLineTriggerSegregationCount(m_hProjector, parameters[2]) ||
        !zetaSetColorCameraLineTriggerDelay(m_hProjector, parameters[3]) ||
        !zetaSetSpeckleScanWithTexture(m_hProjector, withTexture)) {
        return 3;
    }
    m_scanFrameRate = period;
    m_scanSpacePercent = parameters[1];
    m_scanColorSegregationCount = parameters[2];
    m_scanColorDelayTime = parameters[3];
    m_bScanWithTexture = withTexture;
    m_bScanWithMonoStrobeLight = parameters[5] != 0;
    // The matching window mixes the raw frame rate with the delay, as the mode always did. The
    // sum can leave the int range for extreme values; it saturates there instead of converting
    // out of range (undefined).
    const double area = static_cast<double>(parameters[0]) * 2.0 - parameters[3] + 10.0;
    m_timeStampArea = static_cast<int>(
        std::clamp(std::trunc(area), static_cast<double>(INT_MIN), static_cast<double>(INT_MAX)));
    if (logAndKeepCopy) {
        LOG(INFO) << "m_scanFrameRate=" << m_scanFrameRate;
        LOG(INFO) << "m_scanSpacePercent=" << m_scanSpacePercent;
        LOG(INFO) << "m_scanColorSegregationCount=" << m_scanColorSegregationCount;
        LOG(INFO) << "m_scanColorDelayTime=" << m_scanColorDelayTime;
        LOG(INFO) << "m_bScanWithTexture=" << m_bScanWithTexture;
        LOG(INFO) << "m_bScanWithMonoStrobeLight=" << m_bScanWithMonoStrobeLight;
        LOG(INFO) << "m_timeStampArea=" << m_timeStampArea;
    }
    return 0;
}

int IShotSync::SetLaserScanParameter(const std::vector<int>& parameters, bool keepCopy) {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    if (parameters.size() < 2) return 1;
    // 1000 / rate: a rate of 0 has no period (undefined division); refused like a short list.
    if (parameters[0] == 0) return 1;
    if (keepCopy) IShotSync::SetScanParameter(parameters);
    const int period = 1000 / parameters[0];
    if (!zetaSetSpeckleOrLaserScanParameter(m_hProjector, period, parameters[1])) return 3;
    m_scanFrameRate = period;
    m_scanSpacePercent = parameters[1];
    LOG(INFO) << "Set Scan Parameter: " << m_scanFrameRate << " " << m_scanSpacePercent;
    return 0;
}

// ---- Modes without scan images, the speckle / laser switch ----------------------------------

int IShotSync::NoScanImages(const std::vector<unsigned char*>& images,
                            const std::vector<int>& widths, const std::vector<int>& heights,
                            const std::vector<int>& channels) {
    if (!images.empty() || !widths.empty() || !heights.empty() || !channels.empty()) return 1;
    return 2;
}

int IShotSync::SwitchSpeckleOrLaser(bool bSpeckle) {
    CriticalSectionGuard lock(m_csProjector);
    if (m_cameras.empty()) return 2;
    if (m_hProjector == nullptr) return 3;
    if (bSpeckle) return zetaScan(m_hProjector, SCAN_SPECKLE_STROBE) ? 0 : 4;
    if (!zetaProject(m_hProjector, PROJECT_LASER_LINES)) return 4;
    // The laser lines are watched live: the mono cameras are triggered continuously.
    zetaStartOrStopVideoTrigger(m_hProjector, TRIGGER_ROUTE_MONO, true);
    return 0;
}

// ---- The board's commands ------------------------------------------------------------------

bool IShotSync::SwitchVideoTriggerOnBoard(int route, bool start) {
    return zetaStartOrStopVideoTrigger(m_hProjector, TriggerRules::BoardRoute(route), start);
}

bool IShotSync::SetBrightnessOnBoard(int percent) {
    return zetaSetProjectorBrightnessPercent(m_hProjector, percent);
}
