// IShotSync: the object behind every device handle.
//
// It owns the projector board's connection, one camera thread per physical camera, the host's
// callbacks, the status thread and the watchdog thread, and it defines the one virtual interface
// (86 slots, declared below in slot order) through which the exported layer drives every scan
// mode. Each scan mode is a subclass overriding part of it.
//
// Slot results are small integers, not RETSTATUS: 0 success, 1 bad argument, 2 board or camera
// missing, 3 device call failed or not supported, 4 operation failed or timed out, 5 reconnection
// partly failed. The exported layer maps them per operation.
//
// Locks of one handle (when two are held, the first listed is taken first):
//   m_csProjector   ("main lock") every board call, the camera set, every camera parameter,
//                   still capture, the status poll, the firmware transfer;
//   m_csFullCallBack the two full-scan callbacks and their calls;
//   m_csCallBack    the display and scan callbacks and their calls;
//   m_csImageGroup  the assembly of full and texture groups;
//   m_csStatusCallBack the status callback and its calls (inside m_csProjector on the status
//                   thread).
// Frame handlers run on the grab threads, inside each camera thread's pause and data locks, and
// take m_csCallBack / m_csFullCallBack / m_csImageGroup only (never m_csProjector).
//
// The implementation is split by concern over several source files:
//   IShotSync.cpp           construction, destruction, board open/close, board slots, callbacks
//   IShotSyncCameras.cpp    camera set, channel words, camera parameters, display frame handler
//   IShotSyncCapture.cpp    still capture
//   IShotSyncFrameGroups.cpp default scan frame handler, full and texture group matchers
//   IShotSyncStatus.cpp     status thread, watchdog, reconnection, CloseDeviceCamera
//   IShotSyncFirmware.cpp   firmware / splash image transfer
//   IShotSyncTriggers.cpp   trigger, strobe and settings behaviours the scan modes share
//   IShotSyncModes.cpp      the mode strings and the synchroniser class of each
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "camera/PhysicalCameraThread.h"
#include "camera/PhysicalCameraThreadListener.h"
#include "platform/CriticalSection.h"
#include "platform/Event.h"
#include "platform/Thread.h"
#include "zetaVoroSync/zetaVoroSync.h"

class IShotSync : public PhysicalCameraThreadListener {
public:
    // Number of event handles the watchdog can wait on.
    static constexpr int kMaxWaitHandles = 10;

    IShotSync();
    IShotSync(const IShotSync&) = delete;
    IShotSync& operator=(const IShotSync&) = delete;

    // ---- Slots 0-3 (0 and 1-3 come from the listener) ----
    ~IShotSync() override;                                 // 0
    void onSnapFailed(int camID, int colorMode) override;  // 1
    void onCameraThreadNotify(int notify) override;        // 2
    bool IsSecondCallBackEnabled() override;               // 3

    // ---- Lifecycle and board ----
    virtual int ExitSync();       // 4
    virtual int ExitProjector();  // 5
    virtual int SetStatusCallBackFunction(zetaVoroSync::StatusCallBack callBack,
                                          void* pUserData);         // 6
    virtual int IsConnectOnU3(const char* cameraName, bool& onU3);  // 7
    virtual int EnableAutoReconnect(bool bEnable, bool bWatchProjector,
                                    const std::vector<bool>& watchCameras);  // 8
    virtual int ReConnectDevice();                                           // 9
    virtual int ReConnectDeviceEx();                                         // 10
    virtual int InitProjector(const char* const& path);                      // 11
    virtual int SetProjectorBrightness(const int& percent);                  // 12
    virtual int GetProjectorBrightness(int& percent);                        // 13

