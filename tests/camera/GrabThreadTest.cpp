// The grab thread: start and stop, frame delivery to the two callbacks, frame validity, pause
// and resume, recovery of the locks, and the failure handling of the grab loop.
#include <atomic>
#include <thread>

#include "CameraThreadTestSupport.h"

namespace zeta::camera::test {
namespace {

using ::testing::AtLeast;
using ::testing::Invoke;
using ::testing::StrictMock;
using zeta::test::ConsoleCapture;
using zeta::test::LogCapture;

constexpr std::chrono::milliseconds kLongWait(10000);

int occurrences(const std::string& text, const std::string& part) {
    int n = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++n;
    }
    return n;
}

// Waits until the camera's handles have taken `more` frames beyond those taken at the call.
bool waitDeliveredMore(const std::string& serial, std::uint64_t more) {
    const std::uint64_t start = statsOf(serial).framesDelivered;
    return waitUntil([&] { return statsOf(serial).framesDelivered >= start + more; });
}

// Waits until `failures` injected snap failures have happened and a good snap followed them.
bool waitFailuresThenFrame(const std::string& serial, int failures) {
    return waitUntil(
        [&] {
            const SnapTally tally = tallySnaps(serial);
            return tally.failed >= failures && tally.okAfterLastFailure;
        },
        kLongWait);
}

class GrabThreadTest : public CameraThreadTest {};

TEST_F(GrabThreadTest, StartThreadOnAClosedCameraFailsAndCreatesNoThread) {
    useRig(rigWithCameras({cameraJson("A1")}));
    LogCapture log;
    ObservedCameraThread camera(nullptr);
    ASSERT_TRUE(camera.InializeCamera("A1"));

    EXPECT_FALSE(camera.StartThread());
    EXPECT_FALSE(camera.hasThread());
    EXPECT_FALSE(camera.running());
    EXPECT_EQ(countExact(log, "StartThread m_bOpen=0"), 1);
    EXPECT_EQ(statsOf("A1").framesDelivered, 0U);
}

TEST_F(GrabThreadTest, RunningThreadDeliversFramesWithCameraIdSizeAndCode) {
    useRig(rigWithCameras({cameraJson("A0"), cameraJson("A1")}));
    LogCapture log;
    FrameRecorder recorder;
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48, 3));
    camera.SetScanCallBackFunction(&FrameRecorder::callBack, &recorder);

    EXPECT_TRUE(camera.StartThread());
    EXPECT_TRUE(camera.hasThread());
    EXPECT_FALSE(camera.noSleep());
    EXPECT_EQ(countExact(log, "StartThread m_bOpen=1"), 1);
    ASSERT_TRUE(recorder.waitFor(3));
    for (const auto& frame : recorder.frames()) {
        EXPECT_EQ(frame.cameraIndex, 3);
        EXPECT_EQ(frame.width, 64);
        EXPECT_EQ(frame.height, 48);
        EXPECT_EQ(frame.frameCode, 1);
        EXPECT_EQ(frame.bytes[4], 0);  // free run: no sequence number
        EXPECT_EQ(frame.bytes[5], 1);  // second camera of the rig
        EXPECT_EQ(frame.bytes[6], 0);  // its only sensor
    }
    EXPECT_TRUE(camera.IsLastSnapOk());
    EXPECT_TRUE(camera.StopThread());
}

TEST_F(GrabThreadTest, FramesOfAMultiSensorCameraCarryEachSensorsTags) {
    useRig(rigWithCameras({cameraJson("A0"), cameraJson("B2", R"("sensors":2)", 32, 8)}));
    FrameRecorder recorder(64);
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "B2", 64, 8, 1));
    camera.SetScanCallBackFunction(&FrameRecorder::callBack, &recorder);
    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(recorder.waitFor(1));

    // Every later frame carries 9 where the sequence number goes.
    ASSERT_TRUE(zeta::sim::renumberFrames("B2", 9, -1));
    ASSERT_TRUE(waitUntil([&] { return recorder.last().bytes[4] == 9; }));
    const RecordedFrame frame = recorder.last();
    EXPECT_EQ(frame.cameraIndex, 1);
    EXPECT_EQ(frame.width, 64);  // both sensor images side by side
    EXPECT_EQ(frame.height, 8);
    EXPECT_EQ(frame.bytes[5], 1);
    EXPECT_EQ(frame.bytes[6], 0);
    EXPECT_EQ(frame.bytes[32 + 4], 9);
    EXPECT_EQ(frame.bytes[32 + 5], 1);
    EXPECT_EQ(frame.bytes[32 + 6], 1);
}

