// Showing, hiding, moving and stacking windows.
#include "mwin/dialog.h"
#include "mwin/focus.h"
#include "mwin/paint.h"
#include "mwin/window.h"
#include "mwin/window_tree.h"

namespace mwin {
namespace {

void Show(const WindowPtr& window) {
    window->style |= WS_VISIBLE;
    if (window->parent == Desktop().get() && !IsBelowRunningDialog(window->handle)) MoveToTop(*window);
    CallProcedure(window, WM_SHOWWINDOW, 1, 0);
    if (!window->gone) InvalidateTree(*window);
}

void Hide(const WindowPtr& window) {
    const Region uncovered = OuterRegion(*window);
    window->style &= ~WS_VISIBLE;
    ForEach(window, [](const WindowPtr& w) {
        w->update.Clear();
        w->erase_pending = false;
    });
    InvalidateScreen(uncovered);
    GiveUpKeys(*window, window->parent);
    CallProcedure(window, WM_SHOWWINDOW, 0, 0);
}

// Draws what a change of the stacking order has uncovered: of the window itself when it rose, of others when it sank.
void Restacked(Window& window, const Region& before) {
    if (IsPainting()) return;
    Region risen = OuterRegion(window);
    Region sunk = before;
    sunk.Subtract(risen);
    risen.Subtract(before);
    risen.Add(sunk);
    InvalidateScreen(risen);
}

void Move(const WindowPtr& window, const RECT& rect, bool repaint) {
    const bool moved = rect.left != window->rect.left || rect.top != window->rect.top;
    const bool sized = rect.right - rect.left != window->Width() || rect.bottom - rect.top != window->Height();
    if (!moved && !sized) return;
    Region uncovered = OuterRegion(*window);
    window->rect = rect;
    window->update.Intersect(Region({0, 0, window->Width(), window->Height()}));
    if (repaint) {
        uncovered.Subtract(OuterRegion(*window));
        InvalidateScreen(uncovered);
        InvalidateTree(*window);
    }
    const auto pack = [](LONG low, LONG high) { return MAKELPARAM(static_cast<WORD>(low), static_cast<WORD>(high)); };
    if (moved) CallProcedure(window, WM_MOVE, 0, pack(rect.left, rect.top));
    if (sized) CallProcedure(window, WM_SIZE, 0, pack(window->Width(), window->Height()));
}

}  // namespace
}  // namespace mwin

using mwin::Find;
using mwin::Region;
using mwin::WindowPtr;

BOOL ShowWindow(HWND handle, int command) {
    const WindowPtr window = Find(handle);
    if (window == nullptr || window == mwin::Desktop() || window->being_destroyed) return FALSE;
    const bool was_visible = window->HasStyle(WS_VISIBLE);
    if (command == SW_HIDE) {
        if (was_visible) mwin::Hide(window);
        return was_visible ? TRUE : FALSE;
    }
    const bool top_level = window->parent == mwin::Desktop().get();
    if (command == SW_SHOWMAXIMIZED && top_level) mwin::Move(window, mwin::Desktop()->rect, true);
    if (!was_visible) mwin::Show(window);
    if (top_level) SetActiveWindow(handle);
    return was_visible ? TRUE : FALSE;
}

BOOL MoveWindow(HWND handle, int x, int y, int width, int height, BOOL repaint) {
    const WindowPtr window = Find(handle);
    if (window == nullptr || window == mwin::Desktop() || width < 0 || height < 0) return FALSE;
    mwin::Move(window, {x, y, x + width, y + height}, repaint != FALSE);
    return TRUE;
}

BOOL SetWindowPos(HWND handle, HWND after, int x, int y, int width, int height, UINT flags) {
    const WindowPtr window = Find(handle);
    if (window == nullptr || window == mwin::Desktop()) return FALSE;
    RECT rect = window->rect;
    if ((flags & SWP_NOMOVE) == 0) rect = {x, y, x + window->Width(), y + window->Height()};
    if ((flags & SWP_NOSIZE) == 0) {
        if (width < 0 || height < 0) return FALSE;
        rect.right = rect.left + width;
        rect.bottom = rect.top + height;
    }
    mwin::Move(window, rect, (flags & SWP_NOREDRAW) == 0);
    if (window->gone) return TRUE;
    if ((flags & SWP_NOZORDER) == 0) {
        const Region before = mwin::OuterRegion(*window);
        const WindowPtr sibling = Find(after);
        const bool changed = after == HWND_TOP      ? mwin::MoveToTop(*window)
                             : after == HWND_BOTTOM ? mwin::MoveToBottom(*window)
                                                    : sibling != nullptr && mwin::MoveBelow(*window, *sibling);
        if (changed) mwin::Restacked(*window, before);
    }
    if ((flags & SWP_SHOWWINDOW) != 0 && !window->HasStyle(WS_VISIBLE)) mwin::Show(window);
    if ((flags & SWP_HIDEWINDOW) != 0 && window->HasStyle(WS_VISIBLE)) mwin::Hide(window);
    return TRUE;
}

BOOL BringWindowToTop(HWND handle) {
    const WindowPtr window = Find(handle);
    if (window == nullptr || window->parent == nullptr) return FALSE;
    const bool top_level = window->parent == mwin::Desktop().get();
    if (!top_level || !mwin::IsBelowRunningDialog(handle)) mwin::Raise(*window);
    return TRUE;
}

BOOL IsWindowVisible(HWND handle) {
    const WindowPtr window = Find(handle);
    return window != nullptr && mwin::IsShown(*window) ? TRUE : FALSE;
}

BOOL GetClientRect(HWND handle, RECT* rect) {
    const WindowPtr window = Find(handle);
    if (window == nullptr || rect == nullptr) return FALSE;
    *rect = {0, 0, window->Width(), window->Height()};
    return TRUE;
}

BOOL GetWindowRect(HWND handle, RECT* rect) {
    const WindowPtr window = Find(handle);
    if (window == nullptr || rect == nullptr) return FALSE;
    *rect = mwin::ScreenRect(*window);
    return TRUE;
}

BOOL ClientToScreen(HWND handle, POINT* point) {
    const WindowPtr window = Find(handle);
    if (window == nullptr || point == nullptr) return FALSE;
    const POINT origin = mwin::ScreenOrigin(*window);
    *point = {point->x + origin.x, point->y + origin.y};
    return TRUE;
}

BOOL ScreenToClient(HWND handle, POINT* point) {
    const WindowPtr window = Find(handle);
    if (window == nullptr || point == nullptr) return FALSE;
    const POINT origin = mwin::ScreenOrigin(*window);
    *point = {point->x - origin.x, point->y - origin.y};
    return TRUE;
}
