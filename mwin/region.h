// A set of pixels, as pixman keeps it: a list of rectangles.
#pragma once

#include <pixman.h>

#include "mwin/windows.h"

namespace mwin {

// A value. One thread.
class Region {
  public:
    Region() { pixman_region32_init(&region_); }
    explicit Region(const RECT& r) {
        const bool empty = r.right <= r.left || r.bottom <= r.top;
        pixman_region32_init_rect(&region_, r.left, r.top, empty ? 0 : static_cast<unsigned>(r.right - r.left),
                                  empty ? 0 : static_cast<unsigned>(r.bottom - r.top));
    }
    Region(const Region& other) : Region() { pixman_region32_copy(&region_, &other.region_); }
    Region(Region&& other) noexcept : Region() { Swap(other); }
    Region& operator=(const Region& other) {
        if (this != &other) pixman_region32_copy(&region_, &other.region_);
        return *this;
    }
    Region& operator=(Region&& other) noexcept {
        Swap(other);
        return *this;
    }
    ~Region() { pixman_region32_fini(&region_); }

    bool IsEmpty() const { return pixman_region32_not_empty(&region_) == 0; }
    void Clear() { pixman_region32_clear(&region_); }
    void Add(const Region& other) { pixman_region32_union(&region_, &region_, &other.region_); }
    void Subtract(const Region& other) { pixman_region32_subtract(&region_, &region_, &other.region_); }
    void Intersect(const Region& other) { pixman_region32_intersect(&region_, &region_, &other.region_); }
    void Translate(int dx, int dy) { pixman_region32_translate(&region_, dx, dy); }
    RECT Bounds() const {
        const pixman_box32_t* b = pixman_region32_extents(&region_);
        return {b->x1, b->y1, b->x2, b->y2};
    }
    // The rectangles, valid until the next change.
    const pixman_box32_t* Boxes(int& count) const { return pixman_region32_rectangles(&region_, &count); }
    pixman_region32_t* Raw() const { return &region_; }

  private:
    void Swap(Region& other) noexcept {
        const pixman_region32_t kept = region_;
        region_ = other.region_;
        other.region_ = kept;
    }
    // pixman takes regions that it only reads as non-const.
    mutable pixman_region32_t region_{};
};

}  // namespace mwin
