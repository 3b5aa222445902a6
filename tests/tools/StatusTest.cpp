// zetavoro status: the board's status reports, printed as they come.
#include <gtest/gtest.h>

#include "ZetavoroTest.h"

namespace zeta::tools::test {
namespace {

using StatusTest = ZetavoroTest;

const char* const kReportTime = "  ([0-9]+\\.[0-9]{2}) s  ";

// Checks the report lines (`report` after the time) and the count line; returns the reports.
std::vector<std::string> expectReports(const ProgramRun& run, const std::string& report) {
    const std::vector<std::string> lines = run.outLines();
    const std::vector<std::string> reports = matching(lines, kReportTime + report);
    EXPECT_GE(reports.size(), 3u) << run.describe();
    // Reports come in order of time; the first may come at once.
    double previous = -1.0;
    for (const std::string& line : reports) {
        std::vector<std::string> groups;
        EXPECT_TRUE(matches(line, kReportTime + report, &groups));
        const double at = std::stod(groups[1]);
        EXPECT_GT(at, previous) << line;
        EXPECT_LE(at, 3.0) << line;
        previous = at;
    }
    if (lines.empty()) {
        ADD_FAILURE() << run.describe();
        return reports;
    }
    std::vector<std::string> count;
    EXPECT_TRUE(matches(lines.back(), "status: ([0-9]+) reports in ([0-9]+\\.[0-9]) s", &count))
        << run.describe();
    if (count.size() == 3) {
        EXPECT_EQ(std::stoul(count[1]), reports.size()) << run.describe();
        EXPECT_NEAR(std::stod(count[2]), 1.0, 0.5) << run.describe();
    }
    return reports;
}

TEST_F(StatusTest, PrintsEveryReportForTheGivenSeconds) {
    const ProgramRun run = zetavoro({"status", "--seconds", "1"});
    ASSERT_EQ(run.exitStatus(), 0) << run.describe();
    expectReports(run, "second status 0  two-bit state 0  three-bit state 0  flag true");
    // Nothing else is printed but the connection line, the reports and the count line.
    for (const std::string& line : run.outLines()) {
        EXPECT_TRUE(matches(line, "connected: .*") ||
                    matches(line, kReportTime + std::string(".*")) || matches(line, "status: .*"))
            << line;
    }
    EXPECT_FALSE(recordsOf(journal(), "zetaQueryCurrentStatus", "board").empty());
}

TEST_F(StatusTest, ShowsTheBoardsStatusBytes) {
    // second 5; state 0x25: the two-bit state (bits 4-5) is 2, the three-bit state (bits 0-2) 5.
    nlohmann::json rig = smallRig();
    rig["board"]["status"] = {{"first", 0}, {"second", 5}, {"state", 0x25}, {"flag", false}};
    useRig(rig);

    const ProgramRun run = zetavoro({"status", "--seconds", "1"});
    ASSERT_EQ(run.exitStatus(), 0) << run.describe();
    expectReports(run, "second status 5  two-bit state 2  three-bit state 5  flag false");
}

TEST_F(StatusTest, UnreadableBoardIsReportedAsSuch) {
    nlohmann::json rig = smallRig();
    rig["board"]["fail"] = {{"zetaQueryCurrentStatus", -1}};
    useRig(rig);

    const ProgramRun run = zetavoro({"status", "--seconds", "1"});
    EXPECT_EQ(run.exitStatus(), 0) << run.describe();
    expectReports(run, "board could not be read");
}

}  // namespace
}  // namespace zeta::tools::test
