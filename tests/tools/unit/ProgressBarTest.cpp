#include "ProgressBar.h"

#include <gtest/gtest.h>

#include <string>

namespace zeta::cli {
namespace {

// The tests' standard error is a pipe or a file, never a terminal: the bar prints lines.
TEST(ProgressBar, PrintsALineForEachTenthReachedThenHundred) {
    testing::internal::CaptureStderr();
    {
        ProgressBar bar("work", 0);
        for (int i = 0; i <= 100; i += 5) bar.update(i / 100.0);
        bar.update(0.3);  // never goes back
        bar.finish();
    }
    const std::string out = testing::internal::GetCapturedStderr();
    std::string expected;
    for (int tenth = 0; tenth <= 10; ++tenth)
        expected += "work: " + std::to_string(tenth * 10) + " %\n";
    EXPECT_EQ(out, expected);
}

TEST(ProgressBar, JumpsStraightToTheTenthReached) {
    testing::internal::CaptureStderr();
    {
        ProgressBar bar("copy", 0);
        bar.update(0.47);
        bar.finish();
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "copy: 40 %\ncopy: 100 %\n");
}

TEST(ProgressBar, WorkFinishedBeforeTheDelayShowsNothing) {
    testing::internal::CaptureStderr();
    {
        ProgressBar bar("quick", 60000);
        bar.update(0.5);
        bar.update(1.0);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace zeta::cli
