// IShotSync: the camera set (open, reopen, channel words), the per-camera parameter slots, the
// callback registration slots and the display frame handler.
//
// Every slot here except GetConnectCameraCount and the callback setters runs under m_csProjector
// (the camera lock): the camera set and every camera parameter change are serialised with the
// board calls. The display frame handler runs on the grab threads and takes only m_csCallBack.
#include <glog/logging.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "camera/ColorFormat.h"
#include "platform/Console.h"
#include "platform/CriticalSectionGuard.h"
#include "platform/TraceBuffer.h"
#include "sync/FramePlanes.h"
#include "sync/HostCallbackScope.h"
#include "sync/IShotSync.h"

using zeta::platform::CriticalSectionGuard;

// Process-wide: after a connection only the first exposure / gain given to a colour camera takes
// effect. Shared by every synchroniser and not locked (atomic so that two handles do not race).
std::atomic<bool> IShotSync::m_firstSetTextureExposure{true};
std::atomic<bool> IShotSync::m_firstSetTextureGain{true};

namespace {

// Deletes every camera thread of `cameras` (each destructor stops its grab thread and closes and
// releases its camera) and empties the list. All threads are deleted before the list is cleared,
// so a grab thread still running reads only its own, still valid, entry.
void DeleteAllCameras(std::vector<CPhysicalCameraThread*>& cameras) {
    for (CPhysicalCameraThread*& camera : cameras) {
        delete camera;
        camera = nullptr;
    }
    cameras.clear();
}

// A caller's camera number must name an entry of the channel words (else status 1).
bool OutOfRange(int camOrder, const std::vector<std::uint32_t>& channelWords) {
    return camOrder < 0 || camOrder >= static_cast<int>(channelWords.size());
}

// Milliseconds to the camera's whole microseconds, truncated. The camera library takes a long,
// which is 32 bits wide on Windows, and the slot keeps the microseconds in an int: a value that
// does not fit both on every platform (and NaN or an infinity, which fit nothing) has no
// conversion, so that the same exposure is refused on every platform. Converting such a value
// would be undefined; the slot refuses it as a bad argument instead.
bool ExposureMicroseconds(double exposureMs, long& exposureUs) {
    const double scaled = std::trunc(exposureMs * 1000.0);
    if (!std::isfinite(scaled) || scaled < static_cast<double>(std::numeric_limits<int>::min()) ||
        scaled > static_cast<double>(std::numeric_limits<int>::max())) {
        return false;
    }
    exposureUs = static_cast<long>(scaled);
    return true;
}

}  // namespace

// ---- Helpers ----------------------------------------------------------------------------------

std::vector<std::uint32_t> IShotSync::ComputeChannelWords(const std::vector<char*>& serials,
                                                          std::vector<std::string>& runSerials) {
    runSerials.clear();
    std::vector<std::uint32_t> words;
    words.reserve(serials.size());
    for (std::size_t i = 0; i < serials.size(); ++i) {
        // A null serial compares as the empty string (no string to read).
        const char* serial = serials[i] != nullptr ? serials[i] : "";
        if (i == 0) {
            words.push_back(0);
            runSerials.emplace_back(serial);
            continue;
        }
        const char* previous = serials[i - 1] != nullptr ? serials[i - 1] : "";
        const std::uint32_t p = words.back() & 0xffu;
        const std::uint32_t position = static_cast<std::uint32_t>(i) << 8;
        if (std::strcmp(serial, previous) != 0) {
            // A new run: the next thread index, repeat number 0. Only neighbours are compared,
            // so a serial that comes back later opens its camera a second time.
            words.push_back((((p >> 4) + 1) * 16) | position);
            runSerials.emplace_back(serial);
        } else {
            words.push_back((p + 1) | position);
        }
    }
    return words;
}

