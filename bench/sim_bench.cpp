// Cost of the virtual scanner's frame delivery, measured against the cheapest possible delivery:
// one memcpy of the frame. run.sh divides the two.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "zetaCamera.h"
#include "zetaVoroSim/SimControl.h"

namespace {

constexpr int frameWidth = 1280;
constexpr int frameHeight = 1024;
constexpr std::size_t frameBytes = std::size_t{frameWidth} * frameHeight;  // mono, 8-bit

void BM_Memcpy1280x1024(benchmark::State& state) {
    std::vector<unsigned char> source(frameBytes);
    std::vector<unsigned char> target(frameBytes);
    for (std::size_t i = 0; i < frameBytes; ++i) source[i] = static_cast<unsigned char>(i * 31);
    for (auto _ : state) {
        std::memcpy(target.data(), source.data(), frameBytes);
        benchmark::DoNotOptimize(target.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(frameBytes));
}
BENCHMARK(BM_Memcpy1280x1024)->UseRealTime();

// One mono camera in free run at a rate it never reaches, so each SnapShot measures what the
// virtual scanner itself costs per delivered frame.
void BM_FreeRunSnapshot1280x1024(benchmark::State& state) {
    const std::string serial = "BENCH01";
    const std::string rig = R"({"cameras": [{"serial": ")" + serial +
                            R"(", "type": "ZV", "width": 1280, "height": 1024, "format": 1,
                                "fps": 100000}]})";
    std::string error;
    if (!zeta::sim::loadRigText(rig, &error)) {
        state.SkipWithError(("rig not loaded: " + error).c_str());
        return;
    }
    void* handle = nullptr;
    if (zetaCamera::CreateCamera(handle, serial.c_str()) != 0 || handle == nullptr) {
        state.SkipWithError("CreateCamera failed");
        return;
    }
    const char* setup = nullptr;
    if (zetaCamera::OpenCamera(handle, serial.c_str(), 0, 0) != 0) {
        setup = "OpenCamera failed";
    } else if (zetaCamera::SetTriggerMode(handle, zetaCamera::SN_TRIG_FREERUN, 0, 0, 0) != 0) {
        setup = "SetTriggerMode failed";
    } else if (zetaCamera::StartCamera(handle, 0.0) != 0) {
        setup = "StartCamera failed";
    }
    if (setup != nullptr) {
        state.SkipWithError(setup);
        zetaCamera::ReleaseCamera(handle);
        return;
    }

    std::int64_t failures = 0;
    for (auto _ : state) {
        unsigned char* data = nullptr;
        if (zetaCamera::SnapShot(handle, data) != 0 || data == nullptr) ++failures;
        benchmark::DoNotOptimize(data);
    }
    state.counters["failures"] = static_cast<double>(failures);
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(frameBytes));
    if (failures > 0) {
        const std::string message = std::to_string(failures) + " of " +
                                    std::to_string(state.iterations()) + " SnapShot calls failed";
        state.SkipWithError(message.c_str());
    }
    zetaCamera::CloseCamera(handle);
    zetaCamera::ReleaseCamera(handle);
}
BENCHMARK(BM_FreeRunSnapshot1280x1024)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
