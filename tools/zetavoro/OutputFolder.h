// The folder a subcommand writes its images to.
#pragma once

#include <string>

#include "Image.h"

namespace zeta::cli {

class OutputFolder {
public:
    // Creates the folder when missing; throws CommandError (exit 2) when it cannot.
    explicit OutputFolder(std::string folder);

    // Writes `image` as PNG file `name` and returns its path ("out/snap_cam0.png"). Throws
    // CommandError (exit 1) when the file cannot be written.
    std::string write(const std::string& name, const Image& image);

    const std::string& folder() const { return folder_; }
    int filesWritten() const { return filesWritten_; }

private:
    std::string folder_;
    int filesWritten_ = 0;
};

}  // namespace zeta::cli
