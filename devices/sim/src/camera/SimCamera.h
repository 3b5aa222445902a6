// One simulated camera.
#pragma once

#include <memory>
#include <string>

#include "RigConfig.h"
#include "TriggerBus.h"
#include "zetaVoroSim/SimControl.h"
#include "zetaVoroSim/SimExport.h"

namespace zeta::sim {

// Thread-safe. CONTRACT used by the rest of the virtual scanner (VirtualScanner, the control
// API); the camera operations called by the camera library are declared below it.
class ZETA_SIM_API SimCamera : public TriggerListener,
                               public std::enable_shared_from_this<SimCamera> {
public:
    // `position` is the camera's index in the rig file.
    SimCamera(const CameraConfig& config, int position, std::shared_ptr<TriggerBus> bus);
    ~SimCamera() override;
    SimCamera(const SimCamera&) = delete;
    SimCamera& operator=(const SimCamera&) = delete;

    // Subscribes to the bus and starts the camera's thread; called once, after construction.
    void start();
    // Stops the thread and wakes every waiting SnapShot; every later operation fails.
    void shutdown();

    const std::string& serial() const;
    const std::string& type() const;
    int position() const;

    bool present() const;
    void setPresent(bool present);
    CameraStats stats() const;
    void setDropFrames(const FrameFaultRule& rule);
    void setDuplicateFrames(const FrameFaultRule& rule);
    void setRenumberFrames(const FrameFaultRule& rule);

    void onPulse(const TriggerPulse& pulse) override;
};

}  // namespace zeta::sim
