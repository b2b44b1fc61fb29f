#include "video/frames/pixel_conversion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "video/frames/yuyv_planes.h"

namespace {

using Bytes = std::vector<unsigned char>;
constexpr unsigned char kUntouched = 0xA5;

std::mt19937 SeededRandom() {
    const unsigned seed = std::random_device{}();
    std::cout << "seed " << seed << "\n";
    return std::mt19937(seed);
}

Bytes RandomBytes(std::mt19937& random, std::size_t size) {
    Bytes bytes(size);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<unsigned char>(random()); });
    return bytes;
}

// The conversion pixel by pixel, in whole numbers.
unsigned char Limited(int value) {
    return static_cast<unsigned char>(std::clamp(value, 0, 255));
}
struct Rgb {
    unsigned char red, green, blue;
};
Rgb Expected(int y, int u, int v) {
    return {Limited(y + (v - 128) * 1370705 / 1000000),
            Limited(y + (128 - u) * 37677 / 1000000 + (128 - v) * 698001 / 1000000),
            Limited(y + (u - 128) * 1732446 / 1000000)};
}

TEST(YuyvToPlanar, CutsOutOfTheMiddleLinesFromTheLeftEdge) {
    struct Case {
        unsigned in_width, in_height;
        int width;
        unsigned height;
        int result;
    };
    const Case cases[] = {{320, 240, 320, 240, 2},  {320, 240, 160, 120, 2},  {320, 240, 288, 216, 2},
                          {320, 240, 128, 96, 2},   {320, 240, 16, 12, 2},    {6, 4, 2, 2, 2},
                          {320, 240, 330, 240, -1}, {320, 240, 320, 241, -1}, {320, 240, 320, 0, 2},
                          {320, 240, 0, 240, 2},    {320, 240, -2, 240, 2},   {320, 240, -2, 241, -1}};
    std::mt19937 random = SeededRandom();
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.in_width << "x" << c.in_height << " to " << c.width << "x" << c.height);
        const Bytes in = RandomBytes(random, std::size_t{c.in_width} * c.in_height * 2);
        const std::size_t pixels = c.result == 2 && c.width > 0 ? static_cast<std::size_t>(c.width) * c.height : 0;
        Bytes out(pixels * 2 + 1, kUntouched);
        Bytes expected = out;
        const unsigned top = (c.in_height - c.height) / 2;
        for (std::size_t i = 0; i < pixels; ++i) {
            const std::size_t x = i % c.width;
            const unsigned char* pair = &in[((top + i / c.width) * c.in_width + x / 2 * 2) * 2];
            expected[i] = pair[x % 2 * 2];
            expected[pixels + i / 2] = static_cast<unsigned char>(pair[1] - 128);
            expected[pixels + pixels / 2 + i / 2] = static_cast<unsigned char>(pair[3] - 128);
        }
        EXPECT_EQ(YUYVtoYUV422PZoomoutCen(in.data(), out.data(), c.in_width, c.in_height, c.width, c.height), c.result);
        EXPECT_EQ(out, expected);
    }
}

TEST(YuyvToPlanar, OddSizesStayInsideTheirBuffers) {
    std::mt19937 random = SeededRandom();
    for (unsigned in_width = 1; in_width < 9; ++in_width) {
        for (unsigned in_height = 1; in_height < 6; ++in_height) {
            const Bytes in = RandomBytes(random, std::size_t{in_width} * in_height * 2);
            for (unsigned width = 1; width <= in_width; ++width) {
                for (unsigned height = 1; height <= in_height; ++height) {
                    Bytes out(std::size_t{width} * height * 2);
                    EXPECT_EQ(YUYVtoYUV422PZoomoutCen(in.data(), out.data(), in_width, in_height,
                                                      static_cast<int>(width), height),
                              2);
                }
            }
        }
    }
}

TEST(YuyvToPlanar, WordsAndBytesGiveTheSame) {
    std::mt19937 random = SeededRandom();
    for (const std::size_t pairs : {0, 1, 15, 16, 17, 80, 160, 333, 38400}) {
        for (unsigned shift = 0; shift < 16; ++shift) {  // every alignment of source and planes
            SCOPED_TRACE(testing::Message() << pairs << " pairs, shift " << shift);
            const std::size_t in_shift = shift % 4;
            const std::size_t out_shift = shift / 4;
            const Bytes in = RandomBytes(random, 4 * pairs + in_shift);
            Bytes words(4 * pairs + 3 * 4, kUntouched);
            Bytes bytes = words;
            const auto planes = [&](Bytes& out) {
                return frames::Planes{&out[out_shift], &out[2 * pairs + 4 + out_shift],
                                      &out[3 * pairs + 8 + out_shift]};
            };
            frames::SplitYuyvWords(in.data() + in_shift, planes(words), pairs);
            frames::SplitYuyvBytes(in.data() + in_shift, planes(bytes), pairs);
            EXPECT_EQ(words, bytes);
            EXPECT_TRUE(pairs == 0 || bytes != Bytes(bytes.size(), kUntouched));
        }
    }
}

