// The board and each camera unplugged in the middle of a scan, a snap, a preview with callbacks
// and a firmware update, then plugged in again and the handle reconnected: every call answers
// within its time-out, and the reconnected handle snaps and scans again. Each case bounds its own
// waits; LeakSanitizer checks at exit that nothing leaked.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <future>
#include <string>
#include <vector>

#include "ApiTestSupport.h"

namespace {

using namespace zetaVoroSync;
using namespace zeta::api::test;
using zeta::sim::test::useRig;
using zeta::sim::test::waitUntil;

using namespace std::chrono_literals;

enum class Operation { Scan, Snap, Preview, Firmware };

struct FaultCase {
    const char* device;  // "board" or a camera serial
    Operation operation;
};

std::string nameOf(const ::testing::TestParamInfo<FaultCase>& info) {
    static const char* const kOperations[] = {"Scan", "Snap", "Preview", "Firmware"};
    return std::string(kOperations[static_cast<int>(info.param.operation)]) + "_" +
           info.param.device;
}

struct PreviewCounts {
    std::atomic<int> frames{0};
    std::atomic<int> reports{0};
};

void countFrame(const void* const& context, const int&, const unsigned char* const&, const int&,
                const int&, const int&) {
    ++static_cast<PreviewCounts*>(const_cast<void*>(context))->frames;
}

void countReport(const void* const& context, const unsigned long&, const unsigned long&,
                 const unsigned long&, const bool&) {
    ++static_cast<PreviewCounts*>(const_cast<void*>(context))->reports;
}

bool isStatus(RETSTATUS status) {
    return status >= RET_OPERATE_FAILED && status <= RET_OPERATE_SUCCESS;
}

class ApiUnplugReplug : public ::testing::TestWithParam<FaultCase> {
protected:
    void SetUp() override {
        // Short snap time-outs keep the failing snaps quick.
        useRig(monoRig(2, R"("snapTimeoutMs": 300)"));
        connection_ = std::make_unique<Connection>(std::vector<std::string>{"ZV0001", "ZV0002"});
        ASSERT_EQ(connection_->status(), RET_OPERATE_SUCCESS);
    }
    void TearDown() override {
        zeta::sim::replug(GetParam().device);
        connection_.reset();
    }
    void* handle() { return connection_->handle(); }

    void prepareScan() {
        for (int i = 0; i < 2; ++i) {
            ASSERT_EQ(SetCameraTriggerMode(handle(), i, TRIGGERMODE_TRIGGERED),
                      RET_OPERATE_SUCCESS);
        }
        SCANPARAMETERS parameters{};
        parameters.scanFrameRate = 40;
        parameters.scanFrameCount = 15;
        ASSERT_EQ(SetScanParameter(handle(), parameters), RET_OPERATE_SUCCESS);
    }

    // Starts the operation on its own thread, waits until it is under way and unplugs the device.
    // Returns the operation's status, which must come within `bound`.
    RETSTATUS runAndUnplug(std::chrono::seconds bound) {
        const FaultCase fault = GetParam();
        const auto mark = journalMark();
        void* h = handle();
        std::future<RETSTATUS> running;
        std::string started;
        switch (fault.operation) {
            case Operation::Scan:
                running = std::async(std::launch::async, [h] { return Scan(h, true); });
                started = "zetaOutputSingleTrigger";
                break;
            case Operation::Snap:
                running = std::async(std::launch::async, [h] {
                    std::vector<unsigned char*> images;
                    std::vector<int> widths, heights, channels;
                    const RETSTATUS status =
                        SnapSingleGroupImages(h, PROJECT_WHITE, images, widths, heights, channels);
                    for (unsigned char* image : images) std::free(image);
                    return status;
                });
                started = "zetaProject";
                break;
            case Operation::Firmware:
                running = std::async(std::launch::async, [h, this] {
                    return UpdateFirewareImageData(h, firmware_.c_str(), 1, nullptr, nullptr);
                });
                started = "zetaE7StartWriteImage";
                break;
            case Operation::Preview:
                break;
        }
        if (fault.operation == Operation::Preview) {
            EXPECT_EQ(SetDisplayCallBackFunction(h, &countFrame, &preview_), RET_OPERATE_SUCCESS);
            EXPECT_EQ(SetStatusCallBackFunction(h, &countReport, &preview_), RET_OPERATE_SUCCESS);
            EXPECT_TRUE(waitUntil(
                [&] { return preview_.frames.load() > 2 && preview_.reports.load() > 0; }, 5s));
            EXPECT_TRUE(zeta::sim::unplug(fault.device));
            // The threads keep running on the missing device: reports and the other camera's
            // frames go on arriving.
            const int reports = preview_.reports;
            EXPECT_TRUE(waitUntil([&] { return preview_.reports.load() > reports + 1; }, 5s));
            EXPECT_EQ(SetDisplayCallBackFunction(h, nullptr, nullptr), RET_OPERATE_SUCCESS);
            EXPECT_EQ(SetStatusCallBackFunction(h, nullptr, nullptr), RET_OPERATE_SUCCESS);
            return RET_OPERATE_SUCCESS;
        }
        EXPECT_TRUE(waitUntil([&] { return !recordsSince(mark, started).empty(); }, 10s))
            << started;
        EXPECT_TRUE(zeta::sim::unplug(fault.device));
        if (running.wait_for(bound) != std::future_status::ready) {
            ADD_FAILURE() << "no answer within " << bound.count() << " s";
            running.wait();  // the test fails; the future's thread must still be joined
        }
        return running.get();
    }

