#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "mwin/picture_file.h"
#include "tests/mwin/gdi_canvas.h"

namespace mwin_test {
namespace {

using namespace std::string_literals;
using Pixels = std::vector<std::uint32_t>;

constexpr char kMakeSamples[] = R"(
    printf '\377\0\0\377\22\64\126\200\377\377\377\0\0\377\0\377\0\0\377\377\377\377\377\377' |
        convert -size 3x2 -depth 8 rgba:- -strip png32:alpha.png
    convert -size 2x1 '(' xc:red xc:lime xc:blue xc:white -append ')' '(' -size 2x4 xc:black ')' whole.gif
    convert -size 2x1 xc:red xc:lime xc:none xc:white -append clear.gif
    convert -size 2x1 xc:red xc:lime xc:blue xc:white xc:red xc:lime xc:blue xc:white xc:red xc:lime -append \
        -interlace GIF interlaced.gif
    convert -size 1x1 xc:red xc:lime -append -repage 3x4+1+1 -set comment inside inside.gif
    convert -size 2x1 xc:red xc:lime xc:blue -append -repage 2x3+1+2 outside.gif
    convert -size 33x17 -quality 95 'xc:rgb(200,100,50)' -strip -write colour.jpg -interlace JPEG progressive.jpg
    convert -size 33x17 -quality 95 'xc:gray(77)' -colorspace Gray -strip grey.jpg
    convert -size 33x17 -quality 95 'xc:cmyk(0,127,255,128)' -strip inks.jpg
    for size in 640x480 1x1 100x2000 4000x3000; do
        convert -size $size gradient: -colorspace Gray -strip -quality 95 $size.jpg
    done
    printf '0;1;2;' > scans
    convert colour.jpg ppm:- | cjpeg -scans scans > scans.jpg
    cp colour.jpg large.jpg && truncate -s 33554433 large.jpg  # a byte too many
    : > empty.jpg && mkfifo pipe
)";

mwin::Picture Decode(const std::string& file) {
    const std::vector<std::uint8_t> copy(file.begin(), file.end());  // so that reading on is seen by the sanitizers
    return mwin::DecodePicture(copy.data(), copy.size());
}

Pixels PixelsOf(const mwin::Picture& picture) {
    return picture.pixels ? Pixels(picture.pixels.get(), picture.pixels.get() + picture.width * picture.height)
                          : Pixels{};
}

class Images : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        folder = testing::TempDir() + "picturesXXXXXX";
        ASSERT_NE(mkdtemp(folder.data()), nullptr);
        ASSERT_EQ(std::system(("set -e; cd " + folder + kMakeSamples).c_str()), 0);
    }
    static void TearDownTestSuite() { std::filesystem::remove_all(folder); }
    static std::string Sample(const std::string& name) {
        std::ifstream file(folder + "/" + name, std::ios::binary);
        EXPECT_TRUE(file) << name;
        return {std::istreambuf_iterator<char>(file), {}};
    }
    static mwin::Picture DecodeFor(const std::string& photo, const mwin::Room& room) {
        return mwin::DecodeJpeg(reinterpret_cast<const std::uint8_t*>(photo.data()), photo.size(), room);
    }

    static inline std::string folder;
};

TEST_F(Images, JpegColourSpaces) {
    const std::string adobe = "Adobe\0d\0\0\0\0\2"s;  // its last byte: how the inks are coded
    // A file, what is replaced in it and by what; the pixels.
    for (const auto& [name, from, to, expected] : Table<std::string, std::string, std::string, std::uint32_t>{
             {"colour.jpg", "", "", 0xFFC86432},
             {"progressive.jpg", "", "", 0xFFC86432},
             {"scans.jpg", "", "", 0xFFC86432},
             {"grey.jpg", "", "", 0xFF4D4D4D},
             // Inks are stored inverted by programs that sign as Adobe: cyan 255 is no cyan, black 127 is half black.
             {"inks.jpg", "", "", 0xFF7F4000},
             {"inks.jpg", adobe, "Adobe\0d\0\0\0\0\0"s, 0xFF336A1A},
             {"inks.jpg", adobe, "Other\0d\0\0\0\0\2"s, 0xFF4B1564}}) {
        SCOPED_TRACE(name + to);
        std::string file = Sample(name);
        ASSERT_NE(file.find(from), std::string::npos);
        const mwin::Picture picture = Decode(file.replace(file.find(from), from.size(), to));
        ASSERT_TRUE(picture.pixels != nullptr && picture.width == 33 && picture.height == 17);
        for (const std::size_t i : {0, 33 * 17 - 1})
            ExpectNear(picture.pixels[i], expected, 3);
    }
}

TEST_F(Images, GifFrames) {
    constexpr std::uint32_t r = kRedPixel, g = kGreenPixel, b = kBluePixel, w = kWhitePixel;
    for (const auto& [name, width, expected] :
         Table<const char*, int, Pixels>{{"whole.gif", 2, {r, g, b, w}},
                                         {"clear.gif", 2, {r, g, 0, w}},
                                         {"interlaced.gif", 2, {r, g, b, w, r, g, b, w, r, g}},
                                         {"inside.gif", 3, {0, r, g, 0}},
                                         {"outside.gif", 2, {0, 0, r}}}) {
        const mwin::Picture picture = Decode(Sample(name));
        ASSERT_EQ(picture.width, width) << name;
        Pixels column;  // at x = 1
        for (int y = 0; y < picture.height; ++y)
            column.push_back(picture.pixels[static_cast<std::size_t>(y * width + 1)]);
        EXPECT_EQ(column, expected) << name;
    }
}

