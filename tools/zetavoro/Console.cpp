#include "Console.h"

#include "platform/ProcessEnvironment.h"

namespace zeta::cli {

Console::Console() : out_(stdout) {}

Console::~Console() {
    std::lock_guard lock(mutex_);
    std::fflush(out_);
    if (ownsOut_) std::fclose(out_);
}

bool Console::redirectLibraryLines(const std::string& path) {
    std::lock_guard lock(mutex_);
    if (ownsOut_) return true;
    std::FILE* programOut = platform::divertStandardOutput(path);
    if (programOut == nullptr) return false;
    out_ = programOut;
    ownsOut_ = true;
    return true;
}

void Console::line(const std::string& text) {
    std::lock_guard lock(mutex_);
    std::fputs(text.c_str(), out_);
    std::fputc('\n', out_);
    std::fflush(out_);
}

void Console::error(const std::string& text) {
    std::lock_guard lock(mutex_);
    std::fflush(out_);
    std::fputs(text.c_str(), stderr);
    std::fputc('\n', stderr);
    std::fflush(stderr);
}

}  // namespace zeta::cli
