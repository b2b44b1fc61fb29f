// Wiring of the board: what differs between two revisions of it.
#pragma once

#include <chrono>

namespace Varno::Board {

// GPIO that senses the TV cable (bank 3, pin 21), and its level while a cable is plugged in.
constexpr int kTvDetectGpio = 3 * 32 + 21;
constexpr int kTvCablePresentLevel = 1;

// GPIO of the USB hub's reset input (bank 3, pin 26), and the levels that it is driven through in turn: idle, reset,
// idle.
constexpr int kUsbResetGpio = 3 * 32 + 26;
constexpr int kUsbResetLevels[] = {1, 0, 1};
// How long each level is held, and how long the hub then takes until devices can be found on it.
constexpr std::chrono::milliseconds kUsbResetHold{80};
constexpr std::chrono::seconds kUsbResetSettle{1};

}  // namespace Varno::Board
