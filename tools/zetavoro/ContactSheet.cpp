#include "ContactSheet.h"

#include <algorithm>

namespace zeta::cli {

ContactSheet::ContactSheet(int columns, int rows, int width, int height, bool colour)
    : factor_(std::max(1, (width + kMaxTileWidth - 1) / kMaxTileWidth)),
      tileWidth_(width / factor_),
      tileHeight_(height / factor_),
      sheet_(columns * tileWidth_, rows * tileHeight_, colour ? 3 : 1) {}

void ContactSheet::place(int column, int row, const Image& image) {
    if (image.empty()) return;
    const int width = std::min(tileWidth_, image.width() / factor_);
    const int height = std::min(tileHeight_, image.height() / factor_);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            // Nearest sample: a preview, not a measurement.
            const unsigned char* from = image.pixel(x * factor_, y * factor_);
            unsigned char* to = sheet_.pixel(column * tileWidth_ + x, row * tileHeight_ + y);
            for (int c = 0; c < sheet_.channels(); ++c) {
                to[c] = from[image.channels() == 3 ? c : 0];
            }
        }
    }
}

}  // namespace zeta::cli
