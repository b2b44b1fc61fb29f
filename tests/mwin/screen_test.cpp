#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "mwin/display.h"
#include "mwin/framebuffer_screen.h"
#include "mwin/memory_screen.h"
#include "mwin/surface.h"

namespace {

constexpr std::uint32_t kBlack = 0xFF000000, kWhite = 0xFFFFFFFF, kRed = 0xFFFF0000;

class Display : public testing::Test {
  protected:
    void SetUp() override {
        mwin::OpenDisplay(screen);
        mwin::FlushScreen();
    }
    void TearDown() override { mwin::CloseDisplay(); }
    // As the program does: through scrdev.
    static void Fill(const RECT& r, std::uint32_t pixel) {
        for (int y = r.top; y < r.bottom; ++y) {
            auto* row = reinterpret_cast<std::uint32_t*>(scrdev->addr + y * scrdev->pitch);
            std::fill(row + r.left, row + r.right, pixel);
        }
        mwin::ScreenSurface()->AddDamage(mwin::Region(r));
    }
    static PSD CursorPicture() {
        static std::uint32_t pixels[4] = {0xFFFF0000, 0, 0x80000000, 0xFFFF0000};
        PSD picture = GdCreatePixmap(scrdev, 2, 2, 0, pixels, 0);
        picture->has_alpha = true;
        return picture;
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
}

TEST_F(Display, CursorLiesOverEverythingAtOnce) {
    Fill({0, 0, 16, 8}, kWhite);
    PSD picture = CursorPicture();
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
    EXPECT_EQ(GdShowCursor(), 1);
    EXPECT_EQ(GdHideCursor(), 2);
    EXPECT_EQ(screen.PixelAt(0, 0), kRed);
    EXPECT_EQ(GdHideCursor(), 1);
    EXPECT_EQ(screen.PixelAt(0, 0), kBlack);
    EXPECT_EQ(GdHideCursor(), 0);  // one too many does not count
    EXPECT_EQ(GdShowCursor(), 0);
    EXPECT_EQ(screen.PixelAt(0, 0), kRed);
    GdSetCursorImage(nullptr);
    EXPECT_EQ(screen.PixelAt(0, 0), kBlack);
}

TEST_F(Display, NothingAfterItIsClosed) {
    mwin::CloseDisplay();
    EXPECT_EQ(scrdev, nullptr);
    EXPECT_EQ(mwin::ScreenSurface(), nullptr);
    mwin::FlushScreen();
    EXPECT_EQ(GdShowCursor(), 0);
    MwMoveCursor(1, 1);
    GdSetCursorImage(nullptr);
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
    EXPECT_EQ(layout.Convert(0xFFFFFFFF), 0xFFFFU);
    EXPECT_EQ(layout.Convert(0xFFFF0000), 0xF800U);
    EXPECT_EQ(layout.Convert(0xFF00FF00), 0x07E0U);
    EXPECT_EQ(layout.Convert(0xFF07030F), 0x0001U);

    fb_var_screeninfo bgr = rgb565;
    bgr.xres = 160;
    bgr.bits_per_pixel = 32;
    bgr.red = {0, 8, 0};
    bgr.green = {8, 8, 0};
    bgr.blue = {16, 8, 0};
    bgr.transp = {24, 8, 0};
    ASSERT_TRUE(LayoutOf(bgr, fixed, layout, error)) << error;
    EXPECT_EQ(layout.Convert(0x00123456), 0xFF563412U);

    const auto refused = [&](auto change) {
        fb_var_screeninfo var = rgb565;
        fb_fix_screeninfo fix = fixed;
        change(var, fix);
        error.clear();
        return !LayoutOf(var, fix, layout, error) && !error.empty();
    };
    EXPECT_TRUE(refused([](auto& var, auto&) { var.bits_per_pixel = 24; }));
    EXPECT_TRUE(refused([](auto& var, auto&) { var.bits_per_pixel = 8; }));
    EXPECT_TRUE(refused([](auto& var, auto&) { var.red.offset = 12; }));
    EXPECT_TRUE(refused([](auto& var, auto&) { var.yoffset = 2; }));
    EXPECT_TRUE(refused([](auto& var, auto&) { var.xres = 0; }));
    EXPECT_TRUE(refused([](auto&, auto& fix) { fix.line_length = 640; }));
    EXPECT_TRUE(refused([](auto&, auto& fix) {
        fix.line_length = 657;
        fix.smem_len = 1 << 20;
    }));
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
    EXPECT_EQ(pixels.front(), kRed);
    EXPECT_EQ(pixels.back(), kRed);
    unlink(path.c_str());
}

}  // namespace
