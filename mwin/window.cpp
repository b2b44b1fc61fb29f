// Creating and destroying windows, and what is asked of them.
#include "mwin/window.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "mwin/dialog.h"
#include "mwin/focus.h"
#include "mwin/message_queue.h"
#include "mwin/paint.h"
#include "mwin/surface.h"
#include "mwin/timer.h"
#include "mwin/window_tree.h"

namespace mwin {
namespace {

// Marks the window and everything in it: no more paint, timer, key or posted messages.
void Withdraw(const WindowPtr& window) {
    ForEach(window, [](const WindowPtr& w) {
        w->dying = true;
        w->update.Clear();
        w->erase_pending = false;
        KillTimersOf(w->handle);
        RefuseMessages(w->handle);
    });
}

// Sends WM_DESTROY to the window and then to what is in it, to each once: a handler may have begun with some of them.
void TellDestroyed(const WindowPtr& window) {
    window->being_destroyed = true;
    CallProcedure(window, WM_DESTROY, 0, 0);
    window->silent = true;
    const std::vector<WindowPtr> children = window->children;
    for (const WindowPtr& child : children) {
        if (!child->gone) TellDestroyed(child);
    }
}

void DestroyOwnedBy(HWND owner) {
    if (Desktop() == nullptr) return;
    const std::vector<WindowPtr> windows = Desktop()->children;
    for (const WindowPtr& window : windows) {
        if (window->owner == owner) DestroyWindow(window->handle);
    }
}

void Destroy(const WindowPtr& window) {
    window->being_destroyed = true;
    EndLoopOf(window->handle);
    Withdraw(window);
    // A handler may take its time; the window is seen meanwhile as it was drawn last.
    if (IsShown(*window) && !IsPainting()) FlushScreen();
    TellDestroyed(window);
    DestroyOwnedBy(window->handle);
    if (window->gone) return;  // together with its parent, by its own handler
    const Region uncovered = OuterRegion(*window);
    Window* parent = window->parent;
    const WindowPtr parent_kept = parent != nullptr ? Find(parent->handle) : nullptr;
    Unlink(*window);
    InvalidateScreen(uncovered);
    GiveUpKeys(*window, parent_kept.get());
    ForEach(window, [](const WindowPtr& w) {
        DetachDevices(w->handle);
        RemoveWindow(*w);
    });
}

}  // namespace
}  // namespace mwin

using mwin::Find;
using mwin::Window;
using mwin::WindowPtr;

HWND CreateWindowEx(DWORD ex_style, LPCSTR class_name, LPCSTR text, DWORD style, int x, int y, int width, int height,
                    HWND parent, HMENU id, HINSTANCE instance, void* parameter) {
    const mwin::WindowClass* window_class = mwin::FindClass(class_name);
    const WindowPtr& desktop = mwin::Desktop();
    const WindowPtr related = parent != nullptr ? Find(parent) : desktop;
    if (window_class == nullptr || desktop == nullptr || related == nullptr || related->dying) return nullptr;

    const auto window = std::make_shared<Window>();
    window->procedure = window_class->procedure;
    window->background = window_class->background;
    window->instance = instance;
    window->style = style & ~WS_VISIBLE;
    window->ex_style = ex_style;
    window->id = reinterpret_cast<LONG_PTR>(id);
    window->extra_bytes = window_class->extra_bytes;
    // A value is as wide as a pointer, also at an index that leaves room for 32 bits only.
    window->extra.resize(window_class->extra_bytes + sizeof(LONG_PTR) - sizeof(LONG));
    window->text = text != nullptr ? text : "";
    window->rect = {x, y, x + std::max(0, width), y + std::max(0, height)};
    mwin::AddWindow(window);
    if ((style & WS_CHILD) != 0) {
        mwin::LinkOnTop(window, *related);
    } else {
        const Window* owner = mwin::TopLevel(related.get());
        window->owner = owner != nullptr ? owner->handle : nullptr;
        mwin::LinkOnTop(window, *desktop);
    }
    mwin::AcceptMessages(window->handle);

    const CREATESTRUCT creation{
        parameter, instance,   id,      parent, window->Height(), window->Width(), y, x, static_cast<LONG>(style),
        text,      class_name, ex_style};
    if (mwin::CallProcedure(window, WM_CREATE, 0, reinterpret_cast<LPARAM>(&creation)) == -1) {
        DestroyWindow(window->handle);
    }
    if (window->gone) return nullptr;
    if ((style & WS_VISIBLE) != 0) ShowWindow(window->handle, SW_SHOW);
    return window->gone ? nullptr : window->handle;
}

HWND CreateWindow(LPCSTR class_name, LPCSTR text, DWORD style, int x, int y, int width, int height, HWND parent,
                  HMENU id, HINSTANCE instance, void* parameter) {
    return CreateWindowEx(0, class_name, text, style, x, y, width, height, parent, id, instance, parameter);
}

BOOL DestroyWindow(HWND handle) {
    const WindowPtr window = Find(handle);
    if (window == nullptr || window == mwin::Desktop() || window->being_destroyed) return FALSE;
    mwin::Destroy(window);
    return TRUE;
}

BOOL IsWindow(HWND handle) {
    return Find(handle) != nullptr ? TRUE : FALSE;
}

