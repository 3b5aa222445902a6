#include "FirmwareCommand.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <zetaVoroSync/zetaVoroSync.h>

#include "CommandError.h"
#include "Format.h"
#include "ProgressBar.h"
#include "ScannerConnection.h"

namespace zeta::cli {
namespace {

using namespace zetaVoroSync;

// The progress callback: runs on the thread that called UpdateFirewareImageData, with the
// library's main lock held, in hundredths of a percent.
void onProgress(const void* context, int hundredths) {
    auto* bar = static_cast<ProgressBar*>(const_cast<void*>(context));
    bar->update(hundredths / 10000.0);
}

bool endsWith(const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() &&
           text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

}  // namespace

FirmwareCommand::FirmwareCommand()
    : Command("firmware",
              "Write a firmware image (or a splash image, FILE ending in .SPLASH) "
              "into the board") {}

void FirmwareCommand::addOptions(CLI::App& app) {
    app.add_option("FILE", file_, "the image file")->required();
}

void FirmwareCommand::run(Session& session) {
    std::uintmax_t size = 0;
    {
        std::ifstream file(file_, std::ios::binary);
        std::error_code error;
        if (!file || std::filesystem::is_directory(file_, error)) {
            const std::string reason = std::filesystem::is_directory(file_, error)
                                           ? "Is a directory"
                                           : std::strerror(errno);
            throw CommandError(CommandError::kUsage, "cannot read \"" + file_ + "\": " + reason);
        }
        size = std::filesystem::file_size(file_, error);
    }

    ScannerConnection connection(session);
    Console& console = session.console();
    console.line(connection.connectedLine());
    // The library tells the two kinds apart by the name, case-sensitively.
    const bool splash = endsWith(file_, ".SPLASH");
    console.line("firmware: writing " + file_ + " (" + std::to_string(size) + " bytes) as a " +
                 (splash ? "splash image" : "firmware image"));

    const auto start = std::chrono::steady_clock::now();
    const std::wstring path = std::filesystem::path(file_).wstring();
    RETSTATUS status = RET_OPERATE_FAILED;
    {
        ProgressBar bar("firmware", 0);
        // The image type argument is not used by the library but must be positive.
        status = UpdateFirewareImageData(connection.handle(), path.c_str(), 1, &onProgress, &bar);
    }
    check(status, "UpdateFirewareImageData");
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    console.line("firmware: done in " + fixed(seconds, 1) + " s");
    connection.disconnect();
}

}  // namespace zeta::cli
