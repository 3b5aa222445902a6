// Time stamps, video size, span, strobe time and the firmware image, through the public header.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "ApiTestSupport.h"

namespace {

using namespace zetaVoroSync;
using namespace zeta::api::test;
using zeta::sim::test::useRig;
using zeta::test::LogCapture;

class ApiMisc : public ::testing::Test {
protected:
    void SetUp() override {
        useRig(monoRig(1));
        connection_ = std::make_unique<Connection>(std::vector<std::string>{"ZV0001"});
        ASSERT_EQ(connection_->status(), RET_OPERATE_SUCCESS);
        mark_ = journalMark();
    }
    void TearDown() override { connection_.reset(); }
    void*& handle() { return connection_->handle(); }
    std::vector<std::string> boardCalls(const std::string& op) const {
        std::vector<std::string> calls;
        for (auto& r : recordsSince(mark_, op, "board")) calls.push_back(r.args);
        return calls;
    }

    std::unique_ptr<Connection> connection_;
    std::uint64_t mark_ = 0;
};

using Args = std::vector<std::string>;

TEST_F(ApiMisc, ResetCameraTimeStamp) {
    EXPECT_EQ(ResetCameraTimeStamp(handle(), 1), RET_OPERATE_SUCCESS);
    EXPECT_EQ(ResetCameraTimeStamp(handle()), RET_OPERATE_SUCCESS);
    EXPECT_EQ(boardCalls("zetaResetCameraTimeStamp"), (Args{"[1]", "[-1]"}));
    zeta::sim::failNext("board", "zetaResetCameraTimeStamp", 1);
    EXPECT_EQ(ResetCameraTimeStamp(handle(), 0), RET_OPERATE_FAILED);
}

// The source is applied to every camera of the handle.
TEST_F(ApiMisc, SpecifiedTimeStampTypeOneOrZero) {
    EXPECT_EQ(SpecifiedTimeStampType(handle(), TIMESTAMP_CAMERA), RET_OPERATE_SUCCESS);
    EXPECT_EQ(SpecifiedTimeStampType(handle(), static_cast<TIMESTAMP_TYPE>(7)),
              RET_OPERATE_SUCCESS);
    EXPECT_EQ(SpecifiedTimeStampType(handle(), TIMESTAMP_TRIGGER), RET_OPERATE_SUCCESS);
    Args sources;
    for (auto& r : recordsSince(mark_, "SpecifiedCameraTimeStampSource", "ZV0001")) {
        sources.push_back(r.args);
    }
    EXPECT_EQ(sources, (Args{"[1]", "[0]", "[0]"}));
}

TEST_F(ApiMisc, ResetVideoWidthHeightAcceptsThreeSizes) {
    LogCapture log;
    EXPECT_EQ(ResetVideoWidthHeight(handle(), 1280, 1024), RET_OPERATE_SUCCESS);
    EXPECT_EQ(ResetVideoWidthHeight(handle(), 640, 512), RET_OPERATE_SUCCESS);
    EXPECT_EQ(ResetVideoWidthHeight(handle(), 704, 576), RET_OPERATE_SUCCESS);
    EXPECT_EQ(boardCalls("zetaSetVideoWidthHeight"),
              (Args{"[1280,1024]", "[640,512]", "[704,576]"}));
    EXPECT_TRUE(log.contains("ResetVideoWidthHeight hSync="));
    EXPECT_TRUE(log.contains("width=1280"));
    EXPECT_TRUE(log.contains("height=1024"));
    EXPECT_TRUE(log.contains("ResetVideoWidthHeight retVal=0"));
}

TEST_F(ApiMisc, ResetVideoWidthHeightRefusesOtherSizes) {
    EXPECT_EQ(ResetVideoWidthHeight(handle(), 1024, 1280), RET_PARAMETER_ERROR);
    EXPECT_EQ(ResetVideoWidthHeight(handle(), 640, 480), RET_PARAMETER_ERROR);
    EXPECT_EQ(ResetVideoWidthHeight(handle(), 0, 0), RET_PARAMETER_ERROR);
    EXPECT_TRUE(trafficSince(mark_).empty());
}

TEST_F(ApiMisc, SetMonoColorSpan) {
    LogCapture log;
    EXPECT_EQ(SetMonoColorSpan(handle(), 4), RET_OPERATE_SUCCESS);
    EXPECT_EQ(SetMonoColorSpan(handle(), 0), RET_OPERATE_SUCCESS);
    EXPECT_EQ(boardCalls("zetaSetMonoColorSpan"), (Args{"[4]", "[0]"}));
    EXPECT_TRUE(log.contains("SetMonoColorSpan nSpan=4"));
    EXPECT_TRUE(log.contains("SetMonoColorSpan retVal=0"));
    const auto mark = journalMark();
    EXPECT_EQ(SetMonoColorSpan(handle(), 5), RET_PARAMETER_ERROR);
    EXPECT_EQ(SetMonoColorSpan(handle(), -1), RET_PARAMETER_ERROR);
    void* none = nullptr;
    EXPECT_EQ(SetMonoColorSpan(none, 2), RET_PARAMETER_ERROR);
    EXPECT_TRUE(trafficSince(mark).empty());
}

TEST_F(ApiMisc, SetStrobeLightingTime) {
    LogCapture log;
    EXPECT_EQ(SetStrobeLightingTime(handle(), 0, 10000), RET_OPERATE_SUCCESS);
    EXPECT_EQ(SetStrobeLightingTime(handle(), 3, 0), RET_OPERATE_SUCCESS);
    EXPECT_EQ(boardCalls("zetaSetStrobeLightingTime"), (Args{"[0,10000]", "[3,0]"}));
    // The texts of other operations, as the system writes them.
    EXPECT_TRUE(log.contains("SetMonoColorSpan camOrder=0"));
    EXPECT_TRUE(log.contains("nTime=10000"));
    EXPECT_TRUE(log.contains("ResetVideoWidthHeight retVal=0"));
    const auto mark = journalMark();
    EXPECT_EQ(SetStrobeLightingTime(handle(), 0, 10001), RET_PARAMETER_ERROR);
    EXPECT_EQ(SetStrobeLightingTime(handle(), 0, -1), RET_PARAMETER_ERROR);
    void* none = nullptr;
    EXPECT_EQ(SetStrobeLightingTime(none, 0, 10), RET_PARAMETER_ERROR);
    EXPECT_TRUE(trafficSince(mark).empty());
}

// ---- Firmware image -------------------------------------------------------------------------

struct Progress {
    std::mutex mutex;
    std::vector<int> values;
};

void progressCallBack(const void* context, int percentage) {
    auto* progress = static_cast<Progress*>(const_cast<void*>(context));
    std::lock_guard<std::mutex> lock(progress->mutex);
    progress->values.push_back(percentage);
}

// The transfer takes its five seconds of board preparation.
TEST_F(ApiMisc, UpdateFirewareImageDataWritesASplashImage) {
    ScratchDirectory scratch;
    const auto file = scratch.path() / "logo.SPLASH";
    {
        std::ofstream out(file, std::ios::binary);
        out << "abcdefgh"
            << "123456789";
    }
    LogCapture log;
    Progress progress;
    EXPECT_EQ(
        UpdateFirewareImageData(handle(), file.wstring().c_str(), 1, &progressCallBack, &progress),
        RET_OPERATE_SUCCESS);
    const auto store = zeta::sim::imageStore();
    EXPECT_EQ(store.imageType, 1);
    EXPECT_EQ(store.completedWrites, 1);
    EXPECT_FALSE(store.writing);
    EXPECT_GE(store.totalBytes, 17u);
    EXPECT_TRUE(log.contains("UpdateFirewareImageData retVal=0"));
    std::lock_guard<std::mutex> lock(progress.mutex);
    ASSERT_FALSE(progress.values.empty());
    EXPECT_EQ(progress.values.front(), 0);
    EXPECT_EQ(progress.values.back(), 10000);
}

TEST_F(ApiMisc, UpdateFirewareImageDataOfAMissingFileFails) {
    ScratchDirectory scratch;
    const auto file = scratch.path() / "missing.bin";
    LogCapture log;
    EXPECT_EQ(
        UpdateFirewareImageData(handle(), file.wstring().c_str(), 1, &progressCallBack, nullptr),
        RET_OPERATE_FAILED);
    EXPECT_TRUE(log.contains("UpdateFirewareImageData retVal=-1"));
    EXPECT_TRUE(recordsSince(mark_, "zetaE7StartWriteImage").empty());
}

// A folder is no image file: refused like a file that cannot be opened, before the board is
// asked to take an image.
TEST_F(ApiMisc, UpdateFirewareImageDataOfAFolderFails) {
    ScratchDirectory scratch;
    const auto folder = scratch.path() / "logo.SPLASH";
    ASSERT_TRUE(std::filesystem::create_directory(folder));
    LogCapture log;
    Progress progress;
    EXPECT_EQ(UpdateFirewareImageData(handle(), folder.wstring().c_str(), 1, &progressCallBack,
                                      &progress),
              RET_OPERATE_FAILED);
    EXPECT_TRUE(log.contains("UpdateFirewareImageData retVal=-1"));
    EXPECT_TRUE(progress.values.empty());
    EXPECT_TRUE(trafficSince(mark_, "board").empty());
}

TEST_F(ApiMisc, UpdateFirewareImageDataArgumentChecks) {
    Progress progress;
    EXPECT_EQ(UpdateFirewareImageData(handle(), nullptr, 1, &progressCallBack, &progress),
              RET_PARAMETER_ERROR);
    EXPECT_EQ(UpdateFirewareImageData(handle(), L"image.bin", 0, &progressCallBack, &progress),
              RET_PARAMETER_ERROR);
    EXPECT_EQ(UpdateFirewareImageData(handle(), L"image.bin", -3, &progressCallBack, &progress),
              RET_PARAMETER_ERROR);
    void* none = nullptr;
    EXPECT_EQ(UpdateFirewareImageData(none, L"image.bin", 1, &progressCallBack, &progress),
              RET_PARAMETER_ERROR);
    EXPECT_TRUE(progress.values.empty());
    EXPECT_TRUE(trafficSince(mark_).empty());
}

}  // namespace
