// The program's own output, kept apart from the library's console lines.
//
// The library prints progress lines of its own on standard output. Unless the user asks to see
// them (--verbose), they are sent to a file: standard output is pointed at that file for the rest
// of the process, and the program writes its own lines through a duplicate of the original
// standard output. It is never pointed back, so that lines the library prints while the process
// ends (objects it destroys at exit) cannot land in the middle of the program's output.
#pragma once

#include <cstdio>
#include <mutex>
#include <string>

namespace zeta::cli {

class Console {
public:
    // Output goes to standard output as it is.
    Console();
    ~Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    // Points standard output (the library's console lines) at `path`, created or truncated, and
    // keeps the program's output on the original standard output. False (and nothing changed)
    // when the file cannot be opened.
    bool redirectLibraryLines(const std::string& path);

    // One line of the program's output, flushed. Safe from any thread (callbacks print too).
    void line(const std::string& text);
    // One line on standard error.
    void error(const std::string& text);

private:
    std::mutex mutex_;
    std::FILE* out_;
    bool ownsOut_ = false;
};

}  // namespace zeta::cli
