// zetavoro firmware: writing a firmware image into the board, with progress.
#include <gtest/gtest.h>

#include <fstream>

#include "ZetavoroTest.h"

namespace zeta::tools::test {
namespace {

using FirmwareTest = ZetavoroTest;

// The board prepares for about five seconds before it takes data: this is the one test that
// writes an image.
TEST_F(FirmwareTest, WritesAFirmwareImageInChunksWithProgress) {
    // 100 bytes without a line end (0x0A ends a chunk early): nine chunks of 11 bytes and one
    // of 1, each padded to whole words on the wire (12 and 4 bytes).
    {
        std::ofstream file(scratch_ / "fw.bin", std::ios::binary);
        for (int i = 0; i < 100; ++i) file.put(static_cast<char>('A' + i % 26));
    }
    const ProgramRun run = zetavoro({"firmware", "fw.bin"});
    ASSERT_EQ(run.exitStatus(), 0) << run.describe();

    // The two lines of the documentation, after the connection line of the connecting
    // subcommands.
    std::vector<std::string> lines = run.outLines();
    if (!lines.empty() &&
        lines[0] == "connected: mode STRIPE, board sim:board0, cameras ZV0001 ZV0002 ZV0003") {
        lines.erase(lines.begin());
    }
    ASSERT_EQ(lines.size(), 2u) << run.describe();
    EXPECT_EQ(lines[0], "firmware: writing fw.bin (100 bytes) as a firmware image");
    std::vector<std::string> done;
    ASSERT_TRUE(matches(lines[1], "firmware: done in ([0-9]+\\.[0-9]) s", &done)) << run.describe();
    EXPECT_GE(std::stod(done[1]), 5.0);
    EXPECT_LT(std::stod(done[1]), 60.0);

    // Standard error is not a terminal: one line per tenth, rising, the last one 100 %.
    const std::vector<std::string> progress = run.errLines();
    ASSERT_FALSE(progress.empty()) << run.describe();
    int previous = -1;
    for (const std::string& line : progress) {
        std::vector<std::string> groups;
        ASSERT_TRUE(matches(line, "firmware: ([0-9]+) %", &groups)) << run.describe();
        const int percent = std::stoi(groups[1]);
        EXPECT_EQ(percent % 10, 0) << line;
        EXPECT_GT(percent, previous) << line;
        EXPECT_LE(percent, 100) << line;
        previous = percent;
    }
    EXPECT_EQ(progress.back(), "firmware: 100 %");

    // The board traffic: a firmware write (type 0), the chunks, the end of the write.
    const std::vector<nlohmann::json> records = journal();
    const std::vector<nlohmann::json> starts = recordsOf(records, "zetaE7StartWriteImage", "board");
    ASSERT_EQ(starts.size(), 1u) << run.describe();
    EXPECT_EQ(starts[0]["args"], nlohmann::json::array({0}));
    EXPECT_TRUE(starts[0]["ok"].get<bool>());
    const std::vector<nlohmann::json> chunks = recordsOf(records, "zetaE7WriteImageData", "board");
    ASSERT_EQ(chunks.size(), 10u) << run.describe();
    for (std::size_t i = 0; i < chunks.size(); ++i) {
        const int length = i + 1 < chunks.size() ? 12 : 4;
        EXPECT_EQ(chunks[i]["args"], nlohmann::json::array({length, length})) << "chunk " << i;
        EXPECT_TRUE(chunks[i]["ok"].get<bool>()) << "chunk " << i;
    }
    const std::vector<nlohmann::json> stops = recordsOf(records, "zetaE7StopWriteImage", "board");
    ASSERT_EQ(stops.size(), 1u) << run.describe();
    EXPECT_TRUE(stops[0]["ok"].get<bool>());
    const int startAt = indexOf(records, "zetaE7StartWriteImage", "board");
    EXPECT_LT(startAt, indexOf(records, "zetaE7WriteImageData", "board"));
    EXPECT_GT(indexOf(records, "zetaE7StopWriteImage", "board"),
              indexOf(records, "zetaE7WriteImageData", "board", startAt) + 9);
}

TEST_F(FirmwareTest, FileThatCannotBeReadIsRefusedBeforeConnecting) {
    const ProgramRun run = zetavoro({"firmware", "fw.bin"});
    EXPECT_EQ(run.exitStatus(), 2) << run.describe();
    const std::vector<std::string> lines = run.errLines();
    ASSERT_FALSE(lines.empty()) << run.describe();
    EXPECT_EQ(lines.front(),
              "zetavoro firmware: cannot read \"fw.bin\": No such file or directory");
    EXPECT_EQ(run.out(), "") << run.describe();
    EXPECT_TRUE(boardCalls().empty()) << run.describe();
}

}  // namespace
}  // namespace zeta::tools::test
