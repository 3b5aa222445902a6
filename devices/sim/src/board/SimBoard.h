// The simulated projector control board.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "RigConfig.h"
#include "TriggerBus.h"
#include "zetaVoroSim/SimControl.h"
#include "zetaVoroSim/SimExport.h"

namespace zeta::sim {

// One board per rig. Every public method is thread-safe.
// CONTRACT used by the rest of the virtual scanner (VirtualScanner, the control API); the board
// operations called by the board library are declared below it.
class ZETA_SIM_API SimBoard {
public:
    SimBoard(const BoardConfig& config, std::shared_ptr<TriggerBus> bus);
    ~SimBoard();
    SimBoard(const SimBoard&) = delete;
    SimBoard& operator=(const SimBoard&) = delete;

    // Stops the engine thread; every later operation fails. Idempotent.
    void shutdown();

    bool acceptsPath(const std::string& path) const;
    bool present() const;
    void setPresent(bool present);
    void setStatus(std::uint8_t first, std::uint8_t second, std::uint8_t state, bool flag);
    void sessionOpened();
    void sessionClosed();

    BoardState state() const;
    std::vector<std::vector<std::uint8_t>> sentCommands(bool report) const;
    ImageStoreState imageStore() const;
};

}  // namespace zeta::sim
