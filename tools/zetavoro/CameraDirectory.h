// The cameras attached to this computer, as the library enumerates them.
#pragma once

#include <string>
#include <vector>

namespace zeta::cli {

struct AttachedCamera {
    std::string serial;
    int width = 0;
    int height = 0;
    bool colour = false;
};

class CameraDirectory {
public:
    // Enumerates the cameras of `type` through GetCamerasInformation.
    explicit CameraDirectory(const std::string& type);

    const std::string& type() const { return type_; }
    const std::vector<AttachedCamera>& cameras() const { return cameras_; }
    // The camera with this serial, or null.
    const AttachedCamera* find(const std::string& serial) const;
    // "ZV0001, ZV0002" or "none".
    std::string serialList() const;

private:
    std::string type_;
    std::vector<AttachedCamera> cameras_;
};

}  // namespace zeta::cli
