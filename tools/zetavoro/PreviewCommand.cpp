#include "PreviewCommand.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <thread>
#include <vector>

#include <zetaVoroSync/zetaVoroSync.h>

#include "CommandError.h"
#include "Format.h"
#include "OutputFolder.h"
#include "PreviewCounter.h"
#include "ScannerConnection.h"

namespace zeta::cli {
namespace {

using namespace zetaVoroSync;

// The display callback: runs on a grab thread of the library, with the frame valid during the
// call only.
void onDisplayFrame(const void* const& context, const int& cameraIndex,
                    const unsigned char* const& data, const int& width, const int& height,
                    const int& channels) {
    auto* counter = static_cast<PreviewCounter*>(const_cast<void*>(context));
    counter->onFrame(cameraIndex, data, width, height, channels);
}

}  // namespace

PreviewCommand::PreviewCommand()
    : Command("preview",
              "Stream every camera, printing frame rates and dropped frames, and "
              "save each camera's last frame") {}

void PreviewCommand::addOptions(CLI::App& app) {
    app.add_option("--seconds", seconds_, "how long to stream")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
    app.add_option("--period", periodMs_, "trigger period, in ms")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
    app.add_option("--out", out_, "folder of the images, created when missing")
        ->capture_default_str();
}

void PreviewCommand::run(Session& session) {
    OutputFolder folder(out_);
    // Declared before the connection: the library calls into it until the connection ends.
    std::unique_ptr<PreviewCounter> counter;
    ScannerConnection connection(session);
    Console& console = session.console();
    console.line(connection.connectedLine());

    const int cameraCount = static_cast<int>(connection.cameras().size());
    counter = std::make_unique<PreviewCounter>(cameraCount, periodMs_);
    void* const& handle = connection.handle();
    check(SetDisplayCallBackFunction(handle, &onDisplayFrame, counter.get()),
          "SetDisplayCallBackFunction");
    for (int i = 0; i < cameraCount; ++i) {
        check(SetCameraTriggerMode(handle, i, TRIGGERMODE_TRIGGERED), "SetCameraTriggerMode");
    }
    for (const CONTROLROUTE route : {CONTROLROUTE_MONO, CONTROLROUTE_COLOR}) {
        check(SetVideoTriggerPeriod(handle, route, periodMs_), "SetVideoTriggerPeriod");
        check(EnableVideoTrigger(handle, route, true), "EnableVideoTrigger");
    }

    const auto start = std::chrono::steady_clock::now();
    std::vector<int> framesAtLastLine(static_cast<std::size_t>(cameraCount), 0);
    double lastLineSeconds = 0.0;
    const int lines = static_cast<int>(std::ceil(seconds_));
    for (int tick = 1; tick <= lines; ++tick) {
        const double at = std::min(static_cast<double>(tick), seconds_);
        std::this_thread::sleep_until(start + std::chrono::duration<double>(at));
        std::string line = "  " + fixed(at, 1) + " s";
        for (int i = 0; i < cameraCount; ++i) {
            const PreviewCounter::Snapshot now = counter->snapshot(i);
            const double rate = (now.frames - framesAtLastLine[static_cast<std::size_t>(i)]) /
                                std::max(1e-3, at - lastLineSeconds);
            framesAtLastLine[static_cast<std::size_t>(i)] = now.frames;
            line += "  camera " + std::to_string(i) + ": " + fixed(rate, 1) + " fps, " +
                    std::to_string(now.dropped) + " dropped";
        }
        lastLineSeconds = at;
        console.line(line);
    }

    for (const CONTROLROUTE route : {CONTROLROUTE_MONO, CONTROLROUTE_COLOR}) {
        check(EnableVideoTrigger(handle, route, false), "EnableVideoTrigger");
    }
    // Waits for a running call of the callback to return.
    check(SetDisplayCallBackFunction(handle, nullptr, nullptr), "SetDisplayCallBackFunction");

    console.line("preview: " + fixed(seconds_, 1) + " s");
    int silent = -1;
    for (int i = 0; i < cameraCount; ++i) {
        const PreviewCounter::Snapshot total = counter->snapshot(i);
        if (total.frames == 0) {
            console.line("  " + connection.cameraName(i) + ": no frames");
            if (silent < 0) silent = i;
            continue;
        }
        console.line("  " + connection.cameraName(i) + ": " + std::to_string(total.frames) +
                     " frames, " + fixed(total.frames / seconds_, 1) + " frames/s, " +
                     std::to_string(total.dropped) + " dropped");
    }
    for (int i = 0; i < cameraCount; ++i) {
        const Image last = counter->lastFrame(i);
        if (last.empty()) continue;
        const std::string path = folder.write("preview_cam" + std::to_string(i) + ".png", last);
        console.line("wrote " + path + " (" + last.description() + ")");
    }
    if (silent >= 0) {
        throw CommandError(CommandError::kOperationFailed,
                           connection.cameraName(silent) + " delivered no frames");
    }
    connection.disconnect();
}

}  // namespace zeta::cli
