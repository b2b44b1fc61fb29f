// The program's own scroll bar, window class "VarnoScrollbar1".
#pragma once

#include "mwin/windows.h"

// Styles: which way it runs. Vertical bars have their lowest position on top.
constexpr DWORD SBS_HORZ = 0, SBS_VERT = 1;
// lParam: SCROLLINFO*. Setting takes what fMask names, keeps the position within the range and returns it; with wParam
// TRUE a bar that looks different afterwards repaints. Getting fills what fMask names. The highest position is
// nMax - max(nPage - 1, 0).
constexpr UINT SBM_SETSCROLLINFO = 0x00E9, SBM_GETSCROLLINFO = 0x00EA;

constexpr const char* kScrollbarClass = "VarnoScrollbar1";

// Registers the window class; 0 when that fails. UI thread.
WORD MwRegisterVarnoScrollbar1Control(HINSTANCE instance);
