#include "CommandError.h"

#include <gtest/gtest.h>

namespace zeta::cli {
namespace {

TEST(CommandError, NamesTheOperationTheStatusTextAndValue) {
    const CommandError error =
        CommandError::fromStatus("ConnectDevice", zetaVoroSync::RET_PROJECTOR_UNCONNECTED, {"x"});
    EXPECT_STREQ(error.what(),
                 "ConnectDevice failed: Connect projector failed or projector is not connected "
                 "(status 1)");
    EXPECT_EQ(error.exitStatus(), CommandError::kOperationFailed);
    ASSERT_EQ(error.details().size(), 1U);
    EXPECT_EQ(error.details()[0], "x");
}

TEST(CommandError, AnUnknownStatusHasAText) {
    EXPECT_EQ(statusText(static_cast<zetaVoroSync::RETSTATUS>(42)), "unknown status");
    EXPECT_EQ(statusText(zetaVoroSync::RET_OPERATE_SUCCESS), "Operate success");
}

TEST(CommandError, CheckPassesSuccessAndThrowsTheRest) {
    EXPECT_NO_THROW(check(zetaVoroSync::RET_OPERATE_SUCCESS, "Scan"));
    try {
        check(zetaVoroSync::RET_HANDLE_NULL, "Scan");
        FAIL() << "no error";
    } catch (const CommandError& error) {
        EXPECT_STREQ(error.what(),
                     "Scan failed: You have not connected the device, so please connect device "
                     "first (status 6)");
    }
}

}  // namespace
}  // namespace zeta::cli
