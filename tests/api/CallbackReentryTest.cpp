// Calls a host makes on a handle from that handle's own callbacks: what would wait for the thread
// that runs the callback is refused with RET_OPERATE_FAILED and one log line, everything else goes
// on. One test per row of the table in docs/threading-and-ownership.md.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "ApiTestSupport.h"

namespace {

using namespace zetaVoroSync;
using namespace zeta::api::test;
using zeta::sim::test::useRig;
using zeta::sim::test::waitUntil;
using zeta::test::LogCapture;

using namespace std::chrono_literals;

// One call the host makes from inside a callback, and what it answered. The callback runs the
// call once, on the first invocation after `armed` is set.
struct Reentry {
    void* handle = nullptr;
    std::function<RETSTATUS(void*&)> call;
    std::atomic<bool> armed{true};
    std::atomic<bool> done{false};
    std::atomic<int> status{-1};
    std::atomic<int> calls{0};

    void run() {
        ++calls;
        if (!armed.exchange(false)) return;
        status = call(handle);
        done = true;
    }
};

Reentry& reentryOf(const void* context) {
    return *static_cast<Reentry*>(const_cast<void*>(context));
}

void display(const void* const& context, const int&, const unsigned char* const&, const int&,
             const int&, const int&) {
    reentryOf(context).run();
}
void display2(const void* const& context, const int&, const unsigned char* const&, const int&,
              const int&, const int&, int) {
    reentryOf(context).run();
}
void fullScan(const void* const& context, std::vector<_MY_IMAGE_*>&) {
    reentryOf(context).run();
}
void status(const void* const& context, const unsigned long&, const unsigned long&,
            const unsigned long&, const bool&) {
    reentryOf(context).run();
}
void otherDisplay(const void* const&, const int&, const unsigned char* const&, const int&,
                  const int&, const int&) {}
void otherStatus(const void* const&, const unsigned long&, const unsigned long&,
                 const unsigned long&, const bool&) {}

// Runs `call` from the display callback of a one-camera connection; returns its answer.
RETSTATUS fromDisplay(Connection& connection, std::function<RETSTATUS(void*&)> call) {
    Reentry reentry;
    reentry.handle = connection.handle();
    reentry.call = std::move(call);
    EXPECT_EQ(SetDisplayCallBackFunction(connection.handle(), &display, &reentry),
              RET_OPERATE_SUCCESS);
    EXPECT_TRUE(waitUntil([&] { return reentry.done.load(); }, 10s));
    EXPECT_EQ(SetDisplayCallBackFunction(connection.handle(), nullptr, nullptr),
              RET_OPERATE_SUCCESS);
    return static_cast<RETSTATUS>(reentry.status.load());
}

class ApiCallbackReentry : public ::testing::Test {
protected:
    void SetUp() override {
        useRig(monoRig(2));
        connection_ = std::make_unique<Connection>(std::vector<std::string>{"ZV0001", "ZV0002"});
        ASSERT_EQ(connection_->status(), RET_OPERATE_SUCCESS);
    }
    void TearDown() override { connection_.reset(); }
    Connection& connection() { return *connection_; }
    void*& handle() { return connection_->handle(); }

