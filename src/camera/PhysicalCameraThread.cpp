// CPhysicalCameraThread: the binding of one physical camera to the camera library (open, close),
// its grab thread and its frames. The enumeration of the cameras of one type is in
// PhysicalCameraThreadEnumeration.cpp, the camera parameters in PhysicalCameraThreadParameters.cpp.
//
// Threads: every member
// operation runs on an owner thread (the synchroniser's), except ThreadFun and HandleFrame, which
// run on the grab thread. The owner changes the camera handle, the size and the serial only while
// the grab thread is stopped or paused (it is then blocked on the pause lock, outside any library
// call), so the pause lock orders those writes with the grab thread's reads.
#include "camera/PhysicalCameraThread.h"

#include <glog/logging.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "camera/ColorFormat.h"
#include "camera/FrameBytes.h"
#include "platform/Console.h"
#include "platform/CriticalSectionGuard.h"
#include "platform/Sleep.h"
#include "platform/TickCount.h"
#include "platform/TraceBuffer.h"
#include "zetaCamera.h"

namespace {

// Consecutive failed snaps after which the grab loop reports the state of its camera: mono
// cameras (formats 1 and 2) get three times the patience of the others.
constexpr int kSnapFailThreshold = 200;
constexpr int kSnapFailThresholdMono = 600;

// Largest frame edge the frame handler accepts.
constexpr int kMaxFrameEdge = 2000;

}  // namespace

CPhysicalCameraThread::CPhysicalCameraThread(PhysicalCameraThreadListener* listener)
    : m_pListener(listener) {}

CPhysicalCameraThread::~CPhysicalCameraThread() {
    LOG(INFO) << "~CPhysicalCameraThread 0";
    CloseCamera();
    ReleaseCamera();
    LOG(INFO) << "~CPhysicalCameraThread 1";
    // Entering both locks waits for any owner still inside them. They are left again before the
    // members are destroyed: destroying a CriticalSection that is still held is not allowed.
    m_csPause.enter();
    m_csData.enter();
    m_csData.leave();
    m_csPause.leave();
    LOG(INFO) << "~CPhysicalCameraThread 2";
}

// ---------------------------------------------------------------------------------------------
// Virtual operations
// ---------------------------------------------------------------------------------------------

bool CPhysicalCameraThread::OpenCamera(const std::string& serial, int width, int height) {
    if (m_hThread) {
        StopThread();
    }
    if (m_bOpen) {
        CloseCamera();
    }
    if (zetaCamera::OpenCamera(m_camera, serial.c_str(), width, height) != 0) {
        LOG(INFO) << "OpenCamera failed";
        return false;
    }
    zetaCamera::SN_IMG_FORMAT format = zetaCamera::SN_IMG_MONO8;
    {
        // The handle may be replaced by InializeCamera on another thread (reconnection); it is
        // read under the data lock like every other use of it.
        zeta::platform::CriticalSectionGuard dataLock(m_csData);
        zetaCamera::GetColorMode(m_camera, format);
    }
    {
        // The buffer size is read by frame copies on other threads under the data lock. It is
        // counted in std::size_t: an int product of a size the library accepted could overflow.
        zeta::platform::CriticalSectionGuard data(m_csData);
        m_frameChannels = ColorFormat::ChannelCount(format);
        m_bufferSize = FrameBytes::AsInt(FrameBytes::Of(width, height, m_frameChannels));
    }
    m_bOpen = true;
    m_serial = serial;
    m_width = width;
    m_height = height;
    LOG(INFO) << "OpenCamera m_bOpen=" << m_bOpen.load();
    return m_bOpen;
}

bool CPhysicalCameraThread::ReOpenCamera() {
    LOG(INFO) << "ReOpenCamera m_camera=" << m_camera;
    if (m_camera == nullptr) {
        int retValue = -1;
        if (!devId.empty()) {
            retValue = zetaCamera::CreateCamera(m_camera, devId.c_str());
        } else if (m_serial.size() > 2) {
            retValue = zetaCamera::CreateCamera(m_camera, m_serial.c_str());
        }
        LOG(INFO) << "ReOpenCamera retValue=" << retValue << "m_camera=" << m_camera;
        if (retValue != 0) {
            return false;
        }
    }
    if (m_camera != nullptr) {
        zetaCamera::CloseCamera(m_camera);
    }
    const int nRet = zetaCamera::OpenCamera(m_camera, m_serial.c_str(), m_width, m_height);
    LOG(INFO) << "ReOpenCamera nRet=" << nRet;
    if (nRet != 0) {
        return false;
    }
    int deviceType = 0;
    const bool ret = zetaCamera::GetDeviceType(m_camera, deviceType);
    LOG(INFO) << "ReOpenCamera ret=" << ret << "deviceType=" << deviceType;
    if (ret && deviceType > 0) {
        return true;
    }
    LOG(INFO) << "ReOpenCamera failed";
    return false;
}

