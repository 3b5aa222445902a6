// Callback registration through the public header, with frames from the virtual scanner.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "ApiTestSupport.h"

namespace {

using namespace zetaVoroSync;
using namespace zeta::api::test;
using zeta::sim::test::useRig;
using zeta::sim::test::waitUntil;
using zeta::test::ConsoleCapture;

using std::chrono::milliseconds;

// What the display and scan callbacks saw. The callbacks run on grab threads.
struct FrameLog {
    std::mutex mutex;
    std::set<int> cameras;
    std::vector<std::string> problems;
    std::atomic<int> calls{0};
    std::atomic<int> tagged{0};
    const void* expectedContext = nullptr;

    void add(const void* context, int camera, const unsigned char* data, int width, int height,
             int channels) {
        std::lock_guard<std::mutex> lock(mutex);
        if (context != expectedContext) problems.push_back("context");
        if (data == nullptr) problems.push_back("null data");
        if (width != 64 || height != 48) problems.push_back("size");
        const int expectedChannels = camera == 2 ? 3 : 1;
        if (channels != expectedChannels)
            problems.push_back("channels " + std::to_string(channels));
        if (data != nullptr && data[5] != camera) problems.push_back("camera tag");
        cameras.insert(camera);
        ++calls;
    }
};

void displayCallBack(const void* const& context, const int& camera,
                     const unsigned char* const& data, const int& width, const int& height,
                     const int& channels) {
    auto* log = static_cast<FrameLog*>(const_cast<void*>(context));
    log->add(context, camera, data, width, height, channels);
}

void displayCallBack2(const void* const& context, const int& camera,
                      const unsigned char* const& data, const int& width, const int& height,
                      const int& channels, int /*frameTag*/) {
    auto* log = static_cast<FrameLog*>(const_cast<void*>(context));
    log->add(context, camera, data, width, height, channels);
    ++log->tagged;
}

void scanCallBack(const void* const&, const int&, const unsigned char* const&, const int&,
                  const int&, const int&) {}
void scanCallBack2(const void* const&, const int&, const unsigned char* const&, const int&,
                   const int&, const int&, int) {}

class ApiCallback : public ::testing::Test {
protected:
    void SetUp() override {
        useRig(smallRig());
        connection_ =
            std::make_unique<Connection>(std::vector<std::string>{"ZV0001", "ZV0002", "ZV0003"});
        ASSERT_EQ(connection_->status(), RET_OPERATE_SUCCESS);
        mark_ = journalMark();
    }
    void TearDown() override { connection_.reset(); }
    void*& handle() { return connection_->handle(); }

