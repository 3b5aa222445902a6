#include "BoardLights.h"

namespace zeta::sim {

Illumination flatLight(std::uint8_t r, std::uint8_t g, std::uint8_t b) {
    Illumination light;
    light.kind = Illumination::Kind::Flat;
    light.r = r;
    light.g = g;
    light.b = b;
    return light;
}

Illumination patternLight(Illumination::Kind kind, int index) {
    Illumination light;
    light.kind = kind;
    if (kind != Illumination::Kind::Dark) light.r = light.g = light.b = 255;
    light.index = index;
    return light;
}

Illumination textureLight() {
    return flatLight(255, 255, 255);
}

Illumination projectionLight(int pattern) {
    using Kind = Illumination::Kind;
    switch (pattern) {
        case 1:  // white
        case 2:  // texture white
            return flatLight(255, 255, 255);
        case 3:
            return patternLight(Kind::Aim);
        case 4:
            return patternLight(Kind::Stripe, 0);
        case 5:
            return patternLight(Kind::LaserLines, 0);
        case 6:
            return patternLight(Kind::Speckle);
        case 7:
            return flatLight(255, 0, 0);
        case 8:
            return flatLight(0, 255, 0);
        case 9:
            return flatLight(0, 0, 255);
        case 10:
            return patternLight(Kind::Checkerboard);
        case 11:
            return patternLight(Kind::DenseLaser, 0);
        case 12:
            return flatLight(128, 128, 128);
        case 13:
            return patternLight(Kind::DotGrid);
        default:  // 0: projector off
            return patternLight(Kind::Dark);
    }
}

Illumination calibrationLight(int innerWord) {
    using Kind = Illumination::Kind;
    switch (innerWord) {
        case 1:
            return patternLight(Kind::Checkerboard);
        case 2:
            return patternLight(Kind::DotGrid);
        case 3:
            return patternLight(Kind::Stripe, 0);
        case 4:
            return patternLight(Kind::Speckle);
        default:
            return flatLight(255, 255, 255);
    }
}

}  // namespace zeta::sim
