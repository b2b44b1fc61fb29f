// Modal dialogs that are running. Internal to mwin; UI thread.
#pragma once

#include "mwin/window.h"

namespace mwin {

// The innermost dialog whose loop goes on; null when none does.
HWND RunningDialog();
// Whether a top-level window was there before the running dialog was opened: it gets no keys and stays below.
bool IsBelowRunningDialog(HWND window);
// If the window is a modal dialog, its loop and those inside it end, and their parents are enabled again.
void EndLoopOf(HWND dialog);

}  // namespace mwin
