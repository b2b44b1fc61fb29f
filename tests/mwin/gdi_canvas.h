// A small surface to draw on, read back as text.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mwin/device_context.h"

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
    // One character per pixel: '.' background, R, G, B, W (white), K (black), '?' any other.
    std::vector<std::string> Rows() const {
        std::vector<std::string> rows;
        for (int y = 0; y < surface.Height(); ++y) {
            std::string row;
            for (int x = 0; x < surface.Width(); ++x) {
                switch (At(x, y)) {
                    case kBackground:
                        row += '.';
                        break;
                    case 0xFFFF0000:
                        row += 'R';
                        break;
                    case 0xFF00FF00:
                        row += 'G';
                        break;
                    case 0xFF0000FF:
                        row += 'B';
                        break;
                    case 0xFFFFFFFF:
                        row += 'W';
                        break;
                    case 0xFF000000:
                        row += 'K';
                        break;
                    default:
                        row += '?';
                }
            }
            rows.push_back(row);
        }
        return rows;
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
    // Total brightness above the background.
    long Brightness() const {
        long sum = 0;
        for (int i = 0; i < surface.Width() * surface.Height(); ++i)
            sum += static_cast<int>(surface.Pixels()[i] & 0xFF) - 1;
        return sum;
    }

    mwin::Surface surface;
    std::unique_ptr<MwDc> dc;
};
