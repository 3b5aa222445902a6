// The object behind a handle of the camera library.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "camera/Frame.h"
#include "camera/SimCamera.h"
#include "zetaVoroSim/SimExport.h"

namespace zeta::sim {

struct Rig;

// Made by CreateCamera from a type name (an enumeration handle) or a serial number (a handle that
// names that camera). OpenCamera binds it to a camera through a session of that camera; the
// handle then names that camera until it is opened on another one.
//
// Thread-safe: calls on one handle may come from several threads at once (a grab thread blocked
// in SnapShot while another thread closes the handle). The mutex guards the binding and the held
// frame; it is never held while waiting for a frame.
class ZETA_SIM_API CameraHandle {
public:
    // `named`: the camera a serial selector named, or null for an enumeration handle.
    CameraHandle(std::weak_ptr<Rig> rig, std::string type, std::shared_ptr<SimCamera> named);
    // Ends the session of an open handle.
    ~CameraHandle();
    CameraHandle(const CameraHandle&) = delete;
    CameraHandle& operator=(const CameraHandle&) = delete;

    // The rig the handle was made on; null once that rig is gone.
    std::shared_ptr<Rig> rig() const;
    // The camera type the handle enumerates: the selector, or the named camera's type.
    const std::string& type() const { return type_; }
    // What the journal calls the handle's device: the serial of the camera it names, or "camera".
    std::string device() const;

    // The camera the handle is open on and its session; null when the handle is not open.
    std::shared_ptr<SimCamera> openCamera(SimCamera::SessionId* session = nullptr) const;

    // Binds the handle to `camera`, already attached as `session`; an earlier binding ends (its
    // session is detached and its held frame let go).
    void bind(std::shared_ptr<SimCamera> camera, SimCamera::SessionId session);
    // Ends the binding; false when the handle was not open. The handle still names the camera.
    bool unbind();

    // Keeps `frame` alive as the one the last SnapShot returned, letting the previous one go;
    // false (nothing kept) when the handle left `session` while the SnapShot waited.
    bool hold(SimCamera::SessionId session, std::shared_ptr<const Frame> frame);
    // The frame the last SnapShot returned, or null.
    std::shared_ptr<const Frame> held() const;

private:
    const std::weak_ptr<Rig> rig_;
    const std::string type_;

    mutable std::mutex mutex_;  // guards the members below
    std::shared_ptr<SimCamera> named_;
    std::shared_ptr<SimCamera> open_;
    SimCamera::SessionId session_ = 0;
    std::shared_ptr<const Frame> held_;
};

}  // namespace zeta::sim
