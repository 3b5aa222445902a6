// IShotSync: status thread, watchdog, reconnection and CloseDeviceCamera.
//
// The status thread polls the board every 200 ms under m_csProjector and reports each reading to
// the host's status callback under m_csStatusCallBack. The watchdog only sleeps: its supervision
// step is switched off (kWatchdogSupervision) and no automatic reconnection ever happens.
// Reconnection (ReConnectDeviceEx, on the caller's thread) reopens the board and the cameras in
// place and restores what the host had set; m_bReconnecting keeps the status thread idle meanwhile.
#include <glog/logging.h>

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/Console.h"
#include "platform/CriticalSectionGuard.h"
#include "platform/Sleep.h"
#include "platform/TickCount.h"
#include "platform/TraceBuffer.h"
#include "platform/WaitForEvents.h"
#include "sync/HostCallbackScope.h"
#include "sync/IShotSync.h"
#include "zetaVoroDLPdev.h"

using zeta::platform::consolePrintf;
using zeta::platform::CriticalSectionGuard;

namespace {

// The watchdog's supervision step (wait for the board's and the cameras' signs of life, reconnect
// when they stop). Switched off in this system and kept off: with it off, EnableAutoReconnect only
// records what to watch.
constexpr bool kWatchdogSupervision = false;

// Value reported for every status field when the board could not be read.
constexpr unsigned long kStatusUnreadable = 65535;
// Value reported as the second status value while the watchdog holds the device as not ready.
constexpr unsigned long kStatusNotReady = 65534;

// Sleeps `ms` milliseconds in short slices and returns early once `keepRunning` is cleared, so that
// a stop (flag cleared, then an unbounded join) does not wait for the rest of a cycle.
void sleepWhileRunning(std::uint32_t ms, const std::atomic<bool>& keepRunning) {
    constexpr std::uint64_t kSliceMs = 10;
    const std::uint64_t start = zeta::platform::tickCount64Ms();
    while (keepRunning) {
        const std::uint64_t elapsed = zeta::platform::tickCount64Ms() - start;
        if (elapsed >= ms) break;
        zeta::platform::sleepMs(static_cast<std::uint32_t>(std::min(kSliceMs, ms - elapsed)));
    }
}

// Pattern code shown again after a reconnection, from the last good status value (1..9, 20, 24).
int patternCodeOfStatus(int status) {
    switch (status) {
        case 1:
            return 1;
        case 2:
            return 3;
        case 3:
            return 4;
        case 4:
            return 5;
        case 5:
            return 9;
        case 6:
            return 10;
        case 7:
            return 11;
        case 8:
            return 8;
        case 9:
            return 2;
        case 20:
            return 7;
        case 24:
            return 6;
        default:
            return 3;
    }
}

}  // namespace

// ---- Slot 82 ----------------------------------------------------------------------------------

int IShotSync::QueryCurrentStatus(unsigned long& first, unsigned long& second,
                                  unsigned long& stateHigh, unsigned long& stateLow, bool& flag) {
    first = second = stateHigh = stateLow = 0;
    flag = false;
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    unsigned char byte1 = 0;
    unsigned char byte2 = 0;
    unsigned char state = 0;
    bool deviceFlag = false;
    if (!zetaVoroDLPdev::zetaQueryCurrentStatus(m_hProjector, byte1, byte2, state, deviceFlag)) {
        return 2;
    }
    if ((state & 0xC0) != 0) {
        // Error bits: only the two-bit field carries the error mark.
        stateHigh = kStatusUnreadable;
        return 0;
    }
    first = byte1;
    second = byte2;
    stateHigh = (state >> 4) & 0x3;
    stateLow = state & 0x7;
    flag = deviceFlag;
    return 0;
}

// ---- Slot 6 and the status thread ---------------------------------------------------------------

