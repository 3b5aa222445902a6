// zetaVoroSyncControl: the exported functions of namespace zetaVoroSync.
//
// Each function checks the handle, converts the public enumerations, calls one virtual slot of
// the synchroniser behind the handle and maps the slot's small integer result to a RETSTATUS.
// The functions take no lock of their own: the slots lock what they touch. They run on the
// host's calling threads.
//
// Handles: a handle is the IShotSync that ConnectDevice created. Every function that uses a handle
// first takes it through SyncCall: a non-null handle that is not live (DisConnectDevice destroyed
// it) would otherwise be a use of freed memory, so it is refused with RET_HANDLE_NULL and a log
// line instead, which is the nearest safe answer. SyncCall holds a lease on the object for the
// call, so a DisConnectDevice on another thread waits for the call to return before it destroys
// the object; and it refuses, with RET_OPERATE_FAILED and a log line, a call made from one of the
// handle's own callbacks that would wait for the thread running that callback.
//
// No exception leaves an exported function: every body runs inside guarded(), which turns an
// exception into RET_OPERATE_FAILED and a log line.
#include <glog/logging.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "SyncCall.h"
#include "SyncRegistry.h"
#include "camera/PhysicalCameraThread.h"
#include "platform/Console.h"
#include "platform/ProcessLifetime.h"
#include "platform/Sleep.h"
#include "platform/TraceBuffer.h"
#include "sync/IShotSync.h"
#include "zetaImageLoad.h"
#include "zetaVoroSync/zetaVoroSync.h"

#ifndef ZETAVOROSYNC_U3_CAMERA_PREFIX
#error "ZETAVOROSYNC_U3_CAMERA_PREFIX must be defined by the build (two upper-case letters)"
#endif

