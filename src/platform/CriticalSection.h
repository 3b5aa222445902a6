#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

namespace zeta::platform {

// Recursive lock owned by a thread.
//
// Threads: any thread may call every method. The thread that entered the lock owns it
// until it has called leave() as many times as it called enter()/successful tryEnter().
// A thread that does not own the lock and calls leave() is refused: nothing changes,
// leave() returns false and a warning is logged (this never has undefined behaviour).
//
// Invariant protected by mutex_: owner_ is the id of the owning thread, or a
// default-constructed std::thread::id when the lock is free; count_ is the owner's
// recursion depth (>= 1 while owned, 0 while free).
//
// Destroying the lock while a thread owns it or waits for it is a programming error.
class CriticalSection {
public:
    CriticalSection() = default;
    ~CriticalSection() = default;

    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;
    CriticalSection(CriticalSection&&) = delete;
    CriticalSection& operator=(CriticalSection&&) = delete;

    // Takes the lock, waiting as long as another thread holds it. Re-entering from the
    // owning thread only increments the recursion count.
    void enter();

    // Takes the lock if it is free or already held by the calling thread; never waits.
    // Returns true when the calling thread now holds the lock.
    bool tryEnter();

    // Releases one level of recursion held by the calling thread; the lock becomes free
    // when the count reaches 0. Returns false (and logs a warning, changing nothing) if
    // the calling thread does not hold the lock.
    bool leave();

    // True if the calling thread holds the lock.
    bool isHeldByCurrentThread() const;

    // Recursion depth of the calling thread: the number of leave() calls still needed
    // to free the lock, or 0 if the calling thread does not hold it.
    int recursionCount() const;

private:
    mutable std::mutex mutex_;
    std::condition_variable released_;
    std::thread::id owner_;
    int count_ = 0;
};

}  // namespace zeta::platform
