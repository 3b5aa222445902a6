#include "ScanCommand.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <chrono>
#include <limits>
#include <vector>

#include <zetaVoroSync/zetaVoroSync.h>

#include "CommandError.h"
#include "ContactSheet.h"
#include "Format.h"
#include "Image.h"
#include "OutputFolder.h"
#include "ProgressBar.h"
#include "ProgressTicker.h"
#include "ScannerConnection.h"

namespace zeta::cli {
namespace {

using namespace zetaVoroSync;

// Work shorter than this shows no progress.
constexpr int kQuietMs = 1000;
// Frames of one stripe group per mono camera.
constexpr int kStripeFrames = 15;

// "07" for frame 7 of 15; more digits for longer groups.
std::string frameNumber(std::size_t frame, std::size_t frames) {
    const std::size_t digits = std::max<std::size_t>(2, std::to_string(frames - 1).size());
    std::string number = std::to_string(frame);
    return std::string(digits > number.size() ? digits - number.size() : 0, '0') + number;
}

}  // namespace

ScanCommand::ScanCommand()
    : Command("scan", "Run stripe scans and save each group as PNG files plus a contact sheet") {}

void ScanCommand::addOptions(CLI::App& app) {
    app.add_option("--scans", scans_, "scans to run")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
    app.add_option("--period", periodMs_, "trigger period of one stripe pattern, in ms")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
    app.add_option("--exposure", exposureMs_,
                   "exposure of every camera, in ms (default: unchanged)")
        ->check(CLI::PositiveNumber);
    app.add_option("--out", out_, "folder of the images, created when missing")
        ->capture_default_str();
}

void ScanCommand::run(Session& session) {
    OutputFolder folder(out_);
    ScannerConnection connection(session);
    Console& console = session.console();
    console.line(connection.connectedLine());

    const std::vector<int> mono = connection.monoCameras();
    if (mono.empty()) {
        throw CommandError(CommandError::kOperationFailed,
                           "no mono camera is connected; a stripe scan is taken by mono cameras");
    }
    // The mono cameras expose on the board's stripe pulses.
    for (const int index : mono) {
        check(SetCameraTriggerMode(connection.handle(), index, TRIGGERMODE_TRIGGERED),
              "SetCameraTriggerMode");
    }
    if (exposureMs_) {
        for (std::size_t i = 0; i < connection.cameras().size(); ++i) {
            check(SetCameraExposure(connection.handle(), static_cast<int>(i), *exposureMs_),
                  "SetCameraExposure");
        }
    }
    // The stripe mode sends the period and the frame count to the board as its two stripe
    // words; its groups have a fixed size (15 frames a camera, 16 counted for a multi-sensor one).
    SCANPARAMETERS parameters{};
    parameters.scanFrameRate = periodMs_;
    parameters.scanFrameCount = kStripeFrames;
    check(SetScanParameter(connection.handle(), parameters), "SetScanParameter");

    const std::size_t cameraCount = mono.size();
    double totalSeconds = 0.0;
    int fewestPerCamera = std::numeric_limits<int>::max();
    int mostPerCamera = 0;
    for (int scan = 1; scan <= scans_; ++scan) {
        const std::string scanName = "scan " + std::to_string(scan);
        RETSTATUS status = RET_OPERATE_FAILED;
        double seconds = 0.0;
        {
            // The scan settles for four periods, then takes one period per frame.
            ProgressBar bar(scanName, kQuietMs);
            const ProgressTicker ticker(bar, periodMs_ * (kStripeFrames + 5));
            const auto start = std::chrono::steady_clock::now();
            status = Scan(connection.handle(), true);
            seconds =
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        }
        check(status, "Scan");
        totalSeconds += seconds;

        // Owned by the library until the next scan: written out before it.
        std::vector<unsigned char*> images;
        std::vector<int> widths;
        std::vector<int> heights;
        std::vector<int> channels;
        check(GetScanImages(connection.handle(), images, widths, heights, channels),
              "GetScanImages");

        const std::size_t count = images.size();
        console.line(scanName + ": " + std::to_string(count) + " frames in " + fixed(seconds, 3) +
                     " s, " + fixed(seconds > 0 ? static_cast<double>(count) / seconds : 0.0, 1) +
                     " frames/s");
        // Frame by frame, camera by camera within a frame.
        for (std::size_t c = 0; c < cameraCount; ++c) {
            const std::size_t perCamera = count / cameraCount + (c < count % cameraCount ? 1 : 0);
            fewestPerCamera = std::min(fewestPerCamera, static_cast<int>(perCamera));
            mostPerCamera = std::max(mostPerCamera, static_cast<int>(perCamera));
            console.line("  " + connection.cameraName(mono[c]) + ": " + std::to_string(perCamera) +
                         " frames");
        }
        if (count == 0) continue;

        const std::size_t rows = (count + cameraCount - 1) / cameraCount;
        int widest = 0;
        int tallest = 0;
        bool colour = false;
        for (std::size_t i = 0; i < count; ++i) {
            widest = std::max(widest, widths[i]);
            tallest = std::max(tallest, heights[i]);
            colour = colour || channels[i] == 3 || channels[i] == 6;
        }
        ContactSheet sheet(static_cast<int>(cameraCount), static_cast<int>(rows), widest, tallest,
                           colour);
        ProgressBar bar("saving " + scanName, kQuietMs);
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t frame = i / cameraCount;
            const std::size_t column = i % cameraCount;
            const Image image = Image::fromFrame(images[i], widths[i], heights[i], channels[i]);
            folder.write("scan" + std::to_string(scan) + "_frame" + frameNumber(frame, rows) +
                             "_cam" + std::to_string(mono[column]) + ".png",
                         image);
            sheet.place(static_cast<int>(column), static_cast<int>(frame), image);
            bar.update(static_cast<double>(i + 1) / static_cast<double>(count + 1));
        }
        const std::string sheetPath =
            folder.write("scan" + std::to_string(scan) + "_sheet.png", sheet.image());
        bar.finish();
        console.line("  wrote " + std::to_string(count) + " images and " + sheetPath + " (" +
                     std::to_string(sheet.image().width()) + " x " +
                     std::to_string(sheet.image().height()) + ")");
    }

    const std::string perCamera =
        fewestPerCamera == mostPerCamera
            ? std::to_string(mostPerCamera)
            : std::to_string(fewestPerCamera) + " to " + std::to_string(mostPerCamera);
    console.line("summary: " + std::to_string(scans_) + (scans_ == 1 ? " scan, " : " scans, ") +
                 perCamera + " frames per camera, mean scan time " +
                 fixed(totalSeconds / scans_, 3) + " s, " + std::to_string(folder.filesWritten()) +
                 " files written to " + folder.folder());
    connection.disconnect();
}

}  // namespace zeta::cli
