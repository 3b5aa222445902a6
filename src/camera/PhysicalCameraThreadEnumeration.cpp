// CPhysicalCameraThread: the static enumeration of the cameras of one type (list, count, USB 3
// link). It runs on the caller's thread, touches no camera-thread object, and closes and releases
// every camera handle it created before it returns.
#include <glog/logging.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "camera/ColorFormat.h"
#include "camera/PhysicalCameraThread.h"
#include "platform/Console.h"
#include "platform/TraceBuffer.h"
#include "zetaCamera.h"

namespace {

// Size of the serial buffers handed out by the enumeration; the last byte is always the
// terminator.
constexpr std::size_t kSerialBufferSize = 260;

}  // namespace

// ---------------------------------------------------------------------------------------------
// Enumeration
// ---------------------------------------------------------------------------------------------

int CPhysicalCameraThread::GetAllSpecifyTypeCameraInformation(const std::string& type,
                                                              std::vector<char*>& serials,
                                                              std::vector<int>& widths,
                                                              std::vector<int>& heights,
                                                              std::vector<bool>& colors) {
    LOG(INFO) << "GetAllSpecifyTypeCameraInformation 0";
    void* first = nullptr;
    if (zetaCamera::CreateCamera(first, type.c_str()) != 0 || first == nullptr) {
        // Type names shorter than two characters print their terminator (or nothing) instead.
        const char c0 = type.size() > 0 ? type[0] : '\0';
        const char c1 = type.size() > 1 ? type[1] : '\0';
        zeta::platform::consolePrintf("Create Camera Failed: %c%c\n", c0, c1);
        LOG(INFO) << "GetAllSpecifyTypeCameraInformation failed";
        return 0;
    }
    int total = 0;
    if (zetaCamera::GetDeviceTotal(first, total) != 0) {
        zeta::platform::consolePrintf("Device Total: %d\n", total);
        zetaCamera::ReleaseCamera(first);
        LOG(INFO) << "GetAllSpecifyTypeCameraInformation failed1";
        return 0;
    }

    // One enumeration handle per device; a handle that cannot be created shortens the list, and
    // the devices beyond the list's length are not examined.
    std::vector<void*> handles{first};
    for (int i = 1; i < total; ++i) {
        void* handle = nullptr;
        if (zetaCamera::CreateCamera(handle, type.c_str()) == 0 && handle != nullptr) {
            handles.push_back(handle);
        }
    }
    if (static_cast<int>(handles.size()) < total) {
        total = static_cast<int>(handles.size());
    }

    int tmpRealCount = 0;
    for (int i = 0; i < total; ++i) {
        void* handle = handles[static_cast<std::size_t>(i)];
        if (handle == nullptr) {
            continue;
        }
        if (zetaCamera::OpenCamera(handle, i, 0, 0) != 0) {
            zeta::platform::consolePrintf("Open Camera %d Failed\n", i);
            continue;
        }
        std::string serial;
        if (zetaCamera::GetSerialNo(handle, serial) != 0) {
            zeta::platform::consolePrintf("Get Camera %d Serial Failed\n", i);
            continue;
        }
        int width = 0;
        int height = 0;
        zetaCamera::GetResolution(handle, width, height);
        widths.push_back(width);
        heights.push_back(height);

        // The library hands the serial out as a string of any length; the buffer keeps at most
        // its first 259 characters and always ends with a terminator. The caller owns the buffer
        // and frees it with free.
        char* buffer = static_cast<char*>(std::malloc(kSerialBufferSize));
        if (buffer != nullptr) {
            std::memset(buffer, 0, kSerialBufferSize);
            const std::size_t length = std::min(serial.size(), kSerialBufferSize - 1);
            std::memcpy(buffer, serial.data(), length);
        }
        serials.push_back(buffer);

        zetaCamera::SN_IMG_FORMAT format = zetaCamera::SN_IMG_MONO8;
        zetaCamera::GetColorMode(handle, format);
        const bool isColor = ColorFormat::IsColorCamera(format);
        zeta::platform::consolePrintf("Camera Is Color Mode: %d\n", isColor ? 1 : 0);
        colors.push_back(isColor);

        ++tmpRealCount;

        int minGain = 0;
        int maxGain = 0;
        zetaCamera::GetGainRange(handle, minGain, maxGain);
        zeta::platform::consolePrintf("Camera %d gain range %d - %d\n", i, minGain, maxGain);
    }

    for (void*& handle : handles) {
        if (handle != nullptr) {
            zetaCamera::CloseCamera(handle);
            zetaCamera::ReleaseCamera(handle);
            handle = nullptr;
        }
    }
    LOG(INFO) << "GetAllSpecifyTypeCameraInformation tmpRealCount=" << tmpRealCount;
    return tmpRealCount;
}

