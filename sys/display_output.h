// Where the picture goes: LCD panel or TV. UI thread.
#pragma once

namespace Varno {

// 1 when the board was started with the LCD panel, 0 when the video goes to the TV output.
int GetOutputType();
// A TV cable is plugged in. A line that cannot be read counts as no cable.
bool CheckTVoutWire();

}  // namespace Varno

// Makes the display driver take over its next set of registers.
void RefreshNextReg();
