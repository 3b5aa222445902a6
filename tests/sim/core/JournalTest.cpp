#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <regex>
#include <string>

#include "DeviceCall.h"
#include "Journal.h"
#include "SimTestSupport.h"
#include "VirtualScanner.h"

namespace zeta::sim {
namespace {

TEST(Journal, RecordLineHasTheFieldsInOrder) {
    Journal journal;
    journal.record("board", "zetaProject", "[4]", true, 123456);
    journal.record("ZV0001", "SetExposureTime", "[5000]", false, 123470);
    auto records = journal.records();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].line,
              R"({"n":1,"t_us":123456,"dev":"board","op":"zetaProject","args":[4],"ok":true})");
    EXPECT_EQ(
        records[1].line,
        R"({"n":2,"t_us":123470,"dev":"ZV0001","op":"SetExposureTime","args":[5000],"ok":false})");
    EXPECT_EQ(records[1].n, 2u);
    EXPECT_EQ(records[1].dev, "ZV0001");
    EXPECT_FALSE(records[1].ok);
}

TEST(Journal, WritesAndFlushesEveryRecordToTheFile) {
    const std::string path = ::testing::TempDir() + "journal_test.jsonl";
    std::remove(path.c_str());
    Journal journal;
    ASSERT_TRUE(journal.setFile(path));
    journal.record("image", "zetaWriteImage", R"(["a.png",2,2,1])", true, 5);
    // Flushed as the call returns: readable before the journal is closed.
    std::ifstream in(path);
    std::string line;
    ASSERT_TRUE(std::getline(in, line));
    EXPECT_EQ(
        line,
        R"({"n":1,"t_us":5,"dev":"image","op":"zetaWriteImage","args":["a.png",2,2,1],"ok":true})");
    std::remove(path.c_str());
}

TEST(Journal, CapacityKeepsTheNewestRecords) {
    Journal journal;
    journal.setCapacity(3);
    for (int i = 0; i < 5; ++i) journal.record("board", "op" + std::to_string(i), "[]", true, 0);
    auto records = journal.records();
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records.front().op, "op2");
    EXPECT_EQ(records.front().n, 3u);
    journal.clear();
    EXPECT_TRUE(journal.records().empty());
    journal.record("board", "next", "[]", true, 0);
    EXPECT_EQ(journal.records().front().n, 6u);  // numbering goes on across clears
}

TEST(DeviceCall, JournalsArgumentsAsJsonValues) {
    test::useRig(defaultRigJson());
    {
        DeviceCall call("Example", "board");
        call.arg(3).arg(true).arg("text").arg(static_cast<const char*>(nullptr)).arg(1.5).bytes(16);
        call.finish(true);
    }
    auto record = test::lastRecordOf("Example");
    EXPECT_EQ(record.args, R"([3,true,"text",null,1.5,16])");
    EXPECT_EQ(record.dev, "board");
    EXPECT_TRUE(record.ok);
}

TEST(DeviceCall, AnUnfinishedCallIsJournaledAsFailed) {
    test::useRig(defaultRigJson());
    { DeviceCall call("Abandoned", "board"); }
    EXPECT_FALSE(test::lastRecordOf("Abandoned").ok);
}

TEST(DeviceCall, FrameCallsAreJournaledOnlyWhenAskedFor) {
    test::useRig(defaultRigJson());
    setJournalFrames(false);
    { DeviceCall("SnapShot", "ZV0001", true).finish(true); }
    EXPECT_TRUE(test::recordsOf("SnapShot").empty());
    setJournalFrames(true);
    { DeviceCall("SnapShot", "ZV0001", true).finish(true); }
    EXPECT_EQ(test::recordsOf("SnapShot").size(), 1u);
    setJournalFrames(false);
}

TEST(DeviceCall, InjectedFailureIsCountedPerDeviceAndOperation) {
    test::useRig(defaultRigJson());
    failNext("board", "Example", 1, 1);
    DeviceCall first("Example", "board");
    EXPECT_FALSE(first.mustFail());
    first.finish(true);
    DeviceCall second("Example", "board");
    EXPECT_TRUE(second.mustFail());
    second.finish(false);
    DeviceCall third("Example", "board");
    EXPECT_FALSE(third.mustFail());
    third.finish(true);
}

TEST(DeviceCall, InvalidUtf8InAStringArgumentDoesNotBreakTheJournal) {
    test::useRig(defaultRigJson());
    const char bad[] = {'a', static_cast<char>(0xff), 'b', 0};
    { DeviceCall("Garbage", "camera").arg(bad).finish(false); }
    auto record = test::lastRecordOf("Garbage");
    EXPECT_FALSE(record.ok);
    EXPECT_NE(record.args.find('a'), std::string::npos);
}

}  // namespace
}  // namespace zeta::sim
