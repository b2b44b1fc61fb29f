#include "mwin/cursor_layer.h"

#include "mwin/pixmap.h"

namespace mwin {

void CursorLayer::SetPicture(PSD picture) {
    picture_.reset();
    pixels_.clear();
    if (!IsDrawableDevice(picture)) return;
    const int width = picture->xvirtres;
    const int height = picture->yvirtres;
    pixels_.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    picture_.reset(pixman_image_create_bits_no_clear(PIXMAN_a8r8g8b8, width, height, pixels_.data(), width * 4));
    const RECT all{0, 0, width, height};
    if (picture_) DrawDevice(picture_.get(), Region(all), all, *picture);
}

Region CursorLayer::Covered() const {
    if (level_ == 0 || !picture_) return {};
    return Region(RECT{position_.x, position_.y, position_.x + pixman_image_get_width(picture_.get()),
                       position_.y + pixman_image_get_height(picture_.get())});
}

void CursorLayer::Draw(pixman_image_t* target, const Region& clip) const {
    Region drawn = Covered();
    drawn.Intersect(clip);
    if (drawn.IsEmpty()) return;
    pixman_image_set_clip_region32(target, drawn.Raw());
    pixman_image_composite32(PIXMAN_OP_OVER, picture_.get(), nullptr, target, 0, 0, 0, 0, position_.x, position_.y,
                             pixman_image_get_width(picture_.get()), pixman_image_get_height(picture_.get()));
    pixman_image_set_clip_region32(target, nullptr);
}

}  // namespace mwin
