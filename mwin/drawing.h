// What every drawing function stands on: colours, clipping and solid fills.
#pragma once

#include <algorithm>
#include <cstdint>

#include "mwin/device_context.h"

namespace mwin {

// 0xAABBGGRR to an opaque 0xAARRGGBB.
constexpr std::uint32_t ToPixel(COLORREF color) {
    return 0xFF000000U | (color & 0xFFU) << 16U | (color & 0xFF00U) | (color >> 16U & 0xFFU);
}
inline pixman_color_t ToPixmanColor(COLORREF color) {
    const auto channel = [color](unsigned shift) {
        return static_cast<std::uint16_t>((color >> shift & 0xFFU) * 0x101U);
    };
    return {channel(0), channel(8), channel(16), 0xFFFF};
}

inline bool IsDrawable(HDC dc) {
    return dc != nullptr && dc->surface != nullptr;
}

// Coordinates of a drawing call, in surface pixels. What lies absurdly far away is moved nearer, so that sums with
// coordinates never overflow.
constexpr LONG ToSurface(LONG origin, std::int64_t position) {
    constexpr std::int64_t kFar = 1 << 24;
    return static_cast<LONG>(std::clamp(origin + position, -kFar, kFar));
}
inline RECT ToSurface(const MwDc& dc, std::int64_t left, std::int64_t top, std::int64_t right, std::int64_t bottom) {
    return {ToSurface(dc.origin.x, left), ToSurface(dc.origin.y, top), ToSurface(dc.origin.x, right),
            ToSurface(dc.origin.y, bottom)};
}

// What of a rectangle (in surface pixels) may be drawn on.
Region ClipTo(const MwDc& dc, const RECT& rect);

// Fills a region that lies inside the clip.
void FillRegion(const MwDc& dc, const Region& region, COLORREF color);

}  // namespace mwin
