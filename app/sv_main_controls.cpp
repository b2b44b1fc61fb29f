// The main window's controls over the live view.
#include <cstdio>
#include <string>

#include "app/sv_main.h"
#include "settings/varno_sv_setting.h"
#include "sys/debug.h"
#include "sys/varno_sv_utils.h"
#include "ui/controls/varno_ui_ctrl_bright_adjust.h"
#include "ui/controls/varno_ui_ctrl_date_display.h"
#include "ui/controls/varno_ui_ctrl_focus_adjust.h"
#include "ui/controls/varno_ui_ctrl_image_displayer.h"
#include "ui/controls/varno_ui_ctrl_power_icon.h"
#include "ui/controls/varno_ui_ctrl_rec_mode.h"
#include "ui/controls/varno_ui_ctrl_sd_checker.h"
#include "video/varno_cam_rec_ctrl.h"

namespace {

constexpr UINT kBrightTimerId = 1010;
constexpr UINT kFocusTimerId = 1011;
constexpr UINT kBarTimeMs = 5000;

constexpr int Truncate(double value) {
    return static_cast<int>(value);
}

}  // namespace

void CVarnoSVMain::CreateControls() {
    const int w = CVarnoSVSetting::GetInstance().GetScrWidth();
    const int h = CVarnoSVSetting::GetInstance().GetScrHeight();
    const int sd_margin = w / 100;
    const int battery_unit = w / 15;
    m_pRecMode.reset(
        CVarnoUICtrlRecMode::CreateNew(m_hInst, m_hHwnd, w / 98, h / 40, Truncate(w / 5.7), Truncate(h / 5.4)));
    if (m_pRecMode != nullptr) m_pRecMode->SetCurMode(REC_MODE_IMAGE);
    m_pSDChecker.reset(CVarnoUICtrlSDChecker::CreateNew(m_hInst, m_hHwnd, sd_margin + Truncate(w / 1.25), h / 40,
                                                        w * 28 / 320, h * 21 / 240));
    m_pBattery.reset(CVarnoUICtrlPowerIcon::CreateNew(m_hInst, m_hHwnd, Truncate(w - 1.21 * battery_unit), h / 40,
                                                      w * 21 / 320, h * 17 / 240));
    const int date_width = Truncate(w / 1.85);
    const int date_height = Truncate(h / 12.5);
    m_pDateCtl.reset(CVarnoUICtrlDateDisplay::CreateNew(m_hInst, m_hHwnd, (w - date_width) / 2,
                                                        Truncate((h - date_height) - 0.2 * date_height), date_width,
                                                        date_height));
    CreateBars(w, h);
    CreateImages(w, h);
}

void CVarnoSVMain::CreateBars(int width, int height) {
    const int bright_width = width * 66 / 320;
    const int bright_height = height * 20 / 240 + height * 10 / 240;
    m_hBright.reset(CVarnoUICtrlBrightAdjust::CreateNew(m_hInst, m_hHwnd, (width - bright_width) / 2,
                                                        height - 2 * bright_height, bright_width, bright_height));
    const int zoom_width = width * 10 / 320 + width * 20 / 320;
    const int zoom_height = height * 54 / 240;
    m_hFocus.reset(CVarnoUICtrlFocusAdjust::CreateNew(m_hInst, m_hHwnd,
                                                      Truncate((width - zoom_width) - 0.4 * zoom_width),
                                                      (height - zoom_height) / 2, zoom_width, zoom_height));
}

void CVarnoSVMain::CreateImages(int width, int height) {
    const int rec_width = width * 49 / 320;
    m_pRecordingImageCtrl.reset(CVarnoUICtrlImageDisplayer::CreateNew(
        m_hInst, m_hHwnd, 0, Truncate(width - 1.1 * rec_width), Truncate(0.13 * height), rec_width, height * 22 / 240));
    if (m_pRecordingImageCtrl != nullptr) m_pRecordingImageCtrl->SetNewImagePath("img/rec.gif");
    const int funnel_width = width * 15 / 320;
    const int funnel_height = height * 21 / 240;
    m_pFunnelCtrl.reset(CVarnoUICtrlImageDisplayer::CreateNew(
        m_hInst, m_hHwnd, 0, (width - funnel_width) / 2, (height - funnel_height) / 2, funnel_width, funnel_height));
    if (m_pFunnelCtrl != nullptr) m_pFunnelCtrl->SetNewImagePath("img/funnel.gif");
}

