#include "ui/media/varno_ui_ctrl_play_status_icon.h"

#include <array>

#include "ui/base/varno_mwin_utils.h"

namespace {

constexpr COLORREF kSignColor = 0xFFF8F6F4;
constexpr COLORREF kEdgeColor = 0xFF1C1814;

// A box with its edge, which keeps it legible over any picture.
void DrawBox(HDC dc, const RECT& box) {
    const RECT inside{box.left + 1, box.top + 1, box.right - 1, box.bottom - 1};
    FastFillRect(dc, &box, kEdgeColor);
    FastFillRect(dc, &inside, kSignColor);
}

}  // namespace

CVarnoUICtrlPlayStatusIcon* CVarnoUICtrlPlayStatusIcon::CreateNew(HINSTANCE instance, HWND parent, int x, int y,
                                                                  int width, int height) {
    return InitNewControl(std::make_unique<CVarnoUICtrlPlayStatusIcon>(instance, parent, x, y, width, height), instance,
                          "VarnoPlayStatusIcon");
}

CVarnoUICtrlPlayStatusIcon::~CVarnoUICtrlPlayStatusIcon() {
    CVarnoUICtrlPlayStatusIcon::Deinit();
}

void CVarnoUICtrlPlayStatusIcon::SetStatus(PlayStatus status) {
    m_sPlayStatus = status;
    Refresh();
}

void CVarnoUICtrlPlayStatusIcon::Refresh() const {
    if (m_hHwnd != nullptr) InvalidateRect(m_hHwnd, nullptr, FALSE);
}

void CVarnoUICtrlPlayStatusIcon::DrawStatusIcon(HDC dc) const {
    const RECT rect = ClientRect();
    const LONG right = rect.right - 1;
    const LONG bottom = rect.bottom - 1;
    switch (m_sPlayStatus) {
        case PLAY_PLAYING: {
            const std::array<POINT, 3> corners = {POINT{1, 0}, POINT{right, bottom / 2}, POINT{1, bottom}};
            HPEN edge = CreatePen(PS_SOLID, 1, kEdgeColor);
            SelectObject(dc, edge);
            SelectObject(dc, Varno::SolidBrush(kSignColor));
            Polygon(dc, corners.data(), static_cast<int>(corners.size()));
            SelectObject(dc, GetStockObject(BLACK_PEN));
            DeleteObject(edge);
            break;
        }
        case PLAY_PAUSE: {
            const LONG bar = rect.right * 3 / 8;
            DrawBox(dc, {1, 0, 1 + bar, rect.bottom});
            DrawBox(dc, {rect.right - 1 - bar, 0, rect.right - 1, rect.bottom});
            break;
        }
        case PLAY_STOP:
            DrawBox(dc, {1, 1, rect.right - 1, rect.bottom - 1});
            break;
    }
}

LRESULT CVarnoUICtrlPlayStatusIcon::WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) {
    if (msg == WM_ERASEBKGND) return 1;
    if (msg == WM_PAINT) {
        PAINTSTRUCT paint{};
        HDC dc = BeginPaint(hwnd, &paint);
        SendMessage(m_hParent, WM_CTLCOLORSTATIC, reinterpret_cast<WPARAM>(dc), reinterpret_cast<LPARAM>(hwnd));
        DrawStatusIcon(dc);
        EndPaint(hwnd, &paint);
        return 0;
    }
    return DefWindowProc(hwnd, msg, wparam, lparam);
}
