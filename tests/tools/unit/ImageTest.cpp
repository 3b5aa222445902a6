#include "Image.h"

#include <gtest/gtest.h>

#include <vector>

#include "ContactSheet.h"

namespace zeta::cli {
namespace {

TEST(Image, GreyFrameIsCopied) {
    std::vector<unsigned char> frame = {1, 2, 3, 4, 5, 6};
    const Image image = Image::fromFrame(frame.data(), 3, 2, 1);
    frame[0] = 99;  // the image is a copy
    ASSERT_EQ(image.width(), 3);
    ASSERT_EQ(image.height(), 2);
    ASSERT_EQ(image.channels(), 1);
    EXPECT_EQ(image.pixel(0, 0)[0], 1);
    EXPECT_EQ(image.pixel(2, 1)[0], 6);
    EXPECT_EQ(image.description(), "3 x 2, mono");
}

TEST(Image, SixteenBitSamplesKeepTheirHighByte) {
    // Little-endian samples 0x0201 and 0xFF00.
    const std::vector<unsigned char> grey = {0x01, 0x02, 0x00, 0xFF};
    const Image mono = Image::fromFrame(grey.data(), 2, 1, 2);
    ASSERT_EQ(mono.channels(), 1);
    EXPECT_EQ(mono.pixel(0, 0)[0], 0x02);
    EXPECT_EQ(mono.pixel(1, 0)[0], 0xFF);

    const std::vector<unsigned char> rgb = {0, 10, 0, 20, 0, 30};
    const Image colour = Image::fromFrame(rgb.data(), 1, 1, 6);
    ASSERT_EQ(colour.channels(), 3);
    EXPECT_EQ(colour.pixel(0, 0)[0], 10);
    EXPECT_EQ(colour.pixel(0, 0)[1], 20);
    EXPECT_EQ(colour.pixel(0, 0)[2], 30);
    EXPECT_EQ(colour.description(), "1 x 1, RGB");
}

TEST(Image, NoDataOrAnUnknownLayoutGivesAnEmptyImage) {
    const std::vector<unsigned char> frame(16, 7);
    EXPECT_TRUE(Image::fromFrame(nullptr, 4, 4, 1).empty());
    EXPECT_TRUE(Image::fromFrame(frame.data(), 0, 4, 1).empty());
    EXPECT_TRUE(Image::fromFrame(frame.data(), 2, 2, 4).empty());
    EXPECT_FALSE(Image().writePng("never-written.png"));
}

TEST(ContactSheet, SmallImagesAreTiledAtFullSize) {
    ContactSheet sheet(2, 15, 64, 48, false);
    EXPECT_EQ(sheet.image().width(), 128);
    EXPECT_EQ(sheet.image().height(), 720);
    EXPECT_EQ(sheet.image().channels(), 1);
}

TEST(ContactSheet, WideImagesShrinkByAWholeFactorToAtMost320Pixels) {
    ContactSheet sheet(2, 15, 1280, 1024, false);
    EXPECT_EQ(sheet.image().width(), 640);  // factor 4: 320 x 256 tiles
    EXPECT_EQ(sheet.image().height(), 3840);
    ContactSheet odd(1, 1, 700, 100, false);
    EXPECT_EQ(odd.image().width(), 233);  // factor 3
    EXPECT_EQ(odd.image().height(), 33);
}

TEST(ContactSheet, PlacesEachImageInItsColumnAndRow) {
    std::vector<unsigned char> pixels(8 * 4);
    for (std::size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<unsigned char>(i + 1);
    const Image image = Image::fromFrame(pixels.data(), 8, 4, 1);
    ContactSheet sheet(3, 2, 8, 4, false);
    sheet.place(2, 1, image);
    EXPECT_EQ(sheet.image().pixel(16, 4)[0], 1);   // the tile's first pixel
    EXPECT_EQ(sheet.image().pixel(23, 7)[0], 32);  // its last
    EXPECT_EQ(sheet.image().pixel(0, 0)[0], 0);    // other tiles stay black
    EXPECT_EQ(sheet.image().pixel(15, 4)[0], 0);
}

TEST(ContactSheet, GreyImagesGoGreyIntoAColourSheet) {
    const std::vector<unsigned char> grey(4, 200);
    const std::vector<unsigned char> rgb = {1, 2, 3, 1, 2, 3, 1, 2, 3, 1, 2, 3};
    ContactSheet sheet(2, 1, 2, 2, true);
    sheet.place(0, 0, Image::fromFrame(grey.data(), 2, 2, 1));
    sheet.place(1, 0, Image::fromFrame(rgb.data(), 2, 2, 3));
    const unsigned char* greyPixel = sheet.image().pixel(1, 1);
    EXPECT_EQ(greyPixel[0], 200);
    EXPECT_EQ(greyPixel[1], 200);
    EXPECT_EQ(greyPixel[2], 200);
    const unsigned char* colourPixel = sheet.image().pixel(3, 1);
    EXPECT_EQ(colourPixel[0], 1);
    EXPECT_EQ(colourPixel[1], 2);
    EXPECT_EQ(colourPixel[2], 3);
}

}  // namespace
}  // namespace zeta::cli
