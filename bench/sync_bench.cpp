// Benchmarks of the library through its public header, on the virtual scanner. Each benchmark
// runs once (a measurement of several seconds) and reports its figure as the counter "ratio",
// which run.sh prints against its target:
//   BM_PreviewDelivery   frames delivered to the display callback / frames the cameras produced
//                        (counter "ratio") and the library's CPU time per delivered frame / one
//                        memcpy of that frame (counter "cost")
//   BM_StripeScan        wall time of Scan / (settle sleep + frames x trigger period)
//   BM_IdleStatus        CPU time of a connected handle with its status thread / wall time
//   BM_ConnectScanCycles growth of resident memory over 1,000 connect -> scan -> disconnect
//                        cycles, in MiB
#include <benchmark/benchmark.h>
#include <glog/logging.h>
#include <stdlib.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "zetaCamera.h"
#include "zetaVoroDLPdev.h"
#include "zetaVoroSim/SimControl.h"
#include "zetaVoroSync/zetaVoroSync.h"

namespace {

using namespace zetaVoroSync;
using Clock = std::chrono::steady_clock;

double processCpuSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

double residentMiB() {
    long pages = 0;
    long resident = 0;
    if (FILE* f = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
        std::fclose(f);
    }
    return static_cast<double>(resident) * 4096.0 / (1024.0 * 1024.0);
}

// Average wall time of one memcpy of `bytes`, in nanoseconds.
double memcpyNs(std::size_t bytes) {
    std::vector<unsigned char> source(bytes, 7);
    std::vector<unsigned char> target(bytes);
    const int rounds = 300;
    const auto start = Clock::now();
    for (int i = 0; i < rounds; ++i) {
        std::memcpy(target.data(), source.data(), bytes);
        benchmark::DoNotOptimize(target.data());
        benchmark::ClobberMemory();
    }
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count() / rounds;
}

std::string rigOf(int cameras, int width, int height, int fps) {
    std::string rig = R"({"cameras": [)";
    for (int i = 0; i < cameras; ++i) {
        if (i > 0) rig += ",";
        rig += R"({"serial": "BENCH0)" + std::to_string(i + 1) +
               R"(", "type": "ZV", "format": 1, "width": )" + std::to_string(width) +
               R"(, "height": )" + std::to_string(height) + R"(, "fps": )" + std::to_string(fps) +
               "}";
    }
    return rig + "]}";
}

struct Connection {
    std::vector<std::string> serials;
    std::vector<char*> names;
    std::vector<int> widths;
    std::vector<int> heights;
    void* handle = nullptr;

    Connection(int cameras, int width, int height) {
        for (int i = 0; i < cameras; ++i) serials.push_back("BENCH0" + std::to_string(i + 1));
        for (auto& s : serials) names.push_back(s.data());
        widths.assign(static_cast<std::size_t>(cameras), width);
        heights.assign(static_cast<std::size_t>(cameras), height);
    }
    RETSTATUS connect() {
        const char* mode = "STRIPE";
        const char* path = "sim:board0";
        return ConnectDevice(mode, path, names, widths, heights, handle);
    }
    ~Connection() {
        if (handle != nullptr) DisConnectDevice(handle);
    }
};

bool loadRig(benchmark::State& state, const std::string& rig) {
    std::string error;
    if (!zeta::sim::loadRigText(rig, &error)) {
        state.SkipWithError(("rig not loaded: " + error).c_str());
        return false;
    }
    zeta::sim::setJournalCapacity(1024);
    return true;
}

std::uint64_t producedFrames(const std::vector<std::string>& serials) {
    std::uint64_t total = 0;
    for (const auto& s : serials) {
        zeta::sim::CameraStats stats;
        if (zeta::sim::cameraStats(s, stats)) total += stats.framesProduced;
    }
    return total;
}

std::atomic<std::uint64_t> g_displayFrames{0};

void countDisplayFrame(const void* const&, const int&, const unsigned char* const&, const int&,
                       const int&, const int&) {
    g_displayFrames.fetch_add(1, std::memory_order_relaxed);
}

