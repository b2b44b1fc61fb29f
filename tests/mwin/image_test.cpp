#include <gif_lib.h>
#include <gtest/gtest.h>
#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>

#include "mwin/picture_file.h"
#include "mwin/windows.h"

#include <jpeglib.h>  // after ours: it defines TRUE and FALSE as macros

namespace {

using Bytes = std::vector<std::uint8_t>;
using Pixels = std::vector<std::uint32_t>;

Bytes Png(int width, int height, const Pixels& pixels) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = PNG_FORMAT_BGRA;
    png_alloc_size_t size = pixels.size() * 8 + 4096;
    Bytes file(size);
    EXPECT_NE(png_image_write_to_memory(&image, file.data(), &size, 0, pixels.data(), 0, nullptr), 0);
    file.resize(size);
    return file;
}

// `pixel` has as many bytes as the colour space has components.
Bytes Jpeg(unsigned width, unsigned height, J_COLOR_SPACE space, const Bytes& pixel, bool progressive) {
    jpeg_compress_struct info{};
    jpeg_error_mgr errors{};
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char* memory = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &memory, &size);
    info.image_width = width;
    info.image_height = height;
    info.input_components = static_cast<int>(pixel.size());
    info.in_color_space = space;
    jpeg_set_defaults(&info);
    if (space == JCS_CMYK) jpeg_set_colorspace(&info, JCS_YCCK);
    jpeg_set_quality(&info, 95, TRUE);
    if (progressive) jpeg_simple_progression(&info);
    jpeg_start_compress(&info, TRUE);
    Bytes row;
    for (unsigned x = 0; x < width; ++x)
        row.insert(row.end(), pixel.begin(), pixel.end());
    JSAMPROW rows = row.data();
    for (unsigned y = 0; y < height; ++y)
        jpeg_write_scanlines(&info, &rows, 1);
    jpeg_finish_compress(&info);
    Bytes file(memory, memory + size);
    free(memory);
    jpeg_destroy_compress(&info);
    return file;
}

struct GifFrame {
    int screen_width, screen_height, left, top, width, height;
    bool interlaced;
    int transparent;
};

// Frame rows are coloured by their number: 0 red, 1 green, 2 blue, 3 white, and so on.
Bytes Gif(const GifFrame& frame) {
    Bytes file;
    const auto append = [](GifFileType* g, const GifByteType* data, int length) {
        auto* bytes = static_cast<Bytes*>(g->UserData);
        bytes->insert(bytes->end(), data, data + length);
        return length;
    };
    GifFileType* gif = EGifOpen(&file, append, nullptr);
    const GifColorType colors[4] = {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 255}};
    ColorMapObject* map = GifMakeMapObject(4, colors);
    EGifPutScreenDesc(gif, frame.screen_width, frame.screen_height, 2, 0, map);
    const GraphicsControlBlock control{DISPOSAL_UNSPECIFIED, false, 0, frame.transparent};
    GifByteType extension[4];
    EGifGCBToExtension(&control, extension);
    EGifPutExtension(gif, GRAPHICS_EXT_FUNC_CODE, sizeof extension, extension);
    EGifPutImageDesc(gif, frame.left, frame.top, frame.width, frame.height, frame.interlaced, nullptr);
    using Pass = std::pair<int, int>;  // first row, step
    for (const auto& [first, step] :
         frame.interlaced ? std::vector<Pass>{{0, 8}, {4, 8}, {2, 4}, {1, 2}} : std::vector<Pass>{{0, 1}}) {
        for (int y = first; y < frame.height; y += step) {
            Bytes row(static_cast<std::size_t>(frame.width), static_cast<std::uint8_t>(y % 4));
            EGifPutLine(gif, row.data(), frame.width);
        }
    }
    EGifCloseFile(gif, nullptr);
    GifFreeMapObject(map);
    return file;
}

mwin::Picture Decode(const Bytes& file) {
    return mwin::DecodePicture(file.data(), file.size());
}

Pixels PixelsOf(const mwin::Picture& picture) {
    return picture.pixels ? Pixels(picture.pixels.get(), picture.pixels.get() + picture.width * picture.height)
                          : Pixels{};
}

const Pixels kPixels{0xFFFF0000, 0x80123456, 0x00FFFFFF, 0xFF00FF00, 0xFF0000FF, 0xFFFFFFFF};

