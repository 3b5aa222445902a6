// zetavoro scan: stripe scans, their images, contact sheets and output lines.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <set>

#include "ZetavoroTest.h"

namespace zeta::tools::test {
namespace {

using ScanTest = ZetavoroTest;

std::string frameFile(int scan, int frame, int camera) {
    char name[64];
    std::snprintf(name, sizeof name, "scan%d_frame%02d_cam%d.png", scan, frame, camera);
    return name;
}

// The files of `scans` scans of two mono cameras with `frames` frames each, sorted by name.
std::vector<std::string> scanFiles(int scans, int frames) {
    std::set<std::string> names;
    for (int k = 1; k <= scans; ++k) {
        for (int f = 0; f < frames; ++f) {
            for (int c = 0; c < 2; ++c) names.insert(frameFile(k, f, c));
        }
        names.insert("scan" + std::to_string(k) + "_sheet.png");
    }
    return {names.begin(), names.end()};
}

// Checks the frames of one scan: size, camera (byte 5 of row 0 is the camera's rig position)
// and order (byte 4 is the frame's number in the stripe sequence: rising from file to file, the
// same for both cameras of one trigger pulse), and that the contact sheet holds each frame, at
// full size here, in column `camera` and row `frame`.
void expectScanImages(const std::filesystem::path& dir, int scan, int frames) {
    const PngImage sheet = readPng(dir / ("scan" + std::to_string(scan) + "_sheet.png"));
    ASSERT_TRUE(sheet.ok) << sheet.error;
    EXPECT_EQ(sheet.width, 2 * kWidth);
    EXPECT_EQ(sheet.height, frames * kHeight);
    int previous = -1;
    for (int f = 0; f < frames; ++f) {
        int number = -1;
        for (int c = 0; c < 2; ++c) {
            const std::filesystem::path file = dir / frameFile(scan, f, c);
            const PngImage image = readPng(file);
            ASSERT_TRUE(image.ok) << image.error;
            EXPECT_EQ(image.width, kWidth) << file;
            EXPECT_EQ(image.height, kHeight) << file;
            EXPECT_EQ(image.channels, 1) << file;
            EXPECT_EQ(image.at(5, 0), c) << file << ": not camera " << c << "'s frame";
            if (c == 0) {
                number = image.at(4, 0);
                EXPECT_GT(number, previous) << file << ": frames out of order";
                previous = number;
            } else {
                EXPECT_EQ(image.at(4, 0), number) << file << ": not the pulse of camera 0's frame";
            }
            if (sheet.ok && sheet.height == frames * kHeight) {
                int differing = 0;
                for (int y = 0; y < kHeight; ++y) {
                    for (int x = 0; x < kWidth; ++x) {
                        if (sheet.at(c * kWidth + x, f * kHeight + y) != image.at(x, y)) {
                            ++differing;
                        }
                    }
                }
                EXPECT_EQ(differing, 0)
                    << file << " is not the sheet's tile of column " << c << ", row " << f;
            }
        }
    }
}

TEST_F(ScanTest, DefaultScanWritesFifteenFramesPerMonoCameraAndASheet) {
    const ProgramRun run = zetavoro({"scan"});
    ASSERT_EQ(run.exitStatus(), 0) << run.describe();
    EXPECT_TRUE(errorsBesidesProgress(run).empty()) << run.describe();

    const std::vector<std::string> lines = run.outLines();
    ASSERT_EQ(lines.size(), 6u) << run.describe();
    EXPECT_EQ(lines[0], "connected: mode STRIPE, board sim:board0, cameras ZV0001 ZV0002 ZV0003");
    std::vector<std::string> scanLine;
    ASSERT_TRUE(matches(lines[1],
                        "scan 1: 30 frames in ([0-9]+\\.[0-9]{3}) s, ([0-9]+\\.[0-9]) "
                        "frames/s",
                        &scanLine))
        << run.describe();
    EXPECT_EQ(lines[2], "  camera 0 (ZV0001): 15 frames");
    EXPECT_EQ(lines[3], "  camera 1 (ZV0002): 15 frames");
    EXPECT_EQ(lines[4],
              "  wrote 30 images and " + shownPath("out/scan1_sheet.png") + " (128 x 720)");
    std::vector<std::string> summary;
    ASSERT_TRUE(matches(lines[5],
                        "summary: 1 scan, 15 frames per camera, mean scan time ([0-9]+\\.[0-9]{3}) "
                        "s, 31 files written to out",
                        &summary))
        << run.describe();

    // 16 stripe pulses 10 ms apart take at least 0.15 s; frames per second are 30 over the time.
    const double seconds = std::stod(scanLine[1]);
    const double rate = std::stod(scanLine[2]);
    EXPECT_GE(seconds, 0.14);
    EXPECT_LT(seconds, 20.0);
    EXPECT_NEAR(rate, 30.0 / seconds, 0.05 + 30.0 * 0.0006 / (seconds * seconds));
    EXPECT_EQ(summary[1], scanLine[1]) << "the mean of one scan is its time";

    EXPECT_EQ(filesIn("out"), scanFiles(1, 15));
    expectScanImages(scratch_ / "out", 1, 15);
}

TEST_F(ScanTest, TwoScansWriteTheFilesOfBoth) {
    const ProgramRun run = zetavoro({"scan", "--scans", "2", "--out", "two"});
    ASSERT_EQ(run.exitStatus(), 0) << run.describe();
    EXPECT_TRUE(errorsBesidesProgress(run).empty()) << run.describe();

    const std::vector<std::string> lines = run.outLines();
    ASSERT_EQ(lines.size(), 10u) << run.describe();
    EXPECT_EQ(lines[0], "connected: mode STRIPE, board sim:board0, cameras ZV0001 ZV0002 ZV0003");
    double total = 0.0;
    for (int k = 1; k <= 2; ++k) {
        const std::size_t at = 1 + 4 * static_cast<std::size_t>(k - 1);
        const std::string scan = std::to_string(k);
        std::vector<std::string> groups;
        EXPECT_TRUE(matches(
            lines[at],
            "scan " + scan + ": 30 frames in ([0-9]+\\.[0-9]{3}) s, [0-9]+\\.[0-9] frames/s",
            &groups))
            << run.describe();
        if (groups.size() == 2) total += std::stod(groups[1]);
        EXPECT_EQ(lines[at + 1], "  camera 0 (ZV0001): 15 frames");
        EXPECT_EQ(lines[at + 2], "  camera 1 (ZV0002): 15 frames");
        EXPECT_EQ(lines[at + 3], "  wrote 30 images and " +
                                     shownPath("two/scan" + scan + "_sheet.png") + " (128 x 720)");
    }
    std::vector<std::string> summary;
    ASSERT_TRUE(
        matches(lines[9],
                "summary: 2 scans, 15 frames per camera, mean scan time ([0-9]+\\.[0-9]{3}) "
                "s, 62 files written to two",
                &summary))
        << run.describe();
    EXPECT_NEAR(std::stod(summary[1]), total / 2, 0.0011) << "the mean of the two scan times";

    EXPECT_EQ(filesIn("two"), scanFiles(2, 15));
    expectScanImages(scratch_ / "two", 1, 15);
    expectScanImages(scratch_ / "two", 2, 15);

    // Both scans ran on the board.
    const std::vector<nlohmann::json> scans = recordsOf(journal(), "zetaScan", "board");
    ASSERT_EQ(scans.size(), 2u) << run.describe();
    for (const nlohmann::json& record : scans) {
        EXPECT_EQ(record["args"], nlohmann::json::array({0}));
        EXPECT_TRUE(record["ok"].get<bool>());
    }
}

TEST_F(ScanTest, JournalShowsTheStripeScanTraffic) {
    const ProgramRun run =
        zetavoro({"scan", "--period", "20", "--exposure", "3", "--out", "journaled"});
    ASSERT_EQ(run.exitStatus(), 0) << run.describe();
    const std::vector<nlohmann::json> records = journal();
    ASSERT_FALSE(records.empty()) << "no journal written to " << journalFile_;

    // The scan parameters: a stripe period of 20 ms and 15 frames.
    const std::vector<nlohmann::json> parameters =
        recordsOf(records, "zetaSetStripeScanParameter", "board");
    ASSERT_EQ(parameters.size(), 1u) << run.describe();
    EXPECT_EQ(parameters[0]["args"], nlohmann::json::array({20, 15}));
    EXPECT_TRUE(parameters[0]["ok"].get<bool>());

    // One stripe scan (scan type 0), after the parameters.
    const std::vector<nlohmann::json> scans = recordsOf(records, "zetaScan", "board");
    ASSERT_EQ(scans.size(), 1u) << run.describe();
    EXPECT_EQ(scans[0]["args"], nlohmann::json::array({0}));
    EXPECT_TRUE(scans[0]["ok"].get<bool>());
    const int scanAt = indexOf(records, "zetaScan", "board");
    EXPECT_LT(indexOf(records, "zetaSetStripeScanParameter", "board"), scanAt);

    // Before the scan both mono cameras were switched to triggered mode, and every camera got
    // the exposure of 3 ms.
    for (const std::string serial : {"ZV0001", "ZV0002"}) {
        bool triggered = false;
        for (int i = 0; i < scanAt; ++i) {
            const nlohmann::json& record = records[static_cast<std::size_t>(i)];
            if (record["dev"] == serial && record["op"] == "SetTriggerMode" &&
                record["args"].is_array() && !record["args"].empty() && record["args"][0] == 1 &&
                record["ok"].get<bool>()) {
                triggered = true;
            }
        }
        EXPECT_TRUE(triggered) << serial << " was not in triggered mode before the scan";
    }
    for (const std::string serial : {"ZV0001", "ZV0002", "ZV0003"}) {
        const std::vector<nlohmann::json> exposures = recordsOf(records, "SetExposureTime", serial);
        ASSERT_FALSE(exposures.empty()) << serial;
        EXPECT_EQ(exposures.back()["args"], nlohmann::json::array({3000})) << serial;
        EXPECT_TRUE(exposures.back()["ok"].get<bool>()) << serial;
    }
}

}  // namespace
}  // namespace zeta::tools::test
