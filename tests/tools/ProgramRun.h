// Runs a program as a child process in a working folder and captures what it did: its standard
// output, its standard error, how it ended and its process id (through ChildProcess, which has
// one implementation per platform).
#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace zeta::tools::test {

class ProgramRun {
public:
    // `program` is run with `workDir` as its working folder. The child gets the test's own
    // environment, changed by setEnv/unsetEnv.
    ProgramRun(std::filesystem::path program, std::filesystem::path workDir);

    void setEnv(const std::string& name, const std::string& value);
    void unsetEnv(const std::string& name);

    // Runs the program with `args` (argv[1] onwards, passed as they are: no shell is involved)
    // and waits for it at most `timeout`; a program still running then is killed and the run
    // counts as timed out. False when the program could not be started at all.
    bool run(const std::vector<std::string>& args,
             std::chrono::milliseconds timeout = std::chrono::seconds(90));

    // The exit status of a program that exited, -1 otherwise (killed by a signal or timed out).
    int exitStatus() const { return exitStatus_; }
    // The signal that ended the program, 0 when it exited (always 0 on Windows).
    int termSignal() const { return termSignal_; }
    bool timedOut() const { return timedOut_; }
    long pid() const { return pid_; }
    double seconds() const { return seconds_; }

    const std::string& out() const { return out_; }
    const std::string& err() const { return err_; }
    // The output split into lines, without their line ends.
    std::vector<std::string> outLines() const;
    std::vector<std::string> errLines() const;

    // The command line, how it ended and both outputs, for the message of a failed assertion.
    std::string describe() const;

private:
    std::filesystem::path program_;
    std::filesystem::path workDir_;
    std::map<std::string, std::string> setVars_;
    std::vector<std::string> unsetVars_;
    std::vector<std::string> args_;
    int exitStatus_ = -1;
    int termSignal_ = 0;
    bool timedOut_ = false;
    long pid_ = -1;
    double seconds_ = 0.0;
    std::string out_;
    std::string err_;
};

// Splits text into lines; a last line without a line end counts, an empty text has no lines.
std::vector<std::string> splitLines(const std::string& text);

}  // namespace zeta::tools::test
