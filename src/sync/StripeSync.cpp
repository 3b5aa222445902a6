// CStripeSync: the stripe scan mode ("STRIPE") and the per-route trigger configuration of the
// classic projector board.
//
// Threads:
// - The slots run on the host's calling threads. Every board call holds m_csProjector; Scan holds
//   it from its first check until zetaScan has been sent (the camera threads are paused and
//   resumed inside it, so the order is always m_csProjector, then a camera thread's pause lock),
//   and again to put the triggers back, but not while it waits for the frames.
// - StripeFrameHandler runs on the mono cameras' grab threads, inside their pause and data locks,
//   and takes only m_csImage.
// Lock order: m_csProjector, then m_csImage (GetScanImages); a grab thread's pause and data locks,
// then m_csImage (the frame handler). Nothing is taken while m_csImage is held.
#include "sync/StripeSync.h"

#include <glog/logging.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <span>

#include "camera/ColorFormat.h"
#include "camera/FrameBytes.h"
#include "platform/Console.h"
#include "platform/CriticalSectionGuard.h"
#include "platform/Sleep.h"
#include "platform/TraceBuffer.h"
#include "platform/WaitForEvents.h"
#include "sync/TriggerRules.h"
#include "zetaVoroDLPdev.h"

CStripeSync::CStripeSync() {
    m_syncType = 1;
    m_bScanning = false;
    m_triggerWidth[0] = 1;
    m_triggerWidth[1] = 1;
    m_triggerVideoPeriod[0] = 10;
    m_triggerVideoPeriod[1] = 10;
    m_triggerPolarity[0] = -1;
    m_triggerPolarity[1] = -1;
    m_bStrobePowered[0] = false;
    m_bStrobePowered[1] = false;
    m_bStrobeByTrigger = false;
    m_scanFrameRate = 100;
    m_scanSpacePercent = 0;
    m_scanFrameCount = 15;
}

CStripeSync::~CStripeSync() {
    // The owner's Shutdown() took the stripe frame handler off the mono threads (it would touch
    // the image store, counters and events, which die with this class).
    zeta::platform::CriticalSectionGuard imageGuard(m_csImage);
    ClearImageStore();
}

// ---- Triggers and strobes: the stripe modes' shared behaviours ----

int CStripeSync::SetVideoTriggerPeriod(const int& route, const int& period) {
    return SetVideoTriggerPeriodBy(&TriggerRules::StripePeriod, route, period, true);
}

int CStripeSync::GetVideoTriggerPeriod(const int& route, int& period) {
    return GetVideoTriggerPeriodOf(GetterRoutes::Stripe, route, period);
}

int CStripeSync::SetTriggerPulseWidth(const int& route, const int& width) {
    return SetTriggerPulseWidthBy(&TriggerRules::StripeWidth, route, width, true);
}

int CStripeSync::GetTriggerPulseWidth(const int& route, int& width) {
    return GetTriggerPulseWidthOf(GetterRoutes::Stripe, route, width);
}

int CStripeSync::SetTriggerPolarity(const int& route, const int& polarity) {
    return SetAndKeepTriggerPolarity(route, polarity);
}

int CStripeSync::GetTriggerPolarity(const int& route, int& polarity) {
    return GetTriggerPolarityOf(GetterRoutes::Stripe, route, polarity);
}

int CStripeSync::PowerStrobeUp(const int& route, const bool& bOn) {
    // A route other than 0 and 1 addresses, and records, both strobes.
    return PowerStrobeUpRetryingOnce(TriggerRules::BoardRoute(route), bOn);
}

int CStripeSync::SetStrobeControlByTrigger(const int& route, const bool& bOn) {
    return SetStrobeControlByTriggerStripe(route, bOn);
}

int CStripeSync::ResetColorModule() {
    return ResetColorRoute();
}

// ---- Scan ----

int CStripeSync::SetScanParameter(const std::vector<int>& parameters) {
    zeta::platform::CriticalSectionGuard guard(m_csProjector);
    if (!m_hProjector) return 2;
    if (parameters.size() < 2) return 1;
    LOG(INFO) << "paramters[0]=" << parameters[0];
    LOG(INFO) << "paramters[1]=" << parameters[1];
    IShotSync::SetScanParameter(parameters);
    if (!zetaVoroDLPdev::zetaSetStripeScanParameter(m_hProjector, parameters[0], parameters[1])) {
        return 3;
    }
    m_scanFrameRate = parameters[0];
    m_scanSpacePercent = parameters[1];
    return 0;
}

