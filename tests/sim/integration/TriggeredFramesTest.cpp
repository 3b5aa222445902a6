// The board's triggers reaching the cameras, seen through the device libraries as a host sees them.
#include <gtest/gtest.h>

#include <chrono>
#include <numeric>
#include <set>

#include "ScannerHarness.h"
#include "SimTestSupport.h"

namespace zeta::sim::test {
namespace {

using namespace zetaVoroDLPdev;

std::string mono(const std::string& serial) {
    return R"({"serial": ")" + serial + R"(", "width": 64, "height": 48, "format": 1})";
}
std::string colour(const std::string& serial) {
    return R"({"serial": ")" + serial + R"(", "width": 64, "height": 48, "format": 17})";
}

double meanOf(const Frame& frame) {
    const double sum = std::accumulate(frame.pixels.begin(), frame.pixels.end(), 0.0);
    return sum / static_cast<double>(frame.pixels.size());
}

TEST(TriggeredFrames, VideoTriggerPeriodGivesFramesAtThatPeriod) {
    useRig(rigWithCameras({mono("M1")}));
    ScannerHarness scanner;
    ASSERT_TRUE(scanner.open({"M1"}, true));
    const int period = 10;
    ASSERT_TRUE(zetaSetVideoTriggerPeriod(scanner.board, TRIGGER_ROUTE_MONO, period));
    ASSERT_TRUE(zetaStartOrStopVideoTrigger(scanner.board, TRIGGER_ROUTE_MONO, true));
    Frame frame;
    ASSERT_TRUE(scanner.snap(0, frame));  // the first pulse starts the count
    const std::uint64_t first = frame.stamp;
    std::uint64_t last = first;
    int frames = 0;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    while (std::chrono::steady_clock::now() < end) {
        if (scanner.snap(0, frame)) {
            ++frames;
            last = frame.stamp;
        }
    }
    ASSERT_TRUE(zetaStartOrStopVideoTrigger(scanner.board, TRIGGER_ROUTE_MONO, false));
    EXPECT_GE(frames, 90);
    EXPECT_LE(frames, 110);
    ASSERT_GT(frames, 0);
    const double meanInterval = static_cast<double>(last - first) / frames;
    EXPECT_NEAR(meanInterval, period * 1000.0, period * 100.0);  // within 10 %
}

TEST(TriggeredFrames, CamerasOfOnePulseCarryEqualStamps) {
    useRig(rigWithCameras({mono("M1"), mono("M2"), colour("C1")}));
    ScannerHarness scanner;
    ASSERT_TRUE(scanner.open({"M1", "M2", "C1"}, true));
    ASSERT_TRUE(zetaOutputSingleTrigger(scanner.board, TRIGGER_ROUTE_BOTH));
    Frame a, b, c;
    ASSERT_TRUE(scanner.snap(0, a));
    ASSERT_TRUE(scanner.snap(1, b));
    ASSERT_TRUE(scanner.snap(2, c));
    EXPECT_EQ(a.stamp, b.stamp);
    EXPECT_EQ(a.stamp, c.stamp);
    // A second pulse carries a later stamp.
    ASSERT_TRUE(zetaOutputSingleTrigger(scanner.board, TRIGGER_ROUTE_MONO));
    ASSERT_TRUE(scanner.snap(0, b));
    EXPECT_GT(b.stamp, a.stamp);
}

TEST(TriggeredFrames, ACameraSeesOnlyItsOwnRoute) {
    useRig(rigWithCameras({mono("M1"), colour("C1")}));
    ScannerHarness scanner;
    ASSERT_TRUE(scanner.open({"M1", "C1"}, true));
    ASSERT_TRUE(zetaOutputSingleTrigger(scanner.board, TRIGGER_ROUTE_COLOR));
    Frame frame;
    EXPECT_TRUE(scanner.snap(1, frame));
    EXPECT_FALSE(scanner.snap(0, frame));  // the mono camera times out
    ASSERT_TRUE(zetaOutputSingleTrigger(scanner.board, TRIGGER_ROUTE_MONO));
    EXPECT_TRUE(scanner.snap(0, frame));
    EXPECT_FALSE(scanner.snap(1, frame));
}

TEST(TriggeredFrames, StripeScanGivesSixteenNumberedFramesPerCamera) {
    useRig(rigWithCameras({mono("M1"), mono("M2")}));
    ScannerHarness scanner;
    ASSERT_TRUE(scanner.open({"M1", "M2"}, true));
    ASSERT_TRUE(zetaSetStripeScanParameter(scanner.board, 5, 0));
    ASSERT_TRUE(zetaScan(scanner.board, SCAN_STRIPE));
    std::vector<std::uint64_t> stamps;
    for (int k = 0; k < 16; ++k) {
        Frame a, b;
        ASSERT_TRUE(scanner.snap(0, a)) << "frame " << k;
        ASSERT_TRUE(scanner.snap(1, b)) << "frame " << k;
        EXPECT_EQ(a.pixels[4], k);
        EXPECT_EQ(b.pixels[4], k);
        EXPECT_EQ(a.stamp, b.stamp);
        stamps.push_back(a.stamp);
    }
    Frame extra;
    EXPECT_FALSE(scanner.snap(0, extra));  // one sequence only
    EXPECT_TRUE(std::is_sorted(stamps.begin(), stamps.end()));
    EXPECT_EQ(std::set<std::uint64_t>(stamps.begin(), stamps.end()).size(), 16u);
}

TEST(TriggeredFrames, AMultiSensorCameraNumbersEverySensorImage) {
    useRig(rigWithCameras(
        {R"({"serial": "D1", "width": 32, "height": 16, "format": 1, "sensors": 2})"}));
    ScannerHarness scanner;
    ASSERT_TRUE(scanner.open({"D1"}, true));
    ASSERT_TRUE(zetaSetStripeScanParameter(scanner.board, 5, 0));
    ASSERT_TRUE(zetaScan(scanner.board, SCAN_STRIPE));
    for (int k = 0; k < 16; ++k) {
        Frame frame;
        ASSERT_TRUE(scanner.snap(0, frame)) << "frame " << k;
        ASSERT_EQ(frame.width, 64);
        EXPECT_EQ(frame.pixels[4], k);       // sensor 0
        EXPECT_EQ(frame.pixels[32 + 4], k);  // sensor 1 starts at column 32 of row 0
        if (k == 3) {
            std::vector<unsigned char*> planes;
            std::vector<int> widths, heights;
            std::vector<zetaCamera::SN_IMG_FORMAT> formats;
            std::vector<unsigned char> whole(frame.pixels);
            whole.resize(whole.size() + 8);
            ASSERT_TRUE(zetaCamera::SplitImage(scanner.cameras[0], planes, widths, heights, formats,
                                               whole.data()));
            ASSERT_EQ(planes.size(), 2u);
            EXPECT_EQ(widths, (std::vector<int>{32, 32}));
            EXPECT_EQ(heights, (std::vector<int>{16, 16}));
            for (int s = 0; s < 2; ++s) {
                EXPECT_EQ(planes[s][4], 3);
                for (int row = 0; row < 16; ++row) {
                    EXPECT_EQ(0, std::memcmp(planes[s] + row * 32,
                                             frame.pixels.data() + row * 64 + s * 32, 32))
                        << "sensor " << s << " row " << row;
                }
                std::free(planes[s]);
            }
        }
    }
}

TEST(TriggeredFrames, E7BurstWithTextureAddsOneColourFrame) {
    useRig(rigWithCameras({mono("M1"), colour("C1")}));
    ScannerHarness scanner;
    ASSERT_TRUE(scanner.open({"M1", "C1"}, true));
    ASSERT_TRUE(zetaSetStripeScanParameter(scanner.board, 5, 0));
    // Deshake, texture (the no-texture bit clear).
    ASSERT_TRUE(zetaE7StartScanMode(scanner.board, E7_SCAN_BURST, E7_INNER_DESHAKE));
    for (int k = 0; k < 18; ++k) {
        Frame frame;
        ASSERT_TRUE(scanner.snap(0, frame)) << "frame " << k;
        EXPECT_EQ(frame.pixels[4], k);
    }
    Frame colourFrame;
    ASSERT_TRUE(scanner.snap(1, colourFrame));
    EXPECT_FALSE(scanner.snap(1, colourFrame));
    Frame none;
    EXPECT_FALSE(scanner.snap(0, none));
    // Without texture: 17 mono frames and no colour frame.
    ASSERT_TRUE(zetaE7StartScanMode(scanner.board, E7_SCAN_BURST, E7_INNER_NO_TEXTURE));
    for (int k = 0; k < 17; ++k) ASSERT_TRUE(scanner.snap(0, none)) << "frame " << k;
    EXPECT_FALSE(scanner.snap(0, none));
    EXPECT_FALSE(scanner.snap(1, colourFrame));
}

TEST(TriggeredFrames, SequenceScanRestartsItsNumbering) {
    useRig(rigWithCameras({mono("M1")}, R"("sequenceLength": 5)"));
    ScannerHarness scanner;
    ASSERT_TRUE(scanner.open({"M1"}, true));
    ASSERT_TRUE(zetaSetStripeScanParameter(scanner.board, 5, 0));
    ASSERT_TRUE(zetaScan(scanner.board, SCAN_SEQUENCE_START));
    std::vector<int> numbers;
    for (int k = 0; k < 12; ++k) {
        Frame frame;
        ASSERT_TRUE(scanner.snap(0, frame));
        numbers.push_back(frame.pixels[4]);
    }
    ASSERT_TRUE(zetaScan(scanner.board, SCAN_SEQUENCE_STOP));
    EXPECT_EQ(numbers, (std::vector<int>{0, 1, 2, 3, 4, 0, 1, 2, 3, 4, 0, 1}));
}

TEST(TriggeredFrames, RenumberedAndDroppedFramesShowInTheSequence) {
    useRig(rigWithCameras({mono("M1")}, R"("sequenceLength": 6)"));
    ASSERT_TRUE(renumberFrames("M1", 9, 1, 2));
    ASSERT_TRUE(dropFrames("M1", 1, 4));
    ScannerHarness scanner;
    ASSERT_TRUE(scanner.open({"M1"}, true));
    ASSERT_TRUE(zetaSetStripeScanParameter(scanner.board, 5, 0));
    ASSERT_TRUE(zetaScan(scanner.board, SCAN_SEQUENCE_START));
    std::vector<int> numbers;
    for (int k = 0; k < 6; ++k) {
        Frame frame;
        ASSERT_TRUE(scanner.snap(0, frame));
        numbers.push_back(frame.pixels[4]);
    }
    ASSERT_TRUE(zetaScan(scanner.board, SCAN_SEQUENCE_STOP));
    // Frame 2 carries 9, frame 4 is lost.
    EXPECT_EQ(numbers, (std::vector<int>{0, 1, 9, 3, 5, 0}));
}

TEST(TriggeredFrames, SpeckleWithTextureTriggersTheColourCamera) {
    useRig(rigWithCameras({mono("M1"), colour("C1")}));
    ScannerHarness scanner;
    ASSERT_TRUE(scanner.open({"M1", "C1"}, true));
    ASSERT_TRUE(zetaSetSpeckleOrLaserScanParameter(scanner.board, 5, 50));
    ASSERT_TRUE(zetaSetColorCameraLineTriggerSegregationCount(scanner.board, 3));
    ASSERT_TRUE(zetaSetColorCameraLineTriggerDelay(scanner.board, 500));
    ASSERT_TRUE(zetaSetSpeckleScanWithTexture(scanner.board, true));
    ASSERT_TRUE(zetaScan(scanner.board, SCAN_SPECKLE));
    Frame monoFrames[3];
    for (auto& frame : monoFrames) ASSERT_TRUE(scanner.snap(0, frame));
    Frame colourFrame;
    ASSERT_TRUE(scanner.snap(1, colourFrame));
    PROJECTTYPE off = PROJECT_OFF;
    ASSERT_TRUE(zetaProject(scanner.board, off));  // ends the scan
    // The colour line trigger follows the third mono pulse by the delay.
    EXPECT_GE(colourFrame.stamp, monoFrames[2].stamp + 500);
    EXPECT_LT(colourFrame.stamp, monoFrames[2].stamp + 20000);
}

TEST(TriggeredFrames, FreeRunFramesShowTheProjection) {
    useRig(rigWithCameras({R"({"serial": "F1", "width": 64, "height": 48, "format": 1,
                               "fps": 200})",
                           R"({"serial": "F2", "width": 64, "height": 48, "format": 17,
                               "fps": 200})"}));
    ScannerHarness scanner;
    ASSERT_TRUE(scanner.open({"F1", "F2"}, false));
    PROJECTTYPE pattern = PROJECT_OFF;
    ASSERT_TRUE(zetaProject(scanner.board, pattern));
    scanner.resetQueues();
    Frame dark, white, red;
    ASSERT_TRUE(scanner.snap(0, dark));
    pattern = PROJECT_WHITE;
    ASSERT_TRUE(zetaProject(scanner.board, pattern));
    scanner.resetQueues();
    ASSERT_TRUE(scanner.snap(0, white));
    EXPECT_GT(meanOf(white), meanOf(dark) + 50.0);
    pattern = PROJECT_RED;
    ASSERT_TRUE(zetaProject(scanner.board, pattern));
    scanner.resetQueues();
    ASSERT_TRUE(scanner.snap(1, red));
    double sums[3] = {0, 0, 0};
    for (std::size_t i = 0; i < red.pixels.size(); ++i) sums[i % 3] += red.pixels[i];
    EXPECT_GT(sums[0], 2.0 * sums[1]);
    EXPECT_GT(sums[0], 2.0 * sums[2]);
}

TEST(TriggeredFrames, ImagesAreDeterministicForARig) {
    const std::string rig = rigWithCameras({mono("M1")});
    std::vector<std::uint8_t> first;
    for (int run = 0; run < 2; ++run) {
        useRig(rig);
        ScannerHarness scanner;
        ASSERT_TRUE(scanner.open({"M1"}, true));
        PROJECTTYPE speckle = PROJECT_SPECKLE;
        ASSERT_TRUE(zetaProject(scanner.board, speckle));
        ASSERT_TRUE(zetaOutputSingleTrigger(scanner.board, TRIGGER_ROUTE_MONO));
        Frame frame;
        ASSERT_TRUE(scanner.snap(0, frame));
        if (run == 0) {
            first = frame.pixels;
        } else {
            EXPECT_EQ(frame.pixels, first);
        }
    }
}

}  // namespace
}  // namespace zeta::sim::test
