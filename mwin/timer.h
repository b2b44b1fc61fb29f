// Timers. Internal to mwin; UI thread.
#pragma once

#include <cstddef>

#include "mwin/windows.h"

namespace mwin {

// Milliseconds until the next timer is due: 0 when one is, -1 when there is none.
int UntilNextTimer(DWORD now);
// Makes the message of the timer that has been due longest, among those of `window` (all when null). False when none is
// due. Unless `remove` is set the timer stays due.
bool TakeTimerMessage(HWND window, DWORD now, bool remove, MSG& message);
// Calls the timer's procedure, or sends its message, if the timer still exists.
void DispatchTimer(const MSG& message);
void KillTimersOf(HWND window);
void KillAllTimers();
std::size_t LiveTimers();

}  // namespace mwin
