// IShotSync: the default scan frame handler, which feeds the host's scan callbacks outside the
// scan modes' own handlers, and the full and texture group matchers behind the full-scan
// callbacks.
//
// Threads: the handler and the matchers run on the grab threads, inside each camera thread's pause
// and data locks; the handler takes m_csCallBack for the scan callbacks, or m_csFullCallBack then
// m_csImageGroup for the matchers and the full-scan callbacks. It never takes m_csProjector.
#include <glog/logging.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "camera/ColorFormat.h"
#include "platform/Console.h"
#include "platform/CriticalSectionGuard.h"
#include "platform/Sleep.h"
#include "platform/TraceBuffer.h"
#include "sync/FramePlanes.h"
#include "sync/HostCallbackScope.h"
#include "sync/IShotSync.h"

using zeta::platform::CriticalSectionGuard;
using zetaVoroSync::_MY_IMAGE_;

namespace {

// "Unset" value of the matchers' reference time stamps.
constexpr std::int64_t kUnsetStamp = -1;
// Mismatches of the full-group matcher after which every camera's acquisition is restarted.
constexpr int kMismatchLimit = 10;

// Process-wide matcher state, shared by every synchroniser of the process (as the system keeps
// it). Written by the grab threads under their synchroniser's m_csImageGroup; atomic because two
// synchronisers do not share that lock.
std::atomic<std::int64_t> g_fullReferenceStamp{kUnsetStamp};
std::atomic<std::int64_t> g_textureReferenceStamp{kUnsetStamp};
std::atomic<int> g_mismatchCount{0};

std::uint64_t StampDistance(std::uint64_t a, std::uint64_t b) {
    return a > b ? a - b : b - a;
}

// Copies an image into the record at `index`, creating the record (and growing the list) at
// first use and replacing its pixel buffer whenever width, height or channels change. The records
// and buffers stay owned by the synchroniser (freed with delete / free at destruction).
void CopyIntoRecord(std::vector<_MY_IMAGE_*>& records, int index, const unsigned char* image,
                    int width, int height, int channels) {
    if (index < 0) {
        return;
    }
    if (static_cast<std::size_t>(index) >= records.size()) {
        records.resize(static_cast<std::size_t>(index) + 1, nullptr);
    }
    _MY_IMAGE_*& record = records[index];
    if (record == nullptr) {
        record = new _MY_IMAGE_{0, 0, 0, nullptr};
    }
    const std::size_t bytes = static_cast<std::size_t>(std::max(width, 0)) *
                              static_cast<std::size_t>(std::max(height, 0)) *
                              static_cast<std::size_t>(std::max(channels, 0));
    if (record->data == nullptr || record->width != width || record->height != height ||
        record->channels != channels) {
        std::free(record->data);
        record->data = static_cast<unsigned char*>(std::malloc(bytes > 0 ? bytes : 1));
        record->width = width;
        record->height = height;
        record->channels = channels;
    }
    if (record->data != nullptr && image != nullptr && bytes > 0) {
        std::memcpy(record->data, image, bytes);
    }
}

}  // namespace

std::uint64_t IShotSync::FrameTimeStamp(const unsigned char* frame, int width, int height,
                                        int channels) {
    if (frame == nullptr || width <= 0 || height <= 0 || channels <= 0) {
        return 0;
    }
    const std::size_t offset = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
                               static_cast<std::size_t>(channels);
    // The stamp follows the image data at any alignment: read it bytewise.
    std::uint64_t stamp = 0;
    std::memcpy(&stamp, frame + offset, sizeof stamp);
    return stamp;
}

void IShotSync::ResetMatcherStateForTest() {
    g_fullReferenceStamp = kUnsetStamp;
    g_textureReferenceStamp = kUnsetStamp;
    g_mismatchCount = 0;
}

// ---- Matchers ---------------------------------------------------------------------------------

