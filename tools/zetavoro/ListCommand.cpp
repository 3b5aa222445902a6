#include "ListCommand.h"

#include "CameraDirectory.h"
#include "CommandError.h"

namespace zeta::cli {

ListCommand::ListCommand()
    : Command("list", "List the attached cameras of a type: serial, resolution, colour") {}

void ListCommand::addOptions(CLI::App& /*app*/) {}

void ListCommand::run(Session& session) {
    const CommonOptions& options = session.options();
    const CameraDirectory directory(options.type);

    std::vector<AttachedCamera> shown;
    if (options.cameras.empty()) {
        shown = directory.cameras();
    } else {
        for (const std::string& serial : options.cameras) {
            const AttachedCamera* camera = directory.find(serial);
            if (camera == nullptr) {
                throw CommandError(CommandError::kOperationFailed,
                                   "camera \"" + serial +
                                       "\" is not attached; attached cameras "
                                       "of type " +
                                       options.type + ": " + directory.serialList());
            }
            shown.push_back(*camera);
        }
    }

    session.console().line("cameras of type " + options.type + ": " + std::to_string(shown.size()));
    for (const AttachedCamera& camera : shown) {
        session.console().line("  " + camera.serial + "  " + std::to_string(camera.width) + " x " +
                               std::to_string(camera.height) + "  " +
                               (camera.colour ? "colour" : "mono"));
    }
}

}  // namespace zeta::cli
