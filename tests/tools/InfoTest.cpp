// zetavoro info: connects and prints the firmware version, the cameras and both trigger routes.
#include <gtest/gtest.h>

#include "ZetavoroTest.h"

namespace zeta::tools::test {
namespace {

using InfoTest = ZetavoroTest;

TEST_F(InfoTest, PrintsFirmwareCamerasAndTriggersOfTheSmallRig) {
    const ProgramRun run = zetavoro({"info"});
    ASSERT_EQ(run.exitStatus(), 0) << run.describe();
    EXPECT_EQ(run.outLines(), (std::vector<std::string>{
                                  "connected: mode STRIPE, board sim:board0, cameras ZV0001 "
                                  "ZV0002 ZV0003",
                                  "firmware: ZV-TEST 7",
                                  "cameras: 3",
                                  "  0  ZV0001  64 x 48  mono    channels 1",
                                  "  1  ZV0002  64 x 48  mono    channels 1",
                                  "  2  ZV0003  64 x 48  colour  channels 3",
                                  "triggers:",
                                  "  mono    period 10 ms  pulse width 1 ms  polarity 0",
                                  "  colour  period 10 ms  pulse width 1 ms  polarity 0",
                              }))
        << run.describe();
    EXPECT_TRUE(errorsBesidesProgress(run).empty()) << run.describe();

    const std::vector<nlohmann::json> records = journal();
    const std::vector<nlohmann::json> opens = recordsOf(records, "zetaInitHidDev", "board");
    ASSERT_FALSE(opens.empty()) << run.describe();
    EXPECT_EQ(opens.front()["args"], nlohmann::json::array({"sim:board0"}));
    EXPECT_TRUE(opens.front()["ok"].get<bool>());
    const std::vector<nlohmann::json> versions =
        recordsOf(records, "zetaQueryProjectorFirewareVersion", "board");
    ASSERT_FALSE(versions.empty()) << "the firmware version comes from the board";
    EXPECT_TRUE(versions.back()["ok"].get<bool>());
    // The program disconnects before it ends: the board handle is closed.
    EXPECT_FALSE(recordsOf(records, "zetaExitHidDev", "board").empty()) << run.describe();
}

TEST_F(InfoTest, CameraIndicesFollowTheCameraOptionOrder) {
    const ProgramRun run = zetavoro({"info", "--camera", "ZV0003", "--camera", "ZV0001"});
    ASSERT_EQ(run.exitStatus(), 0) << run.describe();
    const std::vector<std::string> lines = run.outLines();
    ASSERT_GE(lines.size(), 5u) << run.describe();
    EXPECT_EQ(lines[0], "connected: mode STRIPE, board sim:board0, cameras ZV0003 ZV0001");
    EXPECT_EQ(lines[2], "cameras: 2");
    EXPECT_EQ(lines[3], "  0  ZV0003  64 x 48  colour  channels 3");
    EXPECT_EQ(lines[4], "  1  ZV0001  64 x 48  mono    channels 1");
}

TEST_F(InfoTest, BoardPathFromTheRigIsUsedWithBoardOption) {
    nlohmann::json rig = smallRig();
    rig["board"]["paths"] = {"/dev/hidraw3"};
    useRig(rig);

    const ProgramRun run = zetavoro({"info", "--board", "/dev/hidraw3"});
    ASSERT_EQ(run.exitStatus(), 0) << run.describe();
    const std::vector<std::string> lines = run.outLines();
    ASSERT_FALSE(lines.empty()) << run.describe();
    EXPECT_EQ(lines[0], "connected: mode STRIPE, board /dev/hidraw3, cameras ZV0001 ZV0002 ZV0003");
}

}  // namespace
}  // namespace zeta::tools::test
