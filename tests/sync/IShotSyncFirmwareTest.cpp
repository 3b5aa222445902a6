// Firmware and splash image transfer (slot 69) against the virtual board's image store: the image
// type from the name, line-oriented chunks with their padding, progress reports, the failure paths
// and the main lock held for the whole transfer. Each transfer waits the board's 5 s preparation
// time, so the transfer tests are few and check several properties each.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "IShotSyncA_Probe.h"
#include "LibraryTestSupport.h"
#include "ScratchDir.h"
#include "SimTestSupport.h"
#include "zetaVoroSim/SimControl.h"

namespace {

using namespace std::chrono_literals;
using zeta::sim::test::recordsOf;
using zeta::sim::test::waitUntil;
using zeta::test::LogCapture;
using Bytes = std::vector<std::uint8_t>;

// Collects the progress reports of one transfer (on the caller's thread).
struct ProgressRecorder {
    static void callBack(const void* context, int percentage) {
        auto* self = static_cast<ProgressRecorder*>(const_cast<void*>(context));
        std::lock_guard<std::mutex> lock(self->mutex);
        self->values.push_back(percentage);
    }
    std::vector<int> get() {
        std::lock_guard<std::mutex> lock(mutex);
        return values;
    }
    std::mutex mutex;
    std::vector<int> values;
};

class IShotSyncFirmwareTest : public ::testing::Test {
protected:
    void SetUp() override {
        zeta::sim::test::useRig(zeta::sim::defaultRigText());
        ASSERT_EQ(sync_.InitProjector("sim:board0"), 0);
        zeta::sim::clearJournal();
    }
    void TearDown() override {
        zeta::sim::clearFailures();
        for (const auto& file : files_) std::filesystem::remove(file);
    }

    // A path of this test's own in its scratch folder, removed at the end of the test.
    std::filesystem::path scratchPath(const std::string& name) {
        const std::filesystem::path path = scratch_ / name;
        files_.push_back(path);
        return path;
    }

    // Writes `content` into a fresh file named `name` and returns its path as a wide string.
    std::wstring writeFile(const std::string& name, const std::string& content) {
        const std::filesystem::path path = scratchPath(name);
        std::ofstream out(path, std::ios::binary);
        out.write(content.data(), static_cast<std::streamsize>(content.size()));
        out.close();
        return path.wstring();
    }

    // A file that is not sent is refused as a file that cannot be opened is: -1 at once (no
    // preparation wait), nothing reported, nothing sent to the board, the main lock left.
    void expectRefused(const std::wstring& image) {
        LogCapture log;
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(
            sync_.UpdateFirewareImageData(image.c_str(), 1, ProgressRecorder::callBack, &progress_),
            -1);
        EXPECT_LT(std::chrono::steady_clock::now() - start, 2000ms);
        EXPECT_EQ(log.count("UpdateFirewareImageData failed "), 1);
        EXPECT_FALSE(log.contains("nFileLen="));
        EXPECT_TRUE(progress_.get().empty());
        EXPECT_TRUE(zeta::sim::journal().empty());
        EXPECT_EQ(zeta::sim::imageStore().chunks.size(), 0u);
        EXPECT_FALSE(sync_.m_csProjector.isHeldByCurrentThread());
    }

    std::vector<std::string> writeArgs() {
        std::vector<std::string> args;
        for (const auto& record : recordsOf("zetaE7WriteImageData", "board")) {
            args.push_back(record.args);
        }
        return args;
    }

    CSyncProbe sync_;
    ProgressRecorder progress_;
    std::vector<std::filesystem::path> files_;
    zeta::test::ScratchDir scratch_;
};

TEST_F(IShotSyncFirmwareTest, NothingIsSentWithoutABoardOrAFileOrWhenTheWriteCannotStart) {
    const std::wstring image = writeFile("refused.bin", "abc\n");
    LogCapture log;

    CSyncProbe unopened;
    EXPECT_EQ(
        unopened.UpdateFirewareImageData(image.c_str(), 1, ProgressRecorder::callBack, &progress_),
        -1);
    const std::wstring missing = image + L".missing";
    EXPECT_EQ(
        sync_.UpdateFirewareImageData(missing.c_str(), 1, ProgressRecorder::callBack, &progress_),
        -1);
    EXPECT_EQ(sync_.UpdateFirewareImageData(nullptr, 1, ProgressRecorder::callBack, &progress_),
              -1);
    EXPECT_EQ(log.count("UpdateFirewareImageData failed "), 3);
    EXPECT_TRUE(progress_.get().empty());
    EXPECT_TRUE(zeta::sim::journal().empty());

    // A refused start returns at once, without the preparation wait or a stop.
    zeta::sim::failNext("board", "zetaE7StartWriteImage", 1);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(
        sync_.UpdateFirewareImageData(image.c_str(), 1, ProgressRecorder::callBack, &progress_),
        -1);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2000ms);
    EXPECT_TRUE(log.contains("zetaStartWriteImage failed"));
    EXPECT_EQ(progress_.get(), std::vector<int>{0});
    EXPECT_TRUE(recordsOf("zetaE7StopWriteImage").empty());
    EXPECT_TRUE(writeArgs().empty());
    EXPECT_FALSE(sync_.m_csProjector.isHeldByCurrentThread());
}

