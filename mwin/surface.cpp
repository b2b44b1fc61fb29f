#include "mwin/surface.h"

namespace mwin {

Surface::Surface(int width, int height)
    : owned_(std::make_unique<std::uint32_t[]>(static_cast<std::size_t>(width) * static_cast<std::size_t>(height))),
      image_(pixman_image_create_bits_no_clear(PIXMAN_a8r8g8b8, width, height, owned_.get(), width * 4)) {}

Surface::Surface(int width, int height, std::uint32_t* pixels, int pitch)
    : image_(pixman_image_create_bits_no_clear(PIXMAN_a8r8g8b8, width, height, pixels, pitch)) {}

Surface::~Surface() {
    pixman_image_unref(image_);
}

int Surface::Width() const {
    return pixman_image_get_width(image_);
}
int Surface::Height() const {
    return pixman_image_get_height(image_);
}
std::uint32_t* Surface::Pixels() const {
    return pixman_image_get_data(image_);
}
int Surface::Pitch() const {
    return pixman_image_get_stride(image_);
}

}  // namespace mwin
