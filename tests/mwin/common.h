// What the tests of this folder share: tables of cases, and colours by name, as drawing calls take and leave them.
#pragma once

#include <string>
#include <tuple>
#include <vector>

#include "mwin/windows.h"

namespace mwin_test {

template <typename... Columns>
using Table = std::vector<std::tuple<Columns...>>;

constexpr COLORREF kRed = RGB(255, 0, 0), kGreen = RGB(0, 255, 0), kBlue = RGB(0, 0, 255), kWhite = RGB(255, 255, 255),
                   kBlack = RGB(0, 0, 0);
constexpr std::uint32_t kRedPixel = 0xFFFF0000, kGreenPixel = 0xFF00FF00, kBluePixel = 0xFF0000FF,
                        kWhitePixel = 0xFFFFFFFF, kBlackPixel = 0xFF000000;

inline std::string Edges(const RECT& r) {
    const auto text = [](LONG edge) { return std::to_string(edge); };
    return text(r.left) + "," + text(r.top) + "," + text(r.right) + "," + text(r.bottom);
}

}  // namespace mwin_test