    std::unique_ptr<Connection> connection_;
    std::uint64_t mark_ = 0;
};

std::uint64_t delivered(const char* serial) {
    zeta::sim::CameraStats stats;
    zeta::sim::cameraStats(serial, stats);
    return stats.framesDelivered;
}

// Free-running cameras feed the display callback; unregistering stops it at once.
TEST_F(ApiCallback, DisplayCallbackReceivesEveryCamerasFrames) {
    FrameLog log;
    log.expectedContext = &log;
    EXPECT_EQ(SetDisplayCallBackFunction(handle(), &displayCallBack, &log), RET_OPERATE_SUCCESS);
    EXPECT_TRUE(waitUntil(
        [&] {
            std::lock_guard<std::mutex> lock(log.mutex);
            return log.cameras.size() == 3;
        },
        milliseconds(5000)));
    EXPECT_EQ(SetDisplayCallBackFunction(handle(), nullptr, nullptr), RET_OPERATE_SUCCESS);
    const int calls = log.calls;
    const auto before = delivered("ZV0001");
    ASSERT_TRUE(waitUntil([&] { return delivered("ZV0001") >= before + 3; }, milliseconds(5000)));
    EXPECT_EQ(log.calls, calls);
    std::lock_guard<std::mutex> lock(log.mutex);
    EXPECT_TRUE(log.problems.empty()) << log.problems.front();
    EXPECT_TRUE(recordsSince(mark_, "", "board").empty());
}

TEST_F(ApiCallback, SecondDisplayCallbackReceivesFramesWithATag) {
    FrameLog log;
    log.expectedContext = &log;
    EXPECT_EQ(SetDisplayCallBackFunction2(handle(), &displayCallBack2, &log), RET_OPERATE_SUCCESS);
    EXPECT_TRUE(waitUntil([&] { return log.tagged >= 3; }, milliseconds(5000)));
    EXPECT_EQ(SetDisplayCallBackFunction2(handle(), nullptr, nullptr), RET_OPERATE_SUCCESS);
    std::lock_guard<std::mutex> lock(log.mutex);
    EXPECT_TRUE(log.problems.empty()) << log.problems.front();
}

// The stripe mode delivers its scan frames through GetScanImages only.
TEST_F(ApiCallback, ScanCallbacksAreUnsupportedInTheStripeMode) {
    ConsoleCapture console;
    EXPECT_EQ(SetScanCallBackFunction(handle(), &scanCallBack, nullptr), RET_OPERATION_UNSUPPORTED);
    EXPECT_EQ(SetScanCallBackFunction2(handle(), &scanCallBack2, nullptr),
              RET_OPERATION_UNSUPPORTED);
    EXPECT_EQ(console.text(), "");
    EXPECT_TRUE(trafficSince(mark_).empty());
}

struct GroupLog {
    std::mutex mutex;
    std::atomic<int> groups{0};
    std::vector<std::string> problems;
};

void scanFullCallBack(const void* const& context, std::vector<_MY_IMAGE_*>& images) {
    auto* log = static_cast<GroupLog*>(const_cast<void*>(context));
    std::lock_guard<std::mutex> lock(log->mutex);
    if (images.size() != 2) log->problems.push_back("size " + std::to_string(images.size()));
    for (std::size_t i = 0; i < images.size(); ++i) {
        const _MY_IMAGE_* image = images[i];
        if (image == nullptr || image->data == nullptr) {
            log->problems.push_back("null image");
            continue;
        }
        if (image->width != 64 || image->height != 48 || image->channels != 1) {
            log->problems.push_back("image size");
        }
        if (image->data[5] != static_cast<unsigned char>(i)) log->problems.push_back("order");
    }
    ++log->groups;
}

void textureFullCallBack(const void* const&, std::vector<_MY_IMAGE_*>&, const bool&) {}

// Two triggered mono cameras on one video trigger: their frames pair up by their equal stamps
// and reach the full-scan callback as groups.
TEST(ApiFullCallback, TriggeredFramesArriveAsGroups) {
    useRig(monoRig(2));
    Connection connection({"ZV0001", "ZV0002"});
    ASSERT_EQ(connection.status(), RET_OPERATE_SUCCESS);
    GroupLog log;
    EXPECT_EQ(SetScanFullCallBackFunction(connection.handle(), &scanFullCallBack, &log),
              RET_OPERATE_SUCCESS);
    ASSERT_EQ(SetCameraTriggerMode(connection.handle(), 0, TRIGGERMODE_TRIGGERED),
              RET_OPERATE_SUCCESS);
    ASSERT_EQ(SetCameraTriggerMode(connection.handle(), 1, TRIGGERMODE_TRIGGERED),
              RET_OPERATE_SUCCESS);
    ASSERT_EQ(SetVideoTriggerPeriod(connection.handle(), CONTROLROUTE_MONO, 20),
              RET_OPERATE_SUCCESS);
    ASSERT_EQ(EnableVideoTrigger(connection.handle(), CONTROLROUTE_MONO, true),
              RET_OPERATE_SUCCESS);
    EXPECT_TRUE(waitUntil([&] { return log.groups >= 3; }, milliseconds(8000)));
    EXPECT_EQ(SetScanFullCallBackFunction(connection.handle(), nullptr, nullptr),
              RET_OPERATE_SUCCESS);
    const int groups = log.groups;
    const auto before = delivered("ZV0001");
    ASSERT_TRUE(waitUntil([&] { return delivered("ZV0001") >= before + 3; }, milliseconds(5000)));
    EXPECT_EQ(log.groups, groups);
    std::lock_guard<std::mutex> lock(log.mutex);
    EXPECT_TRUE(log.problems.empty()) << log.problems.front();
}

TEST_F(ApiCallback, TextureFullCallbackRegistration) {
    int context = 0;
    EXPECT_EQ(SetTextureScanFullCallBackFunction(handle(), &textureFullCallBack, &context),
              RET_OPERATE_SUCCESS);
    EXPECT_EQ(SetTextureScanFullCallBackFunction(handle(), nullptr, nullptr), RET_OPERATE_SUCCESS);
    EXPECT_TRUE(recordsSince(mark_, "", "board").empty());
}

struct StatusLog {
    std::mutex mutex;
    std::atomic<int> calls{0};
    unsigned long status = 0, stateHigh = 0, stateLow = 0;
    bool flag = true;
    const void* context = nullptr;
};

void statusCallBack(const void* const& context, const unsigned long& status,
                    const unsigned long& stateHigh, const unsigned long& stateLow,
                    const bool& flag) {
    auto* log = static_cast<StatusLog*>(const_cast<void*>(context));
    std::lock_guard<std::mutex> lock(log->mutex);
    log->context = context;
    log->status = status;
    log->stateHigh = stateHigh;
    log->stateLow = stateLow;
    log->flag = flag;
    ++log->calls;
}

TEST_F(ApiCallback, StatusCallbackReportsTheBoardStatus) {
    zeta::sim::setStatus(0x11, 0x22, 0x25, false);
    StatusLog log;
    EXPECT_EQ(SetStatusCallBackFunction(handle(), &statusCallBack, &log), RET_OPERATE_SUCCESS);
    ASSERT_TRUE(waitUntil([&] { return log.calls >= 1; }, milliseconds(3000)));
    {
        std::lock_guard<std::mutex> lock(log.mutex);
        EXPECT_EQ(log.context, &log);
        EXPECT_EQ(log.status, 0x22u);
        EXPECT_EQ(log.stateHigh, 2u);
        EXPECT_EQ(log.stateLow, 5u);
        EXPECT_FALSE(log.flag);
    }
    EXPECT_FALSE(recordsSince(mark_, "zetaQueryCurrentStatus").empty());
    // A second registration only replaces the callback of the running thread.
    StatusLog second;
    EXPECT_EQ(SetStatusCallBackFunction(handle(), &statusCallBack, &second), RET_OPERATE_SUCCESS);
    ASSERT_TRUE(waitUntil([&] { return second.calls >= 1; }, milliseconds(3000)));
    const int calls = log.calls;
    ASSERT_TRUE(waitUntil([&] { return second.calls >= 3; }, milliseconds(3000)));
    EXPECT_EQ(log.calls, calls);
    EXPECT_EQ(SetStatusCallBackFunction(handle(), nullptr, nullptr), RET_OPERATE_SUCCESS);
}

}  // namespace
