#include "ScanProgram.h"

#include "BoardLights.h"

namespace zeta::sim {

namespace {

constexpr int kStripeScanPulses = 16;  // SCANTYPE 0: one more than the 15 frames of a plain
                                       // camera, so a dual-sensor camera can drop its first
constexpr int kE7StripePulses = 17;    // SCANTYPE 8 and the E7 burst
constexpr int kInnerDeshake = 0x1;
constexpr int kInnerNoTexture = 0x4;

ScanProgram::Pulse monoPulse(const Illumination& light, int sequenceNumber = -1) {
    ScanProgram::Pulse pulse;
    pulse.route = 0;
    pulse.light = light;
    pulse.sequenceNumber = sequenceNumber;
    return pulse;
}

}  // namespace

ScanProgram::ScanProgram(int periodMs, bool repeats)
    : period_(std::chrono::milliseconds(periodMs)), repeats_(repeats) {}

void ScanProgram::addStripes(int count) {
    for (int k = 0; k < count; ++k) {
        cycle_.push_back({monoPulse(patternLight(Illumination::Kind::Stripe, k), k)});
    }
}

void ScanProgram::addSpeckle(bool strobe, bool texture, int segregation, int delayUs) {
    Illumination speckle = patternLight(Illumination::Kind::Speckle);
    speckle.strobe = strobe;
    const int ticks = texture ? (segregation > 0 ? segregation : 1) : 1;
    for (int k = 0; k < ticks; ++k) cycle_.push_back({monoPulse(speckle)});
    if (texture) {
        Pulse colour;
        colour.route = 1;
        colour.light = textureLight();
        colour.delay = std::chrono::microseconds(delayUs);
        cycle_.back().push_back(colour);
    }
}

std::optional<ScanProgram> ScanProgram::forScanType(int type, const ScanSettings& settings) {
    using Kind = Illumination::Kind;
    switch (type) {
        case 0: {  // stripe: one sequence
            ScanProgram program(settings.stripePeriodMs, false);
            program.addStripes(kStripeScanPulses);
            return program;
        }
        case 1:    // laser
        case 4: {  // dual laser: the lamps choose the light
            ScanProgram program(settings.specklePeriodMs, true);
            program.sweep_ = true;
            program.lampLight_ = type == 4;
            program.cycle_.push_back({monoPulse(patternLight(Kind::LaserLines))});
            return program;
        }
        case 2:    // speckle
        case 5: {  // speckle with the mono strobe lit
            ScanProgram program(settings.specklePeriodMs, true);
            program.addSpeckle(type == 5, settings.speckleWithTexture, settings.segregationCount,
                               settings.colorDelayUs);
            return program;
        }
        case 6: {  // speckle-laser cycle
            ScanProgram program(settings.speckLaserPeriodMs, true);
            program.cycle_.push_back({monoPulse(patternLight(Kind::Speckle))});
            for (int k = 0; k < settings.speckLaserFrames; ++k) {
                program.cycle_.push_back({monoPulse(patternLight(Kind::DenseLaser, k))});
            }
            return program;
        }
        case 8: {  // E7 stripe: one sequence
            ScanProgram program(settings.stripePeriodMs, false);
            program.addStripes(kE7StripePulses);
            return program;
        }
        case 9: {  // numbered sequences until SCANTYPE 10
            ScanProgram program(settings.stripePeriodMs, true);
            program.addStripes(settings.sequenceLength > 0 ? settings.sequenceLength : 1);
            return program;
        }
        default:
            return std::nullopt;
    }
}

std::optional<ScanProgram> ScanProgram::forE7Mode(int mode, int innerWord,
                                                  const ScanSettings& settings) {
    switch (mode) {
        case 6: {  // continuous calibration pattern on both routes
            ScanProgram program(settings.monoVideoPeriodMs, true);
            Pulse both;
            both.route = 2;
            both.light = calibrationLight(innerWord);
            program.cycle_.push_back({both});
            return program;
        }
        case 32:    // one burst
        case 33: {  // bursts until stopped
            ScanProgram program(settings.stripePeriodMs, mode == 33);
            const int stripes = kE7StripePulses + ((innerWord & kInnerDeshake) != 0 ? 1 : 0);
            program.addStripes(stripes);
            if ((innerWord & kInnerNoTexture) == 0) {
                Pulse colour;
                colour.route = 1;
                colour.light = textureLight();
                colour.sequenceNumber = stripes;
                program.cycle_.push_back({colour});
            }
            return program;
        }
        case 41: {  // continuous speckle; bit 0x1 lights the mono strobe, texture is active low
            ScanProgram program(settings.specklePeriodMs, true);
            program.addSpeckle((innerWord & kInnerDeshake) != 0, (innerWord & kInnerNoTexture) == 0,
                               settings.segregationCount, settings.colorDelayUs);
            return program;
        }
        default:
            return std::nullopt;
    }
}

std::vector<ScanProgram::Pulse> ScanProgram::pulsesAt(std::uint64_t tick, bool irLamp,
                                                      bool laser) const {
    if (cycle_.empty()) return {};
    std::vector<Pulse> pulses = cycle_[static_cast<std::size_t>(tick % cycle_.size())];
    const int shift = static_cast<int>(tick % 0x7fffffffu);
    for (Pulse& pulse : pulses) {
        if (pulse.route == 1) continue;
        if (lampLight_) {
            if (laser) {
                pulse.light = patternLight(Illumination::Kind::LaserLines, shift);
            } else if (irLamp) {
                pulse.light = flatLight(128, 128, 128);
            } else {
                pulse.light = patternLight(Illumination::Kind::Dark);
            }
        } else if (sweep_) {
            pulse.light.index = shift;
        }
    }
    return pulses;
}

}  // namespace zeta::sim
