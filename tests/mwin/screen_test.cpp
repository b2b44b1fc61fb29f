#include <linux/fb.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cstdarg>
#include <filesystem>
#include <fstream>
#include <map>

#include "mwin/display.h"
#include "mwin/framebuffer_screen.h"
#include "mwin/memory_screen.h"
#include "tests/mwin/gdi_canvas.h"

namespace {

// What the kernel tells about a framebuffer; while it has a size, every file of this program is one.
struct Framebuffer {
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
    if (request == FBIOGET_VSCREENINFO && g_framebuffer.variable.yres != 0) {
        *static_cast<fb_var_screeninfo*>(argument) = g_framebuffer.variable;
    } else if (request == FBIOGET_FSCREENINFO && g_framebuffer.fixed.smem_len != 0) {
        *static_cast<fb_fix_screeninfo*>(argument) = g_framebuffer.fixed;
    } else {
        return static_cast<int>(syscall(SYS_ioctl, fd, request, argument));
    }
    return 0;
}

namespace mwin_test {
namespace {

// As the program does: through scrdev.
void FillScreen(std::uint32_t pixel) {
    std::fill_n(reinterpret_cast<std::uint32_t*>(scrdev->addr), scrdev->size / 4, pixel);
    mwin::ScreenSurface()->AddDamage(mwin::Region(RECT{-50, 0, 16, 100}));  // reaches out
    mwin::FlushScreen();
}

TEST(Display, CursorLiesOverEverythingAtOnce) {
    mwin::MemoryScreen screen{16, 8};
    mwin::OpenDisplay(screen);
    EXPECT_TRUE(scrdev->xvirtres == 16 && scrdev->yvirtres == 8 && scrdev->bpp == 32);
    std::uint32_t pixels[4] = {kRedPixel, 0, 0x80000000, kRedPixel};
    PSD picture = GdCreatePixmap(scrdev, 2, 2, 0, pixels, 0);
    picture->has_alpha = true;
    FillScreen(kWhitePixel);
    GdSetCursorImage(picture);
    picture->FreeMemGC(picture);  // the layer keeps its own copy
    MwMoveCursor(3, 3);
    EXPECT_EQ(screen.PixelAt(3, 3), kWhitePixel);
    EXPECT_EQ(GdShowCursor(), 0);
    EXPECT_EQ(screen.PixelAt(3, 3), kRedPixel);
    EXPECT_EQ(screen.PixelAt(4, 3), kWhitePixel);
    ExpectNear(screen.PixelAt(3, 4), 0xFF7F7F7F, 1);
    EXPECT_EQ(mwin::ScreenSurface()->Pixels()[3 * 16 + 3], kWhitePixel);  // the layer leaves the surface alone
    FillScreen(kBlackPixel);
    EXPECT_TRUE(screen.PixelAt(3, 3) == kRedPixel && screen.PixelAt(4, 3) == kBlackPixel);
    MwMoveCursor(15, 7);  // partly outside
    EXPECT_TRUE(screen.PixelAt(3, 3) == kBlackPixel && screen.PixelAt(15, 7) == kRedPixel);
    MwMoveCursor(INT32_MAX, INT32_MIN);
    EXPECT_EQ(screen.PixelAt(15, 7), kBlackPixel);
    MwMoveCursor(0, 0);
    // Nested; one hiding too many does not count.
    EXPECT_TRUE(GdShowCursor() == 1 && GdHideCursor() == 2 && screen.PixelAt(0, 0) == kRedPixel);
    EXPECT_TRUE(GdHideCursor() == 1 && GdHideCursor() == 0 && screen.PixelAt(0, 0) == kBlackPixel);
    EXPECT_TRUE(GdShowCursor() == 0 && screen.PixelAt(0, 0) == kRedPixel);
    GdSetCursorImage(nullptr);
    EXPECT_EQ(screen.PixelAt(0, 0), kBlackPixel);
    EXPECT_EQ(screen.UpdatedPixels(), 2U * 16 * 8 + 34) << "only what changed";
    mwin::CloseDisplay();
    mwin::FlushScreen();
    MwMoveCursor(1, 1);
    GdSetCursorImage(nullptr);
    EXPECT_TRUE(scrdev == nullptr && mwin::ScreenSurface() == nullptr && GdShowCursor() == 0);
}

using SixPixels = std::array<std::uint32_t, 6>;
using PixelsByNumber = std::map<std::size_t, std::uint32_t>;

constexpr SixPixels kPicture{kRedPixel, kGreenPixel, kBluePixel, kWhitePixel, 0xFF123456, 0xFF181818};

PixelsByNumber ThreeInARow(const SixPixels& pixels, std::size_t first, std::size_t width) {
    PixelsByNumber placed;
    for (std::size_t i = 0; i < 6; ++i)
        placed[first + i / 3 * width + i % 3] = pixels[i];
    return placed;
}

// The picture drawn at (1, 1) on a file in the device's place: which of the file's pixels are not 0 then. Empty when
// the device is refused, and the reason names it or what is wrong with it.
PixelsByNumber DrawnOn(const std::string& path, std::size_t bytes, std::string& error) {
    error.clear();
    auto screen = mwin::FramebufferScreen::Open(path.c_str(), error);
    EXPECT_EQ(screen == nullptr, !error.empty());
    if (!screen) return {};
    EXPECT_EQ(screen->Height() * 4, screen->Width() * 3);
    const auto width = static_cast<std::size_t>(screen->Width());
    std::vector<std::uint32_t> surface(width * 3);
    for (const auto& [number, pixel] : ThreeInARow(kPicture, width + 1, width))
        surface[number] = pixel;
    screen->Update(surface.data(), screen->Width(), 1, 1, 3, 2);
    screen.reset();
    std::ifstream file(path, std::ios::binary);
    PixelsByNumber drawn;
    std::uint32_t pixel = 0;
    for (std::size_t i = 0; file.read(reinterpret_cast<char*>(&pixel), static_cast<std::streamsize>(bytes)); ++i)
        if (pixel != 0) drawn[i] = pixel;
    return drawn;
}

TEST(FramebufferScreen, PixelsTakeTheLayoutThatTheDeviceReports) {
    const std::string path = testing::TempDir() + "fb" + std::to_string(getpid());
    std::string error;
    for (const std::string& none : {path, std::string("/dev/null")}) {
        DrawnOn(none, 4, error);
        EXPECT_NE(error.find(none), std::string::npos) << error;
    }
    // An ordinary file has 32 bits and the size of the LCD.
    std::ofstream(path) << "\1";
    PixelsByNumber on_lcd = ThreeInARow(kPicture, 321, 320);
    on_lcd[0] = 1;
    EXPECT_EQ(DrawnOn(path, 4, error), on_lcd);
    EXPECT_EQ(std::filesystem::file_size(path), 320 * 240 * 4);

    // Depth; where red, green, blue and transparency lie; what is drawn.
    using Field = fb_bitfield;
    constexpr Field kNone{}, kByte0{0, 8, 0}, kByte1{8, 8, 0}, kByte2{16, 8, 0}, kByte3{24, 8, 0};
    constexpr SixPixels kReversed{kBluePixel, kGreenPixel, kRedPixel, kWhitePixel, 0xFF563412, 0xFF181818};
    for (const auto& [bits, red, green, blue, transparency, expected] :
         Table<std::uint32_t, Field, Field, Field, Field, SixPixels>{
             {16, {11, 5, 0}, {5, 6, 0}, {0, 5, 0}, kNone, {0xF800, 0x07E0, 0x001F, 0xFFFF, 0x11AA, 0x18C3}},
             {32, kByte0, kByte1, kByte2, kByte3, kReversed},
             {32, kByte2, kByte1, kByte0, kNone, kPicture}}) {
        fb_var_screeninfo& variable = g_framebuffer.variable;
        variable.xres = 4;
        variable.yres = 3;
        variable.xoffset = 2;
        variable.yoffset = 1;
        variable.bits_per_pixel = bits;
        variable.red = red;
        variable.green = green;
        variable.blue = blue;
        variable.transp = transparency;
        g_framebuffer.fixed.line_length = bits;  // 8 pixels
        g_framebuffer.fixed.smem_len = 4 * bits;
        std::ofstream(path) << std::string(4 * bits, '\0');
        EXPECT_EQ(DrawnOn(path, bits / 8, error), ThreeInARow(expected, 2 * 8 + 3, 8)) << bits;
    }

    const Framebuffer good = g_framebuffer;
    const std::pair<const char*, void (*)(Framebuffer&)> refused[] = {
        {"24 bits", [](Framebuffer& f) { f.variable.bits_per_pixel = 24; }},
        {"red beyond the pixel", [](Framebuffer& f) { f.variable.red.offset = 25; }},
        {"nine bits of red", [](Framebuffer& f) { f.variable.red.length = 9; }},
        {"lines beyond the memory", [](Framebuffer& f) { f.variable.yoffset = 2; }},
        {"no width", [](Framebuffer& f) { f.variable.xres = 0; }},
        {"short lines", [](Framebuffer& f) { f.variable.xoffset = 5; }},
        {"lines of half pixels", [](Framebuffer& f) { f.fixed.line_length = 30; }},
        {"no memory reported", [](Framebuffer& f) { f.fixed = {}; }},
    };
    for (const auto& [name, spoil] : refused) {
        g_framebuffer = good;
        spoil(g_framebuffer);
        EXPECT_TRUE(DrawnOn(path, 4, error).empty()) << name;
    }
    g_framebuffer = {};
    unlink(path.c_str());
}

}  // namespace
}  // namespace mwin_test
