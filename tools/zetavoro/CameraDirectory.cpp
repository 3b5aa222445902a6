#include "CameraDirectory.h"

#include <cstdlib>

#include <zetaVoroSync/zetaVoroSync.h>

namespace zeta::cli {

CameraDirectory::CameraDirectory(const std::string& type) : type_(type) {
    std::vector<char*> serials;
    std::vector<int> widths;
    std::vector<int> heights;
    std::vector<bool> colourFlags;
    int count = 0;
    const char* cameraType = type_.c_str();
    // Always succeeds; an unreadable rig or no camera gives an empty list.
    zetaVoroSync::GetCamerasInformation(cameraType, serials, widths, heights, colourFlags, count);
    for (std::size_t i = 0; i < serials.size(); ++i) {
        AttachedCamera camera;
        camera.serial = serials[i] != nullptr ? serials[i] : "";
        camera.width = i < widths.size() ? widths[i] : 0;
        camera.height = i < heights.size() ? heights[i] : 0;
        camera.colour = i < colourFlags.size() && colourFlags[i];
        cameras_.push_back(camera);
        std::free(serials[i]);  // malloc'd by the library, ours to free
    }
}

const AttachedCamera* CameraDirectory::find(const std::string& serial) const {
    for (const AttachedCamera& camera : cameras_) {
        if (camera.serial == serial) return &camera;
    }
    return nullptr;
}

std::string CameraDirectory::serialList() const {
    if (cameras_.empty()) return "none";
    std::string list;
    for (const AttachedCamera& camera : cameras_) {
        if (!list.empty()) list += ", ";
        list += camera.serial;
    }
    return list;
}

}  // namespace zeta::cli
