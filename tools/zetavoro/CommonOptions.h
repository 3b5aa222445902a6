// The options every subcommand takes.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace zeta::cli {

struct CommonOptions {
    std::string mode = "STRIPE";
    std::string board = "sim:board0";
    std::vector<std::string> cameras;  // serials, in camera-index order; empty: every camera
    std::string type = "ZV";           // camera type enumerated when no camera is named
    std::string rig;                   // virtual scanner's rig file (ZETA_SIM_RIG)
    std::string journal;               // virtual scanner's journal file (ZETA_SIM_JOURNAL)
    std::string logDir;                // empty: <temp>/zetavoro
    bool verbose = false;

    // Adds the options to a subcommand.
    void addTo(CLI::App& app);
};

}  // namespace zeta::cli
