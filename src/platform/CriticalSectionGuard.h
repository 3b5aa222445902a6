#pragma once

#include "platform/CriticalSection.h"

namespace zeta::platform {

// Scoped ownership of a CriticalSection: enters it on construction and leaves it on
// destruction.
//
// Threads: a guard must be constructed and destroyed on the same thread (the thread
// that owns the lock for the guard's lifetime); it is not shared between threads.
// It has no lock of its own; the CriticalSection it refers to protects its own state
// and must outlive the guard.
class CriticalSectionGuard {
public:
    explicit CriticalSectionGuard(CriticalSection& section);
    ~CriticalSectionGuard();

    CriticalSectionGuard(const CriticalSectionGuard&) = delete;
    CriticalSectionGuard& operator=(const CriticalSectionGuard&) = delete;
    CriticalSectionGuard(CriticalSectionGuard&&) = delete;
    CriticalSectionGuard& operator=(CriticalSectionGuard&&) = delete;

private:
    CriticalSection& section_;
};

}  // namespace zeta::platform
