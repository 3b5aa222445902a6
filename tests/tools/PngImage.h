// Reads a PNG file back to check what zetavoro wrote.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace zeta::tools::test {

struct PngImage {
    bool ok = false;  // false: missing or not a readable PNG (see `error`)
    int width = 0;
    int height = 0;
    int channels = 0;                   // as stored in the file: 1 grey, 3 RGB, ...
    int bitDepth = 0;                   // 8 or 16
    std::vector<unsigned char> pixels;  // width x height x channels bytes, rows top to bottom
    std::string error;

    // The sample of channel `c` at column x of row y.
    int at(int x, int y, int c = 0) const;
};

PngImage readPng(const std::filesystem::path& file);

}  // namespace zeta::tools::test
