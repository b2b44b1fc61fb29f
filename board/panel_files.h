// The panel's page, style, scripts and icon: the files of board/web, built into the program.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace board {

struct PanelFile {
    std::string_view name;
    std::string_view type;  // Content-Type
    std::string_view content;
};

// Thread-safe.
const std::vector<PanelFile>& PanelFiles();

}  // namespace board
