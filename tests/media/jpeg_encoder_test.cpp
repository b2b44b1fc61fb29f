#include "media/jpeg_encoder.h"

#include <jpeglib.h>

#include "tests/media/test_kernel.h"
#include "video/frames/pixel_conversion.h"

namespace {

class JpegTest : public MediaTest {
  protected:
    JpegTest() { initLut(); }
    ~JpegTest() override { freeLut(); }

    // Encodes a picture of one colour; the file's bytes, empty when that failed.
    std::string Encode(int width, int height, int quality) {
        std::vector<unsigned char> yuyv;
        for (int i = 0; i < std::max(width * height, 0); i += 2)
            yuyv.insert(yuyv.end(), {150, 100, 150, 170});
        FILE* file = std::fopen(File("still.jpg").c_str(), "w+b");
        const int result = encode_yuv422_to_rgb_jpeg(file, yuyv.data(), width, height, quality);
        const long size = std::ftell(file);
        std::string bytes(static_cast<std::size_t>(size), '\0');
        std::rewind(file);
        const bool read = std::fread(bytes.data(), 1, bytes.size(), file) == bytes.size();
        std::fclose(file);
        return result == 0 && read ? bytes : std::string();
    }
};

struct Decoded {
    unsigned width = 0;
    unsigned height = 0;
    int components = 0;
    bool baseline = false;
    int lumaScale = 0;
    std::vector<unsigned char> rgb;
};

Decoded Decode(const std::string& bytes) {
    jpeg_decompress_struct cinfo{};
    jpeg_error_mgr errors{};
    cinfo.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&cinfo);
    jpeg_mem_src(&cinfo, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    jpeg_read_header(&cinfo, TRUE);
    Decoded decoded;
    decoded.baseline = !cinfo.progressive_mode && !cinfo.arith_code;
    decoded.lumaScale = cinfo.quant_tbl_ptrs[0]->quantval[0];
    cinfo.out_color_space = JCS_RGB;
    jpeg_start_decompress(&cinfo);
    decoded.width = cinfo.output_width;
    decoded.height = cinfo.output_height;
    decoded.components = cinfo.output_components;
    decoded.rgb.resize(std::size_t{decoded.width} * decoded.height * 3);
    while (cinfo.output_scanline < cinfo.output_height) {
        JSAMPROW row = decoded.rgb.data() + std::size_t{cinfo.output_scanline} * decoded.width * 3;
        jpeg_read_scanlines(&cinfo, &row, 1);
    }
    jpeg_finish_decompress(&cinfo);
    jpeg_destroy_decompress(&cinfo);
    return decoded;
}

TEST_F(JpegTest, CompressesWhatTheTablesMakeOfTheFrame) {
    for (const auto& [width, height] : {std::pair<int, int>{640, 480}, {18, 7}, {1, 1}, {3, 3}}) {
        SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
        const std::string bytes = Encode(width, height, 100);
        ASSERT_FALSE(bytes.empty());
        const Decoded decoded = Decode(bytes);
        EXPECT_EQ(decoded.width, static_cast<unsigned>(width));
        EXPECT_EQ(decoded.height, static_cast<unsigned>(height));
        EXPECT_TRUE(decoded.baseline);
        EXPECT_EQ(decoded.lumaScale, 1);  // quality 100
        if (width * height < 2) continue;
        // R = 150 + 1.370705 * 42, G = 150 - (37.677 * -28 + 698.001 * 42) / 1000, B = 150 - 1.732446 * 28
        EXPECT_NEAR(decoded.rgb[0], 207, 2);
        EXPECT_NEAR(decoded.rgb[1], 122, 2);
        EXPECT_NEAR(decoded.rgb[2], 102, 2);
    }
    EXPECT_GT(Decode(Encode(16, 16, 50)).lumaScale, 10);
}

TEST_F(JpegTest, FailuresAreTold) {
    for (const auto& [width, height] : {std::pair<int, int>{0, 480}, {640, -1}}) {
        EXPECT_TRUE(Encode(width, height, 100).empty());
    }
    testing::internal::CaptureStderr();
    EXPECT_TRUE(Encode(65501, 2, 100).empty());  // more than the format can hold
    EXPECT_NE(testing::internal::GetCapturedStderr().find("65500"), std::string::npos);

    FILE* full = std::fopen("/dev/full", "w");
    ASSERT_TRUE(full);
    std::vector<unsigned char> noise(640 * 480 * 2);
    for (std::size_t i = 0; i < noise.size(); ++i)
        noise[i] = static_cast<unsigned char>(i * 2654435761U >> 11);
    testing::internal::CaptureStderr();
    EXPECT_EQ(encode_yuv422_to_rgb_jpeg(full, noise.data(), 640, 480, 100), -1);
    EXPECT_FALSE(testing::internal::GetCapturedStderr().empty());
    std::fclose(full);
}

}  // namespace
