// Picture files: PNG, JPEG (also grey, CMYK and progressive) and GIF (the first frame).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace mwin {

// No decoded picture has more pixels (8 MiB of memory). A larger JPEG is decoded at a reduced scale that fits; a larger
// PNG or GIF is refused.
constexpr std::int64_t kMaxPicturePixels = 2 * 1024 * 1024;
// Larger files are refused unread.
constexpr std::size_t kMaxPictureFileBytes = 32 * 1024 * 1024;

// Pixels are 0xAARRGGBB, not premultiplied, rows without a gap. No pixels: there is no picture.
struct Picture {
    int width = 0;
    int height = 0;
    std::unique_ptr<std::uint32_t[]> pixels;

    // Makes room for transparent pixels; false when the size is out of range or memory is short.
    bool Allocate(std::int64_t new_width, std::int64_t new_height);
};

// Each is null for broken, truncated or absurdly large data. Thread-safe.
Picture DecodePng(const std::uint8_t* data, std::size_t size);
Picture DecodeJpeg(const std::uint8_t* data, std::size_t size);
Picture DecodeGif(const std::uint8_t* data, std::size_t size);
// Tells the format by its first bytes.
Picture DecodePicture(const std::uint8_t* data, std::size_t size);
// Reads an ordinary file and decodes it; also null when it is missing or is no ordinary file.
Picture LoadPicture(const char* path);

}  // namespace mwin