bool CPhysicalCameraThread::SetResolution(int /*width*/, int /*height*/) {
    return true;
}

// ---------------------------------------------------------------------------------------------
// Binding to the library
// ---------------------------------------------------------------------------------------------

bool CPhysicalCameraThread::InializeCamera(const char* devIdIn) {
    if (devIdIn != nullptr) {
        devId = devIdIn;
        LOG(INFO) << "InializeCamera devId=" << devId;
    } else {
        LOG(INFO) << "InializeCamera ";
    }
    int retValue = -1;
    {
        // The grab thread reads the handle inside the data lock.
        zeta::platform::CriticalSectionGuard data(m_csData);
        if (devIdIn != nullptr) {
            retValue = zetaCamera::CreateCamera(m_camera, devIdIn);
        } else if (m_serial.size() >= 3) {
            retValue = zetaCamera::CreateCamera(m_camera, m_serial.c_str());
        }
    }
    LOG(INFO) << "InializeCamera retValue=" << retValue;
    return retValue == 0;
}

bool CPhysicalCameraThread::SetCameraID(int id) {
    if (m_camera == nullptr) {
        return false;
    }
    m_cameraID = id;
    LOG(INFO) << "SetCameraID m_cameraID=" << m_cameraID.load();
    return true;
}

bool CPhysicalCameraThread::CloseCamera() {
    LOG(INFO) << "Call Function CPhysicalCameraThread::CloseCamera() CloseCamera 0";
    StopThread();
    if (m_camera != nullptr && m_bOpen) {
        zetaCamera::CloseCamera(m_camera);
    }
    LOG(INFO) << "CloseCamera 1";
    {
        zeta::platform::CriticalSectionGuard data(m_csData);
        m_bufferSize = 0;
        m_pData = nullptr;
        m_frameBytes = 0;
    }
    m_bOpen = false;
    // The grab thread is stopped: nobody reads the callbacks now.
    m_pDisplayCallBack = nullptr;
    m_pScanCallBack = nullptr;
    m_pDisplayUserData = nullptr;
    m_pScanUserData = nullptr;
    return true;
}

bool CPhysicalCameraThread::ReleaseCamera() {
    LOG(INFO) << "ReleaseCamera 0";
    {
        zeta::platform::CriticalSectionGuard data(m_csData);
        if (m_camera != nullptr) {
            zetaCamera::ReleaseCamera(m_camera);
            m_camera = nullptr;
        }
    }
    LOG(INFO) << "ReleaseCamera 1";
    return true;
}

bool CPhysicalCameraThread::StartCamera() {
    LOG(INFO) << "StartCamera";
    const int ret = zetaCamera::StartCamera(m_camera, 0.0);
    if (ret != 0) {
        LOG(INFO) << "StartCamera failed";
    } else {
        LOG(INFO) << "StartCamera ok";
    }
    return ret == 0;
}

// ---------------------------------------------------------------------------------------------
// Grab thread
// ---------------------------------------------------------------------------------------------

bool CPhysicalCameraThread::StartThread() {
    LOG(INFO) << "StartThread m_bOpen=" << m_bOpen.load();
    if (!m_bOpen) {
        return false;
    }
    if (m_hThread) {
        // One grab thread per camera: a second start keeps the thread that runs (replacing it
        // would wait forever for a thread that is still told to run).
        return m_bRunning;
    }
    m_bRunning = true;
    auto thread = std::make_unique<zeta::platform::Thread>();
    const bool created = thread->start([this] { return ThreadFun(); });
    if (created) {
        m_hThread = std::move(thread);
    }
    m_bRunning = created;
    return created;
}

