// What the board's projector and lights put on the scene, as Illumination values.
#pragma once

#include <cstdint>

#include "Illumination.h"
#include "zetaVoroSim/SimExport.h"

namespace zeta::sim {

// The light of a PROJECTTYPE (0..13); Dark for any other value. Patterns other than flat colours
// are white light: their tint is (255, 255, 255).
ZETA_SIM_API Illumination projectionLight(int pattern);

// A flat colour.
ZETA_SIM_API Illumination flatLight(std::uint8_t r, std::uint8_t g, std::uint8_t b);

// A white-light pattern of `kind` with its `index` (stripe number, laser-line shift).
ZETA_SIM_API Illumination patternLight(Illumination::Kind kind, int index = 0);

// The flat white that texture (colour) frames are lit with.
ZETA_SIM_API Illumination textureLight();

// The calibration pattern of the inner word of E7 scan mode 6: 0 flat white, 1 checkerboard,
// 2 dot grid, 3 stripe 0, 4 speckle; any other word is flat white.
ZETA_SIM_API Illumination calibrationLight(int innerWord);

}  // namespace zeta::sim
