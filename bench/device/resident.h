// Resident memory of the running program.
#pragma once

namespace device {

// KiB of the program's own address space that are in memory, shared libraries included; under QEMU's user-mode emulator
// those of the emulated program, without the emulator's. -1 when the system does not tell.
long ResidentKib();

}  // namespace device
