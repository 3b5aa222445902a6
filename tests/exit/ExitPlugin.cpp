// A host's plug-in built on the library, for the exit tests. exit_host loads it at run time, so
// the library is loaded, used and unloaded the way a host with plug-ins does it: the library is
// loaded with the plug-in and given back with it.
#include <zetaVoroSync/zetaVoroSync.h>

#include <cstdio>
#include <string>
#include <vector>

#if defined(_WIN32)
#define EXIT_PLUGIN_API extern "C" __declspec(dllexport)
#else
#define EXIT_PLUGIN_API extern "C" __attribute__((visibility("default")))
#endif

using namespace zetaVoroSync;

namespace {

// Disconnects the handle it was given when the plug-in is unloaded, that is when the process
// ends (the destructor of a static object of a DLL runs in its process detach), and writes the
// status into a report file: the process's output may no longer be usable then.
struct DisconnectAtUnload {
    void* handle = nullptr;
    std::string reportPath;

    ~DisconnectAtUnload() {
        if (reportPath.empty()) return;
        const RETSTATUS status = DisConnectDevice(handle);
        if (std::FILE* report = std::fopen(reportPath.c_str(), "w")) {
            std::fprintf(report, "DisConnectDevice %d, handle %s\n", static_cast<int>(status),
                         handle == nullptr ? "null" : "kept");
            std::fclose(report);
        }
    }
};

DisconnectAtUnload disconnectAtUnload;

}  // namespace

// Connects to the virtual scanner's default rig in the stripe mode and makes one whole scan; the
// handle stays connected. Returns the status of the first call that failed, or of the scan.
EXIT_PLUGIN_API int exitPluginConnectAndScan(void** handle) {
    std::vector<char*> cameras = {const_cast<char*>("ZV0001"), const_cast<char*>("ZV0002")};
    std::vector<int> widths = {1280, 1280};
    std::vector<int> heights = {1024, 1024};
    void* connected = nullptr;
    RETSTATUS status = ConnectDevice("STRIPE", "sim:board0", cameras, widths, heights, connected);
    if (status != RET_OPERATE_SUCCESS) return status;
    *handle = connected;
    for (int i = 0; i < 2; ++i) {
        status = SetCameraTriggerMode(connected, i, TRIGGERMODE_TRIGGERED);
        if (status != RET_OPERATE_SUCCESS) return status;
    }
    SCANPARAMETERS parameters{};
    parameters.scanFrameRate = 10;
    parameters.scanFrameCount = 15;
    status = SetScanParameter(connected, parameters);
    if (status != RET_OPERATE_SUCCESS) return status;
    return Scan(connected, true);
}

EXIT_PLUGIN_API int exitPluginDisconnect(void** handle) {
    return DisConnectDevice(*handle);
}

// Makes the plug-in disconnect `handle` when it is unloaded, writing the status to `reportPath`.
EXIT_PLUGIN_API void exitPluginDisconnectAtUnload(void* handle, const char* reportPath) {
    disconnectAtUnload.handle = handle;
    disconnectAtUnload.reportPath = reportPath;
}