    std::unique_ptr<Connection> connection_;
};

const std::string kFromDisplay = " refused: called from the display callback of this handle; ";

// ---- Display callback (a grab thread holding its camera's locks) ----------------------------

TEST_F(ApiCallbackReentry, DisconnectFromTheDisplayCallbackIsRefused) {
    LogCapture log;
    void* copy = nullptr;
    EXPECT_EQ(fromDisplay(connection(),
                          [&](void*& h) {
                              copy = h;
                              return DisConnectDevice(copy);
                          }),
              RET_OPERATE_FAILED);
    EXPECT_TRUE(log.contains("DisConnectDevice" + kFromDisplay +
                             "destroying the handle would wait for the thread that runs this "
                             "callback"));
    // Nothing was destroyed nor nulled: the handle goes on working.
    EXPECT_NE(copy, nullptr);
    int count = 0;
    EXPECT_EQ(GetConnectCameraCount(handle(), count), RET_OPERATE_SUCCESS);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(connection().disconnect(), RET_OPERATE_SUCCESS);
}

TEST_F(ApiCallbackReentry, ScanFromTheDisplayCallbackIsRefused) {
    LogCapture log;
    const auto mark = journalMark();
    EXPECT_EQ(fromDisplay(connection(), [](void*& h) { return Scan(h, true); }),
              RET_OPERATE_FAILED);
    EXPECT_TRUE(log.contains("Scan" + kFromDisplay + "it needs the main lock"));
    EXPECT_TRUE(recordsSince(mark, "zetaScan").empty());
}

TEST_F(ApiCallbackReentry, ReconnectFromTheDisplayCallbackIsRefused) {
    LogCapture log;
    const auto mark = journalMark();
    EXPECT_EQ(fromDisplay(connection(), [](void*& h) { return ReconnectDevice(h); }),
              RET_OPERATE_FAILED);
    EXPECT_TRUE(log.contains("ReconnectDevice" + kFromDisplay));
    EXPECT_TRUE(recordsSince(mark, "zetaExitHidDev").empty());
}

TEST_F(ApiCallbackReentry, CloseDeviceCameraFromTheDisplayCallbackIsRefused) {
    LogCapture log;
    const auto mark = journalMark();
    EXPECT_EQ(fromDisplay(connection(), [](void*& h) { return CloseDeviceCamera(h); }),
              RET_OPERATE_FAILED);
    EXPECT_TRUE(log.contains("CloseDeviceCamera" + kFromDisplay));
    EXPECT_TRUE(recordsSince(mark, "ReleaseCamera").empty());
}

TEST_F(ApiCallbackReentry, SnapOfAnotherCameraFromTheDisplayCallbackIsRefused) {
    LogCapture log;
    unsigned char* image = nullptr;
    int width = 0;
    int height = 0;
    int channels = 0;
    EXPECT_EQ(fromDisplay(connection(),
                          [&](void*& h) {
                              return SnapSingleImageFromSpecifyCamera(h, 1, image, width, height,
                                                                      channels);
                          }),
              RET_OPERATE_FAILED);
    EXPECT_EQ(image, nullptr);
    std::free(image);
    EXPECT_TRUE(log.contains("SnapSingleImageFromSpecifyCamera" + kFromDisplay));
}

TEST_F(ApiCallbackReentry, ParametersFromTheDisplayCallbackAreRefused) {
    const auto mark = journalMark();
    EXPECT_EQ(fromDisplay(connection(), [](void*& h) { return SetCameraGain(h, 0, 7); }),
              RET_OPERATE_FAILED);
    int gain = -1;
    EXPECT_EQ(fromDisplay(connection(), [&](void*& h) { return GetCameraGain(h, 0, gain); }),
              RET_OPERATE_FAILED);
    EXPECT_EQ(gain, -1);
    EXPECT_TRUE(recordsSince(mark, "SetGain").empty());
}

TEST_F(ApiCallbackReentry, StatusRegistrationFromTheDisplayCallbackIsRefused) {
    LogCapture log;
    EXPECT_EQ(fromDisplay(connection(),
                          [](void*& h) { return SetStatusCallBackFunction(h, &otherStatus, h); }),
              RET_OPERATE_FAILED);
    EXPECT_TRUE(
        log.contains("SetStatusCallBackFunction" + kFromDisplay + "the status callback's lock"));
}

TEST_F(ApiCallbackReentry, DisplayAndScanRegistrationFromTheDisplayCallbackGoOn) {
    EXPECT_EQ(fromDisplay(connection(),
                          [](void*& h) { return SetDisplayCallBackFunction(h, &otherDisplay, h); }),
              RET_OPERATE_SUCCESS);
    EXPECT_EQ(fromDisplay(connection(),
                          [](void*& h) { return SetDisplayCallBackFunction2(h, nullptr, h); }),
              RET_OPERATE_SUCCESS);
    // The stripe mode has no scan callback: the slot's own answer, not a refusal.
    EXPECT_EQ(
        fromDisplay(connection(), [](void*& h) { return SetScanCallBackFunction2(h, nullptr, h); }),
        RET_OPERATION_UNSUPPORTED);
}

// A callback that unregisters itself is not called again.
TEST_F(ApiCallbackReentry, DisplayCallbackUnregistersItself) {
    Reentry reentry;
    reentry.handle = handle();
    reentry.call = [](void*& h) { return SetDisplayCallBackFunction(h, nullptr, nullptr); };
    ASSERT_EQ(SetDisplayCallBackFunction(handle(), &display, &reentry), RET_OPERATE_SUCCESS);
    ASSERT_TRUE(waitUntil([&] { return reentry.done.load(); }, 10s));
    EXPECT_EQ(reentry.status, RET_OPERATE_SUCCESS);
    const int calls = reentry.calls;
    waitForFrames({"ZV0001", "ZV0002"});
    const auto before = [] {
        zeta::sim::CameraStats stats;
        zeta::sim::cameraStats("ZV0001", stats);
        return stats.framesDelivered;
    }();
    ASSERT_TRUE(waitUntil(
        [&] {
            zeta::sim::CameraStats stats;
            zeta::sim::cameraStats("ZV0001", stats);
            return stats.framesDelivered >= before + 3;
        },
        5s));
    // The second camera may have been inside its own call when the pointer was cleared.
    EXPECT_LE(reentry.calls, calls + 1);
}

// Calls on another handle from a display callback go on.
TEST(ApiCallbackReentryTwoHandles, CallsOnAnotherHandleFromTheDisplayCallbackGoOn) {
    useRig(monoRig(2));
    Connection first({"ZV0001"});
    ASSERT_EQ(first.status(), RET_OPERATE_SUCCESS);
    Connection second({"ZV0002"});
    ASSERT_EQ(second.status(), RET_OPERATE_SUCCESS);
    void* other = second.handle();
    EXPECT_EQ(fromDisplay(first, [other](void*&) { return SetCameraGain(other, 0, 5); }),
              RET_OPERATE_SUCCESS);
    int gain = 0;
    EXPECT_EQ(GetCameraGain(other, 0, gain), RET_OPERATE_SUCCESS);
    EXPECT_EQ(gain, 5);
    EXPECT_EQ(first.disconnect(), RET_OPERATE_SUCCESS);
    EXPECT_EQ(second.disconnect(), RET_OPERATE_SUCCESS);
}

// The case that used to deadlock: a display callback that sets a parameter on every frame while
// the host scans on its own thread. The scan waits for the camera whose grab thread runs the
// callback; the callback's call is refused instead of waiting for the scan's main lock.
void gainEveryFrame(const void* const& context, const int&, const unsigned char* const&, const int&,
                    const int&, const int&) {
    auto& reentry = reentryOf(context);
    ++reentry.calls;
    if (SetCameraGain(reentry.handle, 0, 3) == RET_OPERATE_FAILED) reentry.done = true;
}

TEST_F(ApiCallbackReentry, ParameterOnEveryFrameDuringAScanDoesNotDeadlock) {
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(SetCameraTriggerMode(handle(), i, TRIGGERMODE_TRIGGERED), RET_OPERATE_SUCCESS);
    }
    SCANPARAMETERS parameters{};
    parameters.scanFrameRate = 10;
    parameters.scanFrameCount = 15;
    ASSERT_EQ(SetScanParameter(handle(), parameters), RET_OPERATE_SUCCESS);
    ASSERT_EQ(SetVideoTriggerPeriod(handle(), CONTROLROUTE_MONO, 10), RET_OPERATE_SUCCESS);
    ASSERT_EQ(EnableVideoTrigger(handle(), CONTROLROUTE_MONO, true), RET_OPERATE_SUCCESS);
    Reentry reentry;
    reentry.handle = handle();
    ASSERT_EQ(SetDisplayCallBackFunction(handle(), &gainEveryFrame, &reentry), RET_OPERATE_SUCCESS);
    ASSERT_TRUE(waitUntil([&] { return reentry.calls.load() > 0; }, 5s));
    void* h = handle();
    for (int scan = 0; scan < 3; ++scan) {
        auto result = std::async(std::launch::async, [h] { return Scan(h, true); });
        ASSERT_EQ(result.wait_for(30s), std::future_status::ready) << "scan " << scan;
        EXPECT_EQ(result.get(), RET_OPERATE_SUCCESS) << "scan " << scan;
    }
    EXPECT_TRUE(reentry.done);  // every call from the callback answered, some with a refusal
    EXPECT_EQ(SetDisplayCallBackFunction(handle(), nullptr, nullptr), RET_OPERATE_SUCCESS);
}