bool IShotSync::FitsTheChannelWords(const std::vector<char*>& serials) {
    int runs = 0;
    int runLength = 0;
    for (std::size_t i = 0; i < serials.size(); ++i) {
        const char* serial = serials[i] != nullptr ? serials[i] : "";
        const char* previous = i == 0 ? nullptr : (serials[i - 1] != nullptr ? serials[i - 1] : "");
        if (previous == nullptr || std::strcmp(serial, previous) != 0) {
            ++runs;
            runLength = 1;
        } else {
            ++runLength;
        }
        if (runs > kMaxChannelRun || runLength > kMaxChannelRun) return false;
    }
    return true;
}

int IShotSync::ThreadIndexOf(int camOrder) const {
    if (camOrder < 0 || camOrder >= static_cast<int>(m_cameraChannels.size())) {
        return -1;
    }
    // The low byte read as a signed 8-bit value and shifted arithmetically: thread indices 8 to
    // 15 come out negative, which limits the parameter slots to eight cameras (kept).
    const auto low = static_cast<std::int8_t>(m_cameraChannels[camOrder] & 0xffu);
    return static_cast<int>(low) >> 4;
}

CPhysicalCameraThread* IShotSync::CameraOf(int camOrder) const {
    if (camOrder < 0 || camOrder >= static_cast<int>(m_cameraChannels.size())) {
        return nullptr;
    }
    const int index = ThreadIndexOf(camOrder);
    if (index < 0 || index >= static_cast<int>(m_cameras.size())) {
        return nullptr;
    }
    return m_cameras[index];
}

bool IShotSync::IsComplexCamera(int camOrder) {
    CriticalSectionGuard cameraLock(m_csProjector);
    const CPhysicalCameraThread* camera = CameraOf(camOrder);
    return camera != nullptr && camera->GetCameraComplexInfo() >= 2;
}

int IShotSync::PixelTypeOf(CPhysicalCameraThread* camera) {
    if (camera == nullptr) {
        return 0;
    }
    const int code = camera->GetColorMode();
    return code < 0 ? 0 : code;
}

int IShotSync::BytesPerPixelOf(CPhysicalCameraThread* camera) {
    return camera == nullptr ? 0 : camera->GetChannelNum();
}

// ---- Slot 31 ----------------------------------------------------------------------------------

int IShotSync::GetAllSpecifyTypeCameraInformation(const std::string& type,
                                                  std::vector<char*>& serials,
                                                  std::vector<int>& widths,
                                                  std::vector<int>& heights,
                                                  std::vector<bool>& colors) {
    return CPhysicalCameraThread::GetAllSpecifyTypeCameraInformation(type, serials, widths, heights,
                                                                     colors);
}

// ---- Slot 32: OpenCameras ---------------------------------------------------------------------

