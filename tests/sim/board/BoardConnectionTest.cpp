// Opening and closing the board: paths, presence, several handles, stale handles.
#include <gtest/gtest.h>

#include "BoardTestSupport.h"

namespace zeta::sim::test {
namespace {

using namespace zetaVoroDLPdev;

bool open(void*& handle, const char* path) {
    const char* const& p = path;
    return zetaInitHidDev(handle, p);
}

TEST(BoardConnection, OpensOnARigPathAndCloses) {
    useRig(boardRig(R"("paths": ["sim:board0", "hid:0001"])"));
    void* handle = nullptr;
    ASSERT_TRUE(open(handle, "hid:0001"));
    EXPECT_NE(handle, nullptr);
    EXPECT_EQ(boardState().openHandles, 1);
    EXPECT_TRUE(zetaExitHidDev(handle));
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(boardState().openHandles, 0);
    const auto record = lastRecordOf("zetaInitHidDev");
    EXPECT_EQ(record.args, R"(["hid:0001"])");
    EXPECT_TRUE(record.ok);
}

TEST(BoardConnection, RefusesAPathNotInTheRig) {
    useRig(boardRig());
    void* handle = reinterpret_cast<void*>(0x77);
    EXPECT_FALSE(open(handle, "sim:board1"));
    EXPECT_EQ(handle, reinterpret_cast<void*>(0x77));  // untouched
    EXPECT_FALSE(open(handle, ""));
    const auto records = recordsOf("zetaInitHidDev", "board");
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].args, R"(["sim:board1"])");
    EXPECT_FALSE(records[0].ok);
    EXPECT_EQ(boardState().openHandles, 0);
}

TEST(BoardConnection, RefusesANullPath) {
    useRig(boardRig());
    void* handle = nullptr;
    EXPECT_FALSE(open(handle, nullptr));
    EXPECT_EQ(handle, nullptr);
    const auto record = lastRecordOf("zetaInitHidDev");
    EXPECT_EQ(record.args, "[null]");
    EXPECT_FALSE(record.ok);
}

TEST(BoardConnection, ABoardThatIsNotPresentCannotBeOpened) {
    useRig(boardRig(R"("present": false)"));
    void* handle = nullptr;
    EXPECT_FALSE(open(handle, "sim:board0"));
    EXPECT_EQ(handle, nullptr);
    EXPECT_FALSE(boardState().present);
    // Plugging it in makes it answer.
    ASSERT_TRUE(replug("board"));
    EXPECT_TRUE(open(handle, "sim:board0"));
    EXPECT_TRUE(zetaExitHidDev(handle));
}

TEST(BoardConnection, AnUnpluggedBoardCannotBeOpened) {
    useRig(boardRig());
    ASSERT_TRUE(unplug("board"));
    void* handle = nullptr;
    EXPECT_FALSE(open(handle, "sim:board0"));
    EXPECT_EQ(handle, nullptr);
    ASSERT_TRUE(replug("board"));
    EXPECT_TRUE(open(handle, "sim:board0"));
    EXPECT_TRUE(zetaExitHidDev(handle));
}

TEST(BoardConnection, SeveralHandlesAreIndependent) {
    useRig(boardRig());
    void* first = nullptr;
    void* second = nullptr;
    ASSERT_TRUE(open(first, "sim:board0"));
    ASSERT_TRUE(open(second, "sim:board0"));
    EXPECT_NE(first, second);
    EXPECT_EQ(boardState().openHandles, 2);
    void* const closed = first;
    ASSERT_TRUE(zetaExitHidDev(first));
    // The other handle still works, and sees the one board.
    PROJECTTYPE red = PROJECT_RED;
    EXPECT_TRUE(zetaProject(second, red));
    EXPECT_EQ(boardState().projection, 7);
    // The closed one does not.
    EXPECT_FALSE(zetaProject(closed, red));
    EXPECT_EQ(boardState().openHandles, 1);
    EXPECT_TRUE(zetaExitHidDev(second));
    EXPECT_EQ(boardState().openHandles, 0);
}

