// zeta-sim-demo: a host that drives the scanner through the device libraries alone.
//
// It lists the cameras of type "ZV", opens each one triggered, opens the board, shows speckle,
// pulses one single trigger on the mono route and one on the colour route, snaps one frame per
// camera and saves it as <out>/<serial>.png. Without hardware the libraries are the virtual
// scanner's, and --rig picks the rig it simulates. Any failed device operation is reported by
// name and ends the program with a non-zero status.
#include <CLI/CLI.hpp>

#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "zetaCamera.h"
#include "zetaImageLoad.h"
#include "zetaVoroDLPdev.h"
#include "zetaVoroSim/SimControl.h"

namespace {

using zetaCamera::SN_IMG_FORMAT;

constexpr const char* cameraType = "ZV";
constexpr const char* boardPath = "sim:board0";
// Each SnapShot waits up to the camera's own time-out; a frame triggered a moment ago may still
// be on its way, so a few waits are allowed before the camera counts as silent.
constexpr int snapAttempts = 5;

// A device operation that failed; main prints the message and exits with status 1.
class DemoError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

[[noreturn]] void failed(const std::string& operation, const std::string& detail = "") {
    throw DemoError(operation + " failed" + (detail.empty() ? "" : " (" + detail + ")"));
}

void checkCamera(int result, const std::string& operation) {
    if (result != 0) failed(operation, "returned " + std::to_string(result));
}

void checkBoard(bool ok, const std::string& operation) {
    if (!ok) failed(operation, "returned false");
}

// A camera handle, released on every path. close() reports a failed CloseCamera; the
// destructor only tidies up after an error elsewhere and stays silent.
class CameraSession {
public:
    explicit CameraSession(const std::string& selector) : name_(selector) {
        checkCamera(zetaCamera::CreateCamera(handle_, selector.c_str()),
                    "CreateCamera(" + selector + ")");
        if (handle_ == nullptr) failed("CreateCamera(" + selector + ")", "no handle");
    }
    ~CameraSession() {
        if (handle_ == nullptr) return;
        if (open_) zetaCamera::CloseCamera(handle_);
        zetaCamera::ReleaseCamera(handle_);
    }
    CameraSession(const CameraSession&) = delete;
    CameraSession& operator=(const CameraSession&) = delete;

    void* handle() const { return handle_; }
    const std::string& name() const { return name_; }

    void openIndex(int index) {
        checkCamera(zetaCamera::OpenCamera(handle_, index, 0, 0),
                    "OpenCamera(" + name_ + ", index " + std::to_string(index) + ")");
        open_ = true;
    }
    void openSerial(const std::string& serial) {
        checkCamera(zetaCamera::OpenCamera(handle_, serial.c_str(), 0, 0),
                    "OpenCamera(" + serial + ")");
        open_ = true;
    }
    void close() {
        if (!open_) return;
        open_ = false;
        checkCamera(zetaCamera::CloseCamera(handle_), "CloseCamera(" + name_ + ")");
    }

private:
    void* handle_ = nullptr;
    bool open_ = false;
    std::string name_;
};

// The board connection, closed on every path; close() reports a failure.
class BoardSession {
public:
    BoardSession() {
        const char* path = boardPath;
        checkBoard(zetaVoroDLPdev::zetaInitHidDev(handle_, path),
                   std::string("zetaInitHidDev(") + boardPath + ")");
        if (handle_ == nullptr) failed("zetaInitHidDev", "no handle");
    }
    ~BoardSession() {
        if (handle_ != nullptr) zetaVoroDLPdev::zetaExitHidDev(handle_);
    }
    BoardSession(const BoardSession&) = delete;
    BoardSession& operator=(const BoardSession&) = delete;

    void* handle() const { return handle_; }

