// The virtual scanner of this process: the loaded rig, its devices, the journal and the faults.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "FaultTable.h"
#include "HandleTable.h"
#include "Journal.h"
#include "RigConfig.h"
#include "SimClock.h"
#include "zetaVoroSim/SimExport.h"

namespace zeta::sim {

class SimBoard;
class SimCamera;
class TriggerBus;
class CameraHandle;

// One loaded rig: its clock starts at the load, its devices share one trigger bus. A broken rig
// (unreadable or malformed file) has no devices, and every device call fails.
struct ZETA_SIM_API Rig {
    Rig();
    ~Rig();
    Rig(const Rig&) = delete;
    Rig& operator=(const Rig&) = delete;

    std::shared_ptr<SimCamera> cameraBySerial(const std::string& serial) const;

    RigConfig config;
    bool broken = false;
    std::string error;  // why the rig is broken
    SimClock clock;
    std::shared_ptr<TriggerBus> bus;
    std::shared_ptr<SimBoard> board;
    std::vector<std::shared_ptr<SimCamera>> cameras;  // in rig order
};

// An open board connection (the object behind a board handle).
struct BoardSession {
    std::shared_ptr<SimBoard> board;
};

// Process-wide, created at the first device call. Thread-safe: the mutex guards which rig is
// current; the rig's devices and the tables guard themselves. A reload builds the new rig, makes
// it current, forgets every handle, then shuts the old devices down, so a call still running on
// an old device ends with a failure.
class ZETA_SIM_API VirtualScanner {
public:
    static VirtualScanner& instance();

    ~VirtualScanner();
    VirtualScanner(const VirtualScanner&) = delete;
    VirtualScanner& operator=(const VirtualScanner&) = delete;

    // Replaces the rig. `source` names the file in messages ("" for text from the control API).
    bool loadText(const std::string& text, const std::string& source, std::string* error);
    bool loadFile(const std::string& path, std::string* error);
    // ZETA_SIM_RIG, or the built-in rig.
    bool reloadFromEnvironment(std::string* error);

    std::shared_ptr<Rig> rig() const;

    Journal& journal() { return journal_; }
    FaultTable& faults() { return faults_; }
    HandleTable<BoardSession>& boardHandles() { return boardHandles_; }
    HandleTable<CameraHandle>& cameraHandles() { return cameraHandles_; }

private:
    VirtualScanner();
    void install(std::shared_ptr<Rig> rig);

    mutable std::mutex mutex_;  // guards rig_
    std::shared_ptr<Rig> rig_;
    Journal journal_;
    FaultTable faults_;
    HandleTable<BoardSession> boardHandles_;
    HandleTable<CameraHandle> cameraHandles_;
};

}  // namespace zeta::sim
