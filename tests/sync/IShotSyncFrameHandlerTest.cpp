// The default scan frame handler: scan callbacks 1 and 2, the full-group and texture-group
// assembly with their callbacks, complex cameras, and dropped frames.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "IShotSyncB_Support.h"

namespace {

using zeta::sim::test::rigWithCameras;
using zeta::sim::test::useRig;
using zeta::sim::test::waitUntil;
using zeta::sync::test::cam;
using zeta::sync::test::connect;
using zeta::test::ConsoleCapture;

struct ScanSeen {
    int id;
    const unsigned char* data;
    int width;
    int height;
    int channels;
    int tag;
};

struct ScanCollector {
    std::mutex mutex;
    std::vector<ScanSeen> frames;
    void add(const ScanSeen& seen) {
        std::lock_guard<std::mutex> lock(mutex);
        frames.push_back(seen);
    }
    std::vector<ScanSeen> all() {
        std::lock_guard<std::mutex> lock(mutex);
        return frames;
    }
};

void scan1(const void* const& user, const int& id, const unsigned char* const& data,
           const int& width, const int& height, const int& channels) {
    static_cast<ScanCollector*>(const_cast<void*>(user))
        ->add({id, data, width, height, channels, -100});
}

void scan2(const void* const& user, const int& id, const unsigned char* const& data,
           const int& width, const int& height, const int& channels, int tag) {
    static_cast<ScanCollector*>(const_cast<void*>(user))
        ->add({id, data, width, height, channels, tag});
}

// A copy of one delivered group.
struct GroupCopy {
    struct Image {
        int width = 0;
        int height = 0;
        int channels = 0;
        std::vector<unsigned char> data;
    };
    std::vector<Image> images;  // empty entry: null record
    bool valid = true;
};

struct GroupCollector {
    std::mutex mutex;
    std::vector<GroupCopy> groups;
    std::atomic<int> count{0};
    void add(std::vector<zetaVoroSync::_MY_IMAGE_*>& images, bool valid) {
        GroupCopy copy;
        copy.valid = valid;
        for (auto* record : images) {
            GroupCopy::Image image;
            if (record != nullptr) {
                image.width = record->width;
                image.height = record->height;
                image.channels = record->channels;
                image.data.assign(record->data, record->data + static_cast<std::size_t>(
                                                                   record->width * record->height *
                                                                   record->channels));
            }
            copy.images.push_back(image);
        }
        std::lock_guard<std::mutex> lock(mutex);
        groups.push_back(copy);
        ++count;
    }
    std::vector<GroupCopy> all() {
        std::lock_guard<std::mutex> lock(mutex);
        return groups;
    }
};

void fullGroup(const void* const& user, std::vector<zetaVoroSync::_MY_IMAGE_*>& images) {
    static_cast<GroupCollector*>(const_cast<void*>(user))->add(images, true);
}

void textureGroup(const void* const& user, std::vector<zetaVoroSync::_MY_IMAGE_*>& images,
                  const bool& valid) {
    static_cast<GroupCollector*>(const_cast<void*>(user))->add(images, valid);
}

// A w x h one-byte frame filled with `fill`, followed by its 64-bit stamp.
std::vector<unsigned char> frameOf(int width, int height, unsigned char fill, std::uint64_t stamp) {
    std::vector<unsigned char> frame(static_cast<std::size_t>(width * height) + 8, fill);
    std::memcpy(frame.data() + width * height, &stamp, sizeof stamp);
    return frame;
}

// Counts the frames the default handler hands to scan callback 1, per camera ID.
struct FrameCount {
    std::atomic<int> frames[4] = {};
};

void countScanFrame(const void* const& user, const int& id, const unsigned char* const&, const int&,
                    const int&, const int&) {
    auto* count = static_cast<FrameCount*>(const_cast<void*>(user));
    if (id >= 0 && id < 4) ++count->frames[id];
}

// Connects, counting every frame the default handler sees from the start (scan callback 1 takes
// precedence over the groups), puts the cameras (serial, first camera ID) into triggered mode and
// waits until every frame they exposed in free run has been through the handler. From then on
// the cameras expose only on pulses, so every pulse gives exactly one frame per camera.
void connectTriggered(CSyncBProbe& sync, const std::vector<std::string>& serials,
                      const std::vector<int>& widths, const std::vector<int>& heights,
                      const std::vector<std::pair<std::string, int>>& cameras) {
    FrameCount count;
    // Unregisters on every path, before `count` goes.
    struct Unregister {
        CSyncBProbe& sync;
        ~Unregister() { sync.SetScanCallBackFunction(nullptr, nullptr); }
    } unregister{sync};
    ASSERT_EQ(sync.SetScanCallBackFunction(&countScanFrame, &count), 0);
    ASSERT_EQ(connect(sync, serials, widths, heights), 0);
    for (const auto& [serial, id] : cameras) ASSERT_EQ(sync.SetCameraTriggerMode(id, 1), 0);
    for (const auto& [serial, id] : cameras) {
        const std::string name = serial;
        const int cameraID = id;
        ASSERT_TRUE(waitUntil([&] {
            zeta::sim::CameraStats stats;
            zeta::sim::cameraStats(name, stats);
            return static_cast<std::uint64_t>(count.frames[cameraID].load()) +
                       stats.framesDropped ==
                   stats.framesProduced;
        })) << serial;
    }
}

class IShotSyncFrameHandlerTest : public ::testing::Test {
protected:
    void SetUp() override { zeta::sync::test::resetProcessWideState(); }
    void TearDown() override { IShotSync::ResetMatcherStateForTest(); }
};

TEST_F(IShotSyncFrameHandlerTest, ANullContextOrFrameIsADataError) {
    CSyncBProbe sync;
    sync.m_cameraChannels = {0x000};
    ScanCollector collector;
    sync.SetScanCallBackFunction(&scan1, &collector);
    std::vector<unsigned char> frame(16, 0);
    ConsoleCapture console;
    const void* none = nullptr;
    const unsigned char* data = frame.data();
    IShotSync::DefaultScanFrameHandler(none, 0, data, 4, 4, 1);
    const void* context = &sync;
    const unsigned char* noData = nullptr;
    IShotSync::DefaultScanFrameHandler(context, 0, noData, 4, 4, 1);
    EXPECT_EQ(console.text(), "Data Error\nData Error\n");
    EXPECT_TRUE(collector.all().empty());
}

TEST_F(IShotSyncFrameHandlerTest, TheFirstScanCallbackTakesPrecedence) {
    CSyncBProbe sync;
    sync.m_cameraChannels = {0x000, 0x110};
    ScanCollector one;
    ScanCollector two;
    sync.SetScanCallBackFunction(&scan1, &one);
    sync.SetScanCallBackFunction2(&scan2, &two);
    auto frame = frameOf(4, 4, 3, 77);
    const void* context = &sync;
    const unsigned char* data = frame.data();
    IShotSync::DefaultScanFrameHandler(context, 1, data, 4, 4, 1);
    auto seen = one.all();
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].id, 1);
    EXPECT_EQ(seen[0].data, data);
    EXPECT_EQ(seen[0].width, 4);
    EXPECT_EQ(seen[0].height, 4);
    EXPECT_EQ(seen[0].channels, 1);
    EXPECT_TRUE(two.all().empty());
}

