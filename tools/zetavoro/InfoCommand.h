// zetavoro info: firmware, cameras and trigger settings of a connection.
#pragma once

#include "Command.h"

namespace zeta::cli {

class InfoCommand : public Command {
public:
    InfoCommand();
    void run(Session& session) override;

protected:
    void addOptions(CLI::App& app) override;
};

}  // namespace zeta::cli
