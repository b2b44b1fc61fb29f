// Battery, charger and power-off request. UI thread; failures are reported on standard output where noted and turned
// into a neutral result.
#pragma once

namespace Varno {

// The last eight battery readings in millivolts, the slot of the next one, and whether the ring was never full yet.
extern unsigned accul[8];
extern int accul_index;
extern bool g_firstAdc;

// Battery voltage in millivolts, 0 when it cannot be read.
unsigned GetBatteryVoltage();
// Reads the battery once. Always 1.
int GetBatteryStatus();
// Takes a reading into the ring and returns the charge in percent, 0 to 100 in steps of 4. Until the ring is full for
// the first time, the charge at the first reading.
int GetBatteryPowerPercent();
// The charger is connected.
bool IsACOnline();

}  // namespace Varno

// Non-zero when the power switch asks for power-off; -1, with a message, when that cannot be read.
int GetPowerOffStatus();
// Takes the power-off request back. The number of bytes written, or -1 with a message.
int SetPowerOffStatus();
