// Helpers of the camera-thread tests: rig builders, a camera thread that shows its internal
// state, a frame recorder installed as a frame callback, and listeners.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "LibraryTestSupport.h"
#include "SimTestSupport.h"
#include "camera/PhysicalCameraThread.h"
#include "camera/PhysicalCameraThreadListener.h"
#include "platform/CriticalSectionGuard.h"
#include "zetaCamera.h"
#include "zetaVoroSim/SimControl.h"

namespace zeta::camera::test {

using zeta::sim::test::lastRecordOf;
using zeta::sim::test::recordsOf;
using zeta::sim::test::rigWithCameras;
using zeta::sim::test::useRig;
using zeta::sim::test::waitUntil;

// A camera of the rig file with small frames (fast under the sanitizers), free-running at 200
// frames a second; a snapshot waits up to a second, so that a busy machine never makes a snap
// fail that a test expects to succeed. `extra` adds keys ("format": 17, "sensors": 2, ...).
inline std::string cameraJson(const std::string& serial, const std::string& extra = "",
                              int width = 64, int height = 48) {
    std::string text = R"({"serial":")" + serial + R"(","width":)" + std::to_string(width) +
                       R"(,"height":)" + std::to_string(height);
    if (extra.find("\"fps\"") == std::string::npos) text += R"(,"fps":200)";
    if (extra.find("\"snapTimeoutMs\"") == std::string::npos) text += R"(,"snapTimeoutMs":1000)";
    if (!extra.empty()) text += "," + extra;
    return text + "}";
}

// A rig of the given cameras with `camera.fail` rules for enumeration handles.
inline std::string withEnumerationFaults(const std::string& rig, const std::string& fail) {
    std::string text = rig;
    text.pop_back();  // the closing brace
    return text + R"(, "camera": {"fail": )" + fail + "}}";
}

// A camera thread whose protected state the tests may look at.
class ObservedCameraThread : public CPhysicalCameraThread {
public:
    using CPhysicalCameraThread::CPhysicalCameraThread;
    // A test that fails while its thread holds a lock returns early; the locks it still holds
    // are left here so that stopping the grab thread cannot wait for them forever.
    ~ObservedCameraThread() override {
        while (m_csData.recursionCount() > 0) m_csData.leave();
        while (m_csPause.recursionCount() > 0) m_csPause.leave();
    }
    ObservedCameraThread(const ObservedCameraThread&) = delete;
    ObservedCameraThread& operator=(const ObservedCameraThread&) = delete;

    // Recursion depth of the calling thread on each lock.
    int pauseLockDepth() const { return m_csPause.recursionCount(); }
    int dataLockDepth() const { return m_csData.recursionCount(); }
    bool paused() const { return m_bPaused; }
    bool pausing() const { return m_bPausing; }
    bool running() const { return m_bRunning; }
    bool hasThread() const { return m_hThread != nullptr; }
    void* handle() const { return m_camera; }
    int frameSequence() const { return m_frameSequence; }
    void setFrameSequence(int value) { m_frameSequence = value; }
    bool noSleep() const { return m_bNoSleep; }
    int width() const { return m_width; }
    int height() const { return m_height; }
    const std::string& storedDevId() const { return devId; }
    void forgetDevId() { devId.clear(); }
    int bufferSize() {
        zeta::platform::CriticalSectionGuard data(m_csData);
        return m_bufferSize;
    }
    const unsigned char* currentFrame() {
        zeta::platform::CriticalSectionGuard data(m_csData);
        return m_pData;
    }
    bool hasCallbacks() const {
        return m_pDisplayCallBack != nullptr || m_pScanCallBack != nullptr ||
               m_pDisplayUserData != nullptr || m_pScanUserData != nullptr;
    }
    // Takes the data lock on the calling thread (as a frame copy would, but kept).
    void enterDataLock() { m_csData.enter(); }
    void leaveDataLock() { m_csData.leave(); }
};

// One frame as a callback saw it.
struct RecordedFrame {
    int cameraIndex = 0;
    int width = 0;
    int height = 0;
    int frameCode = 0;
    std::vector<unsigned char> bytes;  // the first `copyBytes` bytes of the frame
    std::uint64_t stamp = 0;           // the stamp after `stampOffset` bytes, when given
};

// Records the frames handed to the callback it is installed as. Threads: the callback runs on
// the grab thread; every other method on the test's thread; mutex_ guards frames_.
class FrameRecorder {
public:
    // Copies `copyBytes` bytes of every frame, and the stamp after `stampOffset` image bytes
    // when `stampOffset` is positive.
    explicit FrameRecorder(std::size_t copyBytes = 16, std::size_t stampOffset = 0)
        : copyBytes_(copyBytes), stampOffset_(stampOffset) {}

    static void callBack(const void* const& context, const int& cameraIndex,
                         const unsigned char* const& data, const int& width, const int& height,
                         const int& frameCode) {
        auto* self = static_cast<FrameRecorder*>(const_cast<void*>(context));
        RecordedFrame frame;
        frame.cameraIndex = cameraIndex;
        frame.width = width;
        frame.height = height;
        frame.frameCode = frameCode;
        frame.bytes.assign(data, data + self->copyBytes_);
        if (self->stampOffset_ > 0) {
            for (int i = 7; i >= 0; --i) {
                frame.stamp = (frame.stamp << 8) | data[self->stampOffset_ + i];
            }
        }
        std::lock_guard lock(self->mutex_);
        self->frames_.push_back(std::move(frame));
    }