TEST_F(Images, CutAndDamagedFilesDoNoHarm) {
    for (const char* name :
         {"alpha.png", "colour.jpg", "progressive.jpg", "inks.jpg", "interlaced.gif", "inside.gif"}) {
        const std::string file = Sample(name);
        const Pixels whole = PixelsOf(Decode(file));
        ASSERT_FALSE(whole.empty()) << name;
        for (std::size_t length = 0; length < file.size(); ++length) {
            const Pixels pixels = PixelsOf(Decode(file.substr(0, length)));
            const bool is_photo = std::strstr(name, ".jpg") != nullptr;  // which shows what came
            EXPECT_TRUE(pixels.empty() || (is_photo ? pixels.size() == whole.size() : pixels == whole))
                << name << " cut to " << length;
            std::string damaged = file;
            damaged[length] = static_cast<char>(damaged[length] ^ 0xA5);
            const mwin::Picture picture = Decode(damaged);
            EXPECT_LE(std::int64_t{picture.width} * picture.height, mwin::kMaxPicturePixels)
                << name << " at " << length;
        }
    }
    EXPECT_EQ(PixelsOf(Decode(Sample("alpha.png"))),
              (Pixels{kRedPixel, 0x80123456, 0x00FFFFFF, kGreenPixel, kBluePixel, kWhitePixel}));
}

TEST_F(Images, WhatWouldTakeTooMuchIsRefused) {
    std::string png = Sample("alpha.png");
    EXPECT_FALSE(Decode(png.replace(16, 17, "\0\1\0\0\0\1\0\0\10\6\0\0\0\xD7\x9B\x4B\x36"s)).pixels);  // 65536 x 65536
    std::string gif = Sample("whole.gif");
    EXPECT_FALSE(Decode(gif.replace(6, 4, "\xFF\xFF\xFF\xFF")).pixels);  // 65535 x 65535
    // A file that repeats a scan over and over would keep the decoder busy.
    const std::string photo = Sample("scans.jpg");
    const std::size_t first = photo.find("\xFF\xDA");
    const std::size_t second = photo.find("\xFF\xDA", first + 1);
    for (const int repetitions : {50, 150}) {
        std::string longer = photo;
        for (int i = 0; i < repetitions; ++i)
            longer.insert(first, photo, first, second - first);
        EXPECT_EQ(Decode(longer).pixels != nullptr, repetitions < 100) << repetitions;
    }
}

TEST_F(Images, PhotosComeNoLargerThanTheirRoomNeeds) {
    for (const auto& [name, room, width, height] :
         Table<const char*, mwin::Room, int, int>{{"640x480.jpg", {100, 75}, 160, 120},
                                                  {"640x480.jpg", {320, 240}, 320, 240},
                                                  {"640x480.jpg", {321, 241}, 640, 480},
                                                  {"1x1.jpg", {320, 240}, 1, 1},
                                                  {"100x2000.jpg", {320, 240}, 13, 250},
                                                  {"4000x3000.jpg", {0, 0}, 1500, 1125}}) {
        const mwin::Picture picture = DecodeFor(Sample(name), room);
        EXPECT_TRUE(picture.width == width && picture.height == height) << name << " for " << room.width;
    }
}

// A comment of the greatest length lies across the end of the first piece that is read, the picture across the next
// ones.
TEST_F(Images, LongPhotosAreReadInPieces) {
    const std::string photo = Sample("4000x3000.jpg").insert(2, "\xFF\xFE\xFF\xFF" + std::string(0xFFFD, 'x'));
    constexpr mwin::Room kRoom{320, 240};
    const Pixels whole = PixelsOf(DecodeFor(photo, kRoom));
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
        EXPECT_EQ(mwin::DecodeJpeg(file.get(), kRoom).pixels != nullptr, length > 1U << 16U) << "cut to " << length;
    }
}

TEST_F(Images, PhotosThatEndTooSoonAreGreyAtTheirEnd) {
    constexpr std::size_t kWidth = 640;
    constexpr std::size_t kBlocks = 32 * kWidth;  // two rows of blocks: the one that was cut, and its edge
    const std::string photo = Sample("640x480.jpg");
    const Pixels whole = PixelsOf(Decode(photo));
    std::size_t shown = 0;
    for (std::size_t i = 1; i <= 100; ++i) {
        const std::size_t length = i == 100 ? photo.size() - 1 : photo.size() * i / 100;
        const Pixels pixels = PixelsOf(Decode(photo.substr(0, length)));
        ASSERT_EQ(pixels.size(), length > photo.find("\xFF\xDA") + 20 ? whole.size() : 0) << "cut to " << length;
        const auto same = std::mismatch(pixels.begin(), pixels.end(), whole.begin()).first;
        EXPECT_GE(static_cast<std::size_t>(same - pixels.begin()), shown);
        shown = static_cast<std::size_t>(same - pixels.begin());
        for (std::size_t at = shown + kBlocks; at < pixels.size(); ++at)
            ASSERT_EQ(pixels[at], 0xFF808080) << at << " cut to " << length;
    }
    EXPECT_GE(shown, whole.size() - kBlocks);
}

TEST_F(Images, FilesThatHoldNone) {
    // Nobody waits for a pipe's writer.
    for (const char* name : {"/empty.jpg", "/large.jpg", "/pipe", "/", "/none"})
        EXPECT_EQ(GdLoadImageFromFile((folder + name).c_str(), 0), nullptr) << name;
    EXPECT_EQ(GdLoadImageFromFile(nullptr, 0), nullptr);
}

}  // namespace
}  // namespace mwin_test