bool IShotSync::MatchFullGroup(int cameraIndex, const unsigned char* image, int width, int height,
                               int channels, std::uint64_t timeStamp) {
    if (m_allCameraMask == 0) {
        return false;
    }
    CopyIntoRecord(m_fullImages, cameraIndex, image, width, height, channels);
    const std::uint32_t bit = 1u << (static_cast<unsigned>(cameraIndex) % 32u);
    const std::int64_t reference = g_fullReferenceStamp.load();
    const auto stamp = static_cast<std::int64_t>(timeStamp);

    if (m_arrivedCameraMask == 0 || reference == kUnsetStamp) {
        m_arrivedCameraMask = bit;
        g_fullReferenceStamp = stamp;
        return false;
    }
    const std::uint64_t distance = StampDistance(static_cast<std::uint64_t>(reference), timeStamp);
    const auto window = static_cast<std::uint64_t>(std::max(m_timeStampArea, 0));
    if (distance <= window && (m_arrivedCameraMask & bit) == 0) {
        m_arrivedCameraMask |= bit;
        if (m_arrivedCameraMask == m_allCameraMask) {
            m_arrivedCameraMask = 0;
            g_fullReferenceStamp = kUnsetStamp;
            return true;
        }
        g_fullReferenceStamp = std::min(reference, stamp);
        return false;
    }
    // Too far apart, or the same camera twice. Only the distance counts as a mismatch; the
    // counter is never reset by a complete group (deliberate), only when it reaches the limit.
    if (distance > window) {
        ++g_mismatchCount;
    }
    if (g_mismatchCount.load() >= kMismatchLimit) {
        for (CPhysicalCameraThread* camera : m_cameras) {
            if (camera != nullptr) {
                camera->ResetCameraState();
            }
        }
        g_mismatchCount = 0;
        g_fullReferenceStamp = kUnsetStamp;
        m_arrivedCameraMask = 0;
        return false;
    }
    m_arrivedCameraMask = bit;
    g_fullReferenceStamp = stamp;
    return false;
}

bool IShotSync::MatchTextureGroup(int cameraIndex, const unsigned char* image, int width,
                                  int height, int channels, std::uint64_t timeStamp, bool bValid) {
    if (!bValid) {
        // An abandoned group: emptied and reported complete at once.
        m_textureArrivedMask = 0;
        g_textureReferenceStamp = kUnsetStamp;
        return true;
    }
    if (m_allCameraMask == 0) {
        return false;
    }
    CopyIntoRecord(m_textureImages, cameraIndex, image, width, height, channels);
    const std::uint32_t bit = 1u << (static_cast<unsigned>(cameraIndex) % 32u);
    const std::int64_t reference = g_textureReferenceStamp.load();
    const auto stamp = static_cast<std::int64_t>(timeStamp);

    if (m_textureArrivedMask == 0 || reference == kUnsetStamp) {
        m_textureArrivedMask = bit;
        g_textureReferenceStamp = stamp;
        return false;
    }
    const std::uint64_t distance = StampDistance(static_cast<std::uint64_t>(reference), timeStamp);
    const auto window = static_cast<std::uint64_t>(std::max(m_timeStampArea, 0));
    if (distance <= window) {
        if ((m_textureArrivedMask & bit) != 0) {
            return false;  // already present: the new image is simply kept
        }
        m_textureArrivedMask |= bit;
        if (m_textureArrivedMask == m_allCameraMask) {
            m_textureArrivedMask = 0;
            g_textureReferenceStamp = kUnsetStamp;
            return true;
        }
        g_textureReferenceStamp = std::min(reference, stamp);
        return false;
    }
    // Outside the window: restart with this image alone, without counting a mismatch.
    m_textureArrivedMask = bit;
    g_textureReferenceStamp = stamp;
    return false;
}

// ---- Default scan frame handler ---------------------------------------------------------------