int IShotSync::OpenCameras(const std::vector<char*>& serials, const std::vector<int>& widths,
                           const std::vector<int>& heights) {
    const int tmpSerialCount = static_cast<int>(serials.size());
    LOG(INFO) << "IShotSync::OpenCameras tmpSerialCount=" << tmpSerialCount;
    if (tmpSerialCount < 1 || widths.size() != serials.size() || heights.size() != widths.size()) {
        return 1;
    }
    if (!FitsTheChannelWords(serials)) {
        // A channel word has four bits for the thread and four for the repeat: a seventeenth
        // camera thread (or sensor of one camera) would be taken for another, its frames stored
        // under another's number and the scans would wait for frames that never come. Refused
        // before anything is opened (nearest safe thing).
        LOG(INFO) << "IShotSync::OpenCameras refused: more than " << kMaxChannelRun
                  << " camera threads or sensors of one camera";
        return 1;
    }

    CriticalSectionGuard cameraLock(m_csProjector);

    m_cameraChannels = ComputeChannelWords(serials, m_cameraSerials);
    int tmpFlag[16] = {};
    ZETA_TRACE_TMPBUF("OpenCameras tmpSerialCount=%d", tmpSerialCount);
    for (int i = 0; i < tmpSerialCount; ++i) {
        const int tmpCH = static_cast<int>(m_cameraChannels[i] & 0xffu);
        LOG(INFO) << "i=" << i << "tmpCH =" << tmpCH;
        ZETA_TRACE_TMPBUF("OpenCameras tmpCH=%d", tmpCH);
        const int index = (tmpCH & 0xf0) >> 4;
        ++tmpFlag[index];
        LOG(INFO) << "tmpFlag[" << index << "]= " << tmpFlag[index];
        ZETA_TRACE_TMPBUF("OpenCameras2 tmpCH=%d", tmpCH);
    }

    int i = 0;
    for (; i < tmpSerialCount; ++i) {
        const int tmpCH = static_cast<int>(m_cameraChannels[i] & 0xffu);
        if ((tmpCH & 0x0f) != 0) {
            // A repeat of the serial before it: the camera is served by an earlier thread.
            const int tempValue = tmpCH & 0x0f;
            ZETA_TRACE_TMPBUF("OpenCameras tmpCH & 0x0f=%d already opend ", tempValue);
            LOG(INFO) << "i=" << i << "tempValue =" << tempValue;
            continue;
        }
        CPhysicalCameraThread* camera = CreateCameraThread(this);
        if (camera == nullptr) {
            break;
        }
        if (!camera->InializeCamera(serials[i])) {
            delete camera;
            break;
        }
        camera->SetCameraID(static_cast<int>((m_cameraChannels[i] >> 8) & 0xffu));
        const int index = (tmpCH & 0xf0) >> 4;
        // The first field receives the serial's address as a number (kept as the system traces
        // it); converted explicitly so that the format matches its argument.
        ZETA_TRACE_TMPBUF("OpenCameras camSerials[i]=%d SetCameraComplexInfo=%d",
                          static_cast<int>(reinterpret_cast<std::uintptr_t>(serials[i])),
                          tmpFlag[index]);
        LOG(INFO) << "i=" << i << "camSerials[i] =" << (serials[i] != nullptr ? serials[i] : "")
                  << "tmpFlag[(tmpCH & 0xf0) >> 4]=" << tmpFlag[index];
        camera->SetCameraComplexInfo(tmpFlag[index]);
        m_cameras.push_back(camera);
        m_cameraResolution.push_back(widths[i]);
        m_cameraResolution.push_back(heights[i]);
    }
    if (i < tmpSerialCount) {
        LOG(INFO) << "i=" << i << "tmpSerialCount=" << tmpSerialCount;
        DeleteAllCameras(m_cameras);
        return 2;
    }

    bool totalOk = true;
    for (std::size_t k = 0; k < m_cameras.size(); ++k) {
        int total = 0;
        if (m_cameras[k] == nullptr || !m_cameras[k]->GetDeviceTotal(total) || total < 1) {
            DeleteAllCameras(m_cameras);
            totalOk = false;
            break;
        }
        LOG(INFO) << "index=" << k << "index=" << total;
    }
    if (!totalOk) {
        zeta::platform::consolePrintf("Check Camera Total Failed\n");
        LOG(INFO) << "Check Camera Total Failed";
        return 2;
    }

    for (std::size_t k = 0; k < m_cameras.size(); ++k) {
        // More threads than runs (a run of more than 16 equal serials overflows its repeat
        // number into the thread index): such a thread has no serial of its own and fails to
        // open instead of reading past the serial list.
        const bool opened = k < m_cameraSerials.size() && 2 * k + 1 < m_cameraResolution.size() &&
                            m_cameras[k]->OpenCamera(m_cameraSerials[k], m_cameraResolution[2 * k],
                                                     m_cameraResolution[2 * k + 1]);
        if (!opened) {
            for (std::size_t j = 0; j < k; ++j) {
                m_cameras[j]->StopThread();
                m_cameras[j]->CloseCamera();
            }
            DeleteAllCameras(m_cameras);
            zeta::platform::consolePrintf("Open Camera Failed in IShotSync::opencameras\n");
            LOG(INFO) << "Open Camera Failed in IShotSync::opencameras";
            return 2;
        }
        m_cameras[k]->StartCamera();
    }

    // Events and parameter entries of every thread exist before the first grab thread starts:
    // the display frame handler indexes m_cameraEvents from the grab threads, so the vector must
    // not grow while one of them runs.
    for (std::size_t k = 0; k < m_cameras.size(); ++k) {
        m_cameraEvents.push_back(std::make_unique<zeta::platform::Event>(true, false));
        m_cameraExposure.push_back(0);
        m_cameraGain.push_back(0);
        m_cameraGamma.push_back(-1);
        m_cameraSharpness.push_back(0);
    }
    {
        // The matchers read these on the grab threads under m_csImageGroup.
        CriticalSectionGuard groupLock(m_csImageGroup);
        for (int s = 0; s < tmpSerialCount; ++s) {
            m_fullImages.push_back(nullptr);
        }
        m_allCameraMask = (1u << (static_cast<unsigned>(tmpSerialCount) % 32u)) - 1u;
    }
    for (CPhysicalCameraThread* camera : m_cameras) {
        camera->DisplayCallBackFunction(&IShotSync::DisplayFrameHandler, this);
        camera->SetScanCallBackFunction(&IShotSync::DefaultScanFrameHandler, this);
        camera->StartThread();
    }
    return 0;
}

