#include "ui/settings/varno_ui_dlg_setting.h"

#include <cstdio>

#include "settings/varno_sv_setting.h"
#include "ui/settings/varno_ui_dlg_adv_setting.h"
#include "ui/settings/varno_ui_dlg_color.h"
#include "ui/settings/varno_ui_dlg_format_media.h"
#include "ui/settings/varno_ui_dlg_help.h"

namespace {

const StoredText kCaption{10001, "Setup"};
enum Item { kAdvancedMenu, kColor, kFormatMedia, kHelp };
const std::vector<MenuItem> kItems = {{"img/asetting.png", {10002, "Advanced Settings"}},
                                      {"img/color.png", {10003, "Color or Black/White"}},
                                      {"img/format.png", {10004, "Format Media"}},
                                      {"img/help.png", {10005, "Help"}}};
constexpr int kBack = 1;

}  // namespace

CVarnoUIDlgSetting* CVarnoUIDlgSetting::CreateNew(HINSTANCE instance, HWND parent) {
    return new CVarnoUIDlgSetting(instance, parent);
}

CVarnoUIDlgSetting::CVarnoUIDlgSetting(HINSTANCE instance, HWND parent)
    : CVarnoUIMenuDialog(instance, parent, kCaption, kItems, kBack) {}

void CVarnoUIDlgSetting::DoDetailDlg() {
    switch (Selected()) {
        case kAdvancedMenu:
            printf("Advanced settings Menu\n");
            if (OpenAdvancedMenu()) return;
            break;
        case kColor:
            printf("Color Menu\n");
            Run<CVarnoUIDlgColor>();
            break;
        case kFormatMedia:
            printf("Format media Menu\n");
            Run<CVarnoUIDlgFormatMedia>();
            break;
        case kHelp:
            printf("Help Menu\n");
            Run<CVarnoUIDlgHelp>();
            break;
        default:
            return;
    }
    Reactivate();
}

// True when this menu has ended as well.
bool CVarnoUIDlgSetting::OpenAdvancedMenu() {
    const CVarnoSVSetting& settings = CVarnoSVSetting::GetInstance();
    const int language = settings.GetLanguage();
    const int result = Run<CVarnoUIDlgAdvSetting>();
    if (settings.GetLanguage() != language) SetLocalize();
    return EndForNewOutput(result);
}
