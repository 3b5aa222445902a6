// KnownFindings: defects of the library the fuzzer has found and that are being fixed, which the
// programs steer around until the fix lands.
//
// A finding that nearly every input reaches (an argument value of a common call) would stop every
// run within seconds and hide everything behind it. Until it is fixed, the program replaces the
// arguments that reach it by harmless ones and says so in its trace; each entry names the defect
// and its reproducer (see README.md). Set ZETA_FUZZ_KNOWN_FINDINGS=1 to generate them again, e.g.
// to check a fix; once fixed, the entry and its avoidance are deleted and the finding becomes a
// regression test.
#pragma once

namespace zeta::fuzz {

class KnownFindings {
public:
    enum Finding {
        // SetCameraExposure with a NaN, infinite or out-of-range value in milliseconds: the
        // synchroniser converts it to integer microseconds and milliseconds unchecked (undefined
        // behaviour, src/sync/IShotSyncCameras.cpp, IShotSync::SetCameraExposureTime).
        kExposureOutOfRange,
        // ConnectDevice accepts more than sixteen runs of serials (camera threads), but the thread
        // number has four bits in the channel word: the threads past sixteen deliver their scan
        // frames under the numbers of the first ones, and every stripe scan waits its whole 20 s
        // and fails (src/sync/IShotSyncCameras.cpp OpenCameras, src/sync/StripeSync.cpp).
        kMoreThanSixteenCameraThreads,
        // SnapRGBImageFromSpecifyCamera on a raw colour camera with one sensor named twice in a
        // row (so opened as a two-sensor camera): the sub-image has one byte a pixel, but the
        // exported function's diagnostics read three (heap-buffer-overflow read,
        // src/api/zetaVoroSyncControl.cpp, SnapRGBImageFromSpecifyCamera and snapBytesPerPixel).
        kRgbSnapOfRawCameraNamedTwice,
        kCount
    };

    // True while the programs steer around `finding`.
    static bool avoided(Finding finding);
};

}  // namespace zeta::fuzz
