// The content of every scan, tick by tick, without the clock.
#include <gtest/gtest.h>

#include "board/BoardLights.h"
#include "board/ScanProgram.h"

namespace zeta::sim {
namespace {

using Kind = Illumination::Kind;
using std::chrono::microseconds;

ScanProgram programFor(int type, const ScanSettings& settings = {}) {
    auto program = ScanProgram::forScanType(type, settings);
    EXPECT_TRUE(program.has_value()) << type;
    return program.value_or(*ScanProgram::forScanType(0, {}));
}

ScanProgram e7ProgramFor(int mode, int inner, const ScanSettings& settings = {}) {
    auto program = ScanProgram::forE7Mode(mode, inner, settings);
    EXPECT_TRUE(program.has_value()) << mode;
    return program.value_or(*ScanProgram::forScanType(0, {}));
}

void expectStripeTicks(const ScanProgram& program, int count) {
    ASSERT_EQ(program.cycleLength(), static_cast<std::size_t>(count));
    for (int k = 0; k < count; ++k) {
        const auto pulses = program.pulsesAt(k, false, false);
        ASSERT_EQ(pulses.size(), 1u);
        EXPECT_EQ(pulses[0].route, 0);
        EXPECT_EQ(pulses[0].sequenceNumber, k);
        EXPECT_EQ(pulses[0].light, patternLight(Kind::Stripe, k));
        EXPECT_EQ(pulses[0].delay.count(), 0);
    }
}

TEST(ScanProgram, StopAndUnknownTypesHaveNoProgram) {
    for (int type : {-1, 3, 7, 10, 11}) {
        EXPECT_FALSE(ScanProgram::forScanType(type, {}).has_value()) << type;
    }
    for (int mode : {0, 5, 7, 31, 34, 40, 42}) {
        EXPECT_FALSE(ScanProgram::forE7Mode(mode, 0, {}).has_value()) << mode;
    }
}

TEST(ScanProgram, StripeIsOneSequenceOfSixteen) {
    ScanSettings settings;
    settings.stripePeriodMs = 7;
    const auto program = programFor(0, settings);
    EXPECT_FALSE(program.repeats());
    EXPECT_EQ(program.period(), microseconds(7000));
    expectStripeTicks(program, 16);
}

TEST(ScanProgram, E7StripeIsOneSequenceOfSeventeen) {
    const auto program = programFor(8);
    EXPECT_FALSE(program.repeats());
    expectStripeTicks(program, 17);
}

TEST(ScanProgram, SequenceRepeatsTheRigLength) {
    ScanSettings settings;
    settings.sequenceLength = 6;
    const auto program = programFor(9, settings);
    EXPECT_TRUE(program.repeats());
    expectStripeTicks(program, 6);
    EXPECT_EQ(program.pulsesAt(6, false, false)[0].sequenceNumber, 0);
    EXPECT_EQ(program.pulsesAt(13, false, false)[0].sequenceNumber, 1);
}

TEST(ScanProgram, LaserSweepsByOnePerTick) {
    ScanSettings settings;
    settings.specklePeriodMs = 3;
    const auto program = programFor(1, settings);
    EXPECT_TRUE(program.repeats());
    EXPECT_EQ(program.period(), microseconds(3000));
    for (std::uint64_t tick : {0u, 1u, 2u, 1000u}) {
        const auto pulses = program.pulsesAt(tick, false, false);
        ASSERT_EQ(pulses.size(), 1u);
        EXPECT_EQ(pulses[0].light, patternLight(Kind::LaserLines, static_cast<int>(tick)));
        EXPECT_EQ(pulses[0].sequenceNumber, -1);
    }
}

TEST(ScanProgram, DualLaserLightFollowsTheLamps) {
    const auto program = programFor(4);
    EXPECT_EQ(program.pulsesAt(5, false, true)[0].light, patternLight(Kind::LaserLines, 5));
    EXPECT_EQ(program.pulsesAt(5, true, true)[0].light, patternLight(Kind::LaserLines, 5));
    EXPECT_EQ(program.pulsesAt(5, true, false)[0].light, flatLight(128, 128, 128));
    EXPECT_EQ(program.pulsesAt(5, false, false)[0].light, patternLight(Kind::Dark));
}

TEST(ScanProgram, SpeckleWithTextureAddsADelayedColourPulse) {
    ScanSettings settings;
    settings.speckleWithTexture = true;
    settings.segregationCount = 4;
    settings.colorDelayUs = 250;
    const auto program = programFor(2, settings);
    EXPECT_TRUE(program.repeats());
    ASSERT_EQ(program.cycleLength(), 4u);
    for (int k = 0; k < 8; ++k) {
        const auto pulses = program.pulsesAt(k, false, false);
        ASSERT_EQ(pulses.size(), k % 4 == 3 ? 2u : 1u) << k;
        EXPECT_EQ(pulses[0].route, 0);
        EXPECT_EQ(pulses[0].light, patternLight(Kind::Speckle));
        if (pulses.size() == 2) {
            EXPECT_EQ(pulses[1].route, 1);
            EXPECT_EQ(pulses[1].light, flatLight(255, 255, 255));
            EXPECT_EQ(pulses[1].delay, microseconds(250));
        }
    }
}

TEST(ScanProgram, SpeckleStrobeLightsItsPulses) {
    const auto program = programFor(5);
    EXPECT_EQ(program.cycleLength(), 1u);
    EXPECT_TRUE(program.pulsesAt(0, false, false)[0].light.strobe);
    EXPECT_FALSE(programFor(2).pulsesAt(0, false, false)[0].light.strobe);
}

TEST(ScanProgram, SpeckleLaserIsOneSpeckleThenTheLaserFrames) {
    ScanSettings settings;
    settings.speckLaserPeriodMs = 9;
    settings.speckLaserFrames = 2;
    const auto program = programFor(6, settings);
    EXPECT_EQ(program.period(), microseconds(9000));
    ASSERT_EQ(program.cycleLength(), 3u);
    EXPECT_EQ(program.pulsesAt(0, false, false)[0].light, patternLight(Kind::Speckle));
    EXPECT_EQ(program.pulsesAt(1, false, false)[0].light, patternLight(Kind::DenseLaser, 0));
    EXPECT_EQ(program.pulsesAt(2, false, false)[0].light, patternLight(Kind::DenseLaser, 1));
    EXPECT_EQ(program.pulsesAt(3, false, false)[0].light, patternLight(Kind::Speckle));
}

TEST(ScanProgram, BurstCountsFollowTheInnerBits) {
    struct Case {
        int inner;
        int stripes;
        bool colour;
    } cases[] = {{0, 17, true},  {1, 18, true},  {2, 17, true},   {4, 17, false},
                 {5, 18, false}, {7, 18, false}, {0xf8, 17, true}};
    for (const auto& c : cases) {
        for (int mode : {32, 33}) {
            const auto program = e7ProgramFor(mode, c.inner);
            EXPECT_EQ(program.repeats(), mode == 33);
            const std::size_t ticks = static_cast<std::size_t>(c.stripes) + (c.colour ? 1 : 0);
            ASSERT_EQ(program.cycleLength(), ticks) << c.inner;
            for (int k = 0; k < c.stripes; ++k) {
                const auto pulses = program.pulsesAt(k, false, false);
                EXPECT_EQ(pulses[0].route, 0);
                EXPECT_EQ(pulses[0].sequenceNumber, k);
            }
            if (c.colour) {
                const auto pulses = program.pulsesAt(c.stripes, false, false);
                ASSERT_EQ(pulses.size(), 1u);
                EXPECT_EQ(pulses[0].route, 1);
                EXPECT_EQ(pulses[0].sequenceNumber, c.stripes);
                EXPECT_EQ(pulses[0].delay.count(), 0);
            }
        }
    }
}

TEST(ScanProgram, E7SpeckleTextureIsActiveLow) {
    ScanSettings settings;
    settings.segregationCount = 2;
    settings.colorDelayUs = 90;
    auto program = e7ProgramFor(41, 0, settings);
    ASSERT_EQ(program.cycleLength(), 2u);
    EXPECT_EQ(program.pulsesAt(1, false, false).size(), 2u);
    EXPECT_FALSE(program.pulsesAt(0, false, false)[0].light.strobe);
    program = e7ProgramFor(41, 0x4 | 0x1, settings);
    EXPECT_EQ(program.cycleLength(), 1u);
    EXPECT_EQ(program.pulsesAt(1, false, false).size(), 1u);
    EXPECT_TRUE(program.pulsesAt(0, false, false)[0].light.strobe);
}

TEST(ScanProgram, E7ContinuousPulsesBothRoutesAtTheMonoVideoPeriod) {
    ScanSettings settings;
    settings.monoVideoPeriodMs = 12;
    const Illumination expected[] = {flatLight(255, 255, 255),    patternLight(Kind::Checkerboard),
                                     patternLight(Kind::DotGrid), patternLight(Kind::Stripe, 0),
                                     patternLight(Kind::Speckle), flatLight(255, 255, 255)};
    for (int inner = 0; inner < 6; ++inner) {
        const auto program = e7ProgramFor(6, inner, settings);
        EXPECT_TRUE(program.repeats());
        EXPECT_EQ(program.period(), microseconds(12000));
        const auto pulses = program.pulsesAt(3, false, false);
        ASSERT_EQ(pulses.size(), 1u);
        EXPECT_EQ(pulses[0].route, 2);
        EXPECT_EQ(pulses[0].light, expected[inner]) << inner;
    }
}

TEST(ScanProgram, ProjectionLights) {
    EXPECT_EQ(projectionLight(0).kind, Kind::Dark);
    EXPECT_EQ(projectionLight(1), flatLight(255, 255, 255));
    EXPECT_EQ(projectionLight(2), flatLight(255, 255, 255));
    EXPECT_EQ(projectionLight(3).kind, Kind::Aim);
    EXPECT_EQ(projectionLight(4), patternLight(Kind::Stripe, 0));
    EXPECT_EQ(projectionLight(5).kind, Kind::LaserLines);
    EXPECT_EQ(projectionLight(6).kind, Kind::Speckle);
    EXPECT_EQ(projectionLight(7), flatLight(255, 0, 0));
    EXPECT_EQ(projectionLight(8), flatLight(0, 255, 0));
    EXPECT_EQ(projectionLight(9), flatLight(0, 0, 255));
    EXPECT_EQ(projectionLight(10).kind, Kind::Checkerboard);
    EXPECT_EQ(projectionLight(11).kind, Kind::DenseLaser);
    EXPECT_EQ(projectionLight(12), flatLight(128, 128, 128));
    EXPECT_EQ(projectionLight(13).kind, Kind::DotGrid);
}

}  // namespace
}  // namespace zeta::sim
