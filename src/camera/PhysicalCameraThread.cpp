// CPhysicalCameraThread: the binding of one physical camera to the camera library, its grab thread
// and the static enumeration of the cameras of one type.
//
// Threads: the enumeration statics run on the caller's thread and touch no object. Every member
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

// Size of the serial buffers handed out by the enumeration; the last byte is always the
// terminator.
constexpr std::size_t kSerialBufferSize = 260;

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
// Enumeration
// ---------------------------------------------------------------------------------------------

int CPhysicalCameraThread::GetAllSpecifyTypeCameraInformation(const std::string& type,
                                                              std::vector<char*>& serials,
                                                              std::vector<int>& widths,
                                                              std::vector<int>& heights,
                                                              std::vector<bool>& colors) {
    LOG(INFO) << "GetAllSpecifyTypeCameraInformation 0";
    void* first = nullptr;
    if (zetaCamera::CreateCamera(first, type.c_str()) != 0 || first == nullptr) {
        // Type names shorter than two characters print their terminator (or nothing) instead.
        const char c0 = type.size() > 0 ? type[0] : '\0';
        const char c1 = type.size() > 1 ? type[1] : '\0';
        zeta::platform::consolePrintf("Create Camera Failed: %c%c\n", c0, c1);
        LOG(INFO) << "GetAllSpecifyTypeCameraInformation failed";
        return 0;
    }
    int total = 0;
    if (zetaCamera::GetDeviceTotal(first, total) != 0) {
        zeta::platform::consolePrintf("Device Total: %d\n", total);
        zetaCamera::ReleaseCamera(first);
        LOG(INFO) << "GetAllSpecifyTypeCameraInformation failed1";
        return 0;
    }

    // One enumeration handle per device; a handle that cannot be created shortens the list, and
    // the devices beyond the list's length are not examined.
    std::vector<void*> handles{first};
    for (int i = 1; i < total; ++i) {
        void* handle = nullptr;
        if (zetaCamera::CreateCamera(handle, type.c_str()) == 0 && handle != nullptr) {
            handles.push_back(handle);
        }
    }
    if (static_cast<int>(handles.size()) < total) {
        total = static_cast<int>(handles.size());
    }

    int tmpRealCount = 0;
    for (int i = 0; i < total; ++i) {
        void* handle = handles[static_cast<std::size_t>(i)];
        if (handle == nullptr) {
            continue;
        }
        if (zetaCamera::OpenCamera(handle, i, 0, 0) != 0) {
            zeta::platform::consolePrintf("Open Camera %d Failed\n", i);
            continue;
        }
        std::string serial;
        if (zetaCamera::GetSerialNo(handle, serial) != 0) {
            zeta::platform::consolePrintf("Get Camera %d Serial Failed\n", i);
            continue;
        }
        int width = 0;
        int height = 0;
        zetaCamera::GetResolution(handle, width, height);
        widths.push_back(width);
        heights.push_back(height);

        // The library hands the serial out as a string of any length; the buffer keeps at most
        // its first 259 characters and always ends with a terminator. The caller owns the buffer
        // and frees it with free.
        char* buffer = static_cast<char*>(std::malloc(kSerialBufferSize));
        if (buffer != nullptr) {
            std::memset(buffer, 0, kSerialBufferSize);
            const std::size_t length = std::min(serial.size(), kSerialBufferSize - 1);
            std::memcpy(buffer, serial.data(), length);
        }
        serials.push_back(buffer);

        zetaCamera::SN_IMG_FORMAT format = zetaCamera::SN_IMG_MONO8;
        zetaCamera::GetColorMode(handle, format);
        const bool isColor = ColorFormat::IsColorCamera(format);
        zeta::platform::consolePrintf("Camera Is Color Mode: %d\n", isColor ? 1 : 0);
        colors.push_back(isColor);

        ++tmpRealCount;

        int minGain = 0;
        int maxGain = 0;
        zetaCamera::GetGainRange(handle, minGain, maxGain);
        zeta::platform::consolePrintf("Camera %d gain range %d - %d\n", i, minGain, maxGain);
    }

    for (void*& handle : handles) {
        if (handle != nullptr) {
            zetaCamera::CloseCamera(handle);
            zetaCamera::ReleaseCamera(handle);
            handle = nullptr;
        }
    }
    LOG(INFO) << "GetAllSpecifyTypeCameraInformation tmpRealCount=" << tmpRealCount;
    return tmpRealCount;
}

