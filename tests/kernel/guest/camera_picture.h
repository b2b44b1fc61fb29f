// The picture that the virtual machine's camera sends, of colours that RGB holds without clipping: frame for frame
// another one, and each can be told from the picture itself, also when only the left end of its middle lines is shown,
// as by the largest zoom.
#pragma once

#include <cstdint>
#include <vector>

namespace kernel_test {

// Frame `number` of a camera at width x height, packed YUYV 4:2:2, grey unless `coloured`. Any thread.
inline std::vector<std::uint8_t> CameraPicture(int width, int height, std::uint32_t number, bool coloured = true) {
    constexpr std::uint8_t kNoChroma = 128;
    constexpr int kColumns = 8;  // the number's bits, most significant first, at the left of the middle lines
    constexpr int kRows = 4;
    constexpr std::uint8_t kOne = 224;
    constexpr std::uint8_t kZero = 32;
    const int cell = height / 30;
    const int left = cell;
    const int top = (height - kRows * cell) / 2;
    std::vector<std::uint8_t> picture(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 2);
    std::uint8_t* at = picture.data();
    for (int y = 0; y < height; ++y) {
        const auto v = static_cast<std::uint8_t>(112 + 32 * y / height);
        for (int x = 0; x < width; ++x) {
            auto luma = static_cast<std::uint8_t>(48 + ((static_cast<std::uint32_t>(x + 2 * y) + 4 * number) & 127U));
            const int column = (x - left) / cell;
            const int row = (y - top) / cell;
            if (x >= left && y >= top && column < kColumns && row < kRows)
                luma = number >> static_cast<unsigned>(31 - row * kColumns - column) & 1U ? kOne : kZero;
            *at++ = luma;
            const std::uint8_t chroma = x % 2 == 0 ? static_cast<std::uint8_t>(112 + 32 * x / width) : v;
            *at++ = coloured ? chroma : kNoChroma;
        }
    }
    return picture;
}

// The number in a picture's luma, row by row without gaps: all of the camera's picture, or what a zoom leaves of it.
inline std::uint32_t NumberIn(const std::uint8_t* luma, int width, int height, int camera_height) {
    const int cell = camera_height / 30;
    std::uint32_t number = 0;
    for (int bit = 0; bit < 32; ++bit) {
        const int x = cell * (1 + bit % 8) + cell / 2;
        const int y = height / 2 + (bit / 8 - 2) * cell + cell / 2;
        number = number << 1U | (luma[y * width + x] > 128 ? 1U : 0U);
    }
    return number;
}

}  // namespace kernel_test
