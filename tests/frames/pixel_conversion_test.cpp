#include "video/frames/pixel_conversion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/frames/seeded_random.h"
#include "video/frames/yuyv_planes.h"

namespace {

using Bytes = std::vector<unsigned char>;
constexpr unsigned char kUntouched = 0xA5;

Bytes RandomBytes(std::mt19937& random, std::size_t size) {
    Bytes bytes(size);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<unsigned char>(random()); });
    return bytes;
}

// The cut-out byte by byte; the rest of each line, in whole pairs, is skipped.
TEST(YuyvToPlanar, CutsOutOfTheMiddleLinesFromTheLeftEdge) {
    struct Case {
        int width, result;
        unsigned height, in_width = 320, in_height = 240;
    };
    std::vector<Case> cases = {{320, 2, 240},  {160, 2, 120}, {288, 2, 216}, {128, 2, 96}, {16, 2, 12},  {330, -1, 240},
                               {320, -1, 241}, {320, 2, 0},   {0, 2, 240},   {-2, 2, 240}, {-2, -1, 241}};
    for (unsigned i = 0; i < 8 * 5 * 8 * 5; ++i) {
        const Case c = {static_cast<int>(i % 8) + 1, 2, i / 8 % 5 + 1, i / 40 % 8 + 1, i / 320 + 1};
        if (c.width <= static_cast<int>(c.in_width) && c.height <= c.in_height) cases.push_back(c);
    }
    std::mt19937 random = SeededRandom();
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.in_width << "x" << c.in_height << " to " << c.width << "x" << c.height);
        const Bytes in = RandomBytes(random, std::size_t{c.in_width} * c.in_height * 2);
        const unsigned width = c.result == 2 && c.width > 0 ? static_cast<unsigned>(c.width) : 0;
        const std::size_t pixels = std::size_t{width} * c.height;
        Bytes out(pixels * 2 + 1, kUntouched);
        Bytes expected = out;
        std::size_t from = std::size_t{c.in_width} * (c.in_height - c.height);
        for (unsigned i = 0; i < width / 2 * c.height; ++i, from += 4) {
            expected[2 * i] = in[from];
            expected[2 * i + 1] = in[from + 2];
            expected[pixels + i] = static_cast<unsigned char>(in[from + 1] - 128);
            expected[pixels + pixels / 2 + i] = static_cast<unsigned char>(in[from + 3] - 128);
            if ((i + 1) % (width / 2) == 0) from += (c.in_width - width) / 2 * 4;
        }
        EXPECT_EQ(YUYVtoYUV422PZoomoutCen(in.data(), out.data(), c.in_width, c.in_height, c.width, c.height), c.result);
        EXPECT_EQ(out, expected);
    }
}

TEST(YuyvToPlanar, WordsAndBytesGiveTheSame) {
    std::mt19937 random = SeededRandom();
    for (const std::size_t pairs : {0, 1, 15, 16, 17, 80, 160, 333, 38400}) {
        for (unsigned shift = 0; shift < 16; ++shift) {  // every alignment of source and planes
            SCOPED_TRACE(testing::Message() << pairs << " pairs, shift " << shift);
            const Bytes in = RandomBytes(random, 4 * pairs + shift % 4);
            Bytes words(4 * pairs + 3 * 4, kUntouched);
            Bytes bytes = words;
            const auto planes = [&](Bytes& out) {
                unsigned char* y = &out[shift / 4];
                return frames::Planes{y, y + 2 * pairs + 4, y + 3 * pairs + 8};
            };
            frames::SplitYuyvWords(in.data() + shift % 4, planes(words), pairs);
            frames::SplitYuyvBytes(in.data() + shift % 4, planes(bytes), pairs);
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
        const int u = in[pair + 1] - 128;
        const int v = in[pair + 3] - 128;
        const auto sum = [y = in[i]](int chroma) { return static_cast<unsigned char>(std::clamp(y + chroma, 0, 255)); };
        const unsigned char red = sum(v * 1370705 / 1000000);
        const unsigned char green = sum(-u * 37677 / 1000000 - v * 698001 / 1000000);
        const unsigned char blue = sum(u * 1732446 / 1000000);
        rgb.insert(rgb.end(), {red, green, blue});
        bgra.insert(bgra.end(), {blue, green, red, 255});
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
    for (const char* state : {"built", "freed too often", "built again"}) {
        initLut();
        initLut();
        freeLut();
        check(state);
        freeLut();
        freeLut();
    }
    check("freed");
    Bytes odd(15, kUntouched);
    for (const unsigned height : {0U, 1U, 3U}) {  // the last pixel of an odd number is left as it is
        EXPECT_EQ(Pyuv422torgb24(in.data(), odd.data(), 1, height), 2);
        const auto pixels = static_cast<std::ptrdiff_t>(height / 2 * 2);
        EXPECT_EQ(std::count(odd.begin(), odd.end(), kUntouched), 15 - 3 * pixels);
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
