// Picture files of any content.
#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "mwin/picture_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const mwin::Picture picture = mwin::DecodePicture(data, size);
    if (!picture.pixels) return 0;
    const std::int64_t count = static_cast<std::int64_t>(picture.width) * picture.height;
    if (picture.width <= 0 || picture.height <= 0 || count > mwin::kMaxPicturePixels) abort();
    // Reads every pixel.
    if (std::count(picture.pixels.get(), picture.pixels.get() + count, 0U) > count) abort();
    return 0;
}
