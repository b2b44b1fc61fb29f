// Off-screen drawing devices: decoded pictures, and pixels of the caller's.
#pragma once

#include <cstdint>

#include "mwin/pixman_image.h"
#include "mwin/region.h"
#include "mwin/windows.h"

namespace mwin {

// The largest side of a pixmap; pixman's 16.16 source coordinates end at 32767.
constexpr int kMaxPixmapSide = 16384;

// Whether `device` can be drawn from: a pixmap that was not freed, or the screen. UI thread.
bool IsDrawableDevice(PSD device);

// Draws the whole device, stretched to `destination` (in pixels of `target`), inside `clip` only. Stretching up is
// bilinear; shrinking averages over the covered pixels. UI thread.
void DrawDevice(pixman_image_t* target, const Region& clip, const RECT& destination, const MwScreenDevice& device);

}  // namespace mwin
