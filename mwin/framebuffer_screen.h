// The Linux framebuffer device (linux/fb.h) as a screen.
#pragma once

#include <linux/fb.h>

#include <cstddef>
#include <memory>
#include <string>

#include "mwin/platform.h"

namespace mwin {

// Where the colours lie in a framebuffer's pixels, and its rows in memory.
struct FramebufferLayout {
    int width = 0;
    int height = 0;
    int bytes_per_pixel = 4;  // 2 or 4
    std::size_t line_length = 0;
    std::size_t first_pixel = 0;  // bytes from the start of the memory
    fb_bitfield red{}, green{}, blue{}, transparency{};

    // 0xAARRGGBB to this layout; a transparency field is filled with ones (opaque).
    std::uint32_t Convert(std::uint32_t pixel) const;
};

// UI thread.
class FramebufferScreen final : public Screen {
  public:
    // Opens and maps a device with 16 or 32 bits per pixel. An ordinary file takes the place of a 320x240 device with
    // 32 bits, and is extended when it is shorter. Null on failure, and `error` says why.
    static std::unique_ptr<FramebufferScreen> Open(const char* path, std::string& error);
    FramebufferScreen(const FramebufferScreen&) = delete;
    FramebufferScreen& operator=(const FramebufferScreen&) = delete;
    ~FramebufferScreen();

    int Width() const override { return layout_.width; }
    int Height() const override { return layout_.height; }
    void Update(const std::uint32_t* surface, int stride, int x, int y, int width, int height) override;

  private:
    FramebufferScreen(const FramebufferLayout& layout, unsigned char* memory, std::size_t size)
        : layout_(layout), memory_(memory), size_(size) {}

    FramebufferLayout layout_;
    unsigned char* memory_;  // mapped, size_ bytes
    std::size_t size_;
};

// The layout that a device reports. False when it is not one of those above, and `error` says why.
bool LayoutOf(const fb_var_screeninfo& variable, const fb_fix_screeninfo& fixed, FramebufferLayout& layout,
              std::string& error);

}  // namespace mwin
