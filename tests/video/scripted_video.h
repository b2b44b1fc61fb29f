// A V4L2 device that does as it is told: one node with a name, answers from plain fields, and faults by ioctl.
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
        on_ioctl = [this](const std::string&, unsigned long request, void* argument) {
            return Answer(request, argument);
        };
    }

    std::uint32_t capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_VIDEO_OUTPUT | V4L2_CAP_STREAMING;
    std::uint32_t device_capabilities = 0;  // told when not 0
    std::uint32_t granted = 2;
    std::uint32_t buffer_length = 4096;
    v4l2_pix_format answered_format{};  // answers to VIDIOC_S_FMT; what was asked for while empty
    v4l2_queryctrl control{};           // the one control there is
    int control_value = 0;
    int writable = 1;
    std::atomic<bool> quiet{false};  // answers without recording, and so without allocating
    int mappings = 0;

    // The `nth` call of `request` and the `times` - 1 after it fail.
    void Fail(unsigned long request, int nth, int error, int times = 1) { m_script[request] = {nth, times, error}; }

    int Ioctl(int fd, unsigned long request, void* argument) override {
        return quiet ? Answer(request, argument) : FakeKernel::Ioctl(fd, request, argument);
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
    int WaitReadable(int /*fd*/, std::chrono::milliseconds /*timeout*/) override { return 1; }
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

    int Answer(unsigned long request, void* argument) {
        const auto script = m_script.find(request);
        if (script != m_script.end() && --script->second.nth < 1 && script->second.times-- > 0) {
            errno = script->second.error;
            return -1;
        }
        if (request == VIDIOC_QUERYCTRL && As<v4l2_queryctrl>(argument).id != control.id) {
            errno = EINVAL;
            return -1;
        }
        if (request == VIDIOC_QUERYCTRL) As<v4l2_queryctrl>(argument) = control;
        if (request == VIDIOC_G_CTRL) As<v4l2_control>(argument).value = control_value;
        if (request == VIDIOC_S_CTRL) control_value = As<v4l2_control>(argument).value;
        if (request == VIDIOC_QUERYCAP) TellCapabilities(As<v4l2_capability>(argument));
        if (request == VIDIOC_G_FMT || request == VIDIOC_S_FMT) {
            Format(As<v4l2_format>(argument), request == VIDIOC_S_FMT);
        }
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

    void TellCapabilities(v4l2_capability& answer) const {
        answer.device_caps = device_capabilities;
        answer.capabilities = capabilities | (device_capabilities ? V4L2_CAP_DEVICE_CAPS : 0);
    }

    void Format(v4l2_format& format, bool set) {
        if (!set) {
            format = m_formats.try_emplace(format.type, format).first->second;
            return;
        }
        if (format.type != V4L2_BUF_TYPE_VIDEO_OUTPUT_OVERLAY && answered_format.width)
            format.fmt.pix = answered_format;
        m_formats[format.type] = format;
    }

    std::map<unsigned long, Script> m_script;
    std::map<std::uint32_t, v4l2_format> m_formats;
};

}  // namespace support
