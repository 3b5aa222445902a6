#include "Console.h"

#include <fcntl.h>

#ifdef _WIN32
#include <io.h>
#define ZETA_DUP _dup
#define ZETA_DUP2 _dup2
#define ZETA_FILENO _fileno
#define ZETA_FDOPEN _fdopen
#define ZETA_CLOSE _close
#else
#include <unistd.h>
#define ZETA_DUP dup
#define ZETA_DUP2 dup2
#define ZETA_FILENO fileno
#define ZETA_FDOPEN fdopen
#define ZETA_CLOSE close
#endif

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
    std::FILE* file = std::fopen(path.c_str(), "w");
    if (file == nullptr) return false;

    std::fflush(stdout);
    const int original = ZETA_DUP(ZETA_FILENO(stdout));
    std::FILE* programOut = original >= 0 ? ZETA_FDOPEN(original, "w") : nullptr;
    if (programOut == nullptr || ZETA_DUP2(ZETA_FILENO(file), ZETA_FILENO(stdout)) < 0) {
        if (programOut != nullptr) {
            std::fclose(programOut);
        } else if (original >= 0) {
            ZETA_CLOSE(original);
        }
        std::fclose(file);
        return false;
    }
    std::fclose(file);  // standard output holds its own descriptor of the file now
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
