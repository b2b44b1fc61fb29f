// USB roles, mass-storage gadget and hub reset. UI thread.
#pragma once

namespace Varno {

// The OTG port is in host role; true also when its device cannot be opened.
bool IsOtgHost();
// Nothing to do: the units are exported one by one where the media are unmounted.
void StartUSBStorage();
// Unloads the mass-storage gadget.
void StopUSBStorage();

}  // namespace Varno

// Pulses the reset line of the USB hub; takes more than a second.
void ResetUSB();
