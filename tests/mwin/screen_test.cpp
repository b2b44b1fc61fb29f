#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <functional>

#include "mwin/display.h"
#include "mwin/framebuffer_screen.h"
#include "mwin/memory_screen.h"
#include "mwin/surface.h"

namespace {

constexpr std::uint32_t kBlack = 0xFF000000, kWhite = 0xFFFFFFFF, kRed = 0xFFFF0000;

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
    mwin::MemoryScreen screen{16, 8};
};

TEST_F(Display, FlushesOnlyWhatChanged) {
    EXPECT_EQ(screen.PixelAt(15, 7), kBlack);
    ASSERT_EQ(scrdev->xvirtres, 16);
    ASSERT_EQ(scrdev->yvirtres, 8);
    const std::size_t before = screen.UpdatedPixels();
    mwin::FlushScreen();
    EXPECT_EQ(screen.UpdatedPixels(), before);
    Fill({2, 3, 5, 5}, kWhite);
    EXPECT_EQ(screen.PixelAt(2, 3), kBlack);
    mwin::FlushScreen();
    EXPECT_EQ(screen.PixelAt(2, 3), kWhite);
    EXPECT_EQ(screen.PixelAt(4, 4), kWhite);
    EXPECT_EQ(screen.UpdatedPixels() - before, 6U);
    mwin::ScreenSurface()->AddDamage(mwin::Region(RECT{-50, -50, 1, 100}));  // reaches out
    mwin::FlushScreen();
    EXPECT_EQ(screen.UpdatedPixels() - before, 6U + 8U);
    mwin::CloseDisplay();
    EXPECT_EQ(scrdev, nullptr);
    EXPECT_EQ(mwin::ScreenSurface(), nullptr);
    mwin::FlushScreen();
    EXPECT_EQ(GdShowCursor(), 0);
    MwMoveCursor(1, 1);
    GdSetCursorImage(nullptr);
}

TEST_F(Display, CursorLiesOverEverythingAtOnce) {
    std::uint32_t pixels[4] = {kRed, 0, 0x80000000, kRed};
    PSD picture = GdCreatePixmap(scrdev, 2, 2, 0, pixels, 0);
    picture->has_alpha = true;
    Fill({0, 0, 16, 8}, kWhite);
    GdSetCursorImage(picture);
    picture->FreeMemGC(picture);  // the layer keeps its own copy
    MwMoveCursor(3, 3);
    mwin::FlushScreen();
    EXPECT_EQ(screen.PixelAt(3, 3), kWhite);
    EXPECT_EQ(GdShowCursor(), 0);
    EXPECT_EQ(screen.PixelAt(3, 3), kRed);
    EXPECT_EQ(screen.PixelAt(4, 3), kWhite);
    EXPECT_NEAR(screen.PixelAt(3, 4) & 255, 127, 1);
    EXPECT_EQ(mwin::ScreenSurface()->Pixels()[3 * 16 + 3], kWhite);  // the layer leaves the surface alone
    Fill({0, 0, 16, 8}, kBlack);
    mwin::FlushScreen();
    EXPECT_EQ(screen.PixelAt(3, 3), kRed);
    EXPECT_EQ(screen.PixelAt(4, 3), kBlack);

    MwMoveCursor(15, 7);  // partly outside
    EXPECT_EQ(screen.PixelAt(3, 3), kBlack);
    EXPECT_EQ(screen.PixelAt(15, 7), kRed);
    MwMoveCursor(INT32_MAX, INT32_MIN);
    EXPECT_EQ(screen.PixelAt(15, 7), kBlack);
    MwMoveCursor(0, 0);
    const struct {
        int (*call)();
        int level_before;
        std::uint32_t pixel;
    } steps[] = {{GdShowCursor, 1, kRed},
                 {GdHideCursor, 2, kRed},
                 {GdHideCursor, 1, kBlack},
                 {GdHideCursor, 0, kBlack},  // one too many does not count
                 {GdShowCursor, 0, kRed}};
    for (const auto& step : steps) {
        EXPECT_EQ(step.call(), step.level_before) << &step - steps;
        EXPECT_EQ(screen.PixelAt(0, 0), step.pixel) << &step - steps;
    }
    GdSetCursorImage(nullptr);
    EXPECT_EQ(screen.PixelAt(0, 0), kBlack);
}

