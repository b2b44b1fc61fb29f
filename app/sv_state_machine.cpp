// The main window's camera, sequenced by a timer. Keys only move the machine into a waiting state; the tick does the
// work.
#include <chrono>
#include <cstdio>
#include <memory>

#include "app/globals.h"
#include "app/mxs_watchdog.h"
#include "app/sv_main.h"
#include "settings/varno_sv_setting.h"
#include "sys/kernel.h"
#include "sys/sleep.h"
#include "sys/varno_sv_utils.h"
#include "ui/base/varno_ui_dlg_warning.h"
#include "ui/controls/varno_ui_ctrl_image_displayer.h"
#include "ui/controls/varno_ui_ctrl_rec_mode.h"
#include "video/varno_cam_rec_ctrl.h"

using std::chrono::milliseconds;

namespace {

constexpr UINT kTimerId = 0x10000005;
constexpr UINT kPeriodMs = 200;
constexpr DWORD kWatchdogPeriodMs = 10000;
constexpr int kUsbHost = 2;  // the OTG port's answer while a PC is connected
constexpr int kMinimumKib = 2048;
constexpr int kSpaceWithoutMedium = 100;  // KiB: too little for anything
constexpr int kLiveWidth = 320;
constexpr int kLiveHeight = 240;
constexpr int kStartBrightness = 50;        // per cent
constexpr milliseconds kPoll{10};           // of a busy-wait
constexpr milliseconds kSettleTime{200};    // of a camera that has just changed its size
constexpr milliseconds kRestartTime{2000};  // that such a camera may take until it streams

}  // namespace

int GetAvailSpace() {
    if (!Varno::GetMMCFirstPart().empty()) return Varno::GetFirstMMCAvailableSpace();
    if (!Varno::GetNandDataPart().empty()) return Varno::GetUserNandAvailableSpace();
    return kSpaceWithoutMedium;
}

bool CVarnoSVMain::StartStateMachine() {
    if (m_hHwnd == nullptr) return false;
    StopStateMachine();
    m_tStateMachineTimer = SetTimer(m_hHwnd, kTimerId, kPeriodMs, fnStateMachineTimerProc);
    return m_tStateMachineTimer != 0;
}

void CVarnoSVMain::StopStateMachine() {
    if (m_tStateMachineTimer == 0) return;
    if (m_hHwnd != nullptr) KillTimer(m_hHwnd, m_tStateMachineTimer);
    m_tStateMachineTimer = 0;
}

void CVarnoSVMain::ChangeToNewState(CamStatus status) {
    m_lastStatus = m_curStatus;
    m_curStatus = status;
    printf("old: %s, new: %s\n", GetStateString(m_lastStatus), GetStateString(m_curStatus));
}

void CVarnoSVMain::StateMachine() {
    KickWatchdog();
    if (!m_bTimerContinue) return;
    if (CVarnoSVSetting::GetInstance().GetOTGStatus() == kUsbHost) {
        ExportStorage();
        return;
    }
    CheckSpace();
    CheckPowerOff();
    switch (m_curStatus) {
        case CAM_STATUS_DETECT:
            DetectCamera();
            break;
        case CAM_STATUS_VIEW:
            UndoStillPreparation();
            if (!IsCameraPlaying()) ChangeToNewState(CAM_STATUS_DETECT);
            break;
        case CAM_STATUS_REC_WAIT:
            DecideCapture();
            break;
        case CAM_STATUS_REC_VIDEO_WAIT:
            BeginVideo();
            break;
        case CAM_STATUS_REC_VIDEO:
            WatchVideo();
            break;
        case CAM_STATUS_REC_VIDEO_STOP_WAIT:
            EndVideo();
            break;
        case CAM_STATUS_REC_IMAGE_WAIT:
            // The still is taken on the next tick, so that the busy picture is painted first.
            ChangeToNewState(CAM_STATUS_REC_IMAGE);
            ShowFunnelCtrl(SW_SHOW);
            break;
        case CAM_STATUS_REC_IMAGE:
            TakeStill();
            break;
        default:
            break;
    }
}

void CVarnoSVMain::KickWatchdog() {
    const DWORD now = GetTickCount();
    if (m_nLastWatchTick != 0 && now - m_nLastWatchTick <= kWatchdogPeriodMs) return;
    m_nLastWatchTick = now;
    CMXSWatchdog::GetInstance().KeepLive();
}

