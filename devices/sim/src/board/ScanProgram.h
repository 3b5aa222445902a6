// What one scan of the board's scan engine pulses, tick by tick.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "Illumination.h"
#include "zetaVoroSim/SimExport.h"

namespace zeta::sim {

// The board settings a scan reads when it starts. Changing them later does not change a running
// scan; the next start uses them.
struct ScanSettings {
    int stripePeriodMs = 10;      // first stripe word
    int specklePeriodMs = 10;     // speckle and laser scans
    int speckLaserPeriodMs = 20;  // speckle-laser cycle
    int speckLaserFrames = 3;     // laser frames after each speckle frame
    int segregationCount = 3;     // mono pulses per colour line trigger
    int colorDelayUs = 90;        // colour line trigger after its mono pulse
    bool speckleWithTexture = false;
    int monoVideoPeriodMs = 10;  // E7 continuous mode
    int sequenceLength = 15;     // pulses of one sequence of SCANTYPE 9
};

// A scan is a train of ticks, one per period, the first one period after the start. Tick k gives
// the pulses of `cycle[k % cycle length]`; a one-shot scan ends after its last tick, a repeating
// one runs until something ends it. Built once when the scan starts and immutable afterwards, so
// the engine thread reads it without a lock.
class ZETA_SIM_API ScanProgram {
public:
    struct Pulse {
        int route = 0;  // 0 mono, 1 colour, 2 both routes with one stamp
        Illumination light;
        int sequenceNumber = -1;             // number in a stripe sequence, -1 none
        std::chrono::microseconds delay{0};  // after the tick (colour line triggers)
    };

    // The program of zetaScan(type); nullopt for the stop types 7 and 10 and unknown types.
    static std::optional<ScanProgram> forScanType(int type, const ScanSettings& settings);
    // The program of zetaE7StartScanMode(mode, innerWord); nullopt for an unknown mode.
    static std::optional<ScanProgram> forE7Mode(int mode, int innerWord,
                                                const ScanSettings& settings);

    std::chrono::microseconds period() const { return period_; }
    bool repeats() const { return repeats_; }
    // Ticks of one cycle (of the whole scan when it does not repeat).
    std::size_t cycleLength() const { return cycle_.size(); }
    // The pulses of tick `tick` (counted from 0 since the scan started). The dual laser scan's
    // light follows the IR lamp and laser as they are at the tick.
    std::vector<Pulse> pulsesAt(std::uint64_t tick, bool irLamp, bool laser) const;

private:
    ScanProgram(int periodMs, bool repeats);

    // Numbered stripe pulses 0..count-1 on the mono route.
    void addStripes(int count);
    // Continuous speckle: `segregation` mono ticks, the last followed by a colour line trigger
    // after `delayUs` when `texture`.
    void addSpeckle(bool strobe, bool texture, int segregation, int delayUs);

    std::chrono::microseconds period_{0};
    bool repeats_ = false;
    bool sweep_ = false;      // laser lines shift by one per tick
    bool lampLight_ = false;  // mono light follows the IR lamp and laser (dual laser scan)
    std::vector<std::vector<Pulse>> cycle_;
};

}  // namespace zeta::sim
