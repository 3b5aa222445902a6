// The status thread: what it reports from the board's status word, error bits, a board that cannot
// be read, the device-not-ready value, one thread for several registrations, no poll without a
// callback or during a reconnection, and its exit.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "IShotSyncA_Probe.h"
#include "LibraryTestSupport.h"
#include "SimTestSupport.h"
#include "platform/Sleep.h"
#include "zetaVoroSim/SimControl.h"

namespace {

using namespace std::chrono_literals;
using zeta::sim::test::recordsOf;
using zeta::sim::test::waitUntil;
using zeta::test::LogCapture;

struct StatusReport {
    const void* context;
    unsigned long status;
    unsigned long stateHigh;
    unsigned long stateLow;
    bool flag;
};

// Collects the reports of one status callback; the status thread writes, the test reads.
class StatusRecorder {
public:
    static void callBack(const void* const& context, const unsigned long& status,
                         const unsigned long& stateHigh, const unsigned long& stateLow,
                         const bool& flag) {
        auto* self = static_cast<StatusRecorder*>(const_cast<void*>(context));
        std::lock_guard<std::mutex> lock(self->mutex_);
        self->reports_.push_back({context, status, stateHigh, stateLow, flag});
    }
    std::vector<StatusReport> reports() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return reports_;
    }
    std::size_t count() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return reports_.size();
    }

private:
    mutable std::mutex mutex_;
    std::vector<StatusReport> reports_;
};

std::size_t statusQueries() {
    return recordsOf("zetaQueryCurrentStatus", "board").size();
}

class IShotSyncStatusTest : public ::testing::Test {
protected:
    void SetUp() override {
        zeta::sim::test::useRig(zeta::sim::defaultRigText());
        ASSERT_EQ(sync_.InitProjector("sim:board0"), 0);
        zeta::sim::clearJournal();
    }
    void TearDown() override {
        sync_.ExitSync();
        zeta::sim::clearFailures();
    }

    // Declared before the synchroniser: they outlive its status thread.
    StatusRecorder recorder_;
    StatusRecorder second_;
    CSyncProbe sync_;
};

TEST_F(IShotSyncStatusTest, ReportsTheSecondByteAndTheStateFieldsOfTheBoard) {
    zeta::sim::setStatus(5, 7, 0x23, true);
    ASSERT_EQ(sync_.SetStatusCallBackFunction(StatusRecorder::callBack, &recorder_), 0);
    ASSERT_TRUE(waitUntil([&] { return recorder_.count() >= 2; }));
    const auto report = recorder_.reports().front();
    EXPECT_EQ(report.context, &recorder_);
    EXPECT_EQ(report.status, 7u);
    EXPECT_EQ(report.stateHigh, 2u);
    EXPECT_EQ(report.stateLow, 3u);
    EXPECT_TRUE(report.flag);
    EXPECT_TRUE(sync_.m_hWatchdogEvent->isSet());

    zeta::sim::setStatus(12, 1, 0x10, false);
    ASSERT_TRUE(waitUntil([&] {
        const auto reports = recorder_.reports();
        return reports.back().status == 1u;
    }));
    const auto changed = recorder_.reports().back();
    EXPECT_EQ(changed.stateHigh, 1u);
    EXPECT_EQ(changed.stateLow, 0u);
    EXPECT_FALSE(changed.flag);

    sync_.ExitSync();
    // The first byte is not reported but kept for the reconnection.
    EXPECT_EQ(sync_.m_projectorStatus, 12);
    EXPECT_FALSE(sync_.m_bStatusReadFailed);
}

