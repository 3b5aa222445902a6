#include "SyncCall.h"

#include <glog/logging.h>

namespace zeta::api {

using Kind = CHostCallbackScope::Kind;

SyncCall::SyncCall(const void* handle, const char* function, CallNeeds needs) {
    if (handle == nullptr) return;
    if (!mayRun(handle, function, needs)) {
        refusal_ = zetaVoroSync::RET_OPERATE_FAILED;
        return;
    }
    lease_ = SyncRegistry::instance().acquire(handle);
    if (!lease_) {
        LOG(INFO) << function << " refused a handle that is not connected hSync=" << handle;
    }
}

bool SyncCall::mayRun(const void* handle, const char* function, CallNeeds needs) {
    const Kind running = CHostCallbackScope::Running(handle);
    const char* reason = CReentryRule::RefusalReason(running, needs);
    if (reason == nullptr) return true;
    LOG(INFO) << function << " refused: called from the " << CHostCallbackScope::NameOf(running)
              << " callback of this handle; " << reason << " hSync=" << handle;
    return false;
}

}  // namespace zeta::api