const std::map<std::string, Bytes>& SampleFiles() {
    static const std::map<std::string, Bytes> files = {{"png", Png(3, 2, kPixels)},
                                                       {"jpeg", Jpeg(20, 12, JCS_RGB, {200, 100, 50}, false)},
                                                       {"progressive", Jpeg(20, 12, JCS_RGB, {200, 100, 50}, true)},
                                                       {"cmyk", Jpeg(9, 9, JCS_CMYK, {255, 127, 63, 200}, false)},
                                                       {"gif", Gif({8, 12, 0, 0, 8, 12, true, 1})}};
    return files;
}

TEST(Images, JpegColourSpaces) {
    const struct {
        const char* name;
        J_COLOR_SPACE space;
        Bytes pixel;
        bool progressive;
        std::uint32_t expected;
    } cases[] = {
        {"colour", JCS_RGB, {200, 100, 50}, false, 0xFFC86432},
        {"progressive", JCS_RGB, {200, 100, 50}, true, 0xFFC86432},
        {"grey", JCS_GRAYSCALE, {77}, false, 0xFF4D4D4D},
        {"progressive grey", JCS_GRAYSCALE, {77}, true, 0xFF4D4D4D},
        // Inks are stored inverted: cyan 255 is no cyan, black 127 is half black.
        {"inks", JCS_CMYK, {255, 128, 0, 127}, false, 0xFF7F4000},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const mwin::Picture picture = Decode(Jpeg(33, 17, c.space, c.pixel, c.progressive));
        ASSERT_TRUE(picture.pixels);
        ASSERT_EQ(picture.width, 33);
        ASSERT_EQ(picture.height, 17);
        for (const std::uint32_t pixel : {picture.pixels[0], picture.pixels[33 * 17 - 1]}) {
            for (int shift = 0; shift < 32; shift += 8)
                EXPECT_NEAR(pixel >> shift & 255, c.expected >> shift & 255, 3);
        }
    }
}

TEST(Images, GifFrames) {
    constexpr std::uint32_t r = 0xFFFF0000, g = 0xFF00FF00, b = 0xFF0000FF, w = 0xFFFFFFFF;
    constexpr int kOpaque = NO_TRANSPARENT_COLOR;
    const struct {
        const char* name;
        GifFrame frame;
        Pixels column;  // at x = 1
    } cases[] = {
        {"whole", {2, 4, 0, 0, 2, 4, false, kOpaque}, {r, g, b, w}},
        {"transparent", {2, 4, 0, 0, 2, 4, false, 2}, {r, g, 0, w}},
        {"interlaced", {2, 10, 0, 0, 2, 10, true, kOpaque}, {r, g, b, w, r, g, b, w, r, g}},
        {"frame inside", {3, 4, 1, 1, 1, 2, false, kOpaque}, {0, r, g, 0}},
        {"frame reaching out", {2, 3, 1, 2, 5, 5, false, kOpaque}, {0, 0, r}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const mwin::Picture picture = Decode(Gif(c.frame));
        ASSERT_EQ(picture.width, c.frame.screen_width);
        ASSERT_EQ(picture.height, c.frame.screen_height);
        Pixels column;
        for (int y = 0; y < picture.height; ++y)
            column.push_back(picture.pixels[static_cast<std::size_t>(y * picture.width + 1)]);
        EXPECT_EQ(column, c.column);
    }
}

TEST(Images, CutAndDamagedFilesDoNoHarm) {
    for (const auto& [name, file] : SampleFiles()) {
        const Pixels whole = PixelsOf(Decode(file));
        ASSERT_FALSE(whole.empty()) << name;
        EXPECT_TRUE(name != "png" || whole == kPixels) << "with its alpha";
        for (std::size_t length = 0; length < file.size(); ++length) {
            // Copied, so that reading on is seen by the sanitizers.
            const Bytes part(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length));
            const Pixels pixels = PixelsOf(Decode(part));
            EXPECT_TRUE(pixels.empty() || pixels == whole) << name << " cut to " << length;
            Bytes damaged = file;
            damaged[length] ^= 0xA5;
            const mwin::Picture picture = Decode(damaged);
            EXPECT_LE(std::int64_t{picture.width} * picture.height, mwin::kMaxPicturePixels)
                << name << " at " << length;
        }
    }
}

