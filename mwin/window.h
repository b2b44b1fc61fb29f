// What the window system keeps about one window, and how it is found. Internal to mwin; UI thread.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "mwin/region.h"
#include "mwin/windows.h"

namespace mwin {

struct WindowClass {
    std::string name;
    WNDPROC procedure;
    std::size_t extra_bytes;
    HBRUSH background;
};

// What a built-in control keeps with its window.
class ControlData {
  public:
    ControlData() = default;
    ControlData(const ControlData&) = delete;
    ControlData& operator=(const ControlData&) = delete;
    virtual ~ControlData() = default;
    // The picture is about to be released by its owner.
    virtual void ForgetPicture(PSD) {}
};

// Handles are numbers that are never used twice, so a stale one finds nothing. Whoever calls a window procedure holds a
// WindowPtr meanwhile: the procedure may destroy the window.
struct Window {
    HWND handle = nullptr;
    WNDPROC procedure = nullptr;
    DLGPROC dialog_procedure = nullptr;  // of a dialog window, from WM_INITDIALOG on
    HBRUSH background = nullptr;
    HINSTANCE instance = nullptr;
    DWORD style = 0;
    DWORD ex_style = 0;
    LONG_PTR id = 0;
    LONG_PTR user_data = 0;
    std::vector<std::byte> extra;
    std::size_t extra_bytes = 0;
    std::string text;
    HFONT font = nullptr;
    RECT rect{};                                    // in the parent's client area
    Window* parent = nullptr;                       // null for the desktop, and once unlinked
    std::vector<std::shared_ptr<Window>> children;  // lowest first
    HWND owner = nullptr;                           // of a top-level window
    HWND focus_before = nullptr;                    // of a modal dialog: who gets the keys back
    HWND active_before = nullptr;
    Region update;  // in client coordinates
    bool erase_pending = false;
    bool erase_unanswered = false;  // the last erase message was answered with 0
    int erasing = 0;                // erase handlers running
    int painting = 0;               // erase and paint handlers running for its update region
    bool dying = false;  // it or an ancestor is being destroyed: no paint, timer, key or posted message any more
    bool being_destroyed = false;  // DestroyWindow has reached it
    bool told_destroy = false;     // WM_DESTROY was delivered
    bool silent = false;           // WM_DESTROY has returned: nothing is delivered any more
    bool gone = false;             // unlinked, the handle is invalid
    std::unique_ptr<ControlData> control;

    int Width() const { return rect.right - rect.left; }
    int Height() const { return rect.bottom - rect.top; }
    bool HasStyle(DWORD bits) const { return (style & bits) == bits; }
};
using WindowPtr = std::shared_ptr<Window>;

// The window of a handle; null for a stale or null one.
WindowPtr Find(HWND handle);
std::size_t LiveWindows();  // the desktop among them
// The root of the tree; null before Install.
const WindowPtr& Desktop();
void CreateDesktop(int width, int height);
// Gives the window its handle.
void AddWindow(const WindowPtr& window);
// Makes the handle invalid.
void RemoveWindow(Window& window);
// Forgets every window and class without telling anyone.
void ForgetAllWindows();
const WindowClass* FindClass(const char* name);
// Calls the window's procedure, unless it is past its WM_DESTROY. WM_DESTROY is delivered once.
LRESULT CallProcedure(const WindowPtr& window, UINT message, WPARAM wparam, LPARAM lparam);
// Tells every control that a picture is about to be released, so that none draws it again.
void ForgetPicture(PSD picture);

}  // namespace mwin
