#include "app/sv_main.h"

#include <cstdio>
#include <cstring>

#include "app/globals.h"
#include "app/mxs_watchdog.h"
#include "settings/varno_sv_setting.h"
#include "sys/varno_sv_utils.h"
#include "ui/base/mw_ui_base.h"
#include "ui/controls/varno_ui_ctrl_bright_adjust.h"
#include "ui/controls/varno_ui_ctrl_date_display.h"
#include "ui/controls/varno_ui_ctrl_focus_adjust.h"
#include "ui/controls/varno_ui_ctrl_image_displayer.h"
#include "ui/controls/varno_ui_ctrl_power_icon.h"
#include "ui/controls/varno_ui_ctrl_rec_mode.h"
#include "ui/controls/varno_ui_ctrl_sd_checker.h"
#include "video/frames/pixel_conversion.h"
#include "video/varno_cam_rec_ctrl.h"

namespace {

constexpr LRESULT kWantsAllKeys = DLGC_WANTARROWS | DLGC_HASSETSEL | DLGC_WANTCHARS;
constexpr int kStillWidth = 640;
constexpr int kStillHeight = 480;

}  // namespace

CVarnoSVMain* CVarnoSVMain::CreateNew(HINSTANCE instance) {
    return new CVarnoSVMain(instance);
}

CVarnoSVMain::CVarnoSVMain(HINSTANCE instance) : m_hInst(instance) {}

CVarnoSVMain::~CVarnoSVMain() {
    // A signal deletes the object from under its open window.
    if (m_hHwnd != nullptr) SetWindowLong(m_hHwnd, kWindowObject, 0);
    DestoryDialog();
    printf("CVarnoSVMain::~CVarnoSVMain\n");
    CMXSWatchdog::GetInstance().KeepLive();
}

int CVarnoSVMain::DoModel() {
    if (m_hInst == nullptr) return -1;
    return DialogBoxParam(m_hInst, MAKEINTRESOURCE(0xFFFF0067), nullptr, mainDlgProc, reinterpret_cast<LPARAM>(this));
}

LRESULT CALLBACK CVarnoSVMain::mainDlgProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) {
    if (msg == WM_INITDIALOG) SetWindowLong(hwnd, kWindowObject, lparam);
    auto* self = ObjectOf<CVarnoSVMain>(hwnd);
    switch (msg) {
        case WM_ERASEBKGND: {
            RECT rect{};
            GetClientRect(hwnd, &rect);
            FastFillRect(reinterpret_cast<HDC>(wparam), &rect, kColorKey);
            return 1;
        }
        case WM_CREATE:
            return 0;
        case WM_DESTROY:
            if (self != nullptr) {
                self->DestoryDialog();
                SetWindowLong(hwnd, kWindowObject, 0);
                self->m_hHwnd = nullptr;
            }
            PostQuitMessage(0);
            return 0;
        case WM_PAINT:
            Paint(hwnd);
            return 0;
        case WM_GETDLGCODE:
            return kWantsAllKeys;
        case WM_KEYDOWN:
            if (self != nullptr) self->HandleKeyDown(hwnd, msg, wparam, lparam);
            return 0;
        case WM_INITDIALOG:
            self->m_hHwnd = hwnd;
            self->InitDialog();
            return 0;
        case WM_COMMAND:
            if (self != nullptr && LOWORD(wparam) == IDOK) self->HandleKeyDown(hwnd, WM_KEYDOWN, VK_RETURN, 0);
            return 0;
        default:
            return DefWindowProc(hwnd, msg, wparam, lparam);
    }
}

void CVarnoSVMain::Paint(HWND hwnd) {
    PAINTSTRUCT paint{};
    RECT rect{};
    BeginPaint(hwnd, &paint);
    GetClientRect(hwnd, &rect);
    printf("#####%d ; %d ;%d;%d #####\n", rect.left, rect.top, rect.right, rect.bottom);
    EndPaint(hwnd, &paint);
    printf("scr_width= %d\n", scr_width);
    if (scr_width <= 320) fillblankrect();
}

// Blackens the end of the last line, whatever the screen's size: the video's last line is not covered by the camera
// there.
void CVarnoSVMain::fillblankrect() {
    constexpr int kFirst = 76560;
    constexpr int kEnd = 76800;
    constexpr int kPixel = 4;  // bytes
    if (scrdev == nullptr || scrdev->addr == nullptr || scrdev->bpp != 8 * kPixel || scrdev->size < kEnd * kPixel)
        return;
    std::memset(scrdev->addr + kFirst * kPixel, 0, (kEnd - kFirst) * kPixel);
}

