// The errors on the way to a connection: each one's message, detail line and exit status.
#include <gtest/gtest.h>

#include <filesystem>

#include "ZetavoroTest.h"

namespace zeta::tools::test {
namespace {

using ConnectErrorTest = ZetavoroTest;

const char* const kModes =
    "LASER, CALIBRATE_E7, SPECKLE, SPECKLE_E7, STRIPE, E7STRIPE, STRIPESEQUENCE, SPECKLELASER, "
    "DPLASER";

TEST_F(ConnectErrorTest, RefusedBoardPath) {
    const ProgramRun run = zetavoro({"info", "--board", "/dev/nothing"});
    EXPECT_EQ(run.exitStatus(), 1) << run.describe();
    EXPECT_EQ(run.errLines(),
              (std::vector<std::string>{
                  "zetavoro info: ConnectDevice failed: Connect projector failed or projector is "
                  "not connected (status 1)",
                  "  the board path \"/dev/nothing\" was refused; the virtual scanner's board is "
                  "\"sim:board0\" unless the rig's board.paths says otherwise",
                  detailsLine(),
              }))
        << run.describe();
    EXPECT_EQ(run.out(), "") << run.describe();
    const std::vector<nlohmann::json> opens = recordsOf(journal(), "zetaInitHidDev", "board");
    ASSERT_FALSE(opens.empty()) << run.describe();
    EXPECT_EQ(opens.front()["args"], nlohmann::json::array({"/dev/nothing"}));
    EXPECT_FALSE(opens.front()["ok"].get<bool>());
}

TEST_F(ConnectErrorTest, ModeInTheWrongCaseIsUnknown) {
    const ProgramRun run = zetavoro({"scan", "--mode", "stripe"});
    EXPECT_EQ(run.exitStatus(), 1) << run.describe();
    EXPECT_EQ(run.errLines(),
              (std::vector<std::string>{
                  "zetavoro scan: ConnectDevice failed: The synchronism type which you input is "
                  "not supported (status 4)",
                  std::string("  unknown mode \"stripe\"; the modes are ") + kModes,
                  detailsLine(),
              }))
        << run.describe();
    EXPECT_EQ(run.out(), "") << run.describe();
    EXPECT_TRUE(recordsOf(journal(), "zetaInitHidDev").empty()) << "the board was opened";
    EXPECT_TRUE(recordsOf(journal(), "zetaScan").empty()) << "a scan was started";
}

TEST_F(ConnectErrorTest, UnknownMode) {
    const ProgramRun run = zetavoro({"info", "--mode", "FOO"});
    EXPECT_EQ(run.exitStatus(), 1) << run.describe();
    EXPECT_EQ(run.errLines(),
              (std::vector<std::string>{
                  "zetavoro info: ConnectDevice failed: The synchronism type which you input is "
                  "not supported (status 4)",
                  std::string("  unknown mode \"FOO\"; the modes are ") + kModes,
                  detailsLine(),
              }))
        << run.describe();
    EXPECT_EQ(run.out(), "") << run.describe();
}

TEST_F(ConnectErrorTest, ModeThisBuildDoesNotProvide) {
    const ProgramRun run = zetavoro({"info", "--mode", "SPECKLE"});
    EXPECT_EQ(run.exitStatus(), 1) << run.describe();
    EXPECT_EQ(run.errLines(),
              (std::vector<std::string>{
                  "zetavoro info: ConnectDevice failed: The synchronism type which you input is "
                  "not supported (status 4)",
                  "  the mode \"SPECKLE\" is not available in this build of the library",
                  detailsLine(),
              }))
        << run.describe();
}

TEST_F(ConnectErrorTest, MissingRigFileIsReportedBeforeAnyDeviceCall) {
    passRig_ = false;
    const ProgramRun run = zetavoro({"info", "--rig", "/nonexistent.json"});
    EXPECT_EQ(run.exitStatus(), 2) << run.describe();
    const std::vector<std::string> lines = run.errLines();
    ASSERT_FALSE(lines.empty()) << run.describe();
    EXPECT_EQ(lines.front(),
              "zetavoro info: cannot read the rig file \"/nonexistent.json\": No such file or "
              "directory")
        << run.describe();
    // The message alone, or followed by the details line of every failure.
    EXPECT_TRUE(lines.size() == 1 || (lines.size() == 2 && lines[1] == detailsLine()))
        << run.describe();
    EXPECT_EQ(run.out(), "") << run.describe();
    EXPECT_FALSE(std::filesystem::exists(journalFile_)) << "a device was called";
}

TEST_F(ConnectErrorTest, JournalFileThatCannotBeWritten) {
    passJournal_ = false;
    const ProgramRun run = zetavoro({"info", "--journal", "/nonexistent-dir/j.jsonl"});
    EXPECT_EQ(run.exitStatus(), 2) << run.describe();
    const std::vector<std::string> lines = run.errLines();
    ASSERT_FALSE(lines.empty()) << run.describe();
    EXPECT_EQ(lines.front(),
              "zetavoro info: cannot write the journal file \"/nonexistent-dir/j.jsonl\": No such "
              "file or directory")
        << run.describe();
    EXPECT_EQ(run.out(), "") << run.describe();
}

TEST_F(ConnectErrorTest, CameraThatCannotBeOpened) {
    // ZV0002 refuses every OpenCamera: the library's enumeration skips it, and connecting to it
    // fails.
    nlohmann::json rig = smallRig();
    rig["cameras"][1]["fail"] = {{"OpenCamera", -1}};
    useRig(rig);

    const ProgramRun run = zetavoro({"info", "--camera", "ZV0001", "--camera", "ZV0002"});
    EXPECT_EQ(run.exitStatus(), 1) << run.describe();
    EXPECT_EQ(run.errLines(),
              (std::vector<std::string>{
                  "zetavoro info: ConnectDevice failed: Connect camera(s) failed or camera(s) "
                  "is(are) not connected (status 2)",
                  "  cameras asked for: ZV0001, ZV0002; attached cameras of type ZV: ZV0001, "
                  "ZV0003",
                  detailsLine(),
              }))
        << run.describe();
    EXPECT_EQ(run.out(), "") << run.describe();
    bool refused = false;
    for (const nlohmann::json& record : recordsOf(journal(), "OpenCamera")) {
        if (record["dev"] == "ZV0002" && !record["ok"].get<bool>()) refused = true;
    }
    EXPECT_TRUE(refused) << "ZV0002 was never refused";
}

TEST_F(ConnectErrorTest, CameraThatIsNotAttached) {
    const ProgramRun run = zetavoro({"scan", "--camera", "ZV9999"});
    EXPECT_EQ(run.exitStatus(), 1) << run.describe();
    EXPECT_EQ(run.errLines(),
              (std::vector<std::string>{
                  "zetavoro scan: ConnectDevice failed: Connect camera(s) failed or camera(s) "
                  "is(are) not connected (status 2)",
                  "  cameras asked for: ZV9999; attached cameras of type ZV: ZV0001, ZV0002, "
                  "ZV0003",
                  detailsLine(),
              }))
        << run.describe();
    EXPECT_EQ(run.out(), "") << run.describe();
    EXPECT_TRUE(recordsOf(journal(), "zetaScan").empty()) << "a scan was started";
}

TEST_F(ConnectErrorTest, UnknownOptionIsAUsageError) {
    const ProgramRun run = zetavoro({"info", "--bogus"});
    EXPECT_EQ(run.exitStatus(), 2) << run.describe();
    EXPECT_NE(run.err(), "") << run.describe();
    EXPECT_TRUE(boardCalls().empty()) << run.describe();
}

}  // namespace
}  // namespace zeta::tools::test
