// The screen's surface, the cursor layer over it, and their way to the screen.
#pragma once

#include "mwin/platform.h"

namespace mwin {

// Makes the surface (black) and `scrdev` for a screen (not owned; must stay until CloseDisplay). UI thread.
void OpenDisplay(Screen& screen);
void CloseDisplay();

}  // namespace mwin
