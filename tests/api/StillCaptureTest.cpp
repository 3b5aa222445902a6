// Still capture through the public header, on the virtual scanner.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "ApiTestSupport.h"

namespace {

using namespace zetaVoroSync;
using namespace zeta::api::test;
using zeta::sim::test::useRig;
using zeta::test::ConsoleCapture;
using zeta::test::LogCapture;

void freeImages(std::vector<unsigned char*>& images) {
    for (unsigned char* image : images) std::free(image);
    images.clear();
}

class ApiStill : public ::testing::Test {
protected:
    void connect(const std::string& rig, const std::vector<std::string>& serials) {
        useRig(rig);
        connection_ = std::make_unique<Connection>(serials);
        ASSERT_EQ(connection_->status(), RET_OPERATE_SUCCESS);
        mark_ = journalMark();
    }
    void TearDown() override { connection_.reset(); }
    void*& handle() { return connection_->handle(); }
    std::vector<std::string> projections() const {
        std::vector<std::string> args;
        for (auto& r : recordsSince(mark_, "zetaProject", "board")) args.push_back(r.args);
        return args;
    }

    std::unique_ptr<Connection> connection_;
    std::uint64_t mark_ = 0;
};

// ---- SnapSingleImageFromSpecifyCamera ---------------------------------------------------------

// The snap resets the camera, which makes the camera thread forget its last frame, and then
// copies the camera thread's current frame. It therefore succeeds only when the grab thread
// snapped a new frame in between (the system's behaviour, kept); otherwise the camera thread
// prints "No Data" and the snap fails. Either way the camera was reset and the outputs are
// consistent with the status.
TEST_F(ApiStill, SnapSingleImageResetsTheCameraAndCopiesItsCurrentFrame) {
    connect(smallRig(), {"ZV0001", "ZV0002", "ZV0003"});
    for (int index : {1, 2}) {
        const char* serial = index == 1 ? "ZV0002" : "ZV0003";
        const auto mark = journalMark();
        unsigned char* image = nullptr;
        int width = 0, height = 0, channels = 0;
        ConsoleCapture console;
        const RETSTATUS status =
            SnapSingleImageFromSpecifyCamera(handle(), index, image, width, height, channels);
        const std::string text = console.text();
        const auto ops = opsSince(mark, serial);
        ASSERT_FALSE(ops.empty());
        EXPECT_EQ(ops.front(), "LockSnapThread");
        EXPECT_FALSE(recordsSince(mark, "SetCameraToInitializedState", serial).empty());
        if (status == RET_OPERATE_SUCCESS) {
            ASSERT_NE(image, nullptr);
            EXPECT_EQ(width, 64);
            EXPECT_EQ(height, 48);
            EXPECT_EQ(channels, index == 2 ? 3 : 1);
            EXPECT_EQ(tagByte(image, 5), index);
            std::free(image);
        } else {
            EXPECT_EQ(status, RET_OPERATE_FAILED);
            EXPECT_EQ(image, nullptr);
            EXPECT_NE(text.find("No Data: "), std::string::npos) << text;
        }
    }
}

TEST_F(ApiStill, SnapSingleImageArgumentChecks) {
    connect(smallRig(), {"ZV0001", "ZV0002", "ZV0003"});
    unsigned char placeholder = 0;
    unsigned char* image = &placeholder;
    int width = -1, height = -1, channels = -1;
    EXPECT_EQ(SnapSingleImageFromSpecifyCamera(handle(), 0, image, width, height, channels),
              RET_PARAMETER_ERROR);
    EXPECT_EQ(image, &placeholder);
    image = nullptr;
    EXPECT_EQ(SnapSingleImageFromSpecifyCamera(handle(), 3, image, width, height, channels),
              RET_PARAMETER_ERROR);
    EXPECT_EQ(SnapSingleImageFromSpecifyCamera(handle(), -1, image, width, height, channels),
              RET_PARAMETER_ERROR);
    EXPECT_EQ(image, nullptr);
    EXPECT_TRUE(trafficSince(mark_).empty());
}

// ---- SnapSingleGroupImages --------------------------------------------------------------------

TEST_F(ApiStill, SnapSingleGroupImagesProjectsThenSnapsEveryMonoCamera) {
    connect(monoRig(2), {"ZV0001", "ZV0002"});
    LogCapture log;
    std::vector<unsigned char*> images;
    std::vector<int> widths, heights, channels;
    std::string console;
    {
        ConsoleCapture capture;
        EXPECT_EQ(SnapSingleGroupImages(handle(), PROJECT_WHITE, images, widths, heights, channels),
                  RET_OPERATE_SUCCESS);
        console = capture.text();
    }
    EXPECT_EQ(console.rfind("[ZETAVOROSYNC_API] --- Goto Projector: 4\n", 0), 0u) << console;
    EXPECT_TRUE(log.contains("Start Project In SnapSingleGroupImages"));
    ASSERT_FALSE(projections().empty());
    EXPECT_EQ(projections().front(), "[1]");
    ASSERT_EQ(images.size(), 2u);
    EXPECT_EQ(widths, (std::vector<int>{64, 64}));
    EXPECT_EQ(heights, (std::vector<int>{48, 48}));
    EXPECT_EQ(channels, (std::vector<int>{1, 1}));
    EXPECT_EQ(tagByte(images[0], 5), 0);
    EXPECT_EQ(tagByte(images[1], 5), 1);
    freeImages(images);
}

// With a colour camera among the cameras the group is short of one image.
TEST_F(ApiStill, SnapSingleGroupImagesWithAColourCameraFails) {
    connect(smallRig(), {"ZV0001", "ZV0002", "ZV0003"});
    LogCapture log;
    std::vector<unsigned char*> images;
    std::vector<int> widths, heights, channels;
    EXPECT_EQ(SnapSingleGroupImages(handle(), PROJECT_WHITE, images, widths, heights, channels),
              RET_OPERATE_FAILED);
    EXPECT_TRUE(log.contains("SnapSingleGroupImages Snap Failed"));
    freeImages(images);
}

// The lists are checked by the snap, after the projection (as the system does).
TEST_F(ApiStill, SnapSingleGroupImagesNeedsEmptyLists) {
    connect(monoRig(2), {"ZV0001", "ZV0002"});
    LogCapture log;
    std::vector<unsigned char*> images;
    std::vector<int> widths, heights, channels{9};
    EXPECT_EQ(SnapSingleGroupImages(handle(), PROJECT_WHITE, images, widths, heights, channels),
              RET_PARAMETER_ERROR);
    EXPECT_TRUE(log.contains("SnapSingleGroupImages Need Empty Buffer"));
    EXPECT_TRUE(images.empty());
    EXPECT_EQ(channels, (std::vector<int>{9}));
}

TEST_F(ApiStill, SnapSingleGroupImagesWhoseProjectionFails) {
    connect(monoRig(2), {"ZV0001", "ZV0002"});
    LogCapture log;
    std::vector<unsigned char*> images;
    std::vector<int> widths, heights, channels;
    EXPECT_EQ(SnapSingleGroupImages(handle(), static_cast<PROJECTTYPES>(13), images, widths,
                                    heights, channels),
              RET_OPERATE_FAILED);
    EXPECT_TRUE(log.contains("Project Failed In SnapSingleGroupImages"));
    EXPECT_TRUE(images.empty());
    EXPECT_TRUE(trafficSince(mark_).empty());
}

// ---- SnapRGBImageFromSpecifyCamera ------------------------------------------------------------

TEST_F(ApiStill, SnapRGBImageOfTheColourCameraIsWrittenForDiagnosis) {
    connect(smallRig(), {"ZV0001", "ZV0002", "ZV0003"});
    ScratchDirectory scratch;
    std::filesystem::create_directory("RGB");
    LogCapture log;
    unsigned char* image = nullptr;
    int width = 0, height = 0;
    EXPECT_EQ(SnapRGBImageFromSpecifyCamera(handle(), 2, image, width, height),
              RET_OPERATE_SUCCESS);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(width, 64);
    EXPECT_EQ(height, 48);
    EXPECT_EQ(tagByte(image, 5), 2);
    EXPECT_TRUE(log.contains("totalRGB[0]="));
    EXPECT_TRUE(log.contains("totalRGB[1]="));
    EXPECT_TRUE(log.contains("totalRGB[2]="));
    EXPECT_FALSE(log.contains("all black"));
    EXPECT_TRUE(log.contains("return ok bmpOk=1"));
    auto writes = recordsSince(mark_, "zetaWriteImage", "image");
    ASSERT_EQ(writes.size(), 1u);
    EXPECT_EQ(writes[0].args.rfind("[\"./RGB/RGBImage_", 0), 0u) << writes[0].args;
    EXPECT_NE(writes[0].args.find("_0.bmp\",9216,64,48,3]"), std::string::npos) << writes[0].args;
    int files = 0;
    for (auto& entry : std::filesystem::directory_iterator("RGB")) {
        EXPECT_EQ(entry.path().extension(), ".bmp");
        ++files;
    }
    EXPECT_EQ(files, 1);
    std::free(image);
}

TEST_F(ApiStill, SnapRGBImageWithoutTheDiagnosticFolderStillSucceeds) {
    connect(smallRig(), {"ZV0001", "ZV0002", "ZV0003"});
    ScratchDirectory scratch;
    LogCapture log;
    unsigned char* image = nullptr;
    int width = 0, height = 0;
    EXPECT_EQ(SnapRGBImageFromSpecifyCamera(handle(), 2, image, width, height),
              RET_OPERATE_SUCCESS);
    EXPECT_NE(image, nullptr);
    EXPECT_TRUE(log.contains("return ok bmpOk=0"));
    std::free(image);
}

// A mono camera composes the colour image from three shots under red, green and blue light.
TEST_F(ApiStill, SnapRGBImageOfAMonoCameraProjectsRedGreenBlue) {
    connect(smallRig(), {"ZV0001", "ZV0002", "ZV0003"});
    ScratchDirectory scratch;
    unsigned char* image = nullptr;
    int width = 0, height = 0;
    EXPECT_EQ(SnapRGBImageFromSpecifyCamera(handle(), 0, image, width, height),
              RET_OPERATE_SUCCESS);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(width, 64);
    EXPECT_EQ(height, 48);
    EXPECT_EQ(projections(), (std::vector<std::string>{"[7]", "[8]", "[9]"}));
    std::free(image);
}

TEST_F(ApiStill, SnapRGBImageArgumentChecks) {
    connect(smallRig(), {"ZV0001", "ZV0002", "ZV0003"});
    ScratchDirectory scratch;
    unsigned char placeholder = 0;
    unsigned char* image = &placeholder;
    int width = 0, height = 0;
    EXPECT_EQ(SnapRGBImageFromSpecifyCamera(handle(), 2, image, width, height),
              RET_PARAMETER_ERROR);
    EXPECT_EQ(image, &placeholder);
    image = nullptr;
    EXPECT_EQ(SnapRGBImageFromSpecifyCamera(handle(), 3, image, width, height),
              RET_PARAMETER_ERROR);
    EXPECT_EQ(SnapRGBImageFromSpecifyCamera(handle(), -1, image, width, height),
              RET_PARAMETER_ERROR);
    EXPECT_EQ(image, nullptr);
    EXPECT_TRUE(trafficSince(mark_).empty());
}

// A multi-sensor raw colour camera: the snap hands out its sub-image as the camera delivers it,
// one byte a pixel. The image sums and the diagnostic file use that size, never three bytes a
// pixel, which would read past the block.
TEST_F(ApiStill, SnapRGBImageOfAMultiSensorRawCameraKeepsToTheSubImagesSize) {
    useRig(zeta::sim::test::rigWithCameras({cameraJson("ZV0001", 16, R"("sensors": 2)")}));
    connection_ =
        std::make_unique<Connection>(std::vector<std::string>{"ZV0001", "ZV0001"},
                                     std::vector<int>{128, 128}, std::vector<int>{48, 48});
    ASSERT_EQ(connection_->status(), RET_OPERATE_SUCCESS);
    mark_ = journalMark();
    ScratchDirectory scratch;
    std::filesystem::create_directory("RGB");
    LogCapture log;
    unsigned char* image = nullptr;
    int width = 0, height = 0;
    EXPECT_EQ(SnapRGBImageFromSpecifyCamera(handle(), 1, image, width, height),
              RET_OPERATE_SUCCESS);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(width, 64);
    EXPECT_EQ(height, 48);
    EXPECT_EQ(tagByte(image, 6), 1);  // the second sensor's image
    EXPECT_TRUE(log.contains("return ok bmpOk=1"));
    auto writes = recordsSince(mark_, "zetaWriteImage", "image");
    ASSERT_EQ(writes.size(), 1u);
    EXPECT_NE(writes[0].args.find("_0.bmp\",3072,64,48,1]"), std::string::npos) << writes[0].args;
    std::free(image);
}

// Found by the fuzzer: a raw colour camera with one sensor named twice in a row is opened as a
// camera serving two logical cameras, so its image is handed out as the camera delivers it, as
// wide as the whole frame but one byte a pixel. The sums and the diagnostic file keep to that.
TEST_F(ApiStill, SnapRGBImageOfASingleSensorRawCameraNamedTwiceKeepsToItsOwnSize) {
    useRig(zeta::sim::test::rigWithCameras({cameraJson("ZV0001", 16)}));
    connection_ = std::make_unique<Connection>(std::vector<std::string>{"ZV0001", "ZV0001"},
                                               std::vector<int>{64, 64}, std::vector<int>{48, 48});
    ASSERT_EQ(connection_->status(), RET_OPERATE_SUCCESS);
    mark_ = journalMark();
    ScratchDirectory scratch;
    std::filesystem::create_directory("RGB");
    unsigned char* image = nullptr;
    int width = 0, height = 0;
    const RETSTATUS status = SnapRGBImageFromSpecifyCamera(handle(), 0, image, width, height);
    EXPECT_TRUE(status == RET_OPERATE_SUCCESS || status == RET_OPERATE_FAILED) << status;
    for (const auto& write : recordsSince(mark_, "zetaWriteImage", "image")) {
        EXPECT_NE(write.args.find(",1]"), std::string::npos) << write.args;
    }
    std::free(image);
}

// ---- SnapSingleGroupRGBImages -----------------------------------------------------------------

int fileNumberOf(const std::string& args) {
    // args: ["RGBImage_<n>.bmp",<bytes>,<w>,<h>,3]
    const auto start = args.find("RGBImage_");
    if (start == std::string::npos) return -1;
    return std::atoi(args.c_str() + start + 9);
}

TEST_F(ApiStill, SnapSingleGroupRGBImagesSnapsTwiceAndDumpsBoth) {
    connect(smallRig(), {"ZV0001", "ZV0002", "ZV0003"});
    ScratchDirectory scratch;
    LogCapture log;
    std::vector<unsigned char*> images;
    std::vector<int> widths, heights;
    EXPECT_EQ(SnapSingleGroupRGBImages(handle(), images, widths, heights), RET_OPERATE_SUCCESS);
    ASSERT_EQ(images.size(), 3u);
    EXPECT_EQ(widths, (std::vector<int>{64, 64, 64}));
    EXPECT_EQ(heights, (std::vector<int>{48, 48, 48}));
    for (unsigned char* image : images) EXPECT_NE(image, nullptr);
    EXPECT_TRUE(log.contains("SnapSingleGroupRGBImages one retVal=0"));
    EXPECT_TRUE(log.contains("SnapSingleGroupRGBImages two retVal0"));

    auto writes = recordsSince(mark_, "zetaWriteImage", "image");
    ASSERT_EQ(writes.size(), 2u);
    const int first = fileNumberOf(writes[0].args);
    EXPECT_GE(first, 0);
    EXPECT_EQ(fileNumberOf(writes[1].args), first + 1);
    EXPECT_NE(writes[0].args.find(".bmp\",9216,64,48,3]"), std::string::npos) << writes[0].args;
    EXPECT_TRUE(std::filesystem::exists("RGBImage_" + std::to_string(first) + ".bmp"));
    EXPECT_TRUE(std::filesystem::exists("RGBImage_" + std::to_string(first + 1) + ".bmp"));
    // Two snaps: the three coloured projections twice.
    EXPECT_GE(recordsSince(mark_, "zetaProject").size(), 6u);
    freeImages(images);
}

// A raw colour camera's block is handed out as the camera delivers it, one byte a pixel: the
// diagnostic copy of the first image is of that size.
TEST_F(ApiStill, SnapSingleGroupRGBImagesOfARawColourCameraDumpsItsOwnSize) {
    connect(zeta::sim::test::rigWithCameras({cameraJson("ZV0001", 16), cameraJson("ZV0002")}),
            {"ZV0001", "ZV0002"});
    ScratchDirectory scratch;
    std::vector<unsigned char*> images;
    std::vector<int> widths, heights;
    EXPECT_EQ(SnapSingleGroupRGBImages(handle(), images, widths, heights), RET_OPERATE_SUCCESS);
    ASSERT_EQ(images.size(), 2u);
    auto writes = recordsSince(mark_, "zetaWriteImage", "image");
    ASSERT_EQ(writes.size(), 2u);
    for (auto& write : writes) {
        EXPECT_NE(write.args.find(".bmp\",3072,64,48,1]"), std::string::npos) << write.args;
    }
    freeImages(images);
}

TEST_F(ApiStill, SnapSingleGroupRGBImagesNeedsEmptyLists) {
    connect(smallRig(), {"ZV0001", "ZV0002", "ZV0003"});
    ScratchDirectory scratch;
    std::vector<unsigned char*> images;
    std::vector<int> widths{5}, heights;
    EXPECT_EQ(SnapSingleGroupRGBImages(handle(), images, widths, heights), RET_PARAMETER_ERROR);
    EXPECT_TRUE(images.empty());
    EXPECT_EQ(widths, (std::vector<int>{5}));
}

}  // namespace