bool CPhysicalCameraThread::StopThread() {
    LOG(INFO) << "StopThread m_hThread=" << static_cast<const void*>(m_hThread.get());
    if (m_hThread) {
        m_bRunning = false;
        LOG(INFO) << "WaitForSingleObject";
        // No time-out: a pass blocked in SnapShot ends with the camera's snap time-out. A thread
        // paused by the calling thread would never end; owners resume before they stop.
        m_hThread->join();
        LOG(INFO) << "WaitForSingleObject return";
        m_hThread.reset();
        zetaCamera::UnlockOthers(m_camera);
    }
    LOG(INFO) << "StopThread end";
    return true;
}

void CPhysicalCameraThread::PauseThread() {
    LOG(INFO) << "PauseThread m_hThread=" << static_cast<const void*>(m_hThread.get())
              << "m_bPaused=" << m_bPaused.load();
    if (m_hThread && !m_bPaused) {
        m_bPausing = true;
        // Waits for the running pass to finish; the grab loop then blocks at its next pass until
        // ResumeThread leaves the lock on this same thread.
        m_csPause.enter();
        m_bPaused = true;
        m_bPausing = false;
    }
    LOG(INFO) << "PauseThread end";
}

void CPhysicalCameraThread::ResumeThread() {
    LOG(INFO) << "ResumeThread m_hThread=" << static_cast<const void*>(m_hThread.get())
              << "m_bPaused=" << m_bPaused.load();
    if (m_hThread && m_bPaused) {
        m_bLastSnapOk = false;
        // Only the thread that paused holds the lock. On any other thread the leave is refused
        // (and logged) and the grab thread stays blocked, so the thread stays paused and the
        // pausing thread can still resume it.
        if (m_csPause.leave()) {
            m_bPaused = false;
        }
    }
    LOG(INFO) << "ResumeThread end";
}

void CPhysicalCameraThread::ResetStatusToInitialize() {
    LOG(INFO) << "ResetStatusToInitialize 0";
    m_bPausing = true;
    // Both locks are left unconditionally. A lock the calling thread does not hold is not
    // released: CriticalSection refuses the leave and logs it, which is the nearest safe
    // equivalent of leaving a lock one does not own.
    m_csPause.leave();
    LOG(INFO) << "ResetStatusToInitialize 1";
    m_csData.leave();
    LOG(INFO) << "ResetStatusToInitialize 2";
    m_bPaused = false;
    m_bPausing = false;
}

void CPhysicalCameraThread::LockLowLevelGrabThread(bool bLock) {
    LOG(INFO) << "LockLowLevelGrabThread bLock=" << bLock;
    zetaCamera::LockSnapThread(m_camera, bLock);
}

// Runs on the grab thread. Locks per pass: the pause lock, then the data lock, both held for
// the snap and the callbacks and left in the reverse order before the pass sleeps.
unsigned CPhysicalCameraThread::ThreadFun() {
    zetaCamera::SN_IMG_FORMAT format = zetaCamera::SN_IMG_MONO8;
    {
        // The handle may be replaced by InializeCamera on another thread (reconnection); it is
        // read under the data lock like every other use of it.
        zeta::platform::CriticalSectionGuard dataLock(m_csData);
        zetaCamera::GetColorMode(m_camera, format);
    }
    const int threshold =
        (format == zetaCamera::SN_IMG_MONO8 || format == zetaCamera::SN_IMG_MONO16)
            ? kSnapFailThresholdMono
            : kSnapFailThreshold;
    int failCount = 0;
    bool bSnapOk = false;

    while (m_bRunning) {
        m_csPause.enter();
        m_csData.enter();

        int ret = -1;
        if (m_camera != nullptr) {
            ret = zetaCamera::SnapShot(m_camera, m_pData);
        }
        if (ret == 0 && m_pData != nullptr) {
            // The live resolution is the size of the frame just delivered; it is recorded with
            // the frame, so that later copies of it stay inside it.
            int width = 0;
            int height = 0;
            m_frameBytes = DeliveredFrameBytes(width, height);
            HandleFrame(width, height, ColorFormat::FrameCode(format));
            m_bLastSnapOk = true;
            failCount = 0;
            bSnapOk = true;
        } else {
            m_bLastSnapOk = false;
            if (ret != 0 && m_pData != nullptr) {
                // The placeholder stays unfilled: the values are appended to the text.
                LOG(INFO) << "Camera %d Snap Failed and data not null.  " << m_cameraID.load()
                          << "ret=" << ret;
            }
            m_pData = nullptr;
            m_frameBytes = 0;
            if (m_bPrintSnapFail) {
                zeta::platform::consolePrintf("Camera %d ret=%d Snap Failed\n", m_cameraID.load(),
                                              ret);
            }
            ++failCount;
        }

        m_csData.leave();
        m_csPause.leave();

        if (m_bPausing) {
            zeta::platform::sleepMs(50);
        } else if (!m_bNoSleep) {
            zeta::platform::sleepMs(1);
        }

        if (failCount > threshold) {
            // Only logged: no listener operation is called from the grab thread.
            if (m_pListener != nullptr && bSnapOk && !m_bPaused) {
                LOG(INFO) << "ThreadFun bSnapOk=" << bSnapOk;
            }
            failCount = 0;
        }
    }
    LOG(INFO) << "CPhysicalCameraThread::ThreadFun exit";
    return 0;
}