void CVarnoSVMain::CheckSpace() {
    if (GetAvailSpace() < kMinimumKib && m_bCanEnterSpaceAutoWarn) WarnNoSpace(true);
}

void CVarnoSVMain::ShowWarning(WaningBoxType kind, const char* trace) const {
    const std::unique_ptr<CVarnoUIDlgWarning> dialog(CVarnoUIDlgWarning::CreateNew(m_hInst, nullptr));
    dialog->DoModal(kind);
    fputs(trace, stdout);
}

// Ends whatever is recorded. Ticks that run meanwhile find m_bTimerContinue cleared.
void CVarnoSVMain::WarnNoSpace(bool trace) {
    m_bTimerContinue = false;
    EnterMenu();
    ShowWarning(WARNBOX_NoSpace, trace ? "WARNBOX_NoSpace\n" : "");
    Varno::ReleaseVMCache(Varno::K_CACHE_PAGE);
    ExitMenu();
    m_bTimerContinue = true;
    m_bCanEnterSpaceAutoWarn = false;
}

// Once per run. Ticks go on during the farewell: they find the camera paused and the request taken.
void CVarnoSVMain::CheckPowerOff() {
    if (GetPowerOffStatus() == 0 || m_pwflag) return;
    m_pwflag = true;
    EnterMenu();
    ShowWarning(WARNBOX_EXIT);
    Varno::kernel().Sync();
    SetPowerOffStatus();
    ExitMenu();
}

void CVarnoSVMain::DetectCamera() {
    if (m_camctrl == nullptr) InitCamera();
    if (videoflag == 0) return;
    if (!CheckCamConnected()) {
        ResumeCamera();
        return;
    }
    m_camctrl->SetColorOrBlack(CVarnoSVSetting::GetInstance().GetColorful());
    ChangeToNewState(CAM_STATUS_VIEW);
}

void CVarnoSVMain::DecideCapture() {
    if (m_pRecMode == nullptr) {
        ChangeToNewState(m_lastStatus);
    } else if (m_pRecMode->CurMode() == REC_MODE_VIDEO) {
        ChangeToNewState(CAM_STATUS_REC_VIDEO_WAIT);
    } else if (m_pRecMode->CurMode() == REC_MODE_IMAGE) {
        ChangeToNewState(CAM_STATUS_REC_IMAGE_WAIT);
    } else {
        ChangeToNewState(m_lastStatus);
    }
}

void CVarnoSVMain::BeginVideo() {
    if (m_lastStatus != CAM_STATUS_REC_WAIT || m_pRecMode == nullptr || m_pRecMode->CurMode() != REC_MODE_VIDEO) {
        ChangeToNewState(CAM_STATUS_VIEW);
        return;
    }
    // The mode was changed between the capture key and now: the camera may still be prepared for a still.
    if (UndoStillPreparation()) WaitForStream();
    if (GetAvailSpace() < kMinimumKib) {
        printf("nand have not enough space\n");
        WarnNoSpace(false);
        ChangeToNewState(CAM_STATUS_VIEW);
        return;
    }
    printf("nand have enough space\n");
    m_pRecMode->StartRecord();
    m_bCanEnterSpaceAutoWarn = true;
    if (m_camctrl != nullptr) m_camctrl->StartRecordAVI();
    ChangeToNewState(CAM_STATUS_REC_VIDEO);
    if (m_pRecordingImageCtrl != nullptr) m_pRecordingImageCtrl->Show(SW_SHOW);
}

void CVarnoSVMain::WatchVideo() {
    if (IsCameraRecording() && CheckCamConnected()) return;
    if (m_pRecMode != nullptr) m_pRecMode->StopRecord();
    ShowFunnelCtrl(SW_HIDE);
    ChangeToNewState(CAM_STATUS_VIEW);
    if (m_camctrl != nullptr) m_camctrl->StopRecordAVI();
    if (m_pRecordingImageCtrl != nullptr) m_pRecordingImageCtrl->Show(SW_HIDE);
    m_bCanEnterSpaceAutoWarn = false;
}

