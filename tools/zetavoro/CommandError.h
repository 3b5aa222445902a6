// The error that ends a subcommand: a message for standard error and the program's exit status.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include <zetaVoroSync/zetaVoroSync.h>

namespace zeta::cli {

class CommandError : public std::runtime_error {
public:
    // Exit status 1: an operation of the library failed, or the scanner did not deliver.
    static constexpr int kOperationFailed = 1;
    // Exit status 2: the command line or an input file is wrong.
    static constexpr int kUsage = 2;

    CommandError(int exitStatus, const std::string& message, std::vector<std::string> details = {});

    // "<operation> failed: <status text> (status <n>)", with the given detail lines.
    static CommandError fromStatus(const std::string& operation, zetaVoroSync::RETSTATUS status,
                                   std::vector<std::string> details = {});

    int exitStatus() const { return exitStatus_; }
    // Lines printed under the message, each indented by two spaces.
    const std::vector<std::string>& details() const { return details_; }

private:
    int exitStatus_;
    std::vector<std::string> details_;
};

// The library's text for a status, through GetStatusDescriptionString (its buffer is freed here).
std::string statusText(zetaVoroSync::RETSTATUS status);

// Throws CommandError::fromStatus unless `status` is RET_OPERATE_SUCCESS.
void check(zetaVoroSync::RETSTATUS status, const std::string& operation);

}  // namespace zeta::cli
