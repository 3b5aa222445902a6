// FuzzRig: the small rigs the fuzz programs run on, loaded into the virtual scanner through its
// control API before every program, so that each input starts from power-on state.
//
// Every rig is small and fast on purpose: tiny images, free-running cameras at 500 frames a second
// and a short snap time-out, so that a stripe scan collects its frames within tens of
// milliseconds and a snap that waits for a frame gives up quickly. The variants differ in what
// the library has to handle: plain mono cameras, a colour camera, a raw colour camera and a
// two-sensor camera whose frames are split, a 16-bit camera taller than wide, a camera on a
// USB 2 link and a camera that is listed but unplugged.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace zeta::fuzz {

class FuzzRig {
public:
    struct Camera {
        std::string serial;
        int frameWidth;  // the whole frame: sensors side by side
        int frameHeight;
        int format;    // colour format value of the rig file (1, 2, 16, 17, 18)
        int sensors;   // sensor images in one frame
        bool present;  // false: listed in the rig but unplugged
    };

    static std::size_t variantCount();
    static const FuzzRig& variant(std::size_t index);

    const std::string& name() const { return name_; }
    const std::string& json() const { return json_; }
    const std::vector<Camera>& cameras() const { return cameras_; }
    // The string the board's firmware query answers.
    const std::string& firmware() const { return firmware_; }
    // The camera of `serial`, or null when the rig has none of that serial.
    const Camera* find(const std::string& serial) const;

    // Loads the rig into the virtual scanner (replacing any rig and closing every device handle
    // of the old one); false, with the reason in `error`, when it does not load.
    bool load(std::string* error) const;

    static constexpr const char* kBoardPath = "sim:board0";

private:
    FuzzRig(std::string name, std::vector<Camera> cameras, std::string json);
    static std::vector<FuzzRig> build();
    static const std::vector<FuzzRig>& all();

    std::string name_;
    std::vector<Camera> cameras_;
    std::string json_;
    std::string firmware_ = "FUZZ V1";
};

}  // namespace zeta::fuzz
