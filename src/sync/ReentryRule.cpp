#include "sync/ReentryRule.h"

using Kind = CHostCallbackScope::Kind;

const char* CReentryRule::RefusalReason(Kind running, Needs needs) {
    if (running == Kind::None) return nullptr;
    if (needs == Needs::Destruction) {
        return "destroying the handle would wait for the thread that runs this callback";
    }
    if (CHostCallbackScope::IsFrameCallback(running)) {
        // The grab thread holds its camera's locks: whoever holds the main lock (a scan, a snap)
        // may be waiting for this very camera.
        switch (needs) {
            case Needs::CallbackLock:
                return nullptr;
            case Needs::StatusCallbackLock:
                return "the status callback's lock may be held by a thread that waits for this "
                       "camera's frames";
            default:
                return "it needs the main lock, which a scan or snap holds while it waits for "
                       "this camera's frames";
        }
    }
    if (running == Kind::FirmwareProgress) {
        if (needs == Needs::Reconnection) {
            return "a reconnection would reopen the board under the running firmware transfer";
        }
        if (needs == Needs::FirmwareTransfer) {
            return "a firmware transfer is already running on this thread";
        }
    }
    // The status thread and the firmware transfer hold the main lock themselves, and it is
    // recursive: everything else goes on.
    return nullptr;
}