    // ---- Triggers, strobes, projection (route: 0 mono, 1 colour, 2 both) ----
    virtual int SetVideoTriggerPeriod(const int& route, const int& period) = 0;  // 14
    virtual int GetVideoTriggerPeriod(const int& route, int& period) = 0;        // 15
    virtual int SetTriggerPulseWidth(const int& route, const int& width) = 0;    // 16
    virtual int GetTriggerPulseWidth(const int& route, int& width) = 0;          // 17
    virtual int SetTriggerPolarity(const int& route, const int& polarity) = 0;   // 18
    virtual int GetTriggerPolarity(const int& route, int& polarity) = 0;         // 19
    virtual int EnableContinueTrigger(const int& route, const bool& bEnable);    // 20
    virtual int PushSingleTrigger(const int& route);                             // 21
    // `patternCode` is the synchroniser's pattern code 0..12 (not the public PROJECTTYPES).
    virtual int Project(const int& patternCode);                                          // 22
    virtual int PowerStrobeUp(const int& route, const bool& bOn) = 0;                     // 23
    virtual int SetDistanceIndicate(const int& state);                                    // 24
    virtual int SetStrobeControlByTrigger(const int& route, const bool& bOn) = 0;         // 25
    virtual int EnableZoomFunction(const bool& bEnable);                                  // 26
    virtual int EnableIRProjectorAndLaser(const bool& bIRProjector, const bool& bLaser);  // 27
    virtual int ResetColorModule();                                                       // 28
    virtual int EnterFixScanFastMode();                                                   // 29
    virtual int EnterFixScanFreeProjectMode();                                            // 30

    // ---- Camera set and parameters (camOrder = position in the serial list) ----
    virtual int GetAllSpecifyTypeCameraInformation(const std::string& type,
                                                   std::vector<char*>& serials,
                                                   std::vector<int>& widths,
                                                   std::vector<int>& heights,
                                                   std::vector<bool>& colors);  // 31
    virtual int OpenCameras(const std::vector<char*>& serials, const std::vector<int>& widths,
                            const std::vector<int>& heights);                          // 32
    virtual int ReopenCameras();                                                       // 33
    virtual int GetConnectCameraCount(int& count);                                     // 34
    virtual int SetCameraExposureTime(const int& camOrder, const double& exposureMs);  // 35
    virtual int GetCameraExposure(const int& camOrder, double& exposureMs);            // 36
    virtual int SetCameraGain(const int& camOrder, const int& gain);                   // 37
    virtual int GetCameraGain(const int& camOrder, int& gain);                         // 38
    virtual int SetCameraSharpness(const int& camOrder, const int& sharpness);         // 39
    virtual int GetCameraSharpness(const int& camOrder, int& sharpness);               // 40
    virtual int SetCameraGamma(const int& camOrder, const int& gamma);                 // 41
    virtual int GetCameraGamma(const int& camOrder, int& gamma);                       // 42
    virtual int SpecifyCameraDoWhiteBalance(const int& camOrder, float& rRatio,
                                            float& bRatio);                                  // 43
    virtual int GetSpecifyCameraWBRatio(const int& camOrder, float& rRatio, float& bRatio);  // 44
    virtual int SetCameraTriggerMode(const int& camOrder, const int& mode);                  // 45
    virtual int GetCameraTriggerMode(const int& camOrder, int& mode);                        // 46
    // `serial` must be null on entry; receives a malloc'd string the caller frees with free.
    virtual int GetCameraSerialNumber(const int& camOrder, char*& serial);          // 47
    virtual int GetCameraResolution(const int& camOrder, int& width, int& height);  // 48
    virtual int IsCameraColor(const int& camOrder, bool& bColor);                   // 49
    virtual int SetCameraBinning(const int& camOrder, const int& mode);             // 50

    // ---- Callback registration ----
    virtual int SetDisplayCallBackFunction(zetaVoroSync::DisplayCallBack callBack,
                                           void* pUserData);  // 51
    virtual int SetScanCallBackFunction(zetaVoroSync::ScanCallBack callBack,
                                        void* pUserData);  // 52
    virtual int SetDisplayCallBackFunction2(zetaVoroSync::DisplayCallBack2 callBack,
                                            void* pUserData);  // 53
    virtual int SetScanCallBackFunction2(zetaVoroSync::ScanCallBack2 callBack,
                                         void* pUserData);  // 54
    virtual int SetScanFullCallBackFunction(zetaVoroSync::ScanFullCallBack callBack,
                                            void* pUserData);  // 55
    virtual int SetTextureScanFullCallBackFunction(zetaVoroSync::TextureScanFullCallBack callBack,
                                                   void* pUserData);  // 56

