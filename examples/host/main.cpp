// A host of the library: one stripe scan with the scanner's cameras of type "ZV".
#include <zetaVoroSync/zetaVoroSync.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

using namespace zetaVoroSync;

// Any status but success: print the library's text for it and stop.
static void check(RETSTATUS status, const char* operation) {
    if (status == RET_OPERATE_SUCCESS) return;  // success is 7, not 0
    char placeholder = 0;
    char* text = &placeholder;  // the library replaces a non-null pointer with its text
    GetStatusDescriptionString(status, text);
    std::fprintf(stderr, "%s failed: %s\n", operation, text);
    std::free(text);  // malloc'd by the library
    std::exit(1);     // the library closes what is still open when the process ends
}

int main() {
    std::vector<char*> serials;  // malloc'd by the library, freed by the host
    std::vector<int> widths, heights;
    std::vector<bool> colour;
    int count = 0;
    check(GetCamerasInformation("ZV", serials, widths, heights, colour, count),
          "GetCamerasInformation");
    void* handle = nullptr;
    check(ConnectDevice("STRIPE", "sim:board0", serials, widths, heights, handle), "ConnectDevice");
    for (char* serial : serials) std::free(serial);

    for (int i = 0; i < count; ++i)  // the stripe patterns trigger the mono cameras
        if (!colour[i])
            check(SetCameraTriggerMode(handle, i, TRIGGERMODE_TRIGGERED), "SetCameraTriggerMode");
    SCANPARAMETERS parameters{};
    parameters.scanFrameRate = 10;  // ms per stripe pattern
    parameters.scanFrameCount = 15;
    check(SetScanParameter(handle, parameters), "SetScanParameter");
    check(Scan(handle, true), "Scan");  // one whole scan: returns when the group is complete

    std::vector<unsigned char*> images;  // owned by the library, valid until the next Scan
    std::vector<int> w, h, channels;
    check(GetScanImages(handle, images, w, h, channels), "GetScanImages");
    if (!images.empty()) std::printf("%zu images of %d x %d\n", images.size(), w[0], h[0]);
    check(DisConnectDevice(handle), "DisConnectDevice");
}
