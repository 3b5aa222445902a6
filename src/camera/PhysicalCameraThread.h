// CPhysicalCameraThread: one physical camera, reached through the camera library, with a grab
// thread that snaps its frames continuously and hands each good frame to two frame callbacks
// (the display callback and the scan callback), which the synchroniser installs.
//
// Locks: the pause lock, then the data lock (always in that order, released in reverse).
// - The grab thread holds both for every pass (snap and callbacks).
// - PauseThread() takes the pause lock on the caller's thread and keeps it until ResumeThread()
//   on the same thread: while paused, the grab loop blocks at the top of its next pass.
// - Callback swaps take only the pause lock; frame copies and snaps take only the data lock.
// The frame callbacks run on the grab thread with both locks held; they must copy what they keep
// and must not pause, resume or stop this thread.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "camera/PhysicalCameraThreadListener.h"
#include "platform/CriticalSection.h"
#include "platform/Thread.h"
#include "zetaVoroSync/zetaVoroSync.h"

// Frame callback of a camera thread: context, camera ID, frame (owned by the camera library,
// valid only during the call), width, height, frame code (1, 2 or 3; see ColorFormat.h).
using CameraFrameCallBack = zetaVoroSync::DisplayCallBack;

class CPhysicalCameraThread {
public:
    explicit CPhysicalCameraThread(PhysicalCameraThreadListener* listener);
    // Stops the grab thread, closes and releases the camera.
    virtual ~CPhysicalCameraThread();
    CPhysicalCameraThread(const CPhysicalCameraThread&) = delete;
    CPhysicalCameraThread& operator=(const CPhysicalCameraThread&) = delete;

    // --- Virtual operations (slot order) ---
    // Opens the camera with this serial at the requested size (stops and closes it first).
    virtual bool OpenCamera(const std::string& serial, int width, int height);
    // Reopens the camera after a device reconnection, with the stored selector and size.
    virtual bool ReOpenCamera();
    // Base: does nothing, returns true (the E7 camera selects a resolution preset).
    virtual bool SetResolution(int width, int height);

    // --- Enumeration, before any camera thread exists ---
    // Appends, per camera of `type` that could be opened and whose serial could be read, a
    // malloc'd 260-byte serial buffer (the caller frees it with free), the width, the height and
    // the colour flag. Returns the number of cameras described.
    static int GetAllSpecifyTypeCameraInformation(const std::string& type,
                                                  std::vector<char*>& serials,
                                                  std::vector<int>& widths,
                                                  std::vector<int>& heights,
                                                  std::vector<bool>& colors);
    static int GetSpecifyTypeCameraCount(const std::string& type);
    // 0 when every camera could be opened and measured, 1 otherwise.
    static int IsConnectOnU3(const std::string& type, bool& onU3);

    // --- Binding to the library ---
    bool InializeCamera(const char* devId);
    bool SetCameraID(int id);
    bool CloseCamera();
    bool ReleaseCamera();
    bool StartCamera();

    // --- Grab thread ---
    bool StartThread();
    bool StopThread();
    void PauseThread();
    void ResumeThread();
    void ResetStatusToInitialize();
    void LockLowLevelGrabThread(bool bLock);

    // --- Callbacks (only once a camera ID is set) ---
    void DisplayCallBackFunction(CameraFrameCallBack callBack, void* pUserData);
    void SetScanCallBackFunction(CameraFrameCallBack callBack, void* pUserData);

    // --- Parameters (false at once without a handle) ---
    bool SetExposureTime(long exposureUs);
    bool GetExposureTime(long& exposureUs);
    bool SetGain(int gain);
    bool GetGain(int& gain);
    bool SetSharpness(int sharpness);
    bool GetSharpness(int& sharpness);
    bool SetGamma(int gamma);
    bool GetGamma(int& gamma);
    // 0 = free run, 1 = triggered.
    bool SetTriggerMode(int mode);
    bool GetTriggerMode(int& mode);
    // Library binding size (0, 2, 3, 4).
    bool SetBinning(int size);
    bool AutoWhiteBalance(bool bOperateOrSet, float& rRatio, float& gRatio, float& bRatio);
    // The ratios stored by the last successful AutoWhiteBalance (-1.0 each before).
    void GetWhiteBalanceRatio(float& rRatio, float& gRatio, float& bRatio);
    // Live resolution of the whole frame.
    bool GetResolution(int& width, int& height);
    bool GetSerialNumber(std::string& serial);
    // Raw SN_IMG_FORMAT value.
    bool GetColorFormat(int& format);
    // Colour-mode code 0..3 (ColorFormat.h); -1 without a handle or when the query fails.
    int GetColorMode();
    // Channel count of the format (ColorFormat.h); 0 without a handle or when the query fails.
    int GetChannelNum();
    bool SpecifiedCameraTimeStampSource(int timeStampSrc);
    bool ResetCameraState();
    void SetCameraToInitializedState();
    void SetPrintSnapFailInfo(bool bPrint);
    bool GetDeviceTotal(int& total);

