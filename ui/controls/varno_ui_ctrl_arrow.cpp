#include "ui/controls/varno_ui_ctrl_arrow.h"

#include <array>

#include "ui/base/varno_mwin_utils.h"

namespace {

constexpr COLORREF kArrowColor = 0xFFD28F3F;
constexpr COLORREF kEdgeColor = 0xFF1C1814;

std::array<POINT, 3> Corners(ARROW_DIR direction, int right, int bottom) {
    switch (direction) {
        case ARROW_UP:
            return {POINT{right / 2, 0}, POINT{right, bottom}, POINT{0, bottom}};
        case ARROW_DOWN:
            return {POINT{0, 0}, POINT{right, 0}, POINT{right / 2, bottom}};
        case ARROW_LEFT:
            return {POINT{0, bottom / 2}, POINT{right, 0}, POINT{right, bottom}};
        default:
            return {POINT{0, 0}, POINT{right, bottom / 2}, POINT{0, bottom}};
    }
}

}  // namespace

CVarnoUICtrlArrow* CVarnoUICtrlArrow::CreateNew(HINSTANCE instance, HWND parent, ARROW_DIR direction, int x, int y,
                                                int width, int height) {
    return InitNewControl(std::make_unique<CVarnoUICtrlArrow>(instance, parent, direction, x, y, width, height),
                          instance, "VarnoArrow");
}

CVarnoUICtrlArrow::CVarnoUICtrlArrow(HINSTANCE instance, HWND parent, ARROW_DIR direction, int x, int y, int width,
                                     int height)
    : CMWUIBase(instance, parent, x, y, width, height), m_direction(direction) {}

CVarnoUICtrlArrow::~CVarnoUICtrlArrow() {
    CVarnoUICtrlArrow::Deinit();
}

void CVarnoUICtrlArrow::Paint(HWND hwnd) const {
    PAINTSTRUCT paint{};
    HDC dc = BeginPaint(hwnd, &paint);
    const RECT rect = ClientRect();
    const auto corners = Corners(m_direction, rect.right - 1, rect.bottom - 1);
    HPEN edge = CreatePen(PS_SOLID, 1, kEdgeColor);
    SelectObject(dc, edge);
    SelectObject(dc, Varno::SolidBrush(kArrowColor));
    Polygon(dc, corners.data(), static_cast<int>(corners.size()));
    EndPaint(hwnd, &paint);
    DeleteObject(edge);
}

LRESULT CVarnoUICtrlArrow::WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) {
    if (msg == WM_ERASEBKGND) return FillBackground(hwnd, reinterpret_cast<HDC>(wparam));
    if (msg == WM_PAINT) {
        Paint(hwnd);
        return 0;
    }
    return DefWindowProc(hwnd, msg, wparam, lparam);
}
