#include "ui/controls/varno_ui_ctrl_date_display.h"

#include <array>
#include <ctime>

#include "sys/varno_sv_utils.h"
#include "ui/base/varno_mwin_utils.h"

namespace {

constexpr UINT kTimerId = 0x10000001;
constexpr UINT kPeriodMs = 1000;
constexpr COLORREF kTextColor = 0xFFFFFFFF;

}  // namespace

CVarnoUICtrlDateDisplay* CVarnoUICtrlDateDisplay::CreateNew(HINSTANCE instance, HWND parent, int x, int y, int width,
                                                            int height) {
    return InitNewControl(std::make_unique<CVarnoUICtrlDateDisplay>(instance, parent, x, y, width, height), instance,
                          "VarnoDateDisplay");
}

CVarnoUICtrlDateDisplay::~CVarnoUICtrlDateDisplay() {
    CVarnoUICtrlDateDisplay::Deinit();
}

bool CVarnoUICtrlDateDisplay::Init() {
    if (!CMWUIBase::Init()) return false;
    m_hfFont = Varno::CreateFaceFont("Arial.ttf", ClientRect().bottom, FW_NORMAL);
    EnableTimeDisplay(true);
    return true;
}

void CVarnoUICtrlDateDisplay::Deinit() {
    EnableTimeDisplay(false);
    CMWUIBase::Deinit();
    if (m_hfFont != nullptr) DeleteObject(m_hfFont);
    m_hfFont = nullptr;
}

void CVarnoUICtrlDateDisplay::EnableTimeDisplay(bool enable) {
    if (m_tTimer != 0) KillTimer(m_hHwnd, m_tTimer);
    m_tTimer = 0;
    if (!enable || m_hHwnd == nullptr) return;
    UpdateTime();
    m_tTimer = SetTimer(m_hHwnd, kTimerId, kPeriodMs, timer_proc);
}

void CALLBACK CVarnoUICtrlDateDisplay::timer_proc(HWND hwnd, UINT /*msg*/, UINT /*id*/, DWORD /*time*/) {
    auto* control = ObjectOf<CVarnoUICtrlDateDisplay>(hwnd);
    if (control != nullptr) control->UpdateTime();
}

void CVarnoUICtrlDateDisplay::UpdateTime() {
    std::tm now{};
    Varno::GetNow(now);
    std::array<char, 64> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &now);
    if (m_sText == text.data()) return;
    m_sText = text.data();
    InvalidateRect(m_hHwnd, nullptr, TRUE);
}

void CVarnoUICtrlDateDisplay::PaintTime(HWND hwnd) const {
    PAINTSTRUCT paint{};
    HDC dc = BeginPaint(hwnd, &paint);
    if (m_hfFont != nullptr) SelectObject(dc, m_hfFont);
    SetBkMode(dc, TRANSPARENT);
    SetTextColor(dc, kTextColor);
    SetTextRim(dc, kTextRimColor);
    RECT rect = ClientRect();
    DrawText(dc, m_sText.c_str(), -1, &rect, DT_CENTER | DT_VCENTER | DT_SINGLELINE | DT_NOPREFIX);
    EndPaint(hwnd, &paint);
}

LRESULT CVarnoUICtrlDateDisplay::WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) {
    if (msg == WM_ERASEBKGND) return FillBackground(hwnd, reinterpret_cast<HDC>(wparam));
    if (msg == WM_PAINT) {
        PaintTime(hwnd);
        return 0;
    }
    return DefWindowProc(hwnd, msg, wparam, lparam);
}
