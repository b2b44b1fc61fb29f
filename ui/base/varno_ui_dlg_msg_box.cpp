#include "ui/base/varno_ui_dlg_msg_box.h"

#include <cstdio>
#include <memory>

#include "settings/varno_sv_setting.h"

namespace {

constexpr WORD kTemplate = 103;
constexpr LRESULT kWantsAllKeys = DLGC_WANTARROWS | DLGC_HASSETSEL | DLGC_WANTCHARS;
constexpr COLORREF kTextColor = 0xFF000000;
constexpr COLORREF kBackground = 0xFFFFFFFF;
constexpr int kUnitsInHeight = 11;  // the layout's unit: this part of the frame's height

RECT ClientOf(HWND window) {
    RECT rect{};
    GetClientRect(window, &rect);
    return rect;
}

std::string Text(int id, const char* fallback) {
    return CVarnoSVSetting::GetInstance().GetXMLConfLangItemVal(id, fallback);
}

void DestroyControl(HWND& window) {
    if (window != nullptr) DestroyWindow(window);
    window = nullptr;
}

}  // namespace

int VarnoMessageBox(HWND parent, const char* text, const char* caption, UINT style) {
    HWND desktop = GetDesktopWindow();
    if (desktop == nullptr) return IDNO;
    const std::unique_ptr<CVarnoUIDlgMsgBox> box(CVarnoUIDlgMsgBox::CreateNew(GetWindowInstance(desktop), parent));
    if (box == nullptr) return IDNO;
    box->SetText(text);
    box->SetCaption(caption);
    box->SetUStyle(style);
    return box->DoModel();
}

CVarnoUIDlgMsgBox* CVarnoUIDlgMsgBox::CreateNew(HINSTANCE instance, HWND parent) {
    return instance != nullptr ? new CVarnoUIDlgMsgBox(instance, parent) : nullptr;
}

CVarnoUIDlgMsgBox::CVarnoUIDlgMsgBox(HINSTANCE instance, HWND parent) : CVarnoUIDialog(instance, parent, kTemplate) {}

CVarnoUIDlgMsgBox::~CVarnoUIDlgMsgBox() {
    Destroy();
}

void CVarnoUIDlgMsgBox::SetText(const char* text) {
    m_sText = text != nullptr ? text : "";
}

bool CVarnoUIDlgMsgBox::IsQuestion() const {
    return m_uStyle == kYesNo;
}

void CVarnoUIDlgMsgBox::InitDialog() {
    CVarnoUIDialog::InitDialog();
    InitFont();
    InitStaticHintText();
    InitStaicImage();
    InitStaticYesNo();
}

void CVarnoUIDlgMsgBox::DestoryDialog() {
    DeinitStaticYesNo();
    DeinitStaticImage();
    DeinitStaticHintText();
    DeinitFont();
    CVarnoUIDialog::DestoryDialog();
}

RECT CVarnoUIDlgMsgBox::HintPlace() const {
    const RECT frame = ClientOf(m_hFrame);
    const int unit = frame.bottom / kUnitsInHeight;
    return {0, unit / 2, frame.right, unit / 2 + 3 * unit};
}

// Centred on the middle of the left half for yes, of the right half for no.
RECT CVarnoUIDlgMsgBox::AnswerPlace(bool yes, int top, int width, int height) const {
    const int middle = ClientOf(m_hFrame).right * (yes ? 3 : 7) / 10;
    return {middle - width / 2, top, middle - width / 2 + width, top + height};
}

void CVarnoUIDlgMsgBox::InitFont() {
    DeinitFont();
    const int preferred = ClientOf(m_hFrame).bottom / kUnitsInHeight * 6 / 5;
    m_hfTextFont = Varno::CreateFittingFont("MSYH.TTF", preferred, FW_NORMAL, m_hHwnd, m_sText, HintPlace());
}

void CVarnoUIDlgMsgBox::DeinitFont() {
    if (m_hfTextFont != nullptr) DeleteObject(m_hfTextFont);
    m_hfTextFont = nullptr;
}

void CVarnoUIDlgMsgBox::InitImage() {
    m_pImgYesOK.reset(Varno::LoadImage("img/yes.gif"));
    m_pImgNoCancel.reset(Varno::LoadImage("img/no.gif"));
    m_pImgNone.reset(Varno::LoadImage("img/blacksqr.gif"));
}

void CVarnoUIDlgMsgBox::DeinitImage() {
    m_pImgYesOK.reset();
    m_pImgNoCancel.reset();
    m_pImgNone.reset();
}

// A child of the dialog, which colours it, and not of the frame below.
HWND CVarnoUIDlgMsgBox::CreateStatic(const std::string& text, DWORD type, const RECT& place) const {
    RECT frame{};
    GetWindowRect(m_hFrame, &frame);
    HWND control =
        CreateWindowEx(0, "STATIC", text.c_str(), WS_CHILD | WS_VISIBLE | type, place.left, frame.top + place.top,
                       place.right - place.left, place.bottom - place.top, m_hHwnd, nullptr, m_hInst, nullptr);
    SendMessage(control, WM_SETFONT, reinterpret_cast<WPARAM>(m_hfTextFont), TRUE);
    return control;
}

