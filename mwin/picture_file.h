// Picture files: PNG, JPEG (also grey, CMYK and progressive) and GIF (the first frame).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>

namespace mwin {

// No decoded picture has more pixels (8 MiB of memory). A larger JPEG is decoded at a reduced scale that fits; a larger
// PNG or GIF is refused.
constexpr std::int64_t kMaxPicturePixels = 2 * 1024 * 1024;
// Larger files are refused unread.
constexpr std::size_t kMaxPictureFileBytes = 32 * 1024 * 1024;

// Where a picture is to be seen: it may be decoded at a smaller scale that still fills that room, its proportions kept.
struct Room {
    int width = 0;  // 0: as large as it is
    int height = 0;
};

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
Picture DecodeJpeg(const std::uint8_t* data, std::size_t size, const Room& room = {});
// Reads the file as it goes, from its current position, so that only a piece of it is in memory at a time.
Picture DecodeJpeg(FILE* file, const Room& room = {});
Picture DecodeGif(const std::uint8_t* data, std::size_t size);
// Tells the format by its first bytes.
Picture DecodePicture(const std::uint8_t* data, std::size_t size);
// Reads an ordinary file and decodes it; also null when it is missing or is no ordinary file. Only JPEG files know
// smaller scales.
Picture LoadPicture(const char* path, const Room& room = {});

}  // namespace mwin
