#include "board/camera_device.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "board/board_folder.h"

namespace board {
namespace {

using std::chrono::nanoseconds;

constexpr nanoseconds kSecond = std::chrono::seconds(1);

struct Size {
    std::uint32_t width, height;
};
constexpr std::array<Size, 2> kSizes = {{{320, 240}, {640, 480}}};
constexpr std::array<std::uint8_t, 4> kEmptyJpeg = {0xFF, 0xD8, 0xFF, 0xD9};
constexpr std::array<std::uint32_t, 6> kFrameRates = {30, 25, 20, 15, 10, 5};

std::vector<Control> CameraControls() {
    constexpr auto kInteger = V4L2_CTRL_TYPE_INTEGER;
    constexpr auto kSwitch = V4L2_CTRL_TYPE_BOOLEAN;
    return {{V4L2_CID_BRIGHTNESS, kInteger, "Brightness", 0, 255, 1, 128, 128},
            {V4L2_CID_CONTRAST, kInteger, "Contrast", 0, 255, 1, 128, 128},
            {V4L2_CID_SATURATION, kInteger, "Saturation", 0, 255, 1, 128, 128},
            {V4L2_CID_HUE, kInteger, "Hue", -180, 180, 1, 0, 0},
            {V4L2_CID_AUTO_WHITE_BALANCE, kSwitch, "White Balance Temperature, Auto", 0, 1, 1, 1, 1},
            {V4L2_CID_GAMMA, kInteger, "Gamma", 72, 500, 1, 100, 100},
            {V4L2_CID_GAIN, kInteger, "Gain", 0, 100, 1, 0, 0},
            {V4L2_CID_WHITE_BALANCE_TEMPERATURE, kInteger, "White Balance Temperature", 2800, 6500, 1, 4600, 4600},
            {V4L2_CID_SHARPNESS, kInteger, "Sharpness", 0, 6, 1, 3, 3},
            {V4L2_CID_EXPOSURE_AUTO, V4L2_CTRL_TYPE_MENU, "Exposure, Auto", 0, 3, 1, 3, 1},
            {V4L2_CID_EXPOSURE_ABSOLUTE, kInteger, "Exposure (Absolute)", 1, 5000, 1, 157, 157},
            {V4L2_CID_EXPOSURE_AUTO_PRIORITY, kSwitch, "Exposure, Auto Priority", 0, 1, 1, 0, 0}};
}

int Capabilities(v4l2_capability& answer, std::uint32_t node_capabilities) {
    answer = {};
    std::strcpy(reinterpret_cast<char*>(answer.driver), "uvcvideo");
    std::strcpy(reinterpret_cast<char*>(answer.card), kCameraName);
    std::strcpy(reinterpret_cast<char*>(answer.bus_info), "usb-ehci-1");
    answer.version = 0x00060100;
    answer.capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_META_CAPTURE | V4L2_CAP_STREAMING | V4L2_CAP_DEVICE_CAPS;
    answer.device_caps = node_capabilities;
    return 0;
}

timeval ToTimeval(nanoseconds time) {
    timeval value{};
    value.tv_sec = static_cast<time_t>(time / kSecond);
    value.tv_usec = static_cast<suseconds_t>(time % kSecond / std::chrono::microseconds(1));
    return value;
}

}  // namespace

CameraDevice::CameraDevice(Block& block, BoardClock& clock)
    : block_(block), clock_(clock), made_(clock.Monotonic()), controls_(CameraControls()) {}

CameraState CameraDevice::State() const {
    const BlockLock lock(block_);
    return block_.camera;
}

bool CameraDevice::Gone(const OpenNode& node) const {
    const BlockLock lock(block_);
    return !block_.camera.plugged || block_.camera.generation != node.generation;
}

int CameraDevice::Open(OpenNode& node) {
    const std::lock_guard<std::mutex> guard(mutex_);
    const CameraState state = State();
    if (!state.plugged) return -ENODEV;
    node.generation = state.generation;
    if (source_name_ != state.source || !source_) {
        std::string error;
        source_ = OpenCameraSource(state.source, error);
        if (!source_) return -ENODEV;
        source_name_ = state.source;
    }
    return 0;
}

void CameraDevice::Close(const OpenNode& node) {
    const std::lock_guard<std::mutex> guard(mutex_);
    queue_.Release(node.descriptor);
    if (!queue_.Streaming()) StopStream();
}

void CameraDevice::StopStream() {
    const BlockLock lock(block_);
    block_.camera.streaming = false;
}

void CameraDevice::GrantBuffers(unsigned count) {
    const std::lock_guard<std::mutex> guard(mutex_);
    queue_.GrantInstead(count);
}

int CameraDevice::Ioctl(const OpenNode& node, unsigned long request, void* argument) {
    if (request == VIDIOC_DQBUF) return Dequeue(node, *static_cast<v4l2_buffer*>(argument));
    const std::lock_guard<std::mutex> guard(mutex_);
    if (Gone(node)) return -ENODEV;
    switch (request) {
        case VIDIOC_QUERYCAP:
            return Capabilities(*static_cast<v4l2_capability*>(argument), V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING);
        case VIDIOC_G_FMT:
            if (static_cast<v4l2_format*>(argument)->type != V4L2_BUF_TYPE_VIDEO_CAPTURE) return -EINVAL;
            FillFormat(*static_cast<v4l2_format*>(argument));
            return 0;
        case VIDIOC_S_FMT:
            return SetFormat(*static_cast<v4l2_format*>(argument));
        case VIDIOC_S_PARM:
            return SetParameters(*static_cast<v4l2_streamparm*>(argument));
        case VIDIOC_QUERYCTRL:
            return controls_.Query(*static_cast<v4l2_queryctrl*>(argument));
        case VIDIOC_G_CTRL:
            return controls_.Get(*static_cast<v4l2_control*>(argument));
        case VIDIOC_S_CTRL:
            return controls_.Set(*static_cast<v4l2_control*>(argument));
        default:
            return StreamIoctl(node, request, argument);
    }
}

int CameraDevice::StreamIoctl(const OpenNode& node, unsigned long request, void* argument) {
    switch (request) {
        case VIDIOC_REQBUFS:
            return queue_.Request(node.descriptor, *static_cast<v4l2_requestbuffers*>(argument), width_ * height_ * 2);
        case VIDIOC_QUERYBUF:
            return queue_.Query(*static_cast<v4l2_buffer*>(argument));
        case VIDIOC_QBUF:
            if (State().faults & kQbufRefused) return -EIO;
            // Frames that passed while no buffer was queued are lost.
            if (!queue_.HasQueued()) sequence_ = FramesPassed();
            return queue_.Queue(node.descriptor, *static_cast<v4l2_buffer*>(argument));
        case VIDIOC_STREAMON:
            if (*static_cast<int*>(argument) != V4L2_BUF_TYPE_VIDEO_CAPTURE) return -EINVAL;
            return StreamOn(node);
        case VIDIOC_STREAMOFF: {
            if (*static_cast<int*>(argument) != V4L2_BUF_TYPE_VIDEO_CAPTURE) return -EINVAL;
            const int result = queue_.StreamOff(node.descriptor);
            if (result == 0) StopStream();
            return result;
        }
        default:
            return -ENOTTY;
    }
}

void CameraDevice::FillFormat(v4l2_format& format) const {
    v4l2_pix_format& picture = format.fmt.pix;
    picture = {};
    picture.width = width_;
    picture.height = height_;
    picture.pixelformat = pixel_format_;
    picture.field = V4L2_FIELD_NONE;
    picture.bytesperline = pixel_format_ == V4L2_PIX_FMT_YUYV ? width_ * 2 : 0;
    picture.sizeimage = width_ * height_ * 2;
    picture.colorspace = V4L2_COLORSPACE_SRGB;
}

// Answers with the offered size that is nearest in area, and with the one format there is.
int CameraDevice::SetFormat(v4l2_format& format) {
    if (format.type != V4L2_BUF_TYPE_VIDEO_CAPTURE) return -EINVAL;
    if (queue_.Allocated()) return -EBUSY;
    const std::uint32_t faults = State().faults;
    const auto asked = static_cast<std::int64_t>(std::min<std::uint32_t>(format.fmt.pix.width, 1U << 14U)) *
                       std::min<std::uint32_t>(format.fmt.pix.height, 1U << 14U);
    Size best = kSizes[0];
    for (const Size& size : kSizes) {
        const auto distance = [asked](const Size& s) { return std::llabs(asked - std::int64_t{s.width} * s.height); };
        if (distance(size) < distance(best)) best = size;
    }
    if (faults & kSizeRefused) best = kSizes[0];
    width_ = best.width;
    height_ = best.height;
    pixel_format_ = faults & kFormatOther ? V4L2_PIX_FMT_MJPEG : V4L2_PIX_FMT_YUYV;
    FillFormat(format);
    return 0;
}

int CameraDevice::SetParameters(v4l2_streamparm& parameters) {
    if (parameters.type != V4L2_BUF_TYPE_VIDEO_CAPTURE) return -EINVAL;
    if (queue_.Streaming()) return -EBUSY;
    v4l2_captureparm& capture = parameters.parm.capture;
    const v4l2_fract asked = capture.timeperframe;
    const std::uint32_t rate = asked.numerator && asked.denominator ? asked.denominator / asked.numerator : 30;
    fps_ = kFrameRates.back();
    for (const std::uint32_t offered : kFrameRates) {
        if (offered <= rate) {
            fps_ = offered;
            break;
        }
    }
    capture = {};
    capture.capability = V4L2_CAP_TIMEPERFRAME;
    capture.timeperframe = {1, fps_};
    return 0;
}

int CameraDevice::StreamOn(const OpenNode& node) {
    if (queue_.Streaming()) return 0;
    if (State().faults & kStreamonRefused) return -ENOSPC;
    const int result = queue_.StreamOn(node.descriptor);
    if (result < 0) return result;
    stream_start_ = clock_.Monotonic();
    sequence_ = 0;
    const BlockLock lock(block_);
    block_.camera.streaming = true;
    block_.camera.width = width_;
    block_.camera.height = height_;
    block_.camera.fps = fps_;
    return 0;
}

void* CameraDevice::Map(const OpenNode& node, std::size_t length, off_t offset, int& error) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (Gone(node)) {
        error = ENODEV;
        return nullptr;
    }
    return queue_.Map(length, offset, error);
}

