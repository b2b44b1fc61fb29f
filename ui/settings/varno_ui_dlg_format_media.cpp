#include "ui/settings/varno_ui_dlg_format_media.h"

#include <cstdio>
#include <sstream>

#include "settings/varno_sv_setting.h"
#include "sys/kernel.h"
#include "sys/storage.h"
#include "ui/base/busy_picture.h"
#include "ui/base/varno_ui_dlg_msg_box.h"

namespace {

constexpr UINT kStart = WM_ENTERIDLE;  // posted by the dialog itself, from opening; this window system never sends it
constexpr UINT kYesNo = 4;
constexpr int kEnded = 1;
constexpr COLORREF kBackground = 0xFFFFFFFF;

// Whatever a command answers, the next one is run: a medium that half of them worked on is not left like that.
void RunCommand(std::ostringstream& command) {
    Varno::kernel().System(command.str().c_str());
    command.str("");
}

void RunTold(std::ostringstream& command) {
    const std::string text = command.str();
    RunCommand(command);
    printf("Run %s\n", text.c_str());
}

}  // namespace

CVarnoUIDlgFormatMedia* CVarnoUIDlgFormatMedia::CreateNew(HINSTANCE instance, HWND parent) {
    return new CVarnoUIDlgFormatMedia(instance, parent);
}

CVarnoUIDlgFormatMedia::CVarnoUIDlgFormatMedia(HINSTANCE instance, HWND parent)
    : CVarnoUIDialog(instance, parent, kSettingsTemplate) {}

void CVarnoUIDlgFormatMedia::InitDialog() {
    CVarnoUIDialog::InitDialog();
    SetCaption(StoredText{10004, "Format Media"}.Get().c_str());
    InitFunnelCtrl();
    PostMessage(m_hHwnd, kStart, 0, 0);
}

void CVarnoUIDlgFormatMedia::DestoryDialog() {
    DenitFunnelCtrl();
    CVarnoUIDialog::DestoryDialog();
}

bool CVarnoUIDlgFormatMedia::InitFunnelCtrl() {
    DenitFunnelCtrl();
    HWND desktop = GetDesktopWindow();
    if (desktop == nullptr) return true;
    const CVarnoSVSetting& settings = CVarnoSVSetting::GetInstance();
    const int width = settings.GetScrWidth() * 15 / 320;
    const int height = settings.GetScrHeight() * 21 / 240;
    m_pFunnel.reset(CVarnoUICtrlImageDisplayer::CreateNew(m_hInst, desktop, 0, (settings.GetScrWidth() - width) / 2,
                                                          (settings.GetScrHeight() - height) / 2, width, height));
    if (m_pFunnel != nullptr) m_pFunnel->SetNewImagePath("img/funnel.gif");
    return true;
}

void CVarnoUIDlgFormatMedia::DenitFunnelCtrl() {
    m_pFunnel.reset();
}

bool CVarnoUIDlgFormatMedia::Ask(const StoredText& question) {
    return VarnoMessageBox(m_hHwnd, question.Get().c_str(), StoredText{10015, "Format"}.Get().c_str(), kYesNo) == IDYES;
}

void CVarnoUIDlgFormatMedia::FormatMedia() {
    if (!Ask({10014, "Format Media?"})) return;
    printf("Start Formating media\n");
    const std::string card = Varno::GetMMCFirstPart();
    if (!Ask({10016, "Warning - this will erase ALL files in memory"})) return;
    UpdateWindow(m_hHwnd);  // the question would stay on the screen
    const BusyPicture busy;
    if (!card.empty()) {
        FormatCard(card);
    } else {
        FormatNand();
    }
    Varno::kernel().Sync();
}

void CVarnoUIDlgFormatMedia::FormatCard(const std::string& mount_point) {
    const std::string device = Varno::GetMMCFirstPartDev();
    std::ostringstream command;
    command << "/bin/umount -l " << mount_point;  // lazily: open files do not keep it
    RunTold(command);
    command << "/usr/bin/mkdosfs -F 32 " << device;
    RunTold(command);
    command << "/bin/mount -t vfat " << device << " " << mount_point;
    RunTold(command);
}

void CVarnoUIDlgFormatMedia::FormatNand() {
    const std::string mount_point = Varno::GetNandDataPart();
    std::ostringstream command;
    command << "/bin/umount -l " << mount_point;
    RunCommand(command);
    command << "rm  -f  /mnt/ubifs/backing_file  ";
    RunCommand(command);
    command << "/usr/varno/nandformat  stop  ";
    RunCommand(command);
    command << "/usr/varno/nandformat  start  ";
    RunCommand(command);
}

LRESULT CVarnoUIDlgFormatMedia::DialogProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM /*lparam*/) {
    switch (msg) {
        case WM_GETDLGCODE:
            return DLGC_WANTARROWS | DLGC_WANTALLKEYS;
        case WM_ERASEBKGND: {
            RECT rect{};
            GetClientRect(hwnd, &rect);
            FastFillRect(reinterpret_cast<HDC>(wparam), &rect, kBackground);
            return 1;
        }
        case WM_COMMAND:
            if (LOWORD(wparam) == IDCANCEL) EndDialog(hwnd, kEnded);
            return 0;
        case kStart:
            if (m_bStarted) return 0;
            m_bStarted = true;
            FormatMedia();
            EndDialog(hwnd, kEnded);
            DestroyWindow(hwnd);
            return 0;
        default:
            return 0;
    }
}
