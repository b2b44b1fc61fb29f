// Which window gets the keys. Internal to mwin; UI thread.
#pragma once

#include "mwin/window.h"

namespace mwin {

// Whether the window may have the keys now: it and its ancestors are enabled, and no modal dialog runs above it.
bool MayHaveKeys(Window& window);
// The window that keys go to now; null when there is none.
WindowPtr KeyTarget();
// Makes the dialog active and gives it the focus, remembering who had it.
void TakeKeys(const WindowPtr& dialog);
// After a window was destroyed or hidden: if it or something in it had the focus or was active, others get it. `parent`
// is the parent it had.
void GiveUpKeys(const Window& window, Window* parent);
void ForgetFocus();

}  // namespace mwin
