// CReentryRule: which calls a host may make on a handle from one of that handle's own callbacks.
//
// A host callback runs while its thread holds locks of the handle (see CHostCallbackScope). A call
// made from there on the same handle goes on only when it cannot end up waiting for that thread:
// - from a display, scan or full-scan callback (a grab thread, holding its camera's locks) only
//   the display and scan callbacks may be registered: everything else needs the main lock, which
//   a scan or snap on another thread holds while it waits for this very camera's frames;
// - from the status callback (the status thread, holding the main lock) everything but the
//   destruction of the handle goes on;
// - from the firmware progress callback (the host's own thread inside the transfer, holding the
//   main lock) everything goes on but the destruction of the handle, a reconnection (it would
//   reopen the board under the transfer) and a second transfer.
// The table is written out in docs/threading-and-ownership.md.
//
// Thread safety: pure functions; any thread.
#pragma once

#include "sync/HostCallbackScope.h"

class CReentryRule {
public:
    // What a call may wait for.
    enum class Needs {
        CallbackLock,        // only m_csCallBack (registering the display and scan callbacks)
        StatusCallbackLock,  // the status callback's lock, or the main lock to start its thread
        MainLock,            // m_csProjector and the camera threads' locks (every other slot)
        Reconnection,        // closes and reopens the board and the cameras
        FirmwareTransfer,    // writes an image into the board
        Destruction,         // joins every thread of the handle (DisConnectDevice)
    };

    // Null when a call that `needs` this may go on while the calling thread runs the callback
    // `running` of the same handle; else the reason it is refused, for the log line.
    static const char* RefusalReason(CHostCallbackScope::Kind running, Needs needs);
};
