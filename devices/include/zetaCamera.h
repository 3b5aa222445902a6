// The camera library.
//
// A camera handle is created by CreateCamera from a device selector: a camera type name, which
// makes an enumeration handle for the cameras of that type, or a serial number, which names one
// camera. OpenCamera binds the handle to one camera; CloseCamera unbinds it; ReleaseCamera
// destroys it. Any call on a null, released or unknown handle fails and writes none of its
// outputs; so does a call on a camera that is unplugged.
//
// Success conventions differ per operation and are part of the interface (see each line):
// most int operations succeed with 0; SetBinningSize succeeds with non-zero; GetCameraIntParam
// and SetCameraIntParam succeed with false.
#pragma once

#include <string>
#include <vector>

#include "zetaDeviceExport.h"

namespace zetaCamera {

// Colour format of a camera's frames. Bytes per pixel: 1, 2, 1, 3 and 6.
enum SN_IMG_FORMAT : int {
    SN_IMG_MONO8 = 1,
    SN_IMG_MONO16 = 2,
    SN_IMG_RGBRAW = 16,  // one Bayer sample per pixel
    SN_IMG_RGB888 = 17,
    SN_IMG_RGB48 = 18,
};

// Integer parameters of GetCameraIntParam / SetCameraIntParam. Other values are refused.
enum CAMPARAM : int {
    CAMPARAM_SHARPNESS = 6,
    CAMPARAM_GAMMA = 7,
    CAMPARAM_RESOLUTION = 20,  // preset 0: 640 x 512, 1: 704 x 576, 2: 1280 x 1024
};

enum SN_TRIG_MODE : int {
    SN_TRIG_FREERUN = 0,
    SN_TRIG_EXTERNAL = 1,
};

// Where the time stamp after each frame comes from.
enum TIMESTAMP_SRC : int {
    TIMESTAMP_SRC_TRIGGER = 0,  // the trigger pulse's stamp: equal for the cameras of one pulse
    TIMESTAMP_SRC_CAMERA = 1,   // the camera's own clock
};

// int, 0 = ok. `handle` receives a new handle, or null on failure.
ZETA_CAMERA_API int CreateCamera(void*& handle, const char* selector);
// int, 0 = ok. Number of present cameras of the handle's type.
ZETA_CAMERA_API int GetDeviceTotal(void* handle, int& total);
// int, 0 = ok. Opens the index-th present camera of the handle's type. A size of 0 x 0 keeps the
// camera's resolution; another size selects that region of the frame.
ZETA_CAMERA_API int OpenCamera(void* handle, int index, int width, int height);
// int, 0 = ok. Opens the camera with this serial number.
ZETA_CAMERA_API int OpenCamera(void* handle, const char* serial, int width, int height);
// int, 0 = ok. The handle survives and can be opened again.
ZETA_CAMERA_API int CloseCamera(void* handle);
// Destroys the handle and nulls the caller's variable.
ZETA_CAMERA_API void ReleaseCamera(void*& handle);
// int, 0 = ok. Starts delivery of frames to this handle. `frameRate` 0.0 keeps the camera's rate.
ZETA_CAMERA_API int StartCamera(void* handle, double frameRate);
// int, 0 = ok with `data` non-null. Blocks until the next frame or the camera's snap time-out.
// `data` points at the camera's own buffer: width x height x bytes-per-pixel of image (all sensor
// images of a multi-sensor camera side by side), then the frame's 64-bit time stamp. It stays
// valid until this handle's next SnapShot, CloseCamera or ReleaseCamera.
ZETA_CAMERA_API int SnapShot(void* handle, unsigned char*& data);
// bool. Cuts a frame of this handle's camera into its sensor images and appends, per sensor
// image, a block allocated with malloc (the caller frees it with free), its width, height and
// format. A single-sensor camera gives one block.
ZETA_CAMERA_API bool SplitImage(void* handle, std::vector<unsigned char*>& planes,
                                std::vector<int>& widths, std::vector<int>& heights,
                                std::vector<SN_IMG_FORMAT>& formats, const unsigned char* frame);
// bool. While locked, the camera delivers no frames to this handle (frames are not queued).
ZETA_CAMERA_API bool LockSnapThread(void* handle, bool lock);
// Wakes every SnapShot blocked on this handle's camera; they return a failure.
ZETA_CAMERA_API void UnlockOthers(void* handle);
ZETA_CAMERA_API int GetExposureTime(void* handle, long& microseconds);
ZETA_CAMERA_API int SetExposureTime(void* handle, long microseconds);
ZETA_CAMERA_API int GetGain(void* handle, int& gain);
ZETA_CAMERA_API int SetGain(void* handle, int gain);
ZETA_CAMERA_API int GetGainRange(void* handle, int& minGain, int& maxGain);
// int, 0 = ok. Size of the whole frame (a multi-sensor camera: all sensor images side by side).
ZETA_CAMERA_API int GetResolution(void* handle, int& width, int& height);
ZETA_CAMERA_API int GetSerialNo(void* handle, std::string& serial);
ZETA_CAMERA_API int GetColorMode(void* handle, SN_IMG_FORMAT& format);
// bool, true = ok; type is above 0 for a working camera.
ZETA_CAMERA_API bool GetDeviceType(void* handle, int& type);
ZETA_CAMERA_API int GetTriggerMode(void* handle, SN_TRIG_MODE& mode);
ZETA_CAMERA_API int SetTriggerMode(void* handle, SN_TRIG_MODE mode, int source, int delay,
                                   int edge);
// int, NON-ZERO = ok. Size 0 (none), 2, 3 or 4.
ZETA_CAMERA_API int SetBinningSize(void* handle, int size);
// bool, FALSE = ok.
ZETA_CAMERA_API bool GetCameraIntParam(void* handle, CAMPARAM param, int& value);
// bool, FALSE = ok.
ZETA_CAMERA_API bool SetCameraIntParam(void* handle, CAMPARAM param, int value);
// bool, true = ok. `operate` true: the camera balances itself and returns its ratios;
// false: the given ratios are applied. Colour cameras only.
ZETA_CAMERA_API bool AutoWhiteBalance(void* handle, bool operate, float& r, float& g, float& b);
// bool, true = ok. Restarts the camera's acquisition: queued frames are dropped.
ZETA_CAMERA_API bool ResetCameraState(void* handle);
// Drops this handle's queued frames; it then delivers only frames exposed after the call.
ZETA_CAMERA_API void SetCameraToInitializedState(void* handle);
ZETA_CAMERA_API bool SpecifiedCameraTimeStampSource(void* handle, TIMESTAMP_SRC source);

}  // namespace zetaCamera
