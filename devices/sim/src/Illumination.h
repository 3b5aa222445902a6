// What the projector and the lights show on the scene at one moment.
#pragma once

#include <cstdint>

namespace zeta::sim {

struct Illumination {
    enum class Kind : std::uint8_t {
        Dark,          // projector off
        Flat,          // a flat colour (r, g, b)
        Stripe,        // fringe pattern number `index` of a stripe sequence
        Speckle,       // random dots
        LaserLines,    // a few laser lines, shifted by `index`
        DenseLaser,    // many parallel laser lines, shifted by `index`
        Aim,           // aiming cross
        Checkerboard,  // calibration checkerboard
        DotGrid,       // calibration dot grid
    };

    Kind kind = Kind::Dark;
    std::uint8_t r = 0, g = 0, b = 0;  // light colour of Flat, and the tint of the others
    int index = 0;
    bool strobe = false;  // the strobe of the camera's route is lit: the scene is brighter

    bool operator==(const Illumination&) const = default;
};

// One pulse on one trigger route. Every camera that listens to the route in triggered mode
// exposes one frame for it.
struct TriggerPulse {
    int route = 0;            // 0 mono, 1 colour
    std::uint64_t tUs = 0;    // rig clock at the pulse
    std::uint64_t stamp = 0;  // the stamp the frames of this pulse carry (camera ticks)
    Illumination light;
    int sequenceNumber = -1;  // number of the frame in its stripe sequence, -1 none
};

}  // namespace zeta::sim