    // ---- Still capture (images handed out are malloc'd; the caller frees them) ----
    virtual int SnapSingleImageFromSpecifyCamera(const int& camOrder, unsigned char*& image,
                                                 int& width, int& height,
                                                 int& channels);  // 57
    virtual int SnapSingleGroupImages(std::vector<unsigned char*>& images, std::vector<int>& widths,
                                      std::vector<int>& heights,
                                      std::vector<int>& channels);  // 58
    virtual int SnapRGBImageFromSpecifyCamera(const int& camOrder, unsigned char*& image,
                                              int& width, int& height);  // 59
    virtual int SnapSingleGroupRGBImages(std::vector<unsigned char*>& images,
                                         std::vector<int>& widths,
                                         std::vector<int>& heights);  // 60
    virtual bool PrintCameraSnapFailInfomation(const bool& bPrint);   // 61

    // ---- Time stamps, scans, miscellaneous ----
    virtual bool ResetCameraTimeStamp(const int& route);               // 62
    virtual bool SpecifiedTimeStampType(const int& type);              // 63
    virtual int ResetBuffer();                                         // 64
    virtual int SetScanParameter(const std::vector<int>& parameters);  // 65
    virtual int Scan(const bool& start, int count);                    // 66
    virtual int Scan(const bool& start) = 0;                           // 67
    virtual int stopSequenceScan();                                    // 68
    virtual int UpdateFirewareImageData(const wchar_t* path, int imageType,
                                        zetaVoroSync::UpdateProgressCallBack progressCallBack,
                                        void* pUserData);  // 69
    // The images stay owned by the synchroniser, valid until the next scan.
    virtual int GetScanImages(std::vector<unsigned char*>& images, std::vector<int>& widths,
                              std::vector<int>& heights, std::vector<int>& channels) = 0;  // 70
    virtual int ReValidSetting() = 0;                                                      // 71
    virtual int SpeckleOrLaser(const bool& bSpeckle);                                      // 72
    virtual bool GetFirewareVersion(std::string& version);                                 // 73
    virtual int GetSpecifyCameraChannelNum(const int& camOrder, int& channels);            // 74
    virtual int SetLastScanOperation(int operation);                                       // 75
    virtual int CloseDeviceCamera();                                                       // 76
    virtual int startSequenceScan(int nSequenceCount);                                     // 77
    virtual int ResetVideoWidthHeight(int width, int height);                              // 78
    virtual int SetMonoColorSpan(int nSpan);                                               // 79
    virtual int SetStrobeLightingTime(const int& camOrder, int nTime);                     // 80
    // Allocates a camera thread bound to `listener`; the caller owns it (delete).
    virtual CPhysicalCameraThread* CreateCameraThread(
        PhysicalCameraThreadListener* listener);  // 81
    virtual int QueryCurrentStatus(unsigned long& first, unsigned long& second,
                                   unsigned long& stateHigh, unsigned long& stateLow,
                                   bool& flag);                  // 82
    virtual void SaveOrRestoreVideoTrigger(const bool& bSave);   // 83
    virtual bool SendCustomerCommand(const char* cmd, int len);  // 84
    virtual bool SendReportCommand(const char* cmd, int len);    // 85

