// The simulated projector control board.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "BoardEngine.h"
#include "RigConfig.h"
#include "ScanProgram.h"
#include "TriggerBus.h"
#include "zetaVoroSim/SimControl.h"
#include "zetaVoroSim/SimExport.h"

namespace zeta::sim {

// One board per rig. Every public method is thread-safe.
// CONTRACT used by the rest of the virtual scanner (VirtualScanner, the control API); the board
// operations called by the board library are declared below it.
class ZETA_SIM_API SimBoard {
public:
    SimBoard(const BoardConfig& config, std::shared_ptr<TriggerBus> bus);
    ~SimBoard();
    SimBoard(const SimBoard&) = delete;
    SimBoard& operator=(const SimBoard&) = delete;

    // Stops the engine thread; every later operation fails. Idempotent.
    void shutdown();

    bool acceptsPath(const std::string& path) const;
    bool present() const;
    void setPresent(bool present);
    void setStatus(std::uint8_t first, std::uint8_t second, std::uint8_t state, bool flag);
    void sessionOpened();
    void sessionClosed();

    BoardState state() const;
    std::vector<std::vector<std::uint8_t>> sentCommands(bool report) const;
    ImageStoreState imageStore() const;

    // ---- board operations (the board library) -------------------------------------------------
    // Each returns false, changing nothing and writing no output, when the board does not answer
    // (unplugged or shut down) or an argument is outside its range; that check comes first.
    // Routes are 0 mono, 1 colour, 2 both.

    // Present and not shut down.
    bool answering() const;

    bool setVideoTrigger(int route, bool start);
    bool setVideoTriggerPeriod(int route, int periodMs);
    bool setTriggerPulseWidth(int route, int widthMs);
    bool setTriggerPolarity(int route, int polarity);
    // Route 0 or 1.
    bool queryVideoTrigger(int route, bool& running, int& periodMs) const;
    bool queryTriggerParameter(int route, int& polarity, int& widthMs) const;
    bool outputSingleTrigger(int route);

    bool project(int pattern);
    bool setStrobe(int route, bool on);
    bool setStrobeFlicker(int route, bool on);
    bool setZoom(bool on);
    bool setIrLampAndLaser(bool irLamp, bool laser);
    bool setDistanceIndicate(int state);
    bool setBrightness(int percent);
    bool queryBrightness(int& percent) const;
    bool setE7Brightness(int percent);
    bool resetColorRoute();

    bool scan(int scanType);
    bool setStripeScanParameter(int first, int second);
    bool setSpeckleOrLaserScanParameter(int periodMs, int spacePercent);
    bool setSpeckLaserScanParameter(int periodMs, int laserFrames);
    bool setColorLineTriggerSegregationCount(int count);
    bool setColorLineTriggerDelay(int delayUs);
    bool setSpeckleScanWithTexture(bool withTexture);
    bool enterFixScanFastMode();
    bool enterFixScanFreeProjectMode();
    bool startE7ScanMode(int mode, int innerWord);
    bool stopE7ScanMode();

    bool resetCameraTimeStamp(int route);
    bool setCameraTimeStampType(int type);
    bool setVideoWidthHeight(int width, int height);
    bool setMonoColorSpan(int span);
    bool setStrobeLightingTime(int camera, int timeUs);

    bool queryStatus(std::uint8_t& first, std::uint8_t& second, std::uint8_t& state,
                     bool& flag) const;
    bool queryFirmware(std::string& version) const;
    // A raw command of 1 to 64 bytes; `report` tells zetaSendReportCmd from zetaSendCmdLine.
    bool sendCommand(bool report, const std::uint8_t* bytes, int length);

    // imageType 0 or 1; a new start discards an unfinished write.
    bool startImageWrite(int imageType);
    // A chunk of 1 to 64 bytes, between a start and a stop.
    bool writeImageData(const std::uint8_t* data, int length);
    bool stopImageWrite();

private:
    ScanSettings scanSettingsLocked() const;
    // Starts `program` on the engine; false when it has no period to run at.
    bool startProgramLocked(const std::optional<ScanProgram>& program);
    void updateStrobeLocked(int route);

    const BoardConfig config_;
    const std::shared_ptr<TriggerBus> bus_;

    // Guards everything below. Lock order: mutex_, then the engine's, then the bus's.
    mutable std::mutex mutex_;
    bool present_;
    bool shutDown_ = false;
    BoardState state_;  // settings as reported; present, pulses and scanRunning are filled live
    std::uint8_t status_[3];
    bool statusFlag_;
    std::vector<std::vector<std::uint8_t>> commands_[2];  // [0] command lines, [1] report commands
    ImageStoreState imageStore_;

    BoardEngine engine_;
};

}  // namespace zeta::sim
