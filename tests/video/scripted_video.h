// A V4L2 device that does as it is told: one node with a name, answers from plain fields, faults by ioctl. It prints
// what it is told.
#pragma once

#include <linux/videodev2.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <map>
#include <string>

#include "tests/support/fake_kernel.h"

namespace support {

class ScriptedVideo final : public FakeKernel {
  public:
    explicit ScriptedVideo(const std::string& name = "Some Camera\n", int id = 3) {
        Put("/sys/class/video4linux/video" + std::to_string(id) + "/name", name);
        Put("/dev/video" + std::to_string(id), "");
        std::filesystem::resize_file(Path("/dev/video" + std::to_string(id)), kBufferStride * (VIDEO_MAX_FRAME + 4));
    }

    std::uint32_t capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_VIDEO_OUTPUT | V4L2_CAP_STREAMING;
    std::uint32_t device_capabilities = 0;  // told when not 0
    std::uint32_t granted = 2;
    std::uint32_t buffer_length = 4096;
    v4l2_queryctrl control{};  // the one control there is, of the value 5
    std::atomic<int> readable{1};
    int writable = 1;
    std::atomic<bool> quiet{false};  // answers without printing, and so without allocating
    int mappings = 0;

    // The `nth` call of `request` and the `times` - 1 after it fail.
    void Fail(unsigned long request, int nth, int error, int times = 1) { m_script[request] = {nth, times, error}; }

    int Ioctl(int fd, unsigned long request, void* argument) override {
        if (!quiet && FakeKernel::Ioctl(fd, request, argument) < 0) return -1;
        if (!quiet) Print(request, argument);
        return Answer(request, argument);
    }
    void* Map(int fd, std::size_t length, off_t offset) override {
        void* base = FakeKernel::Map(fd, length, offset);
        if (base != MAP_FAILED) ++mappings;
        return base;
    }
    int Unmap(void* address, std::size_t length) override {
        --mappings;
        return FakeKernel::Unmap(address, length);
    }
    int WaitReadable(int /*fd*/, std::chrono::milliseconds /*timeout*/) override {
        errno = EIO;
        return readable;
    }
    int WaitWritable(int /*fd*/, std::chrono::milliseconds /*timeout*/) override { return writable; }

  private:
    static constexpr std::uint32_t kBufferStride = 65536;

    struct Script {
        int nth;
        int times;
        int error;
    };

    template <typename T>
    static T& As(void* argument) {
        return *static_cast<T*>(argument);
    }

    // Prints a call that hands something over, with the numbers that its argument begins with.
    static void Print(unsigned long request, void* argument) {
        static constexpr struct {
            unsigned long request;
            const char* name;
            int numbers;
        } kCalls[] = {{VIDIOC_S_FMT, "format", 1},    {VIDIOC_S_PARM, "rate", 5},  {VIDIOC_S_FBUF, "flags", 2},
                      {VIDIOC_G_CROP, "old crop", 1}, {VIDIOC_S_CROP, "crop", 5},  {VIDIOC_S_OUTPUT, "output", 1},
                      {VIDIOC_ENUMOUTPUT, "name", 1}, {VIDIOC_S_CTRL, "set", 2},   {VIDIOC_REQBUFS, "request", 3},
                      {VIDIOC_QUERYBUF, "buffer", 2}, {VIDIOC_QBUF, "queue", 2},   {VIDIOC_DQBUF, "dequeue", 2},
                      {VIDIOC_STREAMON, "on", 1},     {VIDIOC_STREAMOFF, "off", 1}};
        std::string line;
        const auto append = [&line](const void* numbers, int count) {
            for (int i = 0; i < count; ++i)
                line += " " + std::to_string(static_cast<const std::int32_t*>(numbers)[i]);
        };
        for (const auto& call : kCalls) {
            if (call.request != request) continue;
            append(argument, call.numbers);
            if (request == VIDIOC_S_FMT) append(&As<v4l2_format>(argument).fmt, 6);
            std::printf("> %s%s\n", call.name, line.c_str());
        }
    }

    int Answer(unsigned long request, void* argument) {
        const auto script = m_script.find(request);
        if (script != m_script.end() && --script->second.nth < 1 && script->second.times-- > 0) {
            errno = script->second.error;
            return -1;
        }
        errno = EINVAL;
        if (request == VIDIOC_QUERYCTRL && As<v4l2_queryctrl>(argument).id != control.id) return -1;
        if (request == VIDIOC_QUERYCTRL) As<v4l2_queryctrl>(argument) = control;
        if (request == VIDIOC_G_CTRL) As<v4l2_control>(argument).value = 5;
        if (request == VIDIOC_QUERYCAP) {
            auto& answer = As<v4l2_capability>(argument);
            answer.device_caps = device_capabilities;
            answer.capabilities = capabilities | (device_capabilities ? V4L2_CAP_DEVICE_CAPS : 0);
        }
        if (request == VIDIOC_G_FMT) {
            auto& format = As<v4l2_format>(argument);
            format = m_formats.try_emplace(format.type, format).first->second;
        }
        if (request == VIDIOC_S_FMT) m_formats[As<v4l2_format>(argument).type] = As<v4l2_format>(argument);
        if (request == VIDIOC_REQBUFS) As<v4l2_requestbuffers>(argument).count = granted;
        if (request == VIDIOC_QUERYBUF || request == VIDIOC_DQBUF) {
            auto& buffer = As<v4l2_buffer>(argument);
            buffer.length = buffer_length;
            buffer.m.offset = buffer.index * kBufferStride;
        }
        if (request == VIDIOC_ENUMOUTPUT) {
            std::strcpy(reinterpret_cast<char*>(As<v4l2_output>(argument).name), "PxP LCD");
        }
        if (request == VIDIOC_G_OUTPUT) As<int>(argument) = 1;
        if (request == VIDIOC_G_FBUF) As<v4l2_framebuffer>(argument).flags = 1;
        return 0;
    }

    std::map<unsigned long, Script> m_script;
    std::map<std::uint32_t, v4l2_format> m_formats;
};

}  // namespace support