TEST_F(IShotSyncFirmwareTest, ASplashImageGoesOutInLineChunksPaddedToWholeWords) {
    // Chunks: 8 bytes (a 0x0A ends it, a zero byte inside), 9, 11 of a longer line, its last 3,
    // and 2 at the end of the file.
    const std::string content =
        std::string("ab\0defg\n", 8) + "abcdefgh\n" + "ABCDEFGHIJKLM\n" + "xy";
    ASSERT_EQ(content.size(), 33u);
    const std::wstring image = writeFile("logo.SPLASH", content);
    LogCapture log;
    const auto start = std::chrono::steady_clock::now();

    EXPECT_EQ(
        sync_.UpdateFirewareImageData(image.c_str(), 1, ProgressRecorder::callBack, &progress_), 0);

    EXPECT_GE(std::chrono::steady_clock::now() - start, 5000ms);
    const auto starts = recordsOf("zetaE7StartWriteImage", "board");
    ASSERT_EQ(starts.size(), 1u);
    EXPECT_EQ(starts[0].args, "[1]");
    EXPECT_EQ(writeArgs(),
              (std::vector<std::string>{"[8,8]", "[12,12]", "[12,12]", "[4,4]", "[4,4]"}));
    EXPECT_EQ(recordsOf("zetaE7StopWriteImage", "board").size(), 1u);

    const auto store = zeta::sim::imageStore();
    EXPECT_EQ(store.imageType, 1);
    EXPECT_EQ(store.completedWrites, 1);
    EXPECT_EQ(store.totalBytes, 40u);
    ASSERT_EQ(store.chunks.size(), 5u);
    EXPECT_EQ(store.chunks[0], (Bytes{'a', 'b', 0, 'd', 'e', 'f', 'g', 0x0A}));
    EXPECT_EQ(store.chunks[1], (Bytes{'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 0x0A, 0, 0, 0}));
    EXPECT_EQ(store.chunks[2], (Bytes{'A', 'B', 'C', 'D', 'E', 'F', 'G', 'H', 'I', 'J', 'K', 0}));
    EXPECT_EQ(store.chunks[3], (Bytes{'L', 'M', 0x0A, 0}));
    EXPECT_EQ(store.chunks[4], (Bytes{'x', 'y', 0, 0}));

    // Hundredths of a percent of the file sent, one unit below the true share, then 10000.
    EXPECT_EQ(progress_.get(), (std::vector<int>{0, 2423, 5150, 8483, 9392, 9999, 10000}));

    const std::size_t length = image.size();
    EXPECT_TRUE(log.contains("find_last_of pos=" + std::to_string(length - 7) +
                             "filePath.length=" + std::to_string(length)));
    EXPECT_TRUE(log.contains("imgType=1"));
    EXPECT_TRUE(log.contains("nFileLen=33"));
    EXPECT_TRUE(log.contains("nLen=8percentage=2424.24"));
    EXPECT_TRUE(log.contains("nLen=12percentage=5151.52"));
    EXPECT_TRUE(log.contains("UpdateFirewareImageData bUpdateNormal=1"));
    EXPECT_FALSE(sync_.m_csProjector.isHeldByCurrentThread());
}

TEST_F(IShotSyncFirmwareTest, ALowerCaseSplashNameIsFirmwareAndNewlinesGoOutOneByOne) {
    const std::wstring image = writeFile("logo.splash", "\n\n\n");
    zeta::sim::failNext("board", "zetaE7StopWriteImage", 1);
    LogCapture log;

    // No progress callback: nothing is reported, on every path.
    EXPECT_EQ(sync_.UpdateFirewareImageData(image.c_str(), 1, nullptr, nullptr), -1);

    EXPECT_EQ(recordsOf("zetaE7StartWriteImage", "board").at(0).args, "[0]");
    EXPECT_TRUE(log.contains("imgType=0"));
    EXPECT_EQ(writeArgs(), (std::vector<std::string>{"[4,4]", "[4,4]", "[4,4]"}));
    const auto store = zeta::sim::imageStore();
    EXPECT_EQ(store.imageType, 0);
    ASSERT_EQ(store.chunks.size(), 3u);
    for (const auto& chunk : store.chunks) EXPECT_EQ(chunk, (Bytes{0x0A, 0, 0, 0}));
    // The refused stop is the result.
    EXPECT_EQ(store.completedWrites, 0);
    EXPECT_TRUE(log.contains("zetaStopWriteImage failed"));
    EXPECT_FALSE(log.contains("UpdateFirewareImageData bUpdateNormal="));
    EXPECT_FALSE(sync_.m_csProjector.isHeldByCurrentThread());
}

TEST_F(IShotSyncFirmwareTest, AnEmptyFileStartsAndStopsTheWriteUnderTheMainLock) {
    const std::wstring image = writeFile("empty.img", "");
    LogCapture log;
    // Another thread's board call waits for the whole transfer.
    std::thread other([this] {
        if (waitUntil([] { return !recordsOf("zetaE7StartWriteImage").empty(); }, 5000ms)) {
            sync_.Project(3);
        }
    });

    EXPECT_EQ(
        sync_.UpdateFirewareImageData(image.c_str(), 1, ProgressRecorder::callBack, &progress_), 0);
    other.join();

    const auto journal = zeta::sim::journal();
    std::vector<std::string> ops;
    for (const auto& record : journal) {
        if (record.dev == "board") ops.push_back(record.op);
    }
    EXPECT_EQ(ops, (std::vector<std::string>{"zetaE7StartWriteImage", "zetaE7StopWriteImage",
                                             "zetaProject"}));
    EXPECT_EQ(progress_.get(), (std::vector<int>{0, 10000}));
    EXPECT_EQ(zeta::sim::imageStore().completedWrites, 1);
    EXPECT_EQ(zeta::sim::imageStore().totalBytes, 0u);
    EXPECT_TRUE(log.contains("nFileLen=0"));
    EXPECT_TRUE(log.contains("imgType=0"));
    EXPECT_TRUE(log.contains("UpdateFirewareImageData bUpdateNormal=1"));
}

TEST_F(IShotSyncFirmwareTest, AFailedChunkStillClosesTheWriteAndReports10000ThenFails) {
    // Chunks of 11 (padded to 12), 4 and 3; the second is refused.
    const std::wstring image = writeFile("firmware.bin", "0123456789\nabc\nxyz");
    zeta::sim::failNext("board", "zetaE7WriteImageData", 1, 1);
    LogCapture log;

    EXPECT_EQ(
        sync_.UpdateFirewareImageData(image.c_str(), 1, ProgressRecorder::callBack, &progress_),
        -1);

    const auto writes = recordsOf("zetaE7WriteImageData", "board");
    ASSERT_EQ(writes.size(), 2u);
    EXPECT_EQ(writes[0].args, "[12,12]");
    EXPECT_TRUE(writes[0].ok);
    EXPECT_EQ(writes[1].args, "[4,4]");
    EXPECT_FALSE(writes[1].ok);
    const auto stops = recordsOf("zetaE7StopWriteImage", "board");
    ASSERT_EQ(stops.size(), 1u);
    EXPECT_TRUE(stops[0].ok);
    EXPECT_EQ(zeta::sim::imageStore().completedWrites, 1);
    EXPECT_EQ(progress_.get(), (std::vector<int>{0, 6110, 10000}));
    EXPECT_TRUE(log.contains("UpdateFirewareImageData bUpdateNormal=0"));
    EXPECT_FALSE(sync_.m_csProjector.isHeldByCurrentThread());
}

// Only a regular file whose size is known and bounded is sent: the progress is a share of that
// size, and the transfer, all of it under the main lock, must end.
TEST_F(IShotSyncFirmwareTest, AFolderIsRefused) {
    const std::filesystem::path folder = scratchPath("folder.SPLASH");
    ASSERT_TRUE(std::filesystem::create_directory(folder));
    expectRefused(folder.wstring());
}

// 64 MiB is the limit: a splash or firmware image is a small fraction of it, and a larger file
// would keep the board busy with millions of 12-byte writes.
TEST_F(IShotSyncFirmwareTest, AFileLargerThan64MiBIsRefused) {
    const std::wstring image = writeFile("huge.SPLASH", "");
    std::filesystem::resize_file(files_.back(), 64u * 1024u * 1024u + 1u);  // sparse: no data
    expectRefused(image);
}

// A device that never ends would hold the main lock for ever.
TEST_F(IShotSyncFirmwareTest, ADeviceThatNeverEndsIsRefused) {
    const std::filesystem::path zero("/dev/zero");
    if (!std::filesystem::exists(zero)) GTEST_SKIP() << "no /dev/zero here";
    expectRefused(zero.wstring());
}

// The kernel's files report a size of 0 and have content: the share of the file sent would be a
// division by that size.
TEST_F(IShotSyncFirmwareTest, AFileWhoseSizeReadsZeroButHasContentIsRefused) {
    const std::filesystem::path status("/proc/self/status");
    if (!std::filesystem::exists(status)) GTEST_SKIP() << "no /proc here";
    ASSERT_EQ(std::filesystem::file_size(status), 0u);
    expectRefused(status.wstring());
}

}  // namespace
