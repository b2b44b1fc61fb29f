#include "board/pixel_pipeline_device.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "board/board_folder.h"

namespace board {
namespace {

constexpr std::uint32_t kSmallest = 8;  // the hardware works in blocks of 8 pixels
constexpr std::uint32_t kLargestWidth = 640;
constexpr std::uint32_t kLargestHeight = 480;
constexpr int kOutputs = 2;

std::vector<Control> PipelineControls() {
    return {{kCidRotation, V4L2_CTRL_TYPE_INTEGER, "Rotation", 0, 270, 90, 0, 0},
            {kCidOverlayEnable, V4L2_CTRL_TYPE_BOOLEAN, "Overlay enable", 0, 1, 1, 0, 0},
            {V4L2_CID_HFLIP, V4L2_CTRL_TYPE_BOOLEAN, "Horizontal flip", 0, 1, 1, 0, 0},
            {V4L2_CID_VFLIP, V4L2_CTRL_TYPE_BOOLEAN, "Vertical flip", 0, 1, 1, 0, 0}};
}

int Capabilities(v4l2_capability& answer) {
    answer = {};
    std::strcpy(reinterpret_cast<char*>(answer.driver), "pxp");
    std::strcpy(reinterpret_cast<char*>(answer.card), kPixelPipelineName);
    answer.version = 0x00020623;
    answer.capabilities = V4L2_CAP_VIDEO_OUTPUT | V4L2_CAP_VIDEO_OUTPUT_OVERLAY | V4L2_CAP_STREAMING;
    return 0;
}

int DescribeOutput(v4l2_output& output) {
    if (output.index >= kOutputs) return -EINVAL;
    const std::uint32_t index = output.index;
    output = {};
    output.index = index;
    output.type = V4L2_OUTPUT_TYPE_ANALOG;
    std::strcpy(reinterpret_cast<char*>(output.name), index == 0 ? "PxP display output" : "Framebuffer output");
    return 0;
}

}  // namespace

PixelPipelineDevice::PixelPipelineDevice(Block& block) : block_(block), controls_(PipelineControls()) {
    picture_.width = kScreenWidth;
    picture_.height = kScreenHeight;
    OutputFormat(picture_, true);
    window_.w = {0, 0, kScreenWidth, kScreenHeight};
    window_.field = V4L2_FIELD_NONE;
    window_.chromakey = kDefaultChromaKey;
    window_.global_alpha = 255;
    framebuffer_.capability = V4L2_FBUF_CAP_EXTERNOVERLAY | V4L2_FBUF_CAP_CHROMAKEY | V4L2_FBUF_CAP_GLOBAL_ALPHA;
    framebuffer_.fmt.width = kScreenWidth;
    framebuffer_.fmt.height = kScreenHeight;
    framebuffer_.fmt.pixelformat = V4L2_PIX_FMT_RGB32;
    framebuffer_.fmt.bytesperline = kScreenWidth * 4;
    framebuffer_.fmt.sizeimage = kScreenWidth * kScreenHeight * 4;
}

int PixelPipelineDevice::Open(OpenNode& node) {
    node.generation = 0;
    return 0;
}

void PixelPipelineDevice::Close(const OpenNode& node) {
    const std::lock_guard<std::mutex> guard(mutex_);
    queue_.Release(node.descriptor);
    const BlockLock lock(block_);
    block_.pxp.streaming = queue_.Streaming();
}

void PixelPipelineDevice::GrantBuffers(unsigned count) {
    const std::lock_guard<std::mutex> guard(mutex_);
    queue_.GrantInstead(count);
}

int PixelPipelineDevice::Ioctl(const OpenNode& node, unsigned long request, void* argument) {
    const std::lock_guard<std::mutex> guard(mutex_);
    switch (request) {
        case VIDIOC_QUERYCAP:
            return Capabilities(*static_cast<v4l2_capability*>(argument));
        case VIDIOC_G_FMT:
            return Format(*static_cast<v4l2_format*>(argument), false);
        case VIDIOC_S_FMT:
            return Format(*static_cast<v4l2_format*>(argument), true);
        case VIDIOC_G_FBUF:
            return Framebuffer(*static_cast<v4l2_framebuffer*>(argument), false);
        case VIDIOC_S_FBUF:
            return Framebuffer(*static_cast<v4l2_framebuffer*>(argument), true);
        case VIDIOC_G_CROP:
            return Crop(*static_cast<v4l2_crop*>(argument), false);
        case VIDIOC_S_CROP:
            return Crop(*static_cast<v4l2_crop*>(argument), true);
        case VIDIOC_S_OUTPUT:
            return SelectOutput(*static_cast<int*>(argument));
        case VIDIOC_G_OUTPUT: {
            const BlockLock lock(block_);
            *static_cast<int*>(argument) = static_cast<int>(block_.pxp.output);
            return 0;
        }
        case VIDIOC_ENUMOUTPUT:
            return DescribeOutput(*static_cast<v4l2_output*>(argument));
        case VIDIOC_QUERYCTRL:
            return controls_.Query(*static_cast<v4l2_queryctrl*>(argument));
        case VIDIOC_G_CTRL:
            return controls_.Get(*static_cast<v4l2_control*>(argument));
        case VIDIOC_S_CTRL:
            return SetControl(*static_cast<v4l2_control*>(argument));
        default:
            return StreamIoctl(node, request, argument);
    }
}

int PixelPipelineDevice::StreamIoctl(const OpenNode& node, unsigned long request, void* argument) {
    switch (request) {
        case VIDIOC_REQBUFS:
            return queue_.Request(node.descriptor, *static_cast<v4l2_requestbuffers*>(argument), picture_.sizeimage);
        case VIDIOC_QUERYBUF:
            return queue_.Query(*static_cast<v4l2_buffer*>(argument));
        case VIDIOC_QBUF: {
            const int result = queue_.Queue(node.descriptor, *static_cast<v4l2_buffer*>(argument));
            if (result == 0) Show();
            return result;
        }
        case VIDIOC_DQBUF: {
            const int result = queue_.Dequeue(node.descriptor, *static_cast<v4l2_buffer*>(argument));
            // Nothing is queued, or it would be finished: a driver would wait for ever.
            return result == -EAGAIN && node.blocking ? -EINVAL : result;
        }
        case VIDIOC_STREAMON:
        case VIDIOC_STREAMOFF:
            if (*static_cast<int*>(argument) != V4L2_BUF_TYPE_VIDEO_OUTPUT) return -EINVAL;
            return StreamOnOff(node, request == VIDIOC_STREAMON);
        default:
            return -ENOTTY;
    }
}

int PixelPipelineDevice::StreamOnOff(const OpenNode& node, bool on) {
    const int result = on ? queue_.StreamOn(node.descriptor) : queue_.StreamOff(node.descriptor);
    if (result < 0) return result;
    {
        const BlockLock lock(block_);
        block_.pxp.streaming = on;
    }
    Show();
    return 0;
}

// Shows every queued picture, the last one to stay.
void PixelPipelineDevice::Show() {
    if (!queue_.Streaming()) return;
    while (queue_.HasQueued()) {
        const auto length = static_cast<std::uint32_t>(std::min(queue_.BufferSize(), kVideoBytes));
        {
            const BlockLock lock(block_);
            std::memcpy(block_.video, queue_.NextQueued(), length);
            block_.video_length = length;
            ++block_.video_sequence;
        }
        queue_.Finish(length, 0, sequence_++, {});
    }
}

int PixelPipelineDevice::Format(v4l2_format& format, bool set) {
    switch (format.type) {
        case V4L2_BUF_TYPE_VIDEO_OUTPUT:
            return OutputFormat(format.fmt.pix, set);
        case V4L2_BUF_TYPE_VIDEO_OUTPUT_OVERLAY:
            return OverlayFormat(format.fmt.win, set);
        default:
            return -EINVAL;
    }
}

int PixelPipelineDevice::OutputFormat(v4l2_pix_format& picture, bool set) {
    if (!set) {
        picture = picture_;
        return 0;
    }
    if (&picture != &picture_ && picture.pixelformat != V4L2_PIX_FMT_YUV422P) return -EINVAL;
    const std::uint32_t width = std::clamp(picture.width, kSmallest, kLargestWidth) & ~1U;
    const std::uint32_t height = std::clamp(picture.height, kSmallest, kLargestHeight);
    // The buffers that are there were made for another size: they must hold the new one.
    if (queue_.Allocated() && std::size_t{width} * height * 2 > queue_.BufferSize()) return -EBUSY;
    picture_ = {};
    picture_.width = width;
    picture_.height = height;
    picture_.pixelformat = V4L2_PIX_FMT_YUV422P;
    picture_.field = V4L2_FIELD_NONE;
    picture_.bytesperline = width;
    picture_.sizeimage = width * height * 2;
    picture_.colorspace = V4L2_COLORSPACE_SMPTE170M;
    picture = picture_;
    const BlockLock lock(block_);
    block_.pxp.source_width = width;
    block_.pxp.source_height = height;
    return 0;
}

int PixelPipelineDevice::OverlayFormat(v4l2_window& window, bool set) {
    if (set) {
        window_.w.left = std::clamp(window.w.left, 0, kScreenWidth - 1);
        window_.w.top = std::clamp(window.w.top, 0, kScreenHeight - 1);
        window_.w.width = std::min<std::uint32_t>(window.w.width, kScreenWidth - window_.w.left);
        window_.w.height = std::min<std::uint32_t>(window.w.height, kScreenHeight - window_.w.top);
        window_.field = V4L2_FIELD_NONE;
        window_.chromakey = window.chromakey;
        window_.global_alpha = window.global_alpha;
        UpdateOverlay();
    }
    window = window_;
    return 0;
}

int PixelPipelineDevice::Framebuffer(v4l2_framebuffer& framebuffer, bool set) {
    if (set) {
        framebuffer_.flags =
            framebuffer.flags & (V4L2_FBUF_FLAG_OVERLAY | V4L2_FBUF_FLAG_CHROMAKEY | V4L2_FBUF_FLAG_GLOBAL_ALPHA);
        UpdateOverlay();
    } else {
        framebuffer = framebuffer_;
    }
    return 0;
}

void PixelPipelineDevice::UpdateOverlay() {
    const BlockLock lock(block_);
    block_.pxp.overlay = (framebuffer_.flags & V4L2_FBUF_FLAG_OVERLAY) && controls_.Value(kCidOverlayEnable);
    block_.pxp.chroma_key_enabled = framebuffer_.flags & V4L2_FBUF_FLAG_CHROMAKEY;
    block_.pxp.chroma_key = window_.chromakey & 0xFFFFFF;
}

int PixelPipelineDevice::Crop(v4l2_crop& crop, bool set) {
    if (crop.type != V4L2_BUF_TYPE_VIDEO_OUTPUT_OVERLAY) return -EINVAL;
    const BlockLock lock(block_);
    Rectangle& own = block_.pxp.crop;
    if (set) {
        own.left = std::clamp(crop.c.left, 0, kScreenWidth - 1);
        own.top = std::clamp(crop.c.top, 0, kScreenHeight - 1);
        own.width = static_cast<std::int32_t>(std::clamp<std::uint32_t>(crop.c.width, 1, kScreenWidth - own.left));
        own.height = static_cast<std::int32_t>(std::clamp<std::uint32_t>(crop.c.height, 1, kScreenHeight - own.top));
    } else {
        crop.c = {own.left, own.top, static_cast<std::uint32_t>(own.width), static_cast<std::uint32_t>(own.height)};
    }
    return 0;
}

int PixelPipelineDevice::SelectOutput(int output) {
    if (output < 0 || output >= kOutputs) return -EINVAL;
    const BlockLock lock(block_);
    block_.pxp.output = static_cast<std::uint32_t>(output);
    return 0;
}

int PixelPipelineDevice::SetControl(const v4l2_control& control) {
    if (control.id == kCidRotation && (control.value < 0 || control.value > 270 || control.value % 90 != 0))
        return -ERANGE;
    const int result = controls_.Set(control);
    if (result < 0) return result;
    UpdateOverlay();
    const BlockLock lock(block_);
    block_.pxp.rotation = static_cast<std::uint32_t>(controls_.Value(kCidRotation));
    block_.pxp.hflip = controls_.Value(V4L2_CID_HFLIP) != 0;
    block_.pxp.vflip = controls_.Value(V4L2_CID_VFLIP) != 0;
    return 0;
}

void* PixelPipelineDevice::Map(const OpenNode& /*node*/, std::size_t length, off_t offset, int& error) {
    const std::lock_guard<std::mutex> guard(mutex_);
    return queue_.Map(length, offset, error);
}

bool PixelPipelineDevice::Unmap(void* address, std::size_t length) {
    const std::lock_guard<std::mutex> guard(mutex_);
    return queue_.Unmap(address, length);
}

// Nothing is ever to be read from an output.
int PixelPipelineDevice::WaitReadable(const OpenNode& /*node*/, std::chrono::milliseconds /*timeout*/) {
    return 0;
}

// As select(2): a buffer can be taken, or taking one tells at once why not. Buffers are free again at once, so there is
// never anything to wait for.
int PixelPipelineDevice::WaitWritable(const OpenNode& /*node*/, std::chrono::milliseconds /*timeout*/) {
    return 1;
}

}  // namespace board
