// Brushes, pens and fonts behind their handles.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "mwin/device_context.h"
#include "mwin/font.h"

// UI thread.
struct MwGdiObject {
    enum class Kind { Brush, Pen, Font };
    Kind kind = Kind::Brush;
    bool is_stock = false;
    bool is_null = false;  // a brush or pen that draws nothing
    COLORREF color = 0;
    int width = 1;                 // of a pen, pixels
    std::uint32_t handed_out = 1;  // equal brushes share one object
    std::unique_ptr<mwin::Font> font;
};

namespace mwin {

// Null for a stale handle, one of another kind, or none.
const MwGdiObject* FindObject(HGDIOBJ handle, MwGdiObject::Kind kind);
// Pens and fonts that are not deleted yet. Brushes are left out: equal ones are one object, so that they are never
// many.
std::size_t LivePensAndFonts();

// What is selected into a device, or the device's default when that is nothing or was deleted.
const MwGdiObject& SelectedBrush(const MwDc& dc);
const MwGdiObject& SelectedPen(const MwDc& dc);
Font& SelectedFont(const MwDc& dc);

}  // namespace mwin
