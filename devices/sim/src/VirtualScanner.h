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

    // The cameras' threads (see VirtualScanner).
    void startThreads();
    void stopThreads();

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
//
// Threads: the current rig's cameras run their threads only while at least one board or camera
// handle is open. The release of the last handle (zetaExitHidDev, ReleaseCamera, which the
// library's DisConnectDevice ends with) stops and joins them on the releasing thread, and the
// next open starts them again; meanwhile the cameras keep their settings. The board's engine runs
// its thread only while a trigger or scan is scheduled (see BoardEngine), and DisConnectDevice
// stops the triggers first. So a host that has disconnected leaves no thread of the virtual
// scanner behind, and the process can unload the device libraries (on Windows under the loader
// lock) without waiting for one.
//
// The scanner is never destroyed. An exit handler stops the devices when the process exits
// normally; when the system has already stopped every thread (Windows ExitProcess with a handle
// still open), it does nothing, and the system takes back what is left.
class ZETA_SIM_API VirtualScanner {
public:
    static VirtualScanner& instance();

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
    ~VirtualScanner() = default;
    void install(std::shared_ptr<Rig> rig);
    // Runs or stops the current rig's threads as the number of open handles asks (see above).
    void followHandles();
    // Exit handler: forgets every handle and shuts the devices down.
    static void endAtExit();

    mutable std::mutex mutex_;  // guards rig_
    std::shared_ptr<Rig> rig_;
    // Guards threadsRig_; taken before mutex_, never by a thread of the devices. Held while the
    // threads are started and joined, so that opens and releases on several threads start and
    // stop them in turn.
    std::mutex threadsMutex_;
    std::shared_ptr<Rig> threadsRig_;  // the rig whose threads run, or null
    Journal journal_;
    FaultTable faults_;
    HandleTable<BoardSession> boardHandles_;
    HandleTable<CameraHandle> cameraHandles_;
};

}  // namespace zeta::sim
