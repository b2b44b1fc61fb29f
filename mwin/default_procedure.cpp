// What a window does with messages that its own procedure leaves alone.
#include <algorithm>
#include <cstring>

#include "mwin/paint.h"
#include "mwin/window.h"

namespace mwin {
namespace {

LRESULT Erase(const Window& window, HDC device) {
    if (window.background == nullptr || window.background == GetStockObject(WINDOW_ERASES_BRUSH)) return 0;
    const RECT client{0, 0, window.Width(), window.Height()};
    FillRect(device, &client, window.background);
    return 1;
}

LRESULT CopyText(const Window& window, std::size_t size, char* buffer) {
    if (buffer == nullptr || size == 0) return 0;
    const std::size_t length = std::min(window.text.size(), size - 1);
    std::memcpy(buffer, window.text.data(), length);
    buffer[length] = '\0';
    return static_cast<LRESULT>(length);
}

// Colours for a control whose parent names none.
LRESULT ControlColors(HDC device, int background) {
    SetTextColor(device, GetSysColor(COLOR_WINDOWTEXT));
    SetBkColor(device, GetSysColor(background));
    return reinterpret_cast<LRESULT>(CreateSolidBrush(GetSysColor(background)));
}

}  // namespace
}  // namespace mwin

LRESULT DefWindowProc(HWND handle, UINT message, WPARAM wparam, LPARAM lparam) {
    const mwin::WindowPtr window = mwin::Find(handle);
    if (window == nullptr) return 0;
    switch (message) {
        case WM_ERASEBKGND:
            return mwin::Erase(*window, reinterpret_cast<HDC>(wparam));
        case WM_CLOSE:
            DestroyWindow(handle);
            return 0;
        case WM_SETTEXT:
            window->text = lparam != 0 ? reinterpret_cast<const char*>(lparam) : "";
            return TRUE;
        case WM_GETTEXT:
            return mwin::CopyText(*window, wparam, reinterpret_cast<char*>(lparam));
        case WM_GETTEXTLENGTH:
            return static_cast<LRESULT>(window->text.size());
        case WM_SETFONT:
            window->font = reinterpret_cast<HFONT>(wparam);
            if (LOWORD(static_cast<WPARAM>(lparam)) != 0) InvalidateRect(handle, nullptr, TRUE);
            return 0;
        case WM_GETFONT:
            return reinterpret_cast<LRESULT>(window->font);
        case WM_CTLCOLOREDIT:
        case WM_CTLCOLORLISTBOX:
            return mwin::ControlColors(reinterpret_cast<HDC>(wparam), COLOR_WINDOW);
        case WM_CTLCOLORSCROLLBAR:
            return mwin::ControlColors(reinterpret_cast<HDC>(wparam), COLOR_SCROLLBAR);
        case WM_CTLCOLORBTN:
        case WM_CTLCOLORDLG:
        case WM_CTLCOLORSTATIC:
            return mwin::ControlColors(reinterpret_cast<HDC>(wparam), COLOR_BTNFACE);
        default:
            return 0;
    }
}