TEST_F(IShotSyncFrameHandlerTest, TheSecondScanCallbackGetsTheFormatTag) {
    CSyncBProbe sync;
    sync.m_cameraChannels = {0x000};
    ScanCollector two;
    sync.SetScanCallBackFunction2(&scan2, &two);
    sync.m_lastFrameCode = 9;
    auto frame = frameOf(4, 4, 0, 1);
    const void* context = &sync;
    const unsigned char* data = frame.data();
    IShotSync::DefaultScanFrameHandler(context, 0, data, 4, 4, 1);
    sync.m_modeValue = 0x01000000;
    for (unsigned char second : {8, 20, 3}) {
        frame[1] = second;
        IShotSync::DefaultScanFrameHandler(context, 0, data, 4, 4, 1);
    }
    auto seen = two.all();
    ASSERT_EQ(seen.size(), 4u);
    EXPECT_EQ(seen[0].tag, 9);
    EXPECT_EQ(seen[1].tag, 1);
    EXPECT_EQ(seen[2].tag, 0);
    EXPECT_EQ(seen[3].tag, -1);
}

TEST_F(IShotSyncFrameHandlerTest, WithoutCallbacksNothingHappens) {
    CSyncBProbe sync;
    sync.m_cameraChannels = {0x000, 0x110};
    sync.m_allCameraMask = 0x3;
    auto frame = frameOf(4, 4, 0, 1);
    const void* context = &sync;
    const unsigned char* data = frame.data();
    ConsoleCapture console;
    IShotSync::DefaultScanFrameHandler(context, 0, data, 4, 4, 1);
    EXPECT_EQ(console.text(), "");
    EXPECT_TRUE(sync.m_fullImages.empty());
    EXPECT_EQ(sync.m_arrivedCameraMask, 0u);
}