    // ---- Teardown (non-virtual; the same protocol for every scan mode) ----
    // Every owner of a synchroniser runs Shutdown() once before it deletes the object (Destroy()
    // does both). Shutdown runs ExitSync (the mode's own, through the vtable, while every part of
    // the object is still alive), takes the frame handlers off the camera threads and stops the
    // watchdog. Afterwards no thread of this object calls into a scan mode's part any more, so the
    // destructors only free what they own. Idempotent; runs on the owner's thread.
    // Locks: as ExitSync, then DetachFrameHandlers (m_csProjector, each camera's pause lock).
    void Shutdown();
    // Shutdown() and delete. Null is ignored.
    static void Destroy(IShotSync* sync);
    // For an object the library keeps alive but will never use again: Shutdown(), then every
    // camera thread stopped and its camera closed and released. No thread runs and no device stays
    // open afterwards; the memory stays until the owner deletes the object (with Destroy()).
    void Retire();
    // Asks the calls running on this object to finish early: a scan stops waiting for its frames
    // (and its settle sleep) and fails. Set by the owner before it waits for those calls and tears
    // the object down; never cleared. Any thread.
    void RequestShutdown();
    bool IsShutdownRequested() const { return m_bShutdownRequested.load(); }

    int GetSyncType() const { return m_syncType; }
    // True when the camera of `camOrder` serves several logical cameras: its frames are split and
    // a still image of it is one sensor's image as the camera delivers it (one byte a pixel for a
    // raw colour camera). False for an unknown camera. Locks: m_csProjector.
    bool IsComplexCamera(int camOrder);
    // Ends every camera thread's grab loop (threads resumed first, cameras left open). Locks:
    // m_csProjector, then each camera thread's pause lock.
    void StopCameraThreads();
    // Takes the scan and display frame handlers off every camera thread. Each swap waits for the
    // thread's running pass, so afterwards no grab thread enters this object or asks it anything
    // (the listener query is made only while a display handler is set). Part of Shutdown(): the
    // grab threads run until the base destructor stops them, and must not call into an object
    // whose subclass parts are being destroyed.
    // Locks: m_csProjector, then each camera thread's pause lock.
    void DetachFrameHandlers();

    // Frame handlers installed on the camera threads (context = the synchroniser). They run on
    // a grab thread inside that camera thread's pause and data locks.
    // Display frame handler: feeds display callbacks 1 and 2 (locks: m_csCallBack).
    static void DisplayFrameHandler(const void* const& pContext, const int& cameraID,
                                    const unsigned char* const& data, const int& width,
                                    const int& height, const int& frameCode);
    // Default scan frame handler outside scans: feeds scan callbacks 1 and 2, else the full and
    // texture matchers (locks: m_csCallBack, or m_csFullCallBack then m_csImageGroup).
    static void DefaultScanFrameHandler(const void* const& pContext, const int& cameraID,
                                        const unsigned char* const& data, const int& width,
                                        const int& height, const int& channels);

    // Full-group matcher: offers one image with its frame's time stamp; true when the group in
    // m_fullImages is complete. Caller holds m_csImageGroup.
    bool MatchFullGroup(int cameraIndex, const unsigned char* image, int width, int height,
                        int channels, std::uint64_t timeStamp);
    // Texture-group matcher (own reference stamp and records); a false `bValid` empties the
    // group and reports it complete at once. Caller holds m_csImageGroup.
    bool MatchTextureGroup(int cameraIndex, const unsigned char* image, int width, int height,
                           int channels, std::uint64_t timeStamp, bool bValid);
    // Resets the process-wide matcher state (reference stamps, mismatch counter). For tests.
    static void ResetMatcherStateForTest();

    // ---- The scan modes (IShotSyncModes.cpp) ----
    // A mode string of ConnectDevice, in the order ConnectDevice compares them.
    struct ConnectMode {
        const char* mode;         // compared exactly and case-sensitively
        int deviceType;           // the number ConnectDevice records for the mode
        const char* consoleLine;  // printed once the object exists, or null
        IShotSync* (*create)();   // allocates the mode's synchroniser (throws when out of memory)
    };
    // The row of `mode`, or null for a mode string ConnectDevice does not know (or null).
    static const ConnectMode* FindConnectMode(const char* mode);
    // The synchroniser GetFirewareVersion opens a board with when it has no handle: the older
    // board's modes only. Null for any other mode string.
    static IShotSync* CreateForFirmwareQuery(const char* mode);
    // The temporary synchroniser IsConnectedOnU3 asks the camera layer through (a stripe one).
    static IShotSync* CreateForCameraQuery();

protected:
    // ---- Trigger, strobe and settings behaviours the scan modes share (IShotSyncTriggers.cpp) --
    // A scan mode's trigger slots forward to these; its header says which one each slot uses.
    // Every one holds m_csProjector for the whole operation (it is recursive: a behaviour may call
    // the object's own slots) and returns 2 without a board, 3 when the board refuses a command.