TEST(Images, LargePictures) {
    const mwin::Picture picture = Decode(Jpeg(4000, 3000, JCS_GRAYSCALE, {90}, false));
    EXPECT_EQ(picture.width, 1500);  // three eighths
    EXPECT_EQ(picture.height, 1125);
    Bytes png = Png(1, 1, {0xFFFFFFFF});
    const std::uint8_t huge[] = {0, 1, 0, 0, 0, 1, 0, 0, 8, 6, 0, 0, 0, 0xD7, 0x9B, 0x4B, 0x36};  // 65536 x 65536
    std::memcpy(png.data() + 16, huge, sizeof huge);
    EXPECT_FALSE(Decode(png).pixels);
    EXPECT_FALSE(Decode(Gif({65535, 65535, 0, 0, 1, 1, false, NO_TRANSPARENT_COLOR})).pixels);
}

TEST(Images, PhotosComeNoLargerThanTheirRoomNeeds) {
    const struct {
        unsigned width, height;
        mwin::Room room;
        int expected_width, expected_height;
    } cases[] = {{640, 480, {100, 75}, 160, 120},  {640, 480, {320, 240}, 320, 240},
                 {640, 480, {321, 241}, 640, 480}, {640, 480, {0, 0}, 640, 480},
                 {1, 1, {320, 240}, 1, 1},         {2000, 100, {320, 240}, 500, 25},
                 {100, 2000, {320, 240}, 13, 250}, {4000, 3000, {3000, 3000}, 1500, 1125}};
    for (const auto& c : cases) {
        const Bytes photo = Jpeg(c.width, c.height, JCS_GRAYSCALE, {90}, false);
        const mwin::Picture picture = mwin::DecodeJpeg(photo.data(), photo.size(), c.room);
        EXPECT_EQ(picture.width, c.expected_width) << c.width << "x" << c.height;
        EXPECT_EQ(picture.height, c.expected_height) << c.width << "x" << c.height;
    }
}

// A comment of the greatest length lies across the end of the first piece that is read, the picture across the next
// ones.
TEST(Images, LongPhotosAreReadInPieces) {
    Bytes photo = Jpeg(4000, 3000, JCS_GRAYSCALE, {90}, false);
    Bytes comment(2 + 0xFFFF, 'x');
    std::memcpy(comment.data(), "\xFF\xFE\xFF\xFF", 4);
    photo.insert(photo.begin() + 2, comment.begin(), comment.end());
    constexpr mwin::Room kRoom{320, 240};
    const Pixels whole = PixelsOf(mwin::DecodeJpeg(photo.data(), photo.size(), kRoom));
    ASSERT_FALSE(whole.empty());
    ASSERT_GT(photo.size(), 3U << 16U);

    const std::unique_ptr<FILE, int (*)(FILE*)> file(tmpfile(), fclose);
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(fwrite(photo.data(), 1, photo.size(), file.get()), photo.size());
    rewind(file.get());
    EXPECT_EQ(PixelsOf(mwin::DecodeJpeg(file.get(), kRoom)), whole);
    for (const std::size_t length : {photo.size() - 1, std::size_t{3} << 16U, std::size_t{1} << 16U, std::size_t{3}}) {
        ASSERT_EQ(ftruncate(fileno(file.get()), static_cast<off_t>(length)), 0);
        rewind(file.get());
        EXPECT_FALSE(mwin::DecodeJpeg(file.get(), kRoom).pixels) << "cut to " << length;
    }
}

TEST(Images, Files) {
    const std::string path = testing::TempDir() + "picture" + std::to_string(getpid());
    for (const auto& [name, file] : SampleFiles()) {
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(file.size()));
        PSD picture = GdLoadImageFromFile(path.c_str(), 0);
        ASSERT_NE(picture, nullptr) << name;
        EXPECT_EQ(picture->has_alpha, name == "png" || name == "gif") << name;
        EXPECT_EQ(picture->size, picture->pitch * picture->yvirtres);
        picture->FreeMemGC(picture);
    }
    for (const std::size_t size : {std::size_t{0}, mwin::kMaxPictureFileBytes + 1}) {
        EXPECT_EQ(truncate(path.c_str(), static_cast<off_t>(size)), 0);
        EXPECT_EQ(GdLoadImageFromFile(path.c_str(), 0), nullptr) << size;
    }
    unlink(path.c_str());
    for (const char* none : {path.c_str(), static_cast<const char*>(nullptr), "/"})
        EXPECT_EQ(GdLoadImageFromFile(none, 0), nullptr) << (none ? none : "no name");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(GdLoadImageFromFile(path.c_str(), 0), nullptr);  // and does not wait for a writer
    unlink(path.c_str());
}

}  // namespace
