#include "ui/settings/varno_ui_dlg_adv_setting.h"

#include <cstdio>

#include "ui/settings/varno_ui_dlg_date_time.h"
#include "ui/settings/varno_ui_dlg_language.h"
#include "ui/settings/varno_ui_dlg_tv_out.h"

namespace {

const StoredText kCaption{10002, "Advanced Settings"};
enum Item { kDateTime, kLanguage, kTVout };
const std::vector<MenuItem> kItems = {{"img/DateTime.png", {10006, "Date and Time"}},
                                      {"img/Language.png", {10007, "Language"}},
                                      {"img/TVout.png", {10008, "TV out"}}};
// Not the setup menu's: there it would mean a new TV output.
constexpr int kBack = 2;
constexpr int kLanguageChosen = 1;

}  // namespace

CVarnoUIDlgAdvSetting* CVarnoUIDlgAdvSetting::CreateNew(HINSTANCE instance, HWND parent) {
    return new CVarnoUIDlgAdvSetting(instance, parent);
}

CVarnoUIDlgAdvSetting::CVarnoUIDlgAdvSetting(HINSTANCE instance, HWND parent)
    : CVarnoUIMenuDialog(instance, parent, kCaption, kItems, kBack) {}

void CVarnoUIDlgAdvSetting::DoDetailDlg() {
    switch (Selected()) {
        case kDateTime:
            printf("Date and Time\n");
            Run<CVarnoUIDlgDateTime>();
            break;
        case kLanguage:
            printf("Language\n");
            OpenLanguage();
            break;
        case kTVout:
            printf("TV out\n");
            if (EndForNewOutput(Run<CVarnoUIDlgTVout>())) return;
            break;
        default:
            return;
    }
    Reactivate();
}

void CVarnoUIDlgAdvSetting::OpenLanguage() {
    if (Run<CVarnoUIDlgLanguage>() != kLanguageChosen) return;
    const int row = Selected();
    SetLocalize();
    Select(row);
}