    // Which board query a getter makes. Stripe: route 1 asks the colour route, any other route the
    // mono route. SpeckleAndLaser: 0 and 2 ask the mono route and 1 the colour route; any other
    // route is refused with 1 by the period and width getters, and asks the colour route for a
    // polarity.
    enum class GetterRoutes { Stripe, SpeckleAndLaser };
    int GetVideoTriggerPeriodOf(GetterRoutes routes, int route, int& period);
    int GetTriggerPulseWidthOf(GetterRoutes routes, int route, int& width);
    int GetTriggerPolarityOf(GetterRoutes routes, int route, int& polarity);

    // Sends the period (width) that `rule` (one of TriggerRules) makes of the host's value for
    // the route (0, 1, anything else both), keeps it for the route (both for 2) and marks it for
    // the reconnection. `logClamp` writes the stripe modes' log lines around the clamp.
    using PeriodRule = int (*)(int boardRoute, int period, const int (&widths)[2],
                               const int (&polarities)[2]);
    using WidthRule = int (*)(int boardRoute, int width, const int (&periods)[2]);
    int SetVideoTriggerPeriodBy(PeriodRule rule, int route, int period, bool logClamp = false);
    int SetTriggerPulseWidthBy(WidthRule rule, int route, int width, bool logClamp = false);
    // Sends a polarity and keeps it for the route (both for 2); logs the route and polarity.
    int SetAndKeepTriggerPolarity(int route, int polarity);
    // Sends a polarity and keeps nothing (the speckle modes).
    int SendTriggerPolarity(int route, int polarity);

    // Strobe power of a route. Each refuses with 3 while the strobe follows the trigger (its power
    // is then the board's business) and, on success, records the state for route 0, 1 or both for
    // 2 (a route outside 0..2 is sent as both and records nothing).
    // Stripe modes: logs each attempt, and retries once when the board misses the command.
    int PowerStrobeUpRetryingOnce(int route, bool on);
    // Laser modes: one attempt, no message.
    int PowerStrobeUpOnce(int route, bool on);
    // Speckle modes: prints "Strobe Flick now" when refused; a route outside 0..2 is refused
    // with 1.
    int PowerStrobeUpAnnounced(int route, bool on);

    // Records a strobe's power for route 0, 1 or both for 2 (nothing for another route).
    void RecordStrobePower(int route, bool on);

    // Strobe follows the trigger. Stripe modes: the flag is stored before the board is asked (it
    // stays set when the board refuses), and turning it on forgets the strobe states without a
    // board command.
    int SetStrobeControlByTriggerStripe(int route, bool on);
    // Speckle and laser modes: turning it on first switches every powered strobe off through the
    // object's PowerStrobeUp; turning it off switches both strobes off once the board has agreed.
    // `logSteps` writes the speckle mode's log lines.
    int SetStrobeControlByTriggerSwitchingOff(int route, bool on, bool logSteps);

    // Settings after a mode change or a reconnection (slot 71).
    // Stripe modes: strobes off, strobe flicker off, both video triggers on, the aiming cross
    // projected; the result is that of the last command.
    int ReValidStripeSettings();
    // Speckle modes: a running scan is started again; otherwise powered strobes and strobe-follows-
    // trigger are switched off and each route's remembered video trigger is put back.
    int ReValidSpeckleSettings();
    // Laser modes: every stored trigger setting and brightness is sent again, then the scan words
    // (m_scanFrameRate, m_scanSpacePercent); a running scan is started again, otherwise strobes
    // go off and the mono video trigger on.
    int ReValidLaserSettings();

