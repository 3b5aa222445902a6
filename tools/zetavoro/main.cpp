// zetavoro: the scanner from the command line.
//
// A host application of the library, built on its public header alone: it lists cameras,
// connects in a scan mode, snaps images, runs stripe scans, streams a preview, watches the
// board's status and writes firmware images. docs/zetavoro.md describes every subcommand.
//
// Exit status: 0 done; 1 an operation of the library failed or the scanner did not deliver;
// 2 the command line or an input file is wrong.
#include <CLI/CLI.hpp>

#include <exception>
#include <memory>
#include <vector>

#include "Command.h"
#include "CommandError.h"
#include "Console.h"
#include "FirmwareCommand.h"
#include "InfoCommand.h"
#include "ListCommand.h"
#include "PreviewCommand.h"
#include "ScanCommand.h"
#include "Session.h"
#include "SnapCommand.h"
#include "StatusCommand.h"

namespace {

using zeta::cli::Command;
using zeta::cli::CommandError;

int runChosen(Command& command, zeta::cli::Console& console) {
    const std::string prefix = "zetavoro " + command.name() + ": ";
    zeta::cli::Session session(command.name(), command.common(), console);
    try {
        session.prepare();
        command.run(session);
        return 0;
    } catch (const CommandError& error) {
        console.error(prefix + error.what());
        for (const std::string& detail : error.details()) console.error("  " + detail);
        if (error.exitStatus() == CommandError::kOperationFailed) {
            const std::string details = session.detailsLine();
            if (!details.empty()) console.error("  " + details);
        }
        return error.exitStatus();
    } catch (const std::exception& error) {
        console.error(prefix + "unexpected error: " + error.what());
        return CommandError::kOperationFailed;
    }
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{
        "zetavoro: the scanner from the command line. Runs on the virtual scanner unless "
        "the device libraries are real ones; see docs/zetavoro.md."};
    app.require_subcommand(1);

    std::vector<std::unique_ptr<Command>> commands;
    commands.push_back(std::make_unique<zeta::cli::ListCommand>());
    commands.push_back(std::make_unique<zeta::cli::InfoCommand>());
    commands.push_back(std::make_unique<zeta::cli::SnapCommand>());
    commands.push_back(std::make_unique<zeta::cli::ScanCommand>());
    commands.push_back(std::make_unique<zeta::cli::PreviewCommand>());
    commands.push_back(std::make_unique<zeta::cli::StatusCommand>());
    commands.push_back(std::make_unique<zeta::cli::FirmwareCommand>());
    for (auto& command : commands) command->define(app);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const int status = app.exit(error);
        return status == 0 ? 0 : CommandError::kUsage;
    }

    // Lives until the process ends: the library's console lines stay redirected to the end.
    static zeta::cli::Console console;
    for (auto& command : commands) {
        if (command->chosen()) return runChosen(*command, console);
    }
    return CommandError::kUsage;
}
