// SyncCall: the handle check at the head of every exported function that uses a handle.
//
// It turns the handle into the live synchroniser behind it, holding a lease on it for the
// export's duration (so DisConnectDevice on another thread waits for the call instead of
// destroying the object under it), or into the status the export returns instead:
// - RET_HANDLE_NULL for a null handle and for a handle that is not live (disconnected, or never
//   connected); the second case is logged.
// - RET_OPERATE_FAILED for a call the host makes from one of this handle's own callbacks when the
//   call would wait for the thread that runs the callback, or for a lock that thread holds (see
//   CReentryRule and docs/threading-and-ownership.md). One log line says why.
//
// Thread safety: an instance lives on the stack of one host thread, for one export call.
#pragma once

#include "SyncRegistry.h"
#include "sync/ReentryRule.h"
#include "zetaVoroSync/zetaVoroSync.h"

class IShotSync;

namespace zeta::api {

using CallNeeds = CReentryRule::Needs;

class SyncCall {
public:
    SyncCall(const void* handle, const char* function, CallNeeds needs = CallNeeds::MainLock);
    SyncCall(const SyncCall&) = delete;
    SyncCall& operator=(const SyncCall&) = delete;

    explicit operator bool() const { return static_cast<bool>(lease_); }
    IShotSync* get() const { return lease_.get(); }
    // The status to return when the call is refused (operator bool false).
    zetaVoroSync::RETSTATUS refusal() const { return refusal_; }

    // Checks the calling thread against the handle's callbacks: false (after the log line) when
    // `function` must be refused.
    static bool mayRun(const void* handle, const char* function, CallNeeds needs);

private:
    SyncRegistry::Lease lease_;
    zetaVoroSync::RETSTATUS refusal_ = zetaVoroSync::RET_HANDLE_NULL;
};

}  // namespace zeta::api
