// Wiring of a board that differs from the camera's in everything: the TV cable pulls its line down, and the hub is
// reset by a high level.
#pragma once

#include <chrono>

namespace Varno::Board {

constexpr int kTvDetectGpio = 45;
constexpr int kTvCablePresentLevel = 0;

constexpr int kUsbResetGpio = 2 * 32 + 7;
constexpr int kUsbResetLevels[] = {0, 1, 0};
constexpr std::chrono::milliseconds kUsbResetHold{20};
constexpr std::chrono::seconds kUsbResetSettle{3};

}  // namespace Varno::Board
