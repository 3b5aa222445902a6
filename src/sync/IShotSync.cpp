// IShotSync: construction, destruction, board open/close and the board slots shared by every scan
// mode. Every call on the board handle is made while m_csProjector is held, and m_hProjector is
// only written under it, so the status thread (which polls the board under the same lock) never
// sees a handle being opened or closed.
#include "sync/IShotSync.h"

#include <glog/logging.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <span>
#include <string>

#include "platform/CriticalSectionGuard.h"
#include "platform/Sleep.h"
#include "platform/TickCount.h"
#include "platform/TraceBuffer.h"
#include "platform/WaitForEvents.h"
#include "sync/TriggerRules.h"
#include "zetaVoroDLPdev.h"

using zeta::platform::CriticalSectionGuard;
using namespace zetaVoroDLPdev;

namespace {

// The synchroniser's pattern codes 0..12 and the board's PROJECTTYPE they show. Callers (the
// exported Project, the snap operations, the reconnection) already speak pattern codes, so this
// second translation stays separate from the public one.
constexpr PROJECTTYPE kDevicePatternOfCode[13] = {
    PROJECT_OFF,           PROJECT_AIM,         PROJECT_STRIPE, PROJECT_WHITE,
    PROJECT_TEXTURE_WHITE, PROJECT_LASER_LINES, PROJECT_GREY,   PROJECT_SPECKLE,
    PROJECT_CHECKERBOARD,  PROJECT_RED,         PROJECT_GREEN,  PROJECT_BLUE,
    PROJECT_DOT_GRID,
};

// The first three bytes of a raw command as numbers separated by single blanks. A command shorter
// than three bytes (or none at all) shows only the bytes it has: reading past it would be
// undefined.
std::string firstBytesOf(const char* cmd, int len) {
    const int shown = cmd == nullptr ? 0 : std::clamp(len, 0, 3);
    std::string text;
    for (int i = 0; i < shown; ++i) {
        if (i > 0) text += ' ';
        text += std::to_string(static_cast<unsigned char>(cmd[i]));
    }
    return text;
}

}  // namespace

// ---- Construction and destruction -----------------------------------------------------------

IShotSync::IShotSync() {
    // The four critical sections are members and exist before this body runs (created in
    // declaration order; the order of creation has no effect).
    m_cameras.clear();
    m_pScanFullCallBack = nullptr;
    m_cameraExposure.clear();
    m_cameraGain.clear();
    m_cameraGamma.clear();
    m_cameraSharpness.clear();

    // The watchdog runs from construction on, before any board is open.
    m_bContinueWatchdog = true;
    m_hWatchdogEvent = std::make_unique<zeta::platform::Event>(true, false);
    m_hWatchdogThread = std::make_unique<zeta::platform::Thread>();
    m_hWatchdogThread->start([this] { return WatchdogThreadFun(); });

    m_cameraEvents.clear();
}