int CStripeSync::Scan(const bool& /*start*/) {
    // Cameras of this scan, their pixel types and the events the wait covers. The camera set is
    // read under m_csProjector; it does not change while the host is inside Scan.
    std::vector<CPhysicalCameraThread*> cameras;
    std::vector<int> pixelTypes;
    std::vector<zeta::platform::Event*> handles;
    bool scanSent = false;
    {
        zeta::platform::CriticalSectionGuard projectorGuard(m_csProjector);
        if (m_cameras.empty()) {
            zeta::platform::consolePrintf("No Camera\n");
            return 2;
        }
        if (!m_hProjector) {
            zeta::platform::consolePrintf("Projector not inited\n");
            return 3;
        }
        SaveAndClearAutoReconnect();
        cameras = m_cameras;
        const int cameraCount = static_cast<int>(cameras.size());

        // A complex camera 0 delivers one frame more: its first frame is counted, not stored.
        const int complexInfo = cameras[0] ? cameras[0]->GetCameraComplexInfo() : 0;
        m_scanFrameCount = complexInfo < 2 ? 15 : 16;
        ZETA_TRACE_TMPBUF("GetCameraComplexInfo=%d", complexInfo);
        const int frameCount = m_scanFrameCount;

        // Full counters make the handler ignore stray frames until the scan really starts.
        for (int i = 0; i < std::min(cameraCount, m_frameHasSnapCountSize); ++i) {
            m_frameHasSnapCount[i] = frameCount;
        }
        pixelTypes.resize(static_cast<std::size_t>(cameraCount), 0);
        for (int i = 0; i < cameraCount; ++i) {
            CPhysicalCameraThread* camera = cameras[static_cast<std::size_t>(i)];
            if (!camera) continue;
            pixelTypes[static_cast<std::size_t>(i)] = PixelTypeOf(camera);
            if (ColorFormat::IsTextureCode(pixelTypes[static_cast<std::size_t>(i)])) continue;
            camera->SetScanCallBackFunction(&CStripeSync::StripeFrameHandler, this);
            camera->PauseThread();
        }
        // Every thread that can run the stripe handler (the mono ones) is paused now, so the
        // counter array can be replaced without a grab thread reading it.
        if (m_frameHasSnapCountSize != cameraCount) {
            m_frameHasSnapCount =
                std::make_unique<std::atomic<int>[]>(static_cast<std::size_t>(cameraCount));
            m_frameHasSnapCountSize = cameraCount;
            for (int i = 0; i < cameraCount; ++i) m_frameHasSnapCount[i] = frameCount;
        }

        zetaVoroDLPdev::zetaStartOrStopVideoTrigger(m_hProjector,
                                                    zetaVoroDLPdev::TRIGGER_ROUTE_BOTH, false);
        zetaVoroDLPdev::zetaOutputSingleTrigger(m_hProjector, zetaVoroDLPdev::TRIGGER_ROUTE_BOTH);

        // The mono threads are paused and colour threads never append, so nothing can write the
        // store now; the image lock is taken all the same, against a host thread reading the
        // previous group through GetScanImages at this moment.
        {
            zeta::platform::CriticalSectionGuard imageGuard(m_csImage);
            ClearImageStore();
        }

        // The events are made once, with the camera count of the first scan, and keep that size.
        if (m_scanEvents.empty()) {
            for (int i = 0; i < cameraCount; ++i) {
                m_scanEvents.push_back(std::make_unique<zeta::platform::Event>(false, false));
            }
        }
        // Should the camera set have grown since, the cameras beyond the events' size are not
        // waited for (and their events never set): no index goes past the array.
        const int eventCount = std::min(cameraCount, static_cast<int>(m_scanEvents.size()));
        for (int i = 0; i < eventCount; ++i) {
            handles.push_back(m_scanEvents[static_cast<std::size_t>(i)].get());
        }

        // Let the board and the cameras settle; the stray frame of the single trigger is
        // dropped by the reset below.
        // A disconnect in progress cuts the settle short (the scan then fails).
        SleepUnlessShutdown(m_scanFrameRate > 0 ? static_cast<std::uint32_t>(m_scanFrameRate) * 4u
                                                : 0u);

        for (int i = 0; i < cameraCount; ++i) {
            CPhysicalCameraThread* camera = cameras[static_cast<std::size_t>(i)];
            if (!camera) continue;
            if (!ColorFormat::IsTextureCode(pixelTypes[static_cast<std::size_t>(i)])) {
                ResetCameraToInitializedState(camera);
                if (i < m_frameHasSnapCountSize) m_frameHasSnapCount[i] = 0;
                camera->ResumeThread();
                if (i < eventCount) m_scanEvents[static_cast<std::size_t>(i)]->reset();
            } else if (i < eventCount) {
                // A colour camera never holds the wait up.
                m_scanEvents[static_cast<std::size_t>(i)]->set();
            }
        }

        zeta::platform::consolePrintf("==== Start Scan =====\n");
        // A disconnect in progress gets no new scan on the board.
        scanSent = !IsShutdownRequested() &&
                   zetaVoroDLPdev::zetaScan(m_hProjector, zetaVoroDLPdev::SCAN_STRIPE);
    }

    bool scanOk = false;
    if (scanSent) {
        // A disconnect in progress ends the wait early; the scan then fails.
        scanOk = WaitAllUnlessShutdown(handles, kScanWaitMs);
    }

    {
        zeta::platform::CriticalSectionGuard projectorGuard(m_csProjector);
        // Late frames are ignored from now on.
        const int frameCount = m_scanFrameCount;
        for (int i = 0; i < m_frameHasSnapCountSize; ++i) m_frameHasSnapCount[i] = frameCount;

        zetaVoroDLPdev::zetaStartOrStopVideoTrigger(m_hProjector,
                                                    zetaVoroDLPdev::TRIGGER_ROUTE_MONO, true);
        for (std::size_t i = 0; i < cameras.size(); ++i) {
            if (cameras[i] && ColorFormat::IsTextureCode(pixelTypes[i])) cameras[i]->ResumeThread();
        }
    }

    RestoreAutoReconnect();
    handles.clear();
    zeta::platform::consolePrintf("End Scan\n");
    return scanOk ? 0 : 4;
}

