#include <gtest/gtest.h>
#include <linux/fb.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <fstream>
#include <functional>

#include "mwin/display.h"
#include "mwin/framebuffer_screen.h"
#include "mwin/memory_screen.h"
#include "mwin/surface.h"
#include "tests/mwin/colors.h"

namespace {

// What the kernel tells about a framebuffer; while `present`, every file of this program is one.
struct Framebuffer {
    bool present, has_fixed;
    fb_var_screeninfo variable;
    fb_fix_screeninfo fixed;
} g_framebuffer;

}  // namespace

// Comes before the C library's.
extern "C" int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    const bool fixed = request == FBIOGET_FSCREENINFO;
    if (!g_framebuffer.present || (fixed ? !g_framebuffer.has_fixed : request != FBIOGET_VSCREENINFO))
        return static_cast<int>(syscall(SYS_ioctl, fd, request, argument));
    if (fixed) {
        *static_cast<fb_fix_screeninfo*>(argument) = g_framebuffer.fixed;
    } else {
        *static_cast<fb_var_screeninfo*>(argument) = g_framebuffer.variable;
    }
    return 0;
}

namespace mwin_test {
namespace {

class Display : public testing::Test {
  protected:
    Display() {
        mwin::OpenDisplay(screen);
        mwin::FlushScreen();
    }
    ~Display() override { mwin::CloseDisplay(); }
    // As the program does: through scrdev.
    static void Fill(const RECT& r, std::uint32_t pixel) {
        for (int y = r.top; y < r.bottom; ++y) {
            auto* row = reinterpret_cast<std::uint32_t*>(scrdev->addr + y * scrdev->pitch);
            std::fill(row + r.left, row + r.right, pixel);
        }
        mwin::ScreenSurface()->AddDamage(mwin::Region(r));
    }
    std::size_t UpdatedPixels() {
        const std::size_t before = screen.UpdatedPixels();
        mwin::FlushScreen();
        return screen.UpdatedPixels() - before;
    }
    mwin::MemoryScreen screen{16, 8};
};

TEST_F(Display, FlushesOnlyWhatChanged) {
    EXPECT_EQ(screen.PixelAt(15, 7), kBlackPixel);
    ASSERT_EQ(scrdev->xvirtres, 16);
    ASSERT_EQ(scrdev->yvirtres, 8);
    EXPECT_EQ(scrdev->bpp, 32);
    EXPECT_EQ(scrdev->size, 16 * 8 * 4);
    EXPECT_EQ(UpdatedPixels(), 0U);
    Fill({2, 3, 5, 5}, kWhitePixel);
    EXPECT_EQ(screen.PixelAt(2, 3), kBlackPixel);
    EXPECT_EQ(UpdatedPixels(), 6U);
    EXPECT_EQ(screen.PixelAt(2, 3), kWhitePixel);
    EXPECT_EQ(screen.PixelAt(4, 4), kWhitePixel);
    mwin::ScreenSurface()->AddDamage(mwin::Region(RECT{-50, -50, 1, 100}));  // reaches out
    EXPECT_EQ(UpdatedPixels(), 8U);
    mwin::CloseDisplay();
    EXPECT_EQ(scrdev, nullptr);
    EXPECT_EQ(mwin::ScreenSurface(), nullptr);
    EXPECT_EQ(UpdatedPixels(), 0U);
    EXPECT_EQ(GdShowCursor(), 0);
    MwMoveCursor(1, 1);
    GdSetCursorImage(nullptr);
}

TEST_F(Display, CursorLiesOverEverythingAtOnce) {
    std::uint32_t pixels[4] = {kRedPixel, 0, 0x80000000, kRedPixel};
    PSD picture = GdCreatePixmap(scrdev, 2, 2, 0, pixels, 0);
    picture->has_alpha = true;
    Fill({0, 0, 16, 8}, kWhitePixel);
    GdSetCursorImage(picture);
    picture->FreeMemGC(picture);  // the layer keeps its own copy
    MwMoveCursor(3, 3);
    mwin::FlushScreen();
    EXPECT_EQ(screen.PixelAt(3, 3), kWhitePixel);
    EXPECT_EQ(GdShowCursor(), 0);
    EXPECT_EQ(screen.PixelAt(3, 3), kRedPixel);
    EXPECT_EQ(screen.PixelAt(4, 3), kWhitePixel);
    EXPECT_NEAR(screen.PixelAt(3, 4) & 255, 127, 1);
    EXPECT_EQ(mwin::ScreenSurface()->Pixels()[3 * 16 + 3], kWhitePixel);  // the layer leaves the surface alone
    Fill({0, 0, 16, 8}, kBlackPixel);
    mwin::FlushScreen();
    EXPECT_EQ(screen.PixelAt(3, 3), kRedPixel);
    EXPECT_EQ(screen.PixelAt(4, 3), kBlackPixel);

    MwMoveCursor(15, 7);  // partly outside
    EXPECT_EQ(screen.PixelAt(3, 3), kBlackPixel);
    EXPECT_EQ(screen.PixelAt(15, 7), kRedPixel);
    MwMoveCursor(INT32_MAX, INT32_MIN);
    EXPECT_EQ(screen.PixelAt(15, 7), kBlackPixel);
    MwMoveCursor(0, 0);
    const struct {
        int (*call)();
        int level_before;
        std::uint32_t pixel;
    } steps[] = {{GdShowCursor, 1, kRedPixel},
                 {GdHideCursor, 2, kRedPixel},
                 {GdHideCursor, 1, kBlackPixel},
                 {GdHideCursor, 0, kBlackPixel},  // one too many does not count
                 {GdShowCursor, 0, kRedPixel}};
    for (const auto& step : steps) {
        EXPECT_EQ(step.call(), step.level_before) << &step - steps;
        EXPECT_EQ(screen.PixelAt(0, 0), step.pixel) << &step - steps;
    }
    GdSetCursorImage(nullptr);
    EXPECT_EQ(screen.PixelAt(0, 0), kBlackPixel);
}

// A file in the device's place.
class FramebufferScreen : public testing::Test {
  protected:
    ~FramebufferScreen() override {
        g_framebuffer = {};
        unlink(path.c_str());
    }
    std::unique_ptr<mwin::FramebufferScreen> Open(const std::string& what) {
        error.clear();
        auto screen = mwin::FramebufferScreen::Open(what.c_str(), error);
        EXPECT_EQ(error.empty(), screen != nullptr);
        return screen;
    }
    template <typename Pixel>
    std::vector<Pixel> Content(std::size_t count) {
        std::vector<Pixel> pixels(count);
        std::ifstream(path, std::ios::binary)
            .read(reinterpret_cast<char*>(pixels.data()), static_cast<std::streamsize>(count * sizeof(Pixel)));
        return pixels;
    }

