#include "board/device_source.h"

#include <fcntl.h>
#include <linux/videodev2.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

namespace board {
namespace {

constexpr unsigned kBuffers = 4;
constexpr int kPollMilliseconds = 100;
constexpr std::chrono::seconds kFirstFrame{2};

int Call(int fd, unsigned long request, void* argument) {
    int result = 0;
    do {
        result = ioctl(fd, request, argument);
    } while (result < 0 && errno == EINTR);
    return result;
}

std::string Reason() {
    return std::strerror(errno);
}

// A camera has more nodes than one; the node's own capabilities count, not the whole device's.
bool CanCapture(int fd) {
    v4l2_capability capability{};
    if (Call(fd, VIDIOC_QUERYCAP, &capability) < 0) return false;
    const std::uint32_t capabilities =
        capability.capabilities & V4L2_CAP_DEVICE_CAPS ? capability.device_caps : capability.capabilities;
    return (capabilities & V4L2_CAP_VIDEO_CAPTURE) && (capabilities & V4L2_CAP_STREAMING);
}

}  // namespace

std::unique_ptr<CameraSource> DeviceSource::Open(const std::string& path, std::string& error) {
    const int fd = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        error = path + ": " + Reason();
        return nullptr;
    }
    std::unique_ptr<DeviceSource> source(new DeviceSource(fd));
    if (!CanCapture(fd)) {
        error = path + ": not a video capture device";
        return nullptr;
    }
    std::string reason;
    if (!source->Start(reason)) {
        error = path + ": " + reason;
        return nullptr;
    }
    return source;
}

DeviceSource::~DeviceSource() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
    for (const Mapping& mapping : mappings_)
        munmap(mapping.address, mapping.length);
    close(fd_);
}

bool DeviceSource::Start(std::string& error) {
    v4l2_format format{};
    format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    format.fmt.pix.width = 640;
    format.fmt.pix.height = 480;
    format.fmt.pix.pixelformat = V4L2_PIX_FMT_YUYV;
    format.fmt.pix.field = V4L2_FIELD_ANY;
    if (Call(fd_, VIDIOC_S_FMT, &format) < 0) {
        error = "no format can be set: " + Reason();
        return false;
    }
    const v4l2_pix_format& picture = format.fmt.pix;
    if (picture.pixelformat != V4L2_PIX_FMT_YUYV || picture.width < 2 || picture.height < 1) {
        error = "the camera does not deliver YUYV";
        return false;
    }
    width_ = static_cast<int>(picture.width);
    height_ = static_cast<int>(picture.height);
    line_bytes_ = std::max<std::size_t>(picture.bytesperline, std::size_t{picture.width} * 2);
    if (!MapBuffers(error)) return false;
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (Call(fd_, VIDIOC_STREAMON, &type) < 0) {
        error = "streaming does not start: " + Reason();
        return false;
    }
    // Signals belong to the program's UI thread.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    thread_ = std::thread(&DeviceSource::Capture, this);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return true;
}

bool DeviceSource::MapBuffers(std::string& error) {
    v4l2_requestbuffers request{};
    request.count = kBuffers;
    request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    request.memory = V4L2_MEMORY_MMAP;
    if (Call(fd_, VIDIOC_REQBUFS, &request) < 0) {
        error = "no buffers: " + Reason();
        return false;
    }
    for (unsigned i = 0; i < request.count; ++i) {
        v4l2_buffer buffer{};
        buffer.index = i;
        buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        buffer.memory = V4L2_MEMORY_MMAP;
        void* address = MAP_FAILED;
        if (Call(fd_, VIDIOC_QUERYBUF, &buffer) == 0) {
            address = mmap(nullptr, buffer.length, PROT_READ | PROT_WRITE, MAP_SHARED, fd_, buffer.m.offset);
        }
        if (address == MAP_FAILED) {
            error = "a buffer cannot be mapped: " + Reason();
            return false;
        }
        mappings_.push_back({address, buffer.length});
        if (Call(fd_, VIDIOC_QBUF, &buffer) < 0) {
            error = "a buffer cannot be queued: " + Reason();
            return false;
        }
    }
    return true;
}

void DeviceSource::Capture() {
    while (!stop_) {
        struct pollfd waiting = {fd_, POLLIN, 0};
        if (poll(&waiting, 1, kPollMilliseconds) <= 0) continue;
        if (TakeFrame()) continue;
        const std::lock_guard<std::mutex> guard(mutex_);
        gone_ = true;
        changed_.notify_all();
        return;
    }
}

// False when the camera is no more.
bool DeviceSource::TakeFrame() {
    v4l2_buffer buffer{};
    buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    buffer.memory = V4L2_MEMORY_MMAP;
    if (Call(fd_, VIDIOC_DQBUF, &buffer) < 0) return errno == EAGAIN;
    const std::size_t needed = line_bytes_ * static_cast<std::size_t>(height_);
    const bool whole = buffer.index < mappings_.size() && !(buffer.flags & V4L2_BUF_FLAG_ERROR) &&
                       buffer.bytesused >= needed && mappings_[buffer.index].length >= needed;
    if (whole) {
        const auto* data = static_cast<const std::uint8_t*>(mappings_[buffer.index].address);
        const std::lock_guard<std::mutex> guard(mutex_);
        latest_.assign(data, data + needed);
        changed_.notify_all();
    }
    return Call(fd_, VIDIOC_QBUF, &buffer) == 0;
}

bool DeviceSource::Render(const FrameRequest& request, std::uint8_t* frame) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, kFirstFrame, [this] { return gone_ || !latest_.empty(); });
    if (gone_ || latest_.empty()) return false;
    for (int y = 0; y < request.height; ++y) {
        const std::uint8_t* line = &latest_[static_cast<std::size_t>(y * height_ / request.height) * line_bytes_];
        for (int x = 0; x < request.width; x += 2) {
            // Pixel pairs share their chroma.
            const int left = x * width_ / request.width;
            const int right = std::min((x + 1) * width_ / request.width, width_ - 1);
            const std::uint8_t* chroma = line + static_cast<std::size_t>(left & ~1) * 2;
            *frame++ = line[left * 2];
            *frame++ = chroma[1];
            *frame++ = line[right * 2];
            *frame++ = chroma[3];
        }
    }
    return true;
}

}  // namespace board
