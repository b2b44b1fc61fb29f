#include "video/frames/yuyv_fit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

// The lumas of an 8 × 4 picture, row by row; what was not drawn is a dot. Every pixel's luma tells its row and column
// in the source, its chroma its pair's column.
std::string Drawn(unsigned width, unsigned height) {
    const frames::YuyvFit fit(width, height, 8, 4);
    Bytes in;
    for (unsigned i = 0; i < (width + 1) / 2 * height; ++i) {
        const unsigned x = i % ((width + 1) / 2) * 2;
        const unsigned luma = 16 * (i / ((width + 1) / 2)) + x + 1;
        for (const unsigned sample : {luma, 200 + x, luma + 1, 100 + x})
            in.push_back(static_cast<unsigned char>(sample));
    }
    EXPECT_EQ(fit.InBytes(), in.size());
    Bytes out(8 * 4 * 2);
    fit.Draw(in.data(), out.data());
    std::string rows;
    for (std::size_t i = 0; i < out.size(); i += 2) {
        if (i > 0 && i % 16 == 0) rows += '\n';
        rows += out[i] == 0 ? "." : std::to_string((out[i] - 1) / 16) + std::to_string((out[i] - 1) % 16);
        rows += ' ';
        EXPECT_TRUE(out[i] == 0 || i % 4 != 0 || out[i + 3] == out[i + 1] - 100);  // of the same pair
    }
    return rows;
}

TEST(YuyvFit, KeepsProportionsInTheMiddle) {
    const std::string whole = "00 01 02 03 04 05 06 07 \n10 11 12 13 14 15 16 17 \n";
    EXPECT_EQ(Drawn(8, 4), whole + "20 21 22 23 24 25 26 27 \n30 31 32 33 34 35 36 37 ");
    EXPECT_EQ(Drawn(8, 2), ". . . . . . . . \n" + whole + ". . . . . . . . ");
    const std::string twice = "00 00 01 01 02 02 03 03 \n";
    EXPECT_EQ(Drawn(4, 2), twice + twice + "10 10 11 11 12 12 13 13 \n10 10 11 11 12 12 13 13 ");
    EXPECT_EQ(Drawn(4, 4), ". . 00 01 02 03 . . \n. . 10 11 12 13 . . \n. . 20 21 22 23 . . \n. . 30 31 32 33 . . ");
    EXPECT_EQ(Drawn(1, 1), ". . 00 00 00 00 . . \n. . 00 00 00 00 . . \n. . 00 00 00 00 . . \n. . 00 00 00 00 . . ");
    EXPECT_EQ(Drawn(16, 8).substr(0, 25), "11 13 15 17 19 111 113 11");
    EXPECT_EQ(Drawn(3, 4).substr(0, 12), ". . 00 02 . ");
}

TEST(YuyvFit, ExtremeShapesStayInside) {
    for (const auto& [width, height] : {std::pair{65535U, 1U}, {1U, 65535U}, {2U, 65535U}, {65535U, 3U}}) {
        const frames::YuyvFit fit(width, height, 320, 240);
        const Bytes in(fit.InBytes(), 7);
        Bytes out(320 * 240 * 2);
        fit.Draw(in.data(), out.data());
        EXPECT_NE(std::count(out.begin(), out.end(), 7), 0) << width << " × " << height;
    }
}

}  // namespace