int CPhysicalCameraThread::GetSpecifyTypeCameraCount(const std::string& type) {
    LOG(INFO) << "GetSpecifyTypeCameraCount ";
    void* handle = nullptr;
    if (zetaCamera::CreateCamera(handle, type.c_str()) != 0 || handle == nullptr) {
        const char c0 = type.size() > 0 ? type[0] : '\0';
        const char c1 = type.size() > 1 ? type[1] : '\0';
        zeta::platform::consolePrintf("Create Camera Failed: %c%c\n", c0, c1);
        // The success-sounding text on this failure path is the system's own.
        LOG(INFO) << "GetSpecifyTypeCameraCount ok";
        return 0;
    }
    LOG(INFO) << "GetSpecifyTypeCameraCount 1";
    int tmpCameraNum = 0;
    if (zetaCamera::GetDeviceTotal(handle, tmpCameraNum) == 0) {
        zetaCamera::ReleaseCamera(handle);
        LOG(INFO) << "GetSpecifyTypeCameraCount tmpCameraNum=" << tmpCameraNum;
        return tmpCameraNum;
    }
    zeta::platform::consolePrintf("Device Total: %d\n", tmpCameraNum);
    LOG(INFO) << "GetSpecifyTypeCameraCount ok1";
    zetaCamera::ReleaseCamera(handle);
    return 0;
}

int CPhysicalCameraThread::IsConnectOnU3(const std::string& type, bool& onU3) {
    LOG(INFO) << "IsConnectOnU3 0";
    onU3 = false;
    void* handle = nullptr;
    auto release = [&handle] {
        ZETA_TRACE_TMPBUF("Start Function zetaCamera::ReleaseCamera\n");
        zetaCamera::ReleaseCamera(handle);
        ZETA_TRACE_TMPBUF("End Function zetaCamera::ReleaseCamera\n");
    };

    ZETA_TRACE_TMPBUF("Start Function zetaCamera::CreateCamera\n");
    const int created = zetaCamera::CreateCamera(handle, type.c_str());
    ZETA_TRACE_TMPBUF("End Function zetaCamera::CreateCamera\n");
    if (created != 0) {
        LOG(INFO) << "IsConnectOnU3 CreateCamera failed";
        release();
        LOG(INFO) << "IsConnectOnU3 ReleaseCamera end";
        return 1;
    }

    int total = 0;
    ZETA_TRACE_TMPBUF("Start Function zetaCamera::GetDeviceTotal\n");
    if (zetaCamera::GetDeviceTotal(handle, total) != 0 || total < 1) {
        release();
        return 1;
    }

    bool bOerateSuccess = true;
    for (int i = 0; i < total; ++i) {
        // The handle is released at the end of the first round, and the library nulls the
        // variable, so every later round calls the library with a released (null) handle. That
        // is how the system behaves and it is kept: the calls fail cleanly, the round is counted
        // as a failure and the result becomes 1 for a rig of two or more cameras.
        ZETA_TRACE_TMPBUF("Start Function zetaCamera::OpenCamera   index=%d\n", i);
        const int opened = zetaCamera::OpenCamera(handle, i, 0, 0);
        ZETA_TRACE_TMPBUF("End Function zetaCamera::OpenCamera   index=%d\n", i);
        if (opened != 0) {
            release();
            bOerateSuccess = false;
            break;
        }
        int width = 1280;
        int height = 1024;
        ZETA_TRACE_TMPBUF("Start Function zetaCamera::GetResolution   index=%d\n", i);
        const int measured = zetaCamera::GetResolution(handle, width, height);
        ZETA_TRACE_TMPBUF("End Function zetaCamera::GetResolution   index=%d\n", i);
        LOG(INFO) << "IsConnectOnU3 ReleaseCamera start";
        release();
        LOG(INFO) << "IsConnectOnU3 ReleaseCamera end";
        if (measured != 0) {
            bOerateSuccess = false;
            break;
        }
        // A camera on a USB 2 link reports a resolution of 1 in one of its dimensions.
        onU3 = !(width == 1 || height == 1);
    }
    LOG(INFO) << "IsConnectOnU3 return bOerateSuccess=" << bOerateSuccess;
    return bOerateSuccess ? 0 : 1;
}
