// The built-in window classes. Internal to mwin; UI thread.
#pragma once

#include "mwin/windows.h"

namespace mwin {

constexpr LPCSTR kDialogClass = "MwDialog";

void RegisterDialogClass(HINSTANCE instance);
void RegisterStaticControl(HINSTANCE instance);
void RegisterListBox(HINSTANCE instance);
void RegisterProgressBar(HINSTANCE instance);

// Asks the control's parent for its colours (WM_CTLCOLOR…), the control's font selected, and fills `area` with the
// brush that it names; default colours when it names none.
void PaintBackground(HWND control, HDC device, UINT color_message, const RECT& area);

}  // namespace mwin
