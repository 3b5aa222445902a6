// The image library's exported operation: files written, refusals, journal records, faults.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "ImageTestSupport.h"
#include "zetaImageLoad.h"
#include "zetaVoroSim/SimControl.h"

namespace zeta::imageload {
namespace {

using test::jsonString;
using test::readImage;
using test::ScratchDir;
using test::testImage;
using zetaImageLoad::zetaWriteImage;

class ZetaWriteImageTest : public ::testing::Test {
protected:
    void SetUp() override {
        // The image library needs no board or camera; an empty rig keeps every test alike.
        std::string error;
        ASSERT_TRUE(zeta::sim::loadRigText("{}", &error)) << error;
        zeta::sim::clearJournal();
    }

    static std::vector<zeta::sim::JournalRecord> imageRecords() {
        std::vector<zeta::sim::JournalRecord> found;
        for (auto& record : zeta::sim::journal()) {
            if (record.op == "zetaWriteImage") found.push_back(record);
        }
        return found;
    }

    // Writes a test image, reads it back and compares every byte.
    void expectRoundTrip(const std::string& name, int width, int height, int channels, bool png) {
        const std::string path = dir_.file(name);
        const auto pixels = testImage(width, height, channels);
        ASSERT_TRUE(zetaWriteImage(path.c_str(), pixels.data(), width, height, channels));
        EXPECT_EQ(test::isPng(path), png) << name;
        EXPECT_EQ(test::isBmp(path), !png) << name;
        const auto back = readImage(path, channels);
        ASSERT_TRUE(back.loaded) << name;
        EXPECT_EQ(back.width, width);
        EXPECT_EQ(back.height, height);
        // PNG keeps the channel count; BMP always stores 24-bit colour.
        EXPECT_EQ(back.channelsInFile, png ? channels : 3);
        EXPECT_TRUE(back.pixels == pixels) << name << " differs after reading back";
    }

    // A refused call leaves no file, returns false and is journaled as failed.
    void expectRefused(const char* path, const unsigned char* data, int width, int height,
                       int channels, const std::string& what) {
        zeta::sim::clearJournal();
        EXPECT_FALSE(zetaWriteImage(path, data, width, height, channels)) << what;
        if (path != nullptr) {
            EXPECT_FALSE(std::filesystem::exists(path)) << what;
        }
        const auto records = imageRecords();
        ASSERT_EQ(records.size(), 1u) << what;
        EXPECT_FALSE(records[0].ok) << what;
    }