int IShotSync::SetStatusCallBackFunction(zetaVoroSync::StatusCallBack callBack, void* pUserData) {
    LOG(INFO) << "pCallBack=" << reinterpret_cast<const void*>(callBack)
              << " m_bContinueStatusThread=" << m_bContinueStatusThread.load();
    if (m_hThread) {
        // The thread runs: replace the pair between two of its rounds.
        CriticalSectionGuard callBackLock(m_csStatusCallBack);
        m_pStatusCallBack = callBack;
        m_pStatusUserData = pUserData;
        return 0;
    }

    CriticalSectionGuard lock(m_csProjector);
    zetaVoroSync::StatusCallBack oldCallBack = nullptr;
    void* oldUserData = nullptr;
    {
        CriticalSectionGuard callBackLock(m_csStatusCallBack);
        oldCallBack = m_pStatusCallBack;
        oldUserData = m_pStatusUserData;
        m_pStatusCallBack = callBack;
        m_pStatusUserData = pUserData;
    }
    m_bContinueStatusThread = true;
    // The thread starts even with a null callback; it then polls nothing until one is set.
    auto thread = std::make_unique<zeta::platform::Thread>();
    if (!thread->start([this] { return StatusThreadFun(); })) {
        m_bContinueStatusThread = false;
        CriticalSectionGuard callBackLock(m_csStatusCallBack);
        m_pStatusCallBack = oldCallBack;
        m_pStatusUserData = oldUserData;
        return 2;
    }
    m_hThread = std::move(thread);
    return 0;
}

// Runs on the status thread, from SetStatusCallBackFunction until ExitSync (or the destructor)
// clears m_bContinueStatusThread.
// Locks per cycle: m_csProjector for the whole poll; inside it m_csStatusCallBack for reading the
// callback pair and for the callback itself.
unsigned IShotSync::StatusThreadFun() {
    for (;;) {
        m_csProjector.enter();
        if (!m_bContinueStatusThread) {
            consolePrintf("Leave status check lock!!!!!!!!!!!!!!!!!\n");
            LOG(INFO) << "StatusThreadFun m_bContinueStatusThread="
                      << m_bContinueStatusThread.load();
            m_csProjector.leave();
            break;
        }

        bool hasCallBack = false;
        {
            CriticalSectionGuard callBackLock(m_csStatusCallBack);
            hasCallBack = m_pStatusCallBack != nullptr;
        }
        // A reconnection that began while this thread slept must not see a poll: it reopens the
        // board under this same lock, between its phases.
        if (hasCallBack && !m_bReconnecting) {
            unsigned long value1 = 0;
            unsigned long value2 = 0;
            unsigned long value3 = 0;
            unsigned long value4 = 0;
            bool flag = false;
            // Slot 82 has no override; the qualified call keeps this thread off the vtable while
            // a subclass is being destroyed.
            if (IShotSync::QueryCurrentStatus(value1, value2, value3, value4, flag) != 0) {
                value1 = value2 = value3 = value4 = kStatusUnreadable;
                flag = false;
                m_bStatusReadFailed = true;
                if (!m_bDeviceReady) value2 = kStatusNotReady;
            } else {
                m_bStatusReadFailed = false;
                if (m_hWatchdogEvent) m_hWatchdogEvent->set();
                if (value1 != kStatusUnreadable && value3 == kStatusUnreadable) {
                    // Error bits: no report this cycle, the next poll follows in 200 ms.
                    m_csProjector.leave();
                    sleepWhileRunning(200, m_bContinueStatusThread);
                    continue;
                }
                if (!m_bDeviceReady) value2 = kStatusNotReady;
                m_projectorStatus = static_cast<int>(value1);
            }
            CriticalSectionGuard callBackLock(m_csStatusCallBack);
            if (m_pStatusCallBack != nullptr) {
                const CHostCallbackScope scope(this, CHostCallbackScope::Kind::Status);
                const void* const context = m_pStatusUserData;
                m_pStatusCallBack(context, value2, value3, value4, flag);
            }
        }
        m_csProjector.leave();

        while (m_bReconnecting && m_bContinueStatusThread) {
            sleepWhileRunning(300, m_bContinueStatusThread);
        }
        sleepWhileRunning(200, m_bContinueStatusThread);
    }
    LOG(INFO) << "Exit Status Thread";
    consolePrintf("Exit Status Thread\n");
    return 0;
}

