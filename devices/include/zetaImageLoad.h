// The image library: writes 8-bit images to files.
#pragma once

#include "zetaDeviceExport.h"

namespace zetaImageLoad {

// Writes `width` x `height` pixels of `channels` bytes each (1 mono, 3 RGB), rows top to bottom
// without padding, to `path`: PNG when the name ends in ".png" (any case), BMP otherwise.
// Returns false, writing nothing, for a null path or data, a size not above 0, another channel
// count, or a file that cannot be written. The caller keeps `data`.
ZETA_IMAGELOAD_API bool zetaWriteImage(const char* path, const unsigned char* data, int width,
                                       int height, int channels);

}  // namespace zetaImageLoad
