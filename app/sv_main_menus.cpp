// The dialogs that are opened from live view.
#include "app/globals.h"
#include "app/sv_main.h"
#include "ui/controls/varno_ui_ctrl_rec_mode.h"
#include "ui/media/varno_ui_dlg_media_nav.h"
#include "ui/settings/varno_ui_dlg_setting.h"
#include "video/varno_cam_rec_ctrl.h"

void CVarnoSVMain::OpenSettings() {
    constexpr int kNewOutput = 1;
    if (m_camctrl == nullptr || (m_pRecMode != nullptr && m_pRecMode->RecordStatus())) return;
    std::unique_ptr<CVarnoUIDlgSetting> dialog(CVarnoUIDlgSetting::CreateNew(m_hInst, m_hHwnd));
    EnterMenu();
    videoflag = 0;
    m_camctrl->ChangeBright(0);
    m_dlgCurDlg = dialog.get();
    const int result = dialog->DoModel();
    dialog.reset();
    m_dlgCurDlg = nullptr;
    if (result == kNewOutput && m_isNewOutputSet) {
        StopStateMachine();
        DestroyWindow(m_hHwnd);  // ends the program
    }
    LeaveMenu();
}

void CVarnoSVMain::OpenMedia() {
    if (m_camctrl == nullptr || (m_pRecMode != nullptr && m_pRecMode->RecordStatus())) return;
    EnterMenu();
    videoflag = 0;
    m_camctrl->ChangeBright(0);
    std::unique_ptr<CVarnoUIDlgMediaNav> dialog(CVarnoUIDlgMediaNav::CreateNew(m_hInst, m_hHwnd));
    m_dlgCurDlg = dialog.get();
    dialog->DoModel();
    m_dlgCurDlg = nullptr;
    dialog.reset();
    LeaveMenu();
}

void CVarnoSVMain::LeaveMenu() {
    if (m_bExportDue && m_hHwnd != nullptr) ExportStorage();
    ExitMenu();
    videoflag = 1;
    ChangeBright();
}