    // After the replug and a reconnection the handle snaps and scans again.
    void expectWorkingAgain() {
        ASSERT_TRUE(zeta::sim::replug(GetParam().device));
        auto reconnect =
            std::async(std::launch::async, [this] { return ReconnectDevice(handle()); });
        ASSERT_EQ(reconnect.wait_for(30s), std::future_status::ready);
        EXPECT_EQ(reconnect.get(), RET_OPERATE_SUCCESS);

        unsigned char* image = nullptr;
        int width = 0, height = 0, channels = 0;
        ASSERT_EQ(SetCameraTriggerMode(handle(), 1, TRIGGERMODE_FREERUN), RET_OPERATE_SUCCESS);
        EXPECT_EQ(SnapSingleImageFromSpecifyCamera(handle(), 1, image, width, height, channels),
                  RET_OPERATE_SUCCESS);
        EXPECT_NE(image, nullptr);
        std::free(image);

        prepareScan();
        EXPECT_EQ(Scan(handle(), true), RET_OPERATE_SUCCESS);
        std::vector<unsigned char*> images;
        std::vector<int> widths, heights, counts;
        EXPECT_EQ(GetScanImages(handle(), images, widths, heights, counts), RET_OPERATE_SUCCESS);
        EXPECT_EQ(images.size(), 30u);
    }

    std::unique_ptr<Connection> connection_;
    ScratchDirectory scratch_;
    std::wstring firmware_;
    PreviewCounts preview_;
};

TEST_P(ApiUnplugReplug, EveryCallAnswersAndTheHandleWorksAgain) {
    if (GetParam().operation == Operation::Scan) prepareScan();
    if (GetParam().operation == Operation::Firmware) {
        const auto file = scratch_.path() / "logo.SPLASH";
        std::ofstream out(file, std::ios::binary);
        for (int i = 0; i < 40; ++i) out << "0123456789\n";
        out.close();
        firmware_ = file.wstring();
    }
    // A scan gives up after 20 s, a snap after its frame waits, a transfer after its chunks.
    const RETSTATUS status = runAndUnplug(40s);
    EXPECT_TRUE(isStatus(status)) << status;
    // A device the operation does not use does not fail it.
    const bool usesDevice =
        GetParam().operation != Operation::Firmware || std::string(GetParam().device) == "board";
    if (!usesDevice) {
        EXPECT_EQ(status, RET_OPERATE_SUCCESS);
    }
    expectWorkingAgain();
}

INSTANTIATE_TEST_SUITE_P(
    Devices, ApiUnplugReplug,
    ::testing::Values(
        FaultCase{"board", Operation::Scan}, FaultCase{"ZV0001", Operation::Scan},
        FaultCase{"ZV0002", Operation::Scan}, FaultCase{"board", Operation::Snap},
        FaultCase{"ZV0001", Operation::Snap}, FaultCase{"ZV0002", Operation::Snap},
        FaultCase{"board", Operation::Preview}, FaultCase{"ZV0001", Operation::Preview},
        FaultCase{"ZV0002", Operation::Preview}, FaultCase{"board", Operation::Firmware},
        FaultCase{"ZV0001", Operation::Firmware}, FaultCase{"ZV0002", Operation::Firmware}),
    nameOf);

}  // namespace