TEST_F(GrabThreadTest, CallbackFrameHoldsWhatTheCameraSent) {
    constexpr std::size_t kImageBytes = 64 * 48 * 3;
    useRig(rigWithCameras({cameraJson("C1", R"("format":17)")}));
    FrameRecorder recorder(kImageBytes, kImageBytes);
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "C1", 64, 48));
    camera.SetScanCallBackFunction(&FrameRecorder::callBack, &recorder);
    ASSERT_TRUE(camera.StartThread());

    // A second handle on the same camera receives the same frames.
    void* other = nullptr;
    ASSERT_EQ(zetaCamera::CreateCamera(other, "C1"), 0);
    ASSERT_EQ(zetaCamera::OpenCamera(other, "C1", 0, 0), 0);
    ASSERT_EQ(zetaCamera::StartCamera(other, 0.0), 0);
    unsigned char* data = nullptr;
    ASSERT_EQ(zetaCamera::SnapShot(other, data), 0);
    const std::vector<unsigned char> expected(data, data + kImageBytes);
    std::uint64_t stamp = 0;
    for (int i = 7; i >= 0; --i) stamp = (stamp << 8) | data[kImageBytes + i];

    RecordedFrame match;
    ASSERT_TRUE(waitUntil([&] {
        for (const auto& frame : recorder.frames()) {
            if (frame.stamp == stamp) {
                match = frame;
                return true;
            }
        }
        return false;
    }));
    EXPECT_EQ(match.frameCode, 3);
    EXPECT_TRUE(match.bytes == expected);
    camera.StopThread();
    zetaCamera::ReleaseCamera(other);
}

struct CodeCase {
    int format;
    int frameCode;
};

class FrameCodeTest : public CameraThreadTest, public ::testing::WithParamInterface<CodeCase> {};

TEST_P(FrameCodeTest, CallbacksReceiveTheFrameCodeOfTheFormat) {
    const CodeCase c = GetParam();
    useRig(rigWithCameras({cameraJson("A1", R"("format":)" + std::to_string(c.format))}));
    FrameRecorder recorder;
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    camera.SetScanCallBackFunction(&FrameRecorder::callBack, &recorder);
    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(recorder.waitFor(1));
    EXPECT_EQ(recorder.last().frameCode, c.frameCode);
    EXPECT_EQ(recorder.last().width, 64);
}

INSTANTIATE_TEST_SUITE_P(Formats, FrameCodeTest,
                         ::testing::Values(CodeCase{1, 1}, CodeCase{2, 2}, CodeCase{16, 1},
                                           CodeCase{17, 3}, CodeCase{18, 1}));

struct SizeCase {
    int sensorWidth;
    int height;
    int sensors;
    bool delivered;
};

class FrameSizeTest : public CameraThreadTest, public ::testing::WithParamInterface<SizeCase> {};