TEST_F(IShotSyncStatusTest, ErrorBitsSkipTheReportAndThePollIsRetried200MsLater) {
    zeta::sim::setStatus(3, 4, 0x80, true);
    ASSERT_EQ(sync_.SetStatusCallBackFunction(StatusRecorder::callBack, &recorder_), 0);
    ASSERT_TRUE(waitUntil([] { return statusQueries() >= 3; }));
    zeta::sim::setStatus(3, 4, 0x41, true);
    const std::size_t seen = statusQueries();
    ASSERT_TRUE(waitUntil([&] { return statusQueries() >= seen + 2; }));
    EXPECT_EQ(recorder_.count(), 0u);
    const auto queries = recordsOf("zetaQueryCurrentStatus", "board");
    for (std::size_t i = 1; i < queries.size(); ++i) {
        EXPECT_GE(queries[i].tUs - queries[i - 1].tUs, 190000u) << i;
    }

    zeta::sim::setStatus(3, 4, 0x01, true);
    ASSERT_TRUE(waitUntil([&] { return recorder_.count() >= 1; }));
    EXPECT_EQ(recorder_.reports().front().status, 4u);
    EXPECT_EQ(recorder_.reports().front().stateLow, 1u);
}

TEST_F(IShotSyncStatusTest, ABoardThatCannotBeReadIsReportedAs65535) {
    zeta::sim::setStatus(3, 4, 0x12, true);
    ASSERT_TRUE(zeta::sim::unplug("board"));
    ASSERT_EQ(sync_.SetStatusCallBackFunction(StatusRecorder::callBack, &recorder_), 0);
    ASSERT_TRUE(waitUntil([&] { return recorder_.count() >= 1; }));
    const auto report = recorder_.reports().front();
    EXPECT_EQ(report.status, 65535u);
    EXPECT_EQ(report.stateHigh, 65535u);
    EXPECT_EQ(report.stateLow, 65535u);
    EXPECT_FALSE(report.flag);
    EXPECT_TRUE(sync_.m_bStatusReadFailed);
    EXPECT_FALSE(sync_.m_hWatchdogEvent->isSet());

    ASSERT_TRUE(zeta::sim::replug("board"));
    ASSERT_TRUE(waitUntil([&] { return recorder_.reports().back().status == 4u; }));
    EXPECT_FALSE(sync_.m_bStatusReadFailed);
    EXPECT_TRUE(sync_.m_hWatchdogEvent->isSet());
}

TEST_F(IShotSyncStatusTest, ADeviceHeldAsNotReadyReports65534AsTheSecondValue) {
    zeta::sim::setStatus(3, 4, 0x12, true);
    sync_.m_bDeviceReady = false;
    ASSERT_EQ(sync_.SetStatusCallBackFunction(StatusRecorder::callBack, &recorder_), 0);
    ASSERT_TRUE(waitUntil([&] { return recorder_.count() >= 1; }));
    auto report = recorder_.reports().front();
    EXPECT_EQ(report.status, 65534u);
    EXPECT_EQ(report.stateHigh, 1u);
    EXPECT_EQ(report.stateLow, 2u);
    EXPECT_TRUE(report.flag);

    ASSERT_TRUE(zeta::sim::unplug("board"));
    ASSERT_TRUE(waitUntil([&] { return recorder_.reports().back().stateHigh == 65535u; }));
    report = recorder_.reports().back();
    EXPECT_EQ(report.status, 65534u);
    EXPECT_EQ(report.stateLow, 65535u);
    EXPECT_FALSE(report.flag);
}

TEST_F(IShotSyncStatusTest, RegisteringTwiceStartsOneThreadAndOnlyReplacesTheCallback) {
    LogCapture log;
    StatusRecorder& second = second_;
    ASSERT_EQ(sync_.SetStatusCallBackFunction(StatusRecorder::callBack, &recorder_), 0);
    ASSERT_TRUE(waitUntil([&] { return recorder_.count() >= 1; }));
    const zeta::platform::Thread* const thread = sync_.m_hThread.get();
    ASSERT_NE(thread, nullptr);

    ASSERT_EQ(sync_.SetStatusCallBackFunction(StatusRecorder::callBack, &second), 0);
    EXPECT_EQ(sync_.m_hThread.get(), thread);
    EXPECT_EQ(sync_.m_pStatusUserData, &second);
    const std::size_t firstCount = recorder_.count();
    ASSERT_TRUE(waitUntil([&] { return second.count() >= 2; }));
    EXPECT_EQ(recorder_.count(), firstCount);
    EXPECT_EQ(log.count("pCallBack="), 2);
    EXPECT_EQ(log.count(" m_bContinueStatusThread=0"), 1);
    EXPECT_EQ(log.count(" m_bContinueStatusThread=1"), 1);

    // One thread polls: about one query per 200 ms, never two threads' worth.
    zeta::sim::clearJournal();
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(waitUntil([] { return statusQueries() >= 4; }));
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_GE(elapsed, 550ms);
}