// ---- Slot 33: ReopenCameras -------------------------------------------------------------------

// Rebuilds the camera set from the stored channel words, serials and sizes. Nothing in the
// library calls it; it leaves the new threads without frame handlers and appends to the event
// and parameter lists without clearing them (a caller must install the handlers itself).
int IShotSync::ReopenCameras() {
    const int tmpSerialCount = static_cast<int>(m_cameraChannels.size());
    LOG(INFO) << "Start ReConnect Camera tmpSerialCount=" << tmpSerialCount;
    ZETA_TRACE_TMPBUF("ReopenCameras tmpSerialCount=%d", tmpSerialCount);

    CriticalSectionGuard cameraLock(m_csProjector);
    DeleteAllCameras(m_cameras);

    int tmpFlag[16] = {};
    for (int i = 0; i < tmpSerialCount; ++i) {
        const int tmpCH = static_cast<int>(m_cameraChannels[i] & 0xffu);
        LOG(INFO) << "i=" << i << "tmpCH =" << tmpCH;
        ZETA_TRACE_TMPBUF("ReopenCameras tmpCH=%d", tmpCH);
        const int index = (tmpCH & 0xf0) >> 4;
        ++tmpFlag[index];
        LOG(INFO) << "tmpFlag[" << index << "]= " << tmpFlag[index];
    }

    for (int i = 0; i < tmpSerialCount; ++i) {
        const int tmpCH = static_cast<int>(m_cameraChannels[i] & 0xffu);
        if ((tmpCH & 0x0f) != 0) {
            const int tempValue = tmpCH & 0x0f;
            ZETA_TRACE_TMPBUF("ReopenCameras drop tmpCH & 0x0f=%d", tempValue);
            LOG(INFO) << "i=" << i << "tempValue =" << tempValue;
            continue;
        }
        const int index = (tmpCH & 0xf0) >> 4;
        // A thread index without a stored serial (see OpenCameras) is an initialisation failure.
        const std::string serial =
            index < static_cast<int>(m_cameraSerials.size()) ? m_cameraSerials[index] : "";
        CPhysicalCameraThread* camera = CreateCameraThread(this);
        if (camera == nullptr || index >= static_cast<int>(m_cameraSerials.size()) ||
            !camera->InializeCamera(serial.c_str())) {
            delete camera;
            zeta::platform::consolePrintf("init Camera Failed, %.32s\n", serial.c_str());
            DeleteAllCameras(m_cameras);
            return 2;
        }
        camera->SetCameraID(index);
        ZETA_TRACE_TMPBUF("ReopenCameras drop tmpCH & 0xf0) >> 4=%d", index);
        ZETA_TRACE_TMPBUF("ReopenCameras drop tmpCH & 0xf0) >> 4=%d", tmpFlag[index]);
        camera->SetCameraComplexInfo(tmpFlag[index]);
        m_cameras.push_back(camera);
    }

    for (std::size_t k = 0; k < m_cameras.size(); ++k) {
        int total = 0;
        if (!m_cameras[k]->GetDeviceTotal(total) || total < 1) {
            DeleteAllCameras(m_cameras);
            return 2;
        }
        LOG(INFO) << "index=" << k << "index=" << total;
    }

    for (std::size_t k = 0; k < m_cameras.size(); ++k) {
        const bool opened = k < m_cameraSerials.size() && 2 * k + 1 < m_cameraResolution.size() &&
                            m_cameras[k]->OpenCamera(m_cameraSerials[k], m_cameraResolution[2 * k],
                                                     m_cameraResolution[2 * k + 1]);
        if (!opened) {
            for (std::size_t j = 0; j < k; ++j) {
                m_cameras[j]->StopThread();
                m_cameras[j]->CloseCamera();
            }
            DeleteAllCameras(m_cameras);
            return 2;
        }
        m_cameras[k]->StartCamera();
        m_cameras[k]->StartThread();
    }

    for (std::size_t k = 0; k < m_cameras.size(); ++k) {
        m_cameraEvents.push_back(std::make_unique<zeta::platform::Event>(true, false));
        m_cameraExposure.push_back(0);
        m_cameraGain.push_back(0);
    }
    {
        CriticalSectionGuard groupLock(m_csImageGroup);
        for (int s = 0; s < tmpSerialCount; ++s) {
            m_fullImages.push_back(nullptr);
        }
    }
    return 0;
}