int CStripeSync::GetScanImages(std::vector<unsigned char*>& images, std::vector<int>& widths,
                               std::vector<int>& heights, std::vector<int>& channels) {
    if (!images.empty() || !widths.empty() || !heights.empty() || !channels.empty()) return 1;

    // Camera set under m_csProjector, then the store under the image lock.
    zeta::platform::CriticalSectionGuard projectorGuard(m_csProjector);
    const int complexInfo =
        (!m_cameras.empty() && m_cameras[0]) ? m_cameras[0]->GetCameraComplexInfo() : 0;
    ZETA_TRACE_TMPBUF("GetScanImages GetCameraComplexInfo=%d", complexInfo);

    if (complexInfo < 2) {
        int monoCount = 0;
        for (CPhysicalCameraThread* camera : m_cameras) {
            if (camera && !ColorFormat::IsTextureCode(PixelTypeOf(camera))) ++monoCount;
        }
        zeta::platform::CriticalSectionGuard imageGuard(m_csImage);
        if (m_storeImages.empty()) return 2;
        // Store positions per camera index, in arrival order. Camera indices at or above the
        // mono count are not handed out.
        std::vector<std::vector<std::size_t>> positions(static_cast<std::size_t>(monoCount));
        for (std::size_t k = 0; k < m_storeCameraIndex.size(); ++k) {
            const int index = m_storeCameraIndex[k];
            if (index >= 0 && index < monoCount) {
                positions[static_cast<std::size_t>(index)].push_back(k);
            }
        }
        // Frame by frame, camera by camera within a frame.
        const std::size_t frameCount =
            static_cast<std::size_t>(std::max(0, m_scanFrameCount.load()));
        for (std::size_t f = 0; f < frameCount; ++f) {
            for (const auto& cameraPositions : positions) {
                if (cameraPositions.size() <= f) continue;
                const std::size_t k = cameraPositions[f];
                images.push_back(m_storeImages[k]);
                widths.push_back(m_storeWidths[k]);
                heights.push_back(m_storeHeights[k]);
                channels.push_back(m_storeChannels[k]);
            }
        }
        return 0;
    }

    zeta::platform::CriticalSectionGuard imageGuard(m_csImage);
    if (m_storeImages.empty()) return 2;
    // Pairs of sub-images; the second reuses the first one's dimensions on purpose. A lone last
    // block (a pair never completed) is not handed out: there is no second block to read.
    for (std::size_t k = 0; 2 * k + 1 < m_storeImages.size(); ++k) {
        const std::size_t first = 2 * k;
        images.push_back(m_storeImages[first]);
        images.push_back(m_storeImages[first + 1]);
        for (int i = 0; i < 2; ++i) {
            widths.push_back(m_storeWidths[first]);
            heights.push_back(m_storeHeights[first]);
            channels.push_back(m_storeChannels[first]);
        }
    }
    return 0;
}

int CStripeSync::ReValidSetting() {
    {
        zeta::platform::CriticalSectionGuard guard(m_csProjector);
        if (!m_hProjector) return 2;
        m_bScanWithStrobe = false;
    }
    return ReValidStripeSettings();
}

// ---- Frame handler and image store ----

