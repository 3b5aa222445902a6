#include "ProgramRun.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <sstream>

extern char** environ;

namespace zeta::tools::test {

namespace {

// Appends what `fd` has to `text`; false once the other end is closed (or on an error).
bool drain(int fd, std::string& text) {
    char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n > 0) {
            text.append(buffer, static_cast<std::size_t>(n));
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return true;
        return false;
    }
}

}  // namespace

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

    // Everything the child needs is built before the fork: between fork and exec the child may
    // only make async-signal-safe calls.
    std::vector<std::string> envText;
    for (char** e = environ; *e != nullptr; ++e) {
        const std::string entry(*e);
        const std::string name = entry.substr(0, entry.find('='));
        if (setVars_.count(name) != 0) continue;
        if (std::find(unsetVars_.begin(), unsetVars_.end(), name) != unsetVars_.end()) continue;
        envText.push_back(entry);
    }
    for (const auto& [name, value] : setVars_) envText.push_back(name + "=" + value);
    std::vector<char*> envp;
    for (std::string& entry : envText) envp.push_back(entry.data());
    envp.push_back(nullptr);

    std::string programText = program_.string();
    std::vector<std::string> argText{programText};
    argText.insert(argText.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& arg : argText) argv.push_back(arg.data());
    argv.push_back(nullptr);
    const std::string dirText = workDir_.string();

    int outPipe[2];
    int errPipe[2];
    if (::pipe2(outPipe, O_CLOEXEC) != 0) return false;
    if (::pipe2(errPipe, O_CLOEXEC) != 0) {
        ::close(outPipe[0]);
        ::close(outPipe[1]);
        return false;
    }

    const auto started = std::chrono::steady_clock::now();
    pid_ = ::fork();
    if (pid_ < 0) {
        for (int fd : {outPipe[0], outPipe[1], errPipe[0], errPipe[1]}) ::close(fd);
        return false;
    }
    if (pid_ == 0) {
        // The child: its own process group, so that a time-out kills whatever it started.
        ::setpgid(0, 0);
        ::dup2(outPipe[1], STDOUT_FILENO);
        ::dup2(errPipe[1], STDERR_FILENO);
        const int devNull = ::open("/dev/null", O_RDONLY);
        if (devNull >= 0) ::dup2(devNull, STDIN_FILENO);
        if (::chdir(dirText.c_str()) != 0) ::_exit(126);
        ::execve(argv[0], argv.data(), envp.data());
        ::_exit(127);
    }
    ::close(outPipe[1]);
    ::close(errPipe[1]);
    ::fcntl(outPipe[0], F_SETFL, O_NONBLOCK);
    ::fcntl(errPipe[0], F_SETFL, O_NONBLOCK);

    const auto deadline = started + timeout;
    bool outOpen = true;
    bool errOpen = true;
    bool reaped = false;
    int status = 0;
    while (!reaped) {
        pollfd fds[2];
        nfds_t count = 0;
        if (outOpen) fds[count++] = {outPipe[0], POLLIN, 0};
        if (errOpen) fds[count++] = {errPipe[0], POLLIN, 0};
        if (count > 0) {
            ::poll(fds, count, 20);
            if (outOpen) outOpen = drain(outPipe[0], out_);
            if (errOpen) errOpen = drain(errPipe[0], err_);
        }
        const pid_t done = ::waitpid(pid_, &status, WNOHANG);
        if (done == pid_) {
            reaped = true;
            break;
        }
        if (count == 0) {
            // Both outputs are closed but the program has not ended yet: wait for it without
            // spinning.
            pollfd none{};
            ::poll(&none, 0, 10);
        }
        if (std::chrono::steady_clock::now() > deadline) {
            timedOut_ = true;
            ::kill(-pid_, SIGKILL);
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, &status, 0);
            reaped = true;
        }
    }
    // Whatever the program wrote just before it ended.
    if (outOpen) drain(outPipe[0], out_);
    if (errOpen) drain(errPipe[0], err_);
    ::close(outPipe[0]);
    ::close(errPipe[0]);
    seconds_ = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();

    if (!timedOut_) {
        if (WIFEXITED(status)) exitStatus_ = WEXITSTATUS(status);
        if (WIFSIGNALED(status)) termSignal_ = WTERMSIG(status);
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