// ---- Slots 34-50, 74: camera parameters -------------------------------------------------------

template <typename Body, typename Missing>
int IShotSync::WithCamera(int camOrder, Body body, Missing missing) {
    CriticalSectionGuard cameraLock(m_csProjector);
    if (OutOfRange(camOrder, m_cameraChannels)) {
        return 1;
    }
    CPhysicalCameraThread* camera = CameraOf(camOrder);
    if (camera == nullptr) {
        missing();
        return 2;
    }
    return body(*camera, ThreadIndexOf(camOrder));
}

int IShotSync::GetConnectCameraCount(int& count) {
    count = static_cast<int>(m_cameras.size());
    return 0;
}

int IShotSync::SetCameraExposureTime(const int& camOrder, const double& exposureMs) {
    return WithCamera(camOrder, [&](CPhysicalCameraThread& camera, int index) {
        const int color = camera.GetColorMode();
        LOG(INFO) << "IShotSync::SetCameraExposureTime color=" << color
                  << "m_firstSetTextureExposure=" << m_firstSetTextureExposure.load()
                  << "camOrder=" << camOrder << "camCount=" << m_cameras.size()
                  << "exposureTime=" << exposureMs;
        if (ColorFormat::IsTextureCode(color) && !m_firstSetTextureExposure.load()) {
            return 0;
        }
        // Refused before anything reaches the camera; a colour camera's first setting is still
        // to come.
        long exposureUs = 0;
        if (!ExposureMicroseconds(exposureMs, exposureUs)) {
            return 1;
        }
        camera.SetExposureTime(exposureUs);
        if (ColorFormat::IsTextureCode(color)) {
            m_firstSetTextureExposure = false;
        }
        if (index < static_cast<int>(m_cameraExposure.size())) {
            m_cameraExposure[index] = static_cast<int>(exposureUs);
        }
        while (static_cast<int>(m_textureExposure.size()) <= index) {
            m_textureExposure.push_back(5);
        }
        // Fits an int, as its microseconds do.
        m_textureExposure[index] = static_cast<int>(exposureMs);
        return 0;
    });
}

int IShotSync::GetCameraExposure(const int& camOrder, double& exposureMs) {
    return WithCamera(
        camOrder,
        [&](CPhysicalCameraThread& camera, int) {
            long exposureUs = 0;
            camera.GetExposureTime(exposureUs);  // the value is taken as read
            exposureMs = static_cast<double>(exposureUs) / 1000.0;
            return 0;
        },
        [&] { exposureMs = -1.0; });
}

