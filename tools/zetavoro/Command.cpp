#include "Command.h"

#include <CLI/CLI.hpp>

#include <utility>

namespace zeta::cli {

Command::Command(std::string name, std::string description)
    : name_(std::move(name)), description_(std::move(description)) {}

void Command::define(CLI::App& parent) {
    app_ = parent.add_subcommand(name_, description_);
    addOptions(*app_);
    common_.addTo(*app_);
}

bool Command::chosen() const {
    return app_ != nullptr && app_->parsed();
}

}  // namespace zeta::cli
