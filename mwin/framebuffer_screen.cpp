#include "mwin/framebuffer_screen.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace mwin {
namespace {

constexpr int kFileWidth = 320;
constexpr int kFileHeight = 240;

FramebufferLayout FileLayout() {
    FramebufferLayout layout;
    layout.width = kFileWidth;
    layout.height = kFileHeight;
    layout.line_length = kFileWidth * 4;
    layout.red = {16, 8, 0};
    layout.green = {8, 8, 0};
    layout.blue = {0, 8, 0};
    layout.transparency = {24, 8, 0};
    return layout;
}

std::uint32_t Field(std::uint32_t value, const fb_bitfield& field) {
    return value >> (8 - field.length) << field.offset;
}

std::string Failure(const char* what, const char* path) {
    return std::string(what) + " " + path + ": " + strerror(errno);
}

// The layout of an open node, and in `size` how much of it to map.
bool FindLayout(int fd, const char* path, FramebufferLayout& layout, std::size_t& size, std::string& error) {
    fb_var_screeninfo variable{};
    fb_fix_screeninfo fixed{};
    if (ioctl(fd, FBIOGET_VSCREENINFO, &variable) == 0) {
        if (ioctl(fd, FBIOGET_FSCREENINFO, &fixed) != 0) {
            error = Failure("FBIOGET_FSCREENINFO", path);
            return false;
        }
        size = fixed.smem_len;
        return LayoutOf(variable, fixed, layout, error);
    }
    struct stat status {};
    if (errno != ENOTTY || fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
        error = Failure("FBIOGET_VSCREENINFO", path);
        return false;
    }
    layout = FileLayout();
    size = layout.line_length * kFileHeight;
    if (status.st_size < static_cast<off_t>(size) && ftruncate(fd, static_cast<off_t>(size)) != 0) {
        error = Failure("cannot extend", path);
        return false;
    }
    return true;
}

}  // namespace

std::uint32_t FramebufferLayout::Convert(std::uint32_t pixel) const {
    return Field(pixel >> 16U & 255U, red) | Field(pixel >> 8U & 255U, green) | Field(pixel & 255U, blue) |
           Field(255U, transparency);
}

bool LayoutOf(const fb_var_screeninfo& variable, const fb_fix_screeninfo& fixed, FramebufferLayout& layout,
              std::string& error) {
    const auto fits = [&variable](const fb_bitfield& field) {
        return field.length <= 8 && field.msb_right == 0 && field.offset + field.length <= variable.bits_per_pixel;
    };
    const bool depth_known = variable.bits_per_pixel == 16 || variable.bits_per_pixel == 32;
    if (!depth_known || !fits(variable.red) || !fits(variable.green) || !fits(variable.blue) ||
        !fits(variable.transp)) {
        error = "unsupported pixel format with " + std::to_string(variable.bits_per_pixel) + " bits per pixel";
        return false;
    }
    constexpr unsigned kMaxSide = 8192;
    layout.bytes_per_pixel = static_cast<int>(variable.bits_per_pixel / 8);
    const std::size_t bytes = variable.bits_per_pixel / 8;
    const std::uint64_t first =
        static_cast<std::uint64_t>(variable.yoffset) * fixed.line_length + variable.xoffset * bytes;
    const bool size_known =
        variable.xres > 0 && variable.yres > 0 && variable.xres <= kMaxSide && variable.yres <= kMaxSide;
    if (!size_known || fixed.line_length < (variable.xoffset + variable.xres) * bytes ||
        fixed.line_length % bytes != 0 ||
        static_cast<std::uint64_t>(variable.yoffset + variable.yres) * fixed.line_length > fixed.smem_len) {
        error = "unusable size " + std::to_string(variable.xres) + "x" + std::to_string(variable.yres) +
                ", line length " + std::to_string(fixed.line_length) + ", memory " + std::to_string(fixed.smem_len);
        return false;
    }
    layout.width = static_cast<int>(variable.xres);
    layout.height = static_cast<int>(variable.yres);
    layout.line_length = fixed.line_length;
    layout.first_pixel = static_cast<std::size_t>(first);
    layout.red = variable.red;
    layout.green = variable.green;
    layout.blue = variable.blue;
    layout.transparency = variable.transp;
    return true;
}

std::unique_ptr<FramebufferScreen> FramebufferScreen::Open(const char* path, std::string& error) {
    const int fd = open(path, O_RDWR | O_CLOEXEC);
    if (fd < 0) {
        error = Failure("cannot open", path);
        return nullptr;
    }
    FramebufferLayout layout;
    std::size_t size = 0;
    void* memory = MAP_FAILED;
    if (FindLayout(fd, path, layout, size, error)) {
        memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        if (memory == MAP_FAILED) error = Failure("cannot map", path);
    }
    close(fd);
    if (memory == MAP_FAILED) return nullptr;
    return std::unique_ptr<FramebufferScreen>(new FramebufferScreen(layout, static_cast<unsigned char*>(memory), size));
}

FramebufferScreen::~FramebufferScreen() {
    munmap(memory_, size_);
}

void FramebufferScreen::Update(const std::uint32_t* surface, int stride, int x, int y, int width, int height) {
    const bool same = layout_.bytes_per_pixel == 4 && layout_.Convert(0x00123456) % 0x1000000U == 0x123456;
    for (int row = y; row < y + height; ++row) {
        const std::uint32_t* from = surface + static_cast<std::ptrdiff_t>(row) * stride + x;
        unsigned char* to = memory_ + layout_.first_pixel + static_cast<std::size_t>(row) * layout_.line_length +
                            static_cast<std::size_t>(x) * static_cast<std::size_t>(layout_.bytes_per_pixel);
        if (same) {
            std::memcpy(to, from, static_cast<std::size_t>(width) * 4);
        } else if (layout_.bytes_per_pixel == 4) {
            auto* pixels = reinterpret_cast<std::uint32_t*>(to);
            for (int i = 0; i < width; ++i)
                pixels[i] = layout_.Convert(from[i]);
        } else {
            auto* pixels = reinterpret_cast<std::uint16_t*>(to);
            for (int i = 0; i < width; ++i)
                pixels[i] = static_cast<std::uint16_t>(layout_.Convert(from[i]));
        }
    }
}

}  // namespace mwin
