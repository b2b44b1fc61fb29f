#include "board/block_screen.h"

#include <algorithm>

namespace board {

void BlockScreen::Update(const std::uint32_t* surface, int stride, int x, int y, int width, int height) {
    const int left = std::max(x, 0);
    const int top = std::max(y, 0);
    const int right = std::min(x + width, kScreenWidth);
    const int bottom = std::min(y + height, kScreenHeight);
    if (left >= right || top >= bottom) return;
    const BlockLock lock(block_);
    for (int row = top; row < bottom; ++row) {
        const std::uint32_t* line = surface + static_cast<std::ptrdiff_t>(row) * stride;
        std::copy(line + left, line + right, block_.ui + row * kScreenWidth + left);
    }
    ++block_.ui_sequence;
}

}  // namespace board