// Raw camera-library delivery of the same frames, without the library: the baseline its cost
// per frame is measured against. Returns process CPU seconds per frame.
double rawCpuPerFrame(const std::vector<std::string>& serials, int periodMs, double seconds) {
    void* board = nullptr;
    const char* path = "sim:board0";
    if (!zetaVoroDLPdev::zetaInitHidDev(board, path)) return -1.0;
    std::vector<void*> cameras;
    for (const auto& s : serials) {
        void* cam = nullptr;
        zetaCamera::CreateCamera(cam, s.c_str());
        zetaCamera::OpenCamera(cam, s.c_str(), 0, 0);
        zetaCamera::SetTriggerMode(cam, zetaCamera::SN_TRIG_EXTERNAL, 0, 0, 0);
        zetaCamera::StartCamera(cam, 0.0);
        cameras.push_back(cam);
    }
    std::atomic<bool> run{true};
    std::atomic<std::uint64_t> frames{0};
    std::vector<std::thread> threads;
    for (void* cam : cameras) {
        threads.emplace_back([cam, &run, &frames] {
            while (run) {
                unsigned char* data = nullptr;
                if (zetaCamera::SnapShot(cam, data) == 0 && data != nullptr) ++frames;
            }
        });
    }
    const zetaVoroDLPdev::TRIGGERROUTE mono = zetaVoroDLPdev::TRIGGERROUTE(0);
    zetaVoroDLPdev::zetaSetVideoTriggerPeriod(board, mono, periodMs);
    const double cpu0 = processCpuSeconds();
    const std::uint64_t frames0 = frames;
    zetaVoroDLPdev::zetaStartOrStopVideoTrigger(board, mono, true);
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    zetaVoroDLPdev::zetaStartOrStopVideoTrigger(board, mono, false);
    const double cpu = processCpuSeconds() - cpu0;
    const std::uint64_t counted = frames - frames0;
    run = false;
    for (void* cam : cameras) zetaCamera::UnlockOthers(cam);
    for (auto& t : threads) t.join();
    for (void*& cam : cameras) {
        zetaCamera::CloseCamera(cam);
        zetaCamera::ReleaseCamera(cam);
    }
    zetaVoroDLPdev::zetaExitHidDev(board);
    return counted > 0 ? cpu / static_cast<double>(counted) : -1.0;
}

void BM_PreviewDelivery(benchmark::State& state) {
    constexpr int kWidth = 1280;
    constexpr int kHeight = 1024;
    constexpr int kPeriodMs = 10;
    constexpr double kSeconds = 10.0;
    for (auto _ : state) {
        if (!loadRig(state, rigOf(3, kWidth, kHeight, 30))) return;
        Connection connection(3, kWidth, kHeight);
        if (connection.connect() != RET_OPERATE_SUCCESS) {
            state.SkipWithError("ConnectDevice failed");
            return;
        }
        void* const& h = connection.handle;
        PrintCameraSnapFailInfomation(h, false);
        for (int i = 0; i < 3; ++i) SetCameraTriggerMode(h, i, TRIGGERMODE_TRIGGERED);
        const CONTROLROUTE mono = CONTROLROUTE_MONO;
        EnableVideoTrigger(h, mono, false);
        SetVideoTriggerPeriod(h, mono, kPeriodMs);
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        SetDisplayCallBackFunction(h, countDisplayFrame, nullptr);

        const std::uint64_t produced0 = producedFrames(connection.serials);
        const std::uint64_t delivered0 = g_displayFrames;
        const double cpu0 = processCpuSeconds();
        EnableVideoTrigger(h, mono, true);
        std::this_thread::sleep_for(std::chrono::duration<double>(kSeconds));
        EnableVideoTrigger(h, mono, false);
        const double cpu = processCpuSeconds() - cpu0;
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        const std::uint64_t produced = producedFrames(connection.serials) - produced0;
        const std::uint64_t delivered = g_displayFrames - delivered0;
        SetDisplayCallBackFunction(h, nullptr, nullptr);
        DisConnectDevice(connection.handle);

        const double libraryPerFrame = delivered > 0 ? cpu / static_cast<double>(delivered) : 0;
        const double rawPerFrame = rawCpuPerFrame(connection.serials, kPeriodMs, 5.0);
        const double copyNs = memcpyNs(std::size_t{kWidth} * kHeight);
        const double extraNs = (libraryPerFrame - rawPerFrame) * 1e9;
        state.counters["ratio"] =
            produced > 0 ? static_cast<double>(delivered) / static_cast<double>(produced) : 0;
        state.counters["cost"] = extraNs > 0 ? extraNs / copyNs : 0.0;
        state.counters["delivered"] = static_cast<double>(delivered);
        state.counters["produced"] = static_cast<double>(produced);
        state.counters["library_ns_per_frame"] = libraryPerFrame * 1e9;
        state.counters["raw_ns_per_frame"] = rawPerFrame * 1e9;
        state.counters["memcpy_ns"] = copyNs;
    }
}
BENCHMARK(BM_PreviewDelivery)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