IShotSync::~IShotSync() {
    // The owner ran Shutdown() (Destroy() does): past this point the scan mode's parts are gone,
    // and a grab thread still calling its frame handler would use freed memory.
    DCHECK(m_bShutDown.load()) << "IShotSync deleted without Shutdown()";
    LOG(INFO) << "~IShotSync";
    StopWatchdog();

    LOG(INFO) << "~IShotSync 1";
    if (m_hThread) {
        m_bContinueStatusThread = false;
        m_hThread->join();
        m_hThread.reset();
    }

    // The display frame handler sets the camera events from the grab threads: the grab loops end
    // before the events are closed (closing them first would leave a running loop with a closed
    // event). A reconnection whose camera failed to reopen leaves that thread paused by this
    // object; resuming it first (a no-op for a running thread) lets StopThread join it.
    for (auto* camera : m_cameras) {
        if (camera == nullptr) continue;
        camera->ResumeThread();
        camera->StopThread();
    }

    for (auto& event : m_cameraEvents) event.reset();
    m_cameraEvents.clear();

    DeleteCameraThreads();

    // Entering each lock once makes the destructor wait for any holder to finish; the sections
    // themselves are members and go with the object.
    LOG(INFO) << "~IShotSync 2";
    m_csCallBack.enter();
    m_csCallBack.leave();
    LOG(INFO) << "~IShotSync 3";
    m_csFullCallBack.enter();
    m_csFullCallBack.leave();
    LOG(INFO) << "~IShotSync 4";
    m_csProjector.enter();
    m_csProjector.leave();
    LOG(INFO) << "~IShotSync 5";
    m_csImageGroup.enter();
    m_csImageGroup.leave();

    // The group records and their pixel buffers are owned here: records with new, pixels with
    // malloc (see the group matchers).
    LOG(INFO) << "~IShotSync 6";
    for (auto* image : m_fullImages) {
        if (image == nullptr) continue;
        std::free(image->data);
        delete image;
    }
    m_fullImages.clear();
    for (auto* image : m_textureImages) {
        if (image == nullptr) continue;
        std::free(image->data);
        delete image;
    }
    m_textureImages.clear();

    LOG(INFO) << "~IShotSync 7";
}

void IShotSync::Shutdown() {
    if (m_bShutDown.exchange(true)) return;
    RequestShutdown();
    ExitSync();
    DetachFrameHandlers();
    // ExitSync stops the watchdog only when a board is open; an object whose board never opened
    // must not keep it either.
    StopWatchdog();
}

void IShotSync::Destroy(IShotSync* sync) {
    if (sync == nullptr) return;
    sync->Shutdown();
    delete sync;
}

void IShotSync::Retire() {
    Shutdown();
    StopCameraThreads();
    DeleteCameraThreads();
}

void IShotSync::RequestShutdown() {
    m_bShutdownRequested = true;
}

void IShotSync::DeleteCameraThreads() {
    CriticalSectionGuard lock(m_csProjector);
    for (auto& camera : m_cameras) {
        if (camera == nullptr) continue;
        camera->StopThread();
        camera->CloseCamera();
        delete camera;
        camera = nullptr;
    }
    m_cameras.clear();
}

void IShotSync::SleepUnlessShutdown(std::uint32_t ms) const {
    const std::uint64_t end = zeta::platform::tickCount64Ms() + ms;
    while (!IsShutdownRequested()) {
        const std::uint64_t now = zeta::platform::tickCount64Ms();
        if (now >= end) return;
        zeta::platform::sleepMs(static_cast<std::uint32_t>(std::min<std::uint64_t>(end - now, 10)));
    }
}

bool IShotSync::WaitAllUnlessShutdown(const std::vector<zeta::platform::Event*>& events,
                                      std::uint32_t timeoutMs) const {
    // A wait for all events in steps is the same wait as one long one: a step that times out
    // consumes no event.
    const std::uint64_t end = zeta::platform::tickCount64Ms() + timeoutMs;
    for (;;) {
        const std::uint64_t now = zeta::platform::tickCount64Ms();
        const std::uint32_t step =
            static_cast<std::uint32_t>(std::min<std::uint64_t>(now < end ? end - now : 0, 20));
        const int result = zeta::platform::waitForEvents(
            std::span<zeta::platform::Event* const>(events), true, step);
        if (result == zeta::platform::kWaitObject0) return true;
        if (result != zeta::platform::kWaitTimeout) return false;
        if (IsShutdownRequested() || zeta::platform::tickCount64Ms() >= end) return false;
    }
}

void IShotSync::StopCameraThreads() {
    // The frame handlers never take m_csProjector, so joining the grab threads under it is safe.
    CriticalSectionGuard lock(m_csProjector);
    for (auto* camera : m_cameras) {
        if (camera == nullptr) continue;
        // A thread this thread left paused (a camera that did not reopen) must run to see its
        // run flag cleared.
        camera->ResumeThread();
        camera->StopThread();
    }
}

