// soak: many connect -> short scan -> disconnect cycles through the public header, on a small rig
// of the virtual scanner, watching what the process holds of the system. Every `--every` cycles
// (and before the first) it prints one line with the resident memory, the thread count and the
// open descriptor count (handle count on Windows); bench/run.sh turns them into growth per 1,000
// cycles after a warm-up.
//
//   soak [--cycles 10000] [--every 1000] [--out samples.json]
//
// A cycle: ConnectDevice("STRIPE") with one 64 x 48 mono camera running free at 5,000 frames a
// second, SetScanParameter with a 1 ms period, Scan (15 frames), GetScanImages, DisConnectDevice.
// It takes about 30 ms: Scan sleeps four periods and its grab thread takes a frame about every
// millisecond, and DisConnectDevice joins the watchdog, which sleeps in 10 ms slices. The camera
// runs faster than the grab thread so that no cycle waits for a frame. Exit status: 0 when every
// cycle worked, 1 when one failed, 2 for a wrong call.
//
// The library logs every call at information severity: the messages are formatted but written
// nowhere, so that the figures are the library's and not a log file's. Its console lines go to
// standard output with this program's; run.sh keeps the lines that begin with "soak".
#include <glog/logging.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "ProcessStats.h"
#include "zetaVoroSim/SimControl.h"
#include "zetaVoroSync/zetaVoroSync.h"

namespace {

using namespace zetaVoroSync;
using Clock = std::chrono::steady_clock;

constexpr int kCameras = 1;
constexpr int kFramesPerSecond = 5000;
constexpr int kWidth = 64;
constexpr int kHeight = 48;
constexpr int kFramesPerCamera = 15;

struct Options {
    long cycles = 10000;
    long every = 1000;
    std::string out;
};

struct Sample {
    long cycle;
    double seconds;
    zeta::test::ProcessStats stats;
};

bool parse(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (i + 1 >= argc) return false;
        const std::string value = argv[++i];
        if (arg == "--cycles") {
            options.cycles = std::strtol(value.c_str(), nullptr, 10);
        } else if (arg == "--every") {
            options.every = std::strtol(value.c_str(), nullptr, 10);
        } else if (arg == "--out") {
            options.out = value;
        } else {
            return false;
        }
    }
    return options.cycles > 0 && options.every > 0;
}

std::string rig() {
    std::string cameras;
    for (int i = 1; i <= kCameras; ++i) {
        if (i > 1) cameras += ", ";
        cameras += R"({"serial": "SOAK0)" + std::to_string(i) +
                   R"(", "type": "ZV", "format": 1, "width": )" + std::to_string(kWidth) +
                   R"(, "height": )" + std::to_string(kHeight) + R"(, "fps": )" +
                   std::to_string(kFramesPerSecond) + "}";
    }
    return R"({"board": {"paths": ["sim:board0"]}, "cameras": [)" + cameras + "]}";
}

// One cycle; false (with the reason on standard error) when a step fails.
bool cycle(const std::vector<char*>& names, long number) {
    const std::vector<int> widths(kCameras, kWidth);
    const std::vector<int> heights(kCameras, kHeight);
    const char* mode = "STRIPE";
    const char* path = "sim:board0";
    void* handle = nullptr;
    const char* failed = nullptr;
    if (ConnectDevice(mode, path, names, widths, heights, handle) != RET_OPERATE_SUCCESS) {
        std::fprintf(stderr, "soak: cycle %ld: ConnectDevice failed\n", number);
        return false;
    }
    SCANPARAMETERS parameters{};
    parameters.scanFrameRate = 1;
    parameters.scanFrameCount = kFramesPerCamera;
    std::vector<unsigned char*> images;
    std::vector<int> imageWidths, imageHeights, channels;
    if (SetScanParameter(handle, parameters) != RET_OPERATE_SUCCESS) {
        failed = "SetScanParameter";
    } else if (Scan(handle, true) != RET_OPERATE_SUCCESS) {
        failed = "Scan";
    } else if (GetScanImages(handle, images, imageWidths, imageHeights, channels) !=
                   RET_OPERATE_SUCCESS ||
               images.size() != static_cast<std::size_t>(kCameras * kFramesPerCamera)) {
        failed = "GetScanImages";
    }
    // The scan images stay the library's; DisConnectDevice frees them.
    if (DisConnectDevice(handle) != RET_OPERATE_SUCCESS && failed == nullptr) {
        failed = "DisConnectDevice";
    }
    if (failed != nullptr) std::fprintf(stderr, "soak: cycle %ld: %s failed\n", number, failed);
    return failed == nullptr;
}

