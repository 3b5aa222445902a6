// A subcommand of zetavoro: its name, options and what it does.
#pragma once

#include <string>

#include "CommonOptions.h"
#include "Session.h"

namespace CLI {
class App;
}

namespace zeta::cli {

class Command {
public:
    Command(std::string name, std::string description);
    virtual ~Command() = default;
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    // Adds the subcommand to `parent`, with the options every subcommand takes and its own.
    void define(CLI::App& parent);
    // Whether the command line chose this subcommand.
    bool chosen() const;

    const std::string& name() const { return name_; }
    const CommonOptions& common() const { return common_; }

    // Does the work. Throws CommandError for anything that fails.
    virtual void run(Session& session) = 0;

protected:
    virtual void addOptions(CLI::App& app) = 0;

private:
    std::string name_;
    std::string description_;
    CommonOptions common_;
    CLI::App* app_ = nullptr;
};

}  // namespace zeta::cli
