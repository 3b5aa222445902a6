// The journal records of board calls, and failures injected from the rig file and at run time.
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "BoardTestSupport.h"

namespace zeta::sim::test {
namespace {

using namespace zetaVoroDLPdev;

// The whole line of a record, with its number and time replaced by N and T.
std::string shapeOf(const JournalRecord& record) {
    static const std::regex numbers(R"(^\{"n":\d+,"t_us":\d+,)");
    return std::regex_replace(record.line, numbers, R"({"n":N,"t_us":T,)");
}

TEST(BoardJournal, AProjectionIsOneExactLine) {
    useRig(boardRig());
    OpenBoard board;
    clearJournal();
    const PROJECTTYPE stripe = PROJECT_STRIPE;
    ASSERT_TRUE(zetaProject(board, stripe));
    const auto records = journal();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].dev, "board");
    EXPECT_EQ(records[0].op, "zetaProject");
    EXPECT_EQ(records[0].args, "[4]");
    EXPECT_TRUE(records[0].ok);
    EXPECT_EQ(shapeOf(records[0]),
              R"({"n":N,"t_us":T,"dev":"board","op":"zetaProject","args":[4],"ok":true})");
}

TEST(BoardJournal, AFailedCallIsJournaledOkFalse) {
    useRig(boardRig());
    OpenBoard board;
    clearJournal();
    const auto bad = static_cast<PROJECTTYPE>(99);
    ASSERT_FALSE(zetaProject(board, bad));
    EXPECT_EQ(shapeOf(lastRecordOf("zetaProject")),
              R"({"n":N,"t_us":T,"dev":"board","op":"zetaProject","args":[99],"ok":false})");
}

TEST(BoardJournal, MultiArgumentCallsKeepTheDeclarationOrder) {
    useRig(boardRig());
    OpenBoard board;
    clearJournal();
    const TRIGGERROUTE colour = TRIGGER_ROUTE_COLOR;
    ASSERT_TRUE(zetaStartOrStopVideoTrigger(board, colour, false));
    ASSERT_TRUE(zetaSetVideoTriggerPeriod(board, colour, 25));
    ASSERT_TRUE(zetaSetIRLampAndLaser(board, true, false));
    ASSERT_TRUE(zetaE7StartScanMode(board, 41, 5));
    ASSERT_TRUE(zetaE7StopScanMode(board));
    ASSERT_TRUE(zetaSetStrobeLightingTime(board, 2, 300));
    ASSERT_TRUE(zetaSetVideoWidthHeight(board, 640, 480));
    const char* const command = "abc";
    ASSERT_TRUE(zetaSendCmdLine(board, command, 3));
    bool running = false;
    int period = 0;
    ASSERT_TRUE(zetaQueryColorCameraVideoTriggerParameter(board, running, period));

    const auto records = journal();
    ASSERT_EQ(records.size(), 9u);
    // The board prefix of every line, then op, args and ok.
    const std::string prefix = R"({"n":N,"t_us":T,"dev":"board",)";
    const std::string expected[] = {
        prefix + R"("op":"zetaStartOrStopVideoTrigger","args":[1,false],"ok":true})",
        prefix + R"("op":"zetaSetVideoTriggerPeriod","args":[1,25],"ok":true})",
        prefix + R"("op":"zetaSetIRLampAndLaser","args":[true,false],"ok":true})",
        prefix + R"("op":"zetaE7StartScanMode","args":[41,5],"ok":true})",
        prefix + R"("op":"zetaE7StopScanMode","args":[],"ok":true})",
        prefix + R"("op":"zetaSetStrobeLightingTime","args":[2,300],"ok":true})",
        prefix + R"("op":"zetaSetVideoWidthHeight","args":[640,480],"ok":true})",
        prefix + R"("op":"zetaSendCmdLine","args":[3,3],"ok":true})",
        prefix + R"("op":"zetaQueryColorCameraVideoTriggerParameter","args":[],"ok":true})",
    };
    for (std::size_t i = 0; i < records.size(); ++i) {
        EXPECT_EQ(shapeOf(records[i]), expected[i]) << i;
        if (i > 0) {
            EXPECT_EQ(records[i].n, records[i - 1].n + 1);
            EXPECT_GE(records[i].tUs, records[i - 1].tUs);
        }
    }
}

