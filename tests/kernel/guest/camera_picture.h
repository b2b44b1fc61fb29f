// The picture that the virtual machine's camera sends, of colours that RGB holds without clipping: frame for frame
// another one, and each can be told from the picture itself, also when only the left end of its middle lines is shown,
// as by the largest zoom.
#pragma once

#include <cstdint>
#include <vector>

namespace kernel_test {

// Where the number's bits are, most significant first: in four rows of eight, at the left of the middle lines.
struct NumberCells {
    explicit NumberCells(int camera_height) : size(camera_height / 30) {}
    int size;
    int Left(int bit) const { return size * (1 + bit % 8); }
    int Top(int bit, int height) const { return height / 2 + (bit / 8 - 2) * size; }
};

// Writes the number into a packed YUYV 4:2:2 picture.
inline void WriteNumber(std::vector<std::uint8_t>& picture, int width, int height, std::uint32_t number) {
    const NumberCells cells(height);
    for (int bit = 0; bit < 32; ++bit)
        for (int y = cells.Top(bit, height); y < cells.Top(bit, height) + cells.size; ++y)
            for (int x = cells.Left(bit); x < cells.Left(bit) + cells.size; ++x)
                picture[static_cast<std::size_t>(2 * (y * width + x))] = number << bit & 0x80000000 ? 224 : 32;
}

// Frame `number` of a camera at width x height. But for the number, it is that of 32 frames before.
constexpr std::uint32_t kPictures = 32;
inline std::vector<std::uint8_t> CameraPicture(int width, int height, std::uint32_t number) {
    std::vector<std::uint8_t> picture;
    picture.reserve(static_cast<std::size_t>(width * height * 2));
    for (int y = 0; y < height; ++y) {
        const auto v = static_cast<std::uint8_t>(112 + 32 * y / height);
        for (int x = 0; x < width; ++x) {
            const std::uint32_t moved = static_cast<std::uint32_t>(x + 2 * y) + 128 / kPictures * number;
            picture.push_back(static_cast<std::uint8_t>(48 + (moved & 127U)));
            picture.push_back(x % 2 == 0 ? static_cast<std::uint8_t>(112 + 32 * x / width) : v);
        }
    }
    WriteNumber(picture, width, height, number);
    return picture;
}

}  // namespace kernel_test
