// Helpers of the image library's tests: test images and reading files back.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "ScratchDir.h"

namespace zeta::imageload::test {

using zeta::test::ScratchDir;

// width x height x channels bytes of a pattern that differs between neighbouring pixels,
// rows and channels, so that swapped channels, flipped rows or padding errors show.
std::vector<unsigned char> testImage(int width, int height, int channels);

// An image read back from a file with stb.
struct LoadedImage {
    bool loaded = false;
    int width = 0;
    int height = 0;
    int channelsInFile = 0;
    std::vector<unsigned char> pixels;  // converted to the requested channel count
};
LoadedImage readImage(const std::string& path, int channels);

// The first `count` bytes of a file (fewer when it is shorter).
std::vector<unsigned char> fileHead(const std::string& path, std::size_t count);
bool isPng(const std::string& path);
bool isBmp(const std::string& path);

// `text` as a JSON string literal, as the journal writes it.
std::string jsonString(const std::string& text);

}  // namespace zeta::imageload::test
