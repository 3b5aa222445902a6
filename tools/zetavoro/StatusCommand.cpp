#include "StatusCommand.h"

#include <CLI/CLI.hpp>

#include <atomic>
#include <chrono>
#include <thread>

#include <zetaVoroSync/zetaVoroSync.h>

#include "CommandError.h"
#include "Format.h"
#include "ScannerConnection.h"

namespace zeta::cli {
namespace {

using namespace zetaVoroSync;

// Shared by the main thread and the library's status thread, which prints each report.
struct StatusReports {
    Console* console = nullptr;
    std::chrono::steady_clock::time_point start;
    std::atomic<int> count{0};
};

// The status callback: runs on the library's status thread every 200 ms.
void onStatus(const void* const& context, const unsigned long& second, const unsigned long& state2,
              const unsigned long& state3, const bool& flag) {
    auto* reports = static_cast<StatusReports*>(const_cast<void*>(context));
    const double at =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - reports->start).count();
    std::string line = "  " + fixed(at, 2) + " s  ";
    if (second == 65535 && state2 == 65535 && state3 == 65535) {
        line += "board could not be read";
    } else if (second == 65534) {
        line += "device not ready";
    } else {
        line += "second status " + std::to_string(second) + "  two-bit state " +
                std::to_string(state2) + "  three-bit state " + std::to_string(state3) + "  flag " +
                (flag ? "true" : "false");
    }
    ++reports->count;
    reports->console->line(line);
}

}  // namespace

StatusCommand::StatusCommand()
    : Command("status", "Print the board's status reports for a while") {}

void StatusCommand::addOptions(CLI::App& app) {
    app.add_option("--seconds", seconds_, "how long to watch")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
}

void StatusCommand::run(Session& session) {
    // Declared before the connection: the library calls into it until the connection ends.
    StatusReports reports;
    reports.console = &session.console();
    ScannerConnection connection(session);
    session.console().line(connection.connectedLine());

    reports.start = std::chrono::steady_clock::now();
    check(SetStatusCallBackFunction(connection.handle(), &onStatus, &reports),
          "SetStatusCallBackFunction");
    std::this_thread::sleep_until(reports.start + std::chrono::duration<double>(seconds_));
    // Waits for a running report to return.
    check(SetStatusCallBackFunction(connection.handle(), nullptr, nullptr),
          "SetStatusCallBackFunction");
    const int count = reports.count.load();
    session.console().line("status: " + std::to_string(count) +
                           (count == 1 ? " report in " : " reports in ") + fixed(seconds_, 1) +
                           " s");
    connection.disconnect();
}

}  // namespace zeta::cli
