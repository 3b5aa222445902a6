#include "ImageFileWriter.h"

#include <stb/stb_image_write.h>

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <system_error>

namespace zeta::imageload {

namespace {

// The stb encoders count bytes in int. A PNG is built in memory from the filtered rows (one
// filter byte per row), and its deflate stream can outgrow them by an eighth in a buffer that
// doubles, so the filtered rows must stay well below 2^31. A BMP states its size in its header
// as an int sum of 24-bit rows padded to four bytes.
constexpr std::int64_t maxPngFilteredBytes = std::int64_t{1} << 29;
constexpr std::int64_t maxBmpFileBytes = std::numeric_limits<int>::max();
constexpr std::int64_t bmpHeaderBytes = 14 + 40;

bool fitsEncoder(ImageFileWriter::Format format, int width, int height, int channels) {
    if (format == ImageFileWriter::Format::png) {
        const std::int64_t rowBytes = std::int64_t{width} * channels + 1;
        return rowBytes * height <= maxPngFilteredBytes;
    }
    // Mono is written as 24-bit grey, so every pixel takes three bytes.
    const std::int64_t rowBytes = (std::int64_t{width} * 3 + 3) / 4 * 4;
    return rowBytes * height + bmpHeaderBytes <= maxBmpFileBytes;
}

// What the stb callbacks write through. stb cannot stop on a failed write, so the first
// failure is remembered and every later piece is ignored.
struct SinkContext {
    const ImageFileWriter::ByteSink* sink = nullptr;
    bool failed = false;

    static void put(void* context, void* data, int size) {
        auto* self = static_cast<SinkContext*>(context);
        if (self->failed || size <= 0) return;
        if (!(*self->sink)(static_cast<const unsigned char*>(data),
                           static_cast<std::size_t>(size))) {
            self->failed = true;
        }
    }
};

}  // namespace

ImageFileWriter::Format ImageFileWriter::formatFor(const std::string& path) {
    static constexpr char suffix[] = ".png";
    constexpr std::size_t suffixLength = sizeof(suffix) - 1;
    if (path.size() < suffixLength) return Format::bmp;
    const std::size_t start = path.size() - suffixLength;
    for (std::size_t i = 0; i < suffixLength; ++i) {
        const auto c = static_cast<unsigned char>(path[start + i]);
        if (std::tolower(c) != suffix[i]) return Format::bmp;
    }
    return Format::png;
}

WriteResult ImageFileWriter::check(Format format, const unsigned char* data, int width, int height,
                                   int channels) {
    if (data == nullptr) return WriteResult::badArguments;
    if (width <= 0 || height <= 0 || width > maxSide || height > maxSide) {
        return WriteResult::badArguments;
    }
    if (channels != 1 && channels != 3) return WriteResult::badArguments;
    if (!fitsEncoder(format, width, height, channels)) return WriteResult::tooLarge;
    return WriteResult::ok;
}

WriteResult ImageFileWriter::encode(Format format, const unsigned char* data, int width, int height,
                                    int channels, const ByteSink& sink) {
    const WriteResult checked = check(format, data, width, height, channels);
    if (checked != WriteResult::ok) return checked;
    if (!sink) return WriteResult::badArguments;

    SinkContext context;
    context.sink = &sink;
    int encoded = 0;
    if (format == Format::png) {
        encoded = stbi_write_png_to_func(&SinkContext::put, &context, width, height, channels, data,
                                         width * channels);
    } else {
        encoded =
            stbi_write_bmp_to_func(&SinkContext::put, &context, width, height, channels, data);
    }
    return encoded != 0 && !context.failed ? WriteResult::ok : WriteResult::writeFailed;
}

WriteResult ImageFileWriter::write(const char* path, const unsigned char* data, int width,
                                   int height, int channels) {
    if (path == nullptr || *path == '\0') return WriteResult::badArguments;
    const Format format = formatFor(path);
    const WriteResult checked = check(format, data, width, height, channels);
    if (checked != WriteResult::ok) return checked;

    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
        return WriteResult::notAFile;
    }

    std::FILE* file = std::fopen(path, "wb");
    if (file == nullptr) return WriteResult::openFailed;
    WriteResult result = encode(format, data, width, height, channels,
                                [file](const unsigned char* bytes, std::size_t size) {
                                    return std::fwrite(bytes, 1, size, file) == size;
                                });
    if (std::fclose(file) != 0 && result == WriteResult::ok) result = WriteResult::writeFailed;
    if (result != WriteResult::ok) {
        // A file that was begun but not completed must not be mistaken for an image.
        std::remove(path);
    }
    return result;
}

}  // namespace zeta::imageload
