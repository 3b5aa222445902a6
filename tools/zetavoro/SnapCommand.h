// zetavoro snap: one image of one camera, one group of the mono cameras, or one RGB image.
#pragma once

#include <string>

#include <zetaVoroSync/zetaVoroSync.h>

#include "Command.h"

namespace zeta::cli {

class SnapCommand : public Command {
public:
    SnapCommand();
    void run(Session& session) override;

protected:
    void addOptions(CLI::App& app) override;

private:
    int index_ = 0;
    bool group_ = false;
    bool rgb_ = false;
    zetaVoroSync::PROJECTTYPES pattern_ = zetaVoroSync::PROJECT_WHITE;
    std::string out_ = "out";
};

}  // namespace zeta::cli