bool CameraDevice::Unmap(void* address, std::size_t length) {
    const std::lock_guard<std::mutex> guard(mutex_);
    return queue_.Unmap(address, length);
}

std::uint32_t CameraDevice::FramesPassed() const {
    if (!queue_.Streaming()) return 0;
    return static_cast<std::uint32_t>((clock_.Monotonic() - stream_start_) * fps_ / kSecond);
}

// Finishes a buffer when a frame has come in since the last look.
void CameraDevice::Deliver() {
    if (!queue_.Streaming() || (State().faults & kDqbufStuck)) return;
    const std::uint32_t passed = FramesPassed();
    if (passed <= sequence_ || !queue_.HasQueued()) return;
    sequence_ = passed;
    Render(queue_.NextQueued());
    if (!State().plugged) return;  // the source has ended
    const std::uint32_t faults = State().faults;
    const auto size = static_cast<std::uint32_t>(queue_.BufferSize());
    queue_.Finish(faults & kShortFrame ? size / 2 : size, faults & kErrorFlag ? V4L2_BUF_FLAG_ERROR : 0, passed - 1,
                  ToTimeval(clock_.Monotonic()));
    const BlockLock lock(block_);
    ++block_.camera.frames;
}

void CameraDevice::Render(std::uint8_t* frame) {
    const CameraState state = State();
    if (source_name_ != state.source) {
        // Another source was chosen while streaming; one that cannot be opened leaves the old picture.
        std::string error;
        if (auto source = OpenCameraSource(state.source, error)) source_ = std::move(source);
        source_name_ = state.source;
    }
    if (pixel_format_ != V4L2_PIX_FMT_YUYV) {
        std::memset(frame, 0, queue_.BufferSize());
        std::copy(kEmptyJpeg.begin(), kEmptyJpeg.end(), frame);
        return;
    }
    int lamp = 0;
    {
        const BlockLock lock(block_);
        lamp = block_.lamp;
    }
    const FrameRequest request = {static_cast<int>(width_), static_cast<int>(height_), sequence_,
                                  clock_.Monotonic() - made_, lamp};
    const bool is_short = (state.faults & kShortFrame) != 0;
    if (is_short) short_frame_.resize(queue_.BufferSize());
    std::uint8_t* target = is_short ? short_frame_.data() : frame;
    if (!source_->Render(request, target)) {
        PlugCamera(block_, false);
        source_.reset();
        return;
    }
    ApplyControls(target);
    // What does not arrive leaves the buffer as it was.
    if (is_short) std::memcpy(frame, target, queue_.BufferSize() / 2);
}

