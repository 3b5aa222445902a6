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

#include <cstdlib>

#if defined(_WIN32)
// Exported by ntdll: true once the loader detaches the DLLs because the process ends.
extern "C" BOOLEAN NTAPI RtlDllShutdownInProgress(void);
// msvcrt's own _onexit: the process's table of exit handlers. The _onexit a DLL is linked with
// is the MinGW-w64 start-up code's, which keeps a table of the DLL run in its process detach.
extern "C" _onexit_t(__cdecl* __imp__onexit)(_onexit_t handler);
#endif

namespace zeta::platform {

namespace {

// The address that identifies this module: a function of its own code.
void moduleMarker() {}

std::atomic<bool> moduleKept{false};

#if defined(_WIN32)
// The handlers runAtProcessExit registered, called through one function of msvcrt's type.
constexpr int kMaxExitHandlers = 8;
void (*exitHandlers[kMaxExitHandlers])() = {};
std::atomic<int> exitHandlerCount{0};

template <int Index>
int __cdecl callExitHandler() {
    if (exitHandlers[Index] != nullptr) exitHandlers[Index]();
    return 0;
}

constexpr _onexit_t kExitTrampolines[kMaxExitHandlers] = {
    &callExitHandler<0>, &callExitHandler<1>, &callExitHandler<2>, &callExitHandler<3>,
    &callExitHandler<4>, &callExitHandler<5>, &callExitHandler<6>, &callExitHandler<7>};
#endif

}  // namespace

bool processIsEnding() {
#if defined(_WIN32)
    return RtlDllShutdownInProgress() != FALSE;
#else
    return false;
#endif
}

void runAtProcessExit(void (*handler)()) {
    keepModuleLoaded();
#if defined(_WIN32)
    const int index = exitHandlerCount.fetch_add(1);
    if (index < kMaxExitHandlers && __imp__onexit != nullptr) {
        exitHandlers[index] = handler;
        if (__imp__onexit(kExitTrampolines[index]) != nullptr) return;
        exitHandlers[index] = nullptr;
    }
#endif
    std::atexit(handler);
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
