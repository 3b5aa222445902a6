// zetavoro status: the board's status reports for a while.
#pragma once

#include "Command.h"

namespace zeta::cli {

class StatusCommand : public Command {
public:
    StatusCommand();
    void run(Session& session) override;

protected:
    void addOptions(CLI::App& app) override;

private:
    double seconds_ = 3.0;
};

}  // namespace zeta::cli
