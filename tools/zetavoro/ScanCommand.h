// zetavoro scan: stripe scans, each group saved as PNG files plus one contact sheet.
#pragma once

#include <optional>
#include <string>

#include "Command.h"

namespace zeta::cli {

class ScanCommand : public Command {
public:
    ScanCommand();
    void run(Session& session) override;

protected:
    void addOptions(CLI::App& app) override;

private:
    int scans_ = 1;
    int periodMs_ = 10;
    std::optional<double> exposureMs_;
    std::string out_ = "out";
};

}  // namespace zeta::cli