int IShotSync::SetCameraGain(const int& camOrder, const int& gain) {
    return WithCamera(camOrder, [&](CPhysicalCameraThread& camera, int index) {
        const int color = camera.GetColorMode();
        LOG(INFO) << "IShotSync::SetCameraGain color=" << color
                  << "m_firstSetTextureGain=" << m_firstSetTextureGain.load()
                  << "camOrder=" << camOrder << "gain=" << gain;
        if (ColorFormat::IsTextureCode(color) && !m_firstSetTextureGain.load()) {
            return 0;
        }
        camera.SetGain(gain);
        if (ColorFormat::IsTextureCode(color)) {
            m_firstSetTextureGain = false;
        }
        if (index < static_cast<int>(m_cameraGain.size())) {
            m_cameraGain[index] = gain;
        }
        return 0;
    });
}

int IShotSync::GetCameraGain(const int& camOrder, int& gain) {
    return WithCamera(
        camOrder,
        [&](CPhysicalCameraThread& camera, int) {
            camera.GetGain(gain);
            return 0;
        },
        [&] { gain = -1; });
}

int IShotSync::SetCameraSharpness(const int& camOrder, const int& sharpness) {
    return WithCamera(camOrder, [&](CPhysicalCameraThread& camera, int index) {
        camera.SetSharpness(sharpness);  // 0 whatever the camera answered
        if (index < static_cast<int>(m_cameraSharpness.size())) {
            m_cameraSharpness[index] = sharpness;
        }
        return 0;
    });
}

int IShotSync::GetCameraSharpness(const int& camOrder, int& sharpness) {
    return WithCamera(camOrder, [&](CPhysicalCameraThread& camera, int) {
        camera.GetSharpness(sharpness);
        return 0;
    });
}

int IShotSync::SetCameraGamma(const int& camOrder, const int& gamma) {
    return WithCamera(camOrder, [&](CPhysicalCameraThread& camera, int index) {
        camera.SetGamma(gamma);  // 0 whatever the camera answered
        if (index < static_cast<int>(m_cameraGamma.size())) {
            m_cameraGamma[index] = gamma;
        }
        return 0;
    });
}

int IShotSync::GetCameraGamma(const int& camOrder, int& gamma) {
    return WithCamera(camOrder, [&](CPhysicalCameraThread& camera, int) {
        camera.GetGamma(gamma);
        return 0;
    });
}

int IShotSync::SpecifyCameraDoWhiteBalance(const int& camOrder, float& rRatio, float& bRatio) {
    return WithCamera(camOrder, [&](CPhysicalCameraThread& camera, int) {
        // Zero ratios ask the camera to balance itself; non-zero ratios are applied.
        const bool bOperate = rRatio == 0.0f && bRatio == 0.0f;
        if (!ColorFormat::IsTextureCode(camera.GetColorMode())) {
            return 3;
        }
        float gRatio = 0.0f;
        if (!camera.AutoWhiteBalance(bOperate, rRatio, gRatio, bRatio)) {
            return 4;
        }
        float r = -1.0f;
        float g = -1.0f;
        float b = -1.0f;
        camera.GetWhiteBalanceRatio(r, g, b);
        rRatio = r;
        bRatio = b;
        return 0;
    });
}

int IShotSync::GetSpecifyCameraWBRatio(const int& camOrder, float& rRatio, float& bRatio) {
    return WithCamera(camOrder, [&](CPhysicalCameraThread& camera, int) {
        if (!ColorFormat::IsTextureCode(camera.GetColorMode())) {
            return 3;
        }
        float r = -1.0f;
        float g = -1.0f;
        float b = -1.0f;
        camera.GetWhiteBalanceRatio(r, g, b);
        if (r == -1.0f || b == -1.0f) {
            return 4;  // never balanced
        }
        rRatio = r;
        bRatio = b;
        return 0;
    });
}

int IShotSync::SetCameraTriggerMode(const int& camOrder, const int& mode) {
    return WithCamera(camOrder, [&](CPhysicalCameraThread& camera, int) {
        camera.SetTriggerMode(mode != 0 ? 1 : 0);  // 0 whatever the camera answered
        return 0;
    });
}