void CameraDevice::ApplyControls(std::uint8_t* frame) const {
    const int brightness = controls_.Value(V4L2_CID_BRIGHTNESS) - 128;
    const int saturation = controls_.Value(V4L2_CID_SATURATION);
    // The range's middle is not a whole number: one step off it still counts as neutral.
    if (std::abs(brightness) <= 1 && saturation == 128) return;
    std::array<std::uint8_t, 256> luma{};
    std::array<std::uint8_t, 256> chroma{};
    for (int i = 0; i < 256; ++i) {
        luma[i] = static_cast<std::uint8_t>(std::clamp(i + brightness, 0, 255));
        chroma[i] = static_cast<std::uint8_t>(std::clamp(128 + (i - 128) * saturation / 128, 0, 255));
    }
    for (std::size_t i = 0; i + 1 < queue_.BufferSize(); i += 2) {
        frame[i] = luma[frame[i]];
        frame[i + 1] = chroma[frame[i + 1]];
    }
}

nanoseconds CameraDevice::NextEvent(nanoseconds deadline) const {
    // Rounded up: a nanosecond earlier the frame has not passed.
    const nanoseconds next_frame =
        stream_start_ + (kSecond * (std::int64_t{sequence_} + 1) + nanoseconds(fps_ - 1)) / fps_;
    // Past frames that found no buffer, or never come: look again after one frame's time.
    const nanoseconds now = clock_.Monotonic();
    return std::min(deadline, next_frame > now ? next_frame : now + kSecond / fps_);
}

