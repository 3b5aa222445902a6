#include "platform/ProcessLifetime.h"

#include <atomic>

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <dlfcn.h>
#endif

#if defined(_WIN32)
// Exported by ntdll: true once the loader detaches the DLLs because the process ends.
extern "C" BOOLEAN NTAPI RtlDllShutdownInProgress(void);
#endif

namespace zeta::platform {

namespace {

// The address that identifies this module: a function of its own code.
void moduleMarker() {}

std::atomic<bool> moduleKept{false};

}  // namespace

bool processIsEnding() {
#if defined(_WIN32)
    return RtlDllShutdownInProgress() != FALSE;
#else
    return false;
#endif
}

void keepModuleLoaded() {
    if (moduleKept.exchange(true)) return;
#if defined(_WIN32)
    HMODULE self = nullptr;
    // Pinned: the module's load count no longer matters, FreeLibrary leaves it in place.
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<LPCWSTR>(&moduleMarker), &self);
#else
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&moduleMarker), &info) != 0 && info.dli_fname != nullptr) {
        // A new reference of a module that is already loaded, marked never to be unloaded; the
        // reference itself is deliberately never closed. For the main program this finds
        // nothing, and nothing is needed.
        dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
    }
#endif
}

}  // namespace zeta::platform