int IShotSync::GetCameraTriggerMode(const int& camOrder, int& mode) {
    return WithCamera(camOrder, [&](CPhysicalCameraThread& camera, int) {
        int cameraMode = 0;
        camera.GetTriggerMode(cameraMode);
        mode = cameraMode != 0 ? 1 : 0;
        return 0;
    });
}

int IShotSync::GetCameraSerialNumber(const int& camOrder, char*& serial) {
    if (serial != nullptr) {
        return 1;
    }
    return WithCamera(
        camOrder,
        [&](CPhysicalCameraThread& camera, int) {
            const std::string& text = camera.GetSerial();
            // Handed to the caller, who frees it with free.
            serial = static_cast<char*>(std::calloc(text.size() + 1, 1));
            if (serial != nullptr) {
                std::memcpy(serial, text.data(), text.size());
            }
            return 0;
        },
        [&] { serial = nullptr; });
}

int IShotSync::GetCameraResolution(const int& camOrder, int& width, int& height) {
    return WithCamera(
        camOrder,
        [&](CPhysicalCameraThread& camera, int) {
            camera.GetResolution(width, height);
            return 0;
        },
        [&] {
            width = -1;
            height = -1;
        });
}

int IShotSync::IsCameraColor(const int& camOrder, bool& bColor) {
    return WithCamera(
        camOrder,
        [&](CPhysicalCameraThread& camera, int) {
            // Colour-mode codes 2 and 3 only: a format-18 camera counts as colour during
            // enumeration but not here (both rules are kept).
            bColor = ColorFormat::IsTextureCode(camera.GetColorMode());
            return 0;
        },
        [&] { bColor = false; });
}

int IShotSync::SetCameraBinning(const int& camOrder, const int& mode) {
    return WithCamera(camOrder, [&](CPhysicalCameraThread& camera, int) {
        // Modes 1, 2 and 3 bin 2, 3 and 4 pixels; anything else switches binning off.
        const int size = (mode >= 1 && mode <= 3) ? mode + 1 : 0;
        return camera.SetBinning(size) ? 0 : 1;
    });
}

int IShotSync::GetSpecifyCameraChannelNum(const int& camOrder, int& channels) {
    return WithCamera(camOrder, [&](CPhysicalCameraThread& camera, int) {
        channels = camera.GetChannelNum();
        return 0;
    });
}

// ---- Slots 51-56: callback registration -------------------------------------------------------

int IShotSync::SetDisplayCallBackFunction(zetaVoroSync::DisplayCallBack callBack, void* pUserData) {
    CriticalSectionGuard callBackLock(m_csCallBack);
    m_pDisplayCallBack = callBack;
    m_pDisplayUserData = pUserData;
    return 0;
}

int IShotSync::SetScanCallBackFunction(zetaVoroSync::ScanCallBack callBack, void* pUserData) {
    if (m_syncType == 1) {
        return 3;  // the stripe mode delivers its scan frames through GetScanImages only
    }
    CriticalSectionGuard callBackLock(m_csCallBack);
    m_pScanCallBack = callBack;
    m_pScanUserData = pUserData;
    return 0;
}

int IShotSync::SetDisplayCallBackFunction2(zetaVoroSync::DisplayCallBack2 callBack,
                                           void* pUserData) {
    CriticalSectionGuard callBackLock(m_csCallBack);
    m_pDisplayCallBack2 = callBack;
    m_pDisplayUserData2 = pUserData;
    return 0;
}

int IShotSync::SetScanCallBackFunction2(zetaVoroSync::ScanCallBack2 callBack, void* pUserData) {
    if (m_syncType == 1) {
        return 3;
    }
    CriticalSectionGuard callBackLock(m_csCallBack);
    m_pScanCallBack2 = callBack;
    m_pScanUserData2 = pUserData;
    return 0;
}

