#include "platform/Thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>

#include "TestSupport.h"
#include "platform/Event.h"
#include "platform/Sleep.h"

namespace zeta::platform {
namespace {

TEST(ThreadTest, NotStarted) {
    Thread thread;
    EXPECT_FALSE(thread.joinable());
    EXPECT_FALSE(thread.waitFor(0));
    EXPECT_FALSE(thread.waitFor(10));
    EXPECT_EQ(thread.exitCode(), Thread::kStillActive);
    thread.join();  // no-op
    EXPECT_FALSE(thread.joinable());
}

TEST(ThreadTest, StartJoinAndExitCode) {
    Thread thread;
    std::atomic<bool> ran{false};
    ASSERT_TRUE(thread.start([&] {
        ran = true;
        return 42u;
    }));
    EXPECT_TRUE(thread.joinable());
    EXPECT_FALSE(thread.start([] { return 0u; })) << "a thread starts only once";

    EXPECT_TRUE(thread.waitFor(kInfinite));
    EXPECT_TRUE(ran.load());
    EXPECT_EQ(thread.exitCode(), 42u);
    EXPECT_TRUE(thread.joinable()) << "waitFor does not join";

    thread.join();
    EXPECT_FALSE(thread.joinable());
    EXPECT_EQ(thread.exitCode(), 42u);
    thread.join();  // second join is a no-op
    EXPECT_TRUE(thread.waitFor(0));
    EXPECT_FALSE(thread.start([] { return 0u; })) << "not restartable after join";
}

TEST(ThreadTest, WaitForTimesOutWhileBodyRuns) {
    Event release(true);
    Thread thread;
    ASSERT_TRUE(thread.start([&] {
        release.wait(kInfinite);
        return 7u;
    }));

    EXPECT_FALSE(thread.waitFor(0));
    EXPECT_FALSE(thread.waitFor(30));
    EXPECT_EQ(thread.exitCode(), Thread::kStillActive);

    release.set();
    EXPECT_TRUE(thread.waitFor(20000));
    EXPECT_EQ(thread.exitCode(), 7u);
    thread.join();
}

TEST(ThreadTest, JoinWaitsForBody) {
    Event release(true);
    std::atomic<bool> finished{false};
    Thread thread;
    ASSERT_TRUE(thread.start([&] {
        release.wait(kInfinite);
        finished = true;
        return 0u;
    }));
    Thread releaser;
    ASSERT_TRUE(releaser.start([&] {
        EXPECT_TRUE(test::waitForBlockedWaiters(1));
        release.set();
        return 0u;
    }));
    thread.join();
    EXPECT_TRUE(finished.load());
    releaser.join();
}

TEST(ThreadTest, DestructorJoinsRunningThread) {
    std::atomic<bool> finished{false};
    {
        Thread thread;
        ASSERT_TRUE(thread.start([&] {
            sleepMs(50);
            finished = true;
            return 0u;
        }));
    }
    EXPECT_TRUE(finished.load());
}

TEST(ThreadTest, EmptyBodyIsRefused) {
    Thread thread;
    EXPECT_FALSE(thread.start({}));
    EXPECT_FALSE(thread.joinable());
    EXPECT_TRUE(thread.start([] { return 3u; }));
    thread.join();
    EXPECT_EQ(thread.exitCode(), 3u);
}

TEST(ThreadTest, ExceptionInBodyIsReportedThroughExitCode) {
    test::LogCapture capture;
    Thread thread;
    ASSERT_TRUE(thread.start([]() -> unsigned { throw std::runtime_error("boom"); }));
    thread.join();
    EXPECT_EQ(thread.exitCode(), Thread::kUncaughtExceptionExitCode);
    EXPECT_EQ(capture.count(google::GLOG_ERROR, "Thread body ended with an exception: boom"), 1u);
}

}  // namespace
}  // namespace zeta::platform
