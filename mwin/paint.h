// Update regions and drawing handles. Internal to mwin; UI thread.
#pragma once

#include "mwin/window.h"

namespace mwin {

// Marks a part of the screen (screen coordinates) as to be drawn again by whoever is seen there.
void InvalidateScreen(const Region& region);
// Marks what is seen of the window and everything in it.
void InvalidateTree(Window& window);
// Brings the window above its siblings. What that uncovers is drawn, except when a paint or erase handler asks for it:
// a handler that raises its window would otherwise be called again and again.
void Raise(Window& window);
// The next window that waits to be painted, parents before children; only `within` and what is in it unless that is
// null. Null when none does.
WindowPtr NextToPaint(HWND within);
// Erases and paints what waits. Whatever the handlers do, nothing waits afterwards.
void PaintPending(const WindowPtr& window);
// Erases and paints the whole client area.
void PaintWhole(const WindowPtr& window);
// Whether some paint or erase handler is running.
bool IsPainting();
// Makes drawing handles of a window that is gone draw nothing.
void DetachDevices(HWND window);
void ForgetAllDevices();

}  // namespace mwin
