#include "ui/settings/varno_ui_dlg_help.h"

#include <string>

#include "ui/base/mw_ui_base.h"
#include "ui/base/varno_mwin_utils.h"
#include "ui/settings/dialog_parts.h"

namespace {

constexpr int kEnded = 1;
constexpr int kMajorVersion = 2;
constexpr int kMinorVersion = 0;
constexpr double kTextPart = 0.6;  // of the device name's height
constexpr UINT kReservedTimerId = 1012;
constexpr UINT kReservedDelayMs = 1000;
constexpr const char* kReservedText = "";  // this edition has nothing to say there

std::string VersionText() {
    return "V" + std::to_string(kMajorVersion) + "." + std::to_string(kMinorVersion);
}

}  // namespace

CVarnoUIDlgHelp* CVarnoUIDlgHelp::CreateNew(HINSTANCE instance, HWND parent) {
    return new CVarnoUIDlgHelp(instance, parent);
}

CVarnoUIDlgHelp::CVarnoUIDlgHelp(HINSTANCE instance, HWND parent)
    : CVarnoUIDialog(instance, parent, kSettingsTemplate) {}

void CVarnoUIDlgHelp::InitDialog() {
    CVarnoUIDialog::InitDialog();
    SetCaption(StoredText{10005, "Help"}.Get().c_str());
    InitLines();
    SetTimer(m_hHwnd, kReservedTimerId, kReservedDelayMs, fnRvdDispTimerProc);
}

void CVarnoUIDlgHelp::DestoryDialog() {
    for (HWND& line : m_lines) {
        if (line != nullptr) DestroyWindow(line);
        line = nullptr;
    }
    for (HFONT* font : {&m_hfDeviceName, &m_hfText}) {
        if (*font != nullptr) DeleteObject(*font);
        *font = nullptr;
    }
    CVarnoUIDialog::DestoryDialog();
}

void CVarnoUIDlgHelp::InitLines() {
    RECT frame{};
    GetClientRect(m_hFrame, &frame);
    const int name_height = frame.bottom / 10;
    const int text_height = static_cast<int>(kTextPart * name_height);
    m_hfDeviceName = Varno::CreateFaceFont("Arial.ttf", name_height, FW_NORMAL);
    m_hfText = Varno::CreateFaceFont("Arial.ttf", text_height, FW_NORMAL);
    const struct {
        std::string text;
        HFONT font;
        int top, height;
    } lines[kLines] = {{"SV410", m_hfDeviceName, 3 * name_height, name_height},
                       {"Firmware Version", m_hfText, 5 * name_height, text_height},
                       {VersionText(), m_hfText, 6 * name_height, text_height},
                       {"", m_hfText, 7 * name_height, text_height}};
    for (int i = 0; i < kLines; ++i) {
        m_lines[static_cast<std::size_t>(i)] =
            CreateWindowEx(0, "STATIC", lines[i].text.c_str(), WS_CHILD | WS_VISIBLE | SS_CENTER, 0, lines[i].top,
                           frame.right, lines[i].height, m_hFrame, nullptr, m_hInst, nullptr);
        SendMessage(m_lines[static_cast<std::size_t>(i)], WM_SETFONT, reinterpret_cast<WPARAM>(lines[i].font), TRUE);
    }
}

void CALLBACK CVarnoUIDlgHelp::fnRvdDispTimerProc(HWND hwnd, UINT /*msg*/, UINT id, DWORD /*time*/) {
    KillTimer(hwnd, id);
    const auto* dialog = static_cast<CVarnoUIDlgHelp*>(ObjectOf<CVarnoUIDialog>(hwnd));
    if (dialog != nullptr) SetWindowText(dialog->m_lines[kReserved], kReservedText);
}

void CVarnoUIDlgHelp::HandleKeyDown(unsigned key) {
    if (key == VK_RETURN || key == VK_F1) EndDialog(m_hHwnd, kEnded);
}

LRESULT CVarnoUIDlgHelp::DialogProc(HWND /*hwnd*/, UINT msg, WPARAM wparam, LPARAM /*lparam*/) {
    if (msg == WM_GETDLGCODE) return kWantsAllKeys;
    if (msg == WM_KEYDOWN) HandleKeyDown(static_cast<unsigned>(wparam));
    return 0;
}
