#include "ui/settings/varno_ui_menu_dialog.h"

#include "app/globals.h"

namespace {

constexpr int kNewOutput = 1;

}  // namespace

CVarnoUIMenuDialog::CVarnoUIMenuDialog(HINSTANCE instance, HWND parent, const StoredText& caption,
                                       const std::vector<MenuItem>& items, int back)
    : CVarnoUIListDialog(instance, parent, caption, {"SETUP", "MSYH.TTF", 0.44, 4}), m_items(items), m_nBack(back) {
    for (const MenuItem& item : items)
        m_icons.emplace_back(Varno::LoadImage(item.icon));
}

std::vector<CVarnoUIListDialog::Row> CVarnoUIMenuDialog::Rows() {
    std::vector<Row> rows;
    for (const MenuItem& item : m_items)
        rows.push_back({item.caption.Get(), m_icons[rows.size()].get()});
    return rows;
}

void CVarnoUIMenuDialog::SetLocalize() {
    LocalizeCaption();
    RefreshListBox();
}

void CVarnoUIMenuDialog::HandleKeyDown(unsigned key) {
    switch (key) {
        case VK_RETURN:
            DoDetailDlg();
            break;
        case VK_F1:
            EndDialog(m_hHwnd, m_nBack);
            break;
        default:
            CVarnoUIListDialog::HandleKeyDown(key);
            break;
    }
}

bool CVarnoUIMenuDialog::EndForNewOutput(int child_result) {
    if (child_result != kNewOutput || !m_isNewOutputSet) return false;
    EndDialog(m_hHwnd, kNewOutput);
    return true;
}
