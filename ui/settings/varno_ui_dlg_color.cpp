#include "ui/settings/varno_ui_dlg_color.h"

#include "settings/varno_sv_setting.h"
#include "sys/kernel.h"
#include "ui/settings/dialog_parts.h"

namespace {

constexpr double kPictureWidth = 0.18;  // of the frame
constexpr int kMarginsInWidth = 32;     // the margin is this part of the frame's width
constexpr int kUnitsInHeight = 11;      // the text's height is 6/5 of this part of the frame's
constexpr int kEnded = 1;

}  // namespace

CVarnoUIDlgColor* CVarnoUIDlgColor::CreateNew(HINSTANCE instance, HWND parent) {
    return new CVarnoUIDlgColor(instance, parent);
}

CVarnoUIDlgColor::CVarnoUIDlgColor(HINSTANCE instance, HWND parent)
    : CVarnoUIDialog(instance, parent, kSettingsTemplate) {}

void CVarnoUIDlgColor::InitDialog() {
    CVarnoUIDialog::InitDialog();
    SetCaption(StoredText{10003, "Color or Black/White"}.Get().c_str());
    InitColorRadio();
}

void CVarnoUIDlgColor::DestoryDialog() {
    DeinitColorRadio();
    CVarnoUIDialog::DestoryDialog();
}

void CVarnoUIDlgColor::InitColorRadio() {
    m_color.selected.reset(Varno::LoadImage("img/ColorSel.png"));
    m_color.unselected.reset(Varno::LoadImage("img/ColorUnsel.png"));
    m_white.selected.reset(Varno::LoadImage("img/WhiteSel.png"));
    m_white.unselected.reset(Varno::LoadImage("img/WhiteUnsel.png"));
    m_isColorful = CVarnoSVSetting::GetInstance().GetColorful();

    RECT frame{};
    GetClientRect(m_hFrame, &frame);
    const int margin = frame.right / kMarginsInWidth;
    const int width = static_cast<int>(kPictureWidth * frame.right);
    const PSD shape = m_color.selected.get();
    const int height = shape != nullptr ? width * shape->yvirtres / shape->xvirtres : width;
    const int top = frame.bottom - margin - height;
    const RECT color{margin, top, margin + width, top + height};
    const RECT white{frame.right - margin - width, top, frame.right - margin, top + height};
    const RECT color_tip{color.right + margin, top, frame.right / 2, top + height};
    const RECT white_tip{frame.right / 2, top, white.left - margin, top + height};

    const std::vector<std::string> tips{StoredText{10017, "Color"}.Get(), StoredText{10018, "Monochrome"}.Get()};
    const int text_height = frame.bottom / kUnitsInHeight * 6 / 5;
    m_hfTipTextFont = Varno::CreateFittingFont("MSYH.TTF", text_height, FW_NORMAL, m_hFrame, tips, color_tip);
    CreateChoice(m_color, "cs", color, color_tip, tips[0], SS_LEFT);
    CreateChoice(m_white, "ws", white, white_tip, tips[1], SS_RIGHT);
    CheckColorSaveAndDisplay();
}

void CVarnoUIDlgColor::CreateChoice(Choice& choice, const char* name, const RECT& picture, const RECT& text,
                                    const std::string& tip, DWORD alignment) {
    const auto create = [this](const char* caption, DWORD type, const RECT& place) {
        return CreateWindowEx(0, "STATIC", caption, WS_CHILD | WS_VISIBLE | type, place.left, place.top,
                              place.right - place.left, place.bottom - place.top, m_hFrame, nullptr, m_hInst, nullptr);
    };
    choice.picture = create(name, SS_ICON, picture);
    choice.text = create(tip.c_str(), alignment, text);
    SendMessage(choice.text, WM_SETFONT, reinterpret_cast<WPARAM>(m_hfTipTextFont), TRUE);
}

void CVarnoUIDlgColor::DeinitColorRadio() {
    for (Choice* choice : {&m_color, &m_white}) {
        if (choice->picture != nullptr) DestroyWindow(choice->picture);
        if (choice->text != nullptr) DestroyWindow(choice->text);
        *choice = {};
    }
    if (m_hfTipTextFont != nullptr) DeleteObject(m_hfTipTextFont);
    m_hfTipTextFont = nullptr;
}

void CVarnoUIDlgColor::CheckColorSaveAndDisplay() {
    const auto show = [](const Choice& choice, bool selected) {
        PSD image = (selected ? choice.selected : choice.unselected).get();
        SendMessage(choice.picture, STM_SETIMAGE, 0, reinterpret_cast<LPARAM>(image));
    };
    show(m_color, m_isColorful);
    show(m_white, !m_isColorful);
}

void CVarnoUIDlgColor::HandleKeyDown(unsigned key) {
    switch (key) {
        case VK_LEFT:
        case VK_RIGHT:
            m_isColorful = !m_isColorful;
            CheckColorSaveAndDisplay();
            break;
        case VK_RETURN:
            CVarnoSVSetting::GetInstance().SetColorful(m_isColorful);
            EndDialog(m_hHwnd, kEnded);
            break;
        case VK_F1:
            EndDialog(m_hHwnd, kEnded);
            break;
        default:
            break;
    }
    Varno::kernel().Sync();  // the settings reach the flash
}

LRESULT CVarnoUIDlgColor::DialogProc(HWND /*hwnd*/, UINT msg, WPARAM wparam, LPARAM /*lparam*/) {
    if (msg == WM_GETDLGCODE) return kWantsAllKeys;
    if (msg == WM_KEYDOWN) HandleKeyDown(static_cast<unsigned>(wparam));
    return 0;
}