// Frames up to 2000 x 2000 reach both callbacks; a larger one reaches neither. A multi-sensor
// camera reports its whole frame, so two sensors of 1001 make a frame 2002 wide.
TEST_P(FrameSizeTest, OnlyFramesUpTo2000PixelsEachWayAreDelivered) {
    const SizeCase c = GetParam();
    const int frameWidth = c.sensorWidth * c.sensors;
    useRig(rigWithCameras(
        {cameraJson("A1", R"("sensors":)" + std::to_string(c.sensors), c.sensorWidth, c.height)}));
    LogCapture log;
    PlainListener listener;
    FrameRecorder scan;
    FrameRecorder display;
    ObservedCameraThread camera(&listener);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", frameWidth, c.height));
    camera.SetScanCallBackFunction(&FrameRecorder::callBack, &scan);
    camera.DisplayCallBackFunction(&FrameRecorder::callBack, &display);
    ASSERT_TRUE(camera.StartThread());

    if (c.delivered) {
        ASSERT_TRUE(scan.waitFor(2));
        ASSERT_TRUE(display.waitFor(2));
        EXPECT_EQ(scan.last().width, frameWidth);
        EXPECT_EQ(scan.last().height, c.height);
        EXPECT_EQ(countExact(log, "Snap image data failed, wrong image data!"), 0);
    } else {
        ASSERT_TRUE(waitDeliveredMore("A1", 3));
        camera.StopThread();
        EXPECT_EQ(scan.count(), 0U);
        EXPECT_EQ(display.count(), 0U);
        EXPECT_GE(countExact(log, "Snap image data failed, wrong image data!"), 3);
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, FrameSizeTest,
                         ::testing::Values(SizeCase{2000, 2, 1, true}, SizeCase{2001, 2, 1, false},
                                           SizeCase{8, 2000, 1, true}, SizeCase{8, 2001, 1, false},
                                           SizeCase{1000, 2, 2, true},
                                           SizeCase{1001, 2, 2, false}));

TEST_F(GrabThreadTest, DisplayCallbackRunsOnlyWhenTheListenerEnablesIt) {
    useRig(rigWithCameras({cameraJson("A1")}));
    StrictMock<MockListener> listener;
    std::atomic<bool> enabled{false};
    EXPECT_CALL(listener, IsSecondCallBackEnabled()).Times(AtLeast(1)).WillRepeatedly(Invoke([&] {
        return enabled.load();
    }));
    FrameRecorder scan;
    FrameRecorder display;
    ObservedCameraThread camera(&listener);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    camera.SetScanCallBackFunction(&FrameRecorder::callBack, &scan);
    camera.DisplayCallBackFunction(&FrameRecorder::callBack, &display);
    ASSERT_TRUE(camera.StartThread());

    ASSERT_TRUE(scan.waitFor(3));
    EXPECT_EQ(display.count(), 0U);
    enabled = true;
    ASSERT_TRUE(display.waitFor(3));
    EXPECT_EQ(display.last().width, 64);
    camera.StopThread();
}

TEST_F(GrabThreadTest, DisplayCallbackWithoutListenerRunsAsTheDefaultAnswerWould) {
    useRig(rigWithCameras({cameraJson("A1")}));
    FrameRecorder display;
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48, 2));
    camera.DisplayCallBackFunction(&FrameRecorder::callBack, &display);
    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(display.waitFor(2));
    EXPECT_EQ(display.last().cameraIndex, 2);
}

TEST_F(GrabThreadTest, CallbacksAreNotInstalledWithoutACameraId) {
    useRig(rigWithCameras({cameraJson("A1")}));
    LogCapture log;
    ConsoleCapture console;
    FrameRecorder recorder;
    ObservedCameraThread camera(nullptr);
    ASSERT_TRUE(camera.InializeCamera("A1"));
    ASSERT_TRUE(camera.OpenCamera("A1", 64, 48));
    ASSERT_TRUE(camera.StartCamera());

    camera.SetScanCallBackFunction(&FrameRecorder::callBack, &recorder);
    camera.DisplayCallBackFunction(&FrameRecorder::callBack, &recorder);
    EXPECT_FALSE(camera.hasCallbacks());
    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(waitDeliveredMore("A1", 3));
    camera.StopThread();
    EXPECT_EQ(recorder.count(), 0U);
    EXPECT_EQ(countExact(log, "SetScanCallBackFunction 0"), 0);
    EXPECT_EQ(countExact(log, "DisplayCallBackFunction 0"), 0);
    EXPECT_EQ(console.text().find("ScanCallBackFunction"), std::string::npos);
}

