// The command line itself: help texts, usage errors and the options every subcommand takes.
#include <gtest/gtest.h>

#include "ZetavoroTest.h"

namespace zeta::tools::test {
namespace {

using UsageTest = ZetavoroTest;

TEST_F(UsageTest, HelpNamesEverySubcommand) {
    const ProgramRun run = zetavoroAsIs({"--help"});
    ASSERT_EQ(run.exitStatus(), 0) << run.describe();
    for (const char* subcommand :
         {"list", "info", "snap", "scan", "preview", "status", "firmware"}) {
        EXPECT_NE(run.out().find(subcommand), std::string::npos) << subcommand;
    }
}

TEST_F(UsageTest, EachSubcommandsHelpNamesItsOptions) {
    const std::vector<std::string> common = {"--mode", "--board",   "--camera",  "--type",
                                             "--rig",  "--journal", "--log-dir", "--verbose"};
    const std::vector<std::pair<std::string, std::vector<std::string>>> own = {
        {"list", {}},
        {"info", {}},
        {"snap", {"--index", "--group", "--rgb", "--pattern", "--out"}},
        {"scan", {"--scans", "--period", "--exposure", "--out"}},
        {"preview", {"--seconds", "--period", "--out"}},
        {"status", {"--seconds"}},
        {"firmware", {}},
    };
    for (const auto& [subcommand, options] : own) {
        const ProgramRun run = zetavoroAsIs({subcommand, "--help"});
        ASSERT_EQ(run.exitStatus(), 0) << run.describe();
        for (const std::vector<std::string>* list : {&common, &options}) {
            for (const std::string& option : *list) {
                EXPECT_NE(run.out().find(option), std::string::npos)
                    << subcommand << " --help does not name " << option;
            }
        }
    }
}

TEST_F(UsageTest, NoSubcommandIsAUsageError) {
    const ProgramRun run = zetavoroAsIs({});
    EXPECT_EQ(run.exitStatus(), 2) << run.describe();
    EXPECT_NE(run.err(), "") << run.describe();
}

TEST_F(UsageTest, UnknownSubcommandIsAUsageError) {
    const ProgramRun run = zetavoroAsIs({"calibrate"});
    EXPECT_EQ(run.exitStatus(), 2) << run.describe();
    EXPECT_NE(run.err(), "") << run.describe();
}

TEST_F(UsageTest, JournalIsAppendedTo) {
    ASSERT_EQ(zetavoro({"list"}).exitStatus(), 0);
    const std::size_t first = journal().size();
    ASSERT_GT(first, 0u) << "no journal written to " << journalFile_;
    ASSERT_EQ(zetavoro({"list"}).exitStatus(), 0);
    const std::vector<nlohmann::json> records = journal();
    EXPECT_EQ(records.size(), 2 * first);
    // Each process numbers its calls from 1.
    int starts = 0;
    for (const nlohmann::json& record : records) {
        if (record.value("n", 0) == 1) ++starts;
    }
    EXPECT_EQ(starts, 2);
}

}  // namespace
}  // namespace zeta::tools::test
