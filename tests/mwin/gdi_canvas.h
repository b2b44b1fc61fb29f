// A small surface to draw on, read back as text.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "mwin/device_context.h"
#include "tests/mwin/common.h"

namespace mwin_test {

// Every channel within the tolerance.
inline void ExpectNear(std::uint32_t pixel, std::uint32_t expected, int tolerance) {
    for (int shift = 0; shift < 32; shift += 8)
        EXPECT_NEAR(pixel >> shift & 255, expected >> shift & 255, tolerance);
}

struct GdiCanvas {
    static constexpr std::uint32_t kBackground = 0xFF010101;

    GdiCanvas(int width, int height) : surface(width, height), dc(std::make_unique<MwDc>()) {
        dc->surface = &surface;
        dc->clip = mwin::Region(RECT{0, 0, width, height});
        Clear();
    }
    void Clear() {
        std::fill_n(surface.Pixels(), surface.Width() * surface.Height(), kBackground);
        surface.ClearDamage();
    }
    std::uint32_t At(int x, int y) const { return surface.Pixels()[y * surface.Pitch() / 4 + x]; }
    // Each row with one character per pixel ('.' background, R, G, B, white, K for black, '?' any other) up to its last
    // one that is drawn, and a slash between rows.
    std::string Drawn() const {
        const std::string names = ".RGBWK?";
        const std::uint32_t pixels[] = {kBackground, kRedPixel, kGreenPixel, kBluePixel, kWhitePixel, kBlackPixel};
        std::string text;
        for (int y = 0; y < surface.Height(); ++y) {
            for (int x = 0; x < surface.Width(); ++x) {
                const auto* known = std::find(std::begin(pixels), std::end(pixels), At(x, y));
                text += names[static_cast<std::size_t>(known - pixels)];
            }
            text.erase(text.find_last_not_of('.') + 1);
            text += '/';
        }
        text.erase(text.find_last_not_of('/') + 1);
        return text;
    }
    // Of the pixels that are not background; empty when there are none.
    RECT Ink() const {
        RECT ink{surface.Width(), surface.Height(), 0, 0};
        for (int y = 0; y < surface.Height(); ++y) {
            for (int x = 0; x < surface.Width(); ++x) {
                if (At(x, y) == kBackground) continue;
                ink = {std::min(ink.left, x), std::min(ink.top, y), std::max(ink.right, x + 1),
                       std::max(ink.bottom, y + 1)};
            }
        }
        return ink.right == 0 ? RECT{} : ink;
    }

    mwin::Surface surface;
    std::unique_ptr<MwDc> dc;
};

}  // namespace mwin_test
