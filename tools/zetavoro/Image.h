// An 8-bit grey or RGB image the program owns, converted from a frame of the library, and its
// PNG file.
#pragma once

#include <string>
#include <vector>

namespace zeta::cli {

class Image {
public:
    Image() = default;
    // A blank (black) image.
    Image(int width, int height, int channels);
    // Copies a frame of `channels` bytes per pixel: 1 grey, 2 grey with 16-bit little-endian
    // samples (the high byte is kept), 3 RGB, 6 RGB with 16-bit samples. The frame stays the
    // caller's. An unknown channel count gives an empty image.
    static Image fromFrame(const unsigned char* data, int width, int height, int channels);

    int width() const { return width_; }
    int height() const { return height_; }
    int channels() const { return channels_; }  // 1 grey, 3 RGB
    bool empty() const { return pixels_.empty(); }
    const unsigned char* pixel(int x, int y) const;
    unsigned char* pixel(int x, int y);
    // "64 x 48, mono" / "64 x 48, RGB".
    std::string description() const;

    // Writes a PNG file; false when it cannot be written.
    bool writePng(const std::string& path) const;

private:
    int width_ = 0;
    int height_ = 0;
    int channels_ = 0;
    std::vector<unsigned char> pixels_;
};

}  // namespace zeta::cli
