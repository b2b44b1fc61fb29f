#include "media/jpeg_encoder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mwin/picture_file.h"
#include "video/frames/pixel_conversion.h"

namespace {

// A picture of one colour as a file; empty when that failed.
std::string Encode(int width, int height, int quality = 100) {
    std::vector<unsigned char> yuyv;
    for (int i = 0; i < width * height; i += 2)
        yuyv.insert(yuyv.end(), {150, 100, 150, 170});
    std::string bytes(100000, '\0');
    FILE* file = fmemopen(bytes.data(), bytes.size(), "wb");
    initLut();
    const int result = encode_yuv422_to_rgb_jpeg(file, yuyv.data(), width, height, quality);
    freeLut();
    bytes.resize(result == 0 ? static_cast<std::size_t>(std::ftell(file)) : 0);
    std::fclose(file);
    return bytes;
}

TEST(Jpeg, CompressesWhatTheTablesMakeOfTheFrame) {
    for (const auto& [width, height] : {std::pair<int, int>{640, 480}, {18, 7}, {1, 1}, {3, 3}}) {
        SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
        const std::string bytes = Encode(width, height);
        EXPECT_NE(bytes.find("\xFF\xC0"), std::string::npos) << "baseline";
        EXPECT_NE(bytes.find(std::string("\xFF\xDB\0\x43\0", 5) + std::string(64, '\1')), std::string::npos)
            << "quality 100";
        const mwin::Picture picture =
            mwin::DecodeJpeg(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
        EXPECT_EQ(std::pair(picture.width, picture.height), std::pair(width, height));
        if (width * height < 2) continue;
        // R = 150 + 1.370705 * 42, G = 150 - (37.677 * -28 + 698.001 * 42) / 1000, B = 150 - 1.732446 * 28
        ASSERT_TRUE(picture.pixels);
        for (const auto& [shift, value] : {std::pair{16, 207}, {8, 122}, {0, 102}})
            EXPECT_NEAR(static_cast<int>(picture.pixels[0] >> shift & 0xFF), value, 2);
    }
    EXPECT_LT(Encode(160, 160, 50).size(), Encode(160, 160).size());
}

TEST(Jpeg, FailuresAreTold) {
    EXPECT_EQ(Encode(0, 480) + Encode(640, -1), "");
    testing::internal::CaptureStderr();
    EXPECT_EQ(Encode(65501, 2), "") << "more than the format can hold";
    EXPECT_NE(testing::internal::GetCapturedStderr().find("65500"), std::string::npos);
}

}  // namespace