    const std::string path = testing::TempDir() + "fb" + std::to_string(getpid());
    std::string error;
};

TEST_F(FramebufferScreen, AnOrdinaryFileHas32BitsAndTheSizeOfTheLcd) {
    for (const std::string& none : {path, std::string("/dev/null")}) {
        EXPECT_EQ(Open(none), nullptr);
        EXPECT_NE(error.find(none), std::string::npos);
    }
    std::ofstream(path) << "short";
    auto screen = Open(path);
    ASSERT_NE(screen, nullptr) << error;
    ASSERT_EQ(std::pair(screen->Width(), screen->Height()), std::pair(320, 240));
    const std::vector<std::uint32_t> red(320 * 240, kRedPixel);
    screen->Update(red.data(), 320, 0, 0, 320, 240);
    screen.reset();
    EXPECT_EQ(Content<std::uint32_t>(320 * 240), red);
    EXPECT_EQ(std::ifstream(path, std::ios::ate).tellg(), 320 * 240 * 4);
}

// A part of the picture lands, the right way round, where its pixels lie, and nowhere else.
TEST_F(FramebufferScreen, PixelsTakeTheLayoutThatTheDeviceReports) {
    constexpr std::uint32_t kPicture[] = {0, 0,           0,           0,           //
                                          0, kRedPixel,   kGreenPixel, kBluePixel,  //
                                          0, kWhitePixel, 0xFF123456,  0xFF070301};
    const struct {
        std::uint32_t bits;
        fb_bitfield red, green, blue, transparency;
        std::vector<std::uint32_t> expected;  // of the six pixels that are drawn
    } layouts[] = {
        {16, {11, 5, 0}, {5, 6, 0}, {0, 5, 0}, {}, {0xF800, 0x07E0, 0x001F, 0xFFFF, 0x11AA, 0x0000}},
        {32,
         {0, 8, 0},
         {8, 8, 0},
         {16, 8, 0},
         {24, 8, 0},
         {0xFF0000FF, 0xFF00FF00, 0xFFFF0000, 0xFFFFFFFF, 0xFF563412, 0xFF010307}},
        {32,
         {16, 8, 0},
         {8, 8, 0},
         {0, 8, 0},
         {24, 8, 0},
         {0xFFFF0000, 0xFF00FF00, 0xFF0000FF, 0xFFFFFFFF, 0xFF123456, 0xFF070301}},
    };
    for (const auto& layout : layouts) {
        g_framebuffer = {};
        g_framebuffer.present = true;
        fb_var_screeninfo& variable = g_framebuffer.variable;
        variable.xres = 4;
        variable.yres = 3;
        variable.xoffset = 2;
        variable.yoffset = 1;
        variable.bits_per_pixel = layout.bits;
        variable.red = layout.red;
        variable.green = layout.green;
        variable.blue = layout.blue;
        variable.transp = layout.transparency;
        const std::size_t bytes = layout.bits / 8;
        g_framebuffer.fixed.line_length = static_cast<std::uint32_t>(8 * bytes);
        g_framebuffer.fixed.smem_len = static_cast<std::uint32_t>(4 * 8 * bytes);
        std::ofstream(path) << std::string(4 * 8 * bytes, '\0');
        EXPECT_EQ(Open(path), nullptr) << "no memory is reported";
        g_framebuffer.has_fixed = true;
        auto screen = Open(path);
        ASSERT_NE(screen, nullptr) << error;
        screen->Update(kPicture, 4, 1, 1, 3, 2);
        screen.reset();
        std::vector<std::uint32_t> expected(4 * 8);
        std::copy_n(layout.expected.begin(), 3, expected.begin() + 2 * 8 + 3);
        std::copy_n(layout.expected.begin() + 3, 3, expected.begin() + 3 * 8 + 3);
        const auto narrow = Content<std::uint16_t>(4 * 8);
        EXPECT_EQ(bytes == 2 ? std::vector<std::uint32_t>(narrow.begin(), narrow.end()) : Content<std::uint32_t>(4 * 8),
                  expected);
    }

    const std::pair<const char*, std::function<void(fb_var_screeninfo&, fb_fix_screeninfo&)>> refused[] = {
        {"24 bits", [](auto& var, auto&) { var.bits_per_pixel = 24; }},
        {"8 bits", [](auto& var, auto&) { var.bits_per_pixel = 8; }},
        {"red beyond the pixel", [](auto& var, auto&) { var.red.offset = 25; }},
        {"nine bits of red", [](auto& var, auto&) { var.red.length = 9; }},
        {"lines beyond the memory", [](auto& var, auto&) { var.yoffset = 2; }},
        {"no width", [](auto& var, auto&) { var.xres = 0; }},
        {"short lines", [](auto& var, auto&) { var.xoffset = 5; }},
        {"lines of half pixels", [](auto& var, auto& fix) { fix.line_length = 30, var.yres = 1; }},
    };
    const Framebuffer good = g_framebuffer;
    for (const auto& [name, change] : refused) {
        g_framebuffer = good;
        change(g_framebuffer.variable, g_framebuffer.fixed);
        EXPECT_EQ(Open(path), nullptr) << name;
    }
}

}  // namespace
}  // namespace mwin_test
