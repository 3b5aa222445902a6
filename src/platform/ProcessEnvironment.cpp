#include "platform/ProcessEnvironment.h"

#include <cstdlib>

#if defined(_WIN32)
#include <io.h>
#include <process.h>
#else
#include <unistd.h>
#endif

namespace zeta::platform {

#if defined(_WIN32)

void setEnvironmentVariable(const std::string& name, const std::string& value) {
    _putenv_s(name.c_str(), value.c_str());
}

void unsetEnvironmentVariable(const std::string& name) {
    _putenv_s(name.c_str(), "");
}

long currentProcessId() {
    return static_cast<long>(_getpid());
}

bool isTerminal(std::FILE* stream) {
    return _isatty(_fileno(stream)) != 0;
}

#else

void setEnvironmentVariable(const std::string& name, const std::string& value) {
    ::setenv(name.c_str(), value.c_str(), 1);
}

void unsetEnvironmentVariable(const std::string& name) {
    ::unsetenv(name.c_str());
}

long currentProcessId() {
    return static_cast<long>(::getpid());
}

bool isTerminal(std::FILE* stream) {
    return ::isatty(::fileno(stream)) != 0;
}

#endif

namespace {

#if defined(_WIN32)
int duplicate(int fd) {
    return _dup(fd);
}
int duplicateOnto(int fd, int target) {
    return _dup2(fd, target);
}
int descriptorOf(std::FILE* stream) {
    return _fileno(stream);
}
std::FILE* streamOn(int fd) {
    return _fdopen(fd, "w");
}
void closeDescriptor(int fd) {
    _close(fd);
}
#else
int duplicate(int fd) {
    return ::dup(fd);
}
int duplicateOnto(int fd, int target) {
    return ::dup2(fd, target);
}
int descriptorOf(std::FILE* stream) {
    return ::fileno(stream);
}
std::FILE* streamOn(int fd) {
    return ::fdopen(fd, "w");
}
void closeDescriptor(int fd) {
    ::close(fd);
}
#endif

}  // namespace

std::FILE* divertStandardOutput(const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "w");
    if (file == nullptr) return nullptr;
    std::fflush(stdout);
    const int original = duplicate(descriptorOf(stdout));
    std::FILE* before = original >= 0 ? streamOn(original) : nullptr;
    if (before == nullptr || duplicateOnto(descriptorOf(file), descriptorOf(stdout)) < 0) {
        if (before != nullptr) {
            std::fclose(before);
        } else if (original >= 0) {
            closeDescriptor(original);
        }
        std::fclose(file);
        return nullptr;
    }
    std::fclose(file);  // standard output holds its own descriptor of the file now
    return before;
}

}  // namespace zeta::platform
