#include "ui/settings/varno_ui_dlg_tv_out.h"

#include <cstdio>

#include "app/globals.h"
#include "sys/display_output.h"
#include "sys/kernel.h"
#include "ui/base/varno_ui_dlg_msg_box.h"

namespace {

const StoredText kCaption{10008, "TV out"};
const StoredText kPlugIn{10023, "Plug in the TV out wire"};
const StoredText kNoWire{10024, "No wire found, check it please."};
const StoredText kCheckWire{10025, "Check TV out wire"};
constexpr UINT kYesNo = 4;
constexpr int kWritten = 1;
constexpr int kBack = 2;

}  // namespace

CVarnoUIDlgTVout* CVarnoUIDlgTVout::CreateNew(HINSTANCE instance, HWND parent) {
    return new CVarnoUIDlgTVout(instance, parent);
}

CVarnoUIDlgTVout::CVarnoUIDlgTVout(HINSTANCE instance, HWND parent)
    : CVarnoUIListDialog(instance, parent, kCaption, {"TVOUT", "Arial.ttf", 0.25, 0}) {}

std::vector<CVarnoUIListDialog::Row> CVarnoUIDlgTVout::Rows() {
    return {{"NTSC"}, {"PAL"}};
}

void CVarnoUIDlgTVout::HandleKeyDown(unsigned key) {
    switch (key) {
        case VK_RETURN:
            Confirm();
            break;
        case VK_F1:
            EndDialog(m_hHwnd, kBack);
            break;
        default:
            CVarnoUIListDialog::HandleKeyDown(key);
            break;
    }
}

void CVarnoUIDlgTVout::Confirm() {
    const bool go_on = VarnoMessageBox(m_hHwnd, kPlugIn.Get().c_str(), kCheckWire.Get().c_str(), kYesNo) == IDYES;
    Reactivate();
    if (!go_on) return;
    if (Varno::CheckTVoutWire()) {
        SetNewOutput();
        EndDialog(m_hHwnd, kWritten);
        sig_int_handler(0);
        return;
    }
    VarnoMessageBox(m_hHwnd, kNoWire.Get().c_str(), kCheckWire.Get().c_str(), kYesNo);
    Reactivate();
}

bool CVarnoUIDlgTVout::SetNewOutput() {
    const char* command = nullptr;
    switch (const int row = Selected(); row) {
        case 0:
            command = "echo lcd_panel=tvenc_ntsc > /etc/lcdparams";
            break;
        case 1:
            command = "echo lcd_panel=tvenc_pal > /etc/lcdparams";
            break;
        default:
            if (row < 0) return false;
            command = "echo lcd_panel=lq035 > /etc/lcdparams";  // the built-in panel; no row leads here yet
            break;
    }
    if (Varno::kernel().System(command) < 0) printf("set lcd panel error\n");
    m_isNewOutputSet = true;
    return true;
}
