// What a window's drawing handle is made of: the meeting point of windows (who may draw where) and graphics (how).
#pragma once

#include "mwin/region.h"
#include "mwin/surface.h"
#include "mwin/windows.h"

// UI thread.
struct MwDc {
    mwin::Surface* surface = nullptr;  // not owned
    POINT origin{};                    // of the client area, in surface pixels
    mwin::Region clip;                 // in surface pixels
    HWND window = nullptr;             // null for an off-screen device
    COLORREF text_color = 0xFF000000;
    COLORREF text_rim = 0;  // no rim
    COLORREF background_color = 0xFFFFFFFF;
    int background_mode = OPAQUE;
    HFONT font = nullptr;
    HBRUSH brush = nullptr;
    HPEN pen = nullptr;
    POINT position{};  // MoveToEx / LineTo
};
