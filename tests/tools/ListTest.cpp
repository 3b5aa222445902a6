// zetavoro list: the attached cameras of a type, without connecting to anything.
#include <gtest/gtest.h>

#include "ZetavoroTest.h"

namespace zeta::tools::test {
namespace {

using ListTest = ZetavoroTest;

TEST_F(ListTest, ListsEveryCameraOfTheSmallRig) {
    const ProgramRun run = zetavoro({"list"});
    ASSERT_EQ(run.exitStatus(), 0) << run.describe();
    EXPECT_EQ(run.outLines(), (std::vector<std::string>{
                                  "cameras of type ZV: 3",
                                  "  ZV0001  64 x 48  mono",
                                  "  ZV0002  64 x 48  mono",
                                  "  ZV0003  64 x 48  colour",
                              }))
        << run.describe();
    EXPECT_TRUE(errorsBesidesProgress(run).empty()) << run.describe();
    // list connects to nothing: the board is never opened.
    EXPECT_TRUE(boardCalls().empty()) << run.describe();
    EXPECT_FALSE(recordsOf(journal(), "OpenCamera").empty())
        << "the cameras were enumerated through the journaled camera library";
}

TEST_F(ListTest, ListsTheBuiltInRigWithoutRigFile) {
    passRig_ = false;
    const ProgramRun run = zetavoro({"list"});
    ASSERT_EQ(run.exitStatus(), 0) << run.describe();
    EXPECT_EQ(run.outLines(), (std::vector<std::string>{
                                  "cameras of type ZV: 3",
                                  "  ZV0001  1280 x 1024  mono",
                                  "  ZV0002  1280 x 1024  mono",
                                  "  ZV0003  1280 x 1024  colour",
                              }))
        << run.describe();
    EXPECT_TRUE(errorsBesidesProgress(run).empty()) << run.describe();
}

TEST_F(ListTest, CameraOptionListsOnlyTheNamedCameras) {
    {
        const ProgramRun run = zetavoro({"list", "--camera", "ZV0002"});
        ASSERT_EQ(run.exitStatus(), 0) << run.describe();
        EXPECT_EQ(run.outLines(), (std::vector<std::string>{
                                      "cameras of type ZV: 1",
                                      "  ZV0002  64 x 48  mono",
                                  }))
            << run.describe();
    }
    {
        const ProgramRun run = zetavoro({"list", "--camera", "ZV0001", "--camera", "ZV0003"});
        ASSERT_EQ(run.exitStatus(), 0) << run.describe();
        EXPECT_EQ(run.outLines(), (std::vector<std::string>{
                                      "cameras of type ZV: 2",
                                      "  ZV0001  64 x 48  mono",
                                      "  ZV0003  64 x 48  colour",
                                  }))
            << run.describe();
    }
}

TEST_F(ListTest, TypeOptionSelectsTheCamerasOfThatType) {
    nlohmann::json rig = smallRig();
    nlohmann::json other = rigCamera("XY0042");
    other["type"] = "XY";
    other["width"] = 32;
    other["height"] = 24;
    rig["cameras"].push_back(other);
    useRig(rig);

    const ProgramRun run = zetavoro({"list", "--type", "XY"});
    ASSERT_EQ(run.exitStatus(), 0) << run.describe();
    EXPECT_EQ(run.outLines(), (std::vector<std::string>{
                                  "cameras of type XY: 1",
                                  "  XY0042  32 x 24  mono",
                              }))
        << run.describe();
}

TEST_F(ListTest, UnpluggedCameraIsNotListed) {
    nlohmann::json rig = smallRig();
    rig["cameras"][1]["present"] = false;
    useRig(rig);

    const ProgramRun run = zetavoro({"list"});
    ASSERT_EQ(run.exitStatus(), 0) << run.describe();
    EXPECT_EQ(run.outLines(), (std::vector<std::string>{
                                  "cameras of type ZV: 2",
                                  "  ZV0001  64 x 48  mono",
                                  "  ZV0003  64 x 48  colour",
                              }))
        << run.describe();
}

TEST_F(ListTest, CameraThatIsNotAttachedEndsWithStatus1) {
    const ProgramRun run = zetavoro({"list", "--camera", "ZV9999"});
    EXPECT_EQ(run.exitStatus(), 1) << run.describe();
    const std::vector<std::string> lines = run.errLines();
    ASSERT_FALSE(lines.empty()) << run.describe();
    EXPECT_EQ(lines.front(),
              "zetavoro list: camera \"ZV9999\" is not attached; attached cameras of type ZV: "
              "ZV0001, ZV0002, ZV0003")
        << run.describe();
    EXPECT_EQ(run.out(), "") << run.describe();
}

TEST_F(ListTest, ModeAndBoardAreAcceptedAndUnused) {
    const ProgramRun run = zetavoro({"list", "--mode", "FOO", "--board", "/dev/nothing"});
    ASSERT_EQ(run.exitStatus(), 0) << run.describe();
    EXPECT_EQ(run.outLines().size(), 4u) << run.describe();
    EXPECT_TRUE(boardCalls().empty()) << run.describe();
}

}  // namespace
}  // namespace zeta::tools::test