    // Scan parameters of the speckle modes, in this order: frame rate (frames a second), space
    // percent, colour segregation count, colour line-trigger delay, with texture, with the mono
    // strobe light. 1 for fewer than six values or a frame rate of 0; the four board words go out
    // in their order, each only once the previous one was taken, and a refusal (3) leaves every
    // field as it was. On success the fields and m_timeStampArea take the new values.
    // `logAndKeepCopy`: the older board's speckle mode logs each step and keeps the whole list
    // for the reconnection first (kept even when the board refuses).
    int SetSpeckleScanParameter(const std::vector<int>& parameters, bool logAndKeepCopy);
    // Scan parameters of the laser modes: frame rate and space percent. 1 for fewer than two values
    // or a frame rate of 0; sends the period (1000 / rate) and the space percent, and keeps them
    // as m_scanFrameRate and m_scanSpacePercent. `keepCopy`: the list is kept for the
    // reconnection first.
    int SetLaserScanParameter(const std::vector<int>& parameters, bool keepCopy);

    // GetScanImages of every mode that hands its scan frames out through callbacks only: 1 when an
    // output vector is not empty, else 2 (nothing to hand out).
    static int NoScanImages(const std::vector<unsigned char*>& images,
                            const std::vector<int>& widths, const std::vector<int>& heights,
                            const std::vector<int>& channels);
    // SpeckleOrLaser of the older board's speckle modes: a speckle scan with the strobe, or the
    // laser lines with the mono video trigger on. 2 without a camera, 3 without a board, 4 when the
    // board refuses.
    int SwitchSpeckleOrLaser(bool bSpeckle);

    // The board's video-trigger and brightness commands; the E7 board has commands of its own.
    // The caller holds m_csProjector and has checked the board handle.
    virtual bool SwitchVideoTriggerOnBoard(int route, bool start);
    virtual bool SetBrightnessOnBoard(int percent);

    // ---- Helpers shared by the slots and the scan modes ----
    // Thread index of a logical camera, or -1 when camOrder is out of range (status 1).
    int ThreadIndexOf(int camOrder) const;
    // The camera thread of a logical camera, or null (missing thread or bad index).
    CPhysicalCameraThread* CameraOf(int camOrder) const;
    // The frame of every per-camera parameter slot: under m_csProjector, 1 for a camera number
    // outside the channel words, 2 (after `missing()`) when no camera thread serves it, else what
    // `body(camera, threadIndex)` returns. Defined where the slots are.
    template <typename Body, typename Missing>
    int WithCamera(int camOrder, Body body, Missing missing);
    template <typename Body>
    int WithCamera(int camOrder, Body body) {
        return WithCamera(camOrder, body, [] {});
    }
    // Camera threads, and sensors of one camera, that a channel word can number (four bits each).
    static constexpr int kMaxChannelRun = 16;
    // True when every run of equal serials and the number of runs fit the channel words.
    static bool FitsTheChannelWords(const std::vector<char*>& serials);
    // Channel words of a serial list (bits 0-3 repeat number, 4-7 thread index, 8+ position).
    static std::vector<std::uint32_t> ComputeChannelWords(const std::vector<char*>& serials,
                                                          std::vector<std::string>& runSerials);
    // Pixel type (colour-mode code 0..3) and bytes per pixel of a camera thread (0 bytes when
    // unreadable).
    static int PixelTypeOf(CPhysicalCameraThread* camera);
    static int BytesPerPixelOf(CPhysicalCameraThread* camera);
    // Tag handed to the second display and scan callbacks for a frame.
    int SecondCallBackTag(const unsigned char* frame) const;
    // Resets a camera to its initialised state (lock snap thread, initialise, unlock, forget the
    // last frame).
    static void ResetCameraToInitializedState(CPhysicalCameraThread* camera);
    // The board call behind slot 28 that every scan mode shares: 0, 2 without a board, 3.
    int ResetColorRoute();
    // The unsigned 64-bit time stamp after the image data of a frame.
    static std::uint64_t FrameTimeStamp(const unsigned char* frame, int width, int height,
                                        int channels);

