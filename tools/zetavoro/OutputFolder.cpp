#include "OutputFolder.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "CommandError.h"

namespace zeta::cli {

OutputFolder::OutputFolder(std::string folder) : folder_(std::move(folder)) {
    std::error_code error;
    std::filesystem::create_directories(folder_, error);
    if (error) {
        throw CommandError(CommandError::kUsage, "cannot create the output folder \"" + folder_ +
                                                     "\": " + error.message());
    }
}

std::string OutputFolder::write(const std::string& name, const Image& image) {
    const std::string path = (std::filesystem::path(folder_) / name).string();
    if (image.empty()) {
        throw CommandError(CommandError::kOperationFailed,
                           "cannot write " + path + ": the library delivered no image data");
    }
    if (!image.writePng(path)) {
        throw CommandError(CommandError::kOperationFailed, "cannot write " + path);
    }
    ++filesWritten_;
    return path;
}

}  // namespace zeta::cli