// ---- Slot 8 and the watchdog ------------------------------------------------------------------

int IShotSync::EnableAutoReconnect(bool bEnable, bool bWatchProjector,
                                   const std::vector<bool>& watchCameras) {
    m_waitHandleCount = 0;
    m_waitHandles.fill(nullptr);
    if (bWatchProjector && m_hWatchdogEvent) {
        m_waitHandles[m_waitHandleCount++] = m_hWatchdogEvent.get();
    }
    const std::size_t n = std::min(watchCameras.size(), m_cameraEvents.size());
    for (std::size_t i = 0; i < n; ++i) {
        if (!watchCameras[i] || !m_cameraEvents[i]) continue;
        // The list of watched events has kMaxWaitHandles entries; the cameras beyond it are not
        // watched (writing past the array would be undefined).
        if (m_waitHandleCount >= kMaxWaitHandles) break;
        zeta::platform::Event* event = m_cameraEvents[i].get();
        const auto taken = m_waitHandles.begin() + m_waitHandleCount;
        if (std::find(m_waitHandles.begin(), taken, event) != taken) continue;
        m_waitHandles[m_waitHandleCount++] = event;
    }
    m_bAutoReconnect = bEnable;
    return 0;
}

// Runs on the watchdog thread, from the constructor until ExitSync or the destructor clears
// m_bContinueWatchdog. Takes no lock while its supervision step is off (with it on, the
// reconnection it calls takes m_csProjector, then the camera threads' locks).
unsigned IShotSync::WatchdogThreadFun() {
    while (m_bContinueWatchdog) {
        sleepWhileRunning(300, m_bContinueWatchdog);
        if (!m_bContinueWatchdog) break;

        if constexpr (kWatchdogSupervision) {
            if (!m_bAutoReconnect || m_hWatchdogEvent == nullptr) continue;
            // The board shows life through the status thread's good polls.
            bool projectorAlive = zeta::platform::waitForEvent(*m_hWatchdogEvent, 1000) ==
                                  zeta::platform::kWaitObject0;
            if (!projectorAlive) {
                consolePrintf("Check project status failed first time!\n");
                projectorAlive = zeta::platform::waitForEvent(*m_hWatchdogEvent, 1000) ==
                                 zeta::platform::kWaitObject0;
                if (!projectorAlive) consolePrintf("Check project status failed second time!\n");
            }
            m_hWatchdogEvent->reset();
            m_bProjectorChecked = projectorAlive;

            // The cameras show life through the display frame handler's events.
            bool camerasAlive = true;
            if (m_waitHandleCount > 0) {
                const std::span<zeta::platform::Event* const> watched(
                    m_waitHandles.data(), static_cast<std::size_t>(m_waitHandleCount));
                camerasAlive = zeta::platform::waitForEvents(watched, true, 2000) ==
                               zeta::platform::kWaitObject0;
                for (auto* event : watched) event->reset();
            }
            m_bCamerasChecked = camerasAlive;
            if (projectorAlive && camerasAlive) continue;

            m_bAutoReconnecting = true;
            m_bDeviceReady = false;
            int ret = ReConnectDeviceEx();
            ZETA_TRACE_TMPBUF("End Reconnect Device, ret = %d\n", ret);
            if (ret != 0) {
                ret = ReConnectDeviceEx();
                ZETA_TRACE_TMPBUF("End Reconnect Device Second time, ret = %d\n", ret);
            }
            if (ret != 0) {
                ret = ReConnectDeviceEx();
                ZETA_TRACE_TMPBUF("End Reconnect Device Third time, ret = %d\n", ret);
            }
            if (ret != 0) ZETA_TRACE_TMPBUF("\nAuto reconnect time out!\n");
            m_bDeviceReady = true;
            m_bAutoReconnecting = false;
        }
    }
    LOG(INFO) << "thread exit";
    return 0;
}

// ---- Reconnection ---------------------------------------------------------------------------