    // Snap guard: saves m_bAutoReconnect in the process-wide copy and clears it; the restore
    // puts the process-wide copy back. One copy for the whole process: two synchronisers
    // snapping at once restore each other's value (kept as the system does it).
    void SaveAndClearAutoReconnect();
    void RestoreAutoReconnect();

    // Status thread body (locks: m_csProjector, then m_csStatusCallBack for the callback).
    unsigned StatusThreadFun();
    // Watchdog thread body (no locks; sleeps in 300 ms steps, supervision switched off).
    unsigned WatchdogThreadFun();
    // Pauses every camera thread, releases and re-creates its camera (threads stay paused).
    void ReInitializeCamera();
    // Stops the watchdog thread (flag, event, join) and closes its event.
    void StopWatchdog();
    // Stops, closes and deletes every camera thread (m_cameras left empty). Locks: m_csProjector.
    void DeleteCameraThreads();
    // Sleeps `ms` milliseconds, in short steps, and returns early once a shutdown was requested.
    // For the waits a scan makes while the host may be disconnecting.
    void SleepUnlessShutdown(std::uint32_t ms) const;
    // waitForEvents(all) on `events` for at most `timeoutMs`, in short steps, ending early (false)
    // once a shutdown was requested. True when every event was signalled in time.
    bool WaitAllUnlessShutdown(const std::vector<zeta::platform::Event*>& events,
                               std::uint32_t timeoutMs) const;

    // ---- Members, in the order of the object model ----
    zetaVoroSync::ScanFullCallBack m_pScanFullCallBack = nullptr;
    zetaVoroSync::TextureScanFullCallBack m_pTextureScanFullCallBack = nullptr;
    void* m_pScanFullUserData = nullptr;
    void* m_pTextureScanFullUserData = nullptr;
    // One record per logical camera; owned here, buffers malloc'd, freed by the destructor.
    std::vector<zetaVoroSync::_MY_IMAGE_*> m_fullImages;
    zeta::platform::CriticalSection m_csProjector;
    zeta::platform::CriticalSection m_csCallBack;
    zeta::platform::CriticalSection m_csFullCallBack;
    zeta::platform::CriticalSection m_csImageGroup;
    void* m_pStatusUserData = nullptr;
    std::unique_ptr<zeta::platform::Thread> m_hThread;  // status thread
    int m_modeValue = 0;
    std::string m_reserved;
    bool m_bNewPrtocol = false;
    void* m_hProjector = nullptr;
    std::atomic<int> m_modeSwitchState{-1};
    int m_projectorStatus = 0;
    std::uint32_t m_allCameraMask = 0;
    std::uint32_t m_arrivedCameraMask = 0;
    int m_timeStampArea = 0;
    bool m_bVideoPeriodDirty = false;
    bool m_bTriggerWidthDirty = false;
    bool m_bStrobeByTrigger = false;
    int m_strobeControlRoute = 0;
    int m_triggerLineOrder = 0;
    std::vector<int> m_cameraExposure;
    std::vector<int> m_cameraGain;
    std::vector<int> m_cameraGamma;
    std::vector<int> m_cameraSharpness;
    std::vector<CPhysicalCameraThread*> m_cameras;  // owned (delete)
    std::atomic<bool> m_bScanning{false};
    std::atomic<bool> m_bAutoReconnect{false};
    std::atomic<bool> m_bContinueStatusThread{false};
    zetaVoroSync::StatusCallBack m_pStatusCallBack = nullptr;
    int m_syncType = 0;
    std::atomic<bool> m_bContinueWatchdog{true};
    std::unique_ptr<zeta::platform::Thread> m_hWatchdogThread;
    std::unique_ptr<zeta::platform::Event> m_hWatchdogEvent;             // manual reset
    std::vector<std::unique_ptr<zeta::platform::Event>> m_cameraEvents;  // manual reset
    std::array<zeta::platform::Event*, kMaxWaitHandles> m_waitHandles{};
    int m_waitHandleCount = 0;
    zetaVoroSync::DisplayCallBack m_pDisplayCallBack = nullptr;
    zetaVoroSync::ScanCallBack m_pScanCallBack = nullptr;
    void* m_pDisplayUserData = nullptr;
    void* m_pScanUserData = nullptr;
    zetaVoroSync::DisplayCallBack2 m_pDisplayCallBack2 = nullptr;
    zetaVoroSync::ScanCallBack2 m_pScanCallBack2 = nullptr;
    void* m_pDisplayUserData2 = nullptr;
    void* m_pScanUserData2 = nullptr;
    std::vector<std::string> m_cameraSerials;     // serial of each thread (run of equal serials)
    std::vector<int> m_cameraResolution;          // 2k width, 2k+1 height of thread k
    std::vector<std::uint32_t> m_cameraChannels;  // channel word per logical camera
    std::string m_projectorPath;
    std::vector<int> m_textureExposure;
    // Four state flags of the status thread and the watchdog; the fourth is m_bReconnecting.
    // The first three belong to the switched-off supervision step of the watchdog.
    std::atomic<bool> m_bProjectorChecked{false};
    std::atomic<bool> m_bCamerasChecked{false};
    std::atomic<bool> m_bAutoReconnecting{false};
    std::atomic<bool> m_bReconnecting{false};
    // The watchdog holds the device as usable; while false the status thread reports 65534 as
    // the second status value.
    std::atomic<bool> m_bDeviceReady{true};
    int m_lastScanOperation = 0;
    std::atomic<bool> m_bStatusReadFailed{false};
    int m_savedVideoTrigger[2] = {-1, -1};
    bool m_bColorTrigleCopyFromMono = false;
    int m_timeStampType = 0;
    std::vector<int> m_scanParameters;

