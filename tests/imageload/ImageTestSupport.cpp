#include "ImageTestSupport.h"

#include <stb/stb_image.h>

#include <cstdio>
#include <fstream>

namespace zeta::imageload::test {

std::vector<unsigned char> testImage(int width, int height, int channels) {
    std::vector<unsigned char> pixels(static_cast<std::size_t>(width) * height * channels);
    std::size_t i = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            for (int c = 0; c < channels; ++c) {
                pixels[i++] = static_cast<unsigned char>(x * 7 + y * 13 + c * 85 + (x ^ y));
            }
        }
    }
    return pixels;
}

LoadedImage readImage(const std::string& path, int channels) {
    LoadedImage image;
    unsigned char* data =
        stbi_load(path.c_str(), &image.width, &image.height, &image.channelsInFile, channels);
    if (data == nullptr) return image;
    image.loaded = true;
    image.pixels.assign(data, data + static_cast<std::size_t>(image.width) * image.height *
                                         static_cast<std::size_t>(channels));
    stbi_image_free(data);
    return image;
}

std::vector<unsigned char> fileHead(const std::string& path, std::size_t count) {
    std::ifstream file(path, std::ios::binary);
    std::vector<unsigned char> head(count);
    file.read(reinterpret_cast<char*>(head.data()), static_cast<std::streamsize>(count));
    head.resize(static_cast<std::size_t>(file.gcount()));
    return head;
}

bool isPng(const std::string& path) {
    const std::vector<unsigned char> signature{137, 80, 78, 71, 13, 10, 26, 10};
    return fileHead(path, signature.size()) == signature;
}

bool isBmp(const std::string& path) {
    const std::vector<unsigned char> signature{'B', 'M'};
    return fileHead(path, signature.size()) == signature;
}

std::string jsonString(const std::string& text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') quoted += '\\';
        quoted += c;
    }
    return quoted + "\"";
}

}  // namespace zeta::imageload::test