// Runs on a grab thread, inside that camera thread's pause and data locks; installed on every
// camera by OpenCameras for use outside scans.
// Locks: m_csCallBack alone for the scan callbacks; for the full-group path m_csFullCallBack,
// then m_csImageGroup inside it (the order of the handle's lock list; the registration path
// takes m_csProjector then m_csFullCallBack, and nothing takes m_csFullCallBack while holding
// m_csImageGroup). Never m_csProjector.
void IShotSync::DefaultScanFrameHandler(const void* const& pContext, const int& cameraID,
                                        const unsigned char* const& data, const int& width,
                                        const int& height, const int& channels) {
    if (pContext == nullptr || data == nullptr) {
        zeta::platform::consolePrintf("Data Error\n");
        return;
    }
    auto* self = const_cast<IShotSync*>(static_cast<const IShotSync*>(pContext));

    bool scanRegistered = false;
    bool fullRegistered = false;
    {
        CriticalSectionGuard callBackLock(self->m_csCallBack);
        scanRegistered = self->m_pScanCallBack != nullptr || self->m_pScanCallBack2 != nullptr;
    }
    if (!scanRegistered) {
        CriticalSectionGuard fullLock(self->m_csFullCallBack);
        fullRegistered =
            self->m_pScanFullCallBack != nullptr || self->m_pTextureScanFullCallBack != nullptr;
    }
    if (!scanRegistered && !fullRegistered) {
        return;
    }

    CPhysicalCameraThread* camera = nullptr;
    if (cameraID >= 0 && cameraID < static_cast<int>(self->m_cameraChannels.size())) {
        const std::size_t threadIndex = (self->m_cameraChannels[cameraID] >> 4) & 0x0fu;
        if (threadIndex < self->m_cameras.size()) {
            camera = self->m_cameras[threadIndex];
        }
    }

    const CFramePlanes frame(camera, data, width, height, channels);
    if (frame.IsSplit()) {
        zeta::platform::sleepMs(10);
    }

    if (scanRegistered) {
        // Recursive lock: a callback may unregister itself between two planes on this thread,
        // so each plane reads the pointer again and is skipped once it is null.
        CriticalSectionGuard callBackLock(self->m_csCallBack);
        const CHostCallbackScope scope(self, CHostCallbackScope::Kind::Scan);
        if (self->m_pScanCallBack != nullptr) {
            frame.ForEach(cameraID, [&](int id, const unsigned char* plane, int w, int h, int c) {
                if (self->m_pScanCallBack == nullptr) return;
                self->m_pScanCallBack(self->m_pScanUserData, id, plane, w, h, c);
            });
        } else if (self->m_pScanCallBack2 != nullptr) {
            const int tag = self->SecondCallBackTag(data);
            frame.ForEach(cameraID, [&](int id, const unsigned char* plane, int w, int h, int c) {
                if (self->m_pScanCallBack2 == nullptr) return;
                self->m_pScanCallBack2(self->m_pScanUserData2, id, plane, w, h, c, tag);
            });
        }
        return;
    }
    // The frame's time stamp follows the whole frame's image (width x height x bytes per
    // pixel of the camera's format); the sub-images of a split share it.
    // One format query gives both the bytes per pixel and the pixel type.
    int format = 0;
    int bytesPerPixel = channels;
    int pixelType = 0;
    if (camera != nullptr && camera->GetColorFormat(format)) {
        bytesPerPixel = ColorFormat::ChannelCount(format);
        pixelType = ColorFormat::ColorModeCode(format);
    }
    const std::uint64_t timeStamp = FrameTimeStamp(data, width, height, bytesPerPixel);

    CriticalSectionGuard fullLock(self->m_csFullCallBack);
    CriticalSectionGuard groupLock(self->m_csImageGroup);
    const CHostCallbackScope scope(self, CHostCallbackScope::Kind::FullScan);
    frame.ForEach(cameraID, [&](int id, const unsigned char* plane, int w, int h, int c) {
        if (self->m_pScanFullCallBack != nullptr &&
            self->MatchFullGroup(id, plane, w, h, c, timeStamp)) {
            self->m_pScanFullCallBack(self->m_pScanFullUserData, self->m_fullImages);
        }
        if (self->m_pTextureScanFullCallBack != nullptr && ColorFormat::IsTextureCode(pixelType) &&
            self->MatchTextureGroup(id, plane, w, h, c, timeStamp, true)) {
            const bool bValid = true;
            self->m_pTextureScanFullCallBack(self->m_pTextureScanFullUserData,
                                             self->m_textureImages, bValid);
        }
    });
}