void CVarnoSVMain::InitDialog() {
    CVarnoSVSetting& settings = CVarnoSVSetting::GetInstance();
    scr_width = settings.GetScrWidth();
    settings.InitConfigFile();
    Varno::InitSystemDateTime();
    CreateControls();
    CheckTVOut();
    // Brings the date's face and its glyphs into memory before the clock needs them.
    DeleteObject(CreateFont(30, 0, 0, 0, FW_NORMAL, 0, 0, 0, 0, 0, 0, 0, 0, "Arial.ttf"));
    initLut();
    g_mainWindowHooks.stop_all_timers = [] { m_pMain->StopAllTimer(); };
    g_mainWindowHooks.start_all_timers = [] { m_pMain->StartAllTimer(); };
    g_mainWindowHooks.finish_recording = [] { m_pMain->FinishRecording(); };
    ShowWindow(m_hHwnd, SW_SHOWMAXIMIZED);
    UpdateWindow(m_hHwnd);
    SetActiveWindow(m_hHwnd);
    StartStateMachine();
    if (m_ForbidKeyflag) return;
    ShowCtrlIcon();
    // It reads the battery only while it shows, which it did not when it was made.
    if (m_pBattery != nullptr) m_pBattery->InitCheckTimer();
}

void CVarnoSVMain::DestoryDialog() {
    StopStateMachine();
    g_mainWindowHooks = {};
    DisableFocus();
    m_hFocus.reset();
    DisableBright();
    m_hBright.reset();
    m_pDateCtl.reset();
    m_pBattery.reset();
    m_pRecMode.reset();
    m_pSDChecker.reset();
    m_camctrl.reset();
    m_pFunnelCtrl.reset();
    m_pRecordingImageCtrl.reset();
    freeLut();
}

void CVarnoSVMain::StartAllTimer() {
    if (StartStateMachine() && m_pDateCtl != nullptr) m_pDateCtl->EnableTimeDisplay(true);
}

void CVarnoSVMain::StopAllTimer() {
    StopStateMachine();
    if (m_pDateCtl != nullptr) m_pDateCtl->EnableTimeDisplay(false);
}

// The state machine finds out by itself.
void CVarnoSVMain::FinishRecording() {
    if (m_camctrl != nullptr) m_camctrl->StopRecordAVI();
}

void CALLBACK CVarnoSVMain::fnStateMachineTimerProc(HWND hwnd, UINT /*msg*/, UINT /*id*/, DWORD /*time*/) {
    if (auto* self = ObjectOf<CVarnoSVMain>(hwnd)) self->StateMachine();
    // Asked again: the tick may have ended the window.
    auto* self = ObjectOf<CVarnoSVMain>(hwnd);
    if (self != nullptr && self->m_pRecMode != nullptr) self->m_pRecMode->RefreshImageAvailableNumber();
}

void CALLBACK CVarnoSVMain::fnBrightDispTimerProc(HWND hwnd, UINT /*msg*/, UINT /*id*/, DWORD /*time*/) {
    if (auto* self = ObjectOf<CVarnoSVMain>(hwnd)) self->DisableBright();
}

void CALLBACK CVarnoSVMain::fnFocusDispTimerProc(HWND hwnd, UINT /*msg*/, UINT /*id*/, DWORD /*time*/) {
    if (auto* self = ObjectOf<CVarnoSVMain>(hwnd)) self->DisableFocus();
}

void CVarnoSVMain::HandleKeyDown(HWND /*hwnd*/, UINT /*msg*/, WPARAM wparam, LPARAM /*lparam*/) {
    if (m_ForbidKeyflag) return;
    switch (wparam) {
        case VK_RETURN:
            Capture();
            break;
        case VK_LEFT:
        case VK_RIGHT:
            StepBrightness(wparam == VK_RIGHT);
            break;
        case VK_UP:
        case VK_DOWN:
            StepZoom(wparam == VK_UP);
            break;
        case VK_F2:
            if (m_camctrl != nullptr) m_camctrl->RotateCW();
            break;
        case VK_F3:
            ToggleRecMode();
            break;
        default:
            break;
    }
}

void CVarnoSVMain::Capture() {
    if (m_pRecMode != nullptr && m_pRecMode->CurMode() == REC_MODE_IMAGE && m_camctrl != nullptr) {
        m_camctrl->SetPictureStatus(false);
        m_camctrl->ChangeUVCResolution(false, kStillWidth, kStillHeight);
        m_bStillPrepared = true;
    }
    if (m_curStatus == CAM_STATUS_VIEW) {
        ChangeToNewState(CAM_STATUS_REC_WAIT);
    } else if (m_curStatus == CAM_STATUS_REC_VIDEO) {
        ShowFunnelCtrl(SW_SHOW);
        ChangeToNewState(CAM_STATUS_REC_VIDEO_STOP_WAIT);
    }
}

void CVarnoSVMain::StepBrightness(bool up) {
    DisableFocus();
    StartBrightTimer();
    if (m_hBright == nullptr) return;
    m_hBright->IncDec(up);
    ChangeBright();
}

void CVarnoSVMain::StepZoom(bool up) {
    DisableBright();
    StartFocusTimer();
    if (m_camctrl == nullptr || m_camctrl->GetZoomStatus() || m_hFocus == nullptr) return;
    m_hFocus->IncDec(up);
    ChangeFocus(up);
}

void CVarnoSVMain::ToggleRecMode() {
    if (m_pRecMode == nullptr || m_pRecMode->RecordStatus()) return;
    m_pRecMode->SetCurMode(m_pRecMode->CurMode() == REC_MODE_VIDEO ? REC_MODE_IMAGE : REC_MODE_VIDEO);
}
