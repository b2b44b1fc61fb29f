// Pixels to draw on.
#pragma once

#include <pixman.h>

#include <cstdint>
#include <memory>

#include "mwin/region.h"
#include "mwin/windows.h"

namespace mwin {

// A rectangle of 32-bit pixels, 0xAARRGGBB, and what of it has changed. UI thread.
class Surface {
  public:
    // Pixels of its own, all zero.
    Surface(int width, int height);
    // Over pixels of the caller's that outlive it; rows are `pitch` bytes apart.
    Surface(int width, int height, std::uint32_t* pixels, int pitch);
    Surface(const Surface&) = delete;
    Surface& operator=(const Surface&) = delete;
    ~Surface();

    int Width() const;
    int Height() const;
    std::uint32_t* Pixels() const;
    int Pitch() const;  // bytes
    pixman_image_t* Image() const { return image_; }

    // Whoever draws adds what it drew on.
    void AddDamage(const Region& region) { damage_.Add(region); }
    const Region& Damage() const { return damage_; }
    void ClearDamage() { damage_.Clear(); }

  private:
    std::unique_ptr<std::uint32_t[]> owned_;
    pixman_image_t* image_;
    Region damage_;
};

// The screen's surface (created by Install), and the way from it to the screen. UI thread.
Surface* ScreenSurface();
// Brings what changed, and the cursor layer over it, to the screen.
void FlushScreen();

}  // namespace mwin
