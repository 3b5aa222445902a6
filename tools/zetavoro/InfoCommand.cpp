#include "InfoCommand.h"

#include <zetaVoroSync/zetaVoroSync.h>

#include "CommandError.h"
#include "ScannerConnection.h"

namespace zeta::cli {

using namespace zetaVoroSync;

InfoCommand::InfoCommand()
    : Command("info", "Connect and print the firmware version, the cameras and the triggers") {}

void InfoCommand::addOptions(CLI::App& /*app*/) {}

void InfoCommand::run(Session& session) {
    ScannerConnection connection(session);
    Console& console = session.console();
    console.line(connection.connectedLine());

    std::string version;
    check(GetFirewareVersion(connection.handle(), nullptr, nullptr, version), "GetFirewareVersion");
    console.line("firmware: " + version);

    const auto& cameras = connection.cameras();
    console.line("cameras: " + std::to_string(cameras.size()));
    for (std::size_t i = 0; i < cameras.size(); ++i) {
        int channels = 0;
        check(GetSpecifyCameraChannelNum(connection.handle(), static_cast<int>(i), channels),
              "GetSpecifyCameraChannelNum");
        const ConnectedCamera& camera = cameras[i];
        console.line("  " + std::to_string(i) + "  " + camera.serial + "  " +
                     std::to_string(camera.width) + " x " + std::to_string(camera.height) + "  " +
                     (camera.colour ? "colour  " : "mono    ") + "channels " +
                     std::to_string(channels));
    }

    console.line("triggers:");
    for (const CONTROLROUTE route : {CONTROLROUTE_MONO, CONTROLROUTE_COLOR}) {
        int period = 0;
        int width = 0;
        TRIGGERPOLARITY polarity = TRIGGERPOLARITY_LOW;
        check(GetVideoTriggerPeriod(connection.handle(), route, period), "GetVideoTriggerPeriod");
        check(GetTriggerPulseWidth(connection.handle(), route, width), "GetTriggerPulseWidth");
        check(GetTriggerPolarity(connection.handle(), route, polarity), "GetTriggerPolarity");
        console.line(std::string(route == CONTROLROUTE_MONO ? "  mono    " : "  colour  ") +
                     "period " + std::to_string(period) + " ms  pulse width " +
                     std::to_string(width) + " ms  polarity " +
                     std::to_string(static_cast<int>(polarity)));
    }
    connection.disconnect();
}

}  // namespace zeta::cli
