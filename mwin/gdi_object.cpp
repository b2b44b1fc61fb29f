#include "mwin/gdi_object.h"

#include <algorithm>
#include <array>
#include <string>
#include <unordered_map>

namespace {

using Kind = MwGdiObject::Kind;

constexpr int kSystemFontHeight = 16;
constexpr int kMaxPenWidth = 64;

class ObjectTable {
  public:
    ObjectTable() {
        const auto add = [this](int index, Kind kind, COLORREF color, bool is_null) {
            MwGdiObject& object = stock_.at(static_cast<std::size_t>(index));
            object.kind = kind;
            object.is_stock = true;
            object.is_null = is_null;
            object.color = color;
        };
        add(WHITE_BRUSH, Kind::Brush, RGB(255, 255, 255), false);
        add(LTGRAY_BRUSH, Kind::Brush, RGB(192, 192, 192), false);
        add(GRAY_BRUSH, Kind::Brush, RGB(128, 128, 128), false);
        add(DKGRAY_BRUSH, Kind::Brush, RGB(64, 64, 64), false);
        add(BLACK_BRUSH, Kind::Brush, RGB(0, 0, 0), false);
        add(NULL_BRUSH, Kind::Brush, 0, true);
        add(WINDOW_ERASES_BRUSH, Kind::Brush, 0, true);
        add(WHITE_PEN, Kind::Pen, RGB(255, 255, 255), false);
        add(BLACK_PEN, Kind::Pen, RGB(0, 0, 0), false);
        add(NULL_PEN, Kind::Pen, 0, true);
        add(SYSTEM_FONT, Kind::Font, 0, false);
    }

    HGDIOBJ Stock(int index) {
        if (index < 0 || index > SYSTEM_FONT || (index > WINDOW_ERASES_BRUSH && index < SYSTEM_FONT)) return nullptr;
        MwGdiObject& object = stock_.at(static_cast<std::size_t>(index));
        // The font is made when it is first asked for: a program that brings its own never loads it.
        if (index == SYSTEM_FONT && !object.font) {
            object.font = std::make_unique<mwin::Font>("Arial.ttf", kSystemFontHeight, FW_NORMAL);
        }
        return &object;
    }

    HGDIOBJ Find(HGDIOBJ handle) {
        const bool known = objects_.count(handle) != 0 || (std::less_equal<>()(stock_.data(), handle) &&
                                                           std::less<>()(handle, stock_.data() + stock_.size()));
        return known ? handle : nullptr;
    }

    HGDIOBJ Add(std::unique_ptr<MwGdiObject> object) {
        HGDIOBJ handle = object.get();
        objects_.emplace(handle, std::move(object));
        return handle;
    }

    // Programs make a brush at every paint, and may forget to delete it: equal ones are one object.
    HBRUSH Brush(COLORREF color) {
        const auto found = brushes_.find(color);
        if (found != brushes_.end()) {
            ++found->second->handed_out;
            return found->second;
        }
        auto brush = std::make_unique<MwGdiObject>();
        brush->color = color;
        return brushes_[color] = Add(std::move(brush));
    }

    bool Delete(HGDIOBJ handle) {
        const auto found = objects_.find(handle);
        if (found == objects_.end()) return false;
        if (--handle->handed_out > 0) return true;
        if (handle->kind == Kind::Brush) brushes_.erase(handle->color);
        objects_.erase(found);
        return true;
    }

    std::size_t LivePensAndFonts() const { return objects_.size() - brushes_.size(); }

  private:
    std::array<MwGdiObject, SYSTEM_FONT + 1> stock_;
    std::unordered_map<HGDIOBJ, std::unique_ptr<MwGdiObject>> objects_;
    std::unordered_map<COLORREF, HBRUSH> brushes_;
};

// Never destroyed: static destructors of the program may still delete objects.
ObjectTable& Objects() {
    static auto& objects = *new ObjectTable;
    return objects;
}

}  // namespace

namespace mwin {

const MwGdiObject* FindObject(HGDIOBJ handle, Kind kind) {
    const MwGdiObject* object = Objects().Find(handle);
    return object != nullptr && object->kind == kind ? object : nullptr;
}

std::size_t LivePensAndFonts() {
    return Objects().LivePensAndFonts();
}

const MwGdiObject& SelectedBrush(const MwDc& dc) {
    const MwGdiObject* brush = FindObject(dc.brush, Kind::Brush);
    return brush != nullptr ? *brush : *GetStockObject(WHITE_BRUSH);
}

const MwGdiObject& SelectedPen(const MwDc& dc) {
    const MwGdiObject* pen = FindObject(dc.pen, Kind::Pen);
    return pen != nullptr ? *pen : *GetStockObject(BLACK_PEN);
}

Font& SelectedFont(const MwDc& dc) {
    const MwGdiObject* object = FindObject(dc.font, Kind::Font);
    return object != nullptr ? *object->font : *GetStockObject(SYSTEM_FONT)->font;
}

}  // namespace mwin

HGDIOBJ GetStockObject(int index) {
    return Objects().Stock(index);
}

HBRUSH CreateSolidBrush(COLORREF color) {
    return Objects().Brush(color | 0xFF000000U);
}

HPEN CreatePen(int /*style*/, int width, COLORREF color) {
    auto pen = std::make_unique<MwGdiObject>();
    pen->kind = Kind::Pen;
    pen->width = std::clamp(width, 1, kMaxPenWidth);
    pen->color = color;
    return Objects().Add(std::move(pen));
}

HFONT CreateFont(int height, int /*width*/, int /*escapement*/, int /*orientation*/, int weight, DWORD /*italic*/,
                 DWORD /*underline*/, DWORD /*strike_out*/, DWORD /*char_set*/, DWORD /*out_precision*/,
                 DWORD /*clip_precision*/, DWORD /*quality*/, DWORD /*pitch_and_family*/, LPCSTR face) {
    auto font = std::make_unique<MwGdiObject>();
    font->kind = Kind::Font;
    font->font = std::make_unique<mwin::Font>(face != nullptr ? face : "", height, weight);
    return Objects().Add(std::move(font));
}

BOOL DeleteObject(HGDIOBJ object) {
    return Objects().Delete(object) ? TRUE : FALSE;
}

HGDIOBJ SelectObject(HDC dc, HGDIOBJ handle) {
    if (dc == nullptr || Objects().Find(handle) == nullptr) return nullptr;
    const auto select = [handle](HGDIOBJ& selected, int initial) {
        HGDIOBJ before = selected != nullptr ? selected : GetStockObject(initial);
        selected = handle;
        return before;
    };
    switch (handle->kind) {
        case Kind::Brush:
            return select(dc->brush, WHITE_BRUSH);
        case Kind::Pen:
            return select(dc->pen, BLACK_PEN);
        case Kind::Font:
            return select(dc->font, SYSTEM_FONT);
    }
    return nullptr;
}