void CVarnoSVMain::EndVideo() {
    if (m_pRecMode != nullptr) m_pRecMode->StopRecord();
    if (m_camctrl != nullptr) m_camctrl->StopRecordAVI();
    ChangeToNewState(CAM_STATUS_VIEW);
    if (m_pRecordingImageCtrl != nullptr) m_pRecordingImageCtrl->Show(SW_HIDE);
    ShowFunnelCtrl(SW_HIDE);
    m_bCanEnterSpaceAutoWarn = false;
}

// The waits have no bound of their own: a camera that never comes back is ended by the watchdog.
void CVarnoSVMain::TakeStill() {
    if (GetAvailSpace() < kMinimumKib) {
        WarnNoSpace(true);
    } else if (m_camctrl != nullptr) {
        m_camctrl->SaveToImage();
    }
    ChangeToNewState(CAM_STATUS_VIEW);
    ShowFunnelCtrl(SW_SHOW);
    RefreshNextReg();
    WaitForStill();
    printf("##########################################################\n");
    if (m_camctrl != nullptr) {
        m_camctrl->ChangeUVCResolution(true, kLiveWidth, kLiveHeight);
        while (!CheckCamConnected())
            Varno::SleepSignalsOpen(kPoll);
        Varno::SleepSignalsOpen(kSettleTime);
        m_camctrl->SetPictureStatus(true);
    }
    m_bStillPrepared = false;
    ShowFunnelCtrl(SW_HIDE);
}

// A camera that was pulled meanwhile is looked for as often as in DETECT, sooner than its own thread would.
void CVarnoSVMain::WaitForStill() {
    constexpr int kPollsPerSearch = static_cast<int>(milliseconds(kPeriodMs) / kPoll);
    for (int polls = 1; m_camctrl != nullptr && m_camctrl->GetSavingImageStatus(); ++polls) {
        Varno::SleepSignalsOpen(kPoll);
        if (polls % kPollsPerSearch == 0 && !CheckCamConnected()) m_camctrl->Start();
    }
}

// A capture key outside live view, or a menu or an unplugged camera right after it, leaves the camera at still size
// with its picture off: live view would stay frozen.
bool CVarnoSVMain::UndoStillPreparation() {
    if (!m_bStillPrepared) return false;
    m_bStillPrepared = false;
    if (m_camctrl == nullptr) return false;
    m_camctrl->ChangeUVCResolution(true, kLiveWidth, kLiveHeight);
    m_camctrl->SetPictureStatus(true);
    return true;
}

// A camera that was just restarted delivers in a moment, and cannot be recorded before.
void CVarnoSVMain::WaitForStream() const {
    for (milliseconds waited{0}; waited < kRestartTime && !IsCameraPlaying(); waited += kPoll)
        Varno::SleepSignalsOpen(kPoll);
}

bool CVarnoSVMain::InitCamera() {
    m_camctrl.reset();
    printf("Start Init camera\n");
    m_camctrl.reset(CVarnoCamRecCtrl::CreateNew());
    if (m_camctrl == nullptr) return false;
    m_camctrl->Start();
    m_camctrl->ChangeBright(kStartBrightness);
    return true;
}

void CVarnoSVMain::PauseCamera() {
    const bool recording = m_curStatus == CAM_STATUS_REC_VIDEO || m_curStatus == CAM_STATUS_REC_VIDEO_STOP_WAIT;
    if (recording) m_bCanEnterSpaceAutoWarn = false;
    if (m_pRecMode != nullptr) m_pRecMode->StopRecord();
    if (m_camctrl != nullptr) {
        m_camctrl->StopRecordAVI();
        m_camctrl->Stop();
    }
    ChangeToNewState(CAM_STATUS_STOP);
}

void CVarnoSVMain::ResumeCamera() {
    if (m_camctrl != nullptr) m_camctrl->Start();
    ChangeToNewState(CAM_STATUS_DETECT);
}

bool CVarnoSVMain::CheckCamConnected() const {
    return m_camctrl != nullptr && m_camctrl->GetUVCStatus() > UVC_STATUS_DISCONNECTED;
}

bool CVarnoSVMain::IsCameraPlaying() const {
    return m_camctrl != nullptr && m_camctrl->GetUVCStatus() > UVC_STATUS_CONNECTED;
}

// Without a controller: yes, so that only the missing camera ends such a recording.
bool CVarnoSVMain::IsCameraRecording() const {
    return m_camctrl == nullptr || m_camctrl->IsAVIRecording();
}