TEST_F(IShotSyncStatusTest, WithoutACallbackTheThreadRunsButPollsNothing) {
    ASSERT_EQ(sync_.SetStatusCallBackFunction(nullptr, nullptr), 0);
    ASSERT_NE(sync_.m_hThread, nullptr);
    EXPECT_TRUE(sync_.m_bContinueStatusThread);
    EXPECT_FALSE(waitUntil([] { return statusQueries() > 0; }, 600ms));

    ASSERT_EQ(sync_.SetStatusCallBackFunction(StatusRecorder::callBack, &recorder_), 0);
    EXPECT_TRUE(waitUntil([&] { return recorder_.count() >= 1; }));
}

TEST_F(IShotSyncStatusTest, TheThreadLeavesAtItsNextRoundOnceStopped) {
    ASSERT_EQ(sync_.SetStatusCallBackFunction(StatusRecorder::callBack, &recorder_), 0);
    ASSERT_TRUE(waitUntil([&] { return recorder_.count() >= 1; }));
    LogCapture log;
    zeta::test::ConsoleCapture console;
    sync_.ExitSync();
    const std::string printed = console.text();
    EXPECT_NE(printed.find("Leave status check lock!!!!!!!!!!!!!!!!!\nExit Status Thread\n"),
              std::string::npos);
    const auto messages = log.messages();
    const int stopped =
        zeta::sync::test::indexOfExact(messages, "StatusThreadFun m_bContinueStatusThread=0");
    EXPECT_GE(stopped, 0);
    EXPECT_GT(zeta::sync::test::indexOfExact(messages, "Exit Status Thread", stopped), stopped);
    const std::size_t reports = recorder_.count();
    EXPECT_FALSE(waitUntil([&] { return recorder_.count() > reports; }, 300ms));
}

// A synchroniser whose scan-parameter slot is slow: the reconnection calls it between its two
// locked phases, while the status thread would otherwise be free to poll.
class SlowScanParameterSync : public CSyncProbe {
public:
    int SetScanParameter(const std::vector<int>& parameters) override {
        zeta::platform::sleepMs(700);
        return CSyncProbe::SetScanParameter(parameters);
    }
};

TEST(IShotSyncStatusReconnectTest, TheStatusThreadMakesNoPollWhileAReconnectionRuns) {
    zeta::sim::test::useRig(zeta::sim::defaultRigText());
    StatusRecorder recorder;
    SlowScanParameterSync sync;
    ASSERT_EQ(sync.InitProjector("sim:board0"), 0);
    sync.m_scanParameters = {100, 15};
    ASSERT_EQ(sync.SetStatusCallBackFunction(StatusRecorder::callBack, &recorder), 0);
    ASSERT_TRUE(waitUntil([&] { return recorder.count() >= 1; }));

    EXPECT_EQ(sync.ReConnectDeviceEx(), 0);
    EXPECT_FALSE(sync.m_bReconnecting);

    // Between the reconnection's first and last board call there is no status query.
    const auto records = zeta::sim::journal();
    int first = -1;
    int last = -1;
    for (int i = 0; i < static_cast<int>(records.size()); ++i) {
        if (records[i].op == "zetaExitHidDev" && first < 0) first = i;
        if (records[i].op == "zetaStartOrStopVideoTrigger") last = i;
    }
    ASSERT_GE(first, 0);
    ASSERT_GT(last, first);
    EXPECT_GE(records[last].tUs - records[first].tUs, 650000u);
    for (int i = first; i <= last; ++i) EXPECT_NE(records[i].op, "zetaQueryCurrentStatus") << i;

    // Afterwards the polls resume.
    const std::size_t before = recorder.count();
    EXPECT_TRUE(waitUntil([&] { return recorder.count() > before; }));
    sync.ExitSync();
}

}  // namespace
