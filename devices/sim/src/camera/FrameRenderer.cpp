#include "camera/FrameRenderer.h"

#include <algorithm>
#include <cmath>

#include "RigConfig.h"

namespace zeta::sim {

namespace {

constexpr int kTile = 96;         // scene colour tiles, in pixels
constexpr int kCameraShift = 12;  // scene shift per rig position, in pixels (parallax)
constexpr int kSensorShift = 6;   // and per sensor of a multi-sensor camera
constexpr double kPi = 3.14159265358979323846;

std::uint32_t mix(std::uint32_t x) {
    x ^= x >> 16;
    x *= 0x7feb352dU;
    x ^= x >> 15;
    x *= 0x846ca68bU;
    x ^= x >> 16;
    return x;
}

std::uint32_t hash3(int a, int b, int c) {
    return mix(static_cast<std::uint32_t>(a) * 0x9E3779B1U ^
               mix(static_cast<std::uint32_t>(b) + 0x85EBCA77U) ^
               mix(static_cast<std::uint32_t>(c) * 0xC2B2AE3DU + 0x27D4EB2FU));
}

// Reflectance of one scene tile in one channel, from 0.35 to 1: never black, so every pattern
// stays visible on every tile.
float tileColour(int i, int j, int channel) {
    return 0.35F + 0.65F * static_cast<float>(hash3(i, j, channel) & 0xFFFFU) / 65535.0F;
}

bool dependsOnColumnOnly(Illumination::Kind kind) {
    return kind == Illumination::Kind::Stripe || kind == Illumination::Kind::LaserLines ||
           kind == Illumination::Kind::DenseLaser;
}

double nearestLineDistance(double x, double offset, double spacing) {
    double t = std::fmod(x - offset, spacing);
    if (t < 0) t += spacing;
    return std::min(t, spacing - t);
}

// What the projector puts on the scene at (x, y) of the full sensor image, from 0 to 1.
double patternAt(const Illumination& light, double x, double y, int fullWidth, int fullHeight) {
    const double fw = fullWidth;
    const double fh = fullHeight;
    switch (light.kind) {
        case Illumination::Kind::Dark:
            return 0.0;
        case Illumination::Kind::Flat:
            return 1.0;
        case Illumination::Kind::Stripe: {
            // Four phase steps per frequency, the frequency doubling every four patterns; the
            // extra phase per frequency keeps patterns apart once the period reaches its floor.
            const unsigned k = static_cast<unsigned>(light.index);
            const unsigned level = std::min(k / 4U, 16U);
            const double period = std::max(8.0, fw / (4.0 * static_cast<double>(1U << level)));
            const double phase = (k % 4U) * 0.25 + 0.173 * static_cast<double>(k / 4U);
            return 0.5 + 0.5 * std::cos(2.0 * kPi * (x / period + phase));
        }
        case Illumination::Kind::Speckle: {
            const int cx = static_cast<int>(std::floor(x / 2.0));
            const int cy = static_cast<int>(std::floor(y / 2.0));
            return (hash3(cx, cy, light.index + 7919) & 3U) == 0 ? 1.0 : 0.06;
        }
        case Illumination::Kind::LaserLines: {
            const double spacing = std::max(8.0, fw / 8.0);
            const double d = nearestLineDistance(x, spacing / 2.0 + light.index * 4.0, spacing);
            return std::max(0.02, std::exp(-d * d / 2.0));
        }
        case Illumination::Kind::DenseLaser: {
            const double spacing = std::min(16.0, std::max(4.0, fw / 4.0));
            const double d = nearestLineDistance(x, light.index * 2.0, spacing);
            return std::max(0.02, std::exp(-d * d / (2.0 * 0.64)));
        }
        case Illumination::Kind::Aim: {
            const bool onCross = std::fabs(x - fw / 2.0) <= 1.5 || std::fabs(y - fh / 2.0) <= 1.5;
            return onCross ? 1.0 : 0.0;
        }
        case Illumination::Kind::Checkerboard: {
            const double side = std::max(2.0, std::floor(fh / 8.0));
            const long cell =
                static_cast<long>(std::floor(x / side)) + static_cast<long>(std::floor(y / side));
            return (cell & 1L) != 0 ? 1.0 : 0.12;
        }
        case Illumination::Kind::DotGrid: {
            const double spacing = std::max(4.0, std::floor(fh / 10.0));
            const double radius = spacing / 5.0;
            double dx = std::fmod(x, spacing) - spacing / 2.0;
            double dy = std::fmod(y, spacing) - spacing / 2.0;
            return dx * dx + dy * dy <= radius * radius ? 1.0 : 0.12;
        }
    }
    return 0.0;
}

std::uint8_t to8(double v) {
    return static_cast<std::uint8_t>(std::clamp(std::lround(v), 0L, 255L));
}

std::uint16_t to16(double v) {
    return static_cast<std::uint16_t>(std::clamp(std::lround(v * 257.0), 0L, 65535L));
}

void put16(std::uint8_t* out, std::uint16_t v) {
    out[0] = static_cast<std::uint8_t>(v & 0xFFU);
    out[1] = static_cast<std::uint8_t>(v >> 8);
}

}  // namespace

FrameRenderer::FrameRenderer(int position, std::size_t maxEntries, std::size_t maxBytes)
    : position_(position), maxEntries_(std::max<std::size_t>(1, maxEntries)), maxBytes_(maxBytes) {}

std::size_t FrameRenderer::imageBytes(const Key& key) {
    return static_cast<std::size_t>(key.width) * static_cast<std::size_t>(key.sensors) *
           static_cast<std::size_t>(key.height) *
           static_cast<std::size_t>(bytesPerPixel(key.format));
}

const std::vector<std::uint8_t>& FrameRenderer::image(const Key& key) {
    for (auto it = entries_.begin(); it != entries_.end(); ++it) {
        if (it->key == key) {
            entries_.splice(entries_.begin(), entries_, it);
            return entries_.front().bytes;
        }
    }
    const std::size_t size = imageBytes(key);
    // Make room, reusing the storage of the entry dropped last.
    std::vector<std::uint8_t> storage;
    while (!entries_.empty() && (entries_.size() >= maxEntries_ || bytes_ + size > maxBytes_)) {
        bytes_ -= entries_.back().bytes.size();
        storage = std::move(entries_.back().bytes);
        entries_.pop_back();
    }
    storage.resize(size);
    render(key, position_, storage.data());
    ++renders_;
    bytes_ += size;
    entries_.push_front(Entry{key, std::move(storage)});
    return entries_.front().bytes;
}

void FrameRenderer::clear() {
    entries_.clear();
    bytes_ = 0;
}

void FrameRenderer::render(const Key& key, int position, std::uint8_t* out) {
    if (key.width <= 0 || key.height <= 0 || key.sensors <= 0) return;
    const Illumination& light = key.light;
    const int bpp = bytesPerPixel(key.format);
    const std::size_t rowBytes = static_cast<std::size_t>(key.width) *
                                 static_cast<std::size_t>(key.sensors) *
                                 static_cast<std::size_t>(bpp);
    const int fullWidth = std::max(key.fullWidth, key.width);
    const int fullHeight = std::max(key.fullHeight, key.height);

    // The light's colour: a flat light is its colour (black is no light at all); every other
    // pattern is white unless tinted.
    double colour[3] = {light.r / 255.0, light.g / 255.0, light.b / 255.0};
    if (light.kind != Illumination::Kind::Flat && light.r == 0 && light.g == 0 && light.b == 0) {
        colour[0] = colour[1] = colour[2] = 1.0;
    }
    // A lit strobe floods the scene and the pattern shows at full strength.
    const double scale = light.strobe ? 1.0 : 0.78;
    const double flood = light.strobe ? 0.25 : 0.0;
    const double ambient = light.strobe ? 12.0 : 6.0;
    const bool columnOnly = dependsOnColumnOnly(light.kind);

    std::vector<double> column(static_cast<std::size_t>(key.width));
    std::vector<int> tileColumn(static_cast<std::size_t>(key.width));
    std::vector<float> tileFraction(static_cast<std::size_t>(key.width));
    std::vector<float> tiles;
    for (int sensor = 0; sensor < key.sensors; ++sensor) {
        const int shift = position * kCameraShift + sensor * kSensorShift;
        const double patternShift = shift / 2.0;
        // Scene colours at the tile centres, bilinearly blended: smooth colour tiles.
        const int tilesX = (key.width + shift) / kTile + 3;
        const int tilesY = key.height / kTile + 3;
        tiles.assign(static_cast<std::size_t>(tilesX) * static_cast<std::size_t>(tilesY) * 3, 0.0F);
        for (int j = 0; j < tilesY; ++j) {
            for (int i = 0; i < tilesX; ++i) {
                for (int c = 0; c < 3; ++c) {
                    tiles[(static_cast<std::size_t>(j) * tilesX + i) * 3 + c] =
                        tileColour(i - 1, j - 1, c);
                }
            }
        }
        for (int x = 0; x < key.width; ++x) {
            const double u = (x + shift + 0.5) / kTile - 0.5;
            const double i0 = std::floor(u);
            tileColumn[x] = static_cast<int>(i0) + 1;
            tileFraction[x] = static_cast<float>(u - i0);
            if (columnOnly)
                column[x] = patternAt(light, x + patternShift, 0.0, fullWidth, fullHeight);
        }
        for (int y = 0; y < key.height; ++y) {
            const double v = (y + 0.5) / kTile - 0.5;
            const double j0 = std::floor(v);
            const int tileRow = static_cast<int>(j0) + 1;
            const float fv = static_cast<float>(v - j0);
            const float* row0 = &tiles[static_cast<std::size_t>(tileRow) * tilesX * 3];
            const float* row1 = row0 + static_cast<std::size_t>(tilesX) * 3;
            std::uint8_t* pixel = out + static_cast<std::size_t>(y) * rowBytes +
                                  static_cast<std::size_t>(sensor) * key.width * bpp;
            for (int x = 0; x < key.width; ++x, pixel += bpp) {
                const double p = columnOnly
                                     ? column[x]
                                     : patternAt(light, x + patternShift, y, fullWidth, fullHeight);
                const int ti = tileColumn[x] * 3;
                const float fu = tileFraction[x];
                double value[3];
                for (int c = 0; c < 3; ++c) {
                    const float top = row0[ti + c] + (row0[ti + 3 + c] - row0[ti + c]) * fu;
                    const float bottom = row1[ti + c] + (row1[ti + 3 + c] - row1[ti + c]) * fu;
                    const double reflectance = top + (bottom - top) * fv;
                    value[c] = ambient + 255.0 * reflectance * (scale * p * colour[c] + flood);
                }
                const double luma = 0.299 * value[0] + 0.587 * value[1] + 0.114 * value[2];
                switch (key.format) {
                    case 2:
                        put16(pixel, to16(luma));
                        break;
                    case 16: {
                        // RGGB: red on even rows and columns, blue on odd ones, green between.
                        const int channel =
                            (y & 1) == 0 ? ((x & 1) == 0 ? 0 : 1) : ((x & 1) == 0 ? 1 : 2);
                        pixel[0] = to8(value[channel]);
                        break;
                    }
                    case 17:
                        pixel[0] = to8(value[0]);
                        pixel[1] = to8(value[1]);
                        pixel[2] = to8(value[2]);
                        break;
                    case 18:
                        put16(pixel, to16(value[0]));
                        put16(pixel + 2, to16(value[1]));
                        put16(pixel + 4, to16(value[2]));
                        break;
                    default:
                        pixel[0] = to8(luma);
                        break;
                }
            }
        }
    }
}

}  // namespace zeta::sim
