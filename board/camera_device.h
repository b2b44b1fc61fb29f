// The USB video-class camera at the end of the probe.
#pragma once

#include <linux/videodev2.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "board/block.h"
#include "board/board_clock.h"
#include "board/buffer_queue.h"
#include "board/camera_source.h"
#include "board/control_table.h"
#include "board/device.h"

namespace board {

// The capture node. Offers packed YUYV at 320x240 and 640x480, up to 30 frames a second, paced by the clock; a frame
// for which no buffer is queued is lost. Thread-safe.
class CameraDevice final : public Device {
  public:
    CameraDevice(Block& block, BoardClock& clock);

    int Open(OpenNode& node) override;
    void Close(const OpenNode& node) override;
    int Ioctl(const OpenNode& node, unsigned long request, void* argument) override;
    void* Map(const OpenNode& node, std::size_t length, off_t offset, int& error) override;
    bool Unmap(void* address, std::size_t length) override;
    int WaitReadable(const OpenNode& node, std::chrono::milliseconds timeout) override;

    // Buffers granted whatever is asked for; 0: as asked.
    void GrantBuffers(unsigned count);

  private:
    int StreamIoctl(const OpenNode& node, unsigned long request, void* argument);
    int SetFormat(v4l2_format& format);
    void FillFormat(v4l2_format& format) const;
    int SetParameters(v4l2_streamparm& parameters);
    int StreamOn(const OpenNode& node);
    int Dequeue(const OpenNode& node, v4l2_buffer& buffer);
    std::uint32_t FramesPassed() const;
    void Deliver();
    void Render(std::uint8_t* frame);
    void ApplyControls(std::uint8_t* frame) const;
    void StopStream();
    std::chrono::nanoseconds NextEvent(std::chrono::nanoseconds deadline) const;
    bool Gone(const OpenNode& node) const;
    CameraState State() const;

    Block& block_;
    BoardClock& clock_;
    const std::chrono::nanoseconds made_;
    mutable std::mutex mutex_;
    BufferQueue queue_{V4L2_BUF_TYPE_VIDEO_CAPTURE};
    ControlTable controls_;
    std::uint32_t pixel_format_ = V4L2_PIX_FMT_YUYV;
    std::uint32_t width_ = 640, height_ = 480;
    std::uint32_t fps_ = 30;
    std::chrono::nanoseconds stream_start_{};
    std::uint32_t sequence_ = 0;  // frames that have passed since the stream started
    std::string source_name_;
    std::unique_ptr<CameraSource> source_;
    std::vector<std::uint8_t> short_frame_;  // the whole picture of which only a part arrives
};

// The second node that today's drivers make for the same camera: same name, only metadata. Capture formats are refused.
class CameraMetadataDevice final : public Device {
  public:
    explicit CameraMetadataDevice(Block& block) : block_(block) {}

    int Open(OpenNode& node) override;
    void Close(const OpenNode& /*node*/) override {}
    int Ioctl(const OpenNode& node, unsigned long request, void* argument) override;

  private:
    Block& block_;
};

}  // namespace board
