#include "ui/controls/varno_ui_ctrl_battery.h"

#include <algorithm>

namespace {

constexpr double kLinesInHeight = 5.5;
constexpr int kFullLevel = 14;

// How much of the body is filled, of kFullLevel.
int FillLevel(unsigned percent) {
    if (percent > 80) return kFullLevel;
    if (percent > 60) return 12;
    if (percent > 40) return 9;
    if (percent > 19) return 7;
    return percent > 15 ? 4 : 3;
}

}  // namespace

CVarnoUICtrlBattery* CVarnoUICtrlBattery::CreateNew(HINSTANCE instance, HWND parent, int x, int y, int width,
                                                    int height) {
    return InitNewControl(std::make_unique<CVarnoUICtrlBattery>(instance, parent, x, y, width, height), instance,
                          "VarnoBattery");
}

CVarnoUICtrlBattery::~CVarnoUICtrlBattery() {
    CVarnoUICtrlBattery::Deinit();
}

void CVarnoUICtrlBattery::Repaint() const {
    if (m_hHwnd != nullptr) InvalidateRect(m_hHwnd, nullptr, TRUE);
}

void CVarnoUICtrlBattery::RefreshPercent(unsigned percent) {
    if (m_hHwnd == nullptr || percent == m_nCurBatteryPerc) return;
    m_nCurBatteryPerc = std::min(percent, 100U);
    Repaint();
}

void CVarnoUICtrlBattery::SetBatteryColor(COLORREF color) {
    if (color == m_cBatteryColor) return;
    m_cBatteryColor = color;
    Repaint();
}

void CVarnoUICtrlBattery::SetPowerColor(COLORREF color) {
    if (color == m_cPowerColor) return;
    m_cPowerColor = color;
    Repaint();
}

int CVarnoUICtrlBattery::GetLineWidth() const {
    return std::max(static_cast<int>(ClientRect().bottom / kLinesInHeight), 1);
}

RECT CVarnoUICtrlBattery::GetBatterySize() const {
    RECT rect = ClientRect();
    rect.right -= 2 * GetLineWidth();
    return rect;
}

RECT CVarnoUICtrlBattery::GetBatteryHeaderSize() const {
    const RECT body = GetBatterySize();
    const int height = body.bottom / 2;
    const int top = (body.bottom - height) / 2;
    return {body.right, top, body.right + 2 * GetLineWidth(), top + height};
}

RECT CVarnoUICtrlBattery::GetPowerRect() const {
    RECT rect = GetBatterySize();
    const int inset = GetLineWidth() * 3 / 2;
    rect = {rect.left + inset, rect.top + inset, rect.right - inset, rect.bottom - inset};
    rect.right = rect.left + (rect.right - rect.left) * FillLevel(m_nCurBatteryPerc) / kFullLevel;
    return rect;
}

void CVarnoUICtrlBattery::Paint(HWND hwnd) const {
    const int line = GetLineWidth();
    const RECT body = GetBatterySize();
    const RECT inside{body.left + line, body.top + line, body.right - line, body.bottom - line};
    const RECT header = GetBatteryHeaderSize();
    const RECT power = GetPowerRect();
    PAINTSTRUCT paint{};
    HDC dc = BeginPaint(hwnd, &paint);
    FastFillRect(dc, &body, m_cBatteryColor);
    FastFillRect(dc, &inside, m_cBackgroundColor);
    FastFillRect(dc, &header, m_cBatteryColor);
    if (power.right > power.left && power.bottom > power.top) FastFillRect(dc, &power, m_cPowerColor);
    EndPaint(hwnd, &paint);
}

LRESULT CVarnoUICtrlBattery::WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) {
    if (msg == WM_ERASEBKGND) return FillBackground(hwnd, reinterpret_cast<HDC>(wparam));
    if (msg == WM_PAINT) {
        Paint(hwnd);
        return 0;
    }
    return DefWindowProc(hwnd, msg, wparam, lparam);
}
