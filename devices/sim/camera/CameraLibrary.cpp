// The camera library on the virtual scanner: every operation of zetaCamera.h.
//
// Each operation is one journaled DeviceCall and checks, in this order: the handle (unknown,
// null or released: fail, journaled on device "camera"), an injected failure, the camera (not
// open, unplugged or shut down: fail), the arguments; only then does it act. A failing operation
// writes none of its outputs (CreateCamera nulls the handle, as its contract says) and returns
// the failure value of its own convention. Nothing thrown inside the virtual scanner leaves it.
#include "zetaCamera.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "DeviceCall.h"
#include "VirtualScanner.h"
#include "camera/CameraHandle.h"
#include "camera/SimCamera.h"

namespace zetaCamera {

namespace {

using zeta::sim::CameraHandle;
using zeta::sim::DeviceCall;
using zeta::sim::Frame;
using zeta::sim::Rig;
using zeta::sim::SimCamera;
using zeta::sim::VirtualScanner;

constexpr int kOk = 0;
constexpr int kFailed = -1;
constexpr const char* kNoCamera = "camera";

VirtualScanner& scanner() {
    return VirtualScanner::instance();
}

int result(DeviceCall& call, bool ok) {
    return call.finish(ok) ? kOk : kFailed;
}

// A handle resolved for an operation that needs an open camera.
struct Bound {
    std::shared_ptr<CameraHandle> handle;
    std::shared_ptr<SimCamera> camera;
    SimCamera::SessionId session = 0;
};

// Finds the handle and names its device in the record; false when the handle is unknown.
std::shared_ptr<CameraHandle> resolve(DeviceCall& call, const void* handle) {
    auto found = scanner().cameraHandles().find(handle);
    if (found) call.setDevice(found->device());
    return found;
}

// The common checks of an operation on an open camera: handle, injected failure, camera.
bool bindOpen(DeviceCall& call, const void* handle, Bound& bound) {
    bound.handle = resolve(call, handle);
    if (!bound.handle) return false;
    if (call.mustFail()) return false;
    bound.camera = bound.handle->openCamera(&bound.session);
    return bound.camera && bound.camera->available();
}

// The rig a handle was made on, while it is still the current one.
std::shared_ptr<Rig> currentRigOf(const CameraHandle& handle) {
    auto rig = handle.rig();
    if (!rig || rig != scanner().rig()) return nullptr;
    return rig;
}

// Opens `target` on `handle`. An injected failure of OpenCamera on the target camera counts too,
// when the handle named another device before the call.
int openOn(DeviceCall& call, CameraHandle& handle, const std::shared_ptr<SimCamera>& target,
           int width, int height) {
    if (target->serial() != call.device()) {
        const std::string before = call.device();
        call.setDevice(target->serial());
        const bool injected = call.mustFail();
        call.setDevice(before);
        if (injected) return result(call, false);
    }
    if (!target->available()) return result(call, false);
    SimCamera::SessionId session = 0;
    if (!target->attach(width, height, session)) return result(call, false);
    handle.bind(target, session);
    call.setDevice(target->serial());
    return result(call, true);
}

}  // namespace

int CreateCamera(void*& handle, const char* selector) {
    try {
        DeviceCall call("CreateCamera", kNoCamera);
        call.arg(selector);
        auto rig = scanner().rig();
        std::shared_ptr<SimCamera> named;
        std::string type;
        if (selector != nullptr && !rig->broken) {
            named = rig->cameraBySerial(selector);
            if (named) {
                // A serial selector: the record (and injected failures) name that camera.
                type = named->type();
                call.setDevice(named->serial());
            } else {
                for (const auto& camera : rig->cameras) {
                    if (camera->type() == selector) type = selector;
                }
            }
        }
        if (call.mustFail() || type.empty() || (named && !named->available())) {
            handle = nullptr;
            return result(call, false);
        }
        auto object = std::make_shared<CameraHandle>(rig, type, named);
        handle = scanner().cameraHandles().add(std::move(object));
        return result(call, true);
    } catch (...) {
        handle = nullptr;
        return kFailed;
    }
}

int GetDeviceTotal(void* handle, int& total) {
    try {
        DeviceCall call("GetDeviceTotal", kNoCamera);
        auto object = resolve(call, handle);
        if (!object || call.mustFail()) return result(call, false);
        auto rig = currentRigOf(*object);
        if (!rig) return result(call, false);
        if (auto open = object->openCamera(); open && !open->available()) {
            return result(call, false);
        }
        int count = 0;
        for (const auto& camera : rig->cameras) {
            if (camera->type() == object->type() && camera->available()) ++count;
        }
        total = count;
        return result(call, true);
    } catch (...) {
        return kFailed;
    }
}

int OpenCamera(void* handle, int index, int width, int height) {
    try {
        DeviceCall call("OpenCamera", kNoCamera);
        call.arg(index).arg(width).arg(height);
        auto object = resolve(call, handle);
        if (!object || call.mustFail()) return result(call, false);
        auto rig = currentRigOf(*object);
        if (!rig) return result(call, false);
        std::shared_ptr<SimCamera> target;
        int seen = 0;
        for (const auto& camera : rig->cameras) {
            if (camera->type() != object->type() || !camera->available()) continue;
            if (seen++ == index) {
                target = camera;
                break;
            }
        }
        if (!target) return result(call, false);
        return openOn(call, *object, target, width, height);
    } catch (...) {
        return kFailed;
    }
}

int OpenCamera(void* handle, const char* serial, int width, int height) {
    try {
        DeviceCall call("OpenCamera", kNoCamera);
        call.arg(serial).arg(width).arg(height);
        auto object = resolve(call, handle);
        if (!object || call.mustFail()) return result(call, false);
        auto rig = currentRigOf(*object);
        if (!rig || serial == nullptr) return result(call, false);
        auto target = rig->cameraBySerial(serial);
        if (!target) return result(call, false);
        return openOn(call, *object, target, width, height);
    } catch (...) {
        return kFailed;
    }
}

int CloseCamera(void* handle) {
    try {
        DeviceCall call("CloseCamera", kNoCamera);
        Bound bound;
        if (!bindOpen(call, handle, bound)) return result(call, false);
        return result(call, bound.handle->unbind());
    } catch (...) {
        return kFailed;
    }
}

void ReleaseCamera(void*& handle) {
    try {
        DeviceCall call("ReleaseCamera", kNoCamera);
        auto object = resolve(call, handle);
        if (!object || call.mustFail()) {
            call.finish(false);
            return;
        }
        // Releasing works on an unplugged camera too: it is how the host lets go of it.
        if (!scanner().cameraHandles().remove(handle)) {
            call.finish(false);
            return;
        }
        object->unbind();
        handle = nullptr;
        call.finish(true);
    } catch (...) {
    }
}

int StartCamera(void* handle, double frameRate) {
    try {
        DeviceCall call("StartCamera", kNoCamera);
        call.arg(frameRate);
        Bound bound;
        if (!bindOpen(call, handle, bound)) return result(call, false);
        return result(call, bound.camera->startDelivery(bound.session, frameRate));
    } catch (...) {
        return kFailed;
    }
}

int SnapShot(void* handle, unsigned char*& data) {
    try {
        DeviceCall call("SnapShot", kNoCamera, true);
        Bound bound;
        if (!bindOpen(call, handle, bound)) return result(call, false);
        std::shared_ptr<const Frame> frame;
        if (bound.camera->snap(bound.session, frame) != SimCamera::SnapResult::Frame) {
            return result(call, false);
        }
        const Frame* kept = frame.get();
        // The handle keeps the frame until its next SnapShot, CloseCamera or ReleaseCamera.
        if (!bound.handle->hold(bound.session, std::move(frame))) return result(call, false);
        data = const_cast<unsigned char*>(kept->data());
        return result(call, true);
    } catch (...) {
        return kFailed;
    }
}

bool SplitImage(void* handle, std::vector<unsigned char*>& planes, std::vector<int>& widths,
                std::vector<int>& heights, std::vector<SN_IMG_FORMAT>& formats,
                const unsigned char* frame) {
    std::vector<unsigned char*> blocks;
    try {
        DeviceCall call("SplitImage", kNoCamera);
        auto object = resolve(call, handle);
        // The layout of the frame: the one SnapShot returned last, or the camera's current one.
        int sensorWidth = 0, height = 0, sensors = 0, format = 0;
        bool known = false;
        std::shared_ptr<SimCamera> camera;
        if (object) {
            camera = object->openCamera();
            auto held = object->held();
            if (held && frame != nullptr && held->data() == frame) {
                sensorWidth = held->sensorWidth;
                height = held->height;
                sensors = held->sensors;
                format = held->format;
                known = true;
            } else if (camera) {
                known = camera->layout(sensorWidth, height, sensors, format);
            }
        }
        const std::size_t sensorRow = static_cast<std::size_t>(sensorWidth) *
                                      static_cast<std::size_t>(zeta::sim::bytesPerPixel(format));
        const std::size_t frameRow = sensorRow * static_cast<std::size_t>(sensors);
        const std::size_t frameBytes =
            frameRow * static_cast<std::size_t>(height) + Frame::kStampBytes;
        call.bytes(frame != nullptr && known ? static_cast<int>(frameBytes) : 0);
        if (!object || call.mustFail()) return call.finish(false);
        if (!camera || !camera->available() || frame == nullptr || !known) {
            return call.finish(false);
        }
        const std::size_t planeBytes = sensorRow * static_cast<std::size_t>(height);
        for (int sensor = 0; sensor < sensors; ++sensor) {
            auto* block = static_cast<unsigned char*>(std::malloc(planeBytes > 0 ? planeBytes : 1));
            if (block == nullptr) throw std::bad_alloc();
            blocks.push_back(block);
            for (int y = 0; y < height; ++y) {
                std::memcpy(block + static_cast<std::size_t>(y) * sensorRow,
                            frame + static_cast<std::size_t>(y) * frameRow +
                                static_cast<std::size_t>(sensor) * sensorRow,
                            sensorRow);
            }
        }
        // Make room first, so that appending cannot fail half-way.
        planes.reserve(planes.size() + blocks.size());
        widths.reserve(widths.size() + blocks.size());
        heights.reserve(heights.size() + blocks.size());
        formats.reserve(formats.size() + blocks.size());
        for (unsigned char* block : blocks) {
            planes.push_back(block);
            widths.push_back(sensorWidth);
            heights.push_back(height);
            formats.push_back(static_cast<SN_IMG_FORMAT>(format));
        }
        blocks.clear();
        return call.finish(true);
    } catch (...) {
        for (unsigned char* block : blocks) std::free(block);
        return false;
    }
}

bool LockSnapThread(void* handle, bool lock) {
    try {
        DeviceCall call("LockSnapThread", kNoCamera);
        call.arg(lock);
        Bound bound;
        if (!bindOpen(call, handle, bound)) return call.finish(false);
        return call.finish(bound.camera->lockDelivery(bound.session, lock));
    } catch (...) {
        return false;
    }
}

void UnlockOthers(void* handle) {
    try {
        DeviceCall call("UnlockOthers", kNoCamera);
        Bound bound;
        if (!bindOpen(call, handle, bound)) {
            call.finish(false);
            return;
        }
        call.finish(bound.camera->wakeWaiters());
    } catch (...) {
    }
}

int GetExposureTime(void* handle, long& microseconds) {
    try {
        DeviceCall call("GetExposureTime", kNoCamera);
        Bound bound;
        long value = 0;
        if (!bindOpen(call, handle, bound) || !bound.camera->exposure(value)) {
            return result(call, false);
        }
        microseconds = value;
        return result(call, true);
    } catch (...) {
        return kFailed;
    }
}

int SetExposureTime(void* handle, long microseconds) {
    try {
        DeviceCall call("SetExposureTime", kNoCamera);
        call.arg(microseconds);
        Bound bound;
        if (!bindOpen(call, handle, bound)) return result(call, false);
        return result(call, bound.camera->setExposure(microseconds));
    } catch (...) {
        return kFailed;
    }
}

int GetGain(void* handle, int& gain) {
    try {
        DeviceCall call("GetGain", kNoCamera);
        Bound bound;
        int value = 0;
        if (!bindOpen(call, handle, bound) || !bound.camera->gain(value)) {
            return result(call, false);
        }
        gain = value;
        return result(call, true);
    } catch (...) {
        return kFailed;
    }
}

int SetGain(void* handle, int gain) {
    try {
        DeviceCall call("SetGain", kNoCamera);
        call.arg(gain);
        Bound bound;
        if (!bindOpen(call, handle, bound)) return result(call, false);
        return result(call, bound.camera->setGain(gain));
    } catch (...) {
        return kFailed;
    }
}

int GetGainRange(void* handle, int& minGain, int& maxGain) {
    try {
        DeviceCall call("GetGainRange", kNoCamera);
        Bound bound;
        int low = 0, high = 0;
        if (!bindOpen(call, handle, bound) || !bound.camera->gainRange(low, high)) {
            return result(call, false);
        }
        minGain = low;
        maxGain = high;
        return result(call, true);
    } catch (...) {
        return kFailed;
    }
}

int GetResolution(void* handle, int& width, int& height) {
    try {
        DeviceCall call("GetResolution", kNoCamera);
        Bound bound;
        int w = 0, h = 0;
        if (!bindOpen(call, handle, bound) || !bound.camera->reportedResolution(w, h)) {
            return result(call, false);
        }
        width = w;
        height = h;
        return result(call, true);
    } catch (...) {
        return kFailed;
    }
}

int GetSerialNo(void* handle, std::string& serial) {
    try {
        DeviceCall call("GetSerialNo", kNoCamera);
        Bound bound;
        if (!bindOpen(call, handle, bound)) return result(call, false);
        serial = bound.camera->serial();
        return result(call, true);
    } catch (...) {
        return kFailed;
    }
}

int GetColorMode(void* handle, SN_IMG_FORMAT& format) {
    try {
        DeviceCall call("GetColorMode", kNoCamera);
        Bound bound;
        int value = 0;
        if (!bindOpen(call, handle, bound) || !bound.camera->colorFormat(value)) {
            return result(call, false);
        }
        format = static_cast<SN_IMG_FORMAT>(value);
        return result(call, true);
    } catch (...) {
        return kFailed;
    }
}

bool GetDeviceType(void* handle, int& type) {
    try {
        DeviceCall call("GetDeviceType", kNoCamera);
        Bound bound;
        int value = 0;
        if (!bindOpen(call, handle, bound) || !bound.camera->deviceType(value)) {
            return call.finish(false);
        }
        type = value;
        return call.finish(true);
    } catch (...) {
        return false;
    }
}

int GetTriggerMode(void* handle, SN_TRIG_MODE& mode) {
    try {
        DeviceCall call("GetTriggerMode", kNoCamera);
        Bound bound;
        int value = 0;
        if (!bindOpen(call, handle, bound) || !bound.camera->triggerMode(value)) {
            return result(call, false);
        }
        mode = static_cast<SN_TRIG_MODE>(value);
        return result(call, true);
    } catch (...) {
        return kFailed;
    }
}

int SetTriggerMode(void* handle, SN_TRIG_MODE mode, int source, int delay, int edge) {
    try {
        DeviceCall call("SetTriggerMode", kNoCamera);
        call.arg(static_cast<int>(mode)).arg(source).arg(delay).arg(edge);
        Bound bound;
        if (!bindOpen(call, handle, bound)) return result(call, false);
        // Source, delay and edge are accepted as given: the trigger bus has one kind of pulse.
        return result(call, bound.camera->setTriggerMode(static_cast<int>(mode)));
    } catch (...) {
        return kFailed;
    }
}

int SetBinningSize(void* handle, int size) {
    try {
        DeviceCall call("SetBinningSize", kNoCamera);
        call.arg(size);
        Bound bound;
        if (!bindOpen(call, handle, bound)) return call.finish(false) ? 1 : 0;
        return call.finish(bound.camera->setBinning(size)) ? 1 : 0;
    } catch (...) {
        return 0;
    }
}

bool GetCameraIntParam(void* handle, CAMPARAM param, int& value) {
    try {
        DeviceCall call("GetCameraIntParam", kNoCamera);
        call.arg(static_cast<int>(param));
        Bound bound;
        int read = 0;
        if (!bindOpen(call, handle, bound) ||
            !bound.camera->intParam(static_cast<int>(param), read)) {
            return !call.finish(false);
        }
        value = read;
        return !call.finish(true);
    } catch (...) {
        return true;
    }
}

bool SetCameraIntParam(void* handle, CAMPARAM param, int value) {
    try {
        DeviceCall call("SetCameraIntParam", kNoCamera);
        call.arg(static_cast<int>(param)).arg(value);
        Bound bound;
        if (!bindOpen(call, handle, bound)) return !call.finish(false);
        return !call.finish(bound.camera->setIntParam(static_cast<int>(param), value));
    } catch (...) {
        return true;
    }
}

bool AutoWhiteBalance(void* handle, bool operate, float& r, float& g, float& b) {
    try {
        DeviceCall call("AutoWhiteBalance", kNoCamera);
        call.arg(operate)
            .arg(static_cast<double>(r))
            .arg(static_cast<double>(g))
            .arg(static_cast<double>(b));
        Bound bound;
        float red = r, green = g, blue = b;
        if (!bindOpen(call, handle, bound) ||
            !bound.camera->whiteBalance(operate, red, green, blue)) {
            return call.finish(false);
        }
        r = red;
        g = green;
        b = blue;
        return call.finish(true);
    } catch (...) {
        return false;
    }
}

bool ResetCameraState(void* handle) {
    try {
        DeviceCall call("ResetCameraState", kNoCamera);
        Bound bound;
        if (!bindOpen(call, handle, bound)) return call.finish(false);
        return call.finish(bound.camera->dropAllQueued());
    } catch (...) {
        return false;
    }
}

void SetCameraToInitializedState(void* handle) {
    try {
        DeviceCall call("SetCameraToInitializedState", kNoCamera);
        Bound bound;
        if (!bindOpen(call, handle, bound)) {
            call.finish(false);
            return;
        }
        call.finish(bound.camera->dropQueued(bound.session));
    } catch (...) {
    }
}

bool SpecifiedCameraTimeStampSource(void* handle, TIMESTAMP_SRC source) {
    try {
        DeviceCall call("SpecifiedCameraTimeStampSource", kNoCamera);
        call.arg(static_cast<int>(source));
        Bound bound;
        if (!bindOpen(call, handle, bound)) return call.finish(false);
        return call.finish(bound.camera->setTimeStampSource(static_cast<int>(source)));
    } catch (...) {
        return false;
    }
}

}  // namespace zetaCamera
