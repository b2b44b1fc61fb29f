#include "ui/settings/varno_ui_dlg_date_time.h"

#include "ui/settings/dialog_parts.h"
#include "ui/settings/varno_ui_ctrl_date_time.h"

namespace {

constexpr int kClockSet = 6;
constexpr int kBack = 1;
constexpr int kMarginsInWidth = 32;  // the margin is this part of the frame's width

}  // namespace

CVarnoUIDlgDateTime* CVarnoUIDlgDateTime::CreateNew(HINSTANCE instance, HWND parent) {
    return new CVarnoUIDlgDateTime(instance, parent);
}

CVarnoUIDlgDateTime::CVarnoUIDlgDateTime(HINSTANCE instance, HWND parent)
    : CVarnoUIDialog(instance, parent, kSettingsTemplate) {}

CVarnoUIDlgDateTime::~CVarnoUIDlgDateTime() = default;

void CVarnoUIDlgDateTime::InitDialog() {
    CVarnoUIDialog::InitDialog();
    SetCaption(StoredText{10006, "Date and Time"}.Get().c_str());
    RECT frame{};
    GetClientRect(m_hFrame, &frame);
    const int margin = frame.right / kMarginsInWidth;
    const int icon = frame.right / 5;
    m_pIcon.reset(Varno::LoadImage("img/DateIcon.jpg"));
    m_hIconStatic = CreateWindowEx(0, "STATIC", "yes", WS_CHILD | WS_VISIBLE | SS_ICON, margin, 2 * margin, icon, icon,
                                   m_hFrame, nullptr, m_hInst, nullptr);
    SendMessage(m_hIconStatic, STM_SETIMAGE, 0, reinterpret_cast<LPARAM>(m_pIcon.get()));
    m_pCtrlDateTime.reset(CVarnoUICtrlDateTime::CreateNew(m_hFrame));
    const int left = icon + 2 * margin;
    m_pCtrlDateTime->InitWindow(left, margin, frame.right - left - margin, frame.bottom - 2 * margin);
}

void CVarnoUIDlgDateTime::DestoryDialog() {
    m_pCtrlDateTime.reset();
    if (m_hIconStatic != nullptr) DestroyWindow(m_hIconStatic);
    m_hIconStatic = nullptr;
    m_pIcon.reset();
    CVarnoUIDialog::DestoryDialog();
}

void CVarnoUIDlgDateTime::HandleKeyDown(unsigned key) {
    switch (key) {
        case VK_LEFT:
        case VK_UP:
        case VK_RIGHT:
        case VK_DOWN:
        case VK_RETURN:
            SendMessage(m_pCtrlDateTime->Window(), WM_KEYDOWN, key, 0);
            if (key == VK_RETURN) EndDialog(m_hHwnd, kClockSet);
            break;
        case VK_F1:
            EndDialog(m_hHwnd, kBack);
            break;
        default:
            break;
    }
}

LRESULT CVarnoUIDlgDateTime::DialogProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM /*lparam*/) {
    switch (msg) {
        case WM_GETDLGCODE:
            return kWantsAllKeys;
        case WM_KEYDOWN:
            HandleKeyDown(static_cast<unsigned>(wparam));
            return 0;
        case WM_ERASEBKGND: {
            RECT rect{};
            GetClientRect(hwnd, &rect);
            FastFillRect(reinterpret_cast<HDC>(wparam), &rect, GetSysColor(COLOR_WINDOWFRAME));
            return 1;
        }
        case WM_COMMAND:
            if (LOWORD(wparam) == IDCANCEL) EndDialog(hwnd, kBack);
            return 0;
        default:
            return 0;
    }
}
