// Where the library's log and console lines go: files of --log-dir, or the terminal with
// --verbose.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "ZetavoroTest.h"

namespace zeta::tools::test {
namespace {

using VerboseTest = ZetavoroTest;

const char* const kConnectLine = "Connect device begin =====================================>";

std::string fileText(const std::filesystem::path& file) {
    std::ifstream in(file);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

TEST_F(VerboseTest, ConsoleLinesGoToTheLogFolderByDefault) {
    const ProgramRun run = zetavoro({"info"});
    ASSERT_EQ(run.exitStatus(), 0) << run.describe();
    EXPECT_EQ(run.out().find("Connect device begin"), std::string::npos) << run.describe();
    EXPECT_TRUE(errorsBesidesProgress(run).empty()) << run.describe();

    const std::filesystem::path console =
        logDir_ / ("zetavoro-" + std::to_string(run.pid()) + ".console.txt");
    ASSERT_TRUE(std::filesystem::exists(console)) << console;
    const std::vector<std::string> lines = splitLines(fileText(console));
    EXPECT_EQ(matching(lines, kConnectLine).size(), 1u) << fileText(console);

    // The library's log, under glog's name of the latest log.
    const std::filesystem::path log = logDir_ / "zetavoro.INFO";
    ASSERT_TRUE(std::filesystem::exists(log)) << log;
    EXPECT_NE(fileText(log).find("Success Connnect Device"), std::string::npos);
}

TEST_F(VerboseTest, VerboseShowsConsoleLinesOnStandardOutput) {
    const ProgramRun run = zetavoro({"info", "--verbose"});
    ASSERT_EQ(run.exitStatus(), 0) << run.describe();
    const std::vector<std::string> lines = run.outLines();
    EXPECT_EQ(matching(lines, kConnectLine).size(), 1u) << run.describe();
    EXPECT_EQ(matching(lines, "ConnectCamera: Camera_0 is ZV0001").size(), 1u) << run.describe();
    EXPECT_EQ(matching(lines,
                       "connected: mode STRIPE, board sim:board0, cameras ZV0001 ZV0002 "
                       "ZV0003")
                  .size(),
              1u)
        << run.describe();
}

TEST_F(VerboseTest, VerboseFailureHasNoDetailsLine) {
    const ProgramRun run = zetavoro({"info", "--verbose", "--board", "/dev/nothing"});
    EXPECT_EQ(run.exitStatus(), 1) << run.describe();
    const std::vector<std::string> lines = run.errLines();
    const std::vector<std::string> failure = matching(
        lines,
        "zetavoro info: ConnectDevice failed: Connect projector failed or projector is not "
        "connected \\(status 1\\)");
    ASSERT_EQ(failure.size(), 1u) << run.describe();
    EXPECT_TRUE(matching(lines, "  details: .*").empty()) << run.describe();
}

}  // namespace
}  // namespace zeta::tools::test
