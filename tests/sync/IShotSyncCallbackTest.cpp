// Callback registration (slots 51-56) and the display frame handler: delivery to display
// callbacks 1 and 2 with camera IDs, split planes, the frame tag, the camera-alive events.
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "IShotSyncB_Support.h"

namespace {

using zeta::sim::test::rigWithCameras;
using zeta::sim::test::useRig;
using zeta::sim::test::waitUntil;
using zeta::sync::test::cam;
using zeta::sync::test::connect;

// One delivered frame as a callback saw it.
struct Seen {
    int cameraID = -1;
    const unsigned char* data = nullptr;
    int width = 0;
    int height = 0;
    int channels = 0;
    int tag = -100;
    unsigned char byte5 = 0;  // the camera's position in the rig
    unsigned char byte6 = 0;  // the sensor index
};

// Collects frames from the grab threads.
struct Collector {
    std::mutex mutex;
    std::vector<Seen> frames;

    void add(const Seen& seen) {
        std::lock_guard<std::mutex> lock(mutex);
        frames.push_back(seen);
    }
    std::vector<Seen> all() {
        std::lock_guard<std::mutex> lock(mutex);
        return frames;
    }
    bool hasCamera(int id) {
        std::lock_guard<std::mutex> lock(mutex);
        for (const auto& seen : frames) {
            if (seen.cameraID == id) return true;
        }
        return false;
    }
};

Seen seenOf(int id, const unsigned char* data, int width, int height, int channels, int tag) {
    Seen seen;
    seen.cameraID = id;
    seen.data = data;
    seen.width = width;
    seen.height = height;
    seen.channels = channels;
    seen.tag = tag;
    if (width * height * channels > 6) {
        seen.byte5 = data[5];
        seen.byte6 = data[6];
    }
    return seen;
}

void collect1(const void* const& user, const int& id, const unsigned char* const& data,
              const int& width, const int& height, const int& channels) {
    static_cast<Collector*>(const_cast<void*>(user))
        ->add(seenOf(id, data, width, height, channels, -100));
}

void collect2(const void* const& user, const int& id, const unsigned char* const& data,
              const int& width, const int& height, const int& channels, int tag) {
    static_cast<Collector*>(const_cast<void*>(user))
        ->add(seenOf(id, data, width, height, channels, tag));
}

void scan1(const void* const&, const int&, const unsigned char* const&, const int&, const int&,
           const int&) {}
void scan2(const void* const&, const int&, const unsigned char* const&, const int&, const int&,
           const int&, int) {}
void full(const void* const&, std::vector<zetaVoroSync::_MY_IMAGE_*>&) {}
void texture(const void* const&, std::vector<zetaVoroSync::_MY_IMAGE_*>&, const bool&) {}

TEST(IShotSyncCallbackTest, RegistrationStoresEachCallback) {
    CSyncBProbe sync;
    int context = 0;
    Collector collector;
    EXPECT_EQ(sync.SetDisplayCallBackFunction(&collect1, &collector), 0);
    EXPECT_EQ(sync.SetDisplayCallBackFunction2(&collect2, &collector), 0);
    EXPECT_EQ(sync.SetScanCallBackFunction(&scan1, &context), 0);
    EXPECT_EQ(sync.SetScanCallBackFunction2(&scan2, &context), 0);
    EXPECT_EQ(sync.SetScanFullCallBackFunction(&full, &context), 0);
    EXPECT_EQ(sync.SetTextureScanFullCallBackFunction(&texture, &context), 0);
    EXPECT_EQ(sync.m_pDisplayCallBack, &collect1);
    EXPECT_EQ(sync.m_pDisplayCallBack2, &collect2);
    EXPECT_EQ(sync.m_pScanCallBack, &scan1);
    EXPECT_EQ(sync.m_pScanCallBack2, &scan2);
    EXPECT_EQ(sync.m_pScanFullCallBack, &full);
    EXPECT_EQ(sync.m_pTextureScanFullCallBack, &texture);
    // Unregistering stores null.
    EXPECT_EQ(sync.SetScanFullCallBackFunction(nullptr, nullptr), 0);
    EXPECT_EQ(sync.SetDisplayCallBackFunction(nullptr, nullptr), 0);
    EXPECT_EQ(sync.m_pScanFullCallBack, nullptr);
    EXPECT_EQ(sync.m_pDisplayCallBack, nullptr);
}

TEST(IShotSyncCallbackTest, TheStripeModeRefusesBothScanCallbacks) {
    CSyncBProbe sync;
    sync.m_syncType = 1;
    int context = 0;
    EXPECT_EQ(sync.SetScanCallBackFunction(&scan1, &context), 3);
    EXPECT_EQ(sync.SetScanCallBackFunction2(&scan2, &context), 3);
    EXPECT_EQ(sync.m_pScanCallBack, nullptr);
    EXPECT_EQ(sync.m_pScanCallBack2, nullptr);
    // The other registrations are not refused.
    EXPECT_EQ(sync.SetDisplayCallBackFunction(&collect1, &context), 0);
    EXPECT_EQ(sync.SetScanFullCallBackFunction(&full, &context), 0);
    sync.m_syncType = 3;
    EXPECT_EQ(sync.SetScanCallBackFunction(&scan1, &context), 0);
}

TEST(IShotSyncCallbackTest, DisplayHandlerFeedsBothCallbacksWithTheCameraID) {
    CSyncBProbe sync;
    sync.m_cameraChannels = {0x000, 0x110};
    Collector one;
    Collector two;
    sync.SetDisplayCallBackFunction(&collect1, &one);
    sync.SetDisplayCallBackFunction2(&collect2, &two);
    sync.m_lastFrameCode = 42;
    std::vector<unsigned char> frame(8 * 4, 3);
    const unsigned char* data = frame.data();
    const void* context = &sync;
    IShotSync::DisplayFrameHandler(context, 1, data, 8, 4, 1);

    auto a = one.all();
    auto b = two.all();
    ASSERT_EQ(a.size(), 1u);
    ASSERT_EQ(b.size(), 1u);
    EXPECT_EQ(a[0].cameraID, 1);
    EXPECT_EQ(a[0].data, data);
    EXPECT_EQ(a[0].width, 8);
    EXPECT_EQ(a[0].height, 4);
    EXPECT_EQ(a[0].channels, 1);
    EXPECT_EQ(b[0].cameraID, 1);
    EXPECT_EQ(b[0].data, data);
    EXPECT_EQ(b[0].tag, 42);  // the stored frame code
}

TEST(IShotSyncCallbackTest, TheTagFollowsTheFramesSecondByteInTheModeSwitch) {
    CSyncBProbe sync;
    sync.m_cameraChannels = {0x000};
    Collector two;
    sync.SetDisplayCallBackFunction2(&collect2, &two);
    sync.m_lastFrameCode = 42;
    sync.m_modeValue = 0x01000000;  // top byte 1
    std::vector<unsigned char> frame(8 * 4, 0);
    const void* context = &sync;
    const unsigned char* data = frame.data();
    for (unsigned char second : {8, 20, 7}) {
        frame[1] = second;
        IShotSync::DisplayFrameHandler(context, 0, data, 8, 4, 1);
    }
    sync.m_modeValue = 0x02000001;  // top byte not 1
    frame[1] = 8;
    IShotSync::DisplayFrameHandler(context, 0, data, 8, 4, 1);
    auto seen = two.all();
    ASSERT_EQ(seen.size(), 4u);
    EXPECT_EQ(seen[0].tag, 1);
    EXPECT_EQ(seen[1].tag, 0);
    EXPECT_EQ(seen[2].tag, -1);
    EXPECT_EQ(seen[3].tag, 42);
}

TEST(IShotSyncCallbackTest, DisplayHandlerIgnoresANullContextAndUnknownCameras) {
    CSyncBProbe sync;
    sync.m_cameraChannels = {0x000};
    Collector one;
    sync.SetDisplayCallBackFunction(&collect1, &one);
    std::vector<unsigned char> frame(16, 0);
    const unsigned char* data = frame.data();
    const void* none = nullptr;
    IShotSync::DisplayFrameHandler(none, 0, data, 4, 4, 1);
    const void* context = &sync;
    IShotSync::DisplayFrameHandler(context, 1, data, 4, 4, 1);
    IShotSync::DisplayFrameHandler(context, -1, data, 4, 4, 1);
    EXPECT_TRUE(one.all().empty());
}

TEST(IShotSyncCallbackTest, DisplayHandlerSignalsTheThreadsEventWhileAutoReconnectIsOn) {
    CSyncBProbe sync;
    sync.m_cameraChannels = {0x000, 0x110};
    sync.m_cameraEvents.push_back(std::make_unique<zeta::platform::Event>(true, false));
    sync.m_cameraEvents.push_back(std::make_unique<zeta::platform::Event>(true, false));
    std::vector<unsigned char> frame(16, 0);
    const unsigned char* data = frame.data();
    const void* context = &sync;

    IShotSync::DisplayFrameHandler(context, 1, data, 4, 4, 1);
    EXPECT_FALSE(sync.m_cameraEvents[1]->isSet());
    // No display callback is registered: the event is signalled all the same.
    sync.m_bAutoReconnect = true;
    IShotSync::DisplayFrameHandler(context, 1, data, 4, 4, 1);
    EXPECT_FALSE(sync.m_cameraEvents[0]->isSet());
    EXPECT_TRUE(sync.m_cameraEvents[1]->isSet());
    sync.m_cameraEvents.clear();
}

TEST(IShotSyncCallbackTest, LivePreviewSplitsAComplexCameraIntoConsecutiveCameraIDs) {
    // A1: two 32 x 24 sensors in one frame, serving cameras 0 and 1; B1: camera 2.
    useRig(rigWithCameras({cam("A1", 32, 24, 1, 2), cam("B1", 64, 48)}));
    Collector one;  // outlive the synchroniser that calls into them
    Collector two;
    CSyncBProbe sync;
    sync.m_lastFrameCode = 5;
    sync.SetDisplayCallBackFunction(&collect1, &one);
    sync.SetDisplayCallBackFunction2(&collect2, &two);
    ASSERT_EQ(connect(sync, {"A1", "A1", "B1"}, {64, 64, 64}, {24, 24, 48}), 0);
    ASSERT_TRUE(waitUntil([&] {
        return one.hasCamera(0) && one.hasCamera(1) && one.hasCamera(2) && two.hasCamera(0) &&
               two.hasCamera(1) && two.hasCamera(2);
    }));
    sync.SetDisplayCallBackFunction(nullptr, nullptr);
    sync.SetDisplayCallBackFunction2(nullptr, nullptr);

    for (Collector* collector : {&one, &two}) {
        for (const Seen& seen : collector->all()) {
            ASSERT_GE(seen.cameraID, 0);
            ASSERT_LE(seen.cameraID, 2);
            EXPECT_EQ(seen.channels, 1);
            if (seen.cameraID < 2) {
                // One sensor image each, in sensor order.
                EXPECT_EQ(seen.width, 32);
                EXPECT_EQ(seen.height, 24);
                EXPECT_EQ(seen.byte5, 0);
                EXPECT_EQ(seen.byte6, seen.cameraID);
            } else {
                EXPECT_EQ(seen.width, 64);
                EXPECT_EQ(seen.height, 48);
                EXPECT_EQ(seen.byte5, 1);
                EXPECT_EQ(seen.byte6, 0);
            }
            if (collector == &two) {
                EXPECT_EQ(seen.tag, 5);
            }
        }
    }
}

// A callback that unregisters itself on its first call, from inside that call.
struct SelfRemover {
    CSyncBProbe* sync = nullptr;
    std::atomic<int> calls{0};
};

void removeDisplay(const void* const& user, const int&, const unsigned char* const&, const int&,
                   const int&, const int&) {
    auto* remover = static_cast<SelfRemover*>(const_cast<void*>(user));
    ++remover->calls;
    remover->sync->SetDisplayCallBackFunction(nullptr, nullptr);
}

void removeScan(const void* const& user, const int&, const unsigned char* const&, const int&,
                const int&, const int&) {
    auto* remover = static_cast<SelfRemover*>(const_cast<void*>(user));
    ++remover->calls;
    remover->sync->SetScanCallBackFunction(nullptr, nullptr);
}

// The split frame's second plane must not go through the pointer the first plane's call cleared.
TEST(IShotSyncCallbackTest, ADisplayCallbackMayUnregisterItselfBetweenThePlanesOfAFrame) {
    useRig(rigWithCameras({cam("A1", 32, 24, 1, 2)}));
    Collector two;  // outlive the synchroniser that calls into them
    SelfRemover remover;
    CSyncBProbe sync;
    remover.sync = &sync;
    sync.SetDisplayCallBackFunction(&removeDisplay, &remover);
    sync.SetDisplayCallBackFunction2(&collect2, &two);
    ASSERT_EQ(connect(sync, {"A1", "A1"}, {64, 64}, {24, 24}), 0);
    // Callback 2 sees the planes of the removing frame and of the frames after it.
    ASSERT_TRUE(waitUntil([&] { return two.all().size() >= 6; }));
    sync.SetDisplayCallBackFunction2(nullptr, nullptr);
    EXPECT_EQ(remover.calls.load(), 1);
}

TEST(IShotSyncCallbackTest, AScanCallbackMayUnregisterItselfBetweenThePlanesOfAFrame) {
    useRig(rigWithCameras({cam("A1", 32, 24, 1, 2)}));
    Collector display;
    SelfRemover remover;
    CSyncBProbe sync;
    remover.sync = &sync;
    ASSERT_EQ(sync.SetScanCallBackFunction(&removeScan, &remover), 0);
    sync.SetDisplayCallBackFunction(&collect1, &display);
    ASSERT_EQ(connect(sync, {"A1", "A1"}, {64, 64}, {24, 24}), 0);
    ASSERT_TRUE(waitUntil([&] { return remover.calls.load() >= 1 && display.all().size() >= 6; }));
    sync.SetDisplayCallBackFunction(nullptr, nullptr);
    EXPECT_EQ(remover.calls.load(), 1);
}

}  // namespace