int IShotSync::ReConnectDeviceEx() {
    m_bReconnecting = true;
    // A new connection: the first exposure and gain given to a texture camera take effect again.
    m_firstSetTextureExposure = true;
    m_firstSetTextureGain = true;

    ReInitializeCamera();
    int ret = ReConnectDevice();
    LOG(INFO) << "ReConnectDeviceEx ret=" << ret;
    if (ret == 1) {
        m_bReconnecting = false;
        return 1;
    }

    if (ret == 3) {
        consolePrintf("Start Send Restart Report Command to Device");
        LOG(INFO) << "Start Send Restart Report Command to Device";
        char restart[16] = {};
        restart[0] = 2;
        restart[1] = static_cast<char>(0xBB);
        if (SendReportCommand(restart, 2)) {
            consolePrintf("Send Restart Report Command to Device");
            LOG(INFO) << "Send Restart Report Command to Device";
            // The board restarts after the report command.
            zeta::platform::sleepMs(6000);
            ret = ReConnectDevice();
            LOG(INFO) << "1ReConnectDevice ret=" << ret;
            consolePrintf("End Reconnect Device Second time, ret = %d\n", ret);
        }
    }

    for (int retry = 0; ret == 5 && retry < 2; ++retry) {
        ReInitializeCamera();
        ret = ReConnectDevice();
        LOG(INFO) << "ReConnectDevice ret=" << ret;
    }

    m_bReconnecting = false;
    LOG(INFO) << "ReConnectDeviceEx ret=" << ret;
    return ret;
}

void IShotSync::ReInitializeCamera() {
    CriticalSectionGuard lock(m_csProjector);
    for (auto* camera : m_cameras) {
        if (camera == nullptr) continue;
        // Paused by this thread; ReConnectDevice resumes each thread whose camera reopens.
        camera->PauseThread();
        camera->ReleaseCamera();
        LOG(INFO) << "ReInitializeCamera success";
        consolePrintf("ReInitializeCamera success\n");
    }
    for (auto* camera : m_cameras) {
        // A null selector makes the camera thread create its handle from its stored serial.
        if (camera != nullptr) camera->InializeCamera(nullptr);
    }
}

int IShotSync::CloseDeviceCamera() {
    CriticalSectionGuard lock(m_csProjector);
    for (auto* camera : m_cameras) {
        if (camera == nullptr) continue;
        camera->PauseThread();
        camera->ReleaseCamera();
        camera->ResumeThread();
        // The printed text differs from the logged one on purpose.
        LOG(INFO) << "ReleaseCamera success";
        consolePrintf("ReInitializeCamera success\n");
    }
    return 0;
}

