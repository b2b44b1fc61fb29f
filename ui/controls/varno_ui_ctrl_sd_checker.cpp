#include "ui/controls/varno_ui_ctrl_sd_checker.h"

#include <cstdio>

#include "sys/varno_sv_utils.h"

namespace {

constexpr UINT kTimerId = 0x10000004;
constexpr UINT kPeriodMs = 2500;

}  // namespace

CVarnoUICtrlSDChecker* CVarnoUICtrlSDChecker::CreateNew(HINSTANCE instance, HWND parent, int x, int y, int width,
                                                        int height) {
    auto control = std::make_unique<CVarnoUICtrlSDChecker>(instance, parent, x, y, width, height);
    control->SetBackgroundColor(kColorKey);
    return InitNewControl(std::move(control), instance, "VarnoSDChecker");
}

CVarnoUICtrlSDChecker::~CVarnoUICtrlSDChecker() {
    CVarnoUICtrlSDChecker::Deinit();
    printf("CVarnoUICtrlSDChecker::~CVarnoUICtrlSDChecker\n");
}

bool CVarnoUICtrlSDChecker::Init() {
    return CMWUIBase::Init() && InitImageStatic() && InitCheckTimer();
}

void CVarnoUICtrlSDChecker::Deinit() {
    DeinitCheckTimer();
    DeinitImageStatic();
    UnloadImage();
    CMWUIBase::Deinit();
}

void CVarnoUICtrlSDChecker::LoadImage() {
    m_pImgSD.SetPath("img/sd.png");
}

void CVarnoUICtrlSDChecker::UnloadImage() {
    m_pImgSD.Unload();
}

bool CVarnoUICtrlSDChecker::InitImageStatic() {
    LoadImage();
    const RECT rect = ClientRect();
    m_hImgStaticCtrl = CreateWindowEx(0, "STATIC", "cs", WS_CHILD | WS_VISIBLE | SS_ICON, 0, 0, rect.right, rect.bottom,
                                      m_hHwnd, nullptr, m_hInstance, nullptr);
    if (m_hImgStaticCtrl == nullptr) return false;
    if (Varno::GetMMCFirstPart().empty()) Show(SW_HIDE);
    return true;
}

void CVarnoUICtrlSDChecker::DeinitImageStatic() {
    if (m_hImgStaticCtrl != nullptr) DestroyWindow(m_hImgStaticCtrl);
    m_hImgStaticCtrl = nullptr;
}

bool CVarnoUICtrlSDChecker::InitCheckTimer() {
    m_tTimerChecker = SetTimer(m_hHwnd, kTimerId, kPeriodMs, timer_proc);
    return m_tTimerChecker != 0;
}

void CVarnoUICtrlSDChecker::DeinitCheckTimer() {
    if (m_tTimerChecker != 0) KillTimer(m_hHwnd, m_tTimerChecker);
    m_tTimerChecker = 0;
}

void CALLBACK CVarnoUICtrlSDChecker::timer_proc(HWND hwnd, UINT /*msg*/, UINT /*id*/, DWORD /*time*/) {
    auto* control = ObjectOf<CVarnoUICtrlSDChecker>(hwnd);
    if (control != nullptr) control->CheckCard();
}

void CVarnoUICtrlSDChecker::CheckCard() {
    const std::string path = Varno::GetMMCFirstPart();
    if (!path.empty() && path != m_strCurSDPath) printf("Found sd card on %s\n", path.c_str());
    m_strCurSDPath = path;
    Show(path.empty() ? SW_HIDE : SW_SHOW);
}

LRESULT CVarnoUICtrlSDChecker::WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) {
    HDC dc = reinterpret_cast<HDC>(wparam);
    switch (msg) {
        case WM_ERASEBKGND:
            return FillBackground(hwnd, dc);
        case WM_CTLCOLORSTATIC:
            SetBkColor(dc, kColorKey);
            SetBkMode(dc, TRANSPARENT);
            return reinterpret_cast<LRESULT>(Varno::SolidBrush(kColorKey));
        case WM_SHOWWINDOW:
            if (wparam != FALSE)
                SendMessage(m_hImgStaticCtrl, STM_SETIMAGE, 0, reinterpret_cast<LPARAM>(m_pImgSD.Get()));
            return 0;
        default:
            return DefWindowProc(hwnd, msg, wparam, lparam);
    }
}