// All chroma with some luma, in one picture of 256 x 256 pairs, with the tables in every state that a caller may leave.
TEST(YuyvToRgb, FollowsTheCoefficientsWhateverTheTablesState) {
    Bytes in;
    for (int i = 0; i < 256 * 256; ++i) {
        const int y0 = i * 7 % 256;
        for (const int sample : {y0, i % 256, 255 - y0, i / 256})
            in.push_back(static_cast<unsigned char>(sample));
    }
    Bytes rgb;
    Bytes bgra;
    for (std::size_t i = 0; i < in.size(); i += 2) {
        const std::size_t pair = i / 4 * 4;
        const Rgb pixel = Expected(in[i], in[pair + 1], in[pair + 3]);
        rgb.insert(rgb.end(), {pixel.red, pixel.green, pixel.blue});
        bgra.insert(bgra.end(), {pixel.blue, pixel.green, pixel.red, 255});
    }
    const auto check = [&](const char* state) {
        Bytes out24(rgb.size());
        Bytes out32(bgra.size());
        testing::internal::CaptureStdout();
        EXPECT_EQ(Pyuv422torgb24(in.data(), out24.data(), 512, 256), 2);
        EXPECT_EQ(Pyuv422torgb32(in.data(), out32.data(), 512, 256), 2);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "Pyuv422torgb24\nPyuv422torgb24@@@@@@@@@\n");
        EXPECT_TRUE(out24 == rgb) << state;
        EXPECT_TRUE(out32 == bgra) << state;
    };
    check("before initLut");
    initLut();
    initLut();
    check("built");
    freeLut();
    check("freed once");
    freeLut();
    freeLut();
    check("freed too often");
    initLut();
    check("built again");
    freeLut();
}

TEST(YuyvToRgb, KnownPixels) {
    const unsigned char grey[] = {128, 128, 255, 128};
    const unsigned char red[] = {255, 128, 0, 255};
    unsigned char out[6] = {};
    Pyuv422torgb24(grey, out, 2, 1);
    EXPECT_THAT(std::vector<int>(out, out + 6), testing::ElementsAre(128, 128, 128, 255, 255, 255));
    Pyuv422torgb24(red, out, 1, 2);
    EXPECT_THAT(std::vector<int>(out, out + 6), testing::ElementsAre(255, 167, 255, 174, 0, 0));
}

TEST(YuyvToRgb, LeavesAnOddLastPixel) {
    const unsigned char in[] = {1, 2, 3, 4, 5, 6};
    for (const auto& [width, height, written] : {std::tuple{1U, 1U, 0}, {0U, 9U, 0}, {3U, 1U, 6}}) {
        Bytes out(9, kUntouched);
        EXPECT_EQ(Pyuv422torgb24(in, out.data(), width, height), 2);
        EXPECT_TRUE(std::all_of(out.begin() + written, out.end(), [](unsigned char c) { return c == kUntouched; }));
        EXPECT_EQ(out[0] == kUntouched, written == 0);
    }
}

// The buffers are exactly as large as the header says.
TEST(QuarterTurn, ReadsUpwardsFromTheLineBelow) {
    std::mt19937 random = SeededRandom();
    for (const auto& [width, height] : {std::pair{4U, 4U}, {7U, 5U}, {3U, 6U}, {1U, 1U}, {5U, 0U}}) {
        for (const unsigned bytes : {3U, 4U}) {
            SCOPED_TRACE(testing::Message() << width << "x" << height << " of " << bytes);
            const Bytes in = RandomBytes(random, (std::size_t{width} * height + height) * bytes);
            Bytes out(std::size_t{height} * height * bytes);
            (bytes == 3 ? rgb24rotate : rgb32rotate)(in.data(), out.data(), width, height);
            for (unsigned i = 0; i < height; ++i) {
                for (unsigned j = 0; j < height; ++j) {
                    const unsigned char* source = &in[(width * height + i - j * width) * bytes];
                    EXPECT_TRUE(std::equal(source, source + bytes, &out[(i * height + j) * bytes])) << i << " " << j;
                }
            }
        }
    }
}

}  // namespace
