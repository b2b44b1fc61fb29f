#include "ui/base/varno_ui_dialog.h"

#include <algorithm>
#include <cstdio>

#include "settings/varno_sv_setting.h"
#include "ui/base/mw_ui_base.h"
#include "ui/base/varno_mwin_utils.h"

namespace {

constexpr COLORREF kTextColor = 0xFFFFFFFF;
constexpr COLORREF kDialogColor = 0xFF734216;
constexpr COLORREF kFrameColor = 0xFFFFFFFF;
constexpr UINT kFrameClassStyle = CS_VREDRAW | CS_HREDRAW | CS_DBLCLKS;
constexpr const char* kFrameClass = "VarnoDLGFrame";
constexpr double kCaptionBand = 0.16;       // of the screen's height
constexpr double kCaptionFontHeight = 0.6;  // of the band's height

int CaptionHeight() {
    return static_cast<int>(kCaptionBand * CVarnoSVSetting::GetInstance().GetScrHeight());
}

}  // namespace

CVarnoUIDialog::CVarnoUIDialog(HINSTANCE instance, HWND parent, WORD dialog_id)
    : m_hInst(instance), m_hParent(parent), m_DlgID(dialog_id) {}

CVarnoUIDialog::~CVarnoUIDialog() {
    if (m_hHwnd != nullptr) {
        // The overriders are gone: the window that is still open must not find the object any more.
        SetWindowLong(m_hHwnd, kWindowObject, 0);
        CVarnoUIDialog::DestoryDialog();
    }
    printf("~CVarnoUIDialog\n");
}

int CVarnoUIDialog::DoModel() {
    if (m_hInst == nullptr) return -1;
    return DialogBoxParam(m_hInst, MAKEINTRESOURCE(0xFFFF0000U | m_DlgID), m_hParent, mainDlgProc,
                          reinterpret_cast<LPARAM>(this));
}

void CVarnoUIDialog::CloseFromOutside() {
    if (m_hHwnd != nullptr) EndDialog(m_hHwnd, 0);
}

void CVarnoUIDialog::InitDialog() {
    InitFrame();
    if (m_hCaption != nullptr) return;
    m_hCaption = CreateWindowEx(0, "STATIC", m_strCaptName.c_str(), WS_CHILD | WS_VISIBLE | SS_CENTER, 0, 0,
                                CVarnoSVSetting::GetInstance().GetScrWidth(), CaptionHeight(), m_hHwnd, nullptr,
                                m_hInst, nullptr);
    SetCaption(m_strCaptName.c_str());
}

void CVarnoUIDialog::DestoryDialog() {
    UninitFrame();
    if (m_hCaption != nullptr) DestroyWindow(m_hCaption);
    m_hCaption = nullptr;
    if (m_hfCaptionFont != nullptr) DeleteObject(m_hfCaptionFont);
    m_hfCaptionFont = nullptr;
    if (m_hHwnd != nullptr) SetWindowLong(m_hHwnd, kWindowObject, 0);
    m_hHwnd = nullptr;
    printf("CVarnoUIDialog::DestoryDialog\n");
}

void CVarnoUIDialog::Destroy() {
    if (m_hHwnd != nullptr) SendMessage(m_hHwnd, WM_DESTROY, 0, 0);
}

void CVarnoUIDialog::InitFrame() {
    UninitFrame();
    WNDCLASS window_class{};
    window_class.style = kFrameClassStyle;
    window_class.lpfnWndProc = frameproc;
    window_class.hInstance = m_hInst;
    window_class.hbrBackground = GetStockObject(WINDOW_ERASES_BRUSH);
    window_class.lpszClassName = kFrameClass;
    RegisterClass(&window_class);
    const int top = CaptionHeight();
    const CVarnoSVSetting& settings = CVarnoSVSetting::GetInstance();
    m_hFrame = CreateWindowEx(0, kFrameClass, "", WS_CHILD, 0, top, settings.GetScrWidth(),
                              settings.GetScrHeight() - top, m_hHwnd, nullptr, m_hInst, nullptr);
    if (m_hFrame != nullptr) ShowWindow(m_hFrame, SW_SHOW);
}