TEST(BoardConnection, AClosedHandleFailsAndClosingTwiceFails) {
    useRig(boardRig());
    void* handle = nullptr;
    ASSERT_TRUE(open(handle, "sim:board0"));
    void* const copy = handle;
    ASSERT_TRUE(zetaExitHidDev(handle));
    PROJECTTYPE white = PROJECT_WHITE;
    EXPECT_FALSE(zetaProject(copy, white));
    void* again = copy;
    EXPECT_FALSE(zetaExitHidDev(again));
    EXPECT_EQ(again, copy);  // untouched
    EXPECT_FALSE(lastRecordOf("zetaExitHidDev").ok);
    EXPECT_EQ(lastRecordOf("zetaExitHidDev").args, "[]");
}

TEST(BoardConnection, ClosingDoesNotStopTheTriggers) {
    useRig(boardRig());
    void* first = nullptr;
    ASSERT_TRUE(open(first, "sim:board0"));
    const TRIGGERROUTE mono = TRIGGER_ROUTE_MONO;
    const int period = 2;
    ASSERT_TRUE(zetaSetVideoTriggerPeriod(first, mono, period));
    ASSERT_TRUE(zetaStartOrStopVideoTrigger(first, mono, true));
    ASSERT_TRUE(zetaExitHidDev(first));
    auto recorder = PulseRecorder::attach();
    EXPECT_TRUE(recorder->waitFor(3, 0));
    EXPECT_TRUE(boardState().routes[0].videoTrigger);
}

TEST(BoardConnection, AHandleOfAnEarlierRigFails) {
    useRig(boardRig());
    void* handle = nullptr;
    ASSERT_TRUE(open(handle, "sim:board0"));
    useRig(boardRig());
    PROJECTTYPE white = PROJECT_WHITE;
    EXPECT_FALSE(zetaProject(handle, white));
    EXPECT_FALSE(lastRecordOf("zetaProject").ok);
    void* stale = handle;
    EXPECT_FALSE(zetaExitHidDev(stale));
    EXPECT_EQ(stale, handle);
    EXPECT_EQ(boardState().openHandles, 0);
}

TEST(BoardConnection, ClosingOnAnUnpluggedBoardForgetsTheHandle) {
    useRig(boardRig());
    void* handle = nullptr;
    ASSERT_TRUE(open(handle, "sim:board0"));
    void* const copy = handle;
    ASSERT_TRUE(unplug("board"));
    EXPECT_FALSE(zetaExitHidDev(handle));  // the board does not answer...
    EXPECT_EQ(handle, nullptr);            // ...but the handle is gone
    EXPECT_EQ(boardState().openHandles, 0);
    ASSERT_TRUE(replug("board"));
    PROJECTTYPE white = PROJECT_WHITE;
    EXPECT_FALSE(zetaProject(copy, white));
}

TEST(BoardConnection, ABrokenRigOpensNothing) {
    std::string error;
    EXPECT_FALSE(loadRigText("{ not json", &error));
    clearJournal();
    void* handle = nullptr;
    EXPECT_FALSE(open(handle, "sim:board0"));
    EXPECT_EQ(handle, nullptr);
    EXPECT_FALSE(lastRecordOf("zetaInitHidDev").ok);
    useRig(boardRig());
}

TEST(BoardConnection, AnInjectedFaultFailsTheOpenAndTheClose) {
    useRig(boardRig(R"("fail": {"zetaInitHidDev": 1, "zetaExitHidDev": 1})"));
    void* handle = nullptr;
    EXPECT_FALSE(open(handle, "sim:board0"));
    EXPECT_EQ(handle, nullptr);
    ASSERT_TRUE(open(handle, "sim:board0"));
    void* const copy = handle;
    EXPECT_FALSE(zetaExitHidDev(handle));
    EXPECT_EQ(handle, copy);  // a failed close keeps the handle usable
    PROJECTTYPE white = PROJECT_WHITE;
    EXPECT_TRUE(zetaProject(handle, white));
    EXPECT_TRUE(zetaExitHidDev(handle));
    EXPECT_EQ(handle, nullptr);
}

}  // namespace
}  // namespace zeta::sim::test
