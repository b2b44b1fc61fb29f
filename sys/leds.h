// Lights, by their names in the kernel's LED class. UI thread.
#pragma once

#include <string>

namespace Varno {

// Brightness of a light; -1, with a message, when it cannot be read.
int GetLEDValue(const std::string& name);
// Sets the brightness of a light, 0 to 255. False, with a message, when it cannot be opened or written.
bool SetLEDValue(const std::string& name, unsigned char value);

}  // namespace Varno
