#include "tests/scenario/media_files.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "media/avilib.h"

#include <jpeglib.h>  // after ours: it defines TRUE and FALSE as macros

namespace scenario {
namespace {

// Of 0 to 255 for a place in a picture, in 64ths of its sides: dark ground that grows lighter to the right, an arrow
// upwards, and the top left corner white.
int Shade(unsigned x, unsigned y, int ground) {
    if (x < 6 && y < 8) return 235;
    const bool head = y >= 8 && y < 24 && (x > 32 ? x - 32 : 32 - x) < (y - 8) * 3 / 4;
    const bool shaft = y >= 24 && y < 56 && x >= 28 && x < 36;
    return head || shaft ? 200 : ground + static_cast<int>(x);
}

}  // namespace

std::string Photo(unsigned width, unsigned height, int number, int components, bool progressive) {
    jpeg_compress_struct info{};
    jpeg_error_mgr errors{};
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char* memory = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &memory, &size);
    info.image_width = width;
    info.image_height = height;
    info.input_components = components;
    info.in_color_space = components == 1 ? JCS_GRAYSCALE : components == 3 ? JCS_RGB : JCS_CMYK;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, 90, TRUE);
    if (progressive) jpeg_simple_progression(&info);
    jpeg_start_compress(&info, TRUE);
    std::vector<unsigned char> row(std::size_t{width} * static_cast<unsigned>(components));
    for (unsigned y = 0; y < height; ++y) {
        unsigned char* pixel = row.data();
        // Many lines of a large picture are the same.
        const bool same = y > 0 && y * 64 / height == (y - 1) * 64 / height;
        for (unsigned x = 0; x < width && !same; ++x) {
            const int shade = Shade(x * 64 / width, y * 64 / height, 20 + number % 10 * 8);
            for (int c = 0; c < components; ++c)
                *pixel++ = static_cast<unsigned char>(c == number % 3 ? shade : shade * 3 / 4);
        }
        JSAMPROW rows = row.data();
        jpeg_write_scanlines(&info, &rows, 1);
    }
    jpeg_finish_compress(&info);
    std::string file(reinterpret_cast<char*>(memory), size);
    std::free(memory);
    jpeg_destroy_compress(&info);
    return file;
}

std::string ClipPicture(unsigned width, unsigned height, int number) {
    std::string picture;
    picture.reserve(std::size_t{width} * height * 2);
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            const unsigned column = x * 64 / width;
            const unsigned line = y * 64 / height;
            const bool middle = column >= 30 && column < 34 && line >= 30 && line < 34;
            const int shade = middle ? 16 + 2 * number : Shade(column, line, 30);
            const bool tinted = !middle && column < 32;
            picture += static_cast<char>(shade);
            picture += static_cast<char>(tinted && x % 2 == 1 ? 0x90 : 0x80);
        }
    }
    return picture;
}

int FrameOf(std::uint32_t pixel) {
    return (static_cast<int>(pixel >> 8 & 255U) - 16 + 1) / 2;
}

void WriteClip(const std::string& path, unsigned width, unsigned height, double fps, int frames,
               const std::string& codec) {
    avi_t* avi = AVI_open_output_file(path.c_str());
    ASSERT_NE(avi, nullptr) << path;
    AVI_set_video(avi, static_cast<int>(width), static_cast<int>(height), fps, codec.c_str());
    for (int i = 0; i < frames; ++i) {
        const std::string frame = ClipPicture(width, height, i % 100);
        ASSERT_EQ(AVI_write_frame(avi, frame.data(), static_cast<long>(frame.size()), 1), 0);
    }
    ASSERT_EQ(AVI_close(avi), 0);
}

void MediaTest::EmptyCard() {
    board.Folder().Erase(board::Medium::Card);
    std::filesystem::create_directories(board.Kernel().Path(kCardFolder));
}

void MediaTest::PutPhotos(int count) {
    for (int i = 1; i <= count; ++i)
        board.Write(kCardFolder + ("5F3A1" + std::to_string(100 + i)) + ".jpg", Photo(640, 480, i));
}

void MediaTest::OpenBrowser(const char* key) {
    const std::size_t from = Output().size();
    Keys(key);
    ASSERT_TRUE(program->RunUntilPrinted("FILE_EXP_REFRESH_LISTBOX to FILE_EXP_IDLE\n", from));
    Advance(100ms);  // the busy picture goes, and the page is drawn
}

int MediaTest::Unlike(const Box& box, std::uint32_t colour) {
    const board::LcdPicture lcd = board.Lcd();
    int count = 0;
    for (int y = box.top; y < box.bottom; ++y) {
        for (int x = box.left; x < box.right; ++x)
            count += (lcd[static_cast<std::size_t>(y * board::kScreenWidth + x)] & 0xFFFFFF) != colour ? 1 : 0;
    }
    return count;
}

}  // namespace scenario