TEST_F(IShotSyncFrameHandlerTest, MatchedFramesReachTheFullCallbackAsOneGroup) {
    CSyncBProbe sync;
    sync.m_cameraChannels = {0x000, 0x110};
    sync.m_allCameraMask = 0x3;
    sync.m_fullImages.assign(2, nullptr);
    sync.m_timeStampArea = 5;
    GroupCollector groups;
    sync.SetScanFullCallBackFunction(&fullGroup, &groups);
    // Odd sizes put the stamp at an unaligned offset.
    auto first = frameOf(3, 3, 11, 1000);
    auto second = frameOf(3, 3, 22, 1004);
    auto late = frameOf(3, 3, 33, 2000);
    const void* context = &sync;
    const unsigned char* a = first.data();
    const unsigned char* b = second.data();
    const unsigned char* c = late.data();
    IShotSync::DefaultScanFrameHandler(context, 0, a, 3, 3, 1);
    EXPECT_EQ(groups.count.load(), 0);
    IShotSync::DefaultScanFrameHandler(context, 1, c, 3, 3, 1);  // too late: restarts
    EXPECT_EQ(groups.count.load(), 0);
    IShotSync::DefaultScanFrameHandler(context, 0, a, 3, 3, 1);
    EXPECT_EQ(groups.count.load(), 0);
    IShotSync::DefaultScanFrameHandler(context, 1, b, 3, 3, 1);
    ASSERT_EQ(groups.count.load(), 1);
    const auto group = groups.all()[0];
    ASSERT_EQ(group.images.size(), 2u);
    EXPECT_EQ(group.images[0].width, 3);
    EXPECT_EQ(group.images[0].height, 3);
    EXPECT_EQ(group.images[0].channels, 1);
    EXPECT_EQ(group.images[0].data, std::vector<unsigned char>(9, 11));
    EXPECT_EQ(group.images[1].data, std::vector<unsigned char>(9, 22));
}

TEST_F(IShotSyncFrameHandlerTest, AScanCallbackTakesFramesAwayFromTheGroups) {
    CSyncBProbe sync;
    sync.m_cameraChannels = {0x000, 0x110};
    sync.m_allCameraMask = 0x3;
    sync.m_timeStampArea = 5;
    GroupCollector groups;
    ScanCollector one;
    sync.SetScanFullCallBackFunction(&fullGroup, &groups);
    sync.SetScanCallBackFunction(&scan1, &one);
    auto frame = frameOf(3, 3, 1, 1000);
    const void* context = &sync;
    const unsigned char* data = frame.data();
    IShotSync::DefaultScanFrameHandler(context, 0, data, 3, 3, 1);
    IShotSync::DefaultScanFrameHandler(context, 1, data, 3, 3, 1);
    EXPECT_EQ(one.all().size(), 2u);
    EXPECT_EQ(groups.count.load(), 0);
    EXPECT_TRUE(sync.m_fullImages.empty());
}

