// zetavoro list: the attached cameras of a type.
#pragma once

#include "Command.h"

namespace zeta::cli {

class ListCommand : public Command {
public:
    ListCommand();
    void run(Session& session) override;

protected:
    void addOptions(CLI::App& app) override;
};

}  // namespace zeta::cli