    void close() {
        if (handle_ == nullptr) return;
        const bool ok = zetaVoroDLPdev::zetaExitHidDev(handle_);
        handle_ = nullptr;
        checkBoard(ok, "zetaExitHidDev");
    }

private:
    void* handle_ = nullptr;
};

struct CameraInfo {
    std::string serial;
    int width = 0;  // the whole frame: all sensor images of a multi-sensor camera side by side
    int height = 0;
    SN_IMG_FORMAT format = zetaCamera::SN_IMG_MONO8;
};

const char* formatName(SN_IMG_FORMAT format) {
    switch (format) {
        case zetaCamera::SN_IMG_MONO8:
            return "mono 8-bit";
        case zetaCamera::SN_IMG_MONO16:
            return "mono 16-bit";
        case zetaCamera::SN_IMG_RGBRAW:
            return "raw Bayer";
        case zetaCamera::SN_IMG_RGB888:
            return "RGB 8-bit";
        case zetaCamera::SN_IMG_RGB48:
            return "RGB 16-bit";
    }
    return "unknown";
}

// Channels of the 8-bit image saved for a format: colour stays colour, the rest is mono.
int savedChannels(SN_IMG_FORMAT format) {
    return format == zetaCamera::SN_IMG_RGB888 || format == zetaCamera::SN_IMG_RGB48 ? 3 : 1;
}

// Converts one frame to 8 bits per channel. 16-bit samples are little-endian; their high byte
// is kept. A raw Bayer frame is saved as the mono image of its samples.
std::vector<unsigned char> toEightBit(const unsigned char* frame, const CameraInfo& camera) {
    const std::size_t pixels = static_cast<std::size_t>(camera.width) * camera.height;
    switch (camera.format) {
        case zetaCamera::SN_IMG_MONO8:
        case zetaCamera::SN_IMG_RGBRAW:
            return {frame, frame + pixels};
        case zetaCamera::SN_IMG_RGB888:
            return {frame, frame + pixels * 3};
        case zetaCamera::SN_IMG_MONO16:
        case zetaCamera::SN_IMG_RGB48: {
            const std::size_t samples =
                pixels * static_cast<std::size_t>(savedChannels(camera.format));
            std::vector<unsigned char> image(samples);
            for (std::size_t i = 0; i < samples; ++i) image[i] = frame[2 * i + 1];
            return image;
        }
    }
    failed("GetColorMode(" + camera.serial + ")",
           "unknown format " + std::to_string(static_cast<int>(camera.format)));
}

// Enumerates the cameras of one type through one handle, opened on each index in turn.
std::vector<CameraInfo> listCameras() {
    CameraSession enumeration(cameraType);
    int total = 0;
    checkCamera(zetaCamera::GetDeviceTotal(enumeration.handle(), total), "GetDeviceTotal");
    std::cout << "cameras of type " << cameraType << ": " << total << "\n";

    std::vector<CameraInfo> cameras;
    for (int index = 0; index < total; ++index) {
        enumeration.openIndex(index);
        CameraInfo camera;
        const std::string where = " (index " + std::to_string(index) + ")";
        checkCamera(zetaCamera::GetSerialNo(enumeration.handle(), camera.serial),
                    "GetSerialNo" + where);
        checkCamera(zetaCamera::GetResolution(enumeration.handle(), camera.width, camera.height),
                    "GetResolution" + where);
        checkCamera(zetaCamera::GetColorMode(enumeration.handle(), camera.format),
                    "GetColorMode" + where);
        enumeration.close();
        std::cout << "  " << index << ": " << camera.serial << "  " << camera.width << "x"
                  << camera.height << "  " << formatName(camera.format) << " (format "
                  << static_cast<int>(camera.format) << ")\n";
        cameras.push_back(std::move(camera));
    }
    std::cout << std::flush;
    return cameras;
}

// Returns the camera's next frame; the buffer stays the camera's until its next SnapShot.
const unsigned char* snapFrame(const CameraSession& session) {
    int result = 0;
    for (int attempt = 0; attempt < snapAttempts; ++attempt) {
        unsigned char* data = nullptr;
        result = zetaCamera::SnapShot(session.handle(), data);
        if (result == 0 && data != nullptr) return data;
    }
    failed("SnapShot(" + session.name() + ")",
           std::to_string(snapAttempts) + " attempts, last returned " + std::to_string(result));
}

int runDemo(const std::filesystem::path& outDir) {
    std::error_code error;
    std::filesystem::create_directories(outDir, error);
    if (error) failed("creating " + outDir.string(), error.message());

    const std::vector<CameraInfo> cameras = listCameras();

    std::vector<std::unique_ptr<CameraSession>> sessions;
    for (const CameraInfo& camera : cameras) {
        auto session = std::make_unique<CameraSession>(camera.serial);
        session->openSerial(camera.serial);
        checkCamera(
            zetaCamera::SetTriggerMode(session->handle(), zetaCamera::SN_TRIG_EXTERNAL, 0, 0, 0),
            "SetTriggerMode(" + camera.serial + ")");
        checkCamera(zetaCamera::StartCamera(session->handle(), 0.0),
                    "StartCamera(" + camera.serial + ")");
        sessions.push_back(std::move(session));
    }

    BoardSession board;
    checkBoard(zetaVoroDLPdev::zetaProject(board.handle(), zetaVoroDLPdev::PROJECT_SPECKLE),
               "zetaProject(speckle)");
    checkBoard(
        zetaVoroDLPdev::zetaOutputSingleTrigger(board.handle(), zetaVoroDLPdev::TRIGGER_ROUTE_MONO),
        "zetaOutputSingleTrigger(route 0)");
    checkBoard(zetaVoroDLPdev::zetaOutputSingleTrigger(board.handle(),
                                                       zetaVoroDLPdev::TRIGGER_ROUTE_COLOR),
               "zetaOutputSingleTrigger(route 1)");

    for (std::size_t i = 0; i < cameras.size(); ++i) {
        const CameraInfo& camera = cameras[i];
        const std::vector<unsigned char> image = toEightBit(snapFrame(*sessions[i]), camera);
        const int channels = savedChannels(camera.format);
        const std::string path = (outDir / (camera.serial + ".png")).string();
        if (!zetaImageLoad::zetaWriteImage(path.c_str(), image.data(), camera.width, camera.height,
                                           channels)) {
            failed("zetaWriteImage(" + path + ")", "returned false");
        }
        std::cout << "wrote " << path << " (" << camera.width << "x" << camera.height << ", "
                  << (channels == 3 ? "RGB" : "mono") << ")" << std::endl;
    }

    for (auto& session : sessions) session->close();
    sessions.clear();
    board.close();
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Lists the scanner's cameras, triggers one frame per camera and saves it as PNG."};
    std::string outDir = "out";
    std::string rigFile;
    app.add_option("--out", outDir, "folder for the images, created when missing")
        ->capture_default_str();
    app.add_option("--rig", rigFile, "rig file for the virtual scanner (default: built-in rig)");
    CLI11_PARSE(app, argc, argv);

    try {
        if (!rigFile.empty()) {
            std::string error;
            if (!zeta::sim::loadRigFile(rigFile, &error)) {
                failed("loading the rig file " + rigFile, error);
            }
        }
        return runDemo(outDir);
    } catch (const DemoError& e) {
        std::cout << std::flush;
        std::cerr << "zeta-sim-demo: " << e.what() << std::endl;
        return 1;
    } catch (const std::exception& e) {
        std::cout << std::flush;
        std::cerr << "zeta-sim-demo: unexpected error: " << e.what() << std::endl;
        return 1;
    }
}
