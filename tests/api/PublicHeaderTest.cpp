// The public header first and alone: it must compile on its own, with nothing included before.
#include "zetaVoroSync/zetaVoroSync.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>
#include <type_traits>

namespace {

using namespace zetaVoroSync;

TEST(PublicHeader, StatusValuesAreThoseOfTheInterface) {
    EXPECT_EQ(RET_OPERATE_FAILED, 0);
    EXPECT_EQ(RET_PROJECTOR_UNCONNECTED, 1);
    EXPECT_EQ(RET_CAMERA_UNCONNECTED, 2);
    EXPECT_EQ(RET_PARAMETER_ERROR, 3);
    EXPECT_EQ(RET_SYNC_TYPE_UNSUPPORTED, 4);
    EXPECT_EQ(RET_OPERATION_UNSUPPORTED, 5);
    EXPECT_EQ(RET_HANDLE_NULL, 6);
    EXPECT_EQ(RET_OPERATE_SUCCESS, 7);
    static_assert(sizeof(RETSTATUS) == 4);
    static_assert(sizeof(CONTROLROUTE) == 4 && sizeof(TRIGGERPOLARITY) == 4 &&
                  sizeof(TRIGGERMODE) == 4 && sizeof(PROJECTTYPES) == 4 &&
                  sizeof(DISTANCESTATUS) == 4 && sizeof(BINNING_MODE) == 4 &&
                  sizeof(TIMESTAMP_TYPE) == 4);
}

TEST(PublicHeader, EnumerationValues) {
    EXPECT_EQ(CONTROLROUTE_MONO, 0);
    EXPECT_EQ(CONTROLROUTE_COLOR, 1);
    EXPECT_EQ(CONTROLROUTE_BOTH, 2);
    EXPECT_EQ(TRIGGERPOLARITY_LOW, 0);
    EXPECT_EQ(TRIGGERPOLARITY_HIGH, 1);
    EXPECT_EQ(TRIGGERMODE_FREERUN, 0);
    EXPECT_EQ(TRIGGERMODE_TRIGGERED, 1);
    EXPECT_EQ(PROJECT_TEXTURE_WHITE, 0);
    EXPECT_EQ(PROJECT_NONE, 12);
    EXPECT_EQ(DISTANCE_OFF, 0);
    EXPECT_EQ(DISTANCE_FAR, 3);
    EXPECT_EQ(BINNING_NONE, 0);
    EXPECT_EQ(BINNING_4X4, 3);
    EXPECT_EQ(TIMESTAMP_TRIGGER, 0);
    EXPECT_EQ(TIMESTAMP_CAMERA, 1);
}

TEST(PublicHeader, ScanParametersAreEightIntegersInOrder) {
    static_assert(sizeof(SCANPARAMETERS) == 8 * sizeof(std::int32_t));
    EXPECT_EQ(offsetof(SCANPARAMETERS, scanFrameRate), 0u);
    EXPECT_EQ(offsetof(SCANPARAMETERS, scanSpacePercent), 4u);
    EXPECT_EQ(offsetof(SCANPARAMETERS, scanColorSegregationCount), 8u);
    EXPECT_EQ(offsetof(SCANPARAMETERS, scanColorDelayTime), 12u);
    EXPECT_EQ(offsetof(SCANPARAMETERS, bScanWithTexture), 16u);
    EXPECT_EQ(offsetof(SCANPARAMETERS, scanFrameCount), 20u);
    EXPECT_EQ(offsetof(SCANPARAMETERS, bScanWithMonoStrobeLight), 24u);
    EXPECT_EQ(offsetof(SCANPARAMETERS, speckleLaserParameter), 28u);
}

TEST(PublicHeader, ImageRecordFields) {
    _MY_IMAGE_ image{64, 48, 3, nullptr};
    EXPECT_EQ(image.width, 64);
    EXPECT_EQ(image.height, 48);
    EXPECT_EQ(image.channels, 3);
    EXPECT_EQ(offsetof(_MY_IMAGE_, width), 0u);
    EXPECT_EQ(offsetof(_MY_IMAGE_, height), 4u);
    EXPECT_EQ(offsetof(_MY_IMAGE_, channels), 8u);
}

// The callback signatures are part of the interface, the by-value user context of the progress
// callback included.
TEST(PublicHeader, CallbackSignatures) {
    static_assert(std::is_same_v<DisplayCallBack, void (*)(const void* const&, const int&,
                                                           const unsigned char* const&, const int&,
                                                           const int&, const int&)>);
    static_assert(std::is_same_v<DisplayCallBack2, void (*)(const void* const&, const int&,
                                                            const unsigned char* const&, const int&,
                                                            const int&, const int&, int)>);
    static_assert(std::is_same_v<ScanCallBack, DisplayCallBack>);
    static_assert(std::is_same_v<ScanCallBack2, DisplayCallBack2>);
    static_assert(
        std::is_same_v<ScanFullCallBack, void (*)(const void* const&, std::vector<_MY_IMAGE_*>&)>);
    static_assert(
        std::is_same_v<TextureScanFullCallBack,
                       void (*)(const void* const&, std::vector<_MY_IMAGE_*>&, const bool&)>);
    static_assert(std::is_same_v<StatusCallBack, void (*)(const void* const&, const unsigned long&,
                                                          const unsigned long&,
                                                          const unsigned long&, const bool&)>);
    static_assert(std::is_same_v<UpdateProgressCallBack, void (*)(const void*, int)>);
    SUCCEED();
}

std::string descriptionOf(std::int32_t status) {
    char placeholder = 'x';
    char* text = &placeholder;  // any non-null pointer asks for a text; it is not freed
    GetStatusDescriptionString(static_cast<RETSTATUS>(status), text);
    EXPECT_NE(text, &placeholder);
    if (text == &placeholder || text == nullptr) return "<none>";
    std::string result(text);
    std::free(text);
    return result;
}

TEST(PublicHeader, StatusDescriptionTexts) {
    EXPECT_EQ(descriptionOf(0), "Operate failed");
    EXPECT_EQ(descriptionOf(1), "Connect projector failed or projector is not connected");
    EXPECT_EQ(descriptionOf(2), "Connect camera(s) failed or camera(s) is(are) not connected");
    EXPECT_EQ(descriptionOf(3),
              "Parameter which you input, for example, NULL pointer, error size of array or "
              "error value");
    EXPECT_EQ(descriptionOf(4), "The synchronism type which you input is not supported");
    EXPECT_EQ(descriptionOf(5),
              "The operation is not be supported by the current device or operation not be "
              "support in current function");
    EXPECT_EQ(descriptionOf(6),
              "You have not connected the device, so please connect device first");
    EXPECT_EQ(descriptionOf(7), "Operate success");
}

TEST(PublicHeader, StatusDescriptionOfAnUnknownStatusIsAnAllocatedEmptyString) {
    EXPECT_EQ(descriptionOf(8), "");
    EXPECT_EQ(descriptionOf(-1), "");
    EXPECT_EQ(descriptionOf(1000), "");
}

TEST(PublicHeader, StatusDescriptionWithANullTargetLeavesItNull) {
    char* text = nullptr;
    GetStatusDescriptionString(RET_OPERATE_SUCCESS, text);
    EXPECT_EQ(text, nullptr);
}

TEST(PublicHeader, StatusDescriptionReplacesTheCallersPointerWithoutTouchingIt) {
    // The old buffer is neither read nor freed: a heap buffer passed in stays the caller's.
    char* old = static_cast<char*>(std::malloc(4));
    std::memcpy(old, "abc", 4);
    char* text = old;
    GetStatusDescriptionString(RET_OPERATE_FAILED, text);
    ASSERT_NE(text, nullptr);
    EXPECT_NE(text, old);
    EXPECT_STREQ(text, "Operate failed");
    EXPECT_STREQ(old, "abc");
    std::free(text);
    std::free(old);
}

}  // namespace
