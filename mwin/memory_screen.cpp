#include "mwin/memory_screen.h"

#include <algorithm>

namespace mwin {

MemoryScreen::MemoryScreen(int width, int height)
    : width_(width), height_(height), pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {}

void MemoryScreen::Update(const std::uint32_t* surface, int stride, int x, int y, int width, int height) {
    for (int row = y; row < y + height; ++row) {
        std::copy_n(surface + static_cast<std::ptrdiff_t>(row) * stride + x, width,
                    pixels_.begin() + static_cast<std::ptrdiff_t>(row) * width_ + x);
    }
    ++update_count_;
    updated_pixels_ += static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
}

std::uint32_t MemoryScreen::PixelAt(int x, int y) const {
    return pixels_.at(static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x));
}

}  // namespace mwin
