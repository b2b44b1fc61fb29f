// An open video node of the virtual board, driven by plain V4L2 calls.
#pragma once

#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/mman.h>

#include <cerrno>
#include <chrono>
#include <vector>

#include "sys/kernel.h"

namespace board_test {

class VideoNode {
  public:
    VideoNode(Varno::Kernel& kernel, const char* path, v4l2_buf_type type, int flags = O_RDWR | O_NONBLOCK)
        : kernel_(kernel), type_(type), fd_(kernel.Open(path, flags)) {}
    ~VideoNode() {
        for (const Mapping& mapping : mappings_)
            kernel_.Unmap(mapping.address, mapping.length);
        if (fd_ >= 0) kernel_.Close(fd_);
    }
    VideoNode(const VideoNode&) = delete;
    VideoNode& operator=(const VideoNode&) = delete;

    int Fd() const { return fd_; }
    // 0, or the errno of the failure.
    int Call(unsigned long request, void* argument) { return kernel_.Ioctl(fd_, request, argument) < 0 ? errno : 0; }

    v4l2_format format{};
    int SetFormat(unsigned width, unsigned height, unsigned pixel_format) {
        format = {};
        format.type = type_;
        format.fmt.pix.width = width;
        format.fmt.pix.height = height;
        format.fmt.pix.pixelformat = pixel_format;
        return Call(VIDIOC_S_FMT, &format);
    }
    unsigned granted = 0;
    int Request(unsigned count) {
        v4l2_requestbuffers request{};
        request.count = count;
        request.type = type_;
        request.memory = V4L2_MEMORY_MMAP;
        const int error = Call(VIDIOC_REQBUFS, &request);
        granted = request.count;
        return error;
    }
    v4l2_buffer buffer{};
    int Buffer(unsigned long request, unsigned index = 0) {
        buffer = {};
        buffer.index = index;
        buffer.type = type_;
        buffer.memory = V4L2_MEMORY_MMAP;
        return Call(request, &buffer);
    }
    int Stream(bool on) {
        int type = type_;
        return Call(on ? VIDIOC_STREAMON : VIDIOC_STREAMOFF, &type);
    }
    unsigned char* Map(unsigned index) {
        if (Buffer(VIDIOC_QUERYBUF, index)) return nullptr;
        void* address = kernel_.Map(fd_, buffer.length, buffer.m.offset);
        if (address == MAP_FAILED) return nullptr;
        mappings_.push_back({address, buffer.length});
        return static_cast<unsigned char*>(address);
    }
    // Formatted, one buffer mapped and queued, streaming.
    unsigned char* Start(unsigned width, unsigned height, unsigned pixel_format) {
        if (SetFormat(width, height, pixel_format) || Request(1)) return nullptr;
        unsigned char* data = Map(0);
        return Buffer(VIDIOC_QBUF) || Stream(true) ? nullptr : data;
    }
    int Control(unsigned id, int value) {
        v4l2_control control{id, value};
        return Call(VIDIOC_S_CTRL, &control);
    }
    // As WaitReadable answers.
    int Wait(int milliseconds) { return kernel_.WaitReadable(fd_, std::chrono::milliseconds(milliseconds)); }

  private:
    struct Mapping {
        void* address;
        std::size_t length;
    };

    Varno::Kernel& kernel_;
    const v4l2_buf_type type_;
    const int fd_;
    std::vector<Mapping> mappings_;
};

}  // namespace board_test
