#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

namespace zeta::platform {

// A thread that runs one body and keeps its exit code.
//
// A Thread can be started once. join() waits for the body to return and releases the
// system thread; waitFor() waits with a time-out without releasing it.
//
// The destructor waits for the body to return (it joins a thread that is still
// running); it never detaches the thread and never terminates the process because the
// thread was still joinable. Make sure the body can finish before the object is
// destroyed. Destroying or joining the object from its own body is a programming error:
// join() then refuses with an error in the log, and the destructor stops the process
// with a fatal log message.
//
// Threads: every method may be called from any thread, concurrently (start() and
// join() are serialised by controlMutex_). The body itself must not call join().
//
// Invariants: controlMutex_ protects thread_ (the std::thread is created or joined only
// while it is held). stateMutex_ protects started_, finished_, joined_ and exitCode_:
// started_ becomes true once and stays true, finished_ becomes true (with exitCode_
// final) when the body has returned, joined_ becomes true when thread_ has been joined.
class Thread {
public:
    // Exit code reported while the body has not returned yet (or never started).
    static constexpr unsigned kStillActive = 259;
    // Exit code reported when the body ended by throwing an exception.
    static constexpr unsigned kUncaughtExceptionExitCode = 0xFFFFFFFFu;

    Thread() = default;
    // Waits for a body that is still running (see the class comment).
    ~Thread();

    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;
    Thread(Thread&&) = delete;
    Thread& operator=(Thread&&) = delete;

    // Starts body on a new thread. Returns false if this Thread was already started,
    // if body is empty, or if the system could not create a thread.
    bool start(std::function<unsigned()> body);

    // Waits without time-out for the body to return and releases the thread.
    // No-op if the thread was never started or has already been joined.
    void join();

    // Waits up to timeoutMs milliseconds (kInfinite = no time-out) for the body to return.
    // Returns true once it has returned; false on time-out or if never started.
    bool waitFor(std::uint32_t timeoutMs);

    // True between a successful start() and the completion of join().
    bool joinable() const;

    // The value returned by the body once it has returned, otherwise kStillActive.
    unsigned exitCode() const;

private:
    void run(const std::function<unsigned()>& body);

    std::mutex controlMutex_;
    std::thread thread_;

    mutable std::mutex stateMutex_;
    std::condition_variable finishedChanged_;
    bool started_ = false;
    bool finished_ = false;
    bool joined_ = false;
    unsigned exitCode_ = kStillActive;
};

}  // namespace zeta::platform
