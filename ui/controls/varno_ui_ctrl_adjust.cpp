#include "ui/controls/varno_ui_ctrl_adjust.h"

#include "ui/controls/varno_scrollbar1.h"

CVarnoUICtrlAdjust::CVarnoUICtrlAdjust(HINSTANCE instance, HWND parent, int x, int y, int width, int height,
                                       bool vertical, const char* icon_path, int steps, int position)
    : CMWUIBase(instance, parent, x, y, width, height),
      m_bVertical(vertical),
      m_sIconPath(icon_path),
      m_nSteps(steps),
      m_nStartPos(position) {}

CVarnoUICtrlAdjust::~CVarnoUICtrlAdjust() {
    CVarnoUICtrlAdjust::Deinit();
}

bool CVarnoUICtrlAdjust::Init() {
    if (!CMWUIBase::Init()) return false;
    m_pIcon.SetPath(m_sIconPath);
    const RECT rect = ClientRect();
    m_nIconSide = (m_bVertical ? rect.right : rect.bottom) * 2 / 3;
    const int x = m_bVertical ? m_nIconSide : 0;
    const int y = m_bVertical ? 0 : m_nIconSide;
    m_hScrollbar = CreateWindowEx(0, kScrollbarClass, "", WS_CHILD | WS_VISIBLE | (m_bVertical ? SBS_VERT : SBS_HORZ),
                                  x, y, rect.right - x, rect.bottom - y, m_hHwnd, nullptr, m_hInstance, nullptr);
    if (m_hScrollbar == nullptr) return false;
    SCROLLINFO info{sizeof(SCROLLINFO), SIF_ALL, 0, m_nSteps, 1, m_nStartPos, 0};
    SendMessage(m_hScrollbar, SBM_SETSCROLLINFO, FALSE, reinterpret_cast<LPARAM>(&info));
    return true;
}

void CVarnoUICtrlAdjust::Deinit() {
    if (m_hScrollbar != nullptr) DestroyWindow(m_hScrollbar);
    m_hScrollbar = nullptr;
    m_pIcon.Unload();
    CMWUIBase::Deinit();
}

void CVarnoUICtrlAdjust::GetScollInfo(SCROLLINFO& info) const {
    info = {sizeof(SCROLLINFO), SIF_ALL, 0, m_nSteps, 1, m_nStartPos, m_nStartPos};
    SendMessage(m_hScrollbar, SBM_GETSCROLLINFO, 0, reinterpret_cast<LPARAM>(&info));
}

void CVarnoUICtrlAdjust::MoveBy(int positions) {
    SCROLLINFO info{};
    GetScollInfo(info);
    info.fMask = SIF_POS;
    info.nPos += positions;
    SendMessage(m_hScrollbar, SBM_SETSCROLLINFO, TRUE, reinterpret_cast<LPARAM>(&info));
}

void CVarnoUICtrlAdjust::PaintIcon(HWND hwnd) {
    PAINTSTRUCT paint{};
    HDC dc = BeginPaint(hwnd, &paint);
    if (PSD icon = m_pIcon.Get()) {
        // Centred in its band, at its own size: an icon of a few pixels does not bear scaling.
        const RECT rect = ClientRect();
        const int width = m_bVertical ? m_nIconSide : rect.right;
        const int height = m_bVertical ? rect.bottom : m_nIconSide;
        DrawDIBFit(dc, (width - icon->xvirtres) / 2, (height - icon->yvirtres) / 2, icon->xvirtres, icon->yvirtres,
                   icon);
    }
    EndPaint(hwnd, &paint);
}

LRESULT CVarnoUICtrlAdjust::WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) {
    if (msg == WM_ERASEBKGND) return FillBackground(hwnd, reinterpret_cast<HDC>(wparam));
    if (msg == WM_PAINT) {
        PaintIcon(hwnd);
        return 0;
    }
    return DefWindowProc(hwnd, msg, wparam, lparam);
}
