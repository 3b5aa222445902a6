#include "ScannerConnection.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include <zetaVoroSync/zetaVoroSync.h>

#include "CameraDirectory.h"
#include "CommandError.h"

namespace zeta::cli {
namespace {

using namespace zetaVoroSync;

// Every mode string ConnectDevice knows, in its order.
constexpr std::array<const char*, 9> kModes = {"LASER",          "CALIBRATE_E7", "SPECKLE",
                                               "SPECKLE_E7",     "STRIPE",       "E7STRIPE",
                                               "STRIPESEQUENCE", "SPECKLELASER", "DPLASER"};

std::string modeList() {
    std::string list;
    for (const char* mode : kModes) {
        if (!list.empty()) list += ", ";
        list += mode;
    }
    return list;
}

}  // namespace

ScannerConnection::ScannerConnection(Session& session, bool monoOnly) : session_(session) {
    const CommonOptions& options = session_.options();
    const CameraDirectory directory(options.type);

    std::vector<std::string> serials = options.cameras;
    if (serials.empty()) {
        for (const AttachedCamera& camera : directory.cameras()) {
            if (!monoOnly || !camera.colour) serials.push_back(camera.serial);
        }
        if (serials.empty()) {
            throw CommandError(CommandError::kOperationFailed,
                               std::string("no ") + (monoOnly ? "mono " : "") +
                                   "cameras of type \"" + options.type + "\" are attached");
        }
    }
    // The sizes of the enumeration; 0 x 0 (the camera's whole frame) for a camera it does not
    // list, which the library then reports as a camera it cannot open.
    std::vector<char*> names;
    std::vector<int> widths;
    std::vector<int> heights;
    for (std::string& serial : serials) {
        names.push_back(serial.data());
        const AttachedCamera* attached = directory.find(serial);
        widths.push_back(attached != nullptr ? attached->width : 0);
        heights.push_back(attached != nullptr ? attached->height : 0);
    }

    const char* mode = options.mode.c_str();
    const char* board = options.board.c_str();
    void* handle = nullptr;
    const RETSTATUS status = ConnectDevice(mode, board, names, widths, heights, handle);
    if (status != RET_OPERATE_SUCCESS) {
        std::string asked;
        for (const std::string& serial : serials) asked += (asked.empty() ? "" : ", ") + serial;
        std::vector<std::string> details = connectDetails(status, asked, directory.serialList());
        throw CommandError::fromStatus("ConnectDevice", status, details);
    }
    handle_ = handle;
    try {
        describeCameras(static_cast<int>(serials.size()));
    } catch (...) {
        DisConnectDevice(handle_);
        throw;
    }
}

ScannerConnection::~ScannerConnection() {
    if (handle_ != nullptr) DisConnectDevice(handle_);
}

std::vector<std::string> ScannerConnection::connectDetails(int status, const std::string& asked,
                                                           const std::string& attached) const {
    const CommonOptions& options = session_.options();
    switch (status) {
        case RET_PROJECTOR_UNCONNECTED:
            return {"the board path \"" + options.board +
                    "\" was refused; the virtual scanner's board is \"sim:board0\" unless the "
                    "rig's board.paths says otherwise"};
        case RET_CAMERA_UNCONNECTED:
            return {"cameras asked for: " + asked + "; attached cameras of type " + options.type +
                    ": " + attached};
        case RET_SYNC_TYPE_UNSUPPORTED: {
            const bool known = std::any_of(kModes.begin(), kModes.end(),
                                           [&](const char* mode) { return options.mode == mode; });
            if (known) {
                return {"the mode \"" + options.mode +
                        "\" is not available in this build of the library"};
            }
            return {"unknown mode \"" + options.mode + "\"; the modes are " + modeList()};
        }
        default:
            return {};
    }
}

// Camera indices are positions in the serial list: a multi-sensor camera named twice is one
// physical camera (which GetConnectCameraCount counts) but two camera indices.
void ScannerConnection::describeCameras(int count) {
    for (int index = 0; index < count; ++index) {
        ConnectedCamera camera;
        char* serial = nullptr;
        check(GetCameraSerialNumber(handle_, index, serial), "GetCameraSerialNumber");
        if (serial != nullptr) {
            camera.serial = serial;
            std::free(serial);  // malloc'd by the library, ours to free
        }
        check(GetCameraResolution(handle_, index, camera.width, camera.height),
              "GetCameraResolution");
        check(IsCameraColor(handle_, index, camera.colour), "IsCameraColor");
        cameras_.push_back(camera);
    }
}

std::vector<int> ScannerConnection::monoCameras() const {
    std::vector<int> mono;
    for (std::size_t i = 0; i < cameras_.size(); ++i) {
        if (!cameras_[i].colour) mono.push_back(static_cast<int>(i));
    }
    return mono;
}

std::string ScannerConnection::cameraName(int index) const {
    std::string name = "camera " + std::to_string(index);
    if (index >= 0 && index < static_cast<int>(cameras_.size())) {
        name += " (" + cameras_[static_cast<std::size_t>(index)].serial + ")";
    }
    return name;
}

std::string ScannerConnection::connectedLine() const {
    const CommonOptions& options = session_.options();
    std::string line = "connected: mode " + options.mode + ", board " + options.board + ", cameras";
    for (const ConnectedCamera& camera : cameras_) line += " " + camera.serial;
    return line;
}

void ScannerConnection::disconnect() {
    if (handle_ == nullptr) return;
    check(DisConnectDevice(handle_), "DisConnectDevice");
    handle_ = nullptr;
}

}  // namespace zeta::cli
