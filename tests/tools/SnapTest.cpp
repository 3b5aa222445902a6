// zetavoro snap: single, RGB and group snapshots written as PNG files.
#include <gtest/gtest.h>

#include <filesystem>

#include "ZetavoroTest.h"

namespace zeta::tools::test {
namespace {

using SnapTest = ZetavoroTest;

void expectPng(const std::filesystem::path& file, int width, int height, int channels) {
    const PngImage image = readPng(file);
    ASSERT_TRUE(image.ok) << image.error;
    EXPECT_EQ(image.width, width) << file;
    EXPECT_EQ(image.height, height) << file;
    EXPECT_EQ(image.channels, channels) << file;
    EXPECT_EQ(image.bitDepth, 8) << file;
}

TEST_F(SnapTest, SingleImageOfCamera0GoesToOutByDefault) {
    const ProgramRun run = zetavoro({"snap"});
    ASSERT_EQ(run.exitStatus(), 0) << run.describe();
    EXPECT_EQ(run.outLines(), (std::vector<std::string>{"wrote " + shownPath("out/snap_cam0.png") +
                                                        " (64 x 48, mono)"}))
        << "one line per file\n"
        << run.describe();
    EXPECT_EQ(filesIn("out"), (std::vector<std::string>{"snap_cam0.png"}));
    expectPng(scratch_ / "out/snap_cam0.png", kWidth, kHeight, 1);
    EXPECT_TRUE(errorsBesidesProgress(run).empty()) << run.describe();

    // The image is camera 0's (ZV0001, the first camera of the rig): byte 5 of row 0 is the
    // camera's position in the rig file.
    const PngImage image = readPng(scratch_ / "out/snap_cam0.png");
    EXPECT_EQ(image.at(5, 0), 0);

    // The default pattern, white (the board's pattern 1), was shown before the snapshot.
    const std::vector<nlohmann::json> projections = recordsOf(journal(), "zetaProject", "board");
    ASSERT_FALSE(projections.empty()) << run.describe();
    // (Disconnecting darkens the projector afterwards.)
    EXPECT_EQ(projections.front()["args"], nlohmann::json::array({1}));
    EXPECT_TRUE(projections.front()["ok"].get<bool>());
}

TEST_F(SnapTest, SingleImageOfTheColourCameraIsRgbUnderThePattern) {
    // Pattern names are taken in any case.
    const ProgramRun run = zetavoro({"snap", "--index", "2", "--pattern", "RED", "--out", "shots"});
    ASSERT_EQ(run.exitStatus(), 0) << run.describe();
    EXPECT_EQ(
        run.outLines(),
        (std::vector<std::string>{"wrote " + shownPath("shots/snap_cam2.png") + " (64 x 48, RGB)"}))
        << run.describe();
    EXPECT_EQ(filesIn("shots"), (std::vector<std::string>{"snap_cam2.png"}));
    expectPng(scratch_ / "shots/snap_cam2.png", kWidth, kHeight, 3);

    // The projector showed flat red (the board's pattern 7) before the snapshot.
    const std::vector<nlohmann::json> records = journal();
    const std::vector<nlohmann::json> projections = recordsOf(records, "zetaProject", "board");
    ASSERT_FALSE(projections.empty()) << run.describe();
    EXPECT_EQ(projections.front()["args"], nlohmann::json::array({7}));
    EXPECT_TRUE(projections.front()["ok"].get<bool>());
}

TEST_F(SnapTest, RgbSnapOfAMonoCameraHasThreeChannels) {
    // Not "rgb": on a file system that ignores case (Windows) that would be the folder "RGB" the
    // library writes its diagnostic file of an RGB snap into when it exists.
    const ProgramRun run = zetavoro({"snap", "--rgb", "--out", "colour"});
    ASSERT_EQ(run.exitStatus(), 0) << run.describe();
    EXPECT_EQ(
        run.outLines(),
        (std::vector<std::string>{"wrote " + shownPath("colour/rgb_cam0.png") + " (64 x 48, RGB)"}))
        << run.describe();
    EXPECT_EQ(filesIn("colour"), (std::vector<std::string>{"rgb_cam0.png"}));
    expectPng(scratch_ / "colour/rgb_cam0.png", kWidth, kHeight, 3);
}

TEST_F(SnapTest, GroupSnapWritesOneGreyImagePerMonoCameraUnderThePattern) {
    const ProgramRun run = zetavoro({"snap", "--group", "--pattern", "speckle", "--out", "group"});
    ASSERT_EQ(run.exitStatus(), 0) << run.describe();
    const std::vector<std::string> lines = run.outLines();
    EXPECT_EQ(matching(lines,
                       "wrote " + shownPathPattern("group/group_cam0.png") + " \\(64 x 48, mono\\)")
                  .size(),
              1u)
        << run.describe();
    EXPECT_EQ(matching(lines,
                       "wrote " + shownPathPattern("group/group_cam1.png") + " \\(64 x 48, mono\\)")
                  .size(),
              1u)
        << run.describe();
    EXPECT_EQ(lines.size(), 2u) << "one line per file\n" << run.describe();
    EXPECT_EQ(filesIn("group"), (std::vector<std::string>{"group_cam0.png", "group_cam1.png"}));
    expectPng(scratch_ / "group/group_cam0.png", kWidth, kHeight, 1);
    expectPng(scratch_ / "group/group_cam1.png", kWidth, kHeight, 1);
    EXPECT_EQ(readPng(scratch_ / "group/group_cam0.png").at(5, 0), 0);
    EXPECT_EQ(readPng(scratch_ / "group/group_cam1.png").at(5, 0), 1);

    // The board was told to show speckle (the board's pattern 6) before the snapshots.
    const std::vector<nlohmann::json> projections = recordsOf(journal(), "zetaProject", "board");
    bool speckle = false;
    for (const nlohmann::json& record : projections) {
        if (record["args"] == nlohmann::json::array({6}) && record["ok"].get<bool>()) {
            speckle = true;
        }
    }
    EXPECT_TRUE(speckle) << "no zetaProject(6) in the journal; " << projections.size()
                         << " projections";
}

TEST_F(SnapTest, GroupSnapWithAColourCameraNamedFails) {
    const ProgramRun run =
        zetavoro({"snap", "--group", "--camera", "ZV0001", "--camera", "ZV0003"});
    EXPECT_EQ(run.exitStatus(), 1) << run.describe();
    EXPECT_EQ(run.errLines(),
              (std::vector<std::string>{
                  "zetavoro snap: SnapSingleGroupImages failed: Operate failed (status 0)",
                  "  a group snap takes mono cameras only, and ZV0003 is a colour camera; name the "
                  "mono cameras with --camera",
                  detailsLine(),
              }))
        << run.describe();
    EXPECT_TRUE(filesIn("out").empty()) << run.describe();
}

TEST_F(SnapTest, GroupAndRgbTogetherAreAUsageError) {
    const ProgramRun run = zetavoro({"snap", "--group", "--rgb"});
    EXPECT_EQ(run.exitStatus(), 2) << run.describe();
    EXPECT_NE(run.err(), "") << run.describe();
    EXPECT_FALSE(std::filesystem::exists(scratch_ / "out")) << run.describe();
    EXPECT_TRUE(boardCalls().empty()) << "a usage error connects to nothing";
}

TEST_F(SnapTest, UnknownPatternIsAUsageError) {
    const ProgramRun run = zetavoro({"snap", "--group", "--pattern", "plaid"});
    EXPECT_EQ(run.exitStatus(), 2) << run.describe();
    EXPECT_NE(run.err(), "") << run.describe();
    EXPECT_TRUE(boardCalls().empty()) << "a usage error connects to nothing";
}

TEST_F(SnapTest, IndexOutOfRangeReportsTheFailedOperation) {
    const ProgramRun run = zetavoro({"snap", "--index", "7"});
    EXPECT_EQ(run.exitStatus(), 1) << run.describe();
    const std::vector<std::string> lines = run.errLines();
    ASSERT_GE(lines.size(), 2u) << run.describe();
    std::vector<std::string> groups;
    ASSERT_TRUE(matches(lines.front(),
                        "zetavoro snap: SnapSingleImageFromSpecifyCamera failed: (.*) \\(status "
                        "([0-9]+)\\)",
                        &groups))
        << run.describe();
    const int status = std::stoi(groups[2]);
    EXPECT_NE(status, 7);
    EXPECT_EQ(groups[1], statusText(status));
    EXPECT_EQ(lines.back(), detailsLine()) << run.describe();
    EXPECT_TRUE(filesIn("out").empty()) << run.describe();
}

TEST_F(SnapTest, NoCameraOfTheTypeEndsWithStatus1) {
    const ProgramRun run = zetavoro({"snap", "--type", "QQ"});
    EXPECT_EQ(run.exitStatus(), 1) << run.describe();
    const std::vector<std::string> lines = run.errLines();
    ASSERT_FALSE(lines.empty()) << run.describe();
    EXPECT_EQ(lines.front(), "zetavoro snap: no cameras of type \"QQ\" are attached");
}

}  // namespace
}  // namespace zeta::tools::test