void CVarnoUIDialog::UninitFrame() {
    if (m_hFrame != nullptr) DestroyWindow(m_hFrame);
    m_hFrame = nullptr;
}

void CVarnoUIDialog::SetCaption(const char* text) {
    if (text != nullptr) m_strCaptName = text;
    if (m_hCaption == nullptr) return;
    RECT rect{};
    GetClientRect(m_hCaption, &rect);
    const int height = std::min(static_cast<int>(kCaptionFontHeight * rect.bottom), static_cast<int>(rect.bottom));
    HFONT font = Varno::CreateFaceFont("MSYH.TTF", height, FW_NORMAL);
    SendMessage(m_hCaption, WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
    if (m_hfCaptionFont != nullptr) DeleteObject(m_hfCaptionFont);
    m_hfCaptionFont = font;
    if (!m_strCaptName.empty()) SendMessage(m_hCaption, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(m_strCaptName.c_str()));
}

LRESULT CVarnoUIDialog::AnswerStaticColor(HWND hwnd, WPARAM wparam, LPARAM lparam) {
    HDC dc = reinterpret_cast<HDC>(wparam);
    SetTextColor(dc, kTextColor);
    SetBkColor(dc, kDialogColor);
    SetBkMode(dc, OPAQUE);
    SelectObject(dc, reinterpret_cast<HFONT>(SendMessage(reinterpret_cast<HWND>(lparam), WM_GETFONT, 0, 0)));
    SelectObject(dc, GetStockObject(BLACK_PEN));
    const LRESULT brush = DialogProc(hwnd, WM_CTLCOLORSTATIC, wparam, lparam);
    return brush != 0 ? brush : reinterpret_cast<LRESULT>(Varno::SolidBrush(kDialogColor));
}

LRESULT CALLBACK CVarnoUIDialog::mainDlgProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) {
    if (msg == WM_INITDIALOG) SetWindowLong(hwnd, kWindowObject, lparam);
    auto* dialog = ObjectOf<CVarnoUIDialog>(hwnd);
    if (dialog == nullptr) return 0;
    RECT rect{};
    GetClientRect(hwnd, &rect);
    switch (msg) {
        case WM_DESTROY:
            dialog->DestoryDialog();
            SetWindowLong(hwnd, kWindowObject, 0);
            return 0;
        case WM_PAINT: {
            PAINTSTRUCT paint{};
            HDC dc = BeginPaint(hwnd, &paint);
            FillRect(dc, &rect, GetStockObject(WHITE_BRUSH));
            EndPaint(hwnd, &paint);
            return dialog->DialogProc(hwnd, msg, wparam, lparam);
        }
        case WM_ERASEBKGND:
            FastFillRect(reinterpret_cast<HDC>(wparam), &rect, kFrameColor);
            return dialog->DialogProc(hwnd, msg, wparam, lparam);
        case WM_INITDIALOG:
            dialog->m_hHwnd = hwnd;
            MoveWindow(hwnd, 0, 0, GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN), TRUE);
            dialog->InitDialog();
            return 0;
        case WM_CTLCOLORSTATIC:
            return dialog->AnswerStaticColor(hwnd, wparam, lparam);
        default:
            return dialog->DialogProc(hwnd, msg, wparam, lparam);
    }
}

LRESULT CALLBACK CVarnoUIDialog::frameproc(HWND hwnd, UINT msg, WPARAM /*wparam*/, LPARAM /*lparam*/) {
    if (msg == WM_CTLCOLORSTATIC) return reinterpret_cast<LRESULT>(GetStockObject(WHITE_BRUSH));
    if (msg == WM_PAINT) {
        PAINTSTRUCT paint{};
        RECT rect{};
        HDC dc = BeginPaint(hwnd, &paint);
        GetClientRect(hwnd, &rect);
        FastFillRect(dc, &rect, kFrameColor);
        EndPaint(hwnd, &paint);
    }
    return 0;
}
