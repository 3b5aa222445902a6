// The marks the synchroniser sets while a host callback runs, and the rule the exported layer
// applies to calls made from inside one.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "IShotSyncB_Support.h"
#include "sync/HostCallbackScope.h"
#include "sync/ReentryRule.h"

namespace {

using Kind = CHostCallbackScope::Kind;
using Needs = CReentryRule::Needs;
using zeta::sim::test::useRig;
using zeta::sim::test::waitUntil;

// What CHostCallbackScope::Running answered inside the callback, for the synchroniser and for
// another object.
struct Seen {
    const void* sync = nullptr;
    std::atomic<int> kind{-1};
    std::atomic<int> other{-1};
};

Seen* seenOf(const void* context) {
    return static_cast<Seen*>(const_cast<void*>(context));
}

void record(const void* context) {
    Seen* seen = seenOf(context);
    int other = 0;
    seen->other = static_cast<int>(CHostCallbackScope::Running(&other));
    seen->kind = static_cast<int>(CHostCallbackScope::Running(seen->sync));
}

void display(const void* const& context, const int&, const unsigned char* const&, const int&,
             const int&, const int&) {
    record(context);
}
void scan(const void* const& context, const int&, const unsigned char* const&, const int&,
          const int&, const int&) {
    record(context);
}
void status(const void* const& context, const unsigned long&, const unsigned long&,
            const unsigned long&, const bool&) {
    record(context);
}

TEST(HostCallbackScopeTest, MarksNestAndEndWithTheirScope) {
    int a = 0;
    int b = 0;
    EXPECT_EQ(CHostCallbackScope::Running(&a), Kind::None);
    {
        const CHostCallbackScope outer(&a, Kind::Status);
        EXPECT_EQ(CHostCallbackScope::Running(&a), Kind::Status);
        {
            const CHostCallbackScope inner(&b, Kind::Display);
            EXPECT_EQ(CHostCallbackScope::Running(&b), Kind::Display);
            EXPECT_EQ(CHostCallbackScope::Running(&a), Kind::Status);
            // Another thread runs no callback.
            Kind elsewhere = Kind::Status;
            std::thread([&] { elsewhere = CHostCallbackScope::Running(&a); }).join();
            EXPECT_EQ(elsewhere, Kind::None);
        }
        EXPECT_EQ(CHostCallbackScope::Running(&b), Kind::None);
    }
    EXPECT_EQ(CHostCallbackScope::Running(&a), Kind::None);
}

TEST(HostCallbackScopeTest, TheDisplayHandlerMarksItsCallback) {
    CSyncBProbe sync;
    sync.m_cameraChannels = {0x000};
    Seen seen;
    seen.sync = &sync;
    ASSERT_EQ(sync.SetDisplayCallBackFunction(&display, &seen), 0);
    std::vector<unsigned char> frame(8 * 4, 3);
    const unsigned char* data = frame.data();
    const void* context = &sync;
    IShotSync::DisplayFrameHandler(context, 0, data, 8, 4, 1);
    EXPECT_EQ(seen.kind, static_cast<int>(Kind::Display));
    EXPECT_EQ(seen.other, static_cast<int>(Kind::None));
    EXPECT_EQ(CHostCallbackScope::Running(&sync), Kind::None);
}

TEST(HostCallbackScopeTest, TheDefaultScanHandlerMarksItsCallback) {
    CSyncBProbe sync;
    sync.m_cameraChannels = {0x000};
    Seen seen;
    seen.sync = &sync;
    ASSERT_EQ(sync.SetScanCallBackFunction(&scan, &seen), 0);
    std::vector<unsigned char> frame(8 * 4, 3);
    const unsigned char* data = frame.data();
    const void* context = &sync;
    IShotSync::DefaultScanFrameHandler(context, 0, data, 8, 4, 1);
    EXPECT_EQ(seen.kind, static_cast<int>(Kind::Scan));
    EXPECT_EQ(CHostCallbackScope::Running(&sync), Kind::None);
}

TEST(HostCallbackScopeTest, TheStatusThreadMarksItsCallback) {
    useRig(zeta::sim::test::rigWithCameras({}));
    CSyncBProbe sync;
    ASSERT_EQ(sync.InitProjector("sim:board0"), 0);
    Seen seen;
    seen.sync = &sync;
    ASSERT_EQ(sync.SetStatusCallBackFunction(&status, &seen), 0);
    ASSERT_TRUE(waitUntil([&] { return seen.kind.load() >= 0; }, std::chrono::seconds(5)));
    EXPECT_EQ(seen.kind, static_cast<int>(Kind::Status));
    EXPECT_EQ(seen.other, static_cast<int>(Kind::None));
}

// Every cell of the rule: the callback that runs (rows) and what the call may wait for.
TEST(ReentryRuleTest, EveryCell) {
    const std::vector<Needs> all = {Needs::CallbackLock,     Needs::StatusCallbackLock,
                                    Needs::MainLock,         Needs::Reconnection,
                                    Needs::FirmwareTransfer, Needs::Destruction};
    auto allowed = [](Kind kind, Needs needs) {
        return CReentryRule::RefusalReason(kind, needs) == nullptr;
    };
    for (Needs needs : all) EXPECT_TRUE(allowed(Kind::None, needs));
    for (Kind frame : {Kind::Display, Kind::Scan, Kind::FullScan}) {
        EXPECT_TRUE(allowed(frame, Needs::CallbackLock));
        EXPECT_FALSE(allowed(frame, Needs::StatusCallbackLock));
        EXPECT_FALSE(allowed(frame, Needs::MainLock));
        EXPECT_FALSE(allowed(frame, Needs::Reconnection));
        EXPECT_FALSE(allowed(frame, Needs::FirmwareTransfer));
        EXPECT_FALSE(allowed(frame, Needs::Destruction));
    }
    EXPECT_TRUE(allowed(Kind::Status, Needs::CallbackLock));
    EXPECT_TRUE(allowed(Kind::Status, Needs::StatusCallbackLock));
    EXPECT_TRUE(allowed(Kind::Status, Needs::MainLock));
    EXPECT_TRUE(allowed(Kind::Status, Needs::Reconnection));
    EXPECT_TRUE(allowed(Kind::Status, Needs::FirmwareTransfer));
    EXPECT_FALSE(allowed(Kind::Status, Needs::Destruction));
    EXPECT_TRUE(allowed(Kind::FirmwareProgress, Needs::CallbackLock));
    EXPECT_TRUE(allowed(Kind::FirmwareProgress, Needs::StatusCallbackLock));
    EXPECT_TRUE(allowed(Kind::FirmwareProgress, Needs::MainLock));
    EXPECT_FALSE(allowed(Kind::FirmwareProgress, Needs::Reconnection));
    EXPECT_FALSE(allowed(Kind::FirmwareProgress, Needs::FirmwareTransfer));
    EXPECT_FALSE(allowed(Kind::FirmwareProgress, Needs::Destruction));
}

}  // namespace
