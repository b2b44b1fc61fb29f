#include "bench/device/device_kernel.h"

#include <fcntl.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace device {
namespace {

// Descriptors of devices, beyond those of files.
enum Node { kCamera = 5000, kPipeline, kWatchdog, kRtc, kOtg };

constexpr int kNoPc = 1;  // the OTG port's answer
constexpr ssize_t kFrameBytes = 320 * 240 * 2;
constexpr std::time_t kStart = 1715947200;  // 2024-05-17 12:00:00 UTC

bool StartsWith(const char* text, const char* prefix) {
    return std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

int Fail(int error) {
    errno = error;
    return -1;
}

}  // namespace

DeviceKernel::DeviceKernel(std::string root) : m_turns(Turns::Instance()), m_root(std::move(root)) {
    Varno::InstallKernel(*this);
}

void DeviceKernel::PlugCamera(bool plugged) {
    m_plugged = plugged;
    const std::string name = Path("/sys/class/video4linux/video0/name");
    if (plugged) {
        rename((name + ".away").c_str(), name.c_str());
    } else {
        rename(name.c_str(), (name + ".away").c_str());
    }
}

void DeviceKernel::FailCamera(unsigned long request, int error, int times) {
    m_faults[request] = {error, times};
}

int DeviceKernel::Open(const char* path, int flags, mode_t mode) {
    if (!StartsWith(path, "/dev/")) return open(Path(path).c_str(), flags | O_CLOEXEC, mode);
    const char* const name = path + sizeof "/dev/" - 1;
    if (std::strcmp(name, "video0") == 0) return m_plugged ? kCamera : Fail(ENOENT);
    if (std::strcmp(name, "video16") == 0) {
        m_turns.NameThread("stack-distribution");
        return kPipeline;
    }
    if (std::strcmp(name, "rtc0") == 0) return kRtc;
    if (std::strcmp(name, "fsl_otg") == 0) return kOtg;
    if (std::strcmp(name, "watchdog") != 0) return Fail(ENOENT);
    if (on_watchdog_opened) on_watchdog_opened();
    return kWatchdog;
}

int DeviceKernel::Close(int fd) {
    return fd >= kCamera ? 0 : close(fd);
}

ssize_t DeviceKernel::Write(int fd, const struct iovec* parts, int count) {
    m_turns.NameThread("stack-writer");
    if (m_media_full) return Fail(ENOSPC);
    const ssize_t written = writev(fd, parts, count);
    if (written > kFrameBytes) ++m_frames_written;
    return written;
}

int DeviceKernel::Ioctl(int fd, unsigned long request, void* argument) {
    if (fd == kPipeline) return VideoIoctl(m_pipeline, request, argument);
    if (fd == kOtg) return kNoPc;
    if (fd != kCamera) return 0;
    if (!m_plugged) return Fail(ENODEV);
    if (!m_faults.empty()) {
        const auto fault = m_faults.find(request);
        if (fault != m_faults.end() && fault->second.times-- > 0) return Fail(fault->second.error);
    }
    return VideoIoctl(m_camera, request, argument);
}

int DeviceKernel::VideoIoctl(VideoNode& node, unsigned long request, void* argument) {
    switch (request) {
        case VIDIOC_QBUF:
            ++node.queued;
            return 0;
        case VIDIOC_DQBUF:
        case VIDIOC_QUERYBUF: {
            auto& buffer = *static_cast<v4l2_buffer*>(argument);
            const v4l2_pix_format& picture = node.formats[buffer.type].fmt.pix;
            buffer.length = picture.width * picture.height * 2;
            return 0;
        }
        case VIDIOC_G_OUTPUT:
            *static_cast<int*>(argument) = node.output;
            return 0;
        case VIDIOC_S_OUTPUT:
            node.output = *static_cast<const int*>(argument);
            return 0;
        case VIDIOC_QUERYCAP: {
            auto& answer = *static_cast<v4l2_capability*>(argument);
            answer.capabilities =
                V4L2_CAP_STREAMING | (&node == &m_camera ? V4L2_CAP_VIDEO_CAPTURE : V4L2_CAP_VIDEO_OUTPUT);
            return 0;
        }
        case VIDIOC_G_FMT: {
            auto& format = *static_cast<v4l2_format*>(argument);
            const std::uint32_t type = format.type;
            format = node.formats[type];
            format.type = type;
            return 0;
        }
        case VIDIOC_S_FMT: {
            const auto& format = *static_cast<const v4l2_format*>(argument);
            node.formats[format.type] = format;
            return 0;
        }
        case VIDIOC_QUERYCTRL: {
            auto& control = *static_cast<v4l2_queryctrl*>(argument);
            control.type = V4L2_CTRL_TYPE_INTEGER;
            control.flags = 0;
            control.minimum = 0;
            control.maximum = 255;
            return 0;
        }
        default:
            return 0;
    }
}

void* DeviceKernel::Map(int fd, std::size_t length, off_t /*offset*/) {
    // Black throughout: what is in a picture makes no difference to the work on live frames.
    VideoNode& node = fd == kPipeline ? m_pipeline : m_camera;
    if (node.memory.size() < length) node.memory.resize(length);
    return node.memory.data();
}

int DeviceKernel::WaitReadable(int fd, std::chrono::milliseconds timeout) {
    if (fd != kCamera) return 1;
    m_turns.NameThread("stack-capture");
    const auto deadline = m_turns.Now() + timeout;
    m_turns.SleepUntil(std::min(deadline, m_last_frame + kFrameTime));
    if (!m_plugged) return Fail(ENODEV);
    const auto since = m_turns.Now() - m_last_frame;
    m_last_frame += since / kFrameTime * kFrameTime;
    return since >= kFrameTime ? 1 : 0;
}

int DeviceKernel::System(const char* /*command*/) {
    return m_use_stack ? m_linux.System("true") : 0;
}

int DeviceKernel::Exec(const char* /*file*/, char* const* /*arguments*/) {
    return Fail(ENOENT);
}

int DeviceKernel::StatFs(const char* /*path*/, struct statfs* result) {
    if (m_use_stack) m_linux.StatFs(".", result);
    result->f_bsize = 32768;
    result->f_bavail = 100000;
    return 0;
}

std::timespec DeviceKernel::RealTime() {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(m_turns.Now());
    std::timespec now{};
    now.tv_sec = kStart + static_cast<std::time_t>(seconds.count());
    now.tv_nsec = static_cast<long>((m_turns.Now() - seconds).count());
    return now;
}

std::string DeviceKernel::Path(const std::string& path) {
    return path[0] == '/' ? m_root + path : path;
}

}  // namespace device
