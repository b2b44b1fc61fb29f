#include "mwin/focus.h"

#include "mwin/dialog.h"
#include "mwin/paint.h"
#include "mwin/window_tree.h"

namespace mwin {
namespace {

HWND g_focus = nullptr;
HWND g_active = nullptr;

void ChangeFocus(HWND to) {
    if (to == g_focus) return;
    HWND from = g_focus;
    g_focus = to;
    const WindowPtr loser = Find(from);
    if (loser != nullptr && !loser->dying) CallProcedure(loser, WM_KILLFOCUS, reinterpret_cast<WPARAM>(to), 0);
    const WindowPtr winner = Find(to);
    if (winner != nullptr && g_focus == to) CallProcedure(winner, WM_SETFOCUS, reinterpret_cast<WPARAM>(from), 0);
}

void Activate(const WindowPtr& top) {
    HWND from = g_active;
    if (from != top->handle) {
        g_active = top->handle;
        const WindowPtr loser = Find(from);
        if (loser != nullptr && !loser->dying) {
            CallProcedure(loser, WM_ACTIVATE, 0, reinterpret_cast<LPARAM>(top->handle));
        }
        if (g_active != top->handle || top->dying) return;
        Raise(*top);
        CallProcedure(top, WM_ACTIVATE, 1, reinterpret_cast<LPARAM>(from));
        if (g_active != top->handle || top->dying) return;
    }
    const WindowPtr focus = Find(g_focus);
    if (focus == nullptr || !IsSameOrInside(*focus, *top)) ChangeFocus(top->handle);
}

// The top-level window of `handle`, if that may be active.
WindowPtr Activatable(HWND handle) {
    const WindowPtr window = Find(handle);
    if (window == nullptr || window->dying) return nullptr;
    Window* top = TopLevel(window.get());
    return top != nullptr && MayHaveKeys(*top) ? Find(top->handle) : nullptr;
}

WindowPtr TopmostActivatable() {
    if (Desktop() == nullptr) return nullptr;
    const auto& windows = Desktop()->children;
    for (auto w = windows.rbegin(); w != windows.rend(); ++w) {
        if ((*w)->HasStyle(WS_VISIBLE) && MayHaveKeys(**w)) return *w;
    }
    return nullptr;
}

}  // namespace

bool MayHaveKeys(Window& window) {
    Window* top = TopLevel(&window);
    return top != nullptr && IsReachable(window) && !IsBelowRunningDialog(top->handle);
}

WindowPtr KeyTarget() {
    WindowPtr focus = Find(g_focus);
    if (focus != nullptr && MayHaveKeys(*focus)) return focus;
    WindowPtr dialog = Find(RunningDialog());
    if (dialog != nullptr && !dialog->dying) return dialog;
    if (WindowPtr active = Activatable(g_active)) return active;
    return TopmostActivatable();
}

void TakeKeys(const WindowPtr& dialog) {
    Activate(dialog);
    if (!dialog->dying) ChangeFocus(dialog->handle);
}

void GiveUpKeys(const Window& window, Window* parent) {
    const auto lost = [&](HWND handle) {
        if (handle == nullptr) return false;
        const WindowPtr w = Find(handle);
        return w == nullptr || IsSameOrInside(*w, window);
    };
    const bool was_active = lost(g_active);
    if (!was_active && !lost(g_focus)) return;
    if (!was_active && parent != nullptr) {
        Window* top = TopLevel(parent);
        if (top != nullptr && !top->dying) {
            ChangeFocus(top->handle);
        } else {
            g_focus = nullptr;  // the window around it goes as well, and passes the focus on
        }
        return;
    }
    g_active = nullptr;
    const WindowPtr before = Find(window.focus_before);
    WindowPtr next = before != nullptr && MayHaveKeys(*before) ? Activatable(window.focus_before) : nullptr;
    HWND focus = next != nullptr ? window.focus_before : nullptr;
    if (next == nullptr) next = Activatable(window.active_before);
    if (next == nullptr) next = Activatable(window.owner);
    if (next == nullptr) next = TopmostActivatable();
    if (next == nullptr) {
        g_focus = nullptr;
        return;
    }
    Activate(next);
    if (focus != nullptr && g_active == next->handle) ChangeFocus(focus);
}

void ForgetFocus() {
    g_focus = nullptr;
    g_active = nullptr;
}

}  // namespace mwin

using mwin::WindowPtr;

HWND SetFocus(HWND handle) {
    HWND before = mwin::g_focus;
    if (handle == nullptr) {
        mwin::ChangeFocus(nullptr);
        return before;
    }
    const WindowPtr window = mwin::Find(handle);
    if (window == nullptr || !mwin::MayHaveKeys(*window)) return nullptr;
    const WindowPtr top = mwin::Activatable(handle);
    if (top == nullptr) return nullptr;
    if (mwin::g_active != top->handle) mwin::Activate(top);
    if (!window->dying && mwin::g_active == top->handle) mwin::ChangeFocus(handle);
    return before;
}

HWND GetFocus() {
    return mwin::g_focus;
}

HWND SetActiveWindow(HWND handle) {
    HWND before = mwin::g_active;
    const WindowPtr top = mwin::Activatable(handle);
    if (top == nullptr) return nullptr;
    mwin::Activate(top);
    return before;
}

HWND GetActiveWindow() {
    return mwin::g_active;
}

BOOL SetForegroundWindow(HWND handle) {
    const WindowPtr top = mwin::Activatable(handle);
    if (top == nullptr) return FALSE;
    mwin::Activate(top);
    BringWindowToTop(top->handle);
    return TRUE;
}

HWND GetForegroundWindow() {
    return mwin::g_active;
}