void print(const Sample& sample) {
    const auto& s = sample.stats;
    const std::string resident =
        s.residentBytes < 0 ? "n/a" : std::to_string(s.residentBytes / 1024) + " KiB";
    std::printf("soak: cycle %6ld  %8.1f s  resident %s  threads %s  descriptors %s\n",
                sample.cycle, sample.seconds, resident.c_str(),
                zeta::test::ProcessStats::text(s.threads).c_str(),
                zeta::test::ProcessStats::text(s.descriptors).c_str());
    std::fflush(stdout);
}

bool writeJson(const std::string& path, const std::vector<Sample>& samples, long failures) {
    std::ofstream out(path);
    out << "{\"cycles\": " << (samples.empty() ? 0 : samples.back().cycle)
        << ", \"failures\": " << failures << ", \"samples\": [";
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const auto& s = samples[i];
        out << (i > 0 ? ", " : "") << "{\"cycle\": " << s.cycle << ", \"seconds\": " << s.seconds
            << ", \"resident_bytes\": " << s.stats.residentBytes
            << ", \"threads\": " << s.stats.threads << ", \"descriptors\": " << s.stats.descriptors
            << "}";
    }
    out << "]}\n";
    return static_cast<bool>(out);
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parse(argc, argv, options)) {
        std::fprintf(stderr, "usage: %s [--cycles N] [--every K] [--out samples.json]\n", argv[0]);
        return 2;
    }
    google::InitGoogleLogging(argv[0]);
    for (int severity = google::GLOG_INFO; severity < google::NUM_SEVERITIES; ++severity) {
        google::SetLogDestination(severity, "");
    }
    FLAGS_stderrthreshold = google::GLOG_FATAL;

    std::string error;
    if (!zeta::sim::loadRigText(rig(), &error)) {
        std::fprintf(stderr, "soak: the rig does not load: %s\n", error.c_str());
        return 1;
    }
    // The journal is not read here; a short one keeps it out of the memory figure.
    zeta::sim::setJournalCapacity(64);

    std::vector<std::string> serials;
    for (int i = 1; i <= kCameras; ++i) serials.push_back("SOAK0" + std::to_string(i));
    std::vector<char*> names;
    for (auto& serial : serials) names.push_back(serial.data());

    std::printf("soak: %ld connect -> scan -> disconnect cycles, %d camera(s) %dx%d, 1 ms period\n",
                options.cycles, kCameras, kWidth, kHeight);
    std::vector<Sample> samples;
    const Clock::time_point start = Clock::now();
    auto sample = [&](long done) {
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        samples.push_back({done, seconds, zeta::test::ProcessStats::now()});
        print(samples.back());
    };
    sample(0);
    long failures = 0;
    for (long i = 1; i <= options.cycles; ++i) {
        if (!cycle(names, i)) ++failures;
        if (i % options.every == 0 || i == options.cycles) sample(i);
    }
    std::printf("soak: %ld cycles, %ld failed, %.1f ms a cycle\n", options.cycles, failures,
                samples.back().seconds * 1000.0 / static_cast<double>(options.cycles));
    if (!options.out.empty() && !writeJson(options.out, samples, failures)) {
        std::fprintf(stderr, "soak: cannot write %s\n", options.out.c_str());
        return 1;
    }
    google::ShutdownGoogleLogging();
    return failures == 0 ? 0 : 1;
}
