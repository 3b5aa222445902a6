// CStripeSync: stripe (fringe) scanning with the classic projector, mode string "STRIPE".
//
// One Scan call runs one complete, blocking scan: the board shows its stripe sequence and
// triggers every mono camera once per pattern; the stripe frame handler copies each mono camera's
// first m_scanFrameCount frames into the image store; the host collects the group, frame by frame
// and camera by camera, with GetScanImages. The class also owns the per-route trigger
// configuration (period, pulse width, polarity, strobe).
//
// Locks: the image lock guards the image store (taken by the stripe frame handler on the grab
// threads and by Scan / GetScanImages on the host's thread). Board calls hold m_csProjector.
#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "platform/CriticalSection.h"
#include "platform/Event.h"
#include "sync/IShotSync.h"

class CStripeSync : public IShotSync {
public:
    // Milliseconds Scan waits for every mono camera's share of the group.
    static constexpr int kScanWaitMs = 20000;

    CStripeSync();
    // Frees the image store, then the base destructor. The owner ran Shutdown() before.
    ~CStripeSync() override;

    int SetVideoTriggerPeriod(const int& route, const int& period) override;    // 14
    int GetVideoTriggerPeriod(const int& route, int& period) override;          // 15
    int SetTriggerPulseWidth(const int& route, const int& width) override;      // 16
    int GetTriggerPulseWidth(const int& route, int& width) override;            // 17
    int SetTriggerPolarity(const int& route, const int& polarity) override;     // 18
    int GetTriggerPolarity(const int& route, int& polarity) override;           // 19
    int PowerStrobeUp(const int& route, const bool& bOn) override;              // 23
    int SetStrobeControlByTrigger(const int& route, const bool& bOn) override;  // 25
    int ResetColorModule() override;                                            // 28 (shared)
    int SetScanParameter(const std::vector<int>& parameters) override;          // 65
    using IShotSync::Scan;
    int Scan(const bool& start) override;  // 67
    // The images stay owned by the synchroniser until the next Scan frees them.
    int GetScanImages(std::vector<unsigned char*>& images, std::vector<int>& widths,
                      std::vector<int>& heights, std::vector<int>& channels) override;  // 70
    int ReValidSetting() override;                                                      // 71

    // Stripe frame handler, installed as the mono camera threads' scan callback by Scan.
    // Runs on a grab thread (inside its pause and data locks); takes the image lock.
    static void StripeFrameHandler(const void* const& pContext, const int& cameraID,
                                   const unsigned char* const& data, const int& width,
                                   const int& height, const int& channels);

protected:
    // Frees every block of the image store and empties its lists (caller holds the image lock
    // or no grab thread can append).
    void ClearImageStore();

    std::atomic<int> m_scanFrameCount{15};
    // One auto-reset event per camera, created at the first scan, kept for the object's life.
    std::vector<std::unique_ptr<zeta::platform::Event>> m_scanEvents;
    // Per camera: frames received in the running scan. Written by the owning grab thread during
    // a scan and by Scan before and after it.
    std::unique_ptr<std::atomic<int>[]> m_frameHasSnapCount;
    int m_frameHasSnapCountSize = 0;
    // A further per-mode flag cleared by ReValidSetting.
    bool m_bScanWithStrobe = false;

    // Image store: five parallel lists, one entry per stored frame, in arrival order. The blocks
    // are malloc'd and owned by the synchroniser until the next Scan (or destruction).
    zeta::platform::CriticalSection m_csImage;
    std::vector<int> m_storeCameraIndex;
    std::vector<unsigned char*> m_storeImages;
    std::vector<int> m_storeWidths;
    std::vector<int> m_storeHeights;
    std::vector<int> m_storeChannels;
};