void IShotSync::DetachFrameHandlers() {
    CriticalSectionGuard lock(m_csProjector);
    for (auto* camera : m_cameras) {
        if (camera == nullptr) continue;
        camera->SetScanCallBackFunction(nullptr, nullptr);
        camera->DisplayCallBackFunction(nullptr, nullptr);
    }
}

void IShotSync::StopWatchdog() {
    m_bContinueWatchdog = false;
    if (m_hWatchdogThread) {
        if (m_hWatchdogEvent) m_hWatchdogEvent->set();
        m_hWatchdogThread->join();
    }
    // The status thread sets the event under m_csProjector; closing it under the same lock keeps
    // a poll that is still running from touching a closed event.
    {
        CriticalSectionGuard lock(m_csProjector);
        m_hWatchdogEvent.reset();
    }
    // The thread object is released once joined (the system left its handle open; a joined
    // Thread holds no system resource, and keeping it would only leak the object).
    m_hWatchdogThread.reset();
}

// ---- Listener slots ---------------------------------------------------------------------------

void IShotSync::onSnapFailed(int camID, int colorMode) {
    LOG(INFO) << "onSnapFailed camID=" << camID << "colorMode =" << colorMode;
    LOG(INFO) << "onSnapFailed end";
}

void IShotSync::onCameraThreadNotify(int /*notify*/) {}

bool IShotSync::IsSecondCallBackEnabled() {
    return true;
}

// ---- Lifecycle and board ----------------------------------------------------------------------

int IShotSync::ExitSync() {
    LOG(INFO) << "IShotSync::ExitSync m_hThread=" << static_cast<const void*>(m_hThread.get())
              << " m_bReconnecting=" << m_bReconnecting.load()
              << "m_bContinueStatusThread=" << m_bContinueStatusThread.load();
    if (m_hThread) {
        m_bReconnecting = false;
        SetStatusCallBackFunction(nullptr, nullptr);
        m_bContinueStatusThread = false;
        LOG(INFO) << "IShotSync::ExitSync WaitForSingleObject before";
        m_hThread->join();
        m_hThread.reset();
    }

    LOG(INFO) << "IShotSync::ExitSync m_hProjector=" << m_hProjector;
    if (m_hProjector != nullptr) {
        // No further preview or scan frame reaches the application.
        SetDisplayCallBackFunction(nullptr, nullptr);
        SetScanCallBackFunction(nullptr, nullptr);
        if (m_hWatchdogThread) StopWatchdog();

        CriticalSectionGuard lock(m_csProjector);
        LOG(INFO) << "IShotSync::ExitSync zetaStartOrStopVideoTrigger";
        const TRIGGERROUTE both = TRIGGER_ROUTE_BOTH;
        const bool stop = false;
        zetaStartOrStopVideoTrigger(m_hProjector, both, stop);
        LOG(INFO) << "IShotSync::ExitSync zetaProject";
        const PROJECTTYPE nothing = PROJECT_OFF;
        zetaProject(m_hProjector, nothing);
        LOG(INFO) << "IShotSync::ExitSync zetaExitHidDev";
        zetaExitHidDev(m_hProjector);
        m_hProjector = nullptr;
    }

    LOG(INFO) << "IShotSync::ExitSync end";
    m_bScanning = false;
    return 0;
}

int IShotSync::ExitProjector() {
    LOG(INFO) << "IShotSync::ExitProjector 0";
    {
        CriticalSectionGuard lock(m_csProjector);
        if (m_hProjector != nullptr) {
            zetaExitHidDev(m_hProjector);
            m_hProjector = nullptr;
        }
    }
    LOG(INFO) << "IShotSync::ExitProjector 1";
    return 0;
}

int IShotSync::IsConnectOnU3(const char* cameraName, bool& onU3) {
    ZETA_TRACE_TMPBUF("Start Function CPhysicalCameraThread::IsConnectOnU3\n");
    // A null name asks about no type at all (the camera layer then finds no camera).
    const int result =
        CPhysicalCameraThread::IsConnectOnU3(cameraName != nullptr ? cameraName : "", onU3);
    ZETA_TRACE_TMPBUF("End Function CPhysicalCameraThread::IsConnectOnU3\n");
    return result;
}

