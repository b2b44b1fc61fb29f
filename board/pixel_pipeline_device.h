// The SoC's pixel pipeline (PxP): a video output with the user interface as its overlay.
#pragma once

#include <linux/videodev2.h>

#include <mutex>

#include "board/block.h"
#include "board/buffer_queue.h"
#include "board/control_table.h"
#include "board/device.h"

namespace board {

// Driver-private controls of the pipeline.
constexpr std::uint32_t kCidRotation = 0x08000000;       // degrees clockwise: 0, 90, 180, 270
constexpr std::uint32_t kCidOverlayEnable = 0x08000003;  // the user interface lies over the video

// Takes planar 4:2:2 ("422P") with signed chroma, and a new format also while it streams. A queued picture is shown,
// and its buffer free again, at once. Thread-safe.
class PixelPipelineDevice final : public Device {
  public:
    explicit PixelPipelineDevice(Block& block);

    int Open(OpenNode& node) override;
    void Close(const OpenNode& node) override;
    int Ioctl(const OpenNode& node, unsigned long request, void* argument) override;
    void* Map(const OpenNode& node, std::size_t length, off_t offset, int& error) override;
    bool Unmap(void* address, std::size_t length) override;
    int WaitReadable(const OpenNode& node, std::chrono::milliseconds timeout) override;
    int WaitWritable(const OpenNode& node, std::chrono::milliseconds timeout) override;

    // Buffers granted whatever is asked for; 0: as asked.
    void GrantBuffers(unsigned count);

  private:
    int Format(v4l2_format& format, bool set);
    int OutputFormat(v4l2_pix_format& picture, bool set);
    int OverlayFormat(v4l2_window& window, bool set);
    int Framebuffer(v4l2_framebuffer& framebuffer, bool set);
    int Crop(v4l2_crop& crop, bool set);
    int SelectOutput(int output);
    int SetControl(const v4l2_control& control);
    int StreamIoctl(const OpenNode& node, unsigned long request, void* argument);
    int StreamOnOff(const OpenNode& node, bool on);
    void Show();
    void UpdateOverlay();

    Block& block_;
    mutable std::mutex mutex_;
    BufferQueue queue_{V4L2_BUF_TYPE_VIDEO_OUTPUT};
    ControlTable controls_;
    v4l2_pix_format picture_{};
    v4l2_window window_{};
    v4l2_framebuffer framebuffer_{};
    std::uint32_t sequence_ = 0;
};

}  // namespace board
