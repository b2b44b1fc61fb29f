// The window tree: order, positions and what of a window can be seen. Internal to mwin; UI thread.
#pragma once

#include <functional>

#include "mwin/window.h"

namespace mwin {

void LinkOnTop(const WindowPtr& window, Window& parent);
// Takes the window out of the tree; it keeps its children.
void Unlink(Window& window);
// The child of the desktop that the window is or lies in; null for the desktop itself.
Window* TopLevel(Window* window);
bool IsSameOrInside(const Window& window, const Window& ancestor);
// Whether it and all its ancestors are shown.
bool IsShown(const Window& window);
// Whether neither it nor an ancestor is disabled.
bool IsReachable(const Window& window);
POINT ScreenOrigin(const Window& window);
RECT ScreenRect(const Window& window);
// The window, children included, as far as it is seen on the screen (screen coordinates).
Region OuterRegion(const Window& window);
// What of the client area is seen and not covered by children (screen coordinates).
Region ClientRegion(const Window& window);
// Move the window among its siblings; false when that changes nothing.
bool MoveToTop(Window& window);
bool MoveToBottom(Window& window);
bool MoveBelow(Window& window, const Window& sibling);
// Calls `visit` for the window and everything in it, parents first.
void ForEach(const WindowPtr& window, const std::function<void(const WindowPtr&)>& visit);

}  // namespace mwin
