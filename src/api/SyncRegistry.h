// SyncRegistry: the process-wide record of the synchronisers the exported layer created.
//
// Every handle the library hands out is an IShotSync that ConnectDevice created. The exported
// functions check each handle they are given against this registry before using it, so that a
// handle DisConnectDevice has already destroyed is refused instead of being dereferenced.
//
// Two lists are kept:
// - live: the objects created by ConnectDevice and not yet destroyed. DisConnectDevice removes an
//   object from it just before destroying it. An object DisConnectDevice does not destroy (the
//   process-wide device type was already 0) stays here: the host may still use a copy of its
//   handle.
// - abandoned: objects the library's own behaviour leaves alive and unreferenced: the object of a
//   ConnectDevice whose board failed to open, and the temporary object of a GetFirewareVersion
//   whose board failed to open. They are never handed out again; the list keeps them reachable
//   (they are deliberate, not leaks) until the process ends.
//
// At process exit the registry destroys every object it still holds, so that their threads (the
// watchdog, the status thread, the camera grab threads) stop before the device libraries they
// call are torn down. The clean-up is armed once a device library has been called (see
// armExitCleanup), which orders it before the device libraries' own clean-up.
//
// The registry itself is never destroyed (a leaked singleton): a host thread may still ask it
// during process exit. Every method is safe to call from any thread; mutex_ guards both lists.
#pragma once

#include <cstddef>
#include <mutex>
#include <vector>

class IShotSync;

namespace zeta::api {

class SyncRegistry {
public:
    static SyncRegistry& instance();

    SyncRegistry(const SyncRegistry&) = delete;
    SyncRegistry& operator=(const SyncRegistry&) = delete;

    // Records a new object as live.
    void addLive(IShotSync* sync);
    // True when `handle` is a live object (non-null, created and not yet destroyed).
    bool isLive(const void* handle) const;
    // Takes `sync` out of the live list; true when it was there. The caller destroys it.
    bool removeLive(IShotSync* sync);
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

    // Exit handler: destroys every object still held, live first, then abandoned.
    static void destroyAllAtExit();

    mutable std::mutex mutex_;
    std::vector<IShotSync*> live_;       // owned: destroyed by DisConnectDevice or at exit
    std::vector<IShotSync*> abandoned_;  // owned: destroyed only at exit
    std::once_flag exitCleanupArmed_;
};

}  // namespace zeta::api
