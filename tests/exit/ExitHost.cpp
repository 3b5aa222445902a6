// A host that ends its process in one of the ways the exit tests try, with the library loaded
// through the plug-in exit_plugin:
//
//   exit_host forget               PLUGIN  connects, scans, returns from main
//   exit_host disconnect-at-exit   PLUGIN  the same; an exit handler (std::atexit) disconnects
//   exit_host disconnect-at-unload PLUGIN REPORT
//                                          the same; the plug-in disconnects when it is unloaded
//                                          at the end of the process, and writes the status to
//                                          REPORT
//   exit_host unload-with-handles  PLUGIN  connects, scans, unloads the plug-in (and with it the
//                                          library) with the handle connected, goes on working,
//                                          returns from main
//
// It prints "returning from main" last, so that a test can time the end of the process from
// there. Exit status 0, or 2 for a usage error or a plug-in that cannot be loaded or used.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "SharedLibrary.h"

namespace {

using ConnectAndScan = int (*)(void**);
using Disconnect = int (*)(void**);
using DisconnectAtUnload = void (*)(void*, const char*);

// Never destroyed: the plug-in stays loaded until the process ends, unless a mode unloads it.
zeta::test::SharedLibrary& plugin = *new zeta::test::SharedLibrary();
Disconnect disconnectAtExit = nullptr;
void* handleAtExit = nullptr;

void line(const std::string& text) {
    std::printf("%s\n", text.c_str());
    std::fflush(stdout);
}

void disconnectInExitHandler() {
    const int status = disconnectAtExit(&handleAtExit);
    line("DisConnectDevice at exit: " + std::to_string(status) +
         (handleAtExit == nullptr ? ", handle null" : ", handle kept"));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: exit_host MODE PLUGIN [REPORT]\n");
        return 2;
    }
    const std::string mode = argv[1];
    if (!plugin.load(argv[2])) {
        std::fprintf(stderr, "cannot load %s: %s\n", argv[2], plugin.error().c_str());
        return 2;
    }
    auto connectAndScan = plugin.function<ConnectAndScan>("exitPluginConnectAndScan");
    auto disconnect = plugin.function<Disconnect>("exitPluginDisconnect");
    auto disconnectAtUnload = plugin.function<DisconnectAtUnload>("exitPluginDisconnectAtUnload");
    if (connectAndScan == nullptr || disconnect == nullptr || disconnectAtUnload == nullptr) {
        std::fprintf(stderr, "the plug-in lacks a function\n");
        return 2;
    }
    if (mode == "disconnect-at-exit") {
        // Registered before the library is first called: it runs after the library's own exit
        // clean-up.
        disconnectAtExit = disconnect;
        std::atexit(&disconnectInExitHandler);
    }

    void* handle = nullptr;
    const int status = connectAndScan(&handle);
    line("connected and scanned: " + std::to_string(status));

    if (mode == "forget") {
        // Nothing more: the handle stays connected.
    } else if (mode == "disconnect-at-exit") {
        handleAtExit = handle;
    } else if (mode == "disconnect-at-unload" && argc >= 4) {
        disconnectAtUnload(handle, argv[3]);
    } else if (mode == "unload-with-handles") {
        plugin.unload();
        line("unloaded");
        // The process goes on: the library's threads must not run code that is gone.
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        line("still running");
    } else {
        std::fprintf(stderr, "unknown mode %s\n", mode.c_str());
        return 2;
    }
    line("returning from main");
    return 0;
}
