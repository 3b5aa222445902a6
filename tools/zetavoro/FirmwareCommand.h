// zetavoro firmware: writes a firmware or splash image file into the board.
#pragma once

#include <string>

#include "Command.h"

namespace zeta::cli {

class FirmwareCommand : public Command {
public:
    FirmwareCommand();
    void run(Session& session) override;

protected:
    void addOptions(CLI::App& app) override;

private:
    std::string file_;
};

}  // namespace zeta::cli
