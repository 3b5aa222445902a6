// Encodes an 8-bit image as PNG or BMP and writes it to a file.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace zeta::imageload {

// Why a write was refused, or how it failed.
enum class WriteResult {
    ok,
    badArguments,  // null or empty path, null data, side out of range, channels not 1 or 3
    tooLarge,      // the encoder's 32-bit sizes cannot hold the encoded image
    notAFile,      // the path names something other than a regular file (a directory, a device)
    openFailed,    // the file cannot be created
    writeFailed,   // encoding or writing failed part way
};

// Stateless; every member may be called from any thread at the same time.
class ImageFileWriter {
public:
    static constexpr int maxSide = 65535;

    enum class Format { png, bmp };

    // Receives the encoded file in pieces, in order; returns false to stop the encoding.
    using ByteSink = std::function<bool(const unsigned char* bytes, std::size_t size)>;

    // PNG when the name ends in ".png" in any case, BMP for every other name.
    static Format formatFor(const std::string& path);

    // Checks an image the way encode() and write() do, without reading `data`.
    static WriteResult check(Format format, const unsigned char* data, int width, int height,
                             int channels);

    // Encodes `width` x `height` pixels of `channels` bytes, rows top to bottom without padding,
    // into `sink`. writeFailed when the encoder or the sink fails.
    static WriteResult encode(Format format, const unsigned char* data, int width, int height,
                              int channels, const ByteSink& sink);

    // Encodes into the file `path`, in the format its name selects. Refused arguments and paths
    // touch nothing; a file begun and not completed is removed again. Only regular files are
    // written or replaced, so a failure can never remove a directory or a device node.
    static WriteResult write(const char* path, const unsigned char* data, int width, int height,
                             int channels);
};

}  // namespace zeta::imageload