TEST_F(IShotSyncFrameHandlerTest, TriggeredCamerasFormFullGroupsWithSplitImages) {
    // A1: two sensors (cameras 0 and 1), B1: camera 2; one pulse exposes all of them.
    useRig(rigWithCameras(
        {cam("A1", 32, 24, 1, 2, R"("fps":1)"), cam("B1", 64, 48, 1, 1, R"("fps":1)")}));
    GroupCollector groups;  // outlives the synchroniser that calls into it
    CSyncBProbe sync;
    ASSERT_NO_FATAL_FAILURE(connectTriggered(sync, {"A1", "A1", "B1"}, {64, 64, 64}, {24, 24, 48},
                                             {{"A1", 0}, {"B1", 2}}));
    ASSERT_EQ(sync.SetScanFullCallBackFunction(&fullGroup, &groups), 0);
    for (int pulse = 1; pulse <= 3; ++pulse) {
        const int before = groups.count;
        ASSERT_EQ(sync.PushSingleTrigger(0), 0);
        ASSERT_TRUE(waitUntil([&] { return groups.count > before; })) << "pulse " << pulse;
    }
    sync.SetScanFullCallBackFunction(nullptr, nullptr);
    for (const auto& group : groups.all()) {
        ASSERT_EQ(group.images.size(), 3u);
        for (int k = 0; k < 2; ++k) {
            EXPECT_EQ(group.images[k].width, 32);
            EXPECT_EQ(group.images[k].height, 24);
            EXPECT_EQ(group.images[k].channels, 1);
            ASSERT_GT(group.images[k].data.size(), 6u);
            EXPECT_EQ(group.images[k].data[5], 0);  // rig position of A1
            EXPECT_EQ(group.images[k].data[6], k);  // sensor index
        }
        EXPECT_EQ(group.images[2].width, 64);
        EXPECT_EQ(group.images[2].height, 48);
        ASSERT_GT(group.images[2].data.size(), 6u);
        EXPECT_EQ(group.images[2].data[5], 1);  // rig position of B1
    }
}

TEST_F(IShotSyncFrameHandlerTest, ColourCamerasFormTextureGroups) {
    // Two colour cameras on the colour route; a mono camera's frames are not texture frames.
    useRig(rigWithCameras(
        {cam("C1", 32, 24, 17, 1, R"("fps":1)"), cam("C2", 32, 24, 17, 1, R"("fps":1)")}));
    GroupCollector groups;  // outlives the synchroniser that calls into it
    CSyncBProbe sync;
    ASSERT_NO_FATAL_FAILURE(
        connectTriggered(sync, {"C1", "C2"}, {32, 32}, {24, 24}, {{"C1", 0}, {"C2", 1}}));
    ASSERT_EQ(sync.SetTextureScanFullCallBackFunction(&textureGroup, &groups), 0);
    for (int pulse = 1; pulse <= 2; ++pulse) {
        const int before = groups.count;
        ASSERT_EQ(sync.PushSingleTrigger(1), 0);
        ASSERT_TRUE(waitUntil([&] { return groups.count > before; })) << "pulse " << pulse;
    }
    sync.SetTextureScanFullCallBackFunction(nullptr, nullptr);
    for (const auto& group : groups.all()) {
        EXPECT_TRUE(group.valid);
        ASSERT_EQ(group.images.size(), 2u);
        for (int k = 0; k < 2; ++k) {
            EXPECT_EQ(group.images[k].width, 32);
            EXPECT_EQ(group.images[k].height, 24);
            EXPECT_EQ(group.images[k].channels, 3);
            ASSERT_GT(group.images[k].data.size(), 5u);
            EXPECT_EQ(group.images[k].data[5], k);  // rig position
        }
    }
    // The full matcher saw nothing: its callback is not registered.
    EXPECT_TRUE(sync.m_fullImages[0] == nullptr && sync.m_fullImages[1] == nullptr);
}

TEST_F(IShotSyncFrameHandlerTest, MonoFramesAreNotOfferedToTheTextureMatcher) {
    useRig(rigWithCameras(
        {cam("M1", 32, 24, 1, 1, R"("fps":1)"), cam("M2", 32, 24, 1, 1, R"("fps":1)")}));
    GroupCollector texture;  // outlive the synchroniser that calls into them
    GroupCollector full;
    CSyncBProbe sync;
    ASSERT_NO_FATAL_FAILURE(
        connectTriggered(sync, {"M1", "M2"}, {32, 32}, {24, 24}, {{"M1", 0}, {"M2", 1}}));
    ASSERT_EQ(sync.SetTextureScanFullCallBackFunction(&textureGroup, &texture), 0);
    ASSERT_EQ(sync.SetScanFullCallBackFunction(&fullGroup, &full), 0);
    const int before = full.count;
    ASSERT_EQ(sync.PushSingleTrigger(0), 0);
    ASSERT_TRUE(waitUntil([&] { return full.count > before; }));
    sync.SetTextureScanFullCallBackFunction(nullptr, nullptr);
    sync.SetScanFullCallBackFunction(nullptr, nullptr);
    EXPECT_EQ(texture.count.load(), 0);
    EXPECT_TRUE(sync.m_textureImages.empty());
}

}  // namespace
