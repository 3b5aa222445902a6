#include "PngImage.h"

#include <stb/stb_image.h>

namespace zeta::tools::test {

int PngImage::at(int x, int y, int c) const {
    const std::size_t index = (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                               static_cast<std::size_t>(x)) *
                                  static_cast<std::size_t>(channels) +
                              static_cast<std::size_t>(c);
    return index < pixels.size() ? pixels[index] : -1;
}

PngImage readPng(const std::filesystem::path& file) {
    PngImage image;
    const std::string name = file.string();
    image.bitDepth = stbi_is_16_bit(name.c_str()) ? 16 : 8;
    int width = 0;
    int height = 0;
    int channels = 0;
    // Decoded as stored (8 bits a sample), so that the channel count is the file's own.
    unsigned char* data = stbi_load(name.c_str(), &width, &height, &channels, 0);
    if (data == nullptr) {
        const char* reason = stbi_failure_reason();
        image.error = name + ": " + (reason != nullptr ? reason : "cannot be read");
        return image;
    }
    image.ok = true;
    image.width = width;
    image.height = height;
    image.channels = channels;
    image.pixels.assign(data, data + static_cast<std::size_t>(width) *
                                         static_cast<std::size_t>(height) *
                                         static_cast<std::size_t>(channels));
    stbi_image_free(data);
    return image;
}

}  // namespace zeta::tools::test