int CameraDevice::Dequeue(const OpenNode& node, v4l2_buffer& buffer) {
    for (;;) {
        nanoseconds next{};
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            Deliver();
            if (Gone(node)) return -ENODEV;
            if (State().faults & kDqbufEio) return -EIO;
            const int result = queue_.Dequeue(node.descriptor, buffer);
            if (result != -EAGAIN || !node.blocking) return result;
            next = NextEvent(nanoseconds::max());
        }
        clock_.WaitUntil(next, [this, &node] { return Gone(node); });
    }
}

// As select(2) on the driver: a node that is gone or does not stream is "readable", and the next call tells the reason.
int CameraDevice::WaitReadable(const OpenNode& node, std::chrono::milliseconds timeout) {
    const nanoseconds deadline = clock_.Monotonic() + timeout;
    for (;;) {
        nanoseconds next{};
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            Deliver();
            if (Gone(node) || !queue_.Streaming() || queue_.HasFinished()) return 1;
            if (clock_.Monotonic() >= deadline) return 0;
            next = NextEvent(deadline);
        }
        clock_.WaitUntil(next, [this, &node] { return Gone(node); });
    }
}

int CameraMetadataDevice::Open(OpenNode& node) {
    const BlockLock lock(block_);
    node.generation = block_.camera.generation;
    return block_.camera.plugged ? 0 : -ENODEV;
}

int CameraMetadataDevice::Ioctl(const OpenNode& node, unsigned long request, void* argument) {
    {
        const BlockLock lock(block_);
        if (!block_.camera.plugged || block_.camera.generation != node.generation) return -ENODEV;
    }
    if (request == VIDIOC_QUERYCAP) {
        return Capabilities(*static_cast<v4l2_capability*>(argument), V4L2_CAP_META_CAPTURE | V4L2_CAP_STREAMING);
    }
    return request == VIDIOC_G_FMT || request == VIDIOC_S_FMT || request == VIDIOC_REQBUFS ? -EINVAL : -ENOTTY;
}

}  // namespace board
