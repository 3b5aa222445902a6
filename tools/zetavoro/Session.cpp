#include "Session.h"

#include <glog/logging.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

#include "CommandError.h"
#include "platform/ProcessEnvironment.h"

namespace zeta::cli {
namespace {

std::string inQuotes(const std::string& text) {
    return "\"" + text + "\"";
}

}  // namespace

Session::Session(std::string command, const CommonOptions& options, Console& console)
    : command_(std::move(command)), options_(options), console_(console) {
    logDir_ = options_.logDir.empty()
                  ? (std::filesystem::temp_directory_path() / "zetavoro").string()
                  : options_.logDir;
}

void Session::prepare() {
    namespace fs = std::filesystem;
    if (!options_.rig.empty()) {
        std::error_code error;
        if (fs::is_directory(options_.rig, error)) {
            throw CommandError(
                CommandError::kUsage,
                "cannot read the rig file " + inQuotes(options_.rig) + ": Is a directory");
        }
        std::ifstream rig(options_.rig);
        if (!rig) {
            throw CommandError(
                CommandError::kUsage,
                "cannot read the rig file " + inQuotes(options_.rig) + ": " + std::strerror(errno));
        }
        platform::setEnvironmentVariable("ZETA_SIM_RIG", options_.rig);
    }
    if (!options_.journal.empty()) {
        std::FILE* journal = std::fopen(options_.journal.c_str(), "a");
        if (journal == nullptr) {
            throw CommandError(CommandError::kUsage, "cannot write the journal file " +
                                                         inQuotes(options_.journal) + ": " +
                                                         std::strerror(errno));
        }
        std::fclose(journal);
        platform::setEnvironmentVariable("ZETA_SIM_JOURNAL", options_.journal);
    }

    if (options_.verbose) {
        FLAGS_logtostderr = true;
        google::InitGoogleLogging("zetavoro");
        return;
    }
    std::error_code error;
    fs::create_directories(logDir_, error);
    if (error) {
        throw CommandError(CommandError::kUsage, "cannot create the log folder " +
                                                     inQuotes(logDir_) + ": " + error.message());
    }
    FLAGS_log_dir = logDir_;
    google::InitGoogleLogging("zetavoro");
#if defined(_WIN32)
    // glog makes its latest-log link <log-dir>/zetavoro.INFO only where there are symbolic links:
    // on Windows the information log goes into that file itself (appended to), so that the
    // details line names a file that is there.
    FLAGS_timestamp_in_logfile_name = false;
    google::SetLogSymlink(google::GLOG_INFO, "");
    google::SetLogDestination(google::GLOG_INFO,
                              (fs::path(logDir_) / "zetavoro.INFO").string().c_str());
#endif
    const std::string consoleFile =
        (fs::path(logDir_) /
         ("zetavoro-" + std::to_string(platform::currentProcessId()) + ".console.txt"))
            .string();
    if (!console_.redirectLibraryLines(consoleFile)) {
        throw CommandError(
            CommandError::kUsage,
            "cannot write the console file " + inQuotes(consoleFile) + ": " + std::strerror(errno));
    }
}

std::string Session::detailsLine() const {
    if (options_.verbose) return "";
    google::FlushLogFiles(google::GLOG_INFO);
    return "details: " + (std::filesystem::path(logDir_) / "zetavoro.INFO").string();
}

}  // namespace zeta::cli
