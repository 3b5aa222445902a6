// zetavoro preview: stream every camera for a while, printing frame rates and dropped frames,
// and save each camera's last frame.
#pragma once

#include <string>

#include "Command.h"

namespace zeta::cli {

class PreviewCommand : public Command {
public:
    PreviewCommand();
    void run(Session& session) override;

protected:
    void addOptions(CLI::App& app) override;

private:
    double seconds_ = 5.0;
    int periodMs_ = 100;
    std::string out_ = "out";
};

}  // namespace zeta::cli
