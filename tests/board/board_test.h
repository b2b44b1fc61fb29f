// A virtual board and its devices, driven by plain system calls.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/videodev2.h>
#include <sys/mman.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <thread>

#include "tests/support/virtual_board.h"

namespace board_test {

using Words = std::vector<std::string>;
using Errors = std::vector<int>;

// 0, or the errno of the failure.
inline int Call(int fd, unsigned long request, void* argument) {
    return Varno::kernel().Ioctl(fd, request, argument) < 0 ? errno : 0;
}

class BoardTest : public testing::Test {
  protected:
    // Exit status, as the shell gives it.
    int Run(const std::string& command) { return kernel.System(command.c_str()) >> 8; }
    int Open(const std::string& path, int flags = O_WRONLY | O_CREAT) { return kernel.Open(path.c_str(), flags, 0644); }
    // 0, or the errno of the failure.
    int Write(int fd, std::size_t bytes) {
        std::string data(bytes, 'x');
        const struct iovec part = {data.data(), data.size()};
        return kernel.Write(fd, &part, 1) < 0 ? errno : 0;
    }
    // The media that are mounted, as the device's system tells.
    std::string Mounts() {
        const std::string table = board.Read("/proc/mounts");
        const auto find = [&](const char* line, std::string name) { return table.find(line) + 1 ? name : ""; };
        return find("/dev/mmcblk0p1 /media/sd-mmcblk0p1 vfat rw,", "card ") +
               find("/dev/mmcblk0p1 /media/sd-mmcblk0p1 vfat ro,", "locked card ") +
               find("/dev/loop0 /media/nand vfat rw,", "nand");
    }
    // Runs `call` on a thread that may sleep on the clock, and moves the clock until it answers.
    int Answer(const std::function<int()>& call) {
        std::atomic<int> answer{-1};
        std::thread thread([&] { answer = call(); });
        EXPECT_TRUE(board.Clock().RunUntil([&] { return answer >= 0; }, std::chrono::seconds(5)));
        thread.join();
        return answer;
    }
    void Advance(int milliseconds) { board.Clock().Advance(std::chrono::milliseconds(milliseconds)); }
    long Now() { return board.Clock().Monotonic() / std::chrono::milliseconds(1); }

    support::VirtualBoard board;
    board::VirtualKernel& kernel = board.Kernel();
};

// An open video node. Calls answer 0, or the errno of the failure.
class VideoNode {
  public:
    VideoNode(const char* path, v4l2_buf_type type, int flags = O_RDWR | O_NONBLOCK)
        : type_(type), fd(Varno::kernel().Open(path, flags)) {}
    ~VideoNode() {
        for (const auto& [address, length] : mappings_)
            Varno::kernel().Unmap(address, length);
        if (fd >= 0) Varno::kernel().Close(fd);
    }
    VideoNode(const VideoNode&) = delete;
    VideoNode& operator=(const VideoNode&) = delete;

    int Call(unsigned long request, void* argument) { return board_test::Call(fd, request, argument); }
    int Format(unsigned long request, unsigned width = 0, unsigned height = 0, unsigned pixel_format = 0) {
        v4l2_format format{};
        format.type = type_;
        std::tie(format.fmt.pix.width, format.fmt.pix.height, format.fmt.pix.pixelformat) =
            std::tie(width, height, pixel_format);
        const int error = Call(request, &format);
        const v4l2_pix_format& got = format.fmt.pix;
        picture = {got.width, got.height, got.pixelformat, got.sizeimage};
        return error;
    }
    int Request(unsigned count) {
        v4l2_requestbuffers request{count, type_, V4L2_MEMORY_MMAP, 0, 0, {}};
        return Call(VIDIOC_REQBUFS, &request);
    }
    int Buffer(unsigned long request, unsigned index = 0) {
        buffer = {};
        std::tie(buffer.index, buffer.type) = std::tuple(index, type_);
        buffer.memory = V4L2_MEMORY_MMAP;
        return Call(request, &buffer);
    }
    int Stream(bool on) {
        int type = type_;
        return Call(on ? VIDIOC_STREAMON : VIDIOC_STREAMOFF, &type);
    }
    // Null on failure.
    unsigned char* Map(unsigned index) {
        if (Buffer(VIDIOC_QUERYBUF, index)) return nullptr;
        void* address = Varno::kernel().Map(fd, buffer.length, buffer.m.offset);
        mappings_.emplace_back(address, buffer.length);
        return address == MAP_FAILED ? nullptr : static_cast<unsigned char*>(address);
    }
    // Formatted to 320x240, one buffer mapped and queued, streaming. The buffer, or null.
    unsigned char* Start(unsigned pixel_format) {
        if (Format(VIDIOC_S_FMT, 320, 240, pixel_format) || Request(1)) return nullptr;
        unsigned char* data = Map(0);
        return Buffer(VIDIOC_QBUF) || Stream(true) ? nullptr : data;
    }
    int Control(unsigned id, int value) {
        v4l2_control control{id, value};
        return Call(VIDIOC_S_CTRL, &control);
    }
    // As select(2) answers.
    int Wait() { return Varno::kernel().WaitReadable(fd, std::chrono::seconds(1)); }

  private:
    const v4l2_buf_type type_;
    std::vector<std::pair<void*, std::size_t>> mappings_;

  public:
    const int fd;
    v4l2_buffer buffer{};               // of the last call with one
    std::array<unsigned, 4> picture{};  // of the last format: width, height, code, bytes
};

}  // namespace board_test