TEST(BoardJournal, OpenAndCloseAreJournaled) {
    useRig(boardRig());
    void* handle = nullptr;
    const char* const path = "sim:board0";
    ASSERT_TRUE(zetaInitHidDev(handle, path));
    ASSERT_TRUE(zetaExitHidDev(handle));
    const auto records = journal();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(
        shapeOf(records[0]),
        R"({"n":N,"t_us":T,"dev":"board","op":"zetaInitHidDev","args":["sim:board0"],"ok":true})");
    EXPECT_EQ(shapeOf(records[1]),
              R"({"n":N,"t_us":T,"dev":"board","op":"zetaExitHidDev","args":[],"ok":true})");
}

TEST(BoardJournal, ARigFaultFailsTheNextCalls) {
    useRig(boardRig(R"("fail": {"zetaScan": 1})"));
    OpenBoard board;
    const SCANTYPE stop = SCAN_SEQUENCE_STOP;
    EXPECT_FALSE(zetaScan(board, stop));
    EXPECT_TRUE(zetaScan(board, stop));
    EXPECT_TRUE(zetaScan(board, stop));
    const auto records = recordsOf("zetaScan");
    ASSERT_EQ(records.size(), 3u);
    EXPECT_FALSE(records[0].ok);
    EXPECT_TRUE(records[1].ok);
    EXPECT_EQ(records[0].args, "[10]");
}

TEST(BoardJournal, ARigFaultCanSkipCallsFirst) {
    useRig(boardRig(R"("fail": {"zetaResetColorRoute": {"skip": 2, "times": 2}})"));
    OpenBoard board;
    std::vector<bool> results;
    for (int i = 0; i < 6; ++i) results.push_back(zetaResetColorRoute(board));
    EXPECT_EQ(results, (std::vector<bool>{true, true, false, false, true, true}));
    EXPECT_EQ(boardState().colorRouteResets, 4);  // failed calls changed nothing
}

TEST(BoardJournal, ARigFaultOfMinusOneFailsEveryCall) {
    useRig(boardRig(
        R"("fail": {"zetaSetMonoColorSpan": -1, "zetaProject": {"skip": 1, "times": -1}})"));
    OpenBoard board;
    for (int i = 0; i < 5; ++i) EXPECT_FALSE(zetaSetMonoColorSpan(board, 1));
    const PROJECTTYPE white = PROJECT_WHITE;
    EXPECT_TRUE(zetaProject(board, white));
    for (int i = 0; i < 5; ++i) EXPECT_FALSE(zetaProject(board, white));
    // Other operations are not affected.
    EXPECT_TRUE(zetaSetDistanceIndicate(board, DISTANCE_INDICATE_NEAR));
}

TEST(BoardJournal, FailNextAtRunTime) {
    useRig(boardRig());
    OpenBoard board;
    int percent = -1;
    failNext("board", "zetaQueryProjectorBrightnessPercent", 2);
    EXPECT_FALSE(zetaQueryProjectorBrightnessPercent(board, percent));
    EXPECT_FALSE(zetaQueryProjectorBrightnessPercent(board, percent));
    EXPECT_EQ(percent, -1);
    EXPECT_TRUE(zetaQueryProjectorBrightnessPercent(board, percent));
    EXPECT_EQ(percent, 100);
    failNext("board", "zetaSetProjectorBrightnessPercent", 1, 1);
    EXPECT_TRUE(zetaSetProjectorBrightnessPercent(board, 20));
    EXPECT_FALSE(zetaSetProjectorBrightnessPercent(board, 30));
    EXPECT_EQ(boardState().brightness, 20);
    failNext("board", "zetaProject", -1);
    const PROJECTTYPE red = PROJECT_RED;
    EXPECT_FALSE(zetaProject(board, red));
    clearFailures();
    EXPECT_TRUE(zetaProject(board, red));
}

TEST(BoardJournal, AFaultOnAnotherDeviceLeavesTheBoardAlone) {
    useRig(rigWithCameras({R"({"serial": "M1"})"}));
    OpenBoard board;
    failNext("M1", "zetaProject", -1);
    const PROJECTTYPE red = PROJECT_RED;
    EXPECT_TRUE(zetaProject(board, red));
}

TEST(BoardJournal, AFailedScanStartsNothing) {
    useRig(boardRig(R"("fail": {"zetaE7StartScanMode": 1})"));
    OpenBoard board;
    auto recorder = PulseRecorder::attach();
    ASSERT_TRUE(zetaSetStripeScanParameter(board, 1, 0));
    EXPECT_FALSE(zetaE7StartScanMode(board, 33, 0));
    EXPECT_FALSE(boardState().scanRunning);
    EXPECT_EQ(boardState().e7Mode, -1);
    EXPECT_FALSE(recorder->anotherWithin(0, std::chrono::milliseconds(30)));
}

}  // namespace
}  // namespace zeta::sim::test
