// Colours by name: what a drawing call is given, and the pixel that it leaves.
#pragma once

#include "mwin/windows.h"

namespace mwin_test {

constexpr COLORREF kRed = RGB(255, 0, 0), kGreen = RGB(0, 255, 0), kBlue = RGB(0, 0, 255), kWhite = RGB(255, 255, 255),
                   kBlack = RGB(0, 0, 0);
constexpr std::uint32_t kRedPixel = 0xFFFF0000, kGreenPixel = 0xFF00FF00, kBluePixel = 0xFF0000FF,
                        kWhitePixel = 0xFFFFFFFF, kBlackPixel = 0xFF000000;

}  // namespace mwin_test
