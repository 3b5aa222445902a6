// CHostCallbackScope: marks the stretch of a thread during which the library runs one of the
// host's callbacks for a synchroniser.
//
// A host callback runs on one of the handle's own threads (a grab thread, the status thread) or,
// for the firmware progress, on the host's thread inside the transfer; in each case the thread
// holds locks of that handle while the host's code runs. A call the host makes from there on the
// same handle must not wait for that thread or those locks. The exported layer asks Running() to
// recognise such a call and refuse what would wait on itself.
//
// The marks form a stack per thread (a callback may call into another handle, whose callback may
// run on the same thread). Every instance lives on the stack of the thread that made it.
//
// Thread safety: every method touches only the calling thread's own stack; safe from any thread.
#pragma once

class CHostCallbackScope {
public:
    // The host callbacks, grouped by what the running thread holds.
    enum class Kind {
        None,              // no callback of the synchroniser runs on this thread
        Display,           // grab thread: a camera's pause and data locks, m_csCallBack
        Scan,              // grab thread: a camera's pause and data locks, m_csCallBack
        FullScan,          // grab thread: a camera's locks, m_csFullCallBack, m_csImageGroup
        Status,            // status thread: m_csProjector, m_csStatusCallBack
        FirmwareProgress,  // the host's thread inside the transfer: m_csProjector
    };

    CHostCallbackScope(const void* sync, Kind kind);
    ~CHostCallbackScope();
    CHostCallbackScope(const CHostCallbackScope&) = delete;
    CHostCallbackScope& operator=(const CHostCallbackScope&) = delete;

    // The innermost callback of `sync` the calling thread is running, or Kind::None.
    static Kind Running(const void* sync);
    // True for the callbacks that run on a grab thread.
    static bool IsFrameCallback(Kind kind);
    // The callback's name for log lines ("display", "scan", ...).
    static const char* NameOf(Kind kind);

private:
    const void* m_sync;
    Kind m_kind;
    CHostCallbackScope* m_outer;
};
