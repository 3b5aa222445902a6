// The board library of the virtual scanner: every operation of zetaVoroDLPdev.h on the board of
// the current rig.
//
// Each operation journals itself as one DeviceCall and checks, in this order: the handle (an
// unknown, null, closed or stale handle fails), injected faults and a broken rig, then the board
// (unplugged or shut down) and the arguments, which SimBoard checks in that order. A failing call
// writes none of its outputs. Nothing here lets an exception or a bad pointer through.
#include <cstdint>
#include <exception>
#include <memory>
#include <string>

#include "DeviceCall.h"
#include "VirtualScanner.h"
#include "board/SimBoard.h"
#include "zetaVoroDLPdev.h"

namespace zetaVoroDLPdev {

namespace {

using zeta::sim::BoardSession;
using zeta::sim::DeviceCall;
using zeta::sim::SimBoard;
using zeta::sim::VirtualScanner;

constexpr const char* kDevice = "board";

std::shared_ptr<SimBoard> boardOf(const void* handle) {
    auto session = VirtualScanner::instance().boardHandles().find(handle);
    return session ? session->board : nullptr;
}

// Runs `op` on the board behind `handle` after the handle and fault checks, and finishes the
// journal record with its result.
template <class Op>
bool onBoard(DeviceCall& call, const void* handle, Op&& op) {
    try {
        auto board = boardOf(handle);
        if (!board) return call.finish(false);
        if (call.mustFail()) return call.finish(false);
        return call.finish(op(*board));
    } catch (const std::exception&) {
        return call.finish(false);
    }
}

// A byte buffer is journaled as its length, a null one as null.
void bufferArg(DeviceCall& call, const void* buffer, int length) {
    if (buffer == nullptr) {
        call.arg(static_cast<const char*>(nullptr));
    } else {
        call.bytes(length);
    }
    call.arg(length);
}

bool sendRaw(const char* op, void* const& handle, const char* const& cmd, const int& len,
             bool report) {
    DeviceCall call(op, kDevice);
    bufferArg(call, cmd, len);
    return onBoard(call, handle, [&](SimBoard& board) {
        return board.sendCommand(report, reinterpret_cast<const std::uint8_t*>(cmd), len);
    });
}

bool queryVideo(const char* op, void* const& handle, int route, bool& running, int& periodMs) {
    DeviceCall call(op, kDevice);
    return onBoard(call, handle, [&](SimBoard& board) {
        bool r = false;
        int p = 0;
        if (!board.queryVideoTrigger(route, r, p)) return false;
        running = r;
        periodMs = p;
        return true;
    });
}

bool queryTrigger(const char* op, void* const& handle, int route, int& polarity, int& widthMs) {
    DeviceCall call(op, kDevice);
    return onBoard(call, handle, [&](SimBoard& board) {
        int p = 0;
        int w = 0;
        if (!board.queryTriggerParameter(route, p, w)) return false;
        polarity = p;
        widthMs = w;
        return true;
    });
}

}  // namespace

// --- connection -------------------------------------------------------------------------------

bool zetaInitHidDev(void*& handle, const char* const& path) {
    DeviceCall call("zetaInitHidDev", kDevice);
    call.arg(path);
    try {
        if (call.mustFail()) return call.finish(false);
        VirtualScanner& scanner = VirtualScanner::instance();
        auto rig = scanner.rig();
        auto board = rig->board;
        if (!board || !board->answering()) return call.finish(false);
        if (path == nullptr || !board->acceptsPath(path)) return call.finish(false);
        auto session = std::make_shared<BoardSession>();
        session->board = board;
        board->sessionOpened();
        handle = scanner.boardHandles().add(std::move(session));
        return call.finish(true);
    } catch (const std::exception&) {
        return call.finish(false);
    }
}

bool zetaExitHidDev(void*& handle) {
    DeviceCall call("zetaExitHidDev", kDevice);
    try {
        VirtualScanner& scanner = VirtualScanner::instance();
        auto session = scanner.boardHandles().find(handle);
        if (!session) return call.finish(false);
        if (call.mustFail()) return call.finish(false);
        // The handle is forgotten even when the board does not answer (unplugged): the host
        // cannot do anything else with it, and keeping it would leak the session.
        const bool answered = session->board->answering();
        if (scanner.boardHandles().remove(handle)) session->board->sessionClosed();
        handle = nullptr;
        return call.finish(answered);
    } catch (const std::exception&) {
        return call.finish(false);
    }
}

// --- triggers ---------------------------------------------------------------------------------

bool zetaStartOrStopVideoTrigger(void* const& handle, const TRIGGERROUTE& route,
                                 const bool& start) {
    DeviceCall call("zetaStartOrStopVideoTrigger", kDevice);
    call.arg(static_cast<int>(route)).arg(start);
    return onBoard(call, handle,
                   [&](SimBoard& board) { return board.setVideoTrigger(route, start); });
}

bool zetaSetVideoTriggerPeriod(void* const& handle, const TRIGGERROUTE& route,
                               const int& periodMs) {
    DeviceCall call("zetaSetVideoTriggerPeriod", kDevice);
    call.arg(static_cast<int>(route)).arg(periodMs);
    return onBoard(call, handle,
                   [&](SimBoard& board) { return board.setVideoTriggerPeriod(route, periodMs); });
}

bool zetaSetTriggerPulseWidth(void* const& handle, const TRIGGERROUTE& route, const int& widthMs) {
    DeviceCall call("zetaSetTriggerPulseWidth", kDevice);
    call.arg(static_cast<int>(route)).arg(widthMs);
    return onBoard(call, handle,
                   [&](SimBoard& board) { return board.setTriggerPulseWidth(route, widthMs); });
}

bool zetaSetTriggerPolarity(void* const& handle, const TRIGGERROUTE& route, const int& polarity) {
    DeviceCall call("zetaSetTriggerPolarity", kDevice);
    call.arg(static_cast<int>(route)).arg(polarity);
    return onBoard(call, handle,
                   [&](SimBoard& board) { return board.setTriggerPolarity(route, polarity); });
}

bool zetaQueryMonoCameraVideoTriggerParameter(void* const& handle, bool& running, int& periodMs) {
    return queryVideo("zetaQueryMonoCameraVideoTriggerParameter", handle, 0, running, periodMs);
}

bool zetaQueryColorCameraVideoTriggerParameter(void* const& handle, bool& running, int& periodMs) {
    return queryVideo("zetaQueryColorCameraVideoTriggerParameter", handle, 1, running, periodMs);
}

bool zetaQueryMonoCameraTriggerParameter(void* const& handle, int& polarity, int& widthMs) {
    return queryTrigger("zetaQueryMonoCameraTriggerParameter", handle, 0, polarity, widthMs);
}

bool zetaQueryColorCameraTriggerParameter(void* const& handle, int& polarity, int& widthMs) {
    return queryTrigger("zetaQueryColorCameraTriggerParameter", handle, 1, polarity, widthMs);
}

bool zetaOutputSingleTrigger(void* const& handle, const TRIGGERROUTE& route) {
    DeviceCall call("zetaOutputSingleTrigger", kDevice);
    call.arg(static_cast<int>(route));
    return onBoard(call, handle, [&](SimBoard& board) { return board.outputSingleTrigger(route); });
}

bool zetaE7StartOrStopVideoTrigger(void* const& handle, const TRIGGERROUTE& route,
                                   const bool& start) {
    DeviceCall call("zetaE7StartOrStopVideoTrigger", kDevice);
    call.arg(static_cast<int>(route)).arg(start);
    return onBoard(call, handle,
                   [&](SimBoard& board) { return board.setVideoTrigger(route, start); });
}

// --- projection and lights --------------------------------------------------------------------

bool zetaProject(void* const& handle, const PROJECTTYPE& pattern) {
    DeviceCall call("zetaProject", kDevice);
    call.arg(static_cast<int>(pattern));
    return onBoard(call, handle, [&](SimBoard& board) { return board.project(pattern); });
}

bool zetaOpenOrCloseStrobe(void* const& handle, const TRIGGERROUTE& route, const bool& on) {
    DeviceCall call("zetaOpenOrCloseStrobe", kDevice);
    call.arg(static_cast<int>(route)).arg(on);
    return onBoard(call, handle, [&](SimBoard& board) { return board.setStrobe(route, on); });
}

bool zetaOpenOrCloseStrobeFlicker(void* const& handle, const TRIGGERROUTE& route, const bool& on) {
    DeviceCall call("zetaOpenOrCloseStrobeFlicker", kDevice);
    call.arg(static_cast<int>(route)).arg(on);
    return onBoard(call, handle,
                   [&](SimBoard& board) { return board.setStrobeFlicker(route, on); });
}

bool zetaOpenOrCloseZoomFunction(void* const& handle, const bool& on) {
    DeviceCall call("zetaOpenOrCloseZoomFunction", kDevice);
    call.arg(on);
    return onBoard(call, handle, [&](SimBoard& board) { return board.setZoom(on); });
}

bool zetaSetIRLampAndLaser(void* const& handle, const bool& irLamp, const bool& laser) {
    DeviceCall call("zetaSetIRLampAndLaser", kDevice);
    call.arg(irLamp).arg(laser);
    return onBoard(call, handle,
                   [&](SimBoard& board) { return board.setIrLampAndLaser(irLamp, laser); });
}

bool zetaSetDistanceIndicate(void* const& handle, const DISTANCEINDICATE& state) {
    DeviceCall call("zetaSetDistanceIndicate", kDevice);
    call.arg(static_cast<int>(state));
    return onBoard(call, handle, [&](SimBoard& board) { return board.setDistanceIndicate(state); });
}

bool zetaSetProjectorBrightnessPercent(void* const& handle, const int& percent) {
    DeviceCall call("zetaSetProjectorBrightnessPercent", kDevice);
    call.arg(percent);
    return onBoard(call, handle, [&](SimBoard& board) { return board.setBrightness(percent); });
}

bool zetaQueryProjectorBrightnessPercent(void* const& handle, int& percent) {
    DeviceCall call("zetaQueryProjectorBrightnessPercent", kDevice);
    return onBoard(call, handle, [&](SimBoard& board) {
        int value = 0;
        if (!board.queryBrightness(value)) return false;
        percent = value;
        return true;
    });
}

bool zetaE7SetProjectorBrightnessPercent(void* const& handle, const int& percent) {
    DeviceCall call("zetaE7SetProjectorBrightnessPercent", kDevice);
    call.arg(percent);
    return onBoard(call, handle, [&](SimBoard& board) { return board.setE7Brightness(percent); });
}

bool zetaResetColorRoute(void* const& handle) {
    DeviceCall call("zetaResetColorRoute", kDevice);
    return onBoard(call, handle, [&](SimBoard& board) { return board.resetColorRoute(); });
}

// --- scans ------------------------------------------------------------------------------------

bool zetaScan(void* const& handle, const SCANTYPE& scanType) {
    DeviceCall call("zetaScan", kDevice);
    call.arg(static_cast<int>(scanType));
    return onBoard(call, handle, [&](SimBoard& board) { return board.scan(scanType); });
}

bool zetaSetStripeScanParameter(void* const& handle, const int& first, const int& second) {
    DeviceCall call("zetaSetStripeScanParameter", kDevice);
    call.arg(first).arg(second);
    return onBoard(call, handle,
                   [&](SimBoard& board) { return board.setStripeScanParameter(first, second); });
}

bool zetaSetSpeckleOrLaserScanParameter(void* const& handle, const int& periodMs,
                                        const int& spacePercent) {
    DeviceCall call("zetaSetSpeckleOrLaserScanParameter", kDevice);
    call.arg(periodMs).arg(spacePercent);
    return onBoard(call, handle, [&](SimBoard& board) {
        return board.setSpeckleOrLaserScanParameter(periodMs, spacePercent);
    });
}

bool zetaSetSpeckLaserScanParameter(void* const& handle, const int& periodMs,
                                    const int& laserFrames) {
    DeviceCall call("zetaSetSpeckLaserScanParameter", kDevice);
    call.arg(periodMs).arg(laserFrames);
    return onBoard(call, handle, [&](SimBoard& board) {
        return board.setSpeckLaserScanParameter(periodMs, laserFrames);
    });
}

bool zetaSetColorCameraLineTriggerSegregationCount(void* const& handle, const int& count) {
    DeviceCall call("zetaSetColorCameraLineTriggerSegregationCount", kDevice);
    call.arg(count);
    return onBoard(call, handle, [&](SimBoard& board) {
        return board.setColorLineTriggerSegregationCount(count);
    });
}

bool zetaSetColorCameraLineTriggerDelay(void* const& handle, const int& delayUs) {
    DeviceCall call("zetaSetColorCameraLineTriggerDelay", kDevice);
    call.arg(delayUs);
    return onBoard(call, handle,
                   [&](SimBoard& board) { return board.setColorLineTriggerDelay(delayUs); });
}

bool zetaSetSpeckleScanWithTexture(void* const& handle, const bool& withTexture) {
    DeviceCall call("zetaSetSpeckleScanWithTexture", kDevice);
    call.arg(withTexture);
    return onBoard(call, handle,
                   [&](SimBoard& board) { return board.setSpeckleScanWithTexture(withTexture); });
}

bool zetaEnterFixScanFastMode(void* const& handle) {
    DeviceCall call("zetaEnterFixScanFastMode", kDevice);
    return onBoard(call, handle, [&](SimBoard& board) { return board.enterFixScanFastMode(); });
}

bool zetaEnterFixScanFreeProjectMode(void* const& handle) {
    DeviceCall call("zetaEnterFixScanFreeProjectMode", kDevice);
    return onBoard(call, handle,
                   [&](SimBoard& board) { return board.enterFixScanFreeProjectMode(); });
}

bool zetaE7StartScanMode(void* const& handle, const int& mode, const int& innerWord) {
    DeviceCall call("zetaE7StartScanMode", kDevice);
    call.arg(mode).arg(innerWord);
    return onBoard(call, handle,
                   [&](SimBoard& board) { return board.startE7ScanMode(mode, innerWord); });
}

bool zetaE7StopScanMode(void* const& handle) {
    DeviceCall call("zetaE7StopScanMode", kDevice);
    return onBoard(call, handle, [&](SimBoard& board) { return board.stopE7ScanMode(); });
}

// --- cameras behind the board -----------------------------------------------------------------

bool zetaResetCameraTimeStamp(void* const& handle, const int& route) {
    DeviceCall call("zetaResetCameraTimeStamp", kDevice);
    call.arg(route);
    return onBoard(call, handle,
                   [&](SimBoard& board) { return board.resetCameraTimeStamp(route); });
}

bool zetaSetCameraTimeStampType(void* const& handle, const int& type) {
    DeviceCall call("zetaSetCameraTimeStampType", kDevice);
    call.arg(type);
    return onBoard(call, handle,
                   [&](SimBoard& board) { return board.setCameraTimeStampType(type); });
}

bool zetaSetVideoWidthHeight(void* const& handle, const int& width, const int& height) {
    DeviceCall call("zetaSetVideoWidthHeight", kDevice);
    call.arg(width).arg(height);
    return onBoard(call, handle,
                   [&](SimBoard& board) { return board.setVideoWidthHeight(width, height); });
}

bool zetaSetMonoColorSpan(void* const& handle, const int& span) {
    DeviceCall call("zetaSetMonoColorSpan", kDevice);
    call.arg(span);
    return onBoard(call, handle, [&](SimBoard& board) { return board.setMonoColorSpan(span); });
}

bool zetaSetStrobeLightingTime(void* const& handle, const int& camera, const int& timeUs) {
    DeviceCall call("zetaSetStrobeLightingTime", kDevice);
    call.arg(camera).arg(timeUs);
    return onBoard(call, handle,
                   [&](SimBoard& board) { return board.setStrobeLightingTime(camera, timeUs); });
}

// --- status and commands ----------------------------------------------------------------------

bool zetaQueryCurrentStatus(void* const& handle, unsigned char& first, unsigned char& second,
                            unsigned char& state, bool& flag) {
    DeviceCall call("zetaQueryCurrentStatus", kDevice);
    return onBoard(call, handle, [&](SimBoard& board) {
        std::uint8_t a = 0;
        std::uint8_t b = 0;
        std::uint8_t c = 0;
        bool f = false;
        if (!board.queryStatus(a, b, c, f)) return false;
        first = a;
        second = b;
        state = c;
        flag = f;
        return true;
    });
}

bool zetaQueryProjectorFirewareVersion(void* const& handle, std::string& version) {
    DeviceCall call("zetaQueryProjectorFirewareVersion", kDevice);
    return onBoard(call, handle, [&](SimBoard& board) {
        std::string text;
        if (!board.queryFirmware(text)) return false;
        version = std::move(text);
        return true;
    });
}

bool zetaSendCmdLine(void* const& handle, const char* const& cmd, const int& len) {
    return sendRaw("zetaSendCmdLine", handle, cmd, len, false);
}

bool zetaSendReportCmd(void* const& handle, const char* const& cmd, const int& len) {
    return sendRaw("zetaSendReportCmd", handle, cmd, len, true);
}

// --- image store ------------------------------------------------------------------------------

bool zetaE7StartWriteImage(void* const& handle, const unsigned char& imageType) {
    DeviceCall call("zetaE7StartWriteImage", kDevice);
    call.arg(static_cast<int>(imageType));
    return onBoard(call, handle, [&](SimBoard& board) { return board.startImageWrite(imageType); });
}

bool zetaE7WriteImageData(void* const& handle, const unsigned char* const& data, const int& len) {
    DeviceCall call("zetaE7WriteImageData", kDevice);
    bufferArg(call, data, len);
    return onBoard(call, handle, [&](SimBoard& board) { return board.writeImageData(data, len); });
}

bool zetaE7StopWriteImage(void* const& handle) {
    DeviceCall call("zetaE7StopWriteImage", kDevice);
    return onBoard(call, handle, [&](SimBoard& board) { return board.stopImageWrite(); });
}

}  // namespace zetaVoroDLPdev