void CVarnoUIDlgMsgBox::InitStaticHintText() {
    m_hStaticHintText = CreateStatic(m_sText, SS_CENTER, HintPlace());
}

void CVarnoUIDlgMsgBox::DeinitStaticHintText() {
    DestroyControl(m_hStaticHintText);
}

void CVarnoUIDlgMsgBox::InitStaicImage() {
    if (!IsQuestion()) return;
    InitImage();
    const int unit = ClientOf(m_hFrame).bottom / kUnitsInHeight;
    const int top = unit * 9 / 2;
    m_hStaticImgYesOK = CreateStatic("", SS_ICON, AnswerPlace(true, top, 3 * unit, 3 * unit));
    m_hStaticImgNoCancel = CreateStatic("", SS_ICON, AnswerPlace(false, top, 3 * unit, 3 * unit));
    ShowSelection();
}

void CVarnoUIDlgMsgBox::DeinitStaticImage() {
    DestroyControl(m_hStaticImgYesOK);
    DestroyControl(m_hStaticImgNoCancel);
    DeinitImage();
}

void CVarnoUIDlgMsgBox::InitStaticYesNo() {
    if (!IsQuestion()) return;
    const RECT frame = ClientOf(m_hFrame);
    const int unit = frame.bottom / kUnitsInHeight;
    const int width = frame.right * 2 / 5;
    m_hStaticYes = CreateStatic(Text(10009, "Yes"), SS_CENTER, AnswerPlace(true, 8 * unit, width, 3 * unit / 2));
    m_hStaticNo = CreateStatic(Text(10010, "No"), SS_CENTER, AnswerPlace(false, 8 * unit, width, 3 * unit / 2));
}

void CVarnoUIDlgMsgBox::DeinitStaticYesNo() {
    DestroyControl(m_hStaticYes);
    DestroyControl(m_hStaticNo);
}

void CVarnoUIDlgMsgBox::ShowSelection() {
    PSD yes = m_bYesSelected ? m_pImgYesOK.get() : m_pImgNone.get();
    PSD no = m_bYesSelected ? m_pImgNone.get() : m_pImgNoCancel.get();
    SendMessage(m_hStaticImgYesOK, STM_SETIMAGE, 0, reinterpret_cast<LPARAM>(yes));
    SendMessage(m_hStaticImgNoCancel, STM_SETIMAGE, 0, reinterpret_cast<LPARAM>(no));
}

void CVarnoUIDlgMsgBox::HandleKeyDown(WPARAM key) {
    printf("test\n");
    switch (key) {
        case VK_RETURN:
            EndDialog(m_hHwnd, IsQuestion() && m_bYesSelected ? IDYES : IDNO);
            break;
        case VK_LEFT:
        case VK_RIGHT:
            m_bYesSelected = !m_bYesSelected;
            InvalidateRect(m_hHwnd, nullptr, TRUE);
            ShowSelection();
            break;
        case VK_F1:
            EndDialog(m_hHwnd, IDNO);
            break;
        default:
            break;
    }
}

LRESULT CVarnoUIDlgMsgBox::AnswerStaticColor(HDC dc, HWND control) const {
    if (control == m_hStaticHintText || control == m_hStaticYes || control == m_hStaticNo) {
        SetTextColor(dc, kTextColor);
        SetBkColor(dc, GetSysColor(COLOR_BTNFACE));
        SetBkMode(dc, OPAQUE);
        SelectObject(dc, reinterpret_cast<HFONT>(SendMessage(control, WM_GETFONT, 0, 0)));
        return reinterpret_cast<LRESULT>(GetStockObject(WHITE_BRUSH));
    }
    const bool picture = control == m_hStaticImgYesOK || control == m_hStaticImgNoCancel;
    return picture ? reinterpret_cast<LRESULT>(GetStockObject(WHITE_BRUSH)) : 0;
}

LRESULT CVarnoUIDlgMsgBox::DialogProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) {
    switch (msg) {
        case WM_ERASEBKGND: {
            const RECT rect = ClientOf(hwnd);
            FastFillRect(reinterpret_cast<HDC>(wparam), &rect, kBackground);
            BringWindowToTop(hwnd);
            return 1;
        }
        case WM_PAINT:
            SetActiveWindow(hwnd);
            return 0;
        case WM_CTLCOLORSTATIC:
            return AnswerStaticColor(reinterpret_cast<HDC>(wparam), reinterpret_cast<HWND>(lparam));
        case WM_GETDLGCODE:
            return kWantsAllKeys;
        case WM_KEYDOWN:
            HandleKeyDown(wparam);
            return 0;
        case WM_COMMAND:
            if (LOWORD(wparam) == IDOK) EndDialog(hwnd, IsQuestion() && !m_bYesSelected ? IDNO : IDYES);
            if (LOWORD(wparam) == IDCANCEL) EndDialog(hwnd, IsQuestion() ? IDNO : IDYES);
            return 0;
        default:
            return 0;
    }
}
