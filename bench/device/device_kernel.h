// A kernel with the board's devices that costs next to nothing itself.
#pragma once

#include <linux/videodev2.h>

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "bench/device/turns.h"
#include "sys/kernel_linux.h"

namespace device {

constexpr std::chrono::nanoseconds kFrameTime{33333333};

// The camera delivers 30 frames a second, the pixel pipeline takes every buffer at once, files lie under `root`, and
// whoever sleeps gives the turn to another thread. What a call does here is counted with the program's own work: a
// switch and a few assignments.
class DeviceKernel final : public Varno::Kernel {
  public:
    explicit DeviceKernel(std::string root);

    // The camera as it is from now on. Unplugged, it takes its node along.
    void PlugCamera(bool plugged);
    // The next calls of `request` on the camera fail with `error`.
    void FailCamera(unsigned long request, int error, int times);
    // From now on writing fails for want of space.
    void FillMedia() { m_media_full = true; }
    // From now on shell commands and questions for space also go through the board's own kernel, for the stack they
    // take.
    void UseStack() { m_use_stack = true; }
    // Called when the program opens the watchdog, which its first tick does first of all.
    void (*on_watchdog_opened)() = nullptr;
    // Frames that were given to the pixel pipeline and to files so far.
    int FramesShown() const { return m_pipeline.queued; }
    int FramesWritten() const { return m_frames_written; }

    int Open(const char* path, int flags, mode_t mode) override;
    int Close(int fd) override;
    ssize_t Write(int fd, const struct iovec* parts, int count) override;
    int Flush(int /*fd*/) override { return 0; }
    int Ioctl(int fd, unsigned long request, void* argument) override;
    void* Map(int fd, std::size_t length, off_t offset) override;
    int Unmap(void* /*address*/, std::size_t /*length*/) override { return 0; }
    int WaitReadable(int fd, std::chrono::milliseconds timeout) override;
    int WaitWritable(int /*fd*/, std::chrono::milliseconds /*timeout*/) override { return 1; }
    int System(const char* command) override;
    int Exec(const char* file, char* const arguments[]) override;
    int StatFs(const char* path, struct statfs* result) override;
    void Sync() override {}
    std::timespec RealTime() override;
    int SetRealTime(const std::timespec& /*now*/) override { return 0; }
    std::chrono::nanoseconds Monotonic() override { return m_turns.Now(); }
    void Sleep(std::chrono::nanoseconds duration) override { m_turns.SleepUntil(m_turns.Now() + duration); }
    std::string Path(const std::string& path) override;

  private:
    struct Fault {
        int error;
        int times;
    };
    struct VideoNode {
        v4l2_format formats[V4L2_BUF_TYPE_META_OUTPUT + 1] = {};
        int output = 1;
        int queued = 0;  // buffers so far
        std::vector<unsigned char> memory;
    };

    int VideoIoctl(VideoNode& node, unsigned long request, void* argument);

    Turns& m_turns;
    const std::string m_root;
    VideoNode m_camera;
    VideoNode m_pipeline;
    bool m_plugged = true;
    bool m_media_full = false;
    bool m_use_stack = false;
    Varno::LinuxKernel m_linux;
    int m_frames_written = 0;
    Turns::Time m_last_frame{0};
    std::map<unsigned long, Fault> m_faults;
};

}  // namespace device
