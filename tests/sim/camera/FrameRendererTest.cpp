// The images behind a camera's frames.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "camera/FrameRenderer.h"

namespace zeta::sim {
namespace {

FrameRenderer::Key keyOf(Illumination::Kind kind, int format = 1, int index = 0) {
    FrameRenderer::Key key;
    key.light.kind = kind;
    key.light.index = index;
    key.fullWidth = key.width = 40;
    key.fullHeight = key.height = 30;
    key.format = format;
    return key;
}

std::vector<std::uint8_t> rendered(const FrameRenderer::Key& key, int position = 0) {
    std::vector<std::uint8_t> image(FrameRenderer::imageBytes(key));
    FrameRenderer::render(key, position, image.data());
    return image;
}

TEST(FrameRenderer, CachesImagesByKey) {
    FrameRenderer renderer(0);
    const auto key = keyOf(Illumination::Kind::Stripe, 1, 2);
    const auto first = renderer.image(key);
    const auto second = renderer.image(key);
    EXPECT_EQ(first, second);
    EXPECT_EQ(renderer.renders(), 1U);
    renderer.image(keyOf(Illumination::Kind::Stripe, 1, 3));
    EXPECT_EQ(renderer.renders(), 2U);
    EXPECT_EQ(renderer.cachedImages(), 2U);
}

TEST(FrameRenderer, DropsTheLeastRecentlyUsedImage) {
    FrameRenderer renderer(0, 2);
    const auto a = keyOf(Illumination::Kind::Stripe, 1, 0);
    const auto b = keyOf(Illumination::Kind::Stripe, 1, 1);
    const auto c = keyOf(Illumination::Kind::Stripe, 1, 2);
    renderer.image(a);
    renderer.image(b);
    renderer.image(a);  // b is now the oldest
    renderer.image(c);
    EXPECT_EQ(renderer.cachedImages(), 2U);
    EXPECT_EQ(renderer.renders(), 3U);
    renderer.image(a);
    EXPECT_EQ(renderer.renders(), 3U);
    renderer.image(b);
    EXPECT_EQ(renderer.renders(), 4U);
}

TEST(FrameRenderer, KeepsToItsByteBudget) {
    const auto key = keyOf(Illumination::Kind::Flat);
    FrameRenderer renderer(0, 32, FrameRenderer::imageBytes(key) * 2);
    for (int k = 0; k < 5; ++k) renderer.image(keyOf(Illumination::Kind::Stripe, 1, k));
    EXPECT_EQ(renderer.cachedImages(), 2U);
}

TEST(FrameRenderer, ImagesHaveTheirFormatsSize) {
    for (auto [format, bytes] : {std::pair{1, 1}, {2, 2}, {16, 1}, {17, 3}, {18, 6}}) {
        auto key = keyOf(Illumination::Kind::Flat, format);
        key.sensors = 2;
        EXPECT_EQ(FrameRenderer::imageBytes(key), static_cast<std::size_t>(40 * 2 * 30 * bytes));
    }
}

TEST(FrameRenderer, SixteenBitFormatsAreTheEightBitValuesWidenedLittleEndian) {
    auto mono8 = keyOf(Illumination::Kind::Stripe, 1, 1);
    auto mono16 = keyOf(Illumination::Kind::Stripe, 2, 1);
    auto rgb8 = keyOf(Illumination::Kind::Stripe, 17, 1);
    auto rgb16 = keyOf(Illumination::Kind::Stripe, 18, 1);
    const auto narrow = rendered(mono8), wide = rendered(mono16);
    const auto narrowRgb = rendered(rgb8), wideRgb = rendered(rgb16);
    for (std::size_t i = 0; i < narrow.size(); ++i) {
        const int value = wide[2 * i] | (wide[2 * i + 1] << 8);
        ASSERT_NEAR(value / 257.0, narrow[i], 0.51) << i;
    }
    for (std::size_t i = 0; i < narrowRgb.size(); ++i) {
        const int value = wideRgb[2 * i] | (wideRgb[2 * i + 1] << 8);
        ASSERT_NEAR(value / 257.0, narrowRgb[i], 0.51) << i;
    }
}

TEST(FrameRenderer, BayerSamplesTheColourImage) {
    auto key = keyOf(Illumination::Kind::Checkerboard, 17);
    key.light.r = 200;
    key.light.g = 120;
    key.light.b = 60;
    const auto rgb = rendered(key);
    key.format = 16;
    const auto raw = rendered(key);
    for (int y = 0; y < 30; ++y) {
        for (int x = 0; x < 40; ++x) {
            const int channel = (y % 2 == 0) ? (x % 2 == 0 ? 0 : 1) : (x % 2 == 0 ? 1 : 2);
            ASSERT_EQ(raw[y * 40 + x], rgb[(y * 40 + x) * 3 + channel]) << x << "," << y;
        }
    }
}

TEST(FrameRenderer, ARegionIsTheTopLeftOfTheFullImage) {
    auto full = keyOf(Illumination::Kind::DotGrid);
    auto region = full;
    region.width = 20;
    region.height = 10;
    const auto whole = rendered(full);
    const auto part = rendered(region);
    for (int y = 0; y < 10; ++y) {
        for (int x = 0; x < 20; ++x) ASSERT_EQ(part[y * 20 + x], whole[y * 40 + x]);
    }
}

TEST(FrameRenderer, PositionShiftsTheScene) {
    auto key = keyOf(Illumination::Kind::Flat);
    key.light.r = key.light.g = key.light.b = 255;
    EXPECT_EQ(rendered(key, 1), rendered(key, 1));
    EXPECT_NE(rendered(key, 0), rendered(key, 1));
}

}  // namespace
}  // namespace zeta::sim