namespace zetaVoroSync {

// Number of the mode ConnectDevice created last (its own numbering, not the sync type of the
// object); DisConnectDevice destroys an object only while it is 1 to 9 and then sets it to 0.
// One value for the whole process: a second connected handle overwrites the first one's number.
// Nothing protects it beyond being atomic (hosts must not connect and disconnect concurrently).
std::atomic<int> g_deviceType{0};

namespace {

using zeta::api::CallNeeds;
using zeta::api::SyncCall;
using zeta::api::SyncRegistry;

// ---- Build configuration ------------------------------------------------------------------

constexpr char kU3CameraPrefix[] = ZETAVOROSYNC_U3_CAMERA_PREFIX;
constexpr bool isUpperAscii(char c) {
    return c >= 'A' && c <= 'Z';
}
static_assert(sizeof(kU3CameraPrefix) == 3 && isUpperAscii(kU3CameraPrefix[0]) &&
                  isUpperAscii(kU3CameraPrefix[1]),
              "ZETAVOROSYNC_U3_CAMERA_PREFIX must be two upper-case letters");

constexpr const char* kLibraryVersion = "1.0.2.3";

// ---- Exception barrier ------------------------------------------------------------------------

template <typename Body>
RETSTATUS guarded(const char* function, Body&& body) noexcept {
    try {
        return body();
    } catch (const std::exception& e) {
        try {
            LOG(INFO) << "zetaVoroSync exception in " << function << ": " << e.what();
        } catch (...) {
        }
    } catch (...) {
        try {
            LOG(INFO) << "zetaVoroSync exception in " << function;
        } catch (...) {
        }
    }
    return RET_OPERATE_FAILED;
}

// ---- Handles ----------------------------------------------------------------------------------

// The common shape of an export: the exception guard, the handle check (SyncCall), then one slot
// call whose result `call` maps to a RETSTATUS.
template <class Call>
RETSTATUS forwardToSlot(void* const& handle, const char* function, Call&& call,
                        CallNeeds needs = CallNeeds::MainLock) noexcept {
    return guarded(function, [&] {
        SyncCall sync(handle, function, needs);
        if (!sync) return sync.refusal();
        return call(*sync.get());
    });
}

// An object the library leaves alive but never uses again: its threads stop and its devices
// close now; the registry keeps the memory (and refuses the handle) until the process ends.
void keepRetired(IShotSync* sync) {
    sync->Retire();
    SyncRegistry::instance().abandon(sync);
}

// ---- Conversions ------------------------------------------------------------------------------

// Setters: 0 and 1 address one route, anything else both.
int setterRoute(CONTROLROUTE route) {
    return route == CONTROLROUTE_MONO || route == CONTROLROUTE_COLOR ? static_cast<int>(route) : 2;
}

// Getters accept one route only.
bool isSingleRoute(CONTROLROUTE route) {
    return route == CONTROLROUTE_MONO || route == CONTROLROUTE_COLOR;
}

// Public pattern -> the synchroniser's pattern code; -1 outside 0..12. The synchroniser turns
// the code into the board's pattern with a second table of its own: both steps are kept because
// other operations call the synchroniser with pattern codes directly.
int patternCodeOf(int publicPattern) {
    static constexpr int kPatternCodes[13] = {4, 9, 10, 11, 3, 1, 2, 8, 5, 6, 7, 12, 0};
    if (publicPattern < 0 || publicPattern > 12) return -1;
    return kPatternCodes[publicPattern];
}

// Public distance state -> the synchroniser's state: 2 and 3 swap on purpose.
int distanceStateOf(int status) {
    switch (status) {
        case 1:
            return 1;
        case 2:
            return 3;
        case 3:
            return 2;
        default:
            return 0;
    }
}

// ---- Result mappings (slot result -> RETSTATUS) -----------------------------------------------

RETSTATUS mapPRJ(int r) {
    if (r == 2) return RET_PROJECTOR_UNCONNECTED;
    if (r == 3) return RET_OPERATE_FAILED;
    return RET_OPERATE_SUCCESS;
}

RETSTATUS mapCAM(int r) {
    if (r == 1) return RET_PARAMETER_ERROR;
    if (r == 2) return RET_OPERATE_FAILED;
    return RET_OPERATE_SUCCESS;
}

RETSTATUS mapCAM2(int r) {
    if (r == 1) return RET_PARAMETER_ERROR;
    if (r == 2) return RET_CAMERA_UNCONNECTED;
    return RET_OPERATE_SUCCESS;
}

RETSTATUS mapCAM4(int r) {
    switch (r) {
        case 1:
            return RET_PARAMETER_ERROR;
        case 2:
            return RET_CAMERA_UNCONNECTED;
        case 3:
            return RET_OPERATION_UNSUPPORTED;
        case 4:
            return RET_OPERATE_FAILED;
        default:
            return RET_OPERATE_SUCCESS;
    }
}

RETSTATUS mapCBK(int r) {
    switch (r) {
        case 1:
            return RET_PARAMETER_ERROR;
        case 2:
            return RET_CAMERA_UNCONNECTED;
        case 3:
            return RET_OPERATION_UNSUPPORTED;
        default:
            return RET_OPERATE_SUCCESS;
    }
}

RETSTATUS mapSNP(int r) {
    switch (r) {
        case 1:
            return RET_PARAMETER_ERROR;
        case 2:
            return RET_CAMERA_UNCONNECTED;
        case 3:
            return RET_OPERATE_FAILED;
        default:
            return RET_OPERATE_SUCCESS;
    }
}

RETSTATUS mapF3(int r) {
    return r == 3 ? RET_OPERATE_FAILED : RET_OPERATE_SUCCESS;
}
RETSTATUS mapF2(int r) {
    return r == 2 ? RET_OPERATE_FAILED : RET_OPERATE_SUCCESS;
}
RETSTATUS mapBOOL(bool ok) {
    return ok ? RET_OPERATE_SUCCESS : RET_OPERATE_FAILED;
}

// ---- Diagnostic image files of the RGB snaps ----------------------------------------------

// Numbers of the diagnostic files, one counter per file family, for the whole process.
std::atomic<int> g_rgbGroupFileCounter{0};  // "RGBImage_%d.bmp"
std::atomic<int> g_rgbSnapFileCounter{0};   // "./RGB/RGBImage_%d_%d.bmp"

// Writes a snapped image through the image library; false when there is nothing to write or the
// write fails (for example a missing folder).
bool writeSnapImage(const std::string& path, const unsigned char* data, int width, int height,
                    int bytesPerPixel) {
    if (data == nullptr || width <= 0 || height <= 0) return false;
    return zetaImageLoad::zetaWriteImage(path.c_str(), data, width, height, bytesPerPixel);
}

std::string formatPath(const char* format, int a, int b = 0) {
    char path[256];
    std::snprintf(path, sizeof path, format, a, b);
    return path;
}

// Bytes per pixel of an image the RGB snaps hand out for logical camera `index`. They are three
// bytes a pixel, except for a raw colour camera (one byte a pixel): the group snap stores its
// block as the camera delivers it, and the single snap keeps a multi-sensor raw camera's
// sub-image as it is. The diagnostics below read
// and write width x height x 3 bytes of an image; for those blocks that would run past their end,
// so they use the block's own size instead (nearest safe thing). Without an answer from the
// camera the smaller size is assumed.
int snapBytesPerPixel(IShotSync* sync, int index, bool groupSnap) {
    bool color = false;
    if (sync->IsCameraColor(index, color) != 0) return 1;
    if (!color) return 3;
    int channels = 0;
    if (sync->GetSpecifyCameraChannelNum(index, channels) != 0) return 1;
    if (channels != 1) return 3;
    if (groupSnap) return 1;
    // A raw colour camera's single image is widened to three bytes a pixel, a sub-image of a
    // camera that serves several logical cameras is handed out as it is. (Telling them apart by
    // comparing the image's width with the camera's would take a single-sensor camera named twice
    // in a row for a whole frame and read three times its sub-image.)
    return sync->IsComplexCamera(index) ? 1 : 3;
}

// Dumps the first image of an RGB group into "RGBImage_%d.bmp" (the next number of the process
// counter). The image is copied first: the group's buffers stay the caller's.
void dumpFirstGroupImage(IShotSync* sync, const std::vector<unsigned char*>& images,
                         const std::vector<int>& widths, const std::vector<int>& heights) {
    if (images.empty() || widths.empty() || heights.empty()) return;
    const int width = widths[0];
    const int height = heights[0];
    if (images[0] == nullptr || width <= 0 || height <= 0) return;
    const int bytesPerPixel = snapBytesPerPixel(sync, 0, true);
    const std::size_t bytes = static_cast<std::size_t>(width) * height * bytesPerPixel;
    std::vector<unsigned char> copy(images[0], images[0] + bytes);
    const int number = g_rgbGroupFileCounter.fetch_add(1);
    writeSnapImage(formatPath("RGBImage_%d.bmp", number), copy.data(), width, height,
                   bytesPerPixel);
}

}  // namespace

// =============================================================================================
// Status texts
// =============================================================================================

void GetStatusDescriptionString(const RETSTATUS& status, char*& text) {
    try {
        // A null target receives nothing: callers pass any non-null pointer to get a text.
        if (text == nullptr) return;
        const char* description = "";
        switch (static_cast<std::int32_t>(status)) {
            case RET_OPERATE_FAILED:
                description = "Operate failed";
                break;
            case RET_PROJECTOR_UNCONNECTED:
                description = "Connect projector failed or projector is not connected";
                break;
            case RET_CAMERA_UNCONNECTED:
                description = "Connect camera(s) failed or camera(s) is(are) not connected";
                break;
            case RET_PARAMETER_ERROR:
                description =
                    "Parameter which you input, for example, NULL pointer, error size of array "
                    "or error value";
                break;
            case RET_SYNC_TYPE_UNSUPPORTED:
                description = "The synchronism type which you input is not supported";
                break;
            case RET_OPERATION_UNSUPPORTED:
                description =
                    "The operation is not be supported by the current device or operation not be "
                    "support in current function";
                break;
            case RET_HANDLE_NULL:
                description = "You have not connected the device, so please connect device first";
                break;
            case RET_OPERATE_SUCCESS:
                description = "Operate success";
                break;
            default:
                break;
        }
        const std::size_t length = std::strlen(description);
        // The caller owns the new buffer and frees it with free; its old pointer is neither read
        // nor freed. Without memory the caller's pointer is left as it was.
        char* buffer = static_cast<char*>(std::malloc(length + 1));
        if (buffer == nullptr) return;
        std::memset(buffer, 0, length + 1);
        std::memcpy(buffer, description, length);
        text = buffer;
    } catch (...) {
        // Nothing to report through a void function; the caller's pointer is unchanged.
    }
}

// =============================================================================================
// Connection and handle lifecycle
// =============================================================================================

RETSTATUS GetCamerasInformation(const char* const& cameraType, std::vector<char*>& serials,
                                std::vector<int>& widths, std::vector<int>& heights,
                                std::vector<bool>& flags, int& cameraCount) {
    return guarded("GetCamerasInformation", [&] {
        LOG(INFO) << "zetaVoroSync version: " << kLibraryVersion;
        // A null type names no camera: nothing is enumerated (a string cannot be made of it).
        if (cameraType == nullptr) {
            cameraCount = 0;
        } else {
            const std::string type(cameraType);
            cameraCount = CPhysicalCameraThread::GetAllSpecifyTypeCameraInformation(
                type, serials, widths, heights, flags);
        }
        LOG(INFO) << "SerialsCount:" << serials.size();
        LOG(INFO) << "cameraCount:" << cameraCount;
        return RET_OPERATE_SUCCESS;
    });
}

RETSTATUS GetCameraCount(const char* const& cameraType, int& count) {
    return guarded("GetCameraCount", [&] {
        if (cameraType == nullptr) {
            count = 0;
        } else {
            const std::string type(cameraType);
            count = CPhysicalCameraThread::GetSpecifyTypeCameraCount(type);
        }
        return RET_OPERATE_SUCCESS;
    });
}

RETSTATUS IsConnectedOnU3(const char* cameraName, bool& onU3) {
    return guarded("IsConnectedOnU3", [&] {
        // Only the scanner's own camera family can report its port.
        if (cameraName == nullptr || std::strncmp(cameraName, kU3CameraPrefix, 2) != 0) {
            return RET_OPERATION_UNSUPPORTED;
        }
        ZETA_TRACE_TMPBUF("Start new CStripeSync\n");
        // A temporary synchroniser: its construction starts the watchdog, its destruction
        // stops it again.
        std::unique_ptr<IShotSync, decltype(&IShotSync::Destroy)> sync(
            IShotSync::CreateForCameraQuery(), &IShotSync::Destroy);
        ZETA_TRACE_TMPBUF("Start Function IsConnectedOnU3\n");
        const int ret = sync->IsConnectOnU3(cameraName, onU3);
        ZETA_TRACE_TMPBUF("Start Delete CStripeSync Object\n");
        sync.reset();
        ZETA_TRACE_TMPBUF("End Delete CStripeSync Object\n");
        return ret != 0 ? RET_OPERATE_FAILED : RET_OPERATE_SUCCESS;
    });
}

RETSTATUS ConnectDevice(const char* const& mode, const char* const& projectorPath,
                        const std::vector<char*>& cameraNames, const std::vector<int>& cameraWidths,
                        const std::vector<int>& cameraHeights, void*& handle) {
    return guarded("ConnectDevice", [&] {
        zeta::platform::consolePrintf(
            "Connect device begin =====================================>\n");
        for (std::size_t i = 0; i < cameraNames.size(); ++i) {
            // printf of a null string is undefined: a null name is shown as "(null)".
            zeta::platform::consolePrintf("ConnectCamera: Camera_%d is %s\n", static_cast<int>(i),
                                          cameraNames[i] != nullptr ? cameraNames[i] : "(null)");
        }
        if (mode == nullptr) return RET_PARAMETER_ERROR;
        if (cameraNames.size() != cameraWidths.size() ||
            cameraWidths.size() != cameraHeights.size()) {
            return RET_PARAMETER_ERROR;
        }
        // The cameras are opened by these names; a null name would reach the camera library as a
        // null serial. Refused before anything is created (nearest safe thing).
        for (const char* name : cameraNames) {
            if (name == nullptr) return RET_PARAMETER_ERROR;
        }

        const IShotSync::ConnectMode* row = IShotSync::FindConnectMode(mode);
        if (row == nullptr) return RET_SYNC_TYPE_UNSUPPORTED;
        IShotSync* sync = row->create();
        if (row->consoleLine != nullptr) zeta::platform::consolePrintf("%s", row->consoleLine);
        g_deviceType = row->deviceType;
        SyncRegistry& registry = SyncRegistry::instance();
        registry.addLive(sync);

        const int initRet = sync->InitProjector(projectorPath);
        // The board library has been called: the exit clean-up now runs before its own.
        registry.armExitCleanup();
        if (initRet == 1 || initRet == 2) {
            // The object is left alive and unreferenced and g_deviceType keeps its new value,
            // as the system does; it is retired (no thread, no device) and the registry keeps
            // it reachable.
            keepRetired(sync);
            return initRet == 1 ? RET_PARAMETER_ERROR : RET_PROJECTOR_UNCONNECTED;
        }

        const int openRet = sync->OpenCameras(cameraNames, cameraWidths, cameraHeights);
        if (openRet == 0) {
            handle = sync;
            LOG(INFO) << "Success Connnect Device hSync=" << handle;
            return RET_OPERATE_SUCCESS;
        }
        // Undo the board and the object; the caller's handle is not written.
        sync->ExitProjector();
        void* local = sync;
        DisConnectDevice(local);
        if (openRet == 1) return RET_PARAMETER_ERROR;
        if (openRet == 2) return RET_CAMERA_UNCONNECTED;
        return RET_OPERATE_FAILED;
    });
}

RETSTATUS DisConnectDevice(void*& handle) {
    // Called after Windows began to end the process (from a host's DLL detach, say): the handle's
    // threads are gone, perhaps inside one of its locks or a log line, so nothing is waited for,
    // logged or printed, and the object is left to the system.
    if (zeta::platform::processIsEnding()) {
        if (handle == nullptr) return RET_HANDLE_NULL;
        handle = nullptr;
        return RET_OPERATE_SUCCESS;
    }
    return guarded("DisConnectDevice", [&] {
        LOG(INFO) << "DisConnectDevice hSync=" << handle;
        if (handle == nullptr) return RET_HANDLE_NULL;
        // From one of this handle's own callbacks the destruction would wait for the very thread
        // that runs it (or pull the object from under the transfer that reports its progress).
        if (!SyncCall::mayRun(handle, "DisConnectDevice", CallNeeds::Destruction)) {
            return RET_OPERATE_FAILED;
        }
        SyncRegistry& registry = SyncRegistry::instance();
        IShotSync* sync = static_cast<IShotSync*>(handle);
        if (!registry.removeLive(sync)) {
            // Already disconnected (or never created here): destroying it again would free freed
            // memory. Only the handle and g_deviceType are reset, as for a handle whose object
            // is not destroyed.
            LOG(INFO) << "DisConnectDevice handle is not connected, nothing destroyed hSync="
                      << handle;
        } else {
            // No new call reaches the object now. The ones still running (another host thread's
            // scan, say) are woken and waited for: the object is not destroyed under them.
            sync->RequestShutdown();
            registry.waitForCalls(sync);
            const int deviceType = g_deviceType.load();
            if (deviceType >= 1 && deviceType <= 9) {
                IShotSync::Destroy(sync);  // Shutdown (ExitSync first), then the destructors
            } else {
                // With g_deviceType 0 the object is not destroyed, as the system does; nothing
                // will use it again, so it keeps no thread and no device.
                keepRetired(sync);
            }
        }
        handle = nullptr;
        g_deviceType = 0;
        zeta::platform::consolePrintf("End Disconnect\n");
        ZETA_TRACE_TMPBUF("End Function DisConnectDevice\n");
        return RET_OPERATE_SUCCESS;
    });
}

RETSTATUS ReconnectDevice(void* const& handle) {
    return forwardToSlot(
        handle, "ReconnectDevice",
        [&](IShotSync& sync) {
            return sync.ReConnectDeviceEx() != 0 ? RET_OPERATE_FAILED : RET_OPERATE_SUCCESS;
        },
        CallNeeds::Reconnection);
}

RETSTATUS CloseDeviceCamera(void* const& handle) {
    return guarded("CloseDeviceCamera", [&] {
        SyncCall call(handle, "CloseDeviceCamera");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        sync->CloseDeviceCamera();
        return RET_OPERATE_SUCCESS;
    });
}

RETSTATUS EnableAutoReconnect(void* const& handle, bool bEnable, bool bWatchProjector,
                              const std::vector<bool>& watchCameras) {
    return forwardToSlot(handle, "EnableAutoReconnect", [&](IShotSync& sync) {
        return sync.EnableAutoReconnect(bEnable, bWatchProjector, watchCameras) != 0
                   ? RET_OPERATE_FAILED
                   : RET_OPERATE_SUCCESS;
    });
}

RETSTATUS GetFirewareVersion(void* handle, const char* mode, const char* projectorPath,
                             std::string& version) {
    return guarded("GetFirewareVersion", [&] {
        if (handle == nullptr && mode == nullptr) return RET_HANDLE_NULL;
        version.clear();
        IShotSync* sync = nullptr;
        std::unique_ptr<IShotSync, decltype(&IShotSync::Destroy)> temporary(nullptr,
                                                                            &IShotSync::Destroy);
        std::optional<SyncCall> call;
        if (handle != nullptr) {
            call.emplace(handle, "GetFirewareVersion");
            if (!*call) return call->refusal();
            sync = call->get();
        } else {
            temporary.reset(IShotSync::CreateForFirmwareQuery(mode));
            if (!temporary) return RET_SYNC_TYPE_UNSUPPORTED;
            const char* path = projectorPath != nullptr ? projectorPath : "";
            const int initRet = temporary->InitProjector(path);
            SyncRegistry::instance().armExitCleanup();
            if (initRet == 1 || initRet == 2) {
                // The temporary object is not destroyed on these paths, as the system does;
                // it is retired (no thread, no device) and the registry keeps it reachable.
                keepRetired(temporary.release());
                return initRet == 1 ? RET_PARAMETER_ERROR : RET_PROJECTOR_UNCONNECTED;
            }
            sync = temporary.get();
        }
        const bool ok = sync->GetFirewareVersion(version);
        if (temporary) {
            temporary->ExitProjector();
            temporary.reset();
        }
        if (ok) {
            LOG(INFO) << "versionString=" << version;
            return RET_OPERATE_SUCCESS;
        }
        LOG(INFO) << "Get FWVersion Failed";
        return RET_OPERATE_FAILED;
    });
}

// =============================================================================================
// Triggers, strobes and projector
// =============================================================================================

RETSTATUS PowerStrobeUp(void* const& handle, const CONTROLROUTE& route, const bool& bPowerOrNot) {
    return guarded("PowerStrobeUp", [&] {
        zeta::platform::consolePrintf("[ZETAVOROSYNC_API] --- Goto PowerStrobeUp Path: %d  %d\n",
                                      static_cast<int>(route), static_cast<int>(bPowerOrNot));
        SyncCall call(handle, "PowerStrobeUp");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        const int lineOrder = setterRoute(route);
        LOG(INFO) << "PowerStrobeUp EnableStrobe lineOrder=" << lineOrder
                  << "bPowerOrNot=" << bPowerOrNot;
        const int retVal = sync->PowerStrobeUp(lineOrder, bPowerOrNot);
        LOG(INFO) << "PowerStrobeUp EnableStrobe retVal=" << retVal;
        return mapPRJ(retVal);
    });
}

RETSTATUS SetStrobeControlledByTrigger(void* const& handle, const CONTROLROUTE& route,
                                       const bool& bControlled) {
    return guarded("SetStrobeControlledByTrigger", [&] {
        zeta::platform::consolePrintf(
            "[ZETAVOROSYNC_API] --- Goto SetStrobeControlledByTrigger: %d\n",
            static_cast<int>(bControlled));
        SyncCall call(handle, "SetStrobeControlledByTrigger");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        // Routes 0, 1 and 2 go on unchanged; any other value, for which the system defines no
        // route, is sent to both routes like the other setters do.
        const int lineOrder =
            route == CONTROLROUTE_MONO || route == CONTROLROUTE_COLOR || route == CONTROLROUTE_BOTH
                ? static_cast<int>(route)
                : 2;
        return mapPRJ(sync->SetStrobeControlByTrigger(lineOrder, bControlled));
    });
}

RETSTATUS EnableIRProjectorAndLaser(void* const& handle, const bool& bIRProjector,
                                    const bool& bLaser) {
    return guarded("EnableIRProjectorAndLaser", [&] {
        SyncCall call(handle, "EnableIRProjectorAndLaser");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        switch (sync->EnableIRProjectorAndLaser(bIRProjector, bLaser)) {
            case 1:
                return RET_OPERATION_UNSUPPORTED;
            case 2:
                return RET_PROJECTOR_UNCONNECTED;
            case 3:
                return RET_OPERATE_FAILED;
            default:
                return RET_OPERATE_SUCCESS;
        }
    });
}

RETSTATUS SetVideoTriggerPeriod(void* const& handle, const CONTROLROUTE& route, const int& period) {
    return forwardToSlot(handle, "SetVideoTriggerPeriod", [&](IShotSync& sync) {
        return mapPRJ(sync.SetVideoTriggerPeriod(setterRoute(route), period));
    });
}

RETSTATUS GetVideoTriggerPeriod(void* const& handle, const CONTROLROUTE& route, int& period) {
    return guarded("GetVideoTriggerPeriod", [&] {
        SyncCall call(handle, "GetVideoTriggerPeriod");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        if (!isSingleRoute(route)) return RET_PARAMETER_ERROR;
        return mapPRJ(sync->GetVideoTriggerPeriod(static_cast<int>(route), period));
    });
}

RETSTATUS SetProjectorBrightness(void* const& handle, const int& percent) {
    return forwardToSlot(handle, "SetProjectorBrightness", [&](IShotSync& sync) {
        return mapPRJ(sync.SetProjectorBrightness(percent));
    });
}

RETSTATUS GetProjectorBrightness(void* const& handle, int& percent) {
    return forwardToSlot(handle, "GetProjectorBrightness", [&](IShotSync& sync) {
        return mapPRJ(sync.GetProjectorBrightness(percent));
    });
}

RETSTATUS SetTriggerPulseWidth(void* const& handle, const CONTROLROUTE& route, const int& width) {
    return forwardToSlot(handle, "SetTriggerPulseWidth", [&](IShotSync& sync) {
        return mapPRJ(sync.SetTriggerPulseWidth(setterRoute(route), width));
    });
}

RETSTATUS GetTriggerPulseWidth(void* const& handle, const CONTROLROUTE& route, int& width) {
    return guarded("GetTriggerPulseWidth", [&] {
        SyncCall call(handle, "GetTriggerPulseWidth");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        if (!isSingleRoute(route)) return RET_PARAMETER_ERROR;
        return mapPRJ(sync->GetTriggerPulseWidth(static_cast<int>(route), width));
    });
}

RETSTATUS SetTriggerPolarity(void* const& handle, const CONTROLROUTE& route,
                             const TRIGGERPOLARITY& polarity) {
    return forwardToSlot(handle, "SetTriggerPolarity", [&](IShotSync& sync) {
        return mapPRJ(sync.SetTriggerPolarity(setterRoute(route), polarity != 0 ? 1 : 0));
    });
}

RETSTATUS GetTriggerPolarity(void* const& handle, const CONTROLROUTE& route,
                             TRIGGERPOLARITY& polarity) {
    return guarded("GetTriggerPolarity", [&] {
        SyncCall call(handle, "GetTriggerPolarity");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        if (!isSingleRoute(route)) return RET_PARAMETER_ERROR;
        int value = 0;
        const int ret = sync->GetTriggerPolarity(static_cast<int>(route), value);
        // The output is written only when the slot read the device.
        if (ret == 0) polarity = value != 0 ? TRIGGERPOLARITY_HIGH : TRIGGERPOLARITY_LOW;
        return mapPRJ(ret);
    });
}

RETSTATUS EnableVideoTrigger(void* const& handle, const CONTROLROUTE& route, const bool& bEnable) {
    return guarded("EnableVideoTrigger", [&] {
        SyncCall call(handle, "EnableVideoTrigger");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        zeta::platform::consolePrintf("Set Continue Trigger %d\n", static_cast<int>(bEnable));
        const int lineOrder = setterRoute(route);
        LOG(INFO) << "hSync=" << handle << "bEnable=" << bEnable << "lineOrder=" << lineOrder;
        return mapPRJ(sync->EnableContinueTrigger(lineOrder, bEnable));
    });
}

RETSTATUS PushSingleTrigger(void* const& handle, const CONTROLROUTE& route) {
    return forwardToSlot(handle, "PushSingleTrigger", [&](IShotSync& sync) {
        return mapPRJ(sync.PushSingleTrigger(setterRoute(route)));
    });
}

RETSTATUS Project(void* const& handle, const PROJECTTYPES& type) {
    return guarded("Project", [&] {
        zeta::platform::consolePrintf("[ZETAVOROSYNC_API] --- Goto Projector: %d\n",
                                      static_cast<int>(type));
        SyncCall call(handle, "Project");
        if (!call) {
            if (call.refusal() == RET_HANDLE_NULL) {
                zeta::platform::consolePrintf("Exit Project Function [Not Init]\n");
            }
            return call.refusal();
        }
        IShotSync* sync = call.get();
        const int tmpProjectType = patternCodeOf(static_cast<int>(type));
        if (tmpProjectType < 0) return RET_OPERATION_UNSUPPORTED;
        int retryCount = 0;
        LOG(INFO) << "Project tmpProjectType=" << tmpProjectType << "retryCount=" << retryCount;
        // The board may refuse a pattern while it is busy: up to 10 attempts, 50 ms apart, as
        // long as the slot answers with one of its failure codes.
        int retVal = 0;
        while (retryCount < 10) {
            retVal = sync->Project(tmpProjectType);
            LOG(INFO) << "Project retVal=" << retVal << "retryCount=" << retryCount;
            if (retVal != 1 && retVal != 2 && retVal != 3) break;
            ++retryCount;
            zeta::platform::sleepMs(50);
        }
        LOG(INFO) << "Project final retVal=" << retVal;
        switch (retVal) {
            case 1:
                return RET_PARAMETER_ERROR;
            case 2:
                return RET_PROJECTOR_UNCONNECTED;
            case 3:
                return RET_OPERATE_FAILED;
            default:
                return RET_OPERATE_SUCCESS;
        }
    });
}

RETSTATUS SetDistanceIndicate(void* const& handle, const DISTANCESTATUS& status) {
    return forwardToSlot(handle, "SetDistanceIndicate", [&](IShotSync& sync) {
        return mapPRJ(sync.SetDistanceIndicate(distanceStateOf(static_cast<int>(status))));
    });
}

RETSTATUS EnableZoomFunction(void* const& handle, const bool& bEnable) {
    return guarded("EnableZoomFunction", [&] {
        SyncCall call(handle, "EnableZoomFunction");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        zeta::platform::consolePrintf("Start Zoom Function\n");
        return mapPRJ(sync->EnableZoomFunction(bEnable));
    });
}

RETSTATUS ResetColorModule(void* const& handle) {
    return forwardToSlot(handle, "ResetColorModule",
                         [&](IShotSync& sync) { return mapCAM2(sync.ResetColorModule()); });
}

RETSTATUS EnterFixScanFastMode(void* const& handle) {
    return guarded("EnterFixScanFastMode", [&] {
        SyncCall call(handle, "EnterFixScanFastMode");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        LOG(INFO) << "EnterFixScanFastMode hSync=" << handle;
        const int retVal = sync->EnterFixScanFastMode();
        LOG(INFO) << "EnterFixScanFastMode retVal=" << retVal;
        return mapF3(retVal);
    });
}

RETSTATUS EnterFixScanFreeProjectMode(void* const& handle) {
    return guarded("EnterFixScanFreeProjectMode", [&] {
        SyncCall call(handle, "EnterFixScanFreeProjectMode");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        LOG(INFO) << "EnterFixScanFreeProjectMode hSync=" << handle;
        const int retVal = sync->EnterFixScanFreeProjectMode();
        LOG(INFO) << "EnterFixScanFreeProjectMode retVal=" << retVal;
        return mapF3(retVal);
    });
}

// =============================================================================================
// Cameras
// =============================================================================================

RETSTATUS GetConnectCameraCount(void* const& handle, int& count) {
    return guarded("GetConnectCameraCount", [&] {
        SyncCall call(handle, "GetConnectCameraCount");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        sync->GetConnectCameraCount(count);
        return count > 0 ? RET_OPERATE_SUCCESS : RET_CAMERA_UNCONNECTED;
    });
}

RETSTATUS SetCameraExposure(void* const& handle, const int& cameraIndex, const double& exposureMs) {
    return forwardToSlot(handle, "SetCameraExposure", [&](IShotSync& sync) {
        return mapCAM(sync.SetCameraExposureTime(cameraIndex, exposureMs));
    });
}

RETSTATUS GetCameraExposure(void* const& handle, const int& cameraIndex, double& exposureMs) {
    return forwardToSlot(handle, "GetCameraExposure", [&](IShotSync& sync) {
        return mapCAM(sync.GetCameraExposure(cameraIndex, exposureMs));
    });
}

RETSTATUS SetCameraGain(void* const& handle, const int& cameraIndex, const int& gain) {
    return forwardToSlot(handle, "SetCameraGain", [&](IShotSync& sync) {
        return mapCAM(sync.SetCameraGain(cameraIndex, gain));
    });
}

RETSTATUS GetCameraGain(void* const& handle, const int& cameraIndex, int& gain) {
    return forwardToSlot(handle, "GetCameraGain", [&](IShotSync& sync) {
        return mapCAM(sync.GetCameraGain(cameraIndex, gain));
    });
}

RETSTATUS SetCameraSharpness(void* const& handle, const int& cameraIndex, const int& sharpness) {
    return forwardToSlot(handle, "SetCameraSharpness", [&](IShotSync& sync) {
        return mapCAM(sync.SetCameraSharpness(cameraIndex, sharpness));
    });
}

RETSTATUS GetCameraSharpness(void* const& handle, const int& cameraIndex, int& sharpness) {
    return forwardToSlot(handle, "GetCameraSharpness", [&](IShotSync& sync) {
        return mapCAM(sync.GetCameraSharpness(cameraIndex, sharpness));
    });
}

RETSTATUS SetCameraGamma(void* const& handle, const int& cameraIndex, const int& gamma) {
    return forwardToSlot(handle, "SetCameraGamma", [&](IShotSync& sync) {
        return mapCAM(sync.SetCameraGamma(cameraIndex, gamma));
    });
}

RETSTATUS GetCameraGamma(void* const& handle, const int& cameraIndex, int& gamma) {
    return forwardToSlot(handle, "GetCameraGamma", [&](IShotSync& sync) {
        return mapCAM(sync.GetCameraGamma(cameraIndex, gamma));
    });
}

RETSTATUS SetCameraTriggerMode(void* const& handle, const int& cameraIndex,
                               const TRIGGERMODE& mode) {
    return forwardToSlot(handle, "SetCameraTriggerMode", [&](IShotSync& sync) {
        return mapCAM(sync.SetCameraTriggerMode(cameraIndex, mode != 0 ? 1 : 0));
    });
}

RETSTATUS GetCameraTriggerMode(void* const& handle, const int& cameraIndex, TRIGGERMODE& mode) {
    return guarded("GetCameraTriggerMode", [&] {
        SyncCall call(handle, "GetCameraTriggerMode");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        int value = 0;
        const int ret = sync->GetCameraTriggerMode(cameraIndex, value);
        // The output is written only when the slot read the camera.
        if (ret == 0) mode = value != 0 ? TRIGGERMODE_TRIGGERED : TRIGGERMODE_FREERUN;
        return mapCAM(ret);
    });
}

RETSTATUS GetCameraSerialNumber(void* const& handle, const int& cameraIndex, char*& serial) {
    return guarded("GetCameraSerialNumber", [&] {
        SyncCall call(handle, "GetCameraSerialNumber");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        // The slot hands out a malloc'd string; the host frees it with free.
        return mapCAM(sync->GetCameraSerialNumber(cameraIndex, serial));
    });
}

RETSTATUS GetCameraResolution(void* const& handle, const int& cameraIndex, int& width,
                              int& height) {
    return forwardToSlot(handle, "GetCameraResolution", [&](IShotSync& sync) {
        return mapCAM(sync.GetCameraResolution(cameraIndex, width, height));
    });
}

RETSTATUS IsCameraColor(void* const& handle, const int& cameraIndex, bool& bColor) {
    return forwardToSlot(handle, "IsCameraColor", [&](IShotSync& sync) {
        return mapCAM(sync.IsCameraColor(cameraIndex, bColor));
    });
}

RETSTATUS SpecifyCameraDoWhiteBalance(void* const& handle, const int& cameraIndex, float& rRatio,
                                      float& bRatio) {
    return forwardToSlot(handle, "SpecifyCameraDoWhiteBalance", [&](IShotSync& sync) {
        return mapCAM4(sync.SpecifyCameraDoWhiteBalance(cameraIndex, rRatio, bRatio));
    });
}

RETSTATUS GetSpecifyCameraWBRatio(void* const& handle, const int& cameraIndex, float& rRatio,
                                  float& bRatio) {
    return forwardToSlot(handle, "GetSpecifyCameraWBRatio", [&](IShotSync& sync) {
        return mapCAM4(sync.GetSpecifyCameraWBRatio(cameraIndex, rRatio, bRatio));
    });
}

RETSTATUS SetCameraBinning(void* const& handle, const int& cameraIndex, BINNING_MODE mode) {
    return guarded("SetCameraBinning", [&] {
        SyncCall call(handle, "SetCameraBinning");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        const int binning = mode == BINNING_2X2 || mode == BINNING_3X3 || mode == BINNING_4X4
                                ? static_cast<int>(mode)
                                : 0;
        return mapCAM4(sync->SetCameraBinning(cameraIndex, binning));
    });
}

RETSTATUS GetSpecifyCameraChannelNum(void* const& handle, const int& cameraIndex, int& channels) {
    return forwardToSlot(handle, "GetSpecifyCameraChannelNum", [&](IShotSync& sync) {
        return mapCAM2(sync.GetSpecifyCameraChannelNum(cameraIndex, channels));
    });
}

RETSTATUS PrintCameraSnapFailInfomation(void* const& handle, const bool& bPrint) {
    return guarded("PrintCameraSnapFailInfomation", [&] {
        SyncCall call(handle, "PrintCameraSnapFailInfomation");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        // The slot answers true when there is no camera to hand the switch to.
        const int ret = sync->PrintCameraSnapFailInfomation(bPrint) ? 1 : 0;
        return ret == 1 ? RET_CAMERA_UNCONNECTED : RET_OPERATE_SUCCESS;
    });
}

// =============================================================================================
// Callbacks
// =============================================================================================

RETSTATUS SetDisplayCallBackFunction(void* const& handle, DisplayCallBack callback,
                                     void* pUserData) {
    return guarded("SetDisplayCallBackFunction", [&] {
        SyncCall call(handle, "SetDisplayCallBackFunction", CallNeeds::CallbackLock);
        if (!call) {
            if (call.refusal() == RET_HANDLE_NULL) {
                zeta::platform::consolePrintf("Exit SetDisplayCallBackFunction  [Not Init]\n");
            }
            return call.refusal();
        }
        IShotSync* sync = call.get();
        const int ret = sync->SetDisplayCallBackFunction(callback, pUserData);
        if (ret == 1) {
            zeta::platform::consolePrintf("Exit SetDisplayCallBackFunction  [Parameter Error]\n");
            return RET_PARAMETER_ERROR;
        }
        if (ret == 2) {
            zeta::platform::consolePrintf("Exit SetDisplayCallBackFunction  [Unconnect Camera]\n");
            return RET_CAMERA_UNCONNECTED;
        }
        return RET_OPERATE_SUCCESS;
    });
}

RETSTATUS SetScanCallBackFunction(void* const& handle, ScanCallBack callback, void* pUserData) {
    return forwardToSlot(
        handle, "SetScanCallBackFunction",
        [&](IShotSync& sync) { return mapCBK(sync.SetScanCallBackFunction(callback, pUserData)); },
        CallNeeds::CallbackLock);
}

RETSTATUS SetDisplayCallBackFunction2(void* const& handle, DisplayCallBack2 callback,
                                      void* pUserData) {
    return forwardToSlot(
        handle, "SetDisplayCallBackFunction2",
        [&](IShotSync& sync) {
            return mapCAM2(sync.SetDisplayCallBackFunction2(callback, pUserData));
        },
        CallNeeds::CallbackLock);
}

RETSTATUS SetScanCallBackFunction2(void* const& handle, ScanCallBack2 callback, void* pUserData) {
    return forwardToSlot(
        handle, "SetScanCallBackFunction2",
        [&](IShotSync& sync) { return mapCBK(sync.SetScanCallBackFunction2(callback, pUserData)); },
        CallNeeds::CallbackLock);
}

RETSTATUS SetScanFullCallBackFunction(void* const& handle, ScanFullCallBack callback,
                                      void* pUserData) {
    return forwardToSlot(handle, "SetScanFullCallBackFunction", [&](IShotSync& sync) {
        return mapCBK(sync.SetScanFullCallBackFunction(callback, pUserData));
    });
}

RETSTATUS SetTextureScanFullCallBackFunction(void* const& handle, TextureScanFullCallBack callback,
                                             void* pUserData) {
    return forwardToSlot(handle, "SetTextureScanFullCallBackFunction", [&](IShotSync& sync) {
        return mapCBK(sync.SetTextureScanFullCallBackFunction(callback, pUserData));
    });
}

RETSTATUS SetStatusCallBackFunction(void* const& handle, StatusCallBack callback, void* pUserData) {
    return forwardToSlot(
        handle, "SetStatusCallBackFunction",
        [&](IShotSync& sync) {
            return mapCAM2(sync.SetStatusCallBackFunction(callback, pUserData));
        },
        CallNeeds::StatusCallbackLock);
}

// =============================================================================================
// Scans
// =============================================================================================

RETSTATUS GetScanImages(void* const& handle, std::vector<unsigned char*>& images,
                        std::vector<int>& widths, std::vector<int>& heights,
                        std::vector<int>& channels) {
    return guarded("GetScanImages", [&] {
        SyncCall call(handle, "GetScanImages");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        // The images stay the synchroniser's, valid until its next scan.
        return mapCAM(sync->GetScanImages(images, widths, heights, channels));
    });
}

RETSTATUS SetScanParameter(void* const& handle, const SCANPARAMETERS& parameters) {
    return guarded("SetScanParameter", [&] {
        SyncCall call(handle, "SetScanParameter");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        // Each scan mode reads its own fields of the record.
        std::vector<int> list;
        switch (sync->GetSyncType()) {
            case 2:  // laser
            case 5:  // dual laser
                list = {parameters.scanFrameRate, parameters.scanSpacePercent};
                break;
            case 3:  // speckle
                LOG(INFO) << "Scan-MonoStrobeLight: " << parameters.bScanWithMonoStrobeLight;
                list = {parameters.scanFrameRate,
                        parameters.scanSpacePercent,
                        parameters.scanColorSegregationCount,
                        parameters.scanColorDelayTime,
                        parameters.bScanWithTexture,
                        parameters.bScanWithMonoStrobeLight};
                break;
            case 1:  // stripe
                list = {parameters.scanFrameRate, parameters.scanFrameCount};
                break;
            case 4:  // speckle-laser
                list = {parameters.scanFrameRate, parameters.speckleLaserParameter};
                break;
            default:  // the E7 and sequence modes take no parameter record
                return RET_PARAMETER_ERROR;
        }
        const int ret = sync->SetScanParameter(list);
        if (ret == 2) return RET_PROJECTOR_UNCONNECTED;
        if (ret == 3) return RET_OPERATE_FAILED;
        return RET_OPERATE_SUCCESS;
    });
}

namespace {

// The common tail of both Scan exports: logs, remembers a failed request for the reconnection
// (except in the stripe mode) and maps the result. The mapping differs from the trigger family
// on purpose: 1 counts as success.
RETSTATUS finishScan(IShotSync* sync, bool start, int retVal) {
    LOG(INFO) << "zetaVoroSync scan   retVal: " << retVal;
    if (retVal != 0 && sync->GetSyncType() != 1) {
        LOG(INFO) << "zetaVoroSync scan failed! Remember the last operation : " << start;
        sync->SetLastScanOperation(start ? 1 : 2);
    }
    switch (retVal) {
        case 2:
            zeta::platform::consolePrintf("Exit Scan Function  [Unconnect Camera]\n");
            return RET_CAMERA_UNCONNECTED;
        case 3:
            zeta::platform::consolePrintf("Exit Scan Function  [Unconnect Projector]\n");
            return RET_PROJECTOR_UNCONNECTED;
        case 4:
            zeta::platform::consolePrintf("Exit Scan Function  [Operate Failed]\n");
            return RET_OPERATE_FAILED;
        default:
            return RET_OPERATE_SUCCESS;
    }
}

// The common head of both Scan exports: the console line, then the handle check.
void startScanCall(SyncCall& call, bool start) {
    if (!call) {
        if (call.refusal() == RET_HANDLE_NULL) {
            zeta::platform::consolePrintf("Exit Scan Function [Handle is NULL]\n");
        }
        return;
    }
    LOG(INFO) << "zetaVoroSync scan   : " << (start ? "start" : "stop");
}

void printScanHead(bool start) {
    zeta::platform::consolePrintf("[ZETAVOROSYNC_API] --- Goto Scan: %d\n",
                                  static_cast<int>(start));
}

}  // namespace

RETSTATUS Scan(void* const& handle, const bool& start, int count) {
    return guarded("Scan", [&] {
        printScanHead(start);
        SyncCall call(handle, "Scan");
        startScanCall(call, start);
        if (!call) return call.refusal();
        const int retVal = call.get()->Scan(start, count);
        return finishScan(call.get(), start, retVal);
    });
}

RETSTATUS Scan(void* const& handle, const bool& start) {
    return guarded("Scan", [&] {
        printScanHead(start);
        SyncCall call(handle, "Scan");
        startScanCall(call, start);
        if (!call) return call.refusal();
        const int retVal = call.get()->Scan(start);
        return finishScan(call.get(), start, retVal);
    });
}

RETSTATUS SpeckleOrLaser(void* const& handle, const bool& bSpeckle) {
    return guarded("SpeckleOrLaser", [&] {
        SyncCall call(handle, "SpeckleOrLaser");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        // Only the speckle mode switches between speckle and laser.
        if (sync->GetSyncType() != 3) return RET_SYNC_TYPE_UNSUPPORTED;
        switch (sync->SpeckleOrLaser(bSpeckle)) {
            case 2:
                return RET_CAMERA_UNCONNECTED;
            case 3:
                return RET_PROJECTOR_UNCONNECTED;
            case 4:
                return RET_OPERATE_FAILED;
            default:
                return RET_OPERATE_SUCCESS;
        }
    });
}

RETSTATUS startSequenceScan(void* const& handle, int nSequenceCount) {
    return guarded("startSequenceScan", [&] {
        if (handle == nullptr || nSequenceCount < 5) return RET_PARAMETER_ERROR;
        SyncCall call(handle, "startSequenceScan");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        LOG(INFO) << "startSequenceScan hSync=" << handle << "nSequenceCount=" << nSequenceCount;
        sync->startSequenceScan(nSequenceCount);
        const bool start = true;
        const int retVal = sync->Scan(start);
        LOG(INFO) << "startSequenceScan retVal=" << retVal;
        return mapF3(retVal);
    });
}

RETSTATUS startSequenceScan(void* const& handle, int nSequenceCount, int scanParam) {
    return guarded("startSequenceScan", [&] {
        if (handle == nullptr || nSequenceCount < 5) return RET_PARAMETER_ERROR;
        SyncCall call(handle, "startSequenceScan");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        LOG(INFO) << "startSequenceScan hSync=" << handle << "nSequenceCount=" << nSequenceCount
                  << "scanParam=" << scanParam;
        sync->startSequenceScan(nSequenceCount);
        const bool start = true;
        const int retVal = sync->Scan(start, scanParam);
        LOG(INFO) << "startSequenceScan retVal=" << retVal;
        return mapF3(retVal);
    });
}

RETSTATUS stopSequenceScan(void* const& handle) {
    return guarded("stopSequenceScan", [&] {
        SyncCall call(handle, "stopSequenceScan");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        LOG(INFO) << "stopSequenceScan hSync=" << handle;
        const int retVal = sync->stopSequenceScan();
        LOG(INFO) << "stopSequenceScan retVal=" << retVal;
        return mapF3(retVal);
    });
}

RETSTATUS ResetBuffer(void* const& handle) {
    return guarded("ResetBuffer", [&] {
        SyncCall call(handle, "ResetBuffer");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        LOG(INFO) << "ResetBuffer hSync=" << handle;
        const int retVal = sync->ResetBuffer();
        LOG(INFO) << "ResetBuffer retVal=" << retVal;
        return mapF3(retVal);
    });
}

// =============================================================================================
// Time stamps and miscellaneous
// =============================================================================================

RETSTATUS ResetCameraTimeStamp(void* const& handle, int route) {
    return forwardToSlot(handle, "ResetCameraTimeStamp", [&](IShotSync& sync) {
        return mapBOOL(sync.ResetCameraTimeStamp(route));
    });
}

RETSTATUS ResetCameraTimeStamp(void* const& handle) {
    return guarded("ResetCameraTimeStamp", [&] {
        SyncCall call(handle, "ResetCameraTimeStamp");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        const int bothRoutes = -1;
        return mapBOOL(sync->ResetCameraTimeStamp(bothRoutes));
    });
}

RETSTATUS SpecifiedTimeStampType(void* const& handle, TIMESTAMP_TYPE type) {
    return guarded("SpecifiedTimeStampType", [&] {
        SyncCall call(handle, "SpecifiedTimeStampType");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        const int source = type == TIMESTAMP_CAMERA ? 1 : 0;
        return mapBOOL(sync->SpecifiedTimeStampType(source));
    });
}

RETSTATUS ResetVideoWidthHeight(void* const& handle, int width, int height) {
    return guarded("ResetVideoWidthHeight", [&] {
        SyncCall call(handle, "ResetVideoWidthHeight");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        const bool known = (width == 640 && height == 512) || (width == 704 && height == 576) ||
                           (width == 1280 && height == 1024);
        if (!known) return RET_PARAMETER_ERROR;
        LOG(INFO) << "ResetVideoWidthHeight hSync=" << handle << "width=" << width
                  << "height=" << height;
        const int retVal = sync->ResetVideoWidthHeight(width, height);
        LOG(INFO) << "ResetVideoWidthHeight retVal=" << retVal;
        return mapF2(retVal);
    });
}

RETSTATUS SetMonoColorSpan(void* const& handle, int nSpan) {
    return guarded("SetMonoColorSpan", [&] {
        if (handle == nullptr || nSpan < 0 || nSpan > 4) return RET_PARAMETER_ERROR;
        SyncCall call(handle, "SetMonoColorSpan");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        LOG(INFO) << "SetMonoColorSpan nSpan=" << nSpan;
        const int retVal = sync->SetMonoColorSpan(nSpan);
        LOG(INFO) << "SetMonoColorSpan retVal=" << retVal;
        return mapF2(retVal);
    });
}

RETSTATUS SetStrobeLightingTime(void* const& handle, const int& camOrder, int nTime) {
    return guarded("SetStrobeLightingTime", [&] {
        if (handle == nullptr || nTime < 0 || nTime > 10000) return RET_PARAMETER_ERROR;
        SyncCall call(handle, "SetStrobeLightingTime");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        // The log texts are those of other operations; kept as the system writes them.
        LOG(INFO) << "SetMonoColorSpan camOrder=" << camOrder << "nTime=" << nTime;
        const int retVal = sync->SetStrobeLightingTime(camOrder, nTime);
        LOG(INFO) << "ResetVideoWidthHeight retVal=" << retVal;
        return mapF2(retVal);
    });
}

RETSTATUS UpdateFirewareImageData(void* const& handle, const wchar_t* path, int imageType,
                                  UpdateProgressCallBack progressCallBack, void* pUserData) {
    return guarded("UpdateFirewareImageData", [&] {
        if (handle == nullptr || path == nullptr || imageType <= 0) return RET_PARAMETER_ERROR;
        SyncCall call(handle, "UpdateFirewareImageData", CallNeeds::FirmwareTransfer);
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        const int retVal =
            sync->UpdateFirewareImageData(path, imageType, progressCallBack, pUserData);
        LOG(INFO) << "UpdateFirewareImageData retVal=" << retVal;
        return retVal >= 0 ? RET_OPERATE_SUCCESS : RET_OPERATE_FAILED;
    });
}

// =============================================================================================
// Still capture
// =============================================================================================

RETSTATUS SnapSingleImageFromSpecifyCamera(void* const& handle, const int& cameraIndex,
                                           unsigned char*& image, int& width, int& height,
                                           int& channels) {
    return guarded("SnapSingleImageFromSpecifyCamera", [&] {
        SyncCall call(handle, "SnapSingleImageFromSpecifyCamera");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        // The image is malloc'd by the slot; the host frees it with free.
        return mapSNP(
            sync->SnapSingleImageFromSpecifyCamera(cameraIndex, image, width, height, channels));
    });
}

RETSTATUS SnapRGBImageFromSpecifyCamera(void* const& handle, const int& cameraIndex,
                                        unsigned char*& image, int& width, int& height) {
    return guarded("SnapRGBImageFromSpecifyCamera", [&] {
        SyncCall call(handle, "SnapRGBImageFromSpecifyCamera");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();
        constexpr int kAttempts = 5;
        int fileNumber = -1;  // taken from the process counter at the first diagnostic file
        for (int attempt = 0; attempt < kAttempts; ++attempt) {
            // The caller's pointer goes in as it is, so that a non-null one is refused by the
            // slot; the caller's pointer is written only with a good image.
            unsigned char* shot = image;
            const int ret = sync->SnapRGBImageFromSpecifyCamera(cameraIndex, shot, width, height);
            switch (ret) {
                case 1:
                    return RET_PARAMETER_ERROR;
                case 2:
                    return RET_CAMERA_UNCONNECTED;
                case 3:
                    return RET_OPERATE_FAILED;
                case 4:
                    return RET_CAMERA_UNCONNECTED;
                default:
                    break;
            }
            std::uint64_t totalRGB[3] = {0, 0, 0};
            const int bytesPerPixel =
                shot != nullptr ? snapBytesPerPixel(sync, cameraIndex, false) : 3;
            if (shot != nullptr && width > 0 && height > 0) {
                const std::size_t pixels = static_cast<std::size_t>(width) * height;
                const std::size_t stride = static_cast<std::size_t>(bytesPerPixel);
                for (std::size_t i = 0; i < pixels; ++i) {
                    const unsigned char* pixel = shot + stride * i;
                    totalRGB[0] += pixel[0];
                    totalRGB[1] += pixel[stride == 3 ? 1 : 0];
                    totalRGB[2] += pixel[stride == 3 ? 2 : 0];
                }
            }
            LOG(INFO) << "totalRGB[0]=" << totalRGB[0];
            LOG(INFO) << "totalRGB[1]=" << totalRGB[1];
            LOG(INFO) << "totalRGB[2]=" << totalRGB[2];
            if (fileNumber < 0) fileNumber = g_rgbSnapFileCounter.fetch_add(1);
            const std::string path = formatPath("./RGB/RGBImage_%d_%d.bmp", fileNumber, attempt);
            if (totalRGB[0] == 0 && totalRGB[1] == 0 && totalRGB[2] == 0) {
                // A black image is kept on disk for diagnosis and the snap is tried again.
                LOG(INFO) << "all black";
                writeSnapImage(path, shot, width, height, bytesPerPixel);
                std::free(shot);
                continue;
            }
            const bool bmpOk = writeSnapImage(path, shot, width, height, bytesPerPixel);
            LOG(INFO) << "return ok bmpOk=" << bmpOk;
            image = shot;  // malloc'd by the slot; the host frees it with free
            return RET_OPERATE_SUCCESS;
        }
        LOG(INFO) << "return failed";
        image = nullptr;
        return RET_OPERATE_FAILED;
    });
}

RETSTATUS SnapSingleGroupImages(void* const& handle, const PROJECTTYPES& type,
                                std::vector<unsigned char*>& images, std::vector<int>& widths,
                                std::vector<int>& heights, std::vector<int>& channels) {
    return guarded("SnapSingleGroupImages", [&] {
        SyncCall call(handle, "SnapSingleGroupImages");
        if (!call) {
            if (call.refusal() == RET_HANDLE_NULL) {
                zeta::platform::consolePrintf("Exit SnapSingleGroupImages Function [Not Init]\n");
            }
            return call.refusal();
        }
        IShotSync* sync = call.get();
        LOG(INFO) << "Start Project In SnapSingleGroupImages";
        if (Project(handle, type) != RET_OPERATE_SUCCESS) {
            LOG(INFO) << "Project Failed In SnapSingleGroupImages";
            return RET_OPERATE_FAILED;
        }
        // The images are malloc'd by the slot; the host frees each with free.
        const int ret = sync->SnapSingleGroupImages(images, widths, heights, channels);
        if (ret == 1) {
            LOG(INFO) << "SnapSingleGroupImages Need Empty Buffer";
            return RET_PARAMETER_ERROR;
        }
        if (ret == 2) {
            LOG(INFO) << "SnapSingleGroupImages Snap Failed";
            return RET_OPERATE_FAILED;
        }
        return RET_OPERATE_SUCCESS;
    });
}

RETSTATUS SnapSingleGroupRGBImages(void* const& handle, std::vector<unsigned char*>& images,
                                   std::vector<int>& widths, std::vector<int>& heights) {
    return guarded("SnapSingleGroupRGBImages", [&] {
        SyncCall call(handle, "SnapSingleGroupRGBImages");
        if (!call) return call.refusal();
        IShotSync* sync = call.get();

        // First snap: a diagnostic dump only, into local lists whose images are freed here.
        std::vector<unsigned char*> firstImages;
        std::vector<int> firstWidths;
        std::vector<int> firstHeights;
        const int one = sync->SnapSingleGroupRGBImages(firstImages, firstWidths, firstHeights);
        LOG(INFO) << "SnapSingleGroupRGBImages one retVal=" << one;
        if (one == 1) {
            for (unsigned char* block : firstImages) std::free(block);
            return RET_PARAMETER_ERROR;
        }
        if (one != 3) dumpFirstGroupImage(sync, firstImages, firstWidths, firstHeights);
        for (unsigned char* block : firstImages) std::free(block);
        zeta::platform::sleepMs(50);

        // Second snap: what the caller receives (malloc'd images; the host frees each).
        const int two = sync->SnapSingleGroupRGBImages(images, widths, heights);
        LOG(INFO) << "SnapSingleGroupRGBImages two retVal" << two;
        if (two != 1 && two != 3) dumpFirstGroupImage(sync, images, widths, heights);
        return mapSNP(two);
    });
}

}  // namespace zetaVoroSync
