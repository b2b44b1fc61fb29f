// "STATIC": a text or a picture.
#include "mwin/controls.h"
#include "mwin/window.h"

namespace mwin {
namespace {

class StaticData : public ControlData {
  public:
    PSD picture = nullptr;  // not owned

    void ForgetPicture(PSD gone) override {
        if (picture == gone) picture = nullptr;
    }
};

StaticData& DataOf(const Window& window) {
    return static_cast<StaticData&>(*window.control);
}

// Text stands in the middle of the height, in as many lines as it needs.
void DrawCaption(const Window& window, HDC device) {
    const DWORD type = window.style & SS_TYPEMASK;
    const UINT alignment = type == SS_CENTER ? DT_CENTER : type == SS_RIGHT ? DT_RIGHT : DT_LEFT;
    const UINT lines = window.HasStyle(SS_CENTERIMAGE) ? DT_SINGLELINE : DT_WORDBREAK;
    const UINT format = alignment | lines | DT_NOPREFIX;
    RECT place{0, 0, window.Width(), window.Height()};
    RECT needed = place;
    const int height = DrawText(device, window.text.c_str(), -1, &needed, format | DT_CALCRECT);
    if (height < window.Height()) place.top = (window.Height() - height) / 2;
    DrawText(device, window.text.c_str(), -1, &place, format);
}

void Paint(const WindowPtr& window) {
    PAINTSTRUCT paint{};
    HDC device = BeginPaint(window->handle, &paint);
    const RECT client{0, 0, window->Width(), window->Height()};
    PaintBackground(window->handle, device, WM_CTLCOLORSTATIC, client);
    if (PSD picture = DataOf(*window).picture) {
        DrawDIBFit(device, 0, 0, client.right, client.bottom, picture);
    } else if ((window->style & SS_TYPEMASK) != SS_ICON && !window->text.empty()) {
        DrawCaption(*window, device);
    }
    EndPaint(window->handle, &paint);
}

LRESULT SetPicture(const Window& window, PSD picture) {
    StaticData& data = DataOf(window);
    PSD before = data.picture;
    data.picture = picture;
    if (before != picture) InvalidateRect(window.handle, nullptr, FALSE);
    return reinterpret_cast<LRESULT>(before);
}

LRESULT SetCaption(Window& window, const char* text) {
    const std::string now = text != nullptr ? text : "";
    if (now == window.text) return TRUE;
    window.text = now;
    InvalidateRect(window.handle, nullptr, FALSE);
    return TRUE;
}

LRESULT StaticProcedure(HWND handle, UINT message, WPARAM wparam, LPARAM lparam) {
    const WindowPtr window = Find(handle);
    if (window == nullptr) return 0;
    if (window->control == nullptr) window->control = std::make_unique<StaticData>();
    switch (message) {
        case WM_ERASEBKGND:
            return 1;  // with the text, so that nothing flickers
        case WM_PAINT:
            Paint(window);
            return 0;
        case WM_SETTEXT:
            return SetCaption(*window, reinterpret_cast<const char*>(lparam));
        case WM_SETFONT:
            DefWindowProc(handle, message, wparam, TRUE);
            return 0;
        case STM_SETIMAGE:
            return SetPicture(*window, reinterpret_cast<PSD>(lparam));
        case STM_GETIMAGE:
            return reinterpret_cast<LRESULT>(DataOf(*window).picture);
        default:
            return DefWindowProc(handle, message, wparam, lparam);
    }
}

}  // namespace

void RegisterStaticControl(HINSTANCE instance) {
    WNDCLASS control{};
    control.lpfnWndProc = StaticProcedure;
    control.hInstance = instance;
    control.lpszClassName = "STATIC";
    RegisterClass(&control);
}

}  // namespace mwin
