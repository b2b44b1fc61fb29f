#include "mwin/pixmap.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <unordered_map>
#include <vector>

#include "mwin/drawing.h"
#include "mwin/picture_file.h"
#include "mwin/window.h"

namespace {

struct Pixmap : MwScreenDevice {
    std::unique_ptr<std::uint32_t[]> owned;  // null when the pixels are the caller's
};

// Never destroyed: static destructors of the program may still free pictures.
std::unordered_map<PSD, std::unique_ptr<Pixmap>>& Pixmaps() {
    static auto& pixmaps = *new std::unordered_map<PSD, std::unique_ptr<Pixmap>>;
    return pixmaps;
}

void FreePixmap(PSD device) {
    mwin::ForgetPicture(device);
    Pixmaps().erase(device);
}

// `pixels` lie in `owned`, or are the caller's.
PSD AddPixmap(int width, int height, void* pixels, std::unique_ptr<std::uint32_t[]> owned, bool has_alpha) {
    auto pixmap = std::make_unique<Pixmap>();
    pixmap->xvirtres = width;
    pixmap->yvirtres = height;
    pixmap->bpp = 32;
    pixmap->pitch = width * 4;
    pixmap->addr = static_cast<BYTE*>(pixels);
    pixmap->size = pixmap->pitch * height;
    pixmap->has_alpha = has_alpha;
    pixmap->FreeMemGC = FreePixmap;
    pixmap->owned = std::move(owned);
    PSD device = pixmap.get();
    Pixmaps().emplace(device, std::move(pixmap));
    return device;
}

std::uint32_t Premultiplied(std::uint32_t pixel) {
    const std::uint32_t alpha = pixel >> 24U;
    if (alpha == 255) return pixel;
    if (alpha == 0) return 0;
    const auto scaled = [alpha](std::uint32_t channel) { return (channel * alpha + 127) / 255; };
    return alpha << 24U | scaled(pixel >> 16U & 255U) << 16U | scaled(pixel >> 8U & 255U) << 8U | scaled(pixel & 255U);
}

std::vector<std::uint32_t> PremultipliedCopy(const MwScreenDevice& device) {
    const auto width = static_cast<std::size_t>(device.xvirtres);
    const auto height = static_cast<std::size_t>(device.yvirtres);
    std::vector<std::uint32_t> copy(width * height);
    for (std::size_t y = 0; y < height; ++y) {
        const auto* row =
            reinterpret_cast<const std::uint32_t*>(device.addr + y * static_cast<std::size_t>(device.pitch));
        std::transform(row, row + width, copy.begin() + static_cast<std::ptrdiff_t>(y * width), Premultiplied);
    }
    return copy;
}

// Maps a destination of the given size onto the whole source.
void Stretch(pixman_image_t* source, int source_width, int source_height, int width, int height) {
    const auto step = [](int from, int to) {
        return static_cast<pixman_fixed_t>((static_cast<std::int64_t>(from) << 16) / to);
    };
    const pixman_fixed_t step_x = step(source_width, width);
    const pixman_fixed_t step_y = step(source_height, height);
    pixman_transform_t scale;
    pixman_transform_init_scale(&scale, step_x, step_y);
    pixman_image_set_transform(source, &scale);
    pixman_image_set_repeat(source, PIXMAN_REPEAT_PAD);
    if (width >= source_width && height >= source_height) {
        pixman_image_set_filter(source, PIXMAN_FILTER_BILINEAR, nullptr, 0);
        return;
    }
    const bool shrinks_x = width < source_width;
    const bool shrinks_y = height < source_height;
    const auto reconstruct = [](bool shrinks) { return shrinks ? PIXMAN_KERNEL_BOX : PIXMAN_KERNEL_LINEAR; };
    const auto sample = [](bool shrinks) { return shrinks ? PIXMAN_KERNEL_BOX : PIXMAN_KERNEL_IMPULSE; };
    constexpr int kPhaseBits = 4;
    int count = 0;
    pixman_fixed_t* filter = pixman_filter_create_separable_convolution(&count, step_x, step_y, reconstruct(shrinks_x),
                                                                        reconstruct(shrinks_y), sample(shrinks_x),
                                                                        sample(shrinks_y), kPhaseBits, kPhaseBits);
    if (filter == nullptr || !pixman_image_set_filter(source, PIXMAN_FILTER_SEPARABLE_CONVOLUTION, filter, count)) {
        pixman_image_set_filter(source, PIXMAN_FILTER_BILINEAR, nullptr, 0);
    }
    free(filter);
}

}  // namespace