// ---- Second display callback -------------------------------------------------------------------

TEST_F(ApiCallbackReentry, DisconnectFromTheSecondDisplayCallbackIsRefused) {
    Reentry reentry;
    reentry.handle = handle();
    reentry.call = [](void*& h) {
        void* copy = h;
        return DisConnectDevice(copy);
    };
    ASSERT_EQ(SetDisplayCallBackFunction2(handle(), &display2, &reentry), RET_OPERATE_SUCCESS);
    ASSERT_TRUE(waitUntil([&] { return reentry.done.load(); }, 10s));
    EXPECT_EQ(reentry.status, RET_OPERATE_FAILED);
    EXPECT_EQ(SetDisplayCallBackFunction2(handle(), nullptr, nullptr), RET_OPERATE_SUCCESS);
    EXPECT_EQ(connection().disconnect(), RET_OPERATE_SUCCESS);
}

// ---- Full-scan callback (a grab thread holding the group locks) --------------------------------

RETSTATUS fromFullScan(Connection& connection, std::function<RETSTATUS(void*&)> call) {
    void* h = connection.handle();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(SetCameraTriggerMode(h, i, TRIGGERMODE_TRIGGERED), RET_OPERATE_SUCCESS);
    }
    EXPECT_EQ(SetVideoTriggerPeriod(h, CONTROLROUTE_MONO, 20), RET_OPERATE_SUCCESS);
    EXPECT_EQ(EnableVideoTrigger(h, CONTROLROUTE_MONO, true), RET_OPERATE_SUCCESS);
    Reentry reentry;
    reentry.handle = h;
    reentry.call = std::move(call);
    EXPECT_EQ(SetScanFullCallBackFunction(h, &fullScan, &reentry), RET_OPERATE_SUCCESS);
    EXPECT_TRUE(waitUntil([&] { return reentry.done.load(); }, 10s));
    EXPECT_EQ(SetScanFullCallBackFunction(h, nullptr, nullptr), RET_OPERATE_SUCCESS);
    return static_cast<RETSTATUS>(reentry.status.load());
}

