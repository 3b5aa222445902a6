#include "CommandError.h"

#include <cstdlib>
#include <utility>

namespace zeta::cli {

CommandError::CommandError(int exitStatus, const std::string& message,
                           std::vector<std::string> details)
    : std::runtime_error(message), exitStatus_(exitStatus), details_(std::move(details)) {}

CommandError CommandError::fromStatus(const std::string& operation, zetaVoroSync::RETSTATUS status,
                                      std::vector<std::string> details) {
    return CommandError(kOperationFailed,
                        operation + " failed: " + statusText(status) + " (status " +
                            std::to_string(static_cast<int>(status)) + ")",
                        std::move(details));
}

std::string statusText(zetaVoroSync::RETSTATUS status) {
    // The library only fills a non-null pointer; the old value is neither read nor freed.
    static char placeholder = 0;
    char* text = &placeholder;
    zetaVoroSync::GetStatusDescriptionString(status, text);
    if (text == &placeholder || text == nullptr) return "unknown status";
    std::string result(text);
    std::free(text);  // malloc'd by the library, ours to free
    return result.empty() ? "unknown status" : result;
}

void check(zetaVoroSync::RETSTATUS status, const std::string& operation) {
    if (status != zetaVoroSync::RET_OPERATE_SUCCESS)
        throw CommandError::fromStatus(operation, status);
}

}  // namespace zeta::cli
