// CPhysicalCameraThread: the camera parameters (exposure, gain, sharpness, gamma, trigger mode,
// binning, white balance, time-stamp source), the camera's format and resolution, and its resets.
// They run on an owner thread (the synchroniser's, under its main lock); each returns false at
// once when the object has no camera handle.
#include <glog/logging.h>

#include <string>

#include "camera/ColorFormat.h"
#include "camera/PhysicalCameraThread.h"
#include "platform/Console.h"
#include "platform/CriticalSectionGuard.h"
#include "zetaCamera.h"

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
