#include "ui/settings/varno_ui_list_dialog.h"

#include <algorithm>

#include "ui/base/varno_mwin_utils.h"

namespace {

// Pixels between the caption and a selected top row, which are of one colour.
constexpr int kGap = 2;
// Pixels; a file that lists more rows than fit at this height makes the list scroll.
constexpr int kSmallestRow = 16;
// Pixels left and right of a row's text together, the mark of a list that scrolls included.
constexpr int kTextMargins = 12;

}  // namespace

CVarnoUIListDialog::CVarnoUIListDialog(HINSTANCE instance, HWND parent, const StoredText& caption, const Style& style)
    : CVarnoUIDialog(instance, parent, kSettingsTemplate), m_caption(caption), m_style(style) {}

void CVarnoUIListDialog::InitDialog() {
    CVarnoUIDialog::InitDialog();
    LocalizeCaption();
    InitListBox();
}

void CVarnoUIListDialog::DestoryDialog() {
    DeinitListBox();
    CVarnoUIDialog::DestoryDialog();
}

void CVarnoUIListDialog::InitListBox() {
    DeinitListBox();
    RECT frame{};
    GetClientRect(m_hFrame, &frame);
    m_hListMenu = CreateWindowEx(0, "LISTBOX", m_style.window_text, WS_CHILD | WS_VISIBLE | LBS_NOTIFY, 0, kGap,
                                 frame.right, frame.bottom - kGap, m_hFrame, nullptr, m_hInst, nullptr);
    RefreshListBox();
}

void CVarnoUIListDialog::DeinitListBox() {
    if (m_hListMenu != nullptr) DestroyWindow(m_hListMenu);
    m_hListMenu = nullptr;
    if (m_hfList != nullptr) DeleteObject(m_hfList);
    m_hfList = nullptr;
}

void CVarnoUIListDialog::RefreshListBox() {
    if (m_hListMenu == nullptr) return;
    const std::vector<Row> rows = Rows();
    RECT list{};
    GetClientRect(m_hListMenu, &list);
    const int shown = m_style.rows_shown > 0 ? m_style.rows_shown : static_cast<int>(rows.size());
    const int row_height = std::max(static_cast<int>(list.bottom) / std::max(shown, 1), kSmallestRow);
    SendMessage(m_hListMenu, LB_RESETCONTENT, 0, 0);
    SendMessage(m_hListMenu, LB_SETITEMHEIGHT, 0, row_height);
    FitFont(rows, row_height);
    for (const Row& row : rows) {
        const LRESULT index = SendMessage(m_hListMenu, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(row.text.c_str()));
        SendMessage(m_hListMenu, LB_SETITEMICON, static_cast<WPARAM>(index), reinterpret_cast<LPARAM>(row.icon));
    }
    Select(0);
}

void CVarnoUIListDialog::FitFont(const std::vector<Row>& rows, int row_height) {
    const int preferred = static_cast<int>(m_style.font_part * row_height);
    RECT place{0, 0, 0, preferred};
    GetClientRect(m_hListMenu, &place);
    place.right -= kTextMargins;
    place.bottom = preferred;  // one line, as long as that stays legible
    if (!rows.empty() && rows.front().icon != nullptr) place.right -= row_height;
    std::vector<std::string> texts;
    for (const Row& row : rows)
        texts.push_back(row.text);
    HFONT font = Varno::CreateFittingFont(m_style.face, preferred, FW_NORMAL, m_hListMenu, texts, place);
    SendMessage(m_hListMenu, WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
    if (m_hfList != nullptr) DeleteObject(m_hfList);
    m_hfList = font;
}

int CVarnoUIListDialog::Selected() const {
    return static_cast<int>(SendMessage(m_hListMenu, LB_GETCURSEL, 0, 0));
}

bool CVarnoUIListDialog::Select(int row) {
    return SendMessage(m_hListMenu, LB_SETCURSEL, static_cast<WPARAM>(row), 0) != LB_ERR;
}

void CVarnoUIListDialog::Reactivate() const {
    if (m_hHwnd != nullptr) SetActiveWindow(m_hHwnd);
}

void CVarnoUIListDialog::HandleKeyDown(unsigned key) {
    switch (key) {
        case VK_LEFT:
        case VK_UP:
        case VK_RIGHT:
        case VK_DOWN:
            MoveSelection(key);
            break;
        default:
            break;
    }
}

void CVarnoUIListDialog::MoveSelection(unsigned key) {
    const int count = static_cast<int>(SendMessage(m_hListMenu, LB_GETCOUNT, 0, 0));
    const int selected = Selected();
    if (count <= 0 || selected < 0) return;
    if (key == VK_UP && selected == 0) {
        Select(count - 1);
    } else if (key == VK_DOWN && selected == count - 1) {
        Select(0);
    } else {
        SendMessage(m_hListMenu, WM_KEYDOWN, key, 0);
    }
}

LRESULT CVarnoUIListDialog::DialogProc(HWND /*hwnd*/, UINT msg, WPARAM wparam, LPARAM /*lparam*/) {
    if (msg == WM_GETDLGCODE) return kWantsAllKeys;
    if (msg == WM_KEYDOWN) HandleKeyDown(static_cast<unsigned>(wparam));
    return 0;
}