TEST(FramebufferScreen, Layouts) {
    fb_var_screeninfo rgb565{};
    rgb565.xres = 320;
    rgb565.yres = 240;
    rgb565.xoffset = 2;
    rgb565.yoffset = 1;
    rgb565.bits_per_pixel = 16;
    rgb565.red = {11, 5, 0};
    rgb565.green = {5, 6, 0};
    rgb565.blue = {0, 5, 0};
    fb_fix_screeninfo fixed{};
    fixed.line_length = 656;
    fixed.smem_len = 656 * 241;
    mwin::FramebufferLayout layout;
    std::string error;
    ASSERT_TRUE(LayoutOf(rgb565, fixed, layout, error)) << error;
    EXPECT_EQ(layout.first_pixel, 656U + 4U);
    for (const auto& [pixel, converted] :
         {std::pair{0xFFFFFFFFU, 0xFFFFU}, {0xFFFF0000U, 0xF800U}, {0xFF00FF00U, 0x07E0U}, {0xFF07030FU, 0x0001U}})
        EXPECT_EQ(layout.Convert(pixel), converted) << std::hex << pixel;

    fb_var_screeninfo bgr = rgb565;
    bgr.xres = 160;
    bgr.bits_per_pixel = 32;
    bgr.red = {0, 8, 0};
    bgr.green = {8, 8, 0};
    bgr.blue = {16, 8, 0};
    bgr.transp = {24, 8, 0};
    ASSERT_TRUE(LayoutOf(bgr, fixed, layout, error)) << error;
    EXPECT_EQ(layout.Convert(0x00123456), 0xFF563412U);

    using Change = std::function<void(fb_var_screeninfo&, fb_fix_screeninfo&)>;
    const std::pair<const char*, Change> refused[] = {
        {"24 bits", [](auto& var, auto&) { var.bits_per_pixel = 24; }},
        {"8 bits", [](auto& var, auto&) { var.bits_per_pixel = 8; }},
        {"red beyond the pixel", [](auto& var, auto&) { var.red.offset = 12; }},
        {"lines beyond the memory", [](auto& var, auto&) { var.yoffset = 2; }},
        {"no width", [](auto& var, auto&) { var.xres = 0; }},
        {"short lines", [](auto&, auto& fix) { fix.line_length = 640; }},
        {"lines of half pixels",
         [](auto&, auto& fix) {
             fix.line_length = 657;
             fix.smem_len = 1 << 20;
         }},
    };
    for (const auto& [name, change] : refused) {
        fb_var_screeninfo var = rgb565;
        fb_fix_screeninfo fix = fixed;
        change(var, fix);
        error.clear();
        EXPECT_FALSE(LayoutOf(var, fix, layout, error)) << name;
        EXPECT_NE(error, "") << name;
    }
}

TEST(FramebufferScreen, AFileTakesTheDevicesPlace) {
    const std::string path = testing::TempDir() + "fb" + std::to_string(getpid());
    std::string error;
    EXPECT_EQ(mwin::FramebufferScreen::Open(path.c_str(), error), nullptr);
    EXPECT_EQ(error, "cannot open " + path + ": No such file or directory");
    EXPECT_EQ(mwin::FramebufferScreen::Open("/dev/null", error), nullptr);
    EXPECT_NE(error.find("/dev/null"), std::string::npos);
    std::ofstream(path) << "short";
    auto screen = mwin::FramebufferScreen::Open(path.c_str(), error);
    ASSERT_NE(screen, nullptr) << error;
    EXPECT_EQ(screen->Width(), 320);
    EXPECT_EQ(screen->Height(), 240);
    mwin::OpenDisplay(*screen);
    std::fill_n(mwin::ScreenSurface()->Pixels(), 320 * 240, kRed);
    mwin::FlushScreen();
    mwin::CloseDisplay();
    screen.reset();
    std::ifstream file(path, std::ios::binary);
    std::vector<std::uint32_t> pixels(320 * 240);
    file.read(reinterpret_cast<char*>(pixels.data()), 320 * 240 * 4);
    EXPECT_EQ(file.gcount(), 320 * 240 * 4);
    EXPECT_EQ(pixels, std::vector<std::uint32_t>(320 * 240, kRed));
    unlink(path.c_str());
}

}  // namespace
