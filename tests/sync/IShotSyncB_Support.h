// Test access to the camera-set, capture and matcher state of the IShotSync base, and helpers
// shared by its camera, parameter, callback, capture, frame-handler and matcher tests.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "LibraryTestSupport.h"
#include "SimTestSupport.h"
#include "TestShotSync.h"
#include "zetaVoroSim/SimControl.h"

class CSyncBProbe : public CTestShotSync {
public:
    // The grab threads call the listener (this object) and the frame handlers until the base
    // destructor stops them; stopping them here, before any destructor of the object has run,
    // keeps them off an object being destroyed.
    ~CSyncBProbe() override { StopGrabThreads(); }

    // Stops every camera thread's grab thread (the cameras stay open), so that a test can change
    // state the frame handlers read.
    void StopGrabThreads() {
        for (CPhysicalCameraThread* camera : m_cameras) {
            if (camera != nullptr) camera->StopThread();
        }
    }

    using IShotSync::BytesPerPixelOf;
    using IShotSync::CameraOf;
    using IShotSync::ComputeChannelWords;
    using IShotSync::FitsTheChannelWords;
    using IShotSync::FrameTimeStamp;
    using IShotSync::m_allCameraMask;
    using IShotSync::m_arrivedCameraMask;
    using IShotSync::m_bColorTrigleCopyFromMono;
    using IShotSync::m_cameraExposure;
    using IShotSync::m_cameraGain;
    using IShotSync::m_cameraGamma;
    using IShotSync::m_cameraResolution;
    using IShotSync::m_cameraSerials;
    using IShotSync::m_cameraSharpness;
    using IShotSync::m_csImageGroup;
    using IShotSync::m_firstSetTextureExposure;
    using IShotSync::m_firstSetTextureGain;
    using IShotSync::m_fullImages;
    using IShotSync::m_lastFrameCode;
    using IShotSync::m_modeValue;
    using IShotSync::m_pDisplayCallBack;
    using IShotSync::m_pDisplayCallBack2;
    using IShotSync::m_pScanCallBack;
    using IShotSync::m_pScanCallBack2;
    using IShotSync::m_pScanFullCallBack;
    using IShotSync::m_pTextureScanFullCallBack;
    using IShotSync::m_textureArrivedMask;
    using IShotSync::m_textureExposure;
    using IShotSync::m_textureImages;
    using IShotSync::m_timeStampArea;
    using IShotSync::PixelTypeOf;
    using IShotSync::RestoreAutoReconnect;
    using IShotSync::SaveAndClearAutoReconnect;
    using IShotSync::SleepUnlessShutdown;
    using IShotSync::ThreadIndexOf;
    using IShotSync::WaitAllUnlessShutdown;
};

namespace zeta::sync::test {

// One camera of a rig: serial, sensor size, format, sensors per frame and any extra keys.
inline std::string cam(const std::string& serial, int width = 64, int height = 48, int format = 1,
                       int sensors = 1, const std::string& extra = "") {
    std::string text = R"({"serial":")" + serial + R"(","width":)" + std::to_string(width) +
                       R"(,"height":)" + std::to_string(height) + R"(,"format":)" +
                       std::to_string(format) + R"(,"sensors":)" + std::to_string(sensors);
    if (!extra.empty()) text += "," + extra;
    return text + "}";
}

// Opens the board and the cameras named by `serials` with the given whole-frame sizes.
// Returns OpenCameras' result (-1 when the board did not open).
inline int connect(CSyncBProbe& sync, const std::vector<std::string>& serials,
                   const std::vector<int>& widths, const std::vector<int>& heights) {
    if (sync.InitProjector("sim:board0") != 0) return -1;
    zeta::test::CameraNames names(serials);
    return sync.OpenCameras(names.get(), widths, heights);
}

// Journal records of `op` on `dev` as their argument texts, in order.
inline std::vector<std::string> argsOf(const std::string& op, const std::string& dev = "") {
    std::vector<std::string> args;
    for (const auto& record : zeta::sim::test::recordsOf(op, dev)) args.push_back(record.args);
    return args;
}

// Board records of the journal as "op args" strings, in order.
inline std::vector<std::string> boardOps() {
    std::vector<std::string> calls;
    for (const auto& record : zeta::sim::journal()) {
        if (record.dev == "board") calls.push_back(record.op + " " + record.args);
    }
    return calls;
}

// Resets the process-wide state the base keeps (first-set flags, matcher state).
inline void resetProcessWideState() {
    CSyncBProbe::m_firstSetTextureExposure = true;
    CSyncBProbe::m_firstSetTextureGain = true;
    IShotSync::ResetMatcherStateForTest();
}

}  // namespace zeta::sync::test
