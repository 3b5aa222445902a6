#include "camera/CameraHandle.h"

#include "VirtualScanner.h"

namespace zeta::sim {

CameraHandle::CameraHandle(std::weak_ptr<Rig> rig, std::string type,
                           std::shared_ptr<SimCamera> named)
    : rig_(std::move(rig)), type_(std::move(type)), named_(std::move(named)) {}

CameraHandle::~CameraHandle() {
    if (open_) open_->detach(session_);
}

std::shared_ptr<Rig> CameraHandle::rig() const {
    return rig_.lock();
}

std::string CameraHandle::device() const {
    std::lock_guard lock(mutex_);
    return named_ ? named_->serial() : std::string("camera");
}

std::shared_ptr<SimCamera> CameraHandle::openCamera(SimCamera::SessionId* session) const {
    std::lock_guard lock(mutex_);
    if (session != nullptr) *session = session_;
    return open_;
}

void CameraHandle::bind(std::shared_ptr<SimCamera> camera, SimCamera::SessionId session) {
    std::shared_ptr<SimCamera> previous;
    SimCamera::SessionId previousSession = 0;
    std::shared_ptr<const Frame> previousFrame;
    {
        std::lock_guard lock(mutex_);
        previous = std::move(open_);
        previousSession = session_;
        previousFrame = std::move(held_);
        named_ = camera;
        open_ = std::move(camera);
        session_ = session;
    }
    // Detached outside the handle's lock: the camera's lock is never taken inside it.
    if (previous) previous->detach(previousSession);
}

bool CameraHandle::unbind() {
    std::shared_ptr<SimCamera> previous;
    SimCamera::SessionId previousSession = 0;
    std::shared_ptr<const Frame> previousFrame;
    {
        std::lock_guard lock(mutex_);
        if (!open_) return false;
        previous = std::move(open_);
        previousSession = session_;
        previousFrame = std::move(held_);
        session_ = 0;
    }
    previous->detach(previousSession);
    return true;
}

bool CameraHandle::hold(SimCamera::SessionId session, std::shared_ptr<const Frame> frame) {
    std::shared_ptr<const Frame> previous;
    std::lock_guard lock(mutex_);
    if (!open_ || session_ != session) return false;
    previous = std::move(held_);
    held_ = std::move(frame);
    return true;
}

std::shared_ptr<const Frame> CameraHandle::held() const {
    std::lock_guard lock(mutex_);
    return held_;
}

}  // namespace zeta::sim
