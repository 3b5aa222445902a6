// Channel words of a serial list and the mapping of a caller's camera number onto a camera
// thread (no device needed).
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "IShotSyncB_Support.h"

namespace {

using zeta::test::CameraNames;

std::vector<std::uint32_t> wordsOf(const std::vector<std::string>& serials,
                                   std::vector<std::string>& runs) {
    CameraNames names(serials);
    return CSyncBProbe::ComputeChannelWords(names.get(), runs);
}

TEST(IShotSyncChannelWordTest, RepeatedNeighboursShareAThread) {
    std::vector<std::string> runs{"stale"};
    const auto words = wordsOf({"A", "A", "B"}, runs);
    // bits 0-3 repeat number, 4-7 thread index, 8+ position in the list
    EXPECT_EQ(words, (std::vector<std::uint32_t>{0x000, 0x101, 0x210}));
    EXPECT_EQ(runs, (std::vector<std::string>{"A", "B"}));
}

TEST(IShotSyncChannelWordTest, OnlyNeighboursAreCompared) {
    std::vector<std::string> runs;
    const auto words = wordsOf({"A", "B", "A"}, runs);
    EXPECT_EQ(words, (std::vector<std::uint32_t>{0x000, 0x110, 0x220}));
    EXPECT_EQ(runs, (std::vector<std::string>{"A", "B", "A"}));
}

TEST(IShotSyncChannelWordTest, LongerRunsCountTheirRepeats) {
    std::vector<std::string> runs;
    const auto words = wordsOf({"A", "A", "A", "B", "B"}, runs);
    EXPECT_EQ(words, (std::vector<std::uint32_t>{0x000, 0x101, 0x202, 0x310, 0x411}));
    EXPECT_EQ(runs, (std::vector<std::string>{"A", "B"}));
}

TEST(IShotSyncChannelWordTest, ThreadIndexIsTheHighNibbleReadSigned) {
    CSyncBProbe sync;
    std::vector<std::string> serials;
    for (int i = 0; i < 9; ++i) serials.push_back("S" + std::to_string(i));
    std::vector<std::string> runs;
    sync.m_cameraChannels = wordsOf(serials, runs);
    ASSERT_EQ(sync.m_cameraChannels.size(), 9u);
    EXPECT_EQ(sync.m_cameraChannels[8], 0x880u);
    for (int i = 0; i < 8; ++i) EXPECT_EQ(sync.ThreadIndexOf(i), i);
    // Thread index 8 reads as the signed byte 0x80 shifted arithmetically: -8.
    EXPECT_EQ(sync.ThreadIndexOf(8), -8);
    EXPECT_EQ(sync.CameraOf(8), nullptr);
}

TEST(IShotSyncChannelWordTest, CameraNumbersOutsideTheMapHaveNoThread) {
    CSyncBProbe sync;
    sync.m_cameraChannels = {0x000, 0x101};
    EXPECT_EQ(sync.ThreadIndexOf(-1), -1);
    EXPECT_EQ(sync.ThreadIndexOf(2), -1);
    EXPECT_EQ(sync.ThreadIndexOf(1), 0);
    // No camera thread exists at all: every lookup gives none.
    EXPECT_EQ(sync.CameraOf(0), nullptr);
    EXPECT_EQ(sync.CameraOf(2), nullptr);
    EXPECT_EQ(sync.CameraOf(-1), nullptr);
}

TEST(IShotSyncChannelWordTest, ParameterSlotsTellABadNumberFromAMissingThread) {
    CSyncBProbe sync;
    sync.m_cameraChannels = {0x000, 0x880};
    int gain = 0;
    EXPECT_EQ(sync.GetCameraGain(2, gain), 1);
    EXPECT_EQ(sync.GetCameraGain(-1, gain), 1);
    EXPECT_EQ(sync.GetCameraGain(0, gain), 2);
    EXPECT_EQ(gain, -1);
    EXPECT_EQ(sync.SetCameraGain(1, 3), 2);  // thread index -8: no such thread
}

TEST(IShotSyncChannelWordTest, FrameTimeStampIsReadAfterTheImageAtAnyAlignment) {
    // 3 x 3 pixels of 1 byte: the stamp starts at the unaligned offset 9.
    std::vector<unsigned char> frame(9 + 8, 0xAA);
    const std::uint64_t stamp = 0x0102030405060708ull;
    for (int b = 0; b < 8; ++b) frame[9 + b] = static_cast<unsigned char>(stamp >> (8 * b));
    EXPECT_EQ(CSyncBProbe::FrameTimeStamp(frame.data(), 3, 3, 1), stamp);
    // 2 x 2 pixels of 2 bytes: offset 8.
    std::vector<unsigned char> wide(8 + 8, 0);
    wide[8] = 0x2A;
    EXPECT_EQ(CSyncBProbe::FrameTimeStamp(wide.data(), 2, 2, 2), 0x2Au);
}

}  // namespace

namespace {

bool fits(const std::vector<std::string>& serials) {
    zeta::test::CameraNames names(serials);
    return CSyncBProbe::FitsTheChannelWords(names.get());
}

// Four bits number the threads and four the sensors of one camera: sixteen of each fit.
TEST(IShotSyncChannelWordTest, SixteenThreadsAndSixteenSensorsFitTheWords) {
    std::vector<std::string> threads;
    for (int i = 0; i < 16; ++i) threads.push_back("S" + std::to_string(i));
    EXPECT_TRUE(fits(threads));
    threads.push_back("S16");
    EXPECT_FALSE(fits(threads));
    // A serial that comes back later opens another thread.
    std::vector<std::string> alternating;
    for (int i = 0; i < 17; ++i) alternating.push_back(i % 2 == 0 ? "A" : "B");
    EXPECT_FALSE(fits(alternating));
    EXPECT_TRUE(fits(std::vector<std::string>(16, "A")));
    EXPECT_FALSE(fits(std::vector<std::string>(17, "A")));
}

TEST(IShotSyncChannelWordTest, OpenCamerasRefusesWhatTheWordsCannotNumberBeforeOpening) {
    CSyncBProbe sync;
    zeta::test::CameraNames names(std::vector<std::string>(17, "A"));
    const std::vector<int> sizes(17, 64);
    EXPECT_EQ(sync.OpenCameras(names.get(), sizes, sizes), 1);
    EXPECT_TRUE(sync.m_cameras.empty());
}

}  // namespace