int IShotSync::SetScanFullCallBackFunction(zetaVoroSync::ScanFullCallBack callBack,
                                           void* pUserData) {
    CriticalSectionGuard cameraLock(m_csProjector);
    CriticalSectionGuard fullLock(m_csFullCallBack);
    m_pScanFullCallBack = callBack;
    m_pScanFullUserData = pUserData;
    return 0;
}

int IShotSync::SetTextureScanFullCallBackFunction(zetaVoroSync::TextureScanFullCallBack callBack,
                                                  void* pUserData) {
    CriticalSectionGuard cameraLock(m_csProjector);
    CriticalSectionGuard fullLock(m_csFullCallBack);
    m_pTextureScanFullCallBack = callBack;
    m_pTextureScanFullUserData = pUserData;
    return 0;
}

// ---- Display frame handler --------------------------------------------------------------------

// Runs on a grab thread, inside that camera thread's pause and data locks. Takes m_csCallBack
// only (never the camera lock), so callback setters never wait for a camera operation and a
// callback being unregistered waits for a running call to return.
void IShotSync::DisplayFrameHandler(const void* const& pContext, const int& cameraID,
                                    const unsigned char* const& data, const int& width,
                                    const int& height, const int& frameCode) {
    if (pContext == nullptr) {
        return;
    }
    auto* self = const_cast<IShotSync*>(static_cast<const IShotSync*>(pContext));
    if (cameraID < 0 || cameraID >= static_cast<int>(self->m_cameraChannels.size())) {
        return;
    }
    // Bits 4-7 read unsigned here (the parameter slots read them signed).
    const int threadIndex = static_cast<int>((self->m_cameraChannels[cameraID] >> 4) & 0x0fu);

    if (self->m_bAutoReconnect.load() &&
        threadIndex < static_cast<int>(self->m_cameraEvents.size()) &&
        self->m_cameraEvents[threadIndex]) {
        // Tells the reconnection watchdog that this camera still delivers frames.
        self->m_cameraEvents[threadIndex]->set();
    }

    {
        CriticalSectionGuard callBackLock(self->m_csCallBack);
        if (self->m_pDisplayCallBack == nullptr && self->m_pDisplayCallBack2 == nullptr) {
            return;
        }
    }

    CPhysicalCameraThread* camera = threadIndex < static_cast<int>(self->m_cameras.size())
                                        ? self->m_cameras[threadIndex]
                                        : nullptr;
    const CFramePlanes frame(camera, data, width, height, frameCode);

    // The lock is recursive: a callback that unregisters itself (or the other one) does so on
    // this thread, between two planes. Each plane therefore reads the pointer again and is
    // skipped once it is null, instead of calling through a pointer that was just cleared.
    CriticalSectionGuard callBackLock(self->m_csCallBack);
    const CHostCallbackScope scope(self, CHostCallbackScope::Kind::Display);
    if (self->m_pDisplayCallBack != nullptr) {
        frame.ForEach(cameraID, [&](int id, const unsigned char* plane, int w, int h, int c) {
            if (self->m_pDisplayCallBack == nullptr) return;
            self->m_pDisplayCallBack(self->m_pDisplayUserData, id, plane, w, h, c);
        });
    }
    if (self->m_pDisplayCallBack2 != nullptr) {
        const int tag = self->SecondCallBackTag(data);
        frame.ForEach(cameraID, [&](int id, const unsigned char* plane, int w, int h, int c) {
            if (self->m_pDisplayCallBack2 == nullptr) return;
            self->m_pDisplayCallBack2(self->m_pDisplayUserData2, id, plane, w, h, c, tag);
        });
    }
}

// Tag of the second display and scan callbacks: with 1 in the top byte of m_modeValue, 1 when the
// frame's second byte is 8, 0 when it is 20, -1 otherwise; else the last frame code.
int IShotSync::SecondCallBackTag(const unsigned char* frame) const {
    if (((m_modeValue >> 24) & 0xff) == 1) {
        const unsigned char second = frame != nullptr ? frame[1] : 0;
        return second == 8 ? 1 : (second == 20 ? 0 : -1);
    }
    return m_lastFrameCode.load();
}