// Runs on a mono camera's grab thread, inside that thread's pause and data locks; takes
// m_csImage to append to the store. The frame belongs to the camera library and is copied.
void CStripeSync::StripeFrameHandler(const void* const& pContext, const int& cameraID,
                                     const unsigned char* const& data, const int& width,
                                     const int& height, const int& channels) {
    if (!pContext) return;
    auto* self = static_cast<CStripeSync*>(const_cast<void*>(pContext));

    // Logical camera -> physical camera (high nibble of its channel word). Indices outside the
    // camera set are dropped rather than read past a list.
    if (cameraID < 0 || cameraID >= static_cast<int>(self->m_cameraChannels.size())) return;
    const int physical =
        static_cast<int>((self->m_cameraChannels[static_cast<std::size_t>(cameraID)] & 0xF0u) >> 4);
    if (physical >= static_cast<int>(self->m_cameras.size())) return;
    CPhysicalCameraThread* camera = self->m_cameras[static_cast<std::size_t>(physical)];
    if (!camera) return;

    // The counters exist from the first scan on; a camera without one is not part of a scan.
    if (physical >= self->m_frameHasSnapCountSize) return;
    std::atomic<int>& snapCount = self->m_frameHasSnapCount[physical];
    const int frameCount = self->m_scanFrameCount;
    if (snapCount >= frameCount) return;
    // A colour camera is ignored. Asked only now, after the counter: the handler stays installed
    // between scans, and a live frame there is dropped without a query to the camera.
    if (ColorFormat::IsTextureCode(PixelTypeOf(camera))) return;
    // A frame without a size cannot be copied; it is dropped and not counted.
    if (width <= 0 || height <= 0 || channels <= 0) return;

    zeta::platform::Event* event =
        physical < static_cast<int>(self->m_scanEvents.size())
            ? self->m_scanEvents[static_cast<std::size_t>(physical)].get()
            : nullptr;

    // The frame as delivered: width x height at the camera's own channel count.
    const std::size_t frameBytes = camera->FrameBytesOf(width, height);
    if (camera->GetCameraComplexInfo() < 2) {
        const std::size_t size = FrameBytes::Of(width, height, channels);
        // Freed by ClearImageStore (next Scan or destruction).
        auto* block = static_cast<unsigned char*>(std::malloc(size));
        if (block) {
            // The frame code a frame is stored with never counts more bytes per pixel than the
            // camera's format has; the copy is bounded by the frame all the same, and whatever
            // the frame lacks is zeroed.
            const std::size_t copied = data ? std::min(size, frameBytes) : 0;
            if (copied > 0) std::memcpy(block, data, copied);
            std::memset(block + copied, 0, size - copied);
            zeta::platform::CriticalSectionGuard imageGuard(self->m_csImage);
            self->m_storeCameraIndex.push_back(cameraID);
            self->m_storeImages.push_back(block);
            self->m_storeWidths.push_back(width);
            self->m_storeHeights.push_back(height);
            self->m_storeChannels.push_back(channels);
        }
        const int count = ++snapCount;
        zeta::platform::consolePrintf("[Scanning] Camera %d snap %d th\n", cameraID, count);
        if (count == frameCount && event) event->set();
        return;
    }

    // Complex camera: the first frame of each scan is counted but not stored.
    if (snapCount > 0) {
        std::vector<unsigned char*> planes;
        std::vector<int> planeWidths;
        std::vector<int> planeHeights;
        std::vector<int> planeChannels;
        camera->SplitImage(data, frameBytes, planes, planeWidths, planeHeights, planeChannels);
        // Exactly two sub-images are kept. The camera index goes with each of them so that the
        // five lists stay parallel (one entry per block); GetScanImages reads the pairs by
        // position. A split that gave fewer than two planes stores nothing, so that the store
        // only ever holds whole pairs.
        const std::size_t planeCount = std::min(
            {planes.size(), planeWidths.size(), planeHeights.size(), planeChannels.size()});
        std::size_t kept = 0;
        if (planeCount >= 2 && planes[0] && planes[1]) {
            zeta::platform::CriticalSectionGuard imageGuard(self->m_csImage);
            for (std::size_t k = 0; k < 2; ++k) {
                self->m_storeCameraIndex.push_back(cameraID);
                self->m_storeImages.push_back(planes[k]);  // freed by ClearImageStore
                self->m_storeWidths.push_back(planeWidths[k]);
                self->m_storeHeights.push_back(planeHeights[k]);
                self->m_storeChannels.push_back(planeChannels[k]);
            }
            kept = 2;
        }
        for (std::size_t k = kept; k < planes.size(); ++k) std::free(planes[k]);
    }
    const int count = ++snapCount;
    zeta::platform::consolePrintf("[Scanning] Camera %d snap %d th total=%d\n", cameraID, count,
                                  frameCount);
    if (count == frameCount && event) event->set();
}

void CStripeSync::ClearImageStore() {
    for (unsigned char* block : m_storeImages) std::free(block);
    m_storeCameraIndex.clear();
    m_storeImages.clear();
    m_storeWidths.clear();
    m_storeHeights.clear();
    m_storeChannels.clear();
}