TEST_F(GrabThreadTest, CallbackSettersLogAndPrintAndLeaveNoLockHeld) {
    useRig(rigWithCameras({cameraJson("A1")}));
    FrameRecorder recorder;
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    LogCapture log;
    ConsoleCapture console;

    camera.SetScanCallBackFunction(&FrameRecorder::callBack, &recorder);
    camera.DisplayCallBackFunction(&FrameRecorder::callBack, &recorder);

    EXPECT_EQ(console.text(), "Before Set ScanCallBackFunction\nAfter Set ScanCallBackFunction\n");
    EXPECT_EQ(cameraMessages(log),
              (std::vector<std::string>{"SetScanCallBackFunction 0", "SetScanCallBackFunction 1",
                                        "DisplayCallBackFunction 0", "DisplayCallBackFunction 1"}));
    EXPECT_TRUE(camera.hasCallbacks());
    EXPECT_EQ(camera.pauseLockDepth(), 0);
    EXPECT_FALSE(camera.pausing());
}

TEST_F(GrabThreadTest, SwappedScanCallbackIsNeverCalledAgain) {
    useRig(rigWithCameras({cameraJson("A1")}));
    FrameRecorder first;
    FrameRecorder second;
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    camera.SetScanCallBackFunction(&FrameRecorder::callBack, &first);
    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(first.waitFor(2));

    camera.SetScanCallBackFunction(&FrameRecorder::callBack, &second);
    const std::size_t firstCount = first.count();
    ASSERT_TRUE(second.waitFor(3));
    EXPECT_EQ(first.count(), firstCount);
}

TEST_F(GrabThreadTest, StopThreadEndsTheLoopAndWakesOtherSnapshots) {
    useRig(rigWithCameras({cameraJson("A1")}));
    FrameRecorder recorder;
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    camera.SetScanCallBackFunction(&FrameRecorder::callBack, &recorder);
    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(recorder.waitFor(2));
    LogCapture log;
    zeta::sim::clearJournal();

    EXPECT_TRUE(camera.StopThread());
    EXPECT_FALSE(camera.hasThread());
    EXPECT_FALSE(camera.running());
    const auto messages = cameraMessages(log);
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages[0].rfind("StopThread m_hThread=", 0), 0U);
    EXPECT_NE(messages[0], "StopThread m_hThread=0");
    EXPECT_TRUE(inOrder(messages, {"WaitForSingleObject", "CPhysicalCameraThread::ThreadFun exit",
                                   "WaitForSingleObject return", "StopThread end"}));
    const auto unlocks = recordsOf("UnlockOthers", "A1");
    ASSERT_EQ(unlocks.size(), 1U);
    EXPECT_TRUE(unlocks[0].ok);

    const std::size_t count = recorder.count();
    ASSERT_TRUE(waitProducedMore("A1", 5));
    EXPECT_EQ(recorder.count(), count);
}

