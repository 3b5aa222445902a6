// A program run as a child process, with its standard output and standard error captured, for
// tests that run the project's programs: zetavoro, and the hosts that end their process in the
// ways a host may. One implementation per platform (ChildProcessPosix.cpp, ChildProcessWindows.cpp)
// under this one interface; the tests use nothing else to start a process.
//
// Threads: one thread uses the object. Two reader threads of its own drain the child's outputs,
// so a child that writes a lot never blocks on a full pipe; mutex_ guards what they collected.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace zeta::test {

class ChildProcess {
public:
    struct Options {
        std::filesystem::path program;
        std::vector<std::string> args;  // argv[1] onwards, passed as they are (no shell)
        std::filesystem::path workDir;  // empty: the test's own working folder
        // The child gets the test's environment with these changes.
        std::map<std::string, std::string> setVars;
        std::vector<std::string> unsetVars;
    };

    ChildProcess();
    // Kills a child that still runs, and waits for it.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Starts the program; false when it could not be started at all. Standard input is empty.
    bool start(const Options& options);

    // Waits until `text` has appeared on the child's standard output, at most `timeout`. False on
    // time-out or when the child ended (and closed its output) without writing it.
    bool waitForOutput(const std::string& text, std::chrono::milliseconds timeout);

    // Waits for the child to end and for both outputs to be read to their end, at most `timeout`.
    // False when it is still running then.
    bool waitForExit(std::chrono::milliseconds timeout);

    // Ends the child at once (on POSIX its whole process group) and waits for it.
    void kill();

    bool running() const { return started_ && !ended_; }
    // The exit status of a child that exited, -1 otherwise (still running, killed by a signal).
    int exitStatus() const { return exitStatus_; }
    // The signal that ended the child; always 0 on Windows, where a process has no signals.
    int termSignal() const { return termSignal_; }
    long pid() const { return pid_; }

    // What the child wrote so far. On Windows its "\r\n" line ends (text mode) read as "\n".
    std::string out() const;
    std::string err() const;

private:
    struct Native;  // the platform's process and pipe handles

    // Platform parts.
    bool spawn(const Options& options);
    // Waits up to `timeout` for the process to end; true once it has (then fills the status).
    bool waitNative(std::chrono::milliseconds timeout);
    void killNative();
    // Reads one output (0 out, 1 err) to its end, on a reader thread; gives up when
    // stopReading_ is set (a grandchild that keeps the pipe open must not hold the test).
    void readOutput(int which);
    void closeNative();

    // The destructor's work. The constructor and the destructor are in the platform's file,
    // where Native is complete.
    void finish();
    void append(int which, const char* bytes, std::size_t count);
    void joinReaders();

    std::unique_ptr<Native> native_;
    bool started_ = false;
    bool ended_ = false;
    int exitStatus_ = -1;
    int termSignal_ = 0;
    long pid_ = -1;

    mutable std::mutex mutex_;  // guards text_ and closed_
    std::condition_variable changed_;
    std::string text_[2];
    bool closed_[2] = {false, false};
    bool pendingCr_[2] = {false, false};  // a "\r" whose next byte is not read yet (Windows)
    std::thread readers_[2];
    std::atomic<bool> stopReading_{false};
};

}  // namespace zeta::test
