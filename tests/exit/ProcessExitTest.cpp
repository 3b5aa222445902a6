// How a host's process ends with the library loaded: returning from main without disconnecting,
// disconnecting from an exit handler or from a plug-in that is unloaded at the end, unloading the
// library with a handle connected. Each case runs exit_host as a child process and checks that
// it ends (within 2 s of main's return), with exit status 0, having done what it printed.
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <string>

#include "ChildProcess.h"
#include "ScratchDir.h"

namespace {

using namespace std::chrono_literals;
using zeta::test::ChildProcess;

constexpr auto kExitBound = 2s;

class ProcessExit : public ::testing::Test {
protected:
    // Runs `exit_host MODE PLUGIN ARGS...` and waits for it to return from main and to end.
    void runHost(const std::string& mode, const std::vector<std::string>& more = {}) {
        ChildProcess::Options options;
        options.program = EXIT_HOST_PROGRAM;
        options.args = {mode, EXIT_PLUGIN_LIBRARY};
        options.args.insert(options.args.end(), more.begin(), more.end());
        options.workDir = scratch_.path();
        // The default rig, whatever the environment the tests run in.
        options.unsetVars = {"ZETA_SIM_RIG", "ZETA_SIM_JOURNAL", "ZETA_SIM_JOURNAL_FRAMES"};
        options.setVars = {{"GLOG_minloglevel", "1"}};
        ASSERT_TRUE(child_.start(options)) << "cannot start " << EXIT_HOST_PROGRAM;
        ASSERT_TRUE(child_.waitForOutput("returning from main\n", 90s)) << describe();
        const auto returned = std::chrono::steady_clock::now();
        // Bounded well past the 2 s asked for, so that a hang fails the test instead of holding it.
        const bool ended = child_.waitForExit(30s);
        secondsToExit_ =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - returned).count();
        ASSERT_TRUE(ended) << "still running 30 s after main returned\n" << describe();
        EXPECT_LT(secondsToExit_, std::chrono::duration<double>(kExitBound).count()) << describe();
        EXPECT_EQ(child_.exitStatus(), 0) << describe();
        EXPECT_EQ(child_.termSignal(), 0) << describe();
        EXPECT_NE(child_.out().find("connected and scanned: 7\n"), std::string::npos) << describe();
    }

    std::string describe() const {
        std::ostringstream text;
        text << "exit status " << child_.exitStatus() << ", signal " << child_.termSignal() << ", "
             << secondsToExit_ << " s from main's return to the end\n--- stdout ---\n"
             << child_.out() << "--- stderr ---\n"
             << child_.err() << "--- end ---";
        return text.str();
    }

    zeta::test::ScratchDir scratch_;
    ChildProcess child_;
    double secondsToExit_ = -1.0;
};

TEST_F(ProcessExit, AHostThatForgetsToDisconnectEndsWithinTwoSeconds) {
    runHost("forget");
}

TEST_F(ProcessExit, DisconnectingFromAnExitHandlerEndsWithinTwoSeconds) {
    runHost("disconnect-at-exit");
    // The library's own clean-up, registered after the handler, ran first: the handle is no
    // longer connected, and the call only nulls the variable.
    EXPECT_NE(child_.out().find("DisConnectDevice at exit: 7, handle null\n"), std::string::npos)
        << describe();
}

TEST_F(ProcessExit, DisconnectingWhileThePluginIsUnloadedAtTheEndEndsWithinTwoSeconds) {
    const std::string report = scratch_.file("late-disconnect.txt");
    runHost("disconnect-at-unload", {report});
    std::ifstream file(report);
    std::string text;
    std::getline(file, text);
    EXPECT_EQ(text, "DisConnectDevice 7, handle null") << describe();
}

TEST_F(ProcessExit, UnloadingTheLibraryWithAHandleConnectedNeitherCrashesNorHangs) {
    runHost("unload-with-handles");
    const std::string out = child_.out();
    const auto unloaded = out.find("unloaded\n");
    const auto stillRunning = out.find("still running\n");
    ASSERT_NE(unloaded, std::string::npos) << describe();
    ASSERT_NE(stillRunning, std::string::npos) << describe();
    EXPECT_LT(unloaded, stillRunning) << describe();
}

}  // namespace
