// ApiProgram: scan parameters, scans, scan groups, still capture and the firmware image update.
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "ApiProgram.h"
#include "CallText.h"
#include "CallbackProbe.h"
#include "EdgeValues.h"

namespace zeta::fuzz {

using namespace zetaVoroSync;

namespace {

using Clock = std::chrono::steady_clock;

// The scan period the program sets to keep a stripe scan short (ms per pattern; Scan first sleeps
// four of them), and the longest one it lets a scan run with.
constexpr int kShortScanMs = 2;
constexpr int kLongestScanMs = 5;
// The longest mono trigger period or pulse width the program lets a colour snap sleep.
constexpr int kLongestSettleMs = 20;
// A scan slower than this is reported on standard error: the program's bounds missed a case.
constexpr auto kSlowScan = std::chrono::seconds(3);

std::string statusOf(RETSTATUS status) {
    return CallText::of(static_cast<int>(status));
}

// Entries the program puts into output lists that must be empty on entry.
unsigned char g_imagePlaceholder[8] = {};

std::string placeholders(std::size_t count) {
    return count == 0 ? "empty lists" : "lists holding " + std::to_string(count);
}

void reportSlowScan(const std::string& call, Clock::duration took) {
    if (took < kSlowScan) return;
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(took).count();
    std::fprintf(stderr, "zeta fuzz: %s took %lld ms\n", call.c_str(), static_cast<long long>(ms));
}

}  // namespace

void ApiProgram::scanParameter(ByteReader& in) {
    const std::size_t operand = handleOperand(in);
    void* const& handle = handleRef(operand);
    SCANPARAMETERS parameters{};
    parameters.scanFrameRate = EdgeValues::smallInt(in);
    parameters.scanSpacePercent = EdgeValues::anyInt(in);
    parameters.scanColorSegregationCount = EdgeValues::smallInt(in);
    parameters.scanColorDelayTime = EdgeValues::anyInt(in);
    parameters.bScanWithTexture = EdgeValues::smallInt(in);
    parameters.scanFrameCount = EdgeValues::anyInt(in);
    parameters.bScanWithMonoStrobeLight = EdgeValues::smallInt(in);
    parameters.speckleLaserParameter = EdgeValues::anyInt(in);
    const std::string call =
        "SetScanParameter(" + handleName(operand) + ", {" + CallText::of(parameters.scanFrameRate) +
        ", " + CallText::of(parameters.scanSpacePercent) + ", " +
        CallText::of(parameters.scanColorSegregationCount) + ", " +
        CallText::of(parameters.scanColorDelayTime) + ", " +
        CallText::of(parameters.bScanWithTexture) + ", " + CallText::of(parameters.scanFrameCount) +
        ", " + CallText::of(parameters.bScanWithMonoStrobeLight) + ", " +
        CallText::of(parameters.speckleLaserParameter) + "})";
    const RETSTATUS status = invoke(call, [&] { return SetScanParameter(handle, parameters); });
    expectRefused(handle, status, call);
    if (isLive(handle) && status == RET_OPERATE_SUCCESS) live_.scanRate = parameters.scanFrameRate;
}

bool ApiProgram::boundScan(void* const& handle) {
    // Cameras that cannot deliver (closed, faulty, or listening to another route) would make the
    // scan wait 20 s for them: a period of 0 makes the board refuse the scan, and Scan returns at
    // once having done everything else.
    const bool stalls = live_.camerasClosed || live_.scanMayStall || cameraFaults_;
    if (stalls ? live_.scanRate == 0 : live_.scanRate >= 0 && live_.scanRate <= kLongestScanMs) {
        return true;
    }
    SCANPARAMETERS parameters{};
    parameters.scanFrameRate = stalls ? 0 : kShortScanMs;
    parameters.scanFrameCount = 15;
    const std::string call = "SetScanParameter(the live handle, {" +
                             CallText::of(parameters.scanFrameRate) +
                             ", 0, 0, 0, 0, 15, 0, 0}) to keep the scan short";
    const RETSTATUS status = invoke(call, [&] { return SetScanParameter(handle, parameters); });
    if (status == RET_OPERATE_SUCCESS) {
        live_.scanRate = parameters.scanFrameRate;
        return true;
    }
    // Without a board Scan fails before it waits for anything.
    return status == RET_PROJECTOR_UNCONNECTED;
}

bool ApiProgram::boundTiming(void* const& handle) {
    if (!live_.timingDirty) return true;
    // Width first, then period, twice: each setter keeps the pulse shorter than the period, so
    // from any pair the second round ends at (1, 10).
    const CONTROLROUTE both = CONTROLROUTE_BOTH;
    for (int round = 0; round < 2; ++round) {
        invoke("SetTriggerPulseWidth(the live handle, 2, 1) to keep the snap short",
               [&] { return SetTriggerPulseWidth(handle, both, 1); });
        invoke("SetVideoTriggerPeriod(the live handle, 2, 10) to keep the snap short",
               [&] { return SetVideoTriggerPeriod(handle, both, 10); });
    }
    const CONTROLROUTE mono = CONTROLROUTE_MONO;
    int period = -1;
    int width = -1;
    const bool read = invoke("GetVideoTriggerPeriod(the live handle, 0)",
                             [&] { return GetVideoTriggerPeriod(handle, mono, period); }) ==
                          RET_OPERATE_SUCCESS &&
                      invoke("GetTriggerPulseWidth(the live handle, 0)", [&] {
                          return GetTriggerPulseWidth(handle, mono, width);
                      }) == RET_OPERATE_SUCCESS;
    if (!read || period < 0 || period > kLongestSettleMs || width < 0 || width > kLongestSettleMs) {
        return false;
    }
    live_.timingDirty = false;
    return true;
}

void ApiProgram::scan(ByteReader& in) {
    const std::size_t operand = handleOperand(in);
    void* const& handle = handleRef(operand);
    const bool start = in.flag();
    const bool withCount = in.byte() >= 192;
    const int count = withCount ? EdgeValues::anyInt(in) : 0;
    const std::string call = "Scan(" + handleName(operand) + ", " + CallText::of(start) +
                             (withCount ? ", " + CallText::of(count) : std::string()) + ")";
    // The stripe mode runs a whole scan in Scan(handle, start); the overload with a count does
    // nothing in it.
    if (isLive(handle) && !withCount) {
        if (scans_ >= kMaxScans) {
            skip(call, "the program's scans are used up");
            return;
        }
        if (!boundScan(handle)) {
            skip(call, "the scan could not be made short");
            return;
        }
        ++scans_;
    }
    const Clock::time_point begin = Clock::now();
    const RETSTATUS status =
        invoke(call, [&] { return withCount ? Scan(handle, start, count) : Scan(handle, start); });
    reportSlowScan(call, Clock::now() - begin);
    expectRefused(handle, status, call);
}

void ApiProgram::scanImages(ByteReader& in) {
    const std::size_t operand = handleOperand(in);
    void* const& handle = handleRef(operand);
    // The lists must be empty on entry; a placeholder in one of them tries the other case.
    const std::size_t kept = in.choose(4) == 0 ? 1 : 0;
    const std::size_t which = in.choose(4);
    std::vector<unsigned char*> images;
    std::vector<int> widths;
    std::vector<int> heights;
    std::vector<int> channels;
    if (kept > 0) {
        if (which == 0) images.push_back(g_imagePlaceholder);
        if (which == 1) widths.push_back(-7);
        if (which == 2) heights.push_back(-7);
        if (which == 3) channels.push_back(-7);
    }
    const std::string call =
        "GetScanImages(" + handleName(operand) + ", " + placeholders(kept) + ")";
    const RETSTATUS status =
        invoke(call, [&] { return GetScanImages(handle, images, widths, heights, channels); });
    expectRefused(handle, status, call);
    if (kept > 0) {
        if (isLive(handle)) {
            report_.expect(status == RET_PARAMETER_ERROR,
                           call + " with a list that is not empty returned " + statusOf(status));
        }
        report_.expect(images.size() + widths.size() + heights.size() + channels.size() == 1,
                       call + " changed lists it refused");
        return;
    }
    report_.expect(images.size() == widths.size() && widths.size() == heights.size() &&
                       heights.size() == channels.size(),
                   call + " gave lists of unequal sizes");
    // The images stay the library's (valid until the next scan): read, never freed.
    for (std::size_t i = 0;
         i < images.size() && i < widths.size() && i < heights.size() && i < channels.size(); ++i) {
        if (images[i] == nullptr || widths[i] <= 0 || heights[i] <= 0 || channels[i] <= 0) {
            report_.violation(call + " gave image " + std::to_string(i) + " of " +
                              std::to_string(widths[i]) + "x" + std::to_string(heights[i]) + "x" +
                              std::to_string(channels[i]));
            continue;
        }
        CallbackProbe::touch(images[i], static_cast<std::size_t>(widths[i]) *
                                            static_cast<std::size_t>(heights[i]) *
                                            static_cast<std::size_t>(channels[i]));
    }
}

void ApiProgram::snapSingle(ByteReader& in) {
    const std::size_t operand = handleOperand(in);
    void* const& handle = handleRef(operand);
    const int index = EdgeValues::cameraIndex(in);
    const bool placeholder = in.byte() >= 224;
    const std::string call = "SnapSingleImageFromSpecifyCamera(" + handleName(operand) + ", " +
                             CallText::of(index) + (placeholder ? ", a placeholder)" : ")");
    if (isLive(handle)) {
        if (snaps_ >= kMaxSnaps) {
            skip(call, "the program's snaps are used up");
            return;
        }
        ++snaps_;
    }
    unsigned char* image = placeholder ? g_imagePlaceholder : nullptr;
    int width = -7;
    int height = -7;
    int channels = -7;
    const RETSTATUS status = invoke(call, [&] {
        return SnapSingleImageFromSpecifyCamera(handle, index, image, width, height, channels);
    });
    expectCameraIndex(handle, index, status, call);
    if (placeholder) {
        report_.expect(image == g_imagePlaceholder, call + " replaced the caller's pointer");
        if (isLive(handle)) {
            report_.expect(status == RET_PARAMETER_ERROR,
                           call + " with a pointer that is not null returned " + statusOf(status));
        }
        if (image == g_imagePlaceholder) return;
    }
    if (status == RET_OPERATE_SUCCESS) {
        report_.expect(image != nullptr && width > 0 && height > 0,
                       call + " succeeded with an image of " + std::to_string(width) + "x" +
                           std::to_string(height));
        if (image != nullptr && width > 0 && height > 0) {
            CallbackProbe::touch(
                image, static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
        }
    }
    std::free(image);  // malloc'd by the library, the caller's to free
}

void ApiProgram::snapRgb(ByteReader& in) {
    const std::size_t operand = handleOperand(in);
    void* const& handle = handleRef(operand);
    const int index = EdgeValues::cameraIndex(in);
    const bool placeholder = in.byte() >= 224;
    const std::string call = "SnapRGBImageFromSpecifyCamera(" + handleName(operand) + ", " +
                             CallText::of(index) + (placeholder ? ", a placeholder)" : ")");
    if (isLive(handle)) {
        if (snaps_ >= kMaxSnaps) {
            skip(call, "the program's snaps are used up");
            return;
        }
        if (!boundTiming(handle)) {
            skip(call, "the trigger period could not be made short");
            return;
        }
        ++snaps_;
    }
    unsigned char* image = placeholder ? g_imagePlaceholder : nullptr;
    int width = -7;
    int height = -7;
    const RETSTATUS status = invoke(
        call, [&] { return SnapRGBImageFromSpecifyCamera(handle, index, image, width, height); });
    expectCameraIndex(handle, index, status, call);
    if (placeholder) {
        report_.expect(image == g_imagePlaceholder, call + " replaced the caller's pointer");
        if (isLive(handle)) {
            report_.expect(status == RET_PARAMETER_ERROR,
                           call + " with a pointer that is not null returned " + statusOf(status));
        }
        if (image == g_imagePlaceholder) return;
    }
    if (status == RET_OPERATE_SUCCESS) {
        report_.expect(image != nullptr && width > 0 && height > 0,
                       call + " succeeded with an image of " + std::to_string(width) + "x" +
                           std::to_string(height));
        if (image != nullptr && width > 0 && height > 0) {
            CallbackProbe::touch(
                image, static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
        }
    }
    std::free(image);
}

void ApiProgram::reclaimImages(std::vector<unsigned char*>& images, const std::vector<int>& widths,
                               const std::vector<int>& heights, std::size_t kept,
                               const std::string& call) {
    for (std::size_t i = 0; i < images.size(); ++i) {
        if (i < kept) {
            report_.expect(images[i] == g_imagePlaceholder, call + " changed a caller's entry");
            continue;
        }
        if (images[i] == nullptr) continue;
        if (i < widths.size() && i < heights.size() && widths[i] > 0 && heights[i] > 0) {
            CallbackProbe::touch(images[i], static_cast<std::size_t>(widths[i]) *
                                                static_cast<std::size_t>(heights[i]));
        }
        std::free(images[i]);  // malloc'd by the library, the caller's to free
    }
    report_.expect(images.size() >= kept, call + " removed the caller's entries");
}

void ApiProgram::snapGroup(ByteReader& in) {
    const std::size_t operand = handleOperand(in);
    void* const& handle = handleRef(operand);
    const auto type = static_cast<PROJECTTYPES>(EdgeValues::enumValue(in, 13));
    const std::size_t kept = in.choose(4) == 0 ? 1 + in.choose(2) : 0;
    const std::string call = "SnapSingleGroupImages(" + handleName(operand) + ", " +
                             CallText::of(static_cast<int>(type)) + ", " + placeholders(kept) + ")";
    if (isLive(handle)) {
        if (snaps_ >= kMaxSnaps) {
            skip(call, "the program's snaps are used up");
            return;
        }
        ++snaps_;
    }
    std::vector<unsigned char*> images(kept, g_imagePlaceholder);
    std::vector<int> widths(kept, -7);
    std::vector<int> heights(kept, -7);
    std::vector<int> channels(kept, -7);
    const RETSTATUS status = invoke(call, [&] {
        return SnapSingleGroupImages(handle, type, images, widths, heights, channels);
    });
    expectRefused(handle, status, call);
    if (isLive(handle)) {
        if (type < 0 || type > 12) {
            report_.expect(status == RET_OPERATE_FAILED,
                           call + " with a pattern it cannot project returned " + statusOf(status));
        } else if (kept > 0) {
            report_.expect(status == RET_PARAMETER_ERROR || status == RET_OPERATE_FAILED,
                           call + " into lists that are not empty returned " + statusOf(status));
        }
    }
    reclaimImages(images, widths, heights, kept, call);
}

void ApiProgram::snapGroupRgb(ByteReader& in) {
    const std::size_t operand = handleOperand(in);
    void* const& handle = handleRef(operand);
    const std::size_t kept = in.choose(4) == 0 ? 1 + in.choose(2) : 0;
    const std::string call =
        "SnapSingleGroupRGBImages(" + handleName(operand) + ", " + placeholders(kept) + ")";
    if (isLive(handle)) {
        if (snaps_ >= kMaxSnaps) {
            skip(call, "the program's snaps are used up");
            return;
        }
        ++snaps_;
    }
    std::vector<unsigned char*> images(kept, g_imagePlaceholder);
    std::vector<int> widths(kept, -7);
    std::vector<int> heights(kept, -7);
    const RETSTATUS status =
        invoke(call, [&] { return SnapSingleGroupRGBImages(handle, images, widths, heights); });
    expectRefused(handle, status, call);
    if (isLive(handle) && kept > 0) {
        report_.expect(status == RET_PARAMETER_ERROR,
                       call + " into lists that are not empty returned " + statusOf(status));
    }
    reclaimImages(images, widths, heights, kept, call);
}

void ApiProgram::firmwareUpdate(ByteReader& in) {
    const std::size_t operand = handleOperand(in);
    void* const& handle = handleRef(operand);
    // The file: none, missing, a firmware file, a splash file (the name decides), a name that
    // only nearly says splash, a name outside ASCII, a folder.
    struct PathChoice {
        const char* shown;
        std::u8string file;  // created with the input's bytes; empty: nothing is created
        std::wstring wide;
        bool exists;
    };
    const std::vector<PathChoice> choices = {
        {"null", u8"", L"", false},
        {"\"missing.bin\"", u8"", L"missing.bin", false},
        {"\"fw.bin\"", u8"fw.bin", L"fw.bin", true},
        {"\"fw.SPLASH\"", u8"fw.SPLASH", L"fw.SPLASH", true},
        {"\"fw.splash\"", u8"fw.splash", L"fw.splash", true},
        {"\"fw-\\u00e9\\u2603.bin\"", u8"fw-\u00e9\u2603.bin",
         std::wstring{L'f', L'w', L'-', wchar_t(0xE9), wchar_t(0x2603), L'.', L'b', L'i', L'n'},
         true},
        {"\".\" (a folder)", u8"", L".", true},
    };
    const PathChoice& choice = choices[in.choose(choices.size())];
    const std::string content = in.bytes(48);
    const std::uint8_t typePick = in.byte();
    const int kTypes[] = {0, -1, INT_MAX, INT_MIN, 3};
    const int imageType = typePick < 192 ? 1 + typePick % 2 : kTypes[typePick % 5];
    const std::size_t progressPick = in.choose(3);
    const auto progress = progressPick == 2 ? nullptr : &CallbackProbe::progress;
    void* context = progressPick == 0 ? static_cast<void*>(&CallbackProbe::instance()) : nullptr;
    const bool nullPath = choice.wide.empty();
    const std::string call = "UpdateFirewareImageData(" + handleName(operand) + ", " +
                             choice.shown + " of " + std::to_string(content.size()) + " bytes, " +
                             CallText::of(imageType) + ", " +
                             (progress != nullptr ? "progress" : "null") + ")";
    // Past its checks, a transfer through a live handle holds the board for 5 s.
    if (isLive(handle) && !nullPath && choice.exists && imageType > 0) {
        if (transfers_ >= kMaxTransfers) {
            skip(call, "the program's firmware transfer is used up");
            return;
        }
        ++transfers_;
    }
    if (!choice.file.empty()) {
        std::ofstream file(std::filesystem::path(choice.file), std::ios::binary | std::ios::trunc);
        file.write(content.data(), static_cast<std::streamsize>(content.size()));
    }
    const RETSTATUS status = invoke(call, [&] {
        return UpdateFirewareImageData(handle, nullPath ? nullptr : choice.wide.c_str(), imageType,
                                       progress, context);
    });
    if (handle == nullptr || nullPath || imageType <= 0) {
        report_.expect(status == RET_PARAMETER_ERROR, call + " returned " + statusOf(status));
        return;
    }
    expectRefused(handle, status, call);
    if (isLive(handle) && !choice.exists) {
        report_.expect(status == RET_OPERATE_FAILED,
                       call + " of a file that does not exist returned " + statusOf(status));
    }
}

void ApiProgram::wait(ByteReader& in) {
    const int ms = static_cast<int>(in.choose(41));
    report_.call("wait " + std::to_string(ms) + " ms");
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

}  // namespace zeta::fuzz