    ScratchDir dir_;
};

TEST_F(ZetaWriteImageTest, MonoBmpReadsBackPixelExact) {
    expectRoundTrip("mono.bmp", 37, 23, 1, false);
}

TEST_F(ZetaWriteImageTest, RgbBmpReadsBackPixelExact) {
    expectRoundTrip("rgb.bmp", 37, 23, 3, false);
}

TEST_F(ZetaWriteImageTest, MonoPngReadsBackPixelExact) {
    expectRoundTrip("mono.png", 37, 23, 1, true);
}

TEST_F(ZetaWriteImageTest, RgbPngReadsBackPixelExact) {
    expectRoundTrip("rgb.png", 37, 23, 3, true);
}

TEST_F(ZetaWriteImageTest, FullCameraFrameReadsBackPixelExact) {
    expectRoundTrip("frame.png", 1280, 1024, 1, true);
}

TEST_F(ZetaWriteImageTest, UpperAndMixedCasePngSuffixWritesPng) {
    expectRoundTrip("upper.PNG", 8, 6, 1, true);
    expectRoundTrip("mixed.Png", 8, 6, 3, true);
}

TEST_F(ZetaWriteImageTest, AnyOtherNameWritesBmp) {
    expectRoundTrip("no-suffix", 5, 3, 3, false);
    expectRoundTrip("image.jpg", 5, 3, 1, false);
    expectRoundTrip("image.png.bmp", 5, 3, 1, false);
}

TEST_F(ZetaWriteImageTest, LargestSideIsAccepted) {
    expectRoundTrip("wide.png", 65535, 1, 1, true);
    expectRoundTrip("tall.bmp", 1, 65535, 1, false);
}

TEST_F(ZetaWriteImageTest, RefusesNullPathAndNullData) {
    const auto pixels = testImage(4, 4, 1);
    expectRefused(nullptr, pixels.data(), 4, 4, 1, "null path");
    expectRefused(dir_.file("null-data.png").c_str(), nullptr, 4, 4, 1, "null data png");
    expectRefused(dir_.file("null-data.bmp").c_str(), nullptr, 4, 4, 1, "null data bmp");
    expectRefused("", pixels.data(), 4, 4, 1, "empty path");
}

TEST_F(ZetaWriteImageTest, RefusesSidesOutOfRange) {
    const auto pixels = testImage(4, 4, 3);
    for (const int side : {0, -1, -4, 65536, 100000}) {
        const std::string what = "side " + std::to_string(side);
        expectRefused(dir_.file("w.png").c_str(), pixels.data(), side, 4, 3, "width, " + what);
        expectRefused(dir_.file("h.png").c_str(), pixels.data(), 4, side, 3, "height, " + what);
        expectRefused(dir_.file("w.bmp").c_str(), pixels.data(), side, 4, 1, "width, " + what);
        expectRefused(dir_.file("h.bmp").c_str(), pixels.data(), 4, side, 1, "height, " + what);
    }
}

TEST_F(ZetaWriteImageTest, RefusesChannelCountsOtherThanOneAndThree) {
    const auto pixels = testImage(4, 4, 4);
    for (const int channels : {0, 2, 4, -1, 255}) {
        const std::string what = "channels " + std::to_string(channels);
        expectRefused(dir_.file("c.png").c_str(), pixels.data(), 4, 4, channels, what);
        expectRefused(dir_.file("c.bmp").c_str(), pixels.data(), 4, 4, channels, what);
    }
}

TEST_F(ZetaWriteImageTest, FailsForAFileThatCannotBeWritten) {
    const auto pixels = testImage(4, 4, 1);
    expectRefused(dir_.file("missing/folder/a.png").c_str(), pixels.data(), 4, 4, 1,
                  "missing folder");
    const std::string folder = dir_.file("is-a-folder.bmp");
    std::filesystem::create_directory(folder);
    zeta::sim::clearJournal();
    EXPECT_FALSE(zetaWriteImage(folder.c_str(), pixels.data(), 4, 4, 1));
    EXPECT_TRUE(std::filesystem::is_directory(folder));
    ASSERT_EQ(imageRecords().size(), 1u);
    EXPECT_FALSE(imageRecords()[0].ok);
}

TEST_F(ZetaWriteImageTest, JournalsDeviceOperationArgumentsAndResult) {
    const std::string path = dir_.file("journal.png");
    const auto pixels = testImage(4, 3, 1);
    ASSERT_TRUE(zetaWriteImage(path.c_str(), pixels.data(), 4, 3, 1));
    EXPECT_FALSE(zetaWriteImage(path.c_str(), pixels.data(), 4, 3, 2));
    EXPECT_FALSE(zetaWriteImage(nullptr, pixels.data(), 640, 480, 3));

    const auto records = imageRecords();
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[0].dev, "image");
    EXPECT_EQ(records[0].op, "zetaWriteImage");
    EXPECT_EQ(records[0].args, "[" + jsonString(path) + ",12,4,3,1]");
    EXPECT_TRUE(records[0].ok);
    EXPECT_EQ(records[1].dev, "image");
    EXPECT_EQ(records[1].args, "[" + jsonString(path) + ",24,4,3,2]");
    EXPECT_FALSE(records[1].ok);
    EXPECT_EQ(records[2].dev, "image");
    EXPECT_EQ(records[2].args, "[null,921600,640,480,3]");
    EXPECT_FALSE(records[2].ok);
    EXPECT_LT(records[0].n, records[1].n);
    EXPECT_LT(records[1].n, records[2].n);
    EXPECT_NE(records[0].line.find("\"dev\":\"image\""), std::string::npos) << records[0].line;
    EXPECT_NE(records[0].line.find("\"op\":\"zetaWriteImage\""), std::string::npos);
    EXPECT_NE(records[0].line.find("\"ok\":true"), std::string::npos);
}

TEST_F(ZetaWriteImageTest, InjectedFailureWritesNothing) {
    const auto pixels = testImage(6, 5, 3);
    const std::string path = dir_.file("fault.png");
    zeta::sim::failNext("image", "zetaWriteImage", 1);
    EXPECT_FALSE(zetaWriteImage(path.c_str(), pixels.data(), 6, 5, 3));
    EXPECT_FALSE(std::filesystem::exists(path));
    // The fault was used up: the next call writes.
    EXPECT_TRUE(zetaWriteImage(path.c_str(), pixels.data(), 6, 5, 3));
    EXPECT_TRUE(std::filesystem::exists(path));

    const auto records = imageRecords();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].args, "[" + jsonString(path) + ",90,6,5,3]");
    EXPECT_FALSE(records[0].ok);
    EXPECT_TRUE(records[1].ok);
}

