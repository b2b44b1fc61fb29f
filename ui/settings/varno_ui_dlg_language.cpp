#include "ui/settings/varno_ui_dlg_language.h"

#include "settings/varno_sv_setting.h"
#include "sys/kernel.h"

namespace {

const StoredText kCaption{10007, "Language"};
constexpr int kChosen = 1;
constexpr int kBack = 2;

}  // namespace

CVarnoUIDlgLanguage* CVarnoUIDlgLanguage::CreateNew(HINSTANCE instance, HWND parent) {
    return new CVarnoUIDlgLanguage(instance, parent);
}

CVarnoUIDlgLanguage::CVarnoUIDlgLanguage(HINSTANCE instance, HWND parent)
    : CVarnoUIListDialog(instance, parent, kCaption, {"SETUP", "MSYH.TTF", 0.62, 0}) {}

void CVarnoUIDlgLanguage::InitDialog() {
    CVarnoSVSetting::GetInstance().CopyLanguageList(m_languages);
    CVarnoUIListDialog::InitDialog();
    // Ids are taken for row numbers. Where they are not, some row has to be selected all the same, or no key would
    // move.
    if (!Select(CVarnoSVSetting::GetInstance().GetLanguage())) Select(0);
}

std::vector<CVarnoUIListDialog::Row> CVarnoUIDlgLanguage::Rows() {
    std::vector<Row> rows;
    for (const auto& [id, language] : m_languages)
        rows.push_back({language->fullname});
    return rows;
}

void CVarnoUIDlgLanguage::HandleKeyDown(unsigned key) {
    switch (key) {
        case VK_RETURN:
            SaveSelectedLanguage();
            EndDialog(m_hHwnd, kChosen);
            break;
        case VK_F1:
            EndDialog(m_hHwnd, kBack);
            break;
        default:
            CVarnoUIListDialog::HandleKeyDown(key);
            break;
    }
    Varno::kernel().Sync();  // the settings reach the flash
}

bool CVarnoUIDlgLanguage::SaveSelectedLanguage() {
    const int row = Selected();
    if (row < 0) return false;
    const LRESULT length = SendMessage(m_hListMenu, LB_GETTEXTLEN, static_cast<WPARAM>(row), 0);
    std::string name(static_cast<std::size_t>(length), '\0');
    SendMessage(m_hListMenu, LB_GETTEXT, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(name.data()));
    for (const auto& [id, language] : m_languages) {
        if (language->fullname != name) continue;
        CVarnoSVSetting::GetInstance().SetLanguage(language->id);
        LocalizeCaption();
        return true;
    }
    return false;
}
