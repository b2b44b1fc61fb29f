#include "board/font_substitute.h"

#include <gtest/gtest.h>

namespace {

std::string FileName(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

TEST(FontSubstitute, FindsFreeFacesByPattern) {
    EXPECT_EQ(FileName(board::FindFontSubstitute("Arial.ttf", false)), "LiberationSans-Regular.ttf");
    EXPECT_EQ(FileName(board::FindFontSubstitute("ARIALB.TTF", false)), "LiberationSans-Bold.ttf");
    EXPECT_EQ(FileName(board::FindFontSubstitute("MSYH.TTF", true)), "wqy-microhei.ttc");
    // A Latin family that was asked for as Chinese gives a face that really has the characters.
    EXPECT_NE(FileName(board::FindFontSubstitute("Arial.ttf", true)), "LiberationSans-Regular.ttf");
    EXPECT_NE(board::FindFontSubstitute("NoSuchFont.ttf", false), "");
}

}  // namespace
