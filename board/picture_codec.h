// The LCD's picture as image files.
#pragma once

#include <cstdint>
#include <string>

namespace board {

// `pixels` is row by row without gaps, 0xXXRRGGBB; the first eight bits are ignored. Thread-safe. Both throw
// std::runtime_error when the library refuses.

// Lossless PNG, 8-bit RGB.
std::string EncodePng(const std::uint32_t* pixels, int width, int height);
// Baseline JPEG; chroma at full resolution, because small coloured text is what an LCD shows most.
std::string EncodeJpeg(const std::uint32_t* pixels, int width, int height, int quality);

}  // namespace board