void BM_StripeScan(benchmark::State& state) {
    constexpr int kFrameRate = 100;  // ms per stripe pattern; Scan settles 4 x this first
    constexpr int kFrames = 15;
    constexpr int kScans = 5;
    for (auto _ : state) {
        if (!loadRig(state, rigOf(3, 1280, 1024, 30))) return;
        Connection connection(3, 1280, 1024);
        if (connection.connect() != RET_OPERATE_SUCCESS) {
            state.SkipWithError("ConnectDevice failed");
            return;
        }
        void* const& h = connection.handle;
        for (int i = 0; i < 3; ++i) SetCameraTriggerMode(h, i, TRIGGERMODE_TRIGGERED);
        SCANPARAMETERS parameters{};
        parameters.scanFrameRate = kFrameRate;
        parameters.scanFrameCount = kFrames;
        SetScanParameter(h, parameters);
        // Live preview between scans at 10 ms: Scan first pauses each mono camera thread, which
        // waits for the pass in flight, i.e. at most one video-trigger period.
        const CONTROLROUTE mono = CONTROLROUTE_MONO;
        SetVideoTriggerPeriod(h, mono, 10);
        EnableVideoTrigger(h, mono, true);
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        double total = 0;
        int good = 0;
        for (int i = 0; i < kScans; ++i) {
            const auto start = Clock::now();
            const RETSTATUS status = Scan(h, true);
            total += std::chrono::duration<double, std::milli>(Clock::now() - start).count();
            if (status == RET_OPERATE_SUCCESS) ++good;
        }
        const double expected = 4.0 * kFrameRate + kFrames * kFrameRate;
        state.counters["ratio"] = total / kScans / expected;
        state.counters["scan_ms"] = total / kScans;
        state.counters["expected_ms"] = expected;
        state.counters["good_scans"] = good;
        if (good != kScans) state.SkipWithError("a scan failed");
    }
}
BENCHMARK(BM_StripeScan)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

void ignoreStatus(const void* const&, const unsigned long&, const unsigned long&,
                  const unsigned long&, const bool&) {}

void BM_IdleStatus(benchmark::State& state) {
    constexpr double kSeconds = 10.0;
    for (auto _ : state) {
        if (!loadRig(state, rigOf(3, 1280, 1024, 30))) return;
        Connection connection(3, 1280, 1024);
        if (connection.connect() != RET_OPERATE_SUCCESS) {
            state.SkipWithError("ConnectDevice failed");
            return;
        }
        void* const& h = connection.handle;
        // Idle: cameras wait for triggers that do not come; only the status thread polls.
        PrintCameraSnapFailInfomation(h, false);
        for (int i = 0; i < 3; ++i) SetCameraTriggerMode(h, i, TRIGGERMODE_TRIGGERED);
        const CONTROLROUTE both = CONTROLROUTE_BOTH;
        EnableVideoTrigger(h, both, false);
        SetStatusCallBackFunction(h, ignoreStatus, nullptr);
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        const double cpu0 = processCpuSeconds();
        const auto start = Clock::now();
        std::this_thread::sleep_for(std::chrono::duration<double>(kSeconds));
        const double cpu = processCpuSeconds() - cpu0;
        const double wall = std::chrono::duration<double>(Clock::now() - start).count();
        state.counters["ratio"] = cpu / wall;
    }
}
BENCHMARK(BM_IdleStatus)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

void BM_ConnectScanCycles(benchmark::State& state) {
    constexpr int kWarmUp = 50;
    constexpr int kCycles = 1000;
    for (auto _ : state) {
        // Small free-running cameras: every cycle is short and allocates what a real one does.
        if (!loadRig(state, rigOf(2, 64, 48, 1000))) return;
        SCANPARAMETERS parameters{};
        parameters.scanFrameRate = 1;
        parameters.scanFrameCount = 15;
        int failures = 0;
        double before = 0;
        for (int i = 0; i < kWarmUp + kCycles; ++i) {
            if (i == kWarmUp) before = residentMiB();
            Connection connection(2, 64, 48);
            if (connection.connect() != RET_OPERATE_SUCCESS) {
                ++failures;
                continue;
            }
            void* const& h = connection.handle;
            SetScanParameter(h, parameters);
            if (Scan(h, true) != RET_OPERATE_SUCCESS) ++failures;
            std::vector<unsigned char*> images;
            std::vector<int> widths, heights, channels;
            GetScanImages(h, images, widths, heights, channels);
            DisConnectDevice(connection.handle);
        }
        state.counters["ratio"] = residentMiB() - before;
        state.counters["failures"] = failures;
        if (failures != 0) state.SkipWithError("a cycle failed");
    }
}
BENCHMARK(BM_ConnectScanCycles)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

}  // namespace

// The library logs through glog: into files of a temporary folder, as a host would configure it,
// so that the benchmarks measure the library and not a terminal.
int main(int argc, char** argv) {
    char folder[] = "/tmp/zeta_bench_logs.XXXXXX";
    if (mkdtemp(folder) != nullptr) FLAGS_log_dir = folder;
    FLAGS_stderrthreshold = google::GLOG_ERROR;
    google::InitGoogleLogging(argv[0]);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    google::ShutdownGoogleLogging();
    return 0;
}