TEST_F(ApiCallbackReentry, DisconnectFromTheFullScanCallbackIsRefused) {
    LogCapture log;
    EXPECT_EQ(fromFullScan(connection(),
                           [](void*& h) {
                               void* copy = h;
                               return DisConnectDevice(copy);
                           }),
              RET_OPERATE_FAILED);
    EXPECT_TRUE(
        log.contains("DisConnectDevice refused: called from the full-scan callback of "
                     "this handle"));
}

TEST_F(ApiCallbackReentry, MainLockCallsFromTheFullScanCallbackAreRefused) {
    EXPECT_EQ(fromFullScan(connection(),
                           [](void*& h) { return SetScanFullCallBackFunction(h, nullptr, h); }),
              RET_OPERATE_FAILED);
}

TEST_F(ApiCallbackReentry, DisplayRegistrationFromTheFullScanCallbackGoesOn) {
    EXPECT_EQ(fromFullScan(connection(),
                           [](void*& h) { return SetDisplayCallBackFunction(h, nullptr, h); }),
              RET_OPERATE_SUCCESS);
}

// ---- Status callback (the status thread, holding the main lock) ------------------------------

RETSTATUS fromStatus(Connection& connection, std::function<RETSTATUS(void*&)> call) {
    Reentry reentry;
    reentry.handle = connection.handle();
    reentry.call = std::move(call);
    EXPECT_EQ(SetStatusCallBackFunction(connection.handle(), &status, &reentry),
              RET_OPERATE_SUCCESS);
    EXPECT_TRUE(waitUntil([&] { return reentry.done.load(); }, 20s));
    EXPECT_EQ(SetStatusCallBackFunction(connection.handle(), nullptr, nullptr),
              RET_OPERATE_SUCCESS);
    return static_cast<RETSTATUS>(reentry.status.load());
}

TEST_F(ApiCallbackReentry, DisconnectFromTheStatusCallbackIsRefused) {
    LogCapture log;
    EXPECT_EQ(fromStatus(connection(),
                         [](void*& h) {
                             void* copy = h;
                             return DisConnectDevice(copy);
                         }),
              RET_OPERATE_FAILED);
    EXPECT_TRUE(
        log.contains("DisConnectDevice refused: called from the status callback of "
                     "this handle"));
    EXPECT_EQ(connection().disconnect(), RET_OPERATE_SUCCESS);
}

