// The picture a still is made of.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

// Pixels of a still; the encoder is never told another size.
constexpr int kStillWidth = 640;
constexpr int kStillHeight = 480;
constexpr std::size_t kStillBytes = std::size_t{kStillWidth} * kStillHeight * 2;

// A packed YUYV frame of kStillWidth x kStillHeight pixels made of `len` bytes of a frame of width x height: scaled
// when the size is another, completed with black where the frame ends early. Null when there is no memory or no
// picture. One thread.
std::unique_ptr<unsigned char[]> MakeStillFrame(const unsigned char* frame, std::size_t len, unsigned width,
                                                unsigned height);
