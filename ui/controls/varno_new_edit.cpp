#include "ui/controls/varno_new_edit.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "ui/base/mw_ui_base.h"

namespace {

constexpr COLORREF kTextColor = 0xFF000000;
constexpr COLORREF kBackColor = 0xFFFFFFFF;
constexpr COLORREF kEdgeColor = 0xFF808080;
constexpr int kMargin = 3;  // pixels between edge and text
constexpr std::size_t kDefaultLimit = 255;

// One field's window data; lives from WM_CREATE to WM_DESTROY. Numbers are ASCII, so a character is a byte.
class NewEdit {
  public:
    NewEdit(HWND hwnd, const char* text) : hwnd_(hwnd), text_(text == nullptr ? "" : text) {
        anchor_ = caret_ = text_.size();
    }

    LRESULT Handle(UINT msg, WPARAM wparam, LPARAM lparam);

  private:
    void SetText(const char* text);
    LRESULT CopyText(char* buffer, std::size_t size) const;
    void Select(std::size_t from, std::size_t to);
    void Type(char digit);
    void KeyDown(WPARAM key, LPARAM flags);
    bool EditKey(WPARAM key);
    void ReplaceSelection(const std::string& by);
    void Changed();
    void Paint();
    int PaintPart(HDC dc, int x, std::size_t from, std::size_t to, bool selected) const;
    int WidthOf(HDC dc, std::size_t from, std::size_t to) const;
    void ScrollToCaret(HDC dc, int width);
    void Repaint() { InvalidateRect(hwnd_, nullptr, FALSE); }

