// SyncRegistry: the process-wide record of the synchronisers the exported layer created, and of
// the calls running on each.
//
// Every handle the library hands out is an IShotSync that ConnectDevice created. The exported
// functions take a lease on the object behind each handle they are given before using it (see
// SyncCall), so that
// - a handle DisConnectDevice has already destroyed is refused instead of being dereferenced, and
// - DisConnectDevice never destroys an object under a call that is still running on it: it takes
//   the object out of the live list first (calls arriving from then on are refused as on a
//   destroyed handle), wakes the running ones (IShotSync::RequestShutdown) and waits until their
//   leases are returned.
//
// Two lists are kept:
// - live: the objects created by ConnectDevice and not yet disconnected.
// - abandoned: objects the library leaves alive but never uses again: the object of a
//   ConnectDevice whose board failed to open, the temporary object of a GetFirewareVersion whose
//   board failed to open, and an object DisConnectDevice did not destroy because the process-wide
//   device type was 0. They hold no thread and no device (IShotSync::Retire); the list keeps them
//   reachable (they are deliberate, not leaks) until the process ends.
//
// At process exit the registry destroys every object it still holds, so that their threads stop
// before the device libraries they call are torn down. The clean-up is armed once a device
// library has been called (see armExitCleanup), which orders it before the device libraries' own
// clean-up. It is registered with platform::runAtProcessExit, so that on Windows too it runs in
// exit() while the threads still run; when the system has already stopped them (a host whose C
// runtime runs it only in the DLL's process detach), it destroys nothing: see
// platform::processIsEnding.
//
// The registry itself is never destroyed (a leaked singleton): a host thread may still ask it
// during process exit. Every method is safe to call from any thread; mutex_ guards the lists and
// the call counts, callsDone_ is signalled whenever a count drops to zero.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <unordered_map>
#include <vector>

class IShotSync;

namespace zeta::api {

class SyncRegistry {
public:
    // One call running on a live synchroniser. While a lease exists the object is not destroyed.
    // Move-only; the destructor returns the lease.
    class Lease {
    public:
        Lease() = default;
        ~Lease();
        Lease(Lease&& other) noexcept;
        Lease& operator=(Lease&& other) noexcept;
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;

        IShotSync* get() const { return sync_; }
        explicit operator bool() const { return sync_ != nullptr; }

    private:
        friend class SyncRegistry;
        Lease(SyncRegistry* registry, IShotSync* sync) : registry_(registry), sync_(sync) {}
        void release();

        SyncRegistry* registry_ = nullptr;
        IShotSync* sync_ = nullptr;
    };

    static SyncRegistry& instance();

    SyncRegistry(const SyncRegistry&) = delete;
    SyncRegistry& operator=(const SyncRegistry&) = delete;

    // Records a new object as live.
    void addLive(IShotSync* sync);
    // True when `handle` is a live object (non-null, created and not yet disconnected).
    bool isLive(const void* handle) const;
    // A lease on the live object `handle` names; an empty lease when it is not live.
    Lease acquire(const void* handle);
    // Takes `sync` out of the live list; true when it was there. Calls arriving from now on are
    // refused; those already running keep their leases (see waitForCalls).
    bool removeLive(IShotSync* sync);
    // Waits until no lease on `sync` remains. Logs once when it has to wait.
    void waitForCalls(IShotSync* sync);
    // Number of leases on `sync` (for tests and logs).
    int callsOn(const IShotSync* sync) const;
    // Moves `sync` to the abandoned list (taking it out of the live list if it is there).
    void abandon(IShotSync* sync);

    std::size_t liveCount() const;
    std::size_t abandonedCount() const;

    // Arms the process-exit clean-up, once per process. Call it after the first device-library
    // call: exit handlers run in reverse order of registration, so the clean-up then runs before
    // the device libraries' own static objects are destroyed.
    void armExitCleanup();

private:
    SyncRegistry() = default;
    ~SyncRegistry() = default;

    void returnLease(IShotSync* sync);

    // Exit handler: destroys every object still held, live first, then abandoned.
    static void destroyAllAtExit();

    mutable std::mutex mutex_;
    std::condition_variable callsDone_;
    std::vector<IShotSync*> live_;       // owned: destroyed by DisConnectDevice or at exit
    std::vector<IShotSync*> abandoned_;  // owned: destroyed only at exit
    std::unordered_map<const IShotSync*, int> calls_;  // leases per object (absent: none)
    std::once_flag exitCleanupArmed_;
};

}  // namespace zeta::api
