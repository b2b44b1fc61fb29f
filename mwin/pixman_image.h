// Ownership of pixman images.
#pragma once

#include <pixman.h>

#include <memory>

namespace mwin {

struct PixmanUnref {
    void operator()(pixman_image_t* image) const { pixman_image_unref(image); }
};
using PixmanImage = std::unique_ptr<pixman_image_t, PixmanUnref>;

}  // namespace mwin