TEST_F(GrabThreadTest, StopThreadWithoutThreadOnlyLogs) {
    useRig(rigWithCameras({cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    LogCapture log;
    zeta::sim::clearJournal();

    EXPECT_TRUE(camera.StopThread());
    EXPECT_EQ(cameraMessages(log),
              (std::vector<std::string>{"StopThread m_hThread=0", "StopThread end"}));
    EXPECT_TRUE(zeta::sim::journal().empty());
}

TEST_F(GrabThreadTest, SecondStartKeepsTheOneRunningThread) {
    useRig(rigWithCameras({cameraJson("A1")}));
    LogCapture log;
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    ASSERT_TRUE(camera.StartThread());
    EXPECT_TRUE(camera.StartThread());
    ASSERT_TRUE(waitDeliveredMore("A1", 2));
    camera.StopThread();
    EXPECT_EQ(countExact(log, "CPhysicalCameraThread::ThreadFun exit"), 1);
}

TEST_F(GrabThreadTest, PausedThreadDeliversNoFramesUntilResumed) {
    useRig(rigWithCameras({cameraJson("A1")}));
    FrameRecorder recorder;
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    camera.SetScanCallBackFunction(&FrameRecorder::callBack, &recorder);
    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(recorder.waitFor(2));
    LogCapture log;

    camera.PauseThread();
    EXPECT_TRUE(camera.paused());
    EXPECT_FALSE(camera.pausing());
    EXPECT_EQ(camera.pauseLockDepth(), 1);
    const std::size_t count = recorder.count();
    ASSERT_TRUE(waitProducedMore("A1", 10));
    EXPECT_EQ(recorder.count(), count);

    camera.ResumeThread();
    EXPECT_FALSE(camera.paused());
    EXPECT_EQ(camera.pauseLockDepth(), 0);
    ASSERT_TRUE(recorder.waitFor(count + 3));

    std::vector<std::string> messages;
    for (const auto& message : cameraMessages(log)) {
        if (message.rfind("PauseThread", 0) == 0 || message.rfind("ResumeThread", 0) == 0) {
            messages.push_back(message);
        }
    }
    ASSERT_EQ(messages.size(), 4U);
    EXPECT_EQ(messages[0].rfind("PauseThread m_hThread=", 0), 0U);
    EXPECT_EQ(messages[0].substr(messages[0].size() - 11), "m_bPaused=0");
    EXPECT_EQ(messages[1], "PauseThread end");
    EXPECT_EQ(messages[2].rfind("ResumeThread m_hThread=", 0), 0U);
    EXPECT_EQ(messages[2].substr(messages[2].size() - 11), "m_bPaused=1");
    EXPECT_EQ(messages[3], "ResumeThread end");
}

TEST_F(GrabThreadTest, PauseThreadTwiceTakesTheLockOnce) {
    useRig(rigWithCameras({cameraJson("A1")}));
    FrameRecorder recorder;
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    camera.SetScanCallBackFunction(&FrameRecorder::callBack, &recorder);
    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(recorder.waitFor(1));
    LogCapture log;

    camera.PauseThread();
    camera.PauseThread();
    EXPECT_EQ(camera.pauseLockDepth(), 1);
    EXPECT_EQ(countExact(log, "PauseThread end"), 2);

    camera.ResumeThread();  // one resume releases the thread
    EXPECT_EQ(camera.pauseLockDepth(), 0);
    EXPECT_FALSE(camera.paused());
    const std::size_t count = recorder.count();
    ASSERT_TRUE(recorder.waitFor(count + 3));
    camera.ResumeThread();  // not paused any more: nothing to leave
    EXPECT_EQ(countExact(log, kLeaveRefused), 0);
}

TEST_F(GrabThreadTest, PauseAndResumeWithoutThreadDoNothing) {
    useRig(rigWithCameras({cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    camera.PauseThread();
    EXPECT_FALSE(camera.paused());
    EXPECT_EQ(camera.pauseLockDepth(), 0);
    camera.ResumeThread();
    EXPECT_EQ(camera.pauseLockDepth(), 0);
}

TEST_F(GrabThreadTest, ResumeOnAnotherThreadIsRefusedAndTheThreadStaysPaused) {
    useRig(rigWithCameras({cameraJson("A1")}));
    FrameRecorder recorder;
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    camera.SetScanCallBackFunction(&FrameRecorder::callBack, &recorder);
    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(recorder.waitFor(1));
    LogCapture log;

    camera.PauseThread();
    std::thread other([&] { camera.ResumeThread(); });
    other.join();
    EXPECT_EQ(countExact(log, kLeaveRefused), 1);
    EXPECT_TRUE(camera.paused());
    EXPECT_EQ(camera.pauseLockDepth(), 1);
    const std::size_t count = recorder.count();
    ASSERT_TRUE(waitProducedMore("A1", 10));
    EXPECT_EQ(recorder.count(), count);

    // The pausing thread can still resume it.
    camera.ResumeThread();
    EXPECT_FALSE(camera.paused());
    ASSERT_TRUE(recorder.waitFor(count + 3));
}

TEST_F(GrabThreadTest, ResumeForgetsTheLastSnapResult) {
    useRig(rigWithCameras({cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(waitUntil([&] { return camera.IsLastSnapOk(); }));

    camera.PauseThread();
    camera.enterDataLock();  // the grab thread will wait here after the resume
    camera.ResumeThread();
    EXPECT_FALSE(camera.IsLastSnapOk());
    camera.leaveDataLock();
    EXPECT_TRUE(waitUntil([&] { return camera.IsLastSnapOk(); }));
}

TEST_F(GrabThreadTest, ResetStatusWithoutHoldingTheLocksIsRefusedSafely) {
    useRig(rigWithCameras({cameraJson("A1")}));
    FrameRecorder recorder;
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    camera.SetScanCallBackFunction(&FrameRecorder::callBack, &recorder);
    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(recorder.waitFor(1));
    LogCapture log;

    camera.ResetStatusToInitialize();
    EXPECT_EQ(countExact(log, kLeaveRefused), 2);
    EXPECT_TRUE(inOrder(
        cameraMessages(log),
        {"ResetStatusToInitialize 0", "ResetStatusToInitialize 1", "ResetStatusToInitialize 2"}));
    EXPECT_FALSE(camera.paused());
    EXPECT_FALSE(camera.pausing());
    const std::size_t count = recorder.count();
    ASSERT_TRUE(recorder.waitFor(count + 3));
}

TEST_F(GrabThreadTest, ResetStatusAfterPauseReleasesThePauseLock) {
    useRig(rigWithCameras({cameraJson("A1")}));
    FrameRecorder recorder;
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    camera.SetScanCallBackFunction(&FrameRecorder::callBack, &recorder);
    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(recorder.waitFor(1));
    camera.PauseThread();
    LogCapture log;

    camera.ResetStatusToInitialize();
    EXPECT_EQ(countExact(log, kLeaveRefused), 1);  // the data lock was not held
    EXPECT_EQ(camera.pauseLockDepth(), 0);
    EXPECT_FALSE(camera.paused());
    const std::size_t count = recorder.count();
    ASSERT_TRUE(recorder.waitFor(count + 3));
}

TEST_F(GrabThreadTest, ResetStatusHoldingBothLocksReleasesBoth) {
    useRig(rigWithCameras({cameraJson("A1")}));
    FrameRecorder recorder;
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    camera.SetScanCallBackFunction(&FrameRecorder::callBack, &recorder);
    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(recorder.waitFor(1));
    camera.PauseThread();
    camera.enterDataLock();
    LogCapture log;

    camera.ResetStatusToInitialize();
    EXPECT_EQ(countExact(log, kLeaveRefused), 0);
    EXPECT_EQ(camera.pauseLockDepth(), 0);
    EXPECT_EQ(camera.dataLockDepth(), 0);
    const std::size_t count = recorder.count();
    ASSERT_TRUE(recorder.waitFor(count + 3));
}

TEST_F(GrabThreadTest, LockLowLevelGrabThreadHoldsBackTheCamerasFrames) {
    useRig(rigWithCameras({cameraJson("A1", R"("snapTimeoutMs":20)")}));
    LogCapture log;
    FrameRecorder recorder;
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48));
    camera.SetPrintSnapFailInfo(false);
    camera.SetScanCallBackFunction(&FrameRecorder::callBack, &recorder);
    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(recorder.waitFor(1));

    camera.LockLowLevelGrabThread(true);
    EXPECT_EQ(countExact(log, "LockLowLevelGrabThread bLock=1"), 1);
    ASSERT_TRUE(waitUntil([&] { return !camera.IsLastSnapOk(); }));  // the queue ran dry
    camera.LockLowLevelGrabThread(false);
    EXPECT_EQ(countExact(log, "LockLowLevelGrabThread bLock=0"), 1);
    const std::size_t count = recorder.count();
    ASSERT_TRUE(recorder.waitFor(count + 2));

    const auto locks = recordsOf("LockSnapThread", "A1");
    ASSERT_EQ(locks.size(), 2U);
    EXPECT_EQ(locks[0].args, "[true]");
    EXPECT_EQ(locks[1].args, "[false]");
}

TEST_F(GrabThreadTest, SnapFailureAfterGoodFramesIsLoggedOnceAndPrintedEachTime) {
    useRig(rigWithCameras({cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48, 3));
    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(waitUntil([&] { return camera.IsLastSnapOk(); }));
    LogCapture log;
    JournalFrames journalFrames;
    std::string printed;
    {
        ConsoleCapture console;
        zeta::sim::failNext("A1", "SnapShot", 3);
        ASSERT_TRUE(waitFailuresThenFrame("A1", 3));
        printed = console.text();
    }
    EXPECT_EQ(tallySnaps("A1").failed, 3);
    EXPECT_EQ(occurrences(printed, "Camera 3 ret=-1 Snap Failed\n"), 3);
    EXPECT_EQ(countExact(log, "Camera %d Snap Failed and data not null.  3ret=-1"), 1);
}

TEST_F(GrabThreadTest, SnapFailureIsNotPrintedWhenPrintingIsOff) {
    useRig(rigWithCameras({cameraJson("A1")}));
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48, 3));
    camera.SetPrintSnapFailInfo(false);
    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(waitUntil([&] { return camera.IsLastSnapOk(); }));
    JournalFrames journalFrames;
    std::string printed;
    {
        ConsoleCapture console;
        zeta::sim::failNext("A1", "SnapShot", 3);
        ASSERT_TRUE(waitFailuresThenFrame("A1", 3));
        printed = console.text();
    }
    EXPECT_EQ(printed.find("Snap Failed"), std::string::npos);
}

TEST_F(GrabThreadTest, WithoutHandleTheLoopFailsWithoutCallingTheLibrary) {
    useRig(rigWithCameras({cameraJson("A1")}));
    LogCapture log;
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "A1", 64, 48, 4));
    camera.SetPrintSnapFailInfo(false);
    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(waitUntil([&] { return camera.IsLastSnapOk(); }));

    camera.PauseThread();
    camera.ReleaseCamera();
    JournalFrames journalFrames;
    camera.ResumeThread();
    ASSERT_TRUE(waitUntil(
        [&] { return countExact(log, "Camera %d Snap Failed and data not null.  4ret=-1") == 1; }));
    EXPECT_FALSE(camera.IsLastSnapOk());
    EXPECT_EQ(camera.currentFrame(), nullptr);
    camera.StopThread();
    EXPECT_TRUE(recordsOf("SnapShot").empty());
    const auto unlocks = recordsOf("UnlockOthers");
    ASSERT_EQ(unlocks.size(), 1U);
    EXPECT_FALSE(unlocks[0].ok);  // no handle left to wake others on
}

// ---- the failure threshold of the grab loop -----------------------------------------------------

// A started grab thread on `serial` that has seen good frames, with snap journaling on.
void startWithGoodFrames(ObservedCameraThread& camera, const std::string& serial) {
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, serial, 64, 48));
    camera.SetPrintSnapFailInfo(false);
    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(waitUntil([&] { return camera.IsLastSnapOk(); }));
}

TEST_F(GrabThreadTest, MonoCameraSurvives300And600FailedSnapsWithoutReportOrListenerCall) {
    useRig(rigWithCameras({cameraJson("A1")}));
    StrictMock<MockListener> listener;  // any listener call fails the test
    LogCapture log;
    ObservedCameraThread camera(&listener);
    ASSERT_NO_FATAL_FAILURE(startWithGoodFrames(camera, "A1"));
    JournalFrames journalFrames;

    zeta::sim::failNext("A1", "SnapShot", 300);
    ASSERT_TRUE(waitFailuresThenFrame("A1", 300));
    EXPECT_EQ(tallySnaps("A1").failed, 300);
    EXPECT_EQ(log.count("ThreadFun bSnapOk="), 0);

    // 600 in a row are still not more than the mono threshold: the counter is not reset early.
    zeta::sim::clearJournal();
    zeta::sim::failNext("A1", "SnapShot", 600);
    ASSERT_TRUE(waitFailuresThenFrame("A1", 600));
    EXPECT_EQ(tallySnaps("A1").failed, 600);
    EXPECT_EQ(log.count("ThreadFun bSnapOk="), 0);
    camera.StopThread();
}

TEST_F(GrabThreadTest, MonoCameraReportsAfter601FailedSnapsWithoutListenerCall) {
    useRig(rigWithCameras({cameraJson("A1")}));
    StrictMock<MockListener> listener;
    LogCapture log;
    ObservedCameraThread camera(&listener);
    ASSERT_NO_FATAL_FAILURE(startWithGoodFrames(camera, "A1"));
    JournalFrames journalFrames;

    zeta::sim::failNext("A1", "SnapShot", 601);
    ASSERT_TRUE(waitFailuresThenFrame("A1", 601));
    EXPECT_EQ(countExact(log, "ThreadFun bSnapOk=1"), 1);
    camera.StopThread();
}

TEST_F(GrabThreadTest, ColourCameraReportsAfter201FailedSnaps) {
    useRig(rigWithCameras({cameraJson("C1", R"("format":17)")}));
    StrictMock<MockListener> listener;
    LogCapture log;
    ObservedCameraThread camera(&listener);
    ASSERT_NO_FATAL_FAILURE(startWithGoodFrames(camera, "C1"));
    JournalFrames journalFrames;

    zeta::sim::failNext("C1", "SnapShot", 200);
    ASSERT_TRUE(waitFailuresThenFrame("C1", 200));
    EXPECT_EQ(log.count("ThreadFun bSnapOk="), 0);

    zeta::sim::clearJournal();
    zeta::sim::failNext("C1", "SnapShot", 201);
    ASSERT_TRUE(waitFailuresThenFrame("C1", 201));
    EXPECT_EQ(countExact(log, "ThreadFun bSnapOk=1"), 1);
    camera.StopThread();
}

TEST_F(GrabThreadTest, FailureCounterStartsAgainAfterEachReport) {
    useRig(rigWithCameras({cameraJson("C1", R"("format":17)")}));
    PlainListener listener;
    LogCapture log;
    ObservedCameraThread camera(&listener);
    ASSERT_NO_FATAL_FAILURE(startWithGoodFrames(camera, "C1"));
    JournalFrames journalFrames;

    zeta::sim::failNext("C1", "SnapShot", 402);  // 201 and 201 more
    ASSERT_TRUE(waitFailuresThenFrame("C1", 402));
    EXPECT_EQ(countExact(log, "ThreadFun bSnapOk=1"), 2);
    camera.StopThread();
}

TEST_F(GrabThreadTest, NoReportBeforeAGoodFrameWasSeen) {
    useRig(rigWithCameras({cameraJson("C1", R"("format":17)")}));
    PlainListener listener;
    LogCapture log;
    ObservedCameraThread camera(&listener);
    ASSERT_NO_FATAL_FAILURE(openCameraThread(camera, "C1", 64, 48));
    camera.SetPrintSnapFailInfo(false);
    JournalFrames journalFrames;
    zeta::sim::failNext("C1", "SnapShot", -1);

    ASSERT_TRUE(camera.StartThread());
    ASSERT_TRUE(waitUntil([] { return tallySnaps("C1").failed >= 250; }, kLongWait));
    camera.StopThread();
    EXPECT_EQ(log.count("ThreadFun bSnapOk="), 0);
    EXPECT_FALSE(camera.IsLastSnapOk());
}

TEST_F(GrabThreadTest, NoReportWithoutListener) {
    useRig(rigWithCameras({cameraJson("C1", R"("format":17)")}));
    LogCapture log;
    ObservedCameraThread camera(nullptr);
    ASSERT_NO_FATAL_FAILURE(startWithGoodFrames(camera, "C1"));
    JournalFrames journalFrames;

    zeta::sim::failNext("C1", "SnapShot", 201);
    ASSERT_TRUE(waitFailuresThenFrame("C1", 201));
    EXPECT_EQ(log.count("ThreadFun bSnapOk="), 0);
    camera.StopThread();
}

}  // namespace
}  // namespace zeta::camera::test