namespace mwin {

bool IsDrawableDevice(PSD device) {
    if (device == nullptr || (device != scrdev && Pixmaps().count(device) == 0)) return false;
    // The fields are the program's to change.
    return device->addr != nullptr && device->xvirtres > 0 && device->yvirtres > 0 &&
           device->xvirtres <= kMaxPixmapSide && device->yvirtres <= kMaxPixmapSide &&
           device->pitch >= device->xvirtres * 4 && device->pitch % 4 == 0 &&
           reinterpret_cast<std::uintptr_t>(device->addr) % alignof(std::uint32_t) == 0;
}

void DrawDevice(pixman_image_t* target, const Region& clip, const RECT& destination, const MwScreenDevice& device) {
    const int width = destination.right - destination.left;
    const int height = destination.bottom - destination.top;
    if (width <= 0 || height <= 0 || width > kMaxPixmapSide || height > kMaxPixmapSide || clip.IsEmpty()) return;
    std::vector<std::uint32_t> premultiplied;
    auto* pixels = reinterpret_cast<std::uint32_t*>(device.addr);
    int pitch = device.pitch;
    if (device.has_alpha) {
        premultiplied = PremultipliedCopy(device);
        pixels = premultiplied.data();
        pitch = device.xvirtres * 4;
    }
    const PixmanImage source(pixman_image_create_bits_no_clear(device.has_alpha ? PIXMAN_a8r8g8b8 : PIXMAN_x8r8g8b8,
                                                               device.xvirtres, device.yvirtres, pixels, pitch));
    if (!source) return;
    if (width != device.xvirtres || height != device.yvirtres) {
        Stretch(source.get(), device.xvirtres, device.yvirtres, width, height);
    }
    const RECT bounds = clip.Bounds();
    pixman_image_set_clip_region32(target, clip.Raw());
    pixman_image_composite32(device.has_alpha ? PIXMAN_OP_OVER : PIXMAN_OP_SRC, source.get(), nullptr, target,
                             bounds.left - destination.left, bounds.top - destination.top, 0, 0, bounds.left,
                             bounds.top, bounds.right - bounds.left, bounds.bottom - bounds.top);
    pixman_image_set_clip_region32(target, nullptr);
}

}  // namespace mwin

PSD GdCreatePixmap(PSD /*screen*/, int width, int height, int /*format*/, void* pixels, int /*palette_size*/) {
    if (width <= 0 || height <= 0 || width > mwin::kMaxPixmapSide || height > mwin::kMaxPixmapSide) return nullptr;
    const std::int64_t count = static_cast<std::int64_t>(width) * height;
    if (count > INT32_MAX / 4) return nullptr;
    if (pixels != nullptr) return AddPixmap(width, height, pixels, nullptr, false);
    if (count > mwin::kMaxPicturePixels) return nullptr;
    std::unique_ptr<std::uint32_t[]> owned(new (std::nothrow) std::uint32_t[static_cast<std::size_t>(count)]());
    if (!owned) return nullptr;
    std::uint32_t* first = owned.get();
    return AddPixmap(width, height, first, std::move(owned), false);
}

PSD GdLoadImageFromFile(const char* path, int /*flags*/) {
    return GdLoadImageFit(path, 0, 0);
}

PSD GdLoadImageFit(const char* path, int width, int height) {
    mwin::Picture picture = mwin::LoadPicture(path, {width, height});
    if (!picture.pixels) return nullptr;
    std::uint32_t* first = picture.pixels.get();
    const std::size_t count = static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height);
    const bool has_alpha = std::any_of(first, first + count, [](std::uint32_t pixel) { return pixel < 0xFF000000U; });
    return AddPixmap(picture.width, picture.height, first, std::move(picture.pixels), has_alpha);
}

void DrawDIBFit(HDC dc, int x, int y, int width, int height, PSD image) {
    if (!mwin::IsDrawable(dc) || !mwin::IsDrawableDevice(image) || width <= 0 || height <= 0) return;
    const RECT destination =
        mwin::ToSurface(*dc, x, y, static_cast<std::int64_t>(x) + width, static_cast<std::int64_t>(y) + height);
    mwin::Region clip = mwin::ClipTo(*dc, destination);
    if (clip.IsEmpty()) return;
    mwin::DrawDevice(dc->surface->Image(), clip, destination, *image);
    dc->surface->AddDamage(clip);
}