int CPhysicalCameraThread::GetSpecifyTypeCameraCount(const std::string& type) {
    LOG(INFO) << "GetSpecifyTypeCameraCount ";
    void* handle = nullptr;
    if (zetaCamera::CreateCamera(handle, type.c_str()) != 0 || handle == nullptr) {
        const char c0 = type.size() > 0 ? type[0] : '\0';
        const char c1 = type.size() > 1 ? type[1] : '\0';
        zeta::platform::consolePrintf("Create Camera Failed: %c%c\n", c0, c1);
        // The success-sounding text on this failure path is the system's own.
        LOG(INFO) << "GetSpecifyTypeCameraCount ok";
        return 0;
    }
    LOG(INFO) << "GetSpecifyTypeCameraCount 1";
    int tmpCameraNum = 0;
    if (zetaCamera::GetDeviceTotal(handle, tmpCameraNum) == 0) {
        zetaCamera::ReleaseCamera(handle);
        LOG(INFO) << "GetSpecifyTypeCameraCount tmpCameraNum=" << tmpCameraNum;
        return tmpCameraNum;
    }
    zeta::platform::consolePrintf("Device Total: %d\n", tmpCameraNum);
    LOG(INFO) << "GetSpecifyTypeCameraCount ok1";
    zetaCamera::ReleaseCamera(handle);
    return 0;
}

