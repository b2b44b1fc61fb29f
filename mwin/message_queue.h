// Posted messages, keys and the order in which messages are handed out. Internal to mwin.
#pragma once

#include "mwin/platform.h"
#include "mwin/windows.h"

namespace mwin {

// UI thread, except PostMessage, which is thread-safe.
void OpenQueue(Keys& keys, Clock& clock);
void CloseQueue();
// From now on messages may be posted to the window.
void AcceptMessages(HWND window);
// Drops what waits for the window and refuses more.
void RefuseMessages(HWND window);
// Whether PostQuitMessage was called and the main loop has not yet ended.
bool QuitPending();
void ClearQuit();
// How many DispatchMessage calls are running.
int DispatchDepth();

}  // namespace mwin
