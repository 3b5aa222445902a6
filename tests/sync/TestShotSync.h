// A minimal concrete synchroniser for the tests of the IShotSync base: the pure slots do the
// least that keeps the base's behaviour observable, and record that they were called.
#pragma once

#include <atomic>
#include <vector>

#include "sync/IShotSync.h"

class CTestShotSync : public IShotSync {
public:
    CTestShotSync() {
        m_triggerWidth[0] = m_triggerWidth[1] = 1;
        m_triggerVideoPeriod[0] = m_triggerVideoPeriod[1] = 10;
    }
    // The tests own these objects on their stacks: the teardown an owner runs before delete.
    ~CTestShotSync() override { Shutdown(); }

    int SetVideoTriggerPeriod(const int& route, const int& period) override {
        lastRoute = route;
        lastValue = period;
        ++periodCalls;
        return m_hProjector ? 0 : 2;
    }
    int GetVideoTriggerPeriod(const int&, int& period) override {
        period = m_triggerVideoPeriod[0];
        return m_hProjector ? 0 : 2;
    }
    int SetTriggerPulseWidth(const int& route, const int& width) override {
        lastRoute = route;
        lastValue = width;
        ++widthCalls;
        return m_hProjector ? 0 : 2;
    }
    int GetTriggerPulseWidth(const int&, int& width) override {
        width = m_triggerWidth[0];
        return m_hProjector ? 0 : 2;
    }
    int SetTriggerPolarity(const int&, const int&) override { return m_hProjector ? 0 : 2; }
    int GetTriggerPolarity(const int&, int& polarity) override {
        polarity = 0;
        return m_hProjector ? 0 : 2;
    }
    int PowerStrobeUp(const int&, const bool&) override { return m_hProjector ? 0 : 2; }
    int SetStrobeControlByTrigger(const int& route, const bool& on) override {
        ++strobeByTriggerCalls;
        m_strobeControlRoute = route;
        m_bStrobeByTrigger = on;
        return m_hProjector ? strobeByTriggerResult : 2;
    }
    using IShotSync::Scan;
    int Scan(const bool& start) override {
        scanCalls.push_back(start);
        return scanResult;
    }
    int GetScanImages(std::vector<unsigned char*>&, std::vector<int>&, std::vector<int>&,
                      std::vector<int>&) override {
        return 2;
    }
    int ReValidSetting() override { return 0; }

    // Test access to the base's protected state.
    using IShotSync::m_bAutoReconnect;
    using IShotSync::m_bDeviceReady;
    using IShotSync::m_bReconnecting;
    using IShotSync::m_bStrobeByTrigger;
    using IShotSync::m_cameraChannels;
    using IShotSync::m_cameraEvents;
    using IShotSync::m_cameras;
    using IShotSync::m_hProjector;
    using IShotSync::m_hThread;
    using IShotSync::m_hWatchdogEvent;
    using IShotSync::m_hWatchdogThread;
    using IShotSync::m_lastScanOperation;
    using IShotSync::m_projectorPath;
    using IShotSync::m_projectorStatus;
    using IShotSync::m_savedVideoTrigger;
    using IShotSync::m_scanParameters;
    using IShotSync::m_strobeControlRoute;
    using IShotSync::m_syncType;
    using IShotSync::m_triggerVideoPeriod;
    using IShotSync::m_triggerWidth;
    using IShotSync::m_waitHandleCount;
    using IShotSync::m_waitHandles;

    int lastRoute = -1;
    int lastValue = -1;
    int periodCalls = 0;
    int widthCalls = 0;
    int strobeByTriggerCalls = 0;
    int strobeByTriggerResult = 0;
    int scanResult = 0;
    std::vector<bool> scanCalls;
};
