// One run of a subcommand: its options, its output and the set-up of the library around it.
#pragma once

#include <string>

#include "CommonOptions.h"
#include "Console.h"

namespace zeta::cli {

class Session {
public:
    Session(std::string command, const CommonOptions& options, Console& console);

    // Checks the rig and journal files, points the virtual scanner at them through its
    // environment, and sends the library's log and console lines to the log folder (or, with
    // --verbose, to the terminal). Runs before the first call into the library. Throws
    // CommandError with exit status 2 for an unreadable rig file or an unwritable journal.
    void prepare();

    const std::string& command() const { return command_; }
    const CommonOptions& options() const { return options_; }
    Console& console() { return console_; }

    // "details: <log-dir>/zetavoro.INFO", or empty with --verbose (the log is on the terminal).
    // Flushes the library's log first, so the file holds everything up to the failure.
    std::string detailsLine() const;

private:
    std::string command_;
    const CommonOptions& options_;
    Console& console_;
    std::string logDir_;
};

}  // namespace zeta::cli