TEST_F(ApiCallbackReentry, ParametersAndSnapsFromTheStatusCallbackGoOn) {
    const auto mark = journalMark();
    EXPECT_EQ(fromStatus(connection(), [](void*& h) { return SetCameraGain(h, 1, 9); }),
              RET_OPERATE_SUCCESS);
    EXPECT_EQ(recordsSince(mark, "SetGain", "ZV0002").size(), 1u);
    unsigned char* image = nullptr;
    int width = 0;
    int height = 0;
    int channels = 0;
    EXPECT_EQ(fromStatus(connection(),
                         [&](void*& h) {
                             return SnapSingleImageFromSpecifyCamera(h, 0, image, width, height,
                                                                     channels);
                         }),
              RET_OPERATE_SUCCESS);
    EXPECT_NE(image, nullptr);
    std::free(image);
    // Replacing the status callback from inside it only swaps the pair.
    EXPECT_EQ(fromStatus(connection(),
                         [](void*& h) { return SetStatusCallBackFunction(h, &otherStatus, h); }),
              RET_OPERATE_SUCCESS);
}

TEST_F(ApiCallbackReentry, ReconnectFromTheStatusCallbackGoesOn) {
    const auto mark = journalMark();
    EXPECT_EQ(fromStatus(connection(), [](void*& h) { return ReconnectDevice(h); }),
              RET_OPERATE_SUCCESS);
    EXPECT_EQ(recordsSince(mark, "zetaInitHidDev").size(), 1u);
}

// ---- Firmware progress callback (the host's thread inside the transfer) ----------------------

struct ProgressRows {
    void* handle = nullptr;
    std::wstring file;
    bool ran = false;
    RETSTATUS disconnect = RET_OPERATE_SUCCESS;
    RETSTATUS reconnect = RET_OPERATE_SUCCESS;
    RETSTATUS transfer = RET_OPERATE_SUCCESS;
    RETSTATUS cameraCount = RET_OPERATE_FAILED;
    RETSTATUS gain = RET_OPERATE_FAILED;
    RETSTATUS closeCameras = RET_OPERATE_FAILED;
    void* handleAfterDisconnect = nullptr;
};

void progressRows(const void* context, int percentage) {
    auto& rows = *static_cast<ProgressRows*>(const_cast<void*>(context));
    // The first report after 0 runs inside the transfer, under the main lock.
    if (percentage == 0 || rows.ran) return;
    rows.ran = true;
    void* copy = rows.handle;
    rows.disconnect = DisConnectDevice(copy);
    rows.handleAfterDisconnect = copy;
    rows.reconnect = ReconnectDevice(rows.handle);
    rows.transfer = UpdateFirewareImageData(rows.handle, rows.file.c_str(), 1, nullptr, nullptr);
    int count = 0;
    rows.cameraCount = GetConnectCameraCount(rows.handle, count);
    rows.gain = SetCameraGain(rows.handle, 0, 4);
    rows.closeCameras = CloseDeviceCamera(rows.handle);
}

TEST_F(ApiCallbackReentry, FromTheFirmwareProgressCallback) {
    ScratchDirectory scratch;
    const auto file = scratch.path() / "logo.SPLASH";
    {
        std::ofstream out(file, std::ios::binary);
        out << "abcdefgh\n12345678\nABCDEFGH\n";
    }
    LogCapture log;
    ProgressRows rows;
    rows.handle = handle();
    rows.file = file.wstring();
    const auto mark = journalMark();
    EXPECT_EQ(UpdateFirewareImageData(handle(), rows.file.c_str(), 1, &progressRows, &rows),
              RET_OPERATE_SUCCESS);
    ASSERT_TRUE(rows.ran);
    EXPECT_EQ(rows.disconnect, RET_OPERATE_FAILED);
    EXPECT_EQ(rows.handleAfterDisconnect, handle());
    EXPECT_TRUE(
        log.contains("DisConnectDevice refused: called from the firmware-progress "
                     "callback of this handle"));
    EXPECT_EQ(rows.reconnect, RET_OPERATE_FAILED);
    EXPECT_TRUE(
        log.contains("a reconnection would reopen the board under the running firmware "
                     "transfer"));
    EXPECT_EQ(rows.transfer, RET_OPERATE_FAILED);
    EXPECT_TRUE(log.contains("a firmware transfer is already running on this thread"));
    EXPECT_EQ(rows.cameraCount, RET_OPERATE_SUCCESS);
    EXPECT_EQ(rows.gain, RET_OPERATE_SUCCESS);
    EXPECT_EQ(rows.closeCameras, RET_OPERATE_SUCCESS);
    // One transfer only, and the board was never closed under it.
    EXPECT_EQ(recordsSince(mark, "zetaE7StartWriteImage").size(), 1u);
    EXPECT_TRUE(recordsSince(mark, "zetaExitHidDev").empty());
    EXPECT_EQ(zeta::sim::imageStore().completedWrites, 1);
}

}  // namespace