LRESULT SendMessage(HWND handle, UINT message, WPARAM wparam, LPARAM lparam) {
    const WindowPtr window = Find(handle);
    if (window == nullptr) return 0;
    if (message != WM_PAINT) return mwin::CallProcedure(window, message, wparam, lparam);
    mwin::PaintWhole(window);
    return 0;
}

BOOL EnableWindow(HWND handle, BOOL enable) {
    const WindowPtr window = Find(handle);
    if (window == nullptr) return FALSE;
    const bool was_disabled = window->HasStyle(WS_DISABLED);
    if (was_disabled == (enable != FALSE)) {
        window->style ^= WS_DISABLED;
        mwin::CallProcedure(window, WM_ENABLE, enable != FALSE ? 1 : 0, 0);
    }
    return was_disabled ? TRUE : FALSE;
}

BOOL IsWindowEnabled(HWND handle) {
    const WindowPtr window = Find(handle);
    return window != nullptr && !window->HasStyle(WS_DISABLED) ? TRUE : FALSE;
}

HWND GetParent(HWND handle) {
    const WindowPtr window = Find(handle);
    if (window == nullptr || window->parent == nullptr) return nullptr;
    return (window->style & WS_CHILD) != 0 ? window->parent->handle : window->owner;
}

HWND GetDesktopWindow() {
    return mwin::Desktop() != nullptr ? mwin::Desktop()->handle : nullptr;
}

HWND GetWindow(HWND handle, UINT relation) {
    const WindowPtr window = Find(handle);
    if (window == nullptr) return nullptr;
    if (relation == GW_OWNER) return window->owner;
    if (relation == GW_CHILD) return window->children.empty() ? nullptr : window->children.back()->handle;
    if (window->parent == nullptr) return nullptr;
    const auto& siblings = window->parent->children;
    const auto self = std::find(siblings.begin(), siblings.end(), window);
    switch (relation) {
        case GW_HWNDFIRST:
            return siblings.back()->handle;
        case GW_HWNDNEXT:
            return self != siblings.begin() ? (*(self - 1))->handle : nullptr;
        case GW_HWNDPREV:
            return self + 1 != siblings.end() ? (*(self + 1))->handle : nullptr;
        default:
            return nullptr;
    }
}

HWND GetDlgItem(HWND dialog, int id) {
    const WindowPtr window = Find(dialog);
    if (window == nullptr) return nullptr;
    for (const WindowPtr& child : window->children) {
        if (child->id == id) return child->handle;
    }
    return nullptr;
}

int GetDlgCtrlID(HWND handle) {
    const WindowPtr window = Find(handle);
    return window != nullptr ? static_cast<int>(window->id) : 0;
}

namespace {

bool IsExtra(const Window& window, int index) {
    return index >= 0 && static_cast<std::size_t>(index) + sizeof(LONG) <= window.extra_bytes;
}

}  // namespace

LONG_PTR GetWindowLong(HWND handle, int index) {
    const WindowPtr window = Find(handle);
    if (window == nullptr) return 0;
    switch (index) {
        case GWL_STYLE:
            return static_cast<LONG_PTR>(window->style);
        case GWL_EXSTYLE:
            return static_cast<LONG_PTR>(window->ex_style);
        case GWL_ID:
            return window->id;
        case GWL_USERDATA:
            return window->user_data;
        case GWL_WNDPROC:
            return reinterpret_cast<LONG_PTR>(window->procedure);
        default:
            break;
    }
    LONG_PTR value = 0;
    if (IsExtra(*window, index)) std::memcpy(&value, &window->extra[static_cast<std::size_t>(index)], sizeof value);
    return value;
}

LONG_PTR SetWindowLong(HWND handle, int index, LONG_PTR value) {
    const WindowPtr window = Find(handle);
    if (window == nullptr) return 0;
    const LONG_PTR before = GetWindowLong(handle, index);
    switch (index) {
        case GWL_STYLE:
            window->style = static_cast<DWORD>(value);
            break;
        case GWL_EXSTYLE:
            window->ex_style = static_cast<DWORD>(value);
            break;
        case GWL_ID:
            window->id = value;
            break;
        case GWL_USERDATA:
            window->user_data = value;
            break;
        case GWL_WNDPROC:
            if (value != 0) window->procedure = reinterpret_cast<WNDPROC>(value);
            break;
        default:
            if (IsExtra(*window, index))
                std::memcpy(&window->extra[static_cast<std::size_t>(index)], &value, sizeof value);
            break;
    }
    return before;
}

HINSTANCE GetWindowInstance(HWND handle) {
    const WindowPtr window = Find(handle);
    return window != nullptr ? window->instance : nullptr;
}

BOOL SetWindowText(HWND handle, LPCSTR text) {
    if (Find(handle) == nullptr) return FALSE;
    SendMessage(handle, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text));
    return TRUE;
}

int GetWindowText(HWND handle, LPSTR buffer, int size) {
    if (buffer == nullptr || size <= 0) return 0;
    *buffer = '\0';
    return static_cast<int>(
        SendMessage(handle, WM_GETTEXT, static_cast<WPARAM>(size), reinterpret_cast<LPARAM>(buffer)));
}

int GetWindowTextLength(HWND handle) {
    return static_cast<int>(SendMessage(handle, WM_GETTEXTLENGTH, 0, 0));
}
