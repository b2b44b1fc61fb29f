// A screen in memory.
#pragma once

#include <cstddef>
#include <vector>

#include "mwin/platform.h"

namespace mwin {

// UI thread.
class MemoryScreen final : public Screen {
  public:
    MemoryScreen(int width, int height);

    int Width() const override { return width_; }
    int Height() const override { return height_; }
    void Update(const std::uint32_t* surface, int stride, int x, int y, int width, int height) override;

    // What is shown, 0xAARRGGBB, rows without a gap.
    const std::vector<std::uint32_t>& Pixels() const { return pixels_; }
    std::uint32_t PixelAt(int x, int y) const;
    // Rectangles and pixels that were brought here since the start.
    std::size_t UpdateCount() const { return update_count_; }
    std::size_t UpdatedPixels() const { return updated_pixels_; }

  private:
    int width_;
    int height_;
    std::vector<std::uint32_t> pixels_;
    std::size_t update_count_ = 0;
    std::size_t updated_pixels_ = 0;
};

}  // namespace mwin
