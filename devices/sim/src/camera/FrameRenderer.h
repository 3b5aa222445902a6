// The images a camera sees: the projector's light on a fixed coloured scene.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <vector>

#include "Illumination.h"
#include "zetaVoroSim/SimExport.h"

namespace zeta::sim {

// Renders and caches the image part of frames. Owned by one camera and used only on that camera's
// thread, so it needs no lock. Rendering is slow (a few operations per pixel); producing a frame
// from the cache is one copy, which is what keeps a free-running camera cheap.
class ZETA_SIM_API FrameRenderer {
public:
    // Everything the image depends on besides the camera's position.
    struct Key {
        Illumination light;
        int fullWidth = 0;  // one sensor image at the camera's resolution (patterns scale to it)
        int fullHeight = 0;
        int width = 0;  // one sensor image as delivered: the region from the top-left corner
        int height = 0;
        int sensors = 1;
        int format = 1;  // SN_IMG_FORMAT

        bool operator==(const Key&) const = default;
    };

    static constexpr std::size_t kMaxEntries = 32;
    static constexpr std::size_t kMaxBytes = std::size_t{96} << 20;

    // `position` is the camera's index in the rig: it shifts the scene a little (parallax), so
    // cameras see different images of the same light.
    explicit FrameRenderer(int position, std::size_t maxEntries = kMaxEntries,
                           std::size_t maxBytes = kMaxBytes);

    // The image for `key`: width x sensors x height x bytes-per-pixel bytes, rendered on a miss.
    // The reference stays valid until the next call. The cache keeps at most maxEntries images and
    // maxBytes bytes (but always the one just returned), dropping the least recently used first.
    const std::vector<std::uint8_t>& image(const Key& key);

    // Images rendered so far (cache misses).
    std::size_t renders() const { return renders_; }
    std::size_t cachedImages() const { return entries_.size(); }
    void clear();

    // Renders one image into `out` (width x sensors x height x bytes-per-pixel bytes).
    static void render(const Key& key, int position, std::uint8_t* out);
    static std::size_t imageBytes(const Key& key);

private:
    struct Entry {
        Key key;
        std::vector<std::uint8_t> bytes;
    };

    const int position_;
    const std::size_t maxEntries_;
    const std::size_t maxBytes_;
    std::list<Entry> entries_;  // most recently used first
    std::size_t bytes_ = 0;
    std::size_t renders_ = 0;
};

}  // namespace zeta::sim
