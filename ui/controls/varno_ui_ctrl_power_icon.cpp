#include "ui/controls/varno_ui_ctrl_power_icon.h"

#include <cstdio>

#include "app/globals.h"
#include "sys/kernel.h"
#include "sys/varno_sv_utils.h"

namespace {

constexpr UINT kTimerId = 0x10000002;
constexpr UINT kPeriodMs = 2000;
constexpr COLORREF kGreen = 0xFF00FF00;
constexpr COLORREF kRed = 0xFF0000FF;
constexpr COLORREF kTextColor = 0xFFFFFFFF;
constexpr double kBatteryHeight = 0.7;  // of the icon's height
constexpr int kLowPercent = 20;
constexpr int kEmptyPercent = 1;

}  // namespace

CVarnoUICtrlPowerIcon* CVarnoUICtrlPowerIcon::CreateNew(HINSTANCE instance, HWND parent, int x, int y, int width,
                                                        int height) {
    return InitNewControl(std::make_unique<CVarnoUICtrlPowerIcon>(instance, parent, x, y, width, height), instance,
                          "VarnoPowerIcon");
}

CVarnoUICtrlPowerIcon::~CVarnoUICtrlPowerIcon() {
    CVarnoUICtrlPowerIcon::Deinit();
}

bool CVarnoUICtrlPowerIcon::Init() {
    if (!CMWUIBase::Init() || !InitBatteryIcon()) return false;
    InitPlugStatic();
    return InitCheckTimer();
}

void CVarnoUICtrlPowerIcon::Deinit() {
    DeinitCheckTimer();
    DeinitPlugStatic();
    DeinitBatteryIcon();
    CMWUIBase::Deinit();
}

bool CVarnoUICtrlPowerIcon::InitBatteryIcon() {
    const RECT rect = ClientRect();
    m_pBattery.reset(CVarnoUICtrlBattery::CreateNew(m_hInstance, m_hHwnd, 0, 0, rect.right,
                                                    static_cast<int>(kBatteryHeight * rect.bottom)));
    if (m_pBattery == nullptr) return false;
    m_pBattery->SetBatteryColor(kGreen);
    m_pBattery->SetPowerColor(kGreen);
    m_pBattery->Show(SW_HIDE);
    return true;
}

void CVarnoUICtrlPowerIcon::DeinitBatteryIcon() {
    m_pBattery.reset();
}

void CVarnoUICtrlPowerIcon::InitPlugStatic() {
    const RECT rect = ClientRect();
    const int top = static_cast<int>(kBatteryHeight * rect.bottom);
    m_pPlugImage.reset(Varno::LoadImage("img/plug.png"));
    m_pPlugImageStatic = CreateWindowEx(0, "STATIC", "", WS_CHILD | SS_ICON, 0, top, rect.right, rect.bottom - top,
                                        m_hHwnd, nullptr, m_hInstance, nullptr);
    SendMessage(m_pPlugImageStatic, STM_SETIMAGE, 0, reinterpret_cast<LPARAM>(m_pPlugImage.get()));
}

void CVarnoUICtrlPowerIcon::DeinitPlugStatic() {
    if (m_pPlugImageStatic != nullptr) DestroyWindow(m_pPlugImageStatic);
    m_pPlugImageStatic = nullptr;
    m_pPlugImage.reset();
}

bool CVarnoUICtrlPowerIcon::InitCheckTimer() {
    CheckBattery();
    m_nTimerID = SetTimer(m_hHwnd, kTimerId, kPeriodMs, timerproc);
    if (m_nTimerID == 0) printf("%s:%d Error: Create timer\n", __func__, __LINE__);
    return true;
}

void CVarnoUICtrlPowerIcon::DeinitCheckTimer() {
    if (m_nTimerID != 0) KillTimer(m_hHwnd, m_nTimerID);
    m_nTimerID = 0;
}

void CALLBACK CVarnoUICtrlPowerIcon::timerproc(HWND hwnd, UINT /*msg*/, UINT /*id*/, DWORD /*time*/) {
    auto* icon = ObjectOf<CVarnoUICtrlPowerIcon>(hwnd);
    if (icon != nullptr) icon->CheckBattery();
}

void CVarnoUICtrlPowerIcon::CheckBattery() {
    if (!IsVisable() || m_pBattery == nullptr) return;
    const int percent = Varno::GetBatteryPowerPercent();
    const bool charging = Varno::IsACOnline();
    const bool low = percent < kLowPercent;
    m_pBattery->SetBatteryColor(low ? kRed : kGreen);
    m_pBattery->SetPowerColor(low ? kRed : kGreen);
    if (percent <= kEmptyPercent && !charging) {
        if (g_mainWindowHooks.finish_recording != nullptr) g_mainWindowHooks.finish_recording();
        Varno::kernel().Sync();
        printf("Voltage is too low!power off\n");
        SetPowerOffStatus();
    }
    if (!m_pBattery->IsVisable()) {
        m_pBattery->Show(SW_SHOW);
    } else if (low) {
        m_pBattery->Show(SW_HIDE);
    }
    ShowWindow(m_pPlugImageStatic, charging ? SW_SHOW : SW_HIDE);
    m_pBattery->RefreshPercent(static_cast<unsigned>(percent));
}

LRESULT CVarnoUICtrlPowerIcon::WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) {
    HDC dc = reinterpret_cast<HDC>(wparam);
    switch (msg) {
        case WM_ERASEBKGND:
            return FillBackground(hwnd, dc);
        case WM_CTLCOLORSTATIC:
            SetTextColor(dc, kTextColor);
            SetBkColor(dc, kColorKey);
            SetBkMode(dc, TRANSPARENT);
            return reinterpret_cast<LRESULT>(Varno::SolidBrush(kColorKey));
        default:
            return DefWindowProc(hwnd, msg, wparam, lparam);
    }
}
