// Test access to more of the IShotSync base than CTestShotSync opens, and small helpers shared by
// the base's lifecycle, board, status, reconnection and firmware tests.
#pragma once

#include <string>
#include <vector>

#include "TestShotSync.h"
#include "zetaVoroSim/SimControl.h"

class CSyncProbe : public CTestShotSync {
public:
    using IShotSync::m_bColorTrigleCopyFromMono;
    using IShotSync::m_bContinueStatusThread;
    using IShotSync::m_bContinueWatchdog;
    using IShotSync::m_bScanning;
    using IShotSync::m_bStatusReadFailed;
    using IShotSync::m_bTriggerWidthDirty;
    using IShotSync::m_bVideoPeriodDirty;
    using IShotSync::m_cameraExposure;
    using IShotSync::m_cameraGain;
    using IShotSync::m_cameraGamma;
    using IShotSync::m_cameraSharpness;
    using IShotSync::m_csProjector;
    using IShotSync::m_firstSetTextureExposure;
    using IShotSync::m_firstSetTextureGain;
    using IShotSync::m_fullImages;
    using IShotSync::m_pDisplayCallBack;
    using IShotSync::m_pScanCallBack;
    using IShotSync::m_pStatusCallBack;
    using IShotSync::m_pStatusUserData;
    using IShotSync::m_textureImages;
    using IShotSync::m_timeStampType;
    using IShotSync::m_triggerLineOrder;
    using IShotSync::ResetColorRoute;
};

namespace zeta::sync::test {

// Board records of the journal as "op args" strings, in order.
inline std::vector<std::string> boardCalls() {
    std::vector<std::string> calls;
    for (const auto& record : zeta::sim::journal()) {
        if (record.dev == "board") calls.push_back(record.op + " " + record.args);
    }
    return calls;
}

// Index of the first message at or after `from` that equals `text` exactly, or -1.
inline int indexOfExact(const std::vector<std::string>& messages, const std::string& text,
                        int from = 0) {
    for (int i = from; i < static_cast<int>(messages.size()); ++i) {
        if (messages[i] == text) return i;
    }
    return -1;
}

}  // namespace zeta::sync::test