// With the picture on a TV there is nobody to look at the icons or to press the keys.
void CVarnoSVMain::CheckTVOut() {
    if (Varno::GetOutputType() != 0 || !Varno::CheckTVoutWire()) return;
    m_ForbidKeyflag = true;
    HideCtrlIcon();
    m_pSDChecker.reset();
    m_pBattery.reset();
}

void CVarnoSVMain::ShowCtrlIcon() {
    if (m_pDateCtl != nullptr) m_pDateCtl->Show(SW_SHOW);
    if (m_pBattery != nullptr) m_pBattery->Show(SW_SHOW);
    if (m_pRecMode != nullptr) m_pRecMode->Show(SW_SHOW);
    if (m_pSDChecker != nullptr && !Varno::GetMMCFirstPart().empty()) m_pSDChecker->Show(SW_SHOW);
}

void CVarnoSVMain::HideCtrlIcon() {
    if (m_pDateCtl != nullptr) m_pDateCtl->Show(SW_HIDE);
    if (m_pBattery != nullptr) m_pBattery->Show(SW_HIDE);
    if (m_pSDChecker != nullptr) m_pSDChecker->Show(SW_HIDE);
    DisableBright();
    DisableFocus();
    if (m_pRecMode != nullptr) m_pRecMode->Show(SW_HIDE);
}

void CVarnoSVMain::EnterMenu() {
    varno_printf(DBG_LV_DEBUG, "%s:%d Enter menu\n", __func__, __LINE__);
    if (m_nMenuDepth++ > 0) return;
    HideCtrlIcon();
    if (m_pRecordingImageCtrl != nullptr) m_pRecordingImageCtrl->Show(SW_HIDE);
    ShowFunnelCtrl(SW_HIDE);
    PauseCamera();
}

void CVarnoSVMain::ExitMenu() {
    varno_printf(DBG_LV_DEBUG, "%s:%d Exit menu\n", __func__, __LINE__);
    if (m_nMenuDepth == 0 || --m_nMenuDepth > 0) return;
    if (!m_ForbidKeyflag) {
        DisableBright();
        DisableFocus();
        ShowCtrlIcon();
    }
    ResumeCamera();
}

void CVarnoSVMain::ShowFunnelCtrl(int command) {
    if (m_pFunnelCtrl != nullptr) m_pFunnelCtrl->Show(command);
}

void CVarnoSVMain::StartBrightTimer() {
    if (m_tBrightTimer != 0) KillTimer(m_hHwnd, m_tBrightTimer);
    if (m_hBright != nullptr) m_hBright->Show(SW_SHOW);
    m_tBrightTimer = SetTimer(m_hHwnd, kBrightTimerId, kBarTimeMs, fnBrightDispTimerProc);
}

void CVarnoSVMain::StartFocusTimer() {
    if (m_tFocusTimer != 0) KillTimer(m_hHwnd, m_tFocusTimer);
    if (m_hFocus != nullptr) m_hFocus->Show(SW_SHOW);
    m_tFocusTimer = SetTimer(m_hHwnd, kFocusTimerId, kBarTimeMs, fnFocusDispTimerProc);
}

void CVarnoSVMain::DisableBright() {
    if (m_tBrightTimer != 0) KillTimer(m_hHwnd, m_tBrightTimer);
    m_tBrightTimer = 0;
    if (m_hBright != nullptr) m_hBright->Show(SW_HIDE);
}

void CVarnoSVMain::DisableFocus() {
    if (m_tFocusTimer != 0) KillTimer(m_hHwnd, m_tFocusTimer);
    m_tFocusTimer = 0;
    if (m_hFocus != nullptr) m_hFocus->Show(SW_HIDE);
}

void CVarnoSVMain::ChangeBright() {
    if (m_hBright == nullptr || m_camctrl == nullptr) return;
    SCROLLINFO info{};
    m_hBright->GetScollInfo(info);
    const int percent = Truncate(info.nPos * 100.0 / (info.nMax - info.nMin));
    if (!m_camctrl->ChangeBright(percent)) printf("Error: CVarnoSVMain::ChangeBright\n");
}

// The bar says where it stands; which key moved it there makes no difference.
void CVarnoSVMain::ChangeFocus(bool /*up*/) {
    if (m_hFocus == nullptr || m_camctrl == nullptr) return;
    SCROLLINFO info{};
    m_hFocus->GetScollInfo(info);
    m_camctrl->ZoomPXP(static_cast<unsigned char>((info.nMax - info.nPos) & 255));
}