    // --- Frames ---
    // Every copy out of the camera's buffer is bounded by the frame the library delivered (the
    // camera's size belongs to the camera: another handle may open it smaller or larger than this
    // thread did) and by `targetBytes`, the size of `target`. Of the bytes the system copies
    // (buffer-size bytes, or the frame's own size for a camera serving several logical cameras),
    // what the frame holds is copied; every other byte of `target` up to `targetBytes` is zeroed.

    // Copies the current frame into `target`. False, with "No Data" printed, when there is no
    // frame.
    bool CopyCurrentFrame(unsigned char* target, std::size_t targetBytes);
    // Waits up to timeoutMs for the grab thread to hold a frame (polling under the data lock).
    // True when it does. Runs on the caller's thread; the grab thread keeps running.
    bool WaitForCurrentFrame(std::uint32_t timeoutMs);
    // Snaps directly (under the data lock) and copies buffer-size bytes into `target`; sets
    // `target` to null and returns false when the snap gave no data. `target` stays the caller's.
    bool SnapShot(unsigned char*& target, std::size_t targetBytes);
    // Cuts `frame`, `frameBytes` long, into its sensor images: appends one malloc'd plane per
    // sensor (the caller frees each with free), its width, height and channel count. The library
    // cuts a frame it did not deliver (a copy) by the camera's present size; such a frame shorter
    // than that size is not handed to it: false, nothing appended.
    bool SplitImage(const unsigned char* frame, std::size_t frameBytes,
                    std::vector<unsigned char*>& planes, std::vector<int>& widths,
                    std::vector<int>& heights, std::vector<int>& channels);
    // Bytes of a frame of this camera at width x height (the format's channel count as read at
    // open); 0 for a size that is not positive.
    std::size_t FrameBytesOf(int width, int height) const;
    void SetCameraComplexInfo(int complexInfo);
    int GetCameraComplexInfo() const;

    int GetCameraID() const;
    bool IsOpen() const;
    bool IsLastSnapOk() const;
    const std::string& GetSerial() const;

protected:
    // Grab loop. Runs on the grab thread until m_bRunning is cleared.
    // Locks per pass: pause lock, then data lock; the callbacks run inside both.
    unsigned ThreadFun();
    // Validates a frame and calls the callbacks; called by ThreadFun inside both locks.
    void HandleFrame(int width, int height, int frameCode);

    // Copies m_frameBytes bytes (at most `wanted`) of the current frame into `target` and zeroes
    // the rest of its `targetBytes`. Called with the data lock held.
    void CopyFrameInto(unsigned char* target, std::size_t targetBytes, std::size_t wanted) const;
    // Image bytes of the frame the library just delivered: its size as the library reports it
    // right after the snap, times the format's channel count; 0 when the size cannot be read.
    // Called with the data lock held, right after a successful snap.
    std::size_t DeliveredFrameBytes(int& width, int& height);

    zeta::platform::CriticalSection m_csData;   // guards m_pData, m_frameBytes and snapping
    zeta::platform::CriticalSection m_csPause;  // held by a paused owner
    void* m_camera = nullptr;                   // library camera handle
    int m_frameSequence = 0;
    std::atomic<bool> m_bRunning{false};
    std::atomic<bool> m_bOpen{false};
    int m_bufferSize = 0;
    std::unique_ptr<zeta::platform::Thread> m_hThread;
    std::atomic<bool> m_bPaused{false};
    std::atomic<bool> m_bPausing{false};
    unsigned char* m_pData = nullptr;  // latest frame; owned by the camera library
    // Image bytes of the frame m_pData points at, recorded when it was delivered; 0 without one.
    // The library reports only the camera's present size, so it is read right after each snap,
    // inside the data lock: a size change made through another handle in that instant is the one
    // case it cannot see.
    std::size_t m_frameBytes = 0;
    // Channel count of the camera's format, read at open (the format belongs to the camera and
    // does not change with its size).
    std::atomic<int> m_frameChannels{1};
    float m_rRatio = -1.0f;
    float m_gRatio = -1.0f;
    float m_bRatio = -1.0f;
    std::string m_serial;
    std::string devId;
    int m_width = 0;
    int m_height = 0;
    std::atomic<int> m_cameraID{-1};
    std::atomic<int> m_complexInfo{1};
    std::atomic<bool> m_bPrintSnapFail{true};
    CameraFrameCallBack m_pDisplayCallBack = nullptr;
    CameraFrameCallBack m_pScanCallBack = nullptr;
    void* m_pDisplayUserData = nullptr;
    void* m_pScanUserData = nullptr;
    std::atomic<bool> m_bLastSnapOk{false};
    bool m_bNoSleep = false;
    PhysicalCameraThreadListener* m_pListener = nullptr;
};