    std::size_t count() const {
        std::lock_guard lock(mutex_);
        return frames_.size();
    }
    std::vector<RecordedFrame> frames() const {
        std::lock_guard lock(mutex_);
        return frames_;
    }
    RecordedFrame last() const {
        std::lock_guard lock(mutex_);
        return frames_.empty() ? RecordedFrame{} : frames_.back();
    }
    bool waitFor(std::size_t n,
                 std::chrono::milliseconds limit = std::chrono::milliseconds(3000)) const {
        return waitUntil([&] { return count() >= n; }, limit);
    }

private:
    std::size_t copyBytes_;
    std::size_t stampOffset_;
    mutable std::mutex mutex_;
    std::vector<RecordedFrame> frames_;
};

// A listener with the default display-callback answer.
class PlainListener : public PhysicalCameraThreadListener {
public:
    void onSnapFailed(int, int) override {}
    void onCameraThreadNotify(int) override {}
};

class MockListener : public PhysicalCameraThreadListener {
public:
    MOCK_METHOD(void, onSnapFailed, (int camID, int colorMode), (override));
    MOCK_METHOD(void, onCameraThreadNotify, (int notify), (override));
    MOCK_METHOD(bool, IsSecondCallBackEnabled, (), (override));
};

// Creates the camera's handle by serial, opens it at the given size and starts delivery; the
// camera ID is set to `id`.
inline void openCameraThread(CPhysicalCameraThread& thread, const std::string& serial, int width,
                             int height, int id = 0) {
    ASSERT_TRUE(thread.InializeCamera(serial.c_str()));
    ASSERT_TRUE(thread.OpenCamera(serial, width, height));
    ASSERT_TRUE(thread.SetCameraID(id));
    ASSERT_TRUE(thread.StartCamera());
}

inline zeta::sim::CameraStats statsOf(const std::string& serial) {
    zeta::sim::CameraStats stats;
    EXPECT_TRUE(zeta::sim::cameraStats(serial, stats)) << serial;
    return stats;
}

// Waits until the camera has produced `more` frames beyond what it had produced at the call.
inline bool waitProducedMore(const std::string& serial, std::uint64_t more) {
    const std::uint64_t start = statsOf(serial).framesProduced;
    return waitUntil([&] { return statsOf(serial).framesProduced >= start + more; });
}

// Snapshots are journaled from construction to destruction; the journal is emptied first.
class JournalFrames {
public:
    JournalFrames() {
        zeta::sim::setJournalFrames(true);
        zeta::sim::clearJournal();
    }
    ~JournalFrames() { zeta::sim::setJournalFrames(false); }
    JournalFrames(const JournalFrames&) = delete;
    JournalFrames& operator=(const JournalFrames&) = delete;
};

// Failed and successful SnapShot records of one camera, and whether a successful one follows
// the last failed one.
struct SnapTally {
    int failed = 0;
    int ok = 0;
    bool okAfterLastFailure = false;
};
inline SnapTally tallySnaps(const std::string& serial) {
    SnapTally tally;
    for (const auto& record : recordsOf("SnapShot", serial)) {
        if (record.ok) {
            ++tally.ok;
            tally.okAfterLastFailure = tally.failed > 0;
        } else {
            ++tally.failed;
            tally.okAfterLastFailure = false;
        }
    }
    return tally;
}

// The messages logged by the camera thread's own source files (PhysicalCameraThread.cpp and the
// PhysicalCameraThread*.cpp it is split into), in order.
inline std::vector<std::string> cameraMessages(const zeta::test::LogCapture& log) {
    const auto messages = log.messages();
    const auto files = log.files();
    std::vector<std::string> own;
    for (std::size_t i = 0; i < messages.size() && i < files.size(); ++i) {
        if (files[i].rfind("PhysicalCameraThread", 0) == 0) own.push_back(messages[i]);
    }
    return own;
}

// Number of messages equal to `text`.
inline int countExact(const zeta::test::LogCapture& log, const std::string& text) {
    int n = 0;
    for (const auto& message : log.messages()) {
        if (message == text) ++n;
    }
    return n;
}

// Index of the first message equal to `text` at or after `from`, or -1.
inline int indexOfExact(const std::vector<std::string>& messages, const std::string& text,
                        int from = 0) {
    for (int i = from < 0 ? 0 : from; i < static_cast<int>(messages.size()); ++i) {
        if (messages[static_cast<std::size_t>(i)] == text) return i;
    }
    return -1;
}

// True when every text of `expected` appears in `messages` in that order (others may come
// between).
inline bool inOrder(const std::vector<std::string>& messages,
                    const std::vector<std::string>& expected) {
    int at = 0;
    for (const auto& text : expected) {
        const int found = indexOfExact(messages, text, at);
        if (found < 0) return false;
        at = found + 1;
    }
    return true;
}

constexpr const char* kLeaveRefused =
    "CriticalSection::leave refused: the calling thread does not hold the lock";

// Every test starts from a clean fault table and without snapshot journaling.
class CameraThreadTest : public ::testing::Test {
protected:
    void SetUp() override {
        zeta::sim::clearFailures();
        zeta::sim::setJournalFrames(false);
    }
    void TearDown() override {
        zeta::sim::clearFailures();
        zeta::sim::setJournalFrames(false);
    }
};

}  // namespace zeta::camera::test
