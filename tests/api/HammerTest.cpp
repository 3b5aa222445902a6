// Three host threads on one handle at once: one scanning, one setting parameters and snapping,
// one registering and removing callbacks. Every call answers with a status, nothing crashes, and
// under ThreadSanitizer nothing races. It runs for 60 s in the ThreadSanitizer build and for a few
// seconds elsewhere.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "ApiTestSupport.h"

#if defined(__SANITIZE_THREAD__)
#define ZETA_TEST_UNDER_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ZETA_TEST_UNDER_TSAN 1
#endif
#endif

namespace {

using namespace zetaVoroSync;
using namespace zeta::api::test;
using zeta::sim::test::useRig;

using namespace std::chrono_literals;

#ifdef ZETA_TEST_UNDER_TSAN
constexpr auto kHammerTime = 60s;
#else
constexpr auto kHammerTime = 5s;
#endif

// Statuses each thread saw, by call.
class Answers {
public:
    void add(const std::string& call, RETSTATUS status) {
        std::lock_guard<std::mutex> lock(mutex_);
        ++byCall_[call][static_cast<int>(status)];
    }
    std::map<std::string, std::map<int, int>> all() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return byCall_;
    }

private:
    mutable std::mutex mutex_;
    std::map<std::string, std::map<int, int>> byCall_;
};

std::atomic<int> g_frames{0};

void onFrame(const void* const&, const int&, const unsigned char* const& data, const int& width,
             const int& height, const int&) {
    // Touch the frame as a host would.
    if (data != nullptr && width > 0 && height > 0) {
        const volatile unsigned char first = data[0];
        static_cast<void>(first);
        ++g_frames;
    }
}
void onFrame2(const void* const&, const int&, const unsigned char* const&, const int&, const int&,
              const int&, int) {
    ++g_frames;
}
void onGroup(const void* const&, std::vector<_MY_IMAGE_*>& images) {
    g_frames += static_cast<int>(images.size());
}
void onStatus(const void* const&, const unsigned long&, const unsigned long&, const unsigned long&,
              const bool&) {}

TEST(ApiHammer, ThreeHostThreadsOnOneHandle) {
    useRig(monoRig(2, R"("snapTimeoutMs": 300)"));
    Connection connection({"ZV0001", "ZV0002"});
    ASSERT_EQ(connection.status(), RET_OPERATE_SUCCESS);
    void* h = connection.handle();
    ASSERT_EQ(SetCameraTriggerMode(h, 0, TRIGGERMODE_TRIGGERED), RET_OPERATE_SUCCESS);
    SCANPARAMETERS parameters{};
    parameters.scanFrameRate = 10;
    parameters.scanFrameCount = 15;
    ASSERT_EQ(SetScanParameter(h, parameters), RET_OPERATE_SUCCESS);

    Answers answers;
    std::atomic<bool> stop{false};
    const auto until = std::chrono::steady_clock::now() + kHammerTime;
    auto running = [&] { return !stop && std::chrono::steady_clock::now() < until; };

    auto scanner = std::async(std::launch::async, [&] {
        int scans = 0;
        while (running()) {
            answers.add("Scan", Scan(h, true));
            std::vector<unsigned char*> images;
            std::vector<int> widths, heights, channels;
            answers.add("GetScanImages", GetScanImages(h, images, widths, heights, channels));
            ++scans;
        }
        return scans;
    });
    auto setter = std::async(std::launch::async, [&] {
        int round = 0;
        while (running()) {
            answers.add("SetCameraGain", SetCameraGain(h, round % 2, round % 16));
            int gain = 0;
            answers.add("GetCameraGain", GetCameraGain(h, round % 2, gain));
            answers.add("SetCameraExposure", SetCameraExposure(h, round % 2, 1.0 + round % 5));
            answers.add("SetVideoTriggerPeriod",
                        SetVideoTriggerPeriod(h, CONTROLROUTE_COLOR, 20 + round % 10));
            // Camera 1 runs free, so its snap finds frames; camera 0 is the scan's.
            unsigned char* image = nullptr;
            int width = 0, height = 0, channels = 0;
            answers.add("SnapSingleImageFromSpecifyCamera",
                        SnapSingleImageFromSpecifyCamera(h, 1, image, width, height, channels));
            std::free(image);
            ++round;
        }
        return round;
    });
    auto registrar = std::async(std::launch::async, [&] {
        int round = 0;
        while (running()) {
            const bool on = round % 2 == 0;
            answers.add("SetDisplayCallBackFunction",
                        SetDisplayCallBackFunction(h, on ? &onFrame : nullptr, nullptr));
            answers.add("SetDisplayCallBackFunction2",
                        SetDisplayCallBackFunction2(h, on ? &onFrame2 : nullptr, nullptr));
            answers.add("SetScanFullCallBackFunction",
                        SetScanFullCallBackFunction(h, on ? &onGroup : nullptr, nullptr));
            answers.add("SetStatusCallBackFunction",
                        SetStatusCallBackFunction(h, on ? &onStatus : nullptr, nullptr));
            std::this_thread::sleep_for(5ms);
            ++round;
        }
        return round;
    });

    // Each thread ends within one call after the time is up; a scan that lost a frame to a snap
    // waits its 20 s.
    const auto bound = kHammerTime + 60s;
    ASSERT_EQ(scanner.wait_for(bound), std::future_status::ready);
    ASSERT_EQ(setter.wait_for(bound), std::future_status::ready);
    ASSERT_EQ(registrar.wait_for(bound), std::future_status::ready);
    EXPECT_GT(scanner.get(), 0);
    EXPECT_GT(setter.get(), 0);
    EXPECT_GT(registrar.get(), 0);

    const auto all = answers.all();
    for (const auto& [call, statuses] : all) {
        for (const auto& [status, count] : statuses) {
            EXPECT_GE(status, RET_OPERATE_FAILED) << call;
            EXPECT_LE(status, RET_OPERATE_SUCCESS) << call;
            // Nothing is refused as a stale or foreign handle, nor as a bad argument.
            EXPECT_NE(status, RET_HANDLE_NULL) << call;
            EXPECT_NE(status, RET_PARAMETER_ERROR) << call;
        }
    }
    // Registration and parameter calls always succeed on a connected handle.
    for (const char* call : {"SetDisplayCallBackFunction", "SetDisplayCallBackFunction2",
                             "SetScanFullCallBackFunction", "SetStatusCallBackFunction",
                             "SetCameraGain", "GetCameraGain", "SetVideoTriggerPeriod"}) {
        const auto it = all.find(call);
        ASSERT_NE(it, all.end()) << call;
        EXPECT_EQ(it->second.size(), 1u) << call;
        EXPECT_EQ(it->second.begin()->first, RET_OPERATE_SUCCESS) << call;
    }
    // The handle still works, and disconnects.
    EXPECT_EQ(SetDisplayCallBackFunction(h, nullptr, nullptr), RET_OPERATE_SUCCESS);
    EXPECT_EQ(connection.disconnect(), RET_OPERATE_SUCCESS);
}

}  // namespace