// Runs on the grab thread inside both locks; m_pData is the frame just snapped.
void CPhysicalCameraThread::HandleFrame(int width, int height, int frameCode) {
    if (width <= 0 || width > kMaxFrameEdge || height <= 0 || height > kMaxFrameEdge ||
        frameCode < 1 || frameCode > 3) {
        LOG(INFO) << "Snap image data failed, wrong image data!";
        return;
    }
    const int cameraID = m_cameraID;
    const unsigned char* const data = m_pData;
    if (m_pScanCallBack != nullptr) {
        m_pScanCallBack(m_pScanUserData, cameraID, data, width, height, frameCode);
    }
    if (m_pDisplayCallBack != nullptr) {
        // A thread with a display callback has a listener. Without one there is nobody to ask,
        // and the callback runs as the listener's default answer (true) would let it.
        const bool enabled = m_pListener == nullptr || m_pListener->IsSecondCallBackEnabled();
        if (enabled) {
            m_pDisplayCallBack(m_pDisplayUserData, cameraID, data, width, height, frameCode);
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Callbacks
// ---------------------------------------------------------------------------------------------

void CPhysicalCameraThread::DisplayCallBackFunction(CameraFrameCallBack callBack, void* pUserData) {
    if (m_cameraID < 0) {
        return;
    }
    LOG(INFO) << "DisplayCallBackFunction 0";
    m_bPausing = true;
    {
        // The grab thread reads the callbacks inside the pause lock.
        zeta::platform::CriticalSectionGuard pause(m_csPause);
        m_pDisplayCallBack = callBack;
        m_pDisplayUserData = pUserData;
    }
    m_bPausing = false;
    LOG(INFO) << "DisplayCallBackFunction 1";
}

void CPhysicalCameraThread::SetScanCallBackFunction(CameraFrameCallBack callBack, void* pUserData) {
    if (m_cameraID < 0) {
        return;
    }
    LOG(INFO) << "SetScanCallBackFunction 0";
    zeta::platform::consolePrintf("Before Set ScanCallBackFunction\n");
    m_bPausing = true;
    {
        zeta::platform::CriticalSectionGuard pause(m_csPause);
        m_pScanCallBack = callBack;
        m_pScanUserData = pUserData;
    }
    m_bPausing = false;
    LOG(INFO) << "SetScanCallBackFunction 1";
    zeta::platform::consolePrintf("After Set ScanCallBackFunction\n");
}

// ---------------------------------------------------------------------------------------------
// Frames
// ---------------------------------------------------------------------------------------------

bool CPhysicalCameraThread::WaitForCurrentFrame(std::uint32_t timeoutMs) {
    const std::uint64_t start = zeta::platform::tickCount64Ms();
    for (;;) {
        {
            zeta::platform::CriticalSectionGuard dataLock(m_csData);
            if (m_pData != nullptr) return true;
        }
        if (zeta::platform::tickCount64Ms() - start >= timeoutMs) return false;
        zeta::platform::sleepMs(1);
    }
}

bool CPhysicalCameraThread::CopyCurrentFrame(unsigned char* target, std::size_t targetBytes) {
    m_csData.enter();
    if (target != nullptr && m_bufferSize > 0 && m_pData != nullptr) {
        // A camera serving several logical cameras is copied at its live size: the size of the
        // frame as it was delivered. Any other camera is copied at its buffer size.
        const std::size_t wanted =
            m_complexInfo >= 2 ? m_frameBytes : static_cast<std::size_t>(m_bufferSize);
        CopyFrameInto(target, targetBytes, wanted);
        m_csData.leave();
        return true;
    }
    const int bufferSize = m_bufferSize;
    const auto frameAddress =
        static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(m_pData) & 0xFFFFFFFFu);
    m_csData.leave();
    zeta::platform::consolePrintf("No Data: %d  0x%x\n", bufferSize, frameAddress);
    return false;
}

bool CPhysicalCameraThread::SnapShot(unsigned char*& target, std::size_t targetBytes) {
    zeta::platform::CriticalSectionGuard data(m_csData);
    unsigned char* frame = nullptr;
    const int ret = m_camera != nullptr ? zetaCamera::SnapShot(m_camera, frame) : -1;
    if (ret != 0 || frame == nullptr) {
        target = nullptr;
        return false;
    }
    // The library keeps the frame valid until this handle's next snap: it becomes the current
    // frame, as one the grab thread snapped would, with the size it was delivered at.
    m_pData = frame;
    int width = 0;
    int height = 0;
    m_frameBytes = DeliveredFrameBytes(width, height);
    if (target == nullptr) {
        return false;
    }
    CopyFrameInto(target, targetBytes, static_cast<std::size_t>(std::max(m_bufferSize, 0)));
    return true;
}

bool CPhysicalCameraThread::SplitImage(const unsigned char* frame, std::size_t frameBytes,
                                       std::vector<unsigned char*>& planes,
                                       std::vector<int>& widths, std::vector<int>& heights,
                                       std::vector<int>& channels) {
    // The frame handlers split the frame just delivered, on the grab thread inside the data
    // lock; the library knows that frame's layout. Any other caller holds a copy. The lock is
    // only tried: a caller that cannot take it at once is not the grab thread, and waiting would
    // hold it up for a whole snap.
    bool delivered = false;
    if (frame != nullptr && m_csData.tryEnter()) {
        delivered = frame == m_pData;
        m_csData.leave();
    }
    if (frame != nullptr && !delivered) {
        // A copy is cut by the camera's present size, which another handle may have made larger
        // than the frame the copy was taken from: the library would then read past the copy.
        // The split is refused instead (the nearest safe outcome: no sub-images).
        int width = 0;
        int height = 0;
        const bool known =
            m_camera != nullptr && zetaCamera::GetResolution(m_camera, width, height) == 0;
        const std::size_t needed = FrameBytesOf(width, height);
        if (!known || needed > frameBytes) {
            LOG(INFO) << "SplitImage refused frameBytes=" << frameBytes << "needed=" << needed;
            return false;
        }
    }
    std::vector<zetaCamera::SN_IMG_FORMAT> formats;
    const bool ok = zetaCamera::SplitImage(m_camera, planes, widths, heights, formats, frame);
    for (zetaCamera::SN_IMG_FORMAT format : formats) {
        channels.push_back(ColorFormat::ChannelCount(format));
    }
    return ok;
}

std::size_t CPhysicalCameraThread::FrameBytesOf(int width, int height) const {
    return FrameBytes::Of(width, height, m_frameChannels);
}

void CPhysicalCameraThread::CopyFrameInto(unsigned char* target, std::size_t targetBytes,
                                          std::size_t wanted) const {
    const std::size_t span = std::min(wanted, targetBytes);
    const std::size_t copied = std::min(span, m_frameBytes);
    if (copied > 0) {
        std::memcpy(target, m_pData, copied);
    }
    // A frame smaller than the copy asked for leaves the rest of the target defined.
    if (targetBytes > copied) {
        std::memset(target + copied, 0, targetBytes - copied);
    }
}

std::size_t CPhysicalCameraThread::DeliveredFrameBytes(int& width, int& height) {
    if (m_camera == nullptr || zetaCamera::GetResolution(m_camera, width, height) != 0) {
        return 0;
    }
    return FrameBytesOf(width, height);
}

void CPhysicalCameraThread::SetCameraComplexInfo(int complexInfo) {
    m_complexInfo = complexInfo;
}

int CPhysicalCameraThread::GetCameraComplexInfo() const {
    return m_complexInfo;
}

int CPhysicalCameraThread::GetCameraID() const {
    return m_cameraID;
}

bool CPhysicalCameraThread::IsOpen() const {
    return m_bOpen;
}

bool CPhysicalCameraThread::IsLastSnapOk() const {
    return m_bLastSnapOk;
}

const std::string& CPhysicalCameraThread::GetSerial() const {
    return m_serial;
}
