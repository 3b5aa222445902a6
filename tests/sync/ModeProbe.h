// ModeProbe<Mode>: a scan mode's synchroniser with the base's state open to the tests, for the
// typed suites that run one shared behaviour over every mode that uses it.
//
// The tests own these objects on their stacks; the destructor runs the teardown every owner runs
// before delete.
#pragma once

#include "sync/IShotSync.h"

template <class Mode>
class ModeProbe : public Mode {
public:
    ~ModeProbe() override { this->Shutdown(); }

    using IShotSync::m_bScanning;
    using IShotSync::m_bScanWithMonoStrobeLight;
    using IShotSync::m_bScanWithTexture;
    using IShotSync::m_bStrobeByTrigger;
    using IShotSync::m_bStrobePowered;
    using IShotSync::m_bTriggerWidthDirty;
    using IShotSync::m_bVideoPeriodDirty;
    using IShotSync::m_hProjector;
    using IShotSync::m_projectorBrightness;
    using IShotSync::m_savedVideoTrigger;
    using IShotSync::m_scanColorDelayTime;
    using IShotSync::m_scanColorSegregationCount;
    using IShotSync::m_scanFrameRate;
    using IShotSync::m_scanParameters;
    using IShotSync::m_scanSpacePercent;
    using IShotSync::m_strobeControlRoute;
    using IShotSync::m_syncType;
    using IShotSync::m_timeStampArea;
    using IShotSync::m_triggerPolarity;
    using IShotSync::m_triggerVideoPeriod;
    using IShotSync::m_triggerWidth;
};
