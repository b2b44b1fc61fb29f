// Picture files of any content, in memory and, as photos are, read piece by piece for a small place on the screen.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "mwin/picture_file.h"

namespace {

void Check(const mwin::Picture& picture) {
    if (!picture.pixels) return;
    const std::int64_t count = static_cast<std::int64_t>(picture.width) * picture.height;
    if (picture.width <= 0 || picture.height <= 0 || count > mwin::kMaxPicturePixels) abort();
    // Reads every pixel.
    if (std::count(picture.pixels.get(), picture.pixels.get() + count, 0U) > count) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Check(mwin::DecodePicture(data, size));
    if (size == 0) return 0;
    FILE* file = fmemopen(const_cast<std::uint8_t*>(data), size, "rb");
    if (!file) abort();
    Check(mwin::DecodeJpeg(file, {8, 6}));
    std::fclose(file);
    return 0;
}
