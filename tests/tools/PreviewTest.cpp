// zetavoro preview: live streaming of every camera, its live lines, totals and last frames.
#include <gtest/gtest.h>

#include "ZetavoroTest.h"

namespace zeta::tools::test {
namespace {

using PreviewTest = ZetavoroTest;

TEST_F(PreviewTest, StreamsEveryCameraAndSavesItsLastFrame) {
    const ProgramRun run = zetavoro({"preview", "--seconds", "2", "--period", "50"});
    ASSERT_EQ(run.exitStatus(), 0) << run.describe();
    const std::vector<std::string> lines = run.outLines();

    // One live line per second, each with every camera's rate over that second.
    const std::string rate = "([0-9]+\\.[0-9]) fps, ([0-9]+) dropped";
    const std::string live =
        "  ([0-9]+\\.[0-9]) s  camera 0: " + rate + "  camera 1: " + rate + "  camera 2: " + rate;
    const std::vector<std::string> liveLines = matching(lines, live);
    ASSERT_EQ(liveLines.size(), 2u) << run.describe();
    for (std::size_t i = 0; i < liveLines.size(); ++i) {
        std::vector<std::string> groups;
        ASSERT_TRUE(matches(liveLines[i], live, &groups));
        EXPECT_NEAR(std::stod(groups[1]), static_cast<double>(i + 1), 0.5) << liveLines[i];
        for (int c = 0; c < 3; ++c) {
            // 20 pulses a second; a loaded machine may deliver fewer, never many more.
            const double fps = std::stod(groups[2 + 2 * c]);
            EXPECT_LE(fps, 25.0) << liveLines[i];
        }
    }

    std::vector<std::string> total;
    ASSERT_EQ(matching(lines, "preview: ([0-9]+\\.[0-9]) s").size(), 1u) << run.describe();
    ASSERT_TRUE(matches(matching(lines, "preview: ([0-9]+\\.[0-9]) s")[0],
                        "preview: ([0-9]+\\.[0-9]) s", &total));
    const double seconds = std::stod(total[1]);
    EXPECT_GE(seconds, 1.9);
    EXPECT_LE(seconds, 4.0);

    const char* serials[] = {"ZV0001", "ZV0002", "ZV0003"};
    for (int c = 0; c < 3; ++c) {
        const std::string pattern = "  camera " + std::to_string(c) + " \\(" + serials[c] +
                                    "\\): ([0-9]+) frames, ([0-9]+\\.[0-9]) frames/s, ([0-9]+) "
                                    "dropped";
        const std::vector<std::string> found = matching(lines, pattern);
        ASSERT_EQ(found.size(), 1u) << "camera " << c << "\n" << run.describe();
        std::vector<std::string> groups;
        ASSERT_TRUE(matches(found[0], pattern, &groups));
        // Two seconds at one pulse every 50 ms: about 40 frames, fewer on a loaded machine.
        const int frames = std::stoi(groups[1]);
        EXPECT_GE(frames, 8) << found[0];
        EXPECT_LE(frames, 45) << found[0];
        const double fps = std::stod(groups[2]);
        EXPECT_NEAR(fps, frames / seconds, 0.15 + 0.05 * fps) << found[0];
    }

    EXPECT_EQ(matching(lines,
                       "wrote " + shownPathPattern("out/preview_cam0.png") + " \\(64 x 48, mono\\)")
                  .size(),
              1u)
        << run.describe();
    EXPECT_EQ(matching(lines,
                       "wrote " + shownPathPattern("out/preview_cam1.png") + " \\(64 x 48, mono\\)")
                  .size(),
              1u)
        << run.describe();
    EXPECT_EQ(
        matching(lines, "wrote " + shownPathPattern("out/preview_cam2.png") + " \\(64 x 48, RGB\\)")
            .size(),
        1u)
        << run.describe();
    EXPECT_EQ(filesIn("out"), (std::vector<std::string>{"preview_cam0.png", "preview_cam1.png",
                                                        "preview_cam2.png"}));
    const int channels[] = {1, 1, 3};
    for (int c = 0; c < 3; ++c) {
        const PngImage image =
            readPng(scratch_ / "out" / ("preview_cam" + std::to_string(c) + ".png"));
        ASSERT_TRUE(image.ok) << image.error;
        EXPECT_EQ(image.width, kWidth);
        EXPECT_EQ(image.height, kHeight);
        EXPECT_EQ(image.channels, channels[c]) << "camera " << c;
    }

    // Every camera was switched to triggered mode and both routes were triggered at 50 ms.
    const std::vector<nlohmann::json> records = journal();
    for (const std::string serial : {"ZV0001", "ZV0002", "ZV0003"}) {
        bool triggered = false;
        for (const nlohmann::json& record : recordsOf(records, "SetTriggerMode", serial)) {
            if (record["args"][0] == 1 && record["ok"].get<bool>()) triggered = true;
        }
        EXPECT_TRUE(triggered) << serial;
    }
    bool period = false;
    for (const nlohmann::json& record : recordsOf(records, "zetaSetVideoTriggerPeriod", "board")) {
        if (record["args"].size() == 2 && record["args"][1] == 50 && record["ok"].get<bool>()) {
            period = true;
        }
    }
    EXPECT_TRUE(period) << "no trigger period of 50 ms was set";
}

TEST_F(PreviewTest, CameraWithoutFramesEndsWithStatus1) {
    // ZV0002 loses every frame it exposes.
    nlohmann::json rig = smallRig();
    rig["cameras"][1]["frames"] = {{"drop", {{"skip", 0}, {"times", -1}}}};
    useRig(rig);

    const ProgramRun run = zetavoro({"preview", "--seconds", "1", "--period", "50"});
    EXPECT_EQ(run.exitStatus(), 1) << run.describe();
    const std::vector<std::string> lines = run.errLines();
    EXPECT_EQ(matching(lines, "zetavoro preview: camera 1 \\(ZV0002\\) delivered no frames").size(),
              1u)
        << run.describe();
}

}  // namespace
}  // namespace zeta::tools::test
