#include "ProgramRun.h"

#include <algorithm>
#include <sstream>

#include "ChildProcess.h"

namespace zeta::tools::test {

std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = text.find('\n', start);
        if (end == std::string::npos) {
            lines.push_back(text.substr(start));
            break;
        }
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

ProgramRun::ProgramRun(std::filesystem::path program, std::filesystem::path workDir)
    : program_(std::move(program)), workDir_(std::move(workDir)) {}

void ProgramRun::setEnv(const std::string& name, const std::string& value) {
    setVars_[name] = value;
    unsetVars_.erase(std::remove(unsetVars_.begin(), unsetVars_.end(), name), unsetVars_.end());
}

void ProgramRun::unsetEnv(const std::string& name) {
    setVars_.erase(name);
    unsetVars_.push_back(name);
}

bool ProgramRun::run(const std::vector<std::string>& args, std::chrono::milliseconds timeout) {
    args_ = args;
    exitStatus_ = -1;
    termSignal_ = 0;
    timedOut_ = false;
    out_.clear();
    err_.clear();

    zeta::test::ChildProcess child;
    zeta::test::ChildProcess::Options options;
    options.program = program_;
    options.args = args;
    options.workDir = workDir_;
    options.setVars = setVars_;
    options.unsetVars = unsetVars_;
    const auto started = std::chrono::steady_clock::now();
    if (!child.start(options)) return false;
    pid_ = child.pid();
    if (!child.waitForExit(timeout)) {
        timedOut_ = true;
        child.kill();
    }
    seconds_ = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    out_ = child.out();
    err_ = child.err();
    if (!timedOut_) {
        exitStatus_ = child.exitStatus();
        termSignal_ = child.termSignal();
    }
    return true;
}

std::vector<std::string> ProgramRun::outLines() const {
    return splitLines(out_);
}

std::vector<std::string> ProgramRun::errLines() const {
    return splitLines(err_);
}

std::string ProgramRun::describe() const {
    std::ostringstream text;
    text << "command: " << program_.filename().string();
    for (const std::string& arg : args_) text << " '" << arg << "'";
    text << "\n";
    if (timedOut_) {
        text << "timed out after " << seconds_ << " s\n";
    } else if (termSignal_ != 0) {
        text << "killed by signal " << termSignal_ << "\n";
    } else {
        text << "exit status " << exitStatus_ << " after " << seconds_ << " s\n";
    }
    text << "--- stdout ---\n" << out_ << "--- stderr ---\n" << err_ << "--- end ---";
    return text.str();
}

}  // namespace zeta::tools::test