    HWND hwnd_;
    std::string text_;
    std::size_t anchor_ = 0;  // the selection's other end
    std::size_t caret_ = 0;
    std::size_t limit_ = kDefaultLimit;
    HFONT font_ = nullptr;  // the caller's
    bool marked_ = false;
    bool focused_ = false;
    int scroll_ = 0;  // pixels that are cut off on the left
};

LRESULT NewEdit::Handle(UINT msg, WPARAM wparam, LPARAM lparam) {
    switch (msg) {
        case WM_SETTEXT:
            SetText(reinterpret_cast<const char*>(lparam));
            return TRUE;
        case WM_GETTEXT:
            return CopyText(reinterpret_cast<char*>(lparam), wparam);
        case WM_GETTEXTLENGTH:
            return static_cast<LRESULT>(text_.size());
        case WM_SETFONT:
            font_ = reinterpret_cast<HFONT>(wparam);
            Repaint();
            return 0;
        case WM_GETFONT:
            return reinterpret_cast<LRESULT>(font_);
        case WM_ENABLE:
            if (marked_ != (wparam != 0)) {
                marked_ = wparam != 0;
                Select(marked_ ? 0 : text_.size(), text_.size());
                Repaint();
            }
            return 0;
        case EM_LIMITTEXT:
            limit_ = wparam == 0 ? std::string::npos : wparam;
            return 0;
        case EM_SETSEL:
            Select(wparam, lparam < 0 ? text_.size() : static_cast<std::size_t>(lparam));
            return TRUE;
        case EM_GETSEL:
            return MAKELPARAM(static_cast<WORD>(std::min(anchor_, caret_)),
                              static_cast<WORD>(std::max(anchor_, caret_)));
        case WM_SETFOCUS:
        case WM_KILLFOCUS:
            focused_ = msg == WM_SETFOCUS;
            Repaint();
            return 0;
        case WM_GETDLGCODE:
            return DLGC_WANTALLKEYS | DLGC_WANTARROWS | DLGC_WANTCHARS;
        case WM_CHAR:
            if (wparam >= '0' && wparam <= '9') Type(static_cast<char>(wparam));
            return 0;
        case WM_KEYDOWN:
            KeyDown(wparam, lparam);
            return 0;
        case WM_ERASEBKGND:
            return 1;
        case WM_PAINT:
            Paint();
            return 0;
        default:
            return DefWindowProc(hwnd_, msg, wparam, lparam);
    }
}

void NewEdit::SetText(const char* text) {
    const std::string wanted = text == nullptr ? "" : text;
    if (wanted == text_) return;
    text_ = wanted;
    Select(marked_ ? 0 : text_.size(), text_.size());
    Changed();
}

LRESULT NewEdit::CopyText(char* buffer, std::size_t size) const {
    if (buffer == nullptr || size == 0) return 0;
    const std::size_t count = std::min(text_.size(), size - 1);
    std::memcpy(buffer, text_.data(), count);
    buffer[count] = '\0';
    return static_cast<LRESULT>(count);
}

void NewEdit::Select(std::size_t from, std::size_t to) {
    from = std::min(from, text_.size());
    to = std::min(to, text_.size());
    if (from == anchor_ && to == caret_) return;
    anchor_ = from;
    caret_ = to;
    Repaint();
}

void NewEdit::ReplaceSelection(const std::string& by) {
    const std::size_t first = std::min(anchor_, caret_);
    text_.replace(first, std::max(anchor_, caret_) - first, by);
    anchor_ = caret_ = first + by.size();
    Changed();
}

void NewEdit::Type(char digit) {
    const std::size_t selected = std::max(anchor_, caret_) - std::min(anchor_, caret_);
    if (text_.size() - selected < limit_) ReplaceSelection(std::string(1, digit));
}

void NewEdit::KeyDown(WPARAM key, LPARAM flags) {
    if (marked_ || !EditKey(key)) SendMessage(GetParent(hwnd_), WM_KEYDOWN, key, flags);
}

bool NewEdit::EditKey(WPARAM key) {
    const bool selection = anchor_ != caret_;
    std::size_t caret = 0;
    switch (key) {
        case VK_LEFT:
            caret = selection ? std::min(anchor_, caret_) : caret_ - (caret_ > 0 ? 1 : 0);
            break;
        case VK_RIGHT:
            caret = selection ? std::max(anchor_, caret_) : std::min(caret_ + 1, text_.size());
            break;
        case VK_HOME:
            caret = 0;
            break;
        case VK_END:
            caret = text_.size();
            break;
        case VK_BACK:
        case VK_DELETE:
            if (!selection && key == VK_BACK && caret_ > 0) anchor_ = caret_ - 1;
            if (!selection && key == VK_DELETE && caret_ < text_.size()) anchor_ = caret_ + 1;
            if (anchor_ != caret_) ReplaceSelection("");
            return true;
        default:
            return false;
    }
    Select(caret, caret);
    return true;
}

void NewEdit::Changed() {
    Repaint();
    const WPARAM code = static_cast<WPARAM>(EN_CHANGE) << 16U | static_cast<WORD>(GetDlgCtrlID(hwnd_));
    SendMessage(GetParent(hwnd_), WM_COMMAND, code, reinterpret_cast<LPARAM>(hwnd_));
}

int NewEdit::WidthOf(HDC dc, std::size_t from, std::size_t to) const {
    SIZE size{};
    GetTextExtentPoint(dc, text_.c_str() + from, static_cast<int>(to - from), &size);
    return size.cx;
}

void NewEdit::ScrollToCaret(HDC dc, int width) {
    const int caret = WidthOf(dc, 0, caret_);
    scroll_ = std::clamp(scroll_, std::max(caret - width + 1, 0), caret);
    scroll_ = std::min(scroll_, std::max(WidthOf(dc, 0, text_.size()) - width + 1, 0));
}

int NewEdit::PaintPart(HDC dc, int x, std::size_t from, std::size_t to, bool selected) const {
    if (from == to) return x;
    const int width = WidthOf(dc, from, to);
    RECT client{};
    GetClientRect(hwnd_, &client);
    // Clipped by the field's inside: text that scrolled out must not cover the edge, which is drawn last.
    RECT rect{x, 1, x + width, client.bottom - 1};
    if (selected) FastFillRect(dc, &rect, GetSysColor(COLOR_HIGHLIGHT));
    SetTextColor(dc, selected ? GetSysColor(COLOR_HIGHLIGHTTEXT) : kTextColor);
    DrawText(dc, text_.c_str() + from, static_cast<int>(to - from), &rect,
             DT_LEFT | DT_VCENTER | DT_SINGLELINE | DT_NOPREFIX);
    return x + width;
}

void NewEdit::Paint() {
    PAINTSTRUCT paint{};
    HDC dc = BeginPaint(hwnd_, &paint);
    RECT rect{};
    GetClientRect(hwnd_, &rect);
    FastFillRect(dc, &rect, kBackColor);
    if (font_ != nullptr) SelectObject(dc, font_);
    SetBkMode(dc, TRANSPARENT);
    const int room = std::max(static_cast<int>(rect.right) - 2 * kMargin, 1);
    ScrollToCaret(dc, room);
    const int width = WidthOf(dc, 0, text_.size());
    const bool centred = (static_cast<DWORD>(GetWindowLong(hwnd_, GWL_STYLE)) & ES_CENTER) != 0 && width <= room;
    const int start = centred ? (rect.right - width) / 2 : kMargin - scroll_;
    const std::size_t first = std::min(anchor_, caret_);
    const std::size_t last = std::max(anchor_, caret_);
    int x = PaintPart(dc, start, 0, first, false);
    x = PaintPart(dc, x, first, last, true);
    PaintPart(dc, x, last, text_.size(), false);
    if (focused_ && anchor_ == caret_) {
        const int at = start + WidthOf(dc, 0, caret_);
        const RECT caret{at, 2, at + 1, rect.bottom - 2};
        FastFillRect(dc, &caret, kTextColor);
    }
    for (const RECT& edge : {RECT{0, 0, rect.right, 1}, RECT{0, rect.bottom - 1, rect.right, rect.bottom},
                             RECT{0, 0, 1, rect.bottom}, RECT{rect.right - 1, 0, rect.right, rect.bottom}}) {
        FastFillRect(dc, &edge, kEdgeColor);
    }
    EndPaint(hwnd_, &paint);
}

LRESULT CALLBACK NewEditProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) {
    if (msg == WM_CREATE) {
        const auto* creation = reinterpret_cast<const CREATESTRUCT*>(lparam);
        SetWindowLong(hwnd, kWindowObject, reinterpret_cast<LONG_PTR>(new NewEdit(hwnd, creation->lpszName)));
        return 0;
    }
    auto* edit = ObjectOf<NewEdit>(hwnd);
    if (edit == nullptr) return DefWindowProc(hwnd, msg, wparam, lparam);
    if (msg == WM_DESTROY) {
        SetWindowLong(hwnd, kWindowObject, 0);
        delete edit;
        return 0;
    }
    return edit->Handle(msg, wparam, lparam);
}

}  // namespace

WORD MwRegisterVarnoNewEditControl(HINSTANCE instance) {
    WNDCLASS window_class{};
    window_class.style = CS_HREDRAW | CS_VREDRAW;
    window_class.lpfnWndProc = NewEditProc;
    window_class.cbWndExtra = kWindowObject + sizeof(LONG_PTR);
    window_class.hInstance = instance;
    window_class.hbrBackground = GetStockObject(WINDOW_ERASES_BRUSH);
    window_class.lpszClassName = kNewEditClass;
    return RegisterClass(&window_class);
}
