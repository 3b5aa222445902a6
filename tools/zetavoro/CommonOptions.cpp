#include "CommonOptions.h"

#include <CLI/CLI.hpp>

namespace zeta::cli {

void CommonOptions::addTo(CLI::App& app) {
    auto* group = app.add_option_group("Scanner", "where the scanner is and how to connect");
    group->add_option("--mode", mode, "scan mode named to ConnectDevice (exact, case-sensitive)")
        ->capture_default_str();
    group->add_option("--board", board, "device path of the projector board")
        ->capture_default_str();
    group
        ->add_option("--camera", cameras,
                     "a camera to connect, by serial; repeat for several (default: every camera "
                     "of --type)")
        ->allow_extra_args(false);
    group->add_option("--type", type, "camera type enumerated when no --camera is given")
        ->capture_default_str();
    group->add_option("--rig", rig, "rig file of the virtual scanner (sets ZETA_SIM_RIG)");
    group->add_option("--journal", journal,
                      "append every device call to this file as JSON lines (sets "
                      "ZETA_SIM_JOURNAL)");
    group->add_option("--log-dir", logDir,
                      "folder of the library's log and console lines (default: <temp>/zetavoro)");
    group->add_flag("--verbose", verbose,
                    "show the library's log and console lines on the terminal instead");
}

}  // namespace zeta::cli
