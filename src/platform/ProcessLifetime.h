// The process's end and the unloading of the library's modules, as far as threads are concerned.
//
// A module (DLL or shared object) that owns threads must never wait for them while the system
// unloads it: on Windows the loader lock is held then, and a thread cannot end without taking it.
// The library therefore stops its threads before its modules are unloaded (when their last handle
// is released), keeps a module that has started a thread loaded until the process ends, and does
// nothing but give up its memory when the process ends with threads still running.
#pragma once

namespace zeta::platform {

// True once the system has begun to end the process and has stopped every thread but the one
// ending it. From then on no thread of the library runs again, none can be woken or joined, and a
// lock one of them held stays held for ever: code that runs then (exit handlers, destructors of
// static objects, a host's late calls) must neither wait for a thread nor take a lock a thread may
// have held, and leaves its objects to the system.
//
// Windows: true from the moment ExitProcess has stopped the other threads and begins to detach
// the DLLs. Elsewhere always false: exit() runs the exit handlers while the other threads still
// run, so they can be stopped and joined as usual.
// Threads: any thread; reads only.
bool processIsEnding();

// Registers `handler` to run when the process exits normally (exit, or main returning), while
// the process's other threads still run, so that it can stop and join them: with std::atexit on
// Linux. On Windows std::atexit in a DLL runs the handler only in the DLL's process detach, after
// ExitProcess has stopped every other thread wherever it was (perhaps holding the C runtime's
// lock of standard output, which the runtime's own clean-up then waits for); there the handler
// goes into the C runtime's table of the process (msvcrt's _onexit), which exit() runs first, as
// for a handler of the program itself. Handlers run in the reverse order of their registration.
// The module is kept loaded (keepModuleLoaded), so the handler's code is still there then.
// Threads: any thread.
void runAtProcessExit(void (*handler)());

// Keeps the module that contains this code (each DLL or shared object that links the platform
// layer has its own copy) loaded until the process ends: unloading it (FreeLibrary, dlclose)
// does nothing from then on. Called before the module starts its first thread, so that a host
// that unloads the library while a thread of it still runs does not pull the code from under
// that thread. Idempotent and cheap after the first call.
// Threads: any thread.
void keepModuleLoaded();

}  // namespace zeta::platform
