// One picture of a scan group: one column per camera, one row per frame.
#pragma once

#include "Image.h"

namespace zeta::cli {

class ContactSheet {
public:
    // Tiles are at most this wide: each image is shrunk by the smallest whole factor that fits.
    static constexpr int kMaxTileWidth = 320;

    // `columns` x `rows` tiles for images of (at most) `width` x `height`; RGB when `colour`.
    ContactSheet(int columns, int rows, int width, int height, bool colour);

    // Draws an image into the tile of a column and row (grey images into an RGB sheet too).
    void place(int column, int row, const Image& image);
    const Image& image() const { return sheet_; }

private:
    int factor_;
    int tileWidth_;
    int tileHeight_;
    Image sheet_;
};

}  // namespace zeta::cli
