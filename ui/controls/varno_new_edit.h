// The program's own single-line edit for short numbers, window class "VarnoNewEDIT".
#pragma once

#include "mwin/windows.h"

// Text comes and goes with WM_SETTEXT, WM_GETTEXT and WM_GETTEXTLENGTH; typed characters other than digits are refused.
// WM_ENABLE marks the whole field (wParam TRUE) or takes the mark away. In a marked field a digit replaces everything
// and every key goes to the parent; otherwise Left, Right, Home, End, Backspace and Delete edit, and all other keys go
// to the parent. A changed text is told to the parent as WM_COMMAND with EN_CHANGE. Style ES_CENTER centres the text.
constexpr DWORD ES_CENTER = 1;
constexpr WORD EN_CHANGE = 0x0300;
// EM_SETSEL: from wParam to lParam in characters, lParam -1 the end; the caret stands at the end of the selection.
// EM_LIMITTEXT: at most wParam characters can be typed; 0: no limit.
constexpr UINT EM_GETSEL = 0x00B0, EM_SETSEL = 0x00B1, EM_LIMITTEXT = 0x00C5;

constexpr const char* kNewEditClass = "VarnoNewEDIT";

// Registers the window class; 0 when that fails. UI thread.
WORD MwRegisterVarnoNewEditControl(HINSTANCE instance);
