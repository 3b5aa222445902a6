#include "sync/HostCallbackScope.h"

namespace {

// Innermost scope of the calling thread (null outside every callback).
thread_local CHostCallbackScope* t_innermost = nullptr;

}  // namespace

CHostCallbackScope::CHostCallbackScope(const void* sync, Kind kind)
    : m_sync(sync), m_kind(kind), m_outer(t_innermost) {
    t_innermost = this;
}

CHostCallbackScope::~CHostCallbackScope() {
    t_innermost = m_outer;
}

CHostCallbackScope::Kind CHostCallbackScope::Running(const void* sync) {
    for (const CHostCallbackScope* scope = t_innermost; scope != nullptr; scope = scope->m_outer) {
        if (scope->m_sync == sync) return scope->m_kind;
    }
    return Kind::None;
}

bool CHostCallbackScope::IsFrameCallback(Kind kind) {
    return kind == Kind::Display || kind == Kind::Scan || kind == Kind::FullScan;
}

const char* CHostCallbackScope::NameOf(Kind kind) {
    switch (kind) {
        case Kind::None:
            return "no";
        case Kind::Display:
            return "display";
        case Kind::Scan:
            return "scan";
        case Kind::FullScan:
            return "full-scan";
        case Kind::Status:
            return "status";
        case Kind::FirmwareProgress:
            return "firmware-progress";
    }
    return "unknown";
}
