// zetaVoroSync: acquisition library of the handheld structured-light scanner.
//
// A host connects to the scanner by naming a scan mode (ConnectDevice), sets camera and trigger
// parameters, snaps still images and runs scans; the library keeps the projector board's triggers
// and the cameras' frames in step and hands frames and frame groups to the host's callbacks.
//
// Conventions of every function below:
// - Every function returns a RETSTATUS. Success is RET_OPERATE_SUCCESS (7), NOT 0: 0 is
//   RET_OPERATE_FAILED.
// - The handle is the opaque value ConnectDevice fills. A null handle gives RET_HANDLE_NULL (but
//   RET_PARAMETER_ERROR from startSequenceScan, SetMonoColorSpan, SetStrobeLightingTime and
//   UpdateFirewareImageData); so does a handle that DisConnectDevice has already destroyed.
// - Buffers handed to the host (images, serial strings, status texts) are allocated with malloc;
//   the host frees each with free. Buffers the library keeps (frames handed to callbacks, scan
//   groups) say until when they stay valid.
// - Callbacks are plain functions. They run on the library's threads (see each registration)
//   and copy what they keep. A call a callback makes on its own handle that would wait for the
//   thread running the callback is refused with RET_OPERATE_FAILED and a log line (from a display,
//   scan or full-scan callback everything but registering display and scan callbacks; from any
//   callback DisConnectDevice). See docs/threading-and-ownership.md.
// - Calls on one handle may come from several host threads at once.
// - No exception leaves any function.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#if defined(_WIN32)
#if defined(ZETAVOROSYNC_BUILD)
#define ZETAVOROSYNC_API __declspec(dllexport)
#else
#define ZETAVOROSYNC_API __declspec(dllimport)
#endif
#else
#define ZETAVOROSYNC_API __attribute__((visibility("default")))
#endif