int IShotSync::InitProjector(const char* const& path) {
    LOG(INFO) << "Enter InitProjector In IShotSync";
    if (path == nullptr) return 1;
    CriticalSectionGuard lock(m_csProjector);
    if (!zetaInitHidDev(m_hProjector, path)) {
        LOG(INFO) << "IShotSync::InitProjector Init Failed";
        return 2;
    }
    // The reconnection reopens the board with this path.
    m_projectorPath = path;
    return 0;
}

int IShotSync::SetProjectorBrightness(const int& percent) {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    if (!SetBrightnessOnBoard(percent)) return 3;
    // The laser modes send it again after a reconnection.
    m_projectorBrightness = percent;
    return 0;
}

int IShotSync::GetProjectorBrightness(int& percent) {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    return zetaQueryProjectorBrightnessPercent(m_hProjector, percent) ? 0 : 3;
}

// ---- Triggers, strobes, projection ----------------------------------------------------------

int IShotSync::EnableContinueTrigger(const int& route, const bool& bEnable) {
    const TRIGGERROUTE tmpLineOrder = TriggerRules::BoardRoute(route);
    LOG(INFO) << "EnableContinueTrigger tmpLineOrder=" << static_cast<int>(tmpLineOrder)
              << " bEnable=" << bEnable;
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    if (!zetaStartOrStopVideoTrigger(m_hProjector, tmpLineOrder, bEnable)) return 3;
    // Both routes started together: the colour frames pair up with the mono frames.
    m_bColorTrigleCopyFromMono = (tmpLineOrder == TRIGGER_ROUTE_BOTH && bEnable);
    if (bEnable) m_triggerLineOrder = tmpLineOrder;
    return 0;
}

int IShotSync::PushSingleTrigger(const int& route) {
    const TRIGGERROUTE tmpLineOrder = TriggerRules::BoardRoute(route);
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    return zetaOutputSingleTrigger(m_hProjector, tmpLineOrder) ? 0 : 3;
}

int IShotSync::Project(const int& patternCode) {
    if (patternCode < 0 || patternCode > 12) return 1;
    const PROJECTTYPE pattern = kDevicePatternOfCode[patternCode];
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    return zetaProject(m_hProjector, pattern) ? 0 : 3;
}

int IShotSync::SetDistanceIndicate(const int& state) {
    const DISTANCEINDICATE indicate =
        (state >= 1 && state <= 3) ? static_cast<DISTANCEINDICATE>(state) : DISTANCE_INDICATE_OFF;
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    return zetaSetDistanceIndicate(m_hProjector, indicate) ? 0 : 3;
}

int IShotSync::EnableZoomFunction(const bool& bEnable) {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    return zetaOpenOrCloseZoomFunction(m_hProjector, bEnable) ? 0 : 3;
}

int IShotSync::EnableIRProjectorAndLaser(const bool& /*bIRProjector*/, const bool& /*bLaser*/) {
    // Only the dual-laser mode has the IR projector and laser pair.
    return 1;
}

int IShotSync::ResetColorModule() {
    // Every scan mode overrides this with ResetColorRoute(); the base has no colour module.
    return 1;
}

int IShotSync::ResetColorRoute() {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    return zetaResetColorRoute(m_hProjector) ? 0 : 3;
}

int IShotSync::EnterFixScanFastMode() {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    return zetaEnterFixScanFastMode(m_hProjector) ? 0 : 3;
}

int IShotSync::EnterFixScanFreeProjectMode() {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    return zetaEnterFixScanFreeProjectMode(m_hProjector) ? 0 : 3;
}

// ---- Time stamps, scans, miscellaneous ----------------------------------------------------------

