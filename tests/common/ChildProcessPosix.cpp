// ChildProcess on POSIX systems: fork and execve, pipes read with poll, waitpid.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "ChildProcess.h"

extern char** environ;

namespace zeta::test {

struct ChildProcess::Native {
    pid_t pid = -1;
    int fds[2] = {-1, -1};  // read ends of the child's stdout and stderr
};

ChildProcess::ChildProcess() = default;

ChildProcess::~ChildProcess() {
    finish();
}

bool ChildProcess::spawn(const Options& options) {
    native_ = std::make_unique<Native>();
    // Everything the child needs is built before the fork: between fork and exec the child may
    // only make async-signal-safe calls.
    std::vector<std::string> envText;
    for (char** e = environ; *e != nullptr; ++e) {
        const std::string entry(*e);
        const std::string name = entry.substr(0, entry.find('='));
        if (options.setVars.count(name) != 0) continue;
        if (std::find(options.unsetVars.begin(), options.unsetVars.end(), name) !=
            options.unsetVars.end()) {
            continue;
        }
        envText.push_back(entry);
    }
    for (const auto& [name, value] : options.setVars) envText.push_back(name + "=" + value);
    std::vector<char*> envp;
    for (std::string& entry : envText) envp.push_back(entry.data());
    envp.push_back(nullptr);

    std::vector<std::string> argText{options.program.string()};
    argText.insert(argText.end(), options.args.begin(), options.args.end());
    std::vector<char*> argv;
    for (std::string& arg : argText) argv.push_back(arg.data());
    argv.push_back(nullptr);
    const std::string dirText = options.workDir.string();

    int outPipe[2];
    int errPipe[2];
    if (::pipe2(outPipe, O_CLOEXEC) != 0) return false;
    if (::pipe2(errPipe, O_CLOEXEC) != 0) {
        ::close(outPipe[0]);
        ::close(outPipe[1]);
        return false;
    }
    const pid_t pid = ::fork();
    if (pid < 0) {
        for (int fd : {outPipe[0], outPipe[1], errPipe[0], errPipe[1]}) ::close(fd);
        return false;
    }
    if (pid == 0) {
        // The child: its own process group, so that kill() ends whatever it started.
        ::setpgid(0, 0);
        ::dup2(outPipe[1], STDOUT_FILENO);
        ::dup2(errPipe[1], STDERR_FILENO);
        const int devNull = ::open("/dev/null", O_RDONLY);
        if (devNull >= 0) ::dup2(devNull, STDIN_FILENO);
        if (!dirText.empty() && ::chdir(dirText.c_str()) != 0) ::_exit(126);
        ::execve(argv[0], argv.data(), envp.data());
        ::_exit(127);
    }
    ::close(outPipe[1]);
    ::close(errPipe[1]);
    native_->pid = pid;
    native_->fds[0] = outPipe[0];
    native_->fds[1] = errPipe[0];
    pid_ = static_cast<long>(pid);
    return true;
}

void ChildProcess::readOutput(int which) {
    const int fd = native_->fds[which];
    char buffer[4096];
    while (!stopReading_) {
        pollfd ready{fd, POLLIN, 0};
        const int polled = ::poll(&ready, 1, 50);
        if (polled < 0 && errno != EINTR) break;
        if (polled <= 0) continue;
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n > 0) {
            append(which, buffer, static_cast<std::size_t>(n));
            continue;
        }
        if (n < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        break;  // end of the output, or an error
    }
    append(which, buffer, 0);
}

bool ChildProcess::waitNative(std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        int status = 0;
        const pid_t done = ::waitpid(native_->pid, &status, WNOHANG);
        if (done == native_->pid) {
            if (WIFEXITED(status)) exitStatus_ = WEXITSTATUS(status);
            if (WIFSIGNALED(status)) termSignal_ = WTERMSIG(status);
            return true;
        }
        if (done < 0 && errno != EINTR) return true;  // nothing left to wait for
        if (std::chrono::steady_clock::now() >= deadline) return false;
        pollfd none{};
        ::poll(&none, 0, 5);
    }
}

void ChildProcess::killNative() {
    ::kill(-native_->pid, SIGKILL);
    ::kill(native_->pid, SIGKILL);
}

void ChildProcess::closeNative() {
    if (!native_) return;
    for (int& fd : native_->fds) {
        if (fd >= 0) ::close(fd);
        fd = -1;
    }
}

}  // namespace zeta::test
