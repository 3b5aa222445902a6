#include "FuzzRig.h"

#include <utility>

#include "zetaVoroSim/SimControl.h"

namespace zeta::fuzz {

namespace {

struct CameraEntry {
    const char* serial;
    int width;  // of one sensor image
    int height;
    int format;
    int sensors;
    const char* extra;  // further keys of the camera object, or ""
};

// Free run at 500 frames a second and a 50 ms snap time-out keep every wait of the library short.
std::string cameraJson(const CameraEntry& entry) {
    std::string text = R"({"serial": ")" + std::string(entry.serial) +
                       R"(", "type": "ZV", "width": )" + std::to_string(entry.width) +
                       R"(, "height": )" + std::to_string(entry.height) + R"(, "format": )" +
                       std::to_string(entry.format) + R"(, "sensors": )" +
                       std::to_string(entry.sensors) + R"(, "fps": 500, "snapTimeoutMs": 50)";
    if (entry.extra[0] != '\0') text += std::string(", ") + entry.extra;
    return text + "}";
}

}  // namespace

std::vector<FuzzRig> FuzzRig::build() {
    struct Variant {
        const char* name;
        std::vector<CameraEntry> cameras;
    };
    const std::vector<Variant> variants = {
        {"two mono", {{"ZV0001", 48, 32, 1, 1, ""}, {"ZV0002", 48, 32, 1, 1, ""}}},
        {"mono and colour", {{"ZV0001", 48, 32, 1, 1, ""}, {"ZV0003", 48, 32, 17, 1, ""}}},
        {"split and raw colour",
         {{"ZV0001", 48, 32, 1, 1, ""},
          {"ZV0004", 24, 32, 1, 2, ""},
          {"ZV0005", 48, 32, 16, 1, ""}}},
        {"odd cameras",
         {{"ZV0006", 32, 48, 2, 1, ""},
          {"ZV0007", 48, 32, 18, 1, ""},
          {"ZV0008", 48, 32, 1, 1, R"("usb3": false)"},
          {"ZV0009", 48, 32, 1, 1, R"("present": false)"}}},
    };
    std::vector<FuzzRig> rigs;
    for (const Variant& variant : variants) {
        std::vector<FuzzRig::Camera> cameras;
        std::string list;
        for (const CameraEntry& entry : variant.cameras) {
            if (!list.empty()) list += ", ";
            list += cameraJson(entry);
            const bool present = std::string(entry.extra).find("present") == std::string::npos;
            cameras.push_back({entry.serial, entry.width * entry.sensors, entry.height,
                               entry.format, entry.sensors, present});
        }
        // A 2 ms stripe period until the host sets one: a scan's 16 pulses take 32 ms.
        std::string json = std::string(R"({"board": {"paths": [")") + FuzzRig::kBoardPath +
                           R"("], "firmware": "FUZZ V1", "stripePeriodMs": 2}, "cameras": [)" +
                           list + "]}";
        rigs.push_back(FuzzRig(variant.name, std::move(cameras), std::move(json)));
    }
    return rigs;
}

FuzzRig::FuzzRig(std::string name, std::vector<Camera> cameras, std::string json)
    : name_(std::move(name)), cameras_(std::move(cameras)), json_(std::move(json)) {}

std::size_t FuzzRig::variantCount() {
    return all().size();
}

const FuzzRig& FuzzRig::variant(std::size_t index) {
    const std::vector<FuzzRig>& rigs = all();
    return rigs[index % rigs.size()];
}

const std::vector<FuzzRig>& FuzzRig::all() {
    // Built once and never destroyed: programs may still run while the process exits.
    static const std::vector<FuzzRig>* rigs = new std::vector<FuzzRig>(build());
    return *rigs;
}

const FuzzRig::Camera* FuzzRig::find(const std::string& serial) const {
    for (const Camera& camera : cameras_) {
        if (camera.serial == serial) return &camera;
    }
    return nullptr;
}

bool FuzzRig::load(std::string* error) const {
    if (!zeta::sim::loadRigText(json_, error)) return false;
    // The journal is not read by the programs; a short one keeps the memory of a long run flat.
    zeta::sim::setJournalCapacity(64);
    zeta::sim::clearJournal();
    return true;
}

}  // namespace zeta::fuzz