bool IShotSync::ResetCameraTimeStamp(const int& route) {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return false;
    return zetaResetCameraTimeStamp(m_hProjector, route);
}

bool IShotSync::SpecifiedTimeStampType(const int& type) {
    m_timeStampType = (type == 1) ? 1 : 0;
    CriticalSectionGuard lock(m_csProjector);
    bool anyCamera = false;
    for (auto* camera : m_cameras) {
        if (camera == nullptr) continue;
        camera->SpecifiedCameraTimeStampSource(m_timeStampType);
        anyCamera = true;
    }
    return anyCamera;
}

int IShotSync::ResetBuffer() {
    return 0;
}

int IShotSync::SetScanParameter(const std::vector<int>& parameters) {
    // Kept so that a reconnection can hand the same list to the mode again.
    m_scanParameters = parameters;
    return 0;
}

int IShotSync::Scan(const bool& /*start*/, int /*count*/) {
    return 0;
}

int IShotSync::stopSequenceScan() {
    return 0;
}

int IShotSync::SpeckleOrLaser(const bool& /*bSpeckle*/) {
    // Only the speckle modes can switch; the exported layer refuses the others before calling.
    return 4;
}

bool IShotSync::GetFirewareVersion(std::string& version) {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return false;
    return zetaQueryProjectorFirewareVersion(m_hProjector, version);
}

int IShotSync::SetLastScanOperation(int operation) {
    m_lastScanOperation = operation;
    return 0;
}

int IShotSync::startSequenceScan(int /*nSequenceCount*/) {
    return 0;
}

int IShotSync::ResetVideoWidthHeight(int width, int height) {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    if (!zetaSetVideoWidthHeight(m_hProjector, width, height)) return 2;
    for (auto* camera : m_cameras) {
        if (camera != nullptr) camera->SetResolution(width, height);
    }
    return 0;
}

int IShotSync::SetMonoColorSpan(int nSpan) {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    return zetaSetMonoColorSpan(m_hProjector, nSpan) ? 0 : 2;
}

int IShotSync::SetStrobeLightingTime(const int& camOrder, int nTime) {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return 2;
    return zetaSetStrobeLightingTime(m_hProjector, camOrder, nTime) ? 0 : 2;
}

CPhysicalCameraThread* IShotSync::CreateCameraThread(PhysicalCameraThreadListener* listener) {
    return new (std::nothrow) CPhysicalCameraThread(listener);
}

void IShotSync::SaveOrRestoreVideoTrigger(const bool& bSave) {
    CriticalSectionGuard lock(m_csProjector);
    if (m_hProjector == nullptr) return;
    if (bSave) {
        bool running = false;
        int period = 0;
        if (zetaQueryMonoCameraVideoTriggerParameter(m_hProjector, running, period)) {
            m_savedVideoTrigger[0] = running ? 1 : 0;
        }
        running = false;
        if (zetaQueryColorCameraVideoTriggerParameter(m_hProjector, running, period)) {
            m_savedVideoTrigger[1] = running ? 1 : 0;
        }
        return;
    }
    for (int route = 0; route < 2; ++route) {
        if (m_savedVideoTrigger[route] < 0) continue;
        SwitchVideoTriggerOnBoard(route, m_savedVideoTrigger[route] != 0);
        m_savedVideoTrigger[route] = -1;
    }
}

// Slots 84 and 85 take no lock and do not check the board handle: the device library refuses a
// missing handle itself, and the caller gets its answer unchanged.
bool IShotSync::SendCustomerCommand(const char* cmd, int len) {
    LOG(INFO) << "IShotSync Send Customer Command: " << firstBytesOf(cmd, len);
    return zetaSendCmdLine(m_hProjector, cmd, len);
}

bool IShotSync::SendReportCommand(const char* cmd, int len) {
    LOG(INFO) << "IShotSync Send Report Command:" << firstBytesOf(cmd, len);
    return zetaSendReportCmd(m_hProjector, cmd, len);
}