TEST_F(ZetaWriteImageTest, InjectedFailureKeepsAnExistingFile) {
    const auto pixels = testImage(6, 5, 1);
    const std::string path = dir_.file("kept.bmp");
    ASSERT_TRUE(zetaWriteImage(path.c_str(), pixels.data(), 6, 5, 1));
    zeta::sim::failNext("image", "zetaWriteImage", 1);
    const auto other = testImage(2, 2, 3);
    EXPECT_FALSE(zetaWriteImage(path.c_str(), other.data(), 2, 2, 3));
    const auto back = readImage(path, 1);
    ASSERT_TRUE(back.loaded);
    EXPECT_EQ(back.pixels, pixels);
}

TEST_F(ZetaWriteImageTest, RigFileFaultSkipsThenFails) {
    std::string error;
    ASSERT_TRUE(zeta::sim::loadRigText(
        R"({"image": {"fail": {"zetaWriteImage": {"skip": 1, "times": 2}}}})", &error))
        << error;
    zeta::sim::clearJournal();
    const auto pixels = testImage(3, 3, 1);
    EXPECT_TRUE(zetaWriteImage(dir_.file("1.png").c_str(), pixels.data(), 3, 3, 1));
    EXPECT_FALSE(zetaWriteImage(dir_.file("2.png").c_str(), pixels.data(), 3, 3, 1));
    EXPECT_FALSE(zetaWriteImage(dir_.file("3.png").c_str(), pixels.data(), 3, 3, 1));
    EXPECT_TRUE(zetaWriteImage(dir_.file("4.png").c_str(), pixels.data(), 3, 3, 1));
    EXPECT_TRUE(std::filesystem::exists(dir_.file("1.png")));
    EXPECT_FALSE(std::filesystem::exists(dir_.file("2.png")));
    EXPECT_FALSE(std::filesystem::exists(dir_.file("3.png")));
    EXPECT_TRUE(std::filesystem::exists(dir_.file("4.png")));
    const auto records = imageRecords();
    ASSERT_EQ(records.size(), 4u);
    EXPECT_TRUE(records[0].ok);
    EXPECT_FALSE(records[1].ok);
    EXPECT_FALSE(records[2].ok);
    EXPECT_TRUE(records[3].ok);
}

TEST_F(ZetaWriteImageTest, EveryCallFailsOnABrokenRig) {
    EXPECT_FALSE(zeta::sim::loadRigText("{ not json"));
    const auto pixels = testImage(3, 3, 1);
    const std::string path = dir_.file("broken.png");
    EXPECT_FALSE(zetaWriteImage(path.c_str(), pixels.data(), 3, 3, 1));
    EXPECT_FALSE(std::filesystem::exists(path));
    std::string error;
    ASSERT_TRUE(zeta::sim::loadRigText("{}", &error)) << error;
    EXPECT_TRUE(zetaWriteImage(path.c_str(), pixels.data(), 3, 3, 1));
}

}  // namespace
}  // namespace zeta::imageload
