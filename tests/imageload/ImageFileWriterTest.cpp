// The encoder under the image library: format choice, limits, and failures of the output.
#include <gtest/gtest.h>
#include <stb/stb_image.h>

#include <filesystem>
#include <vector>

#include "ImageFileWriter.h"
#include "ImageTestSupport.h"

namespace zeta::imageload {
namespace {

using test::ScratchDir;
using test::testImage;
using Format = ImageFileWriter::Format;

std::vector<unsigned char> encodeToMemory(Format format, const std::vector<unsigned char>& pixels,
                                          int width, int height, int channels,
                                          WriteResult* result) {
    std::vector<unsigned char> bytes;
    *result = ImageFileWriter::encode(format, pixels.data(), width, height, channels,
                                      [&bytes](const unsigned char* data, std::size_t size) {
                                          bytes.insert(bytes.end(), data, data + size);
                                          return true;
                                      });
    return bytes;
}

TEST(ImageFileWriterTest, PngOnlyForNamesEndingInPngInAnyCase) {
    EXPECT_EQ(ImageFileWriter::formatFor("a.png"), Format::png);
    EXPECT_EQ(ImageFileWriter::formatFor("dir/a.PNG"), Format::png);
    EXPECT_EQ(ImageFileWriter::formatFor("a.pNg"), Format::png);
    EXPECT_EQ(ImageFileWriter::formatFor(".png"), Format::png);
    EXPECT_EQ(ImageFileWriter::formatFor("a.bmp"), Format::bmp);
    EXPECT_EQ(ImageFileWriter::formatFor("a.png.bmp"), Format::bmp);
    EXPECT_EQ(ImageFileWriter::formatFor("a.pngx"), Format::bmp);
    EXPECT_EQ(ImageFileWriter::formatFor("apng"), Format::bmp);
    EXPECT_EQ(ImageFileWriter::formatFor("png"), Format::bmp);
    EXPECT_EQ(ImageFileWriter::formatFor("a"), Format::bmp);
    EXPECT_EQ(ImageFileWriter::formatFor(""), Format::bmp);
}

TEST(ImageFileWriterTest, EncodesBothFormatsPixelExactInMemory) {
    for (const Format format : {Format::png, Format::bmp}) {
        for (const int channels : {1, 3}) {
            // An odd width makes BMP rows need padding.
            const int width = 13, height = 5;
            const auto pixels = testImage(width, height, channels);
            WriteResult result = WriteResult::writeFailed;
            const auto bytes = encodeToMemory(format, pixels, width, height, channels, &result);
            ASSERT_EQ(result, WriteResult::ok);
            int w = 0, h = 0, inFile = 0;
            unsigned char* decoded = stbi_load_from_memory(
                bytes.data(), static_cast<int>(bytes.size()), &w, &h, &inFile, channels);
            ASSERT_NE(decoded, nullptr);
            EXPECT_EQ(w, width);
            EXPECT_EQ(h, height);
            const std::vector<unsigned char> back(decoded, decoded + pixels.size());
            stbi_image_free(decoded);
            EXPECT_EQ(back, pixels)
                << "format " << static_cast<int>(format) << ", channels " << channels;
        }
    }
}

TEST(ImageFileWriterTest, ChecksSidesChannelsAndData) {
    const unsigned char byte = 0;
    EXPECT_EQ(ImageFileWriter::check(Format::png, &byte, 1, 1, 1), WriteResult::ok);
    EXPECT_EQ(ImageFileWriter::check(Format::png, nullptr, 1, 1, 1), WriteResult::badArguments);
    for (const int side : {0, -1, 65536, -2147483647 - 1}) {
        EXPECT_EQ(ImageFileWriter::check(Format::bmp, &byte, side, 1, 1),
                  WriteResult::badArguments);
        EXPECT_EQ(ImageFileWriter::check(Format::bmp, &byte, 1, side, 1),
                  WriteResult::badArguments);
    }
    for (const int channels : {0, 2, 4, -1}) {
        EXPECT_EQ(ImageFileWriter::check(Format::png, &byte, 1, 1, channels),
                  WriteResult::badArguments);
    }
    // The data is not read by a check, so a single byte stands for any size here.
    EXPECT_EQ(ImageFileWriter::check(Format::png, &byte, 65535, 8000, 1), WriteResult::ok);
    EXPECT_EQ(ImageFileWriter::check(Format::bmp, &byte, 65535, 8000, 3), WriteResult::ok);
}

TEST(ImageFileWriterTest, RefusesImagesTooLargeForTheEncoder) {
    const unsigned char byte = 0;
    EXPECT_EQ(ImageFileWriter::check(Format::png, &byte, 65535, 65535, 1), WriteResult::tooLarge);
    EXPECT_EQ(ImageFileWriter::check(Format::png, &byte, 65535, 8193, 1), WriteResult::tooLarge);
    EXPECT_EQ(ImageFileWriter::check(Format::bmp, &byte, 65535, 65535, 1), WriteResult::tooLarge);
    EXPECT_EQ(ImageFileWriter::check(Format::bmp, &byte, 65535, 10923, 3), WriteResult::tooLarge);
    ScratchDir dir;
    EXPECT_EQ(ImageFileWriter::write(dir.file("big.png").c_str(), &byte, 65535, 65535, 3),
              WriteResult::tooLarge);
    EXPECT_FALSE(std::filesystem::exists(dir.file("big.png")));
}

TEST(ImageFileWriterTest, AFailingOutputFailsTheEncoding) {
    const int width = 64, height = 48;
    const auto pixels = testImage(width, height, 3);
    for (const Format format : {Format::png, Format::bmp}) {
        WriteResult whole = WriteResult::writeFailed;
        const std::size_t size = encodeToMemory(format, pixels, width, height, 3, &whole).size();
        ASSERT_EQ(whole, WriteResult::ok);
        for (const std::size_t accepted : {std::size_t{0}, std::size_t{10}, size / 2, size - 1}) {
            std::size_t taken = 0;
            const auto result = ImageFileWriter::encode(
                format, pixels.data(), width, height, 3,
                [&taken, accepted](const unsigned char*, std::size_t piece) {
                    if (taken + piece > accepted) return false;
                    taken += piece;
                    return true;
                });
            EXPECT_EQ(result, WriteResult::writeFailed)
                << "format " << static_cast<int>(format) << ", after " << accepted << " of " << size
                << " bytes";
        }
    }
}

TEST(ImageFileWriterTest, WritesOnlyRegularFiles) {
    ScratchDir dir;
    const auto pixels = testImage(4, 4, 1);
    const std::string folder = dir.file("folder.png");
    std::filesystem::create_directory(folder);
    EXPECT_EQ(ImageFileWriter::write(folder.c_str(), pixels.data(), 4, 4, 1),
              WriteResult::notAFile);
    EXPECT_TRUE(std::filesystem::is_directory(folder));

    const std::string missing = dir.file("no/such/folder/a.png");
    EXPECT_EQ(ImageFileWriter::write(missing.c_str(), pixels.data(), 4, 4, 1),
              WriteResult::openFailed);
    EXPECT_FALSE(std::filesystem::exists(missing));
}

TEST(ImageFileWriterTest, ReplacesAnExistingFile) {
    ScratchDir dir;
    const std::string path = dir.file("again.bmp");
    const auto first = testImage(9, 9, 3);
    const auto second = testImage(3, 2, 1);
    ASSERT_EQ(ImageFileWriter::write(path.c_str(), first.data(), 9, 9, 3), WriteResult::ok);
    ASSERT_EQ(ImageFileWriter::write(path.c_str(), second.data(), 3, 2, 1), WriteResult::ok);
    const auto back = test::readImage(path, 1);
    ASSERT_TRUE(back.loaded);
    EXPECT_EQ(back.width, 3);
    EXPECT_EQ(back.height, 2);
    EXPECT_EQ(back.pixels, second);
}

}  // namespace
}  // namespace zeta::imageload