    // Per-route trigger settings; the subclass constructors give their starting values.
    int m_triggerWidth[2] = {-1, -1};
    int m_triggerVideoPeriod[2] = {-1, -1};
    bool m_bStrobePowered[2] = {false, false};
    int m_triggerPolarity[2] = {-1, -1};
    // Brightness last set through slot 12 (-1: never), sent again by the laser modes' settings.
    int m_projectorBrightness = -1;

    // Scan parameters. Each scan mode's constructor gives the ones it uses their defaults.
    // m_scanFrameRate is the scan's period in milliseconds for most modes (the stripe and
    // speckle-laser modes keep the host's value as it was given).
    int m_scanFrameRate = 0;
    int m_scanSpacePercent = 0;
    // The speckle modes' further scan parameters.
    int m_scanColorSegregationCount = 3;
    int m_scanColorDelayTime = 90;
    bool m_bScanWithTexture = false;
    bool m_bScanWithMonoStrobeLight = false;

    // Frame tag of the second callbacks when the top byte of m_modeValue is not 1.
    std::atomic<int> m_lastFrameCode{0};

    // Texture matcher state (its own records and arrived mask; m_allCameraMask is shared).
    std::vector<zetaVoroSync::_MY_IMAGE_*> m_textureImages;
    std::uint32_t m_textureArrivedMask = 0;

    // Only the first exposure / gain given to a colour (texture) camera after a connection
    // takes effect. Process-wide (shared by every synchroniser), re-armed by ReConnectDeviceEx.
    static std::atomic<bool> m_firstSetTextureExposure;
    static std::atomic<bool> m_firstSetTextureGain;

    // Teardown state (see Shutdown()).
    std::atomic<bool> m_bShutDown{false};
    std::atomic<bool> m_bShutdownRequested{false};

    // Status callback lock: guards m_pStatusCallBack / m_pStatusUserData while the status
    // thread calls back (taken after m_csProjector when both are held).
    zeta::platform::CriticalSection m_csStatusCallBack;
};
