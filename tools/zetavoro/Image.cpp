#include "Image.h"

#include <stb/stb_image_write.h>

#include <cstddef>

namespace zeta::cli {

Image::Image(int width, int height, int channels)
    : width_(width),
      height_(height),
      channels_(channels),
      pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
              static_cast<std::size_t>(channels)) {}

Image Image::fromFrame(const unsigned char* data, int width, int height, int channels) {
    if (data == nullptr || width <= 0 || height <= 0) return {};
    const int savedChannels = (channels == 3 || channels == 6) ? 3 : 1;
    const int bytesPerSample = (channels == 2 || channels == 6) ? 2 : 1;
    if (channels != 1 && channels != 2 && channels != 3 && channels != 6) return {};
    Image image(width, height, savedChannels);
    const std::size_t samples = image.pixels_.size();
    for (std::size_t i = 0; i < samples; ++i) {
        image.pixels_[i] = bytesPerSample == 1 ? data[i] : data[2 * i + 1];
    }
    return image;
}

const unsigned char* Image::pixel(int x, int y) const {
    return pixels_.data() + (static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
                             static_cast<std::size_t>(x)) *
                                static_cast<std::size_t>(channels_);
}

unsigned char* Image::pixel(int x, int y) {
    return const_cast<unsigned char*>(static_cast<const Image&>(*this).pixel(x, y));
}

std::string Image::description() const {
    return std::to_string(width_) + " x " + std::to_string(height_) + ", " +
           (channels_ == 3 ? "RGB" : "mono");
}

bool Image::writePng(const std::string& path) const {
    if (empty()) return false;
    return stbi_write_png(path.c_str(), width_, height_, channels_, pixels_.data(),
                          width_ * channels_) != 0;
}

}  // namespace zeta::cli