int IShotSync::ReConnectDevice() {
    consolePrintf("Start Reconnect Device Function");
    LOG(INFO) << "Start Reconnect Device Function";

    // Phase 1: the board.
    m_csProjector.enter();
    ExitProjector();
    const char* const path = m_projectorPath.c_str();
    if (InitProjector(path) != 0) {
        m_csProjector.leave();
        consolePrintf("Init Projector First time failed");
        LOG(INFO) << "Init Projector First time failed";
        return 1;
    }
    LOG(INFO) << "Init Projector First time success";
    m_csProjector.leave();

    if (!m_scanParameters.empty()) {
        const std::vector<int> parameters = m_scanParameters;
        SetScanParameter(parameters);
    }

    // Phase 2: strobe, cameras and the restored state, under the main lock to the end.
    CriticalSectionGuard lock(m_csProjector);
    // Whether the strobe followed the trigger before this reconnection switched it off.
    const bool strobeWasByTrigger = m_bStrobeByTrigger;
    LOG(INFO) << "m_strobeControlRoute=" << m_strobeControlRoute;
    const int strobeRoute = m_strobeControlRoute;
    if (SetStrobeControlByTrigger(strobeRoute, false) == 3) {
        LOG(INFO) << "SetStrobeControlByTrigger failed.";
        return 3;
    }
    LOG(INFO) << "SetStrobeControlByTrigger success";

    int cameraCount = 0;
    int failedCount = 0;
    for (std::size_t k = 0; k < m_cameras.size(); ++k) {
        CPhysicalCameraThread* camera = m_cameras[k];
        if (camera == nullptr) continue;
        ++cameraCount;
        camera->PauseThread();
        if (!camera->ReOpenCamera()) {
            // The thread stays paused: it has no camera to snap.
            LOG(INFO) << "ReOpenCamera failed";
            ++failedCount;
            continue;
        }
        LOG(INFO) << "ReOpenCamera success";
        if (k < m_cameraExposure.size() && m_cameraExposure[k] != 0) {
            camera->SetExposureTime(m_cameraExposure[k]);
        }
        if (k < m_cameraGain.size() && m_cameraGain[k] > 0) camera->SetGain(m_cameraGain[k]);
        if (k < m_cameraGamma.size() && m_cameraGamma[k] >= 0) camera->SetGamma(m_cameraGamma[k]);
        if (k < m_cameraSharpness.size() && m_cameraSharpness[k] > 0) {
            camera->SetSharpness(m_cameraSharpness[k]);
        }
        camera->StartCamera();
        camera->ResumeThread();
    }

    for (int route = 0; route < 2; ++route) {
        if (m_triggerWidth[route] >= 0) {
            LOG(INFO) << "m_triggerWidth[i]=" << m_triggerWidth[route]
                      << "m_bTriggerWidthDirty=" << m_bTriggerWidthDirty;
            if (m_bTriggerWidthDirty) {
                const int width = m_triggerWidth[route];
                SetTriggerPulseWidth(route, width);
            }
        }
        if (m_triggerVideoPeriod[route] >= 0) {
            LOG(INFO) << "m_triggerVideoPeriod[i]=" << m_triggerVideoPeriod[route]
                      << "m_bVideoPeriodDirty=" << m_bVideoPeriodDirty;
            if (m_bVideoPeriodDirty) {
                const int period = m_triggerVideoPeriod[route];
                SetVideoTriggerPeriod(route, period);
            }
        }
    }

    int result = 0;
    LOG(INFO) << "Restart camera success";
    if (!ResetCameraTimeStamp(-1)) {
        LOG(INFO) << "ResetCameraTimeStamp failed";
        result = 5;
    } else {
        LOG(INFO) << "ResetCameraTimeStamp success";
    }

    // Restore what the board showed (the last good status value) or the scan that was running.
    const int status = m_projectorStatus;
    const int scanState = m_lastScanOperation;
    auto restartScan = [this, strobeWasByTrigger](bool start) {
        const int ret = Scan(start);
        if (ret == 0) m_lastScanOperation = 0;
        if (start && strobeWasByTrigger) {
            const int route = m_strobeControlRoute;
            SetStrobeControlByTrigger(route, true);
            EnableContinueTrigger(route, true);
        }
        return ret;
    };
    int restoreResult = 0;
    if (status == 0) {
        if (scanState == 1) restoreResult = restartScan(true);
    } else if (status > 24 || status < 0 || status == 16) {
        // Nothing to restore.
    } else if ((status >= 1 && status <= 9) || status == 20) {
        if (scanState == 1) {
            restoreResult = restartScan(true);
        } else {
            const int pattern = patternCodeOfStatus(status);
            restoreResult = Project(pattern);
        }
    } else if (status == 24) {
        const int pattern = patternCodeOfStatus(status);
        restoreResult = Project(pattern);
    } else {
        restoreResult = restartScan(scanState != 2);
    }

    // Triggers and strobe as the host left them, unless a scan of a mode other than stripe holds
    // them.
    int triggerResult = 0;
    if (!(m_bScanning && m_syncType != 1)) {
        if (strobeWasByTrigger) {
            const int route = m_strobeControlRoute;
            SetStrobeControlByTrigger(route, true);
        }
        const int lineOrder = m_triggerLineOrder;
        triggerResult = EnableContinueTrigger(lineOrder, true);
    }

    // Only a partial failure of the cameras reports 5 (kept as the system does it).
    if (failedCount > 0 && failedCount < cameraCount) result = 5;
    if (restoreResult != 0) result = restoreResult;
    if (triggerResult != 0) result = triggerResult;
    return result;
}