int CPhysicalCameraThread::IsConnectOnU3(const std::string& type, bool& onU3) {
    LOG(INFO) << "IsConnectOnU3 0";
    onU3 = false;
    void* handle = nullptr;
    auto release = [&handle] {
        ZETA_TRACE_TMPBUF("Start Function zetaCamera::ReleaseCamera\n");
        zetaCamera::ReleaseCamera(handle);
        ZETA_TRACE_TMPBUF("End Function zetaCamera::ReleaseCamera\n");
    };

    ZETA_TRACE_TMPBUF("Start Function zetaCamera::CreateCamera\n");
    const int created = zetaCamera::CreateCamera(handle, type.c_str());
    ZETA_TRACE_TMPBUF("End Function zetaCamera::CreateCamera\n");
    if (created != 0) {
        LOG(INFO) << "IsConnectOnU3 CreateCamera failed";
        release();
        LOG(INFO) << "IsConnectOnU3 ReleaseCamera end";
        return 1;
    }

    int total = 0;
    ZETA_TRACE_TMPBUF("Start Function zetaCamera::GetDeviceTotal\n");
    if (zetaCamera::GetDeviceTotal(handle, total) != 0 || total < 1) {
        release();
        return 1;
    }

    bool bOerateSuccess = true;
    for (int i = 0; i < total; ++i) {
        // The handle is released at the end of the first round, and the library nulls the
        // variable, so every later round calls the library with a released (null) handle. That
        // is how the system behaves and it is kept: the calls fail cleanly, the round is counted
        // as a failure and the result becomes 1 for a rig of two or more cameras.
        ZETA_TRACE_TMPBUF("Start Function zetaCamera::OpenCamera   index=%d\n", i);
        const int opened = zetaCamera::OpenCamera(handle, i, 0, 0);
        ZETA_TRACE_TMPBUF("End Function zetaCamera::OpenCamera   index=%d\n", i);
        if (opened != 0) {
            release();
            bOerateSuccess = false;
            break;
        }
        int width = 1280;
        int height = 1024;
        ZETA_TRACE_TMPBUF("Start Function zetaCamera::GetResolution   index=%d\n", i);
        const int measured = zetaCamera::GetResolution(handle, width, height);
        ZETA_TRACE_TMPBUF("End Function zetaCamera::GetResolution   index=%d\n", i);
        LOG(INFO) << "IsConnectOnU3 ReleaseCamera start";
        release();
        LOG(INFO) << "IsConnectOnU3 ReleaseCamera end";
        if (measured != 0) {
            bOerateSuccess = false;
            break;
        }
        // A camera on a USB 2 link reports a resolution of 1 in one of its dimensions.
        onU3 = !(width == 1 || height == 1);
    }
    LOG(INFO) << "IsConnectOnU3 return bOerateSuccess=" << bOerateSuccess;
    return bOerateSuccess ? 0 : 1;
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
// Parameters
// ---------------------------------------------------------------------------------------------

bool CPhysicalCameraThread::SetExposureTime(long exposureUs) {
    if (m_camera == nullptr) {
        return false;
    }
    const int ret = zetaCamera::SetExposureTime(m_camera, exposureUs);
    zeta::platform::consolePrintf("\nCPhysicalCameraThread::SetExposureTime: %d\n",
                                  static_cast<int>(exposureUs));
    LOG(INFO) << "zetaCamera::SetExposureTime ret=" << ret;
    return true;
}

bool CPhysicalCameraThread::GetExposureTime(long& exposureUs) {
    if (m_camera == nullptr) {
        return false;
    }
    // The library's result is not looked at: the value is taken as read.
    zetaCamera::GetExposureTime(m_camera, exposureUs);
    return true;
}

bool CPhysicalCameraThread::SetGain(int gain) {
    if (m_camera == nullptr) {
        return false;
    }
    const int ret = zetaCamera::SetGain(m_camera, gain);
    zeta::platform::consolePrintf("\nCPhysicalCameraThread::SetGain: %d\n", gain);
    LOG(INFO) << "zetaCamera::SetGain ret=" << ret;
    return true;
}

bool CPhysicalCameraThread::GetGain(int& gain) {
    if (m_camera == nullptr) {
        return false;
    }
    return zetaCamera::GetGain(m_camera, gain) == 0;
}

bool CPhysicalCameraThread::SetSharpness(int sharpness) {
    if (m_camera == nullptr) {
        return false;
    }
    // The library's integer parameters report success with false.
    const bool failed =
        zetaCamera::SetCameraIntParam(m_camera, zetaCamera::CAMPARAM_SHARPNESS, sharpness);
    zeta::platform::consolePrintf("\nCPhysicalCameraThread::SetSharpness: %d\n", sharpness);
    return !failed;
}

bool CPhysicalCameraThread::GetSharpness(int& sharpness) {
    if (m_camera == nullptr) {
        return false;
    }
    return !zetaCamera::GetCameraIntParam(m_camera, zetaCamera::CAMPARAM_SHARPNESS, sharpness);
}

bool CPhysicalCameraThread::SetGamma(int gamma) {
    if (m_camera == nullptr) {
        return false;
    }
    const bool failed = zetaCamera::SetCameraIntParam(m_camera, zetaCamera::CAMPARAM_GAMMA, gamma);
    zeta::platform::consolePrintf("\nCPhysicalCameraThread::SetGamma: %d\n", gamma);
    return !failed;
}

bool CPhysicalCameraThread::GetGamma(int& gamma) {
    if (m_camera == nullptr) {
        return false;
    }
    return !zetaCamera::GetCameraIntParam(m_camera, zetaCamera::CAMPARAM_GAMMA, gamma);
}

bool CPhysicalCameraThread::SetTriggerMode(int mode) {
    if (m_camera == nullptr) {
        return false;
    }
    const zetaCamera::SN_TRIG_MODE libraryMode =
        mode != 0 ? zetaCamera::SN_TRIG_EXTERNAL : zetaCamera::SN_TRIG_FREERUN;
    return zetaCamera::SetTriggerMode(m_camera, libraryMode, 0, 0, 0) == 0;
}

bool CPhysicalCameraThread::GetTriggerMode(int& mode) {
    if (m_camera == nullptr) {
        return false;
    }
    zetaCamera::SN_TRIG_MODE libraryMode = zetaCamera::SN_TRIG_FREERUN;
    if (zetaCamera::GetTriggerMode(m_camera, libraryMode) != 0) {
        return false;
    }
    mode = libraryMode != zetaCamera::SN_TRIG_FREERUN ? 1 : 0;
    return true;
}

bool CPhysicalCameraThread::SetBinning(int size) {
    if (m_camera == nullptr) {
        return false;
    }
    // Binning reports success with a non-zero result, unlike the other integer operations.
    return zetaCamera::SetBinningSize(m_camera, size) != 0;
}

bool CPhysicalCameraThread::AutoWhiteBalance(bool bOperateOrSet, float& rRatio, float& gRatio,
                                             float& bRatio) {
    if (m_camera == nullptr) {
        return false;
    }
    LOG(INFO) << "AutoWhiteBalance bOperateOrSet=" << bOperateOrSet << "rRatio=" << rRatio
              << "gRatio=" << gRatio << "bRatio=" << bRatio;
    float r = bOperateOrSet ? 0.0f : rRatio;
    float g = bOperateOrSet ? 0.0f : gRatio;
    float b = bOperateOrSet ? 0.0f : bRatio;
    if (!zetaCamera::AutoWhiteBalance(m_camera, bOperateOrSet, r, g, b)) {
        return false;
    }
    m_rRatio = r;
    m_gRatio = g;
    m_bRatio = b;
    rRatio = r;
    gRatio = g;
    bRatio = b;
    return true;
}

void CPhysicalCameraThread::GetWhiteBalanceRatio(float& rRatio, float& gRatio, float& bRatio) {
    rRatio = m_rRatio;
    gRatio = m_gRatio;
    bRatio = m_bRatio;
}

bool CPhysicalCameraThread::GetResolution(int& width, int& height) {
    if (m_camera == nullptr) {
        return false;
    }
    return zetaCamera::GetResolution(m_camera, width, height) == 0;
}

bool CPhysicalCameraThread::GetSerialNumber(std::string& serial) {
    if (m_camera == nullptr) {
        return false;
    }
    return zetaCamera::GetSerialNo(m_camera, serial) == 0;
}

bool CPhysicalCameraThread::GetColorFormat(int& format) {
    if (m_camera == nullptr) {
        return false;
    }
    zetaCamera::SN_IMG_FORMAT value = zetaCamera::SN_IMG_MONO8;
    if (zetaCamera::GetColorMode(m_camera, value) != 0) {
        return false;
    }
    format = value;
    return true;
}

int CPhysicalCameraThread::GetColorMode() {
    int format = 0;
    if (!GetColorFormat(format)) {
        return -1;
    }
    return ColorFormat::ColorModeCode(format);
}

int CPhysicalCameraThread::GetChannelNum() {
    int format = 0;
    if (!GetColorFormat(format)) {
        return 0;
    }
    return ColorFormat::ChannelCount(format);
}

bool CPhysicalCameraThread::SpecifiedCameraTimeStampSource(int timeStampSrc) {
    if (m_camera == nullptr) {
        return false;
    }
    LOG(INFO) << "SpecifiedCameraTimeStampSource timeStampSrc=" << timeStampSrc;
    // The library's result is not looked at.
    zetaCamera::SpecifiedCameraTimeStampSource(
        m_camera, static_cast<zetaCamera::TIMESTAMP_SRC>(timeStampSrc));
    return true;
}

bool CPhysicalCameraThread::ResetCameraState() {
    if (m_camera == nullptr) {
        return false;
    }
    LOG(INFO) << "ResetCameraState 0";
    const bool ret = zetaCamera::ResetCameraState(m_camera);
    LOG(INFO) << "ResetCameraState ret=" << ret;
    return ret;
}

void CPhysicalCameraThread::SetCameraToInitializedState() {
    if (m_camera == nullptr) {
        return;
    }
    LOG(INFO) << "SetCameraToInitializedState 0";
    zetaCamera::LockSnapThread(m_camera, true);
    LOG(INFO) << "SetCameraToInitializedState 1";
    zetaCamera::SetCameraToInitializedState(m_camera);
    LOG(INFO) << "SetCameraToInitializedState 2";
    zetaCamera::LockSnapThread(m_camera, false);
    LOG(INFO) << "SetCameraToInitializedState 3";
    m_csData.enter();
    LOG(INFO) << "SetCameraToInitializedState 4";
    m_pData = nullptr;
    m_frameBytes = 0;
    m_csData.leave();
    LOG(INFO) << "SetCameraToInitializedState 5";
    m_frameSequence = 0;
}

void CPhysicalCameraThread::SetPrintSnapFailInfo(bool bPrint) {
    m_bPrintSnapFail = bPrint;
}

bool CPhysicalCameraThread::GetDeviceTotal(int& total) {
    if (m_camera == nullptr) {
        return false;
    }
    return zetaCamera::GetDeviceTotal(m_camera, total) == 0;
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