namespace zetaVoroSync {

// Result of every function. The values are part of the interface.
enum RETSTATUS : std::int32_t {
    RET_OPERATE_FAILED = 0,
    RET_PROJECTOR_UNCONNECTED = 1,
    RET_CAMERA_UNCONNECTED = 2,
    RET_PARAMETER_ERROR = 3,
    RET_SYNC_TYPE_UNSUPPORTED = 4,
    RET_OPERATION_UNSUPPORTED = 5,
    RET_HANDLE_NULL = 6,
    RET_OPERATE_SUCCESS = 7,
};

// Trigger / strobe output of the control board. Setters send any value other than 0 and 1 to
// both routes; getters accept only 0 and 1.
enum CONTROLROUTE : std::int32_t {
    CONTROLROUTE_MONO = 0,   // mono (geometry) cameras
    CONTROLROUTE_COLOR = 1,  // colour (texture) cameras
    CONTROLROUTE_BOTH = 2,
};

// Trigger pulse polarity. Setters send 1 for any non-zero value.
enum TRIGGERPOLARITY : std::int32_t {
    TRIGGERPOLARITY_LOW = 0,
    TRIGGERPOLARITY_HIGH = 1,
};

// Camera trigger mode. Setters send 1 (triggered) for any non-zero value.
enum TRIGGERMODE : std::int32_t {
    TRIGGERMODE_FREERUN = 0,
    TRIGGERMODE_TRIGGERED = 1,
};

// Pattern the projector shows. Values outside 0..12 are refused with RET_OPERATION_UNSUPPORTED.
enum PROJECTTYPES : std::int32_t {
    PROJECT_TEXTURE_WHITE = 0,
    PROJECT_RED = 1,
    PROJECT_GREEN = 2,
    PROJECT_BLUE = 3,
    PROJECT_WHITE = 4,
    PROJECT_AIM = 5,
    PROJECT_STRIPE = 6,
    PROJECT_CHECKERBOARD = 7,
    PROJECT_LASER_LINES = 8,
    PROJECT_GREY = 9,
    PROJECT_SPECKLE = 10,
    PROJECT_DOT_GRID = 11,
    PROJECT_NONE = 12,
};

// State of the distance indicator; any other value switches it off.
enum DISTANCESTATUS : std::int32_t {
    DISTANCE_OFF = 0,
    DISTANCE_NEAR = 1,
    DISTANCE_GOOD = 2,
    DISTANCE_FAR = 3,
};

// Camera binning; any other value means no binning.
enum BINNING_MODE : std::int32_t {
    BINNING_NONE = 0,
    BINNING_2X2 = 1,
    BINNING_3X3 = 2,
    BINNING_4X4 = 3,
};

// Source of the time stamp after each frame; any value other than 1 selects 0.
enum TIMESTAMP_TYPE : std::int32_t {
    TIMESTAMP_TRIGGER = 0,
    TIMESTAMP_CAMERA = 1,
};

// Scan parameters. Which fields the connected scan mode reads: see SetScanParameter.
struct SCANPARAMETERS {
    std::int32_t scanFrameRate;     // scan trigger period / frame rate (all modes)
    std::int32_t scanSpacePercent;  // projection duty percentage (laser, dual laser, speckle)
    std::int32_t scanColorSegregationCount;  // colour line-trigger segregation count (speckle)
    std::int32_t scanColorDelayTime;         // colour line-trigger delay (speckle)
    std::int32_t bScanWithTexture;           // 0/1: scan with texture frames (speckle)
    std::int32_t scanFrameCount;             // stripe: to the board; groups are 15 a camera
    std::int32_t bScanWithMonoStrobeLight;   // 0/1: mono strobe while scanning (speckle)
    std::int32_t speckleLaserParameter;      // second parameter of the speckle-laser mode
};

// One camera's image in a group handed to the full-scan callbacks. Owned by the library: valid
// only during the callback.
struct _MY_IMAGE_ {
    std::int32_t width;
    std::int32_t height;
    std::int32_t channels;  // bytes per pixel: 1 mono, 3 RGB
    unsigned char* data;    // width x height x channels bytes
};

// Live preview frame of one camera. Runs on that camera's grab thread; `data` is valid only
// during the call. `channels` is the frame code of the camera's format: 1 (8-bit mono, raw Bayer,
// and 16-bit RGB), 2 (16-bit mono) or 3 (8-bit RGB); a sensor image of a multi-sensor camera
// carries its channel count instead.
typedef void (*DisplayCallBack)(const void* const& pUserData, const int& cameraIndex,
                                const unsigned char* const& data, const int& width,
                                const int& height, const int& channels);
// Preview frame with one extra integer (a frame tag).
typedef void (*DisplayCallBack2)(const void* const& pUserData, const int& cameraIndex,
                                 const unsigned char* const& data, const int& width,
                                 const int& height, const int& channels, int frameTag);
// One scan frame of one camera; same threading and lifetime as DisplayCallBack.
typedef void (*ScanCallBack)(const void* const& pUserData, const int& cameraIndex,
                             const unsigned char* const& data, const int& width, const int& height,
                             const int& channels);
// Scan frame with one extra integer (a frame tag).
typedef void (*ScanCallBack2)(const void* const& pUserData, const int& cameraIndex,
                              const unsigned char* const& data, const int& width, const int& height,
                              const int& channels, int frameTag);
// One complete, time-matched group of frames, one record per camera index. Runs on the grab
// thread of the camera that completed the group; the records stay owned by the library.
typedef void (*ScanFullCallBack)(const void* const& pUserData, std::vector<_MY_IMAGE_*>& images);
// One group of texture frames; `bValid` false reports a group that was abandoned.
typedef void (*TextureScanFullCallBack)(const void* const& pUserData,
                                        std::vector<_MY_IMAGE_*>& images, const bool& bValid);
// Board status, every 200 ms on the handle's status thread: second status byte, two-bit state,
// three-bit state, board flag. 65535 in all three when the board could not be read.
typedef void (*StatusCallBack)(const void* const& pUserData, const unsigned long& status,
                               const unsigned long& stateHigh, const unsigned long& stateLow,
                               const bool& flag);
// Progress of a firmware image transfer in hundredths of a percent (0..10000), on the caller's
// thread. Note the user context is passed by value here.
typedef void (*UpdateProgressCallBack)(const void* pUserData, int percentage);

// --- Status texts --------------------------------------------------------------------------

// Replaces `text` with a new malloc'd copy of the status's text (the host frees it with free);
// an unknown status gives an empty string. A null `text` is left null and nothing is allocated:
// pass any non-null pointer to receive the text (the old pointer is neither read nor freed).
ZETAVOROSYNC_API void GetStatusDescriptionString(const RETSTATUS& status, char*& text);

// --- Connection and handle lifecycle -------------------------------------------------------

// Lists the attached cameras of a type. Appends one malloc'd serial (260 bytes, the host frees
// each with free), width, height and colour flag per camera; `cameraCount` = cameras described.
ZETAVOROSYNC_API RETSTATUS GetCamerasInformation(const char* const& cameraType,
                                                 std::vector<char*>& serials,
                                                 std::vector<int>& widths,
                                                 std::vector<int>& heights,
                                                 std::vector<bool>& flags, int& cameraCount);
// Number of attached cameras of a type.
ZETAVOROSYNC_API RETSTATUS GetCameraCount(const char* const& cameraType, int& count);
// Whether the cameras of the scanner's camera family run on a USB 3 link.
ZETAVOROSYNC_API RETSTATUS IsConnectedOnU3(const char* cameraName, bool& onU3);
// Creates the synchroniser of `mode` ("STRIPE", ...; exact, case-sensitive), opens the board at
// `projectorPath` and the cameras named by serial, and fills `handle`. The library owns the
// handle's object until DisConnectDevice.
ZETAVOROSYNC_API RETSTATUS ConnectDevice(const char* const& mode, const char* const& projectorPath,
                                         const std::vector<char*>& cameraNames,
                                         const std::vector<int>& cameraWidths,
                                         const std::vector<int>& cameraHeights, void*& handle);
// Stops every thread, closes cameras and board, destroys the object and nulls `handle`. Calls
// still running on the handle on other threads are woken (a waiting Scan fails) and waited for
// first; calls arriving meanwhile get RET_HANDLE_NULL. From one of the handle's callbacks:
// RET_OPERATE_FAILED, nothing done.
ZETAVOROSYNC_API RETSTATUS DisConnectDevice(void*& handle);
// Reopens board and cameras in place and restores the settings made through the handle.
ZETAVOROSYNC_API RETSTATUS ReconnectDevice(void* const& handle);
// Releases the cameras (the handle stays valid).
ZETAVOROSYNC_API RETSTATUS CloseDeviceCamera(void* const& handle);
// Chooses what automatic reconnection watches.
ZETAVOROSYNC_API RETSTATUS EnableAutoReconnect(void* const& handle, bool bEnable,
                                               bool bWatchProjector,
                                               const std::vector<bool>& watchCameras);
// The board's firmware version, through `handle` or, without one, through a temporary
// connection of `mode` to `projectorPath`.
ZETAVOROSYNC_API RETSTATUS GetFirewareVersion(void* handle, const char* mode,
                                              const char* projectorPath, std::string& version);

// --- Triggers, strobes and projector --------------------------------------------------------

ZETAVOROSYNC_API RETSTATUS PowerStrobeUp(void* const& handle, const CONTROLROUTE& route,
                                         const bool& bPowerOrNot);
ZETAVOROSYNC_API RETSTATUS SetStrobeControlledByTrigger(void* const& handle,
                                                        const CONTROLROUTE& route,
                                                        const bool& bControlled);
ZETAVOROSYNC_API RETSTATUS EnableIRProjectorAndLaser(void* const& handle, const bool& bIRProjector,
                                                     const bool& bLaser);
// Period in ms. The RGB snaps sleep the colour period twice holding the handle's main lock, so a
// long period (up to 65535 ms) holds every other call on the handle for that long.
ZETAVOROSYNC_API RETSTATUS SetVideoTriggerPeriod(void* const& handle, const CONTROLROUTE& route,
                                                 const int& period);
ZETAVOROSYNC_API RETSTATUS GetVideoTriggerPeriod(void* const& handle, const CONTROLROUTE& route,
                                                 int& period);
ZETAVOROSYNC_API RETSTATUS SetProjectorBrightness(void* const& handle, const int& percent);
ZETAVOROSYNC_API RETSTATUS GetProjectorBrightness(void* const& handle, int& percent);
ZETAVOROSYNC_API RETSTATUS SetTriggerPulseWidth(void* const& handle, const CONTROLROUTE& route,
                                                const int& width);
ZETAVOROSYNC_API RETSTATUS GetTriggerPulseWidth(void* const& handle, const CONTROLROUTE& route,
                                                int& width);
ZETAVOROSYNC_API RETSTATUS SetTriggerPolarity(void* const& handle, const CONTROLROUTE& route,
                                              const TRIGGERPOLARITY& polarity);
ZETAVOROSYNC_API RETSTATUS GetTriggerPolarity(void* const& handle, const CONTROLROUTE& route,
                                              TRIGGERPOLARITY& polarity);
// Starts or stops the continuous (video) trigger of a route.
ZETAVOROSYNC_API RETSTATUS EnableVideoTrigger(void* const& handle, const CONTROLROUTE& route,
                                              const bool& bEnable);
ZETAVOROSYNC_API RETSTATUS PushSingleTrigger(void* const& handle, const CONTROLROUTE& route);
// Shows a pattern; retried up to 10 times, 50 ms apart, while the board refuses.
ZETAVOROSYNC_API RETSTATUS Project(void* const& handle, const PROJECTTYPES& type);
ZETAVOROSYNC_API RETSTATUS SetDistanceIndicate(void* const& handle, const DISTANCESTATUS& status);
ZETAVOROSYNC_API RETSTATUS EnableZoomFunction(void* const& handle, const bool& bEnable);
ZETAVOROSYNC_API RETSTATUS ResetColorModule(void* const& handle);
ZETAVOROSYNC_API RETSTATUS EnterFixScanFastMode(void* const& handle);
ZETAVOROSYNC_API RETSTATUS EnterFixScanFreeProjectMode(void* const& handle);

// --- Cameras (index = position in the serial list given to ConnectDevice) ----------------

ZETAVOROSYNC_API RETSTATUS GetConnectCameraCount(void* const& handle, int& count);
// Exposure in milliseconds; sent to the camera in whole microseconds, which must fit a 32-bit
// integer (NaN, infinities and larger values give RET_PARAMETER_ERROR, sending nothing).
ZETAVOROSYNC_API RETSTATUS SetCameraExposure(void* const& handle, const int& cameraIndex,
                                             const double& exposureMs);
ZETAVOROSYNC_API RETSTATUS GetCameraExposure(void* const& handle, const int& cameraIndex,
                                             double& exposureMs);
ZETAVOROSYNC_API RETSTATUS SetCameraGain(void* const& handle, const int& cameraIndex,
                                         const int& gain);
ZETAVOROSYNC_API RETSTATUS GetCameraGain(void* const& handle, const int& cameraIndex, int& gain);
ZETAVOROSYNC_API RETSTATUS SetCameraSharpness(void* const& handle, const int& cameraIndex,
                                              const int& sharpness);
ZETAVOROSYNC_API RETSTATUS GetCameraSharpness(void* const& handle, const int& cameraIndex,
                                              int& sharpness);
ZETAVOROSYNC_API RETSTATUS SetCameraGamma(void* const& handle, const int& cameraIndex,
                                          const int& gamma);
ZETAVOROSYNC_API RETSTATUS GetCameraGamma(void* const& handle, const int& cameraIndex, int& gamma);
ZETAVOROSYNC_API RETSTATUS SetCameraTriggerMode(void* const& handle, const int& cameraIndex,
                                                const TRIGGERMODE& mode);
ZETAVOROSYNC_API RETSTATUS GetCameraTriggerMode(void* const& handle, const int& cameraIndex,
                                                TRIGGERMODE& mode);
// `serial` must be null on entry; it receives a malloc'd string the host frees with free.
ZETAVOROSYNC_API RETSTATUS GetCameraSerialNumber(void* const& handle, const int& cameraIndex,
                                                 char*& serial);
ZETAVOROSYNC_API RETSTATUS GetCameraResolution(void* const& handle, const int& cameraIndex,
                                               int& width, int& height);
ZETAVOROSYNC_API RETSTATUS IsCameraColor(void* const& handle, const int& cameraIndex, bool& bColor);
// Zero ratios ask the colour camera to balance itself; non-zero ratios are applied. The ratios
// in effect are returned.
ZETAVOROSYNC_API RETSTATUS SpecifyCameraDoWhiteBalance(void* const& handle, const int& cameraIndex,
                                                       float& rRatio, float& bRatio);
ZETAVOROSYNC_API RETSTATUS GetSpecifyCameraWBRatio(void* const& handle, const int& cameraIndex,
                                                   float& rRatio, float& bRatio);
ZETAVOROSYNC_API RETSTATUS SetCameraBinning(void* const& handle, const int& cameraIndex,
                                            BINNING_MODE mode);
ZETAVOROSYNC_API RETSTATUS GetSpecifyCameraChannelNum(void* const& handle, const int& cameraIndex,
                                                      int& channels);
// Switches the console lines about failed snaps on or off for every camera.
ZETAVOROSYNC_API RETSTATUS PrintCameraSnapFailInfomation(void* const& handle, const bool& bPrint);

// --- Callbacks (a null callback unregisters; registering waits for a running call) --------

ZETAVOROSYNC_API RETSTATUS SetDisplayCallBackFunction(void* const& handle, DisplayCallBack callback,
                                                      void* pUserData);
// Refused with RET_OPERATION_UNSUPPORTED in the stripe mode (use GetScanImages).
ZETAVOROSYNC_API RETSTATUS SetScanCallBackFunction(void* const& handle, ScanCallBack callback,
                                                   void* pUserData);
ZETAVOROSYNC_API RETSTATUS SetDisplayCallBackFunction2(void* const& handle,
                                                       DisplayCallBack2 callback, void* pUserData);
ZETAVOROSYNC_API RETSTATUS SetScanCallBackFunction2(void* const& handle, ScanCallBack2 callback,
                                                    void* pUserData);
ZETAVOROSYNC_API RETSTATUS SetScanFullCallBackFunction(void* const& handle,
                                                       ScanFullCallBack callback, void* pUserData);
ZETAVOROSYNC_API RETSTATUS SetTextureScanFullCallBackFunction(void* const& handle,
                                                              TextureScanFullCallBack callback,
                                                              void* pUserData);
// Starts the handle's status thread (once) and registers the callback it reports to.
ZETAVOROSYNC_API RETSTATUS SetStatusCallBackFunction(void* const& handle, StatusCallBack callback,
                                                     void* pUserData);

// --- Scans ---------------------------------------------------------------------------------

// The last scan group, ordered frame by frame and camera by camera. The vectors must be empty on
// entry. The images stay owned by the library and valid until the next Scan.
ZETAVOROSYNC_API RETSTATUS GetScanImages(void* const& handle, std::vector<unsigned char*>& images,
                                         std::vector<int>& widths, std::vector<int>& heights,
                                         std::vector<int>& channels);
// Stripe reads fields 0 and 5; laser and dual laser 0 and 1; speckle 0, 1, 2, 3, 4 and 6;
// speckle-laser 0 and 7. The E7 and sequence modes refuse it with RET_PARAMETER_ERROR.
// The stripe Scan settles for four scan periods (field 0, in ms) before the board starts, holding
// the handle's main lock: with 65535 a scan takes minutes and every other call waits for it.
ZETAVOROSYNC_API RETSTATUS SetScanParameter(void* const& handle, const SCANPARAMETERS& parameters);
// The stripe mode accepts it and does nothing.
ZETAVOROSYNC_API RETSTATUS Scan(void* const& handle, const bool& start, int count);
// In the stripe mode one call runs one whole, blocking scan, whatever `start` is.
ZETAVOROSYNC_API RETSTATUS Scan(void* const& handle, const bool& start);
ZETAVOROSYNC_API RETSTATUS SpeckleOrLaser(void* const& handle, const bool& bSpeckle);
ZETAVOROSYNC_API RETSTATUS startSequenceScan(void* const& handle, int nSequenceCount);
ZETAVOROSYNC_API RETSTATUS startSequenceScan(void* const& handle, int nSequenceCount,
                                             int scanParam);
ZETAVOROSYNC_API RETSTATUS stopSequenceScan(void* const& handle);
ZETAVOROSYNC_API RETSTATUS ResetBuffer(void* const& handle);

// --- Time stamps and miscellaneous -----------------------------------------------------------

ZETAVOROSYNC_API RETSTATUS ResetCameraTimeStamp(void* const& handle, int route);
ZETAVOROSYNC_API RETSTATUS ResetCameraTimeStamp(void* const& handle);
ZETAVOROSYNC_API RETSTATUS SpecifiedTimeStampType(void* const& handle, TIMESTAMP_TYPE type);
// Accepts 640 x 512, 704 x 576 and 1280 x 1024 only.
ZETAVOROSYNC_API RETSTATUS ResetVideoWidthHeight(void* const& handle, int width, int height);
// Span 0..4.
ZETAVOROSYNC_API RETSTATUS SetMonoColorSpan(void* const& handle, int nSpan);
// Time 0..10000.
ZETAVOROSYNC_API RETSTATUS SetStrobeLightingTime(void* const& handle, const int& camOrder,
                                                 int nTime);
// Writes a firmware image (or a splash image, for a path ending in ".SPLASH") into the board,
// reporting progress on the caller's thread. Takes several seconds, during which the handle's
// board, camera and snap calls wait (the progress callback runs with the handle's main lock held).
// Only a regular file of known size, at most 64 MiB, is sent; anything else fails like a file
// that cannot be opened.
ZETAVOROSYNC_API RETSTATUS UpdateFirewareImageData(void* const& handle, const wchar_t* path,
                                                   int imageType,
                                                   UpdateProgressCallBack progressCallBack,
                                                   void* pUserData);

// --- Still capture (every image handed out is malloc'd; the host frees it with free) -------
// An image has the size the camera delivers when it is snapped, which need not be the size the
// handle opened it at: a camera has one size, set by the last ConnectDevice that opened it.

// One image of one camera. `image` must be null on entry.
ZETAVOROSYNC_API RETSTATUS SnapSingleImageFromSpecifyCamera(void* const& handle,
                                                            const int& cameraIndex,
                                                            unsigned char*& image, int& width,
                                                            int& height, int& channels);
// One RGB image (3 bytes a pixel) of one camera: straight from a colour camera, or composed from
// three mono shots under red, green and blue light. `image` must be null on entry.
ZETAVOROSYNC_API RETSTATUS SnapRGBImageFromSpecifyCamera(void* const& handle,
                                                         const int& cameraIndex,
                                                         unsigned char*& image, int& width,
                                                         int& height);
// Projects `type`, then one image of every mono camera. The vectors must be empty on entry.
// With a colour camera connected it returns RET_OPERATE_FAILED, and the mono images it took are
// still in `images`: the host frees them as well.
ZETAVOROSYNC_API RETSTATUS SnapSingleGroupImages(void* const& handle, const PROJECTTYPES& type,
                                                 std::vector<unsigned char*>& images,
                                                 std::vector<int>& widths,
                                                 std::vector<int>& heights,
                                                 std::vector<int>& channels);
// One RGB image of every camera. The vectors must be empty on entry.
ZETAVOROSYNC_API RETSTATUS SnapSingleGroupRGBImages(void* const& handle,
                                                    std::vector<unsigned char*>& images,
                                                    std::vector<int>& widths,
                                                    std::vector<int>& heights);

}  // namespace zetaVoroSync
