// The picture that lies over everything else on the screen.
#pragma once

#include <cstdint>
#include <vector>

#include "mwin/pixman_image.h"
#include "mwin/region.h"

namespace mwin {

// UI thread.
class CursorLayer {
  public:
    // Keeps a copy, so the caller may free the picture. Null: none.
    void SetPicture(PSD picture);
    // The picture's top left, in screen pixels.
    void MoveTo(int x, int y) { position_ = {x, y}; }
    // Visible above level 0, where it starts; the level never falls below. Both return the level before.
    int Show() { return level_++; }
    int Hide() { return level_ > 0 ? level_-- : 0; }

    // What it covers now; empty while it is hidden.
    Region Covered() const;
    // Draws it into `target`, inside `clip`.
    void Draw(pixman_image_t* target, const Region& clip) const;

  private:
    std::vector<std::uint32_t> pixels_;
    PixmanImage picture_;  // over pixels_
    POINT position_{};
    int level_ = 0;
};

}  // namespace mwin
