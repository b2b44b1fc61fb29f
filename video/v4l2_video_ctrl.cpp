#include "video/v4l2_video_ctrl.h"

#include <dirent.h>
#include <fcntl.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "sys/kernel.h"
#include "sys/storage.h"

namespace {

constexpr char kClassDirectory[] = "/sys/class/video4linux";
constexpr char kNodePrefix[] = "video";
constexpr std::size_t kNodePrefixLength = sizeof kNodePrefix - 1;
constexpr std::size_t kPublishedNameSize = 32;
// What the driver needs after a close before the device can be opened again.
constexpr std::chrono::milliseconds kSettleTime{100};

// The time in a buffer decides on the numbers of the buffer calls: with 64 bits of it, a 32-bit board would need a
// kernel of 5.6 or newer.
static_assert(sizeof(void*) != 4 || sizeof(v4l2_buffer) == 68, "32-bit programs are built with a time_t of 32 bits");

// Whether the device of this directory entry publishes a name that contains `name`.
bool PublishesName(const std::string& entry, const std::string& name) {
    const std::string path = std::string(kClassDirectory) + "/" + entry + "/name";
    std::FILE* file = std::fopen(Varno::kernel().Path(path).c_str(), "re");
    if (!file) return false;
    char text[kPublishedNameSize];
    const std::size_t length = std::fread(text, 1, sizeof text, file);
    std::fclose(file);
    return length > 0 && std::string(text, length).find(name) != std::string::npos;
}

// What the opened node itself can do; `capabilities` alone would count in the device's other nodes.
std::uint32_t NodeCapabilities(const v4l2_capability& capability) {
    return capability.capabilities & V4L2_CAP_DEVICE_CAPS ? capability.device_caps : capability.capabilities;
}

}  // namespace

CV4L2_VideoCtrl::CV4L2_VideoCtrl(unsigned shouldHaveCap) : m_nShouldHaveCap(shouldHaveCap) {}

CV4L2_VideoCtrl::~CV4L2_VideoCtrl() {
    Close();
    std::printf("CV4L2_VideoCtrl::~CV4L2_VideoCtrl\n");
}

bool CV4L2_VideoCtrl::Open(const std::string& name, bool blocking) {
    if (IsOpened()) Close();
    DIR* directory = opendir(Varno::kernel().Path(kClassDirectory).c_str());
    if (!directory) {
        std::printf("ERROR(%s): open %s.\n", std::strerror(errno), kClassDirectory);
        return false;
    }
    bool opened = false;
    while (const dirent* entry = opened ? nullptr : readdir(directory)) {
        const std::string node = entry->d_name;
        if (node.compare(0, kNodePrefixLength, kNodePrefix) != 0) continue;
        if (!name.empty() && !PublishesName(node, name)) continue;
        const int id = static_cast<int>(std::strtol(node.c_str() + kNodePrefixLength, nullptr, 10));
        if (!InitV4LVideoDevice(id, blocking)) continue;
        std::printf("Opened V4L2ID = %d\n", id);
        m_nVideo_ID = id;
        opened = true;
    }
    closedir(directory);
    return opened;
}

bool CV4L2_VideoCtrl::InitV4LVideoDevice(int id, bool blocking) {
    const std::lock_guard<std::recursive_mutex> lock(m_deviceLock);
    m_strDevName = std::string("/dev/") + kNodePrefix + std::to_string(id);
    m_nV4L2_fd = Varno::kernel().Open(m_strDevName.c_str(), blocking ? O_RDWR : O_RDWR | O_NONBLOCK);
    if (m_nV4L2_fd < 0) {
        std::printf("ERROR:(%s) opening V4L interface %s\n", std::strerror(errno), m_strDevName.c_str());
        return false;
    }
    m_v4l2_Capability = {};
    v4l2_ioctl(m_nV4L2_fd, VIDIOC_QUERYCAP, &m_v4l2_Capability);
    const std::uint32_t capabilities = NodeCapabilities(m_v4l2_Capability);
    if (!(capabilities & m_nShouldHaveCap)) {
        std::printf("Error opening device %s: video capabilities not supported.\n", m_strDevName.c_str());
        CloseDevice();
        return false;
    }
    if (!(capabilities & V4L2_CAP_STREAMING)) {
        std::printf("%s does not support streaming i/o\n", m_strDevName.c_str());
        CloseDevice();
        return false;
    }
    return true;
}

void CV4L2_VideoCtrl::CloseDevice() {
    const std::lock_guard<std::recursive_mutex> lock(m_deviceLock);
    Varno::kernel().Close(m_nV4L2_fd);
    m_nV4L2_fd = -1;
}

void CV4L2_VideoCtrl::Close() {
    if (m_bIsstreaming) DisableStream(m_v4l_buf_type, 1);
    // After a refused start of the stream: a mapping that stays would keep the closed device busy.
    if (GetStreamBufferSize() > 0) ClearStreamBufferList();
    if (IsOpened()) {
        std::printf("Closing %s\n", m_strDevName.c_str());
        CloseDevice();
        Varno::ReleaseVMCache(Varno::K_CACHE_PAGE);
        Varno::kernel().Sleep(kSettleTime);
    }
    m_bIsstreaming = false;
}

int CV4L2_VideoCtrl::v4l2_ioctl(int fd, unsigned long request, void* argument) {
    return Varno::kernel().Ioctl(fd, request, argument);
}

bool CV4L2_VideoCtrl::SetV4L2PixFormat(v4l2_buf_type type, const v4l2_pix_format& pix) {
    if (type != V4L2_BUF_TYPE_VIDEO_CAPTURE && type != V4L2_BUF_TYPE_VIDEO_OUTPUT && type != V4L2_BUF_TYPE_PRIVATE) {
        return false;
    }
    m_v4l2_Format = {};
    v4l2_format format{};
    format.type = type;
    if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_G_FMT, &format) < 0) {
        std::printf("get format failed\n");
        return false;
    }
    m_v4l2_Format = format;

    format = {};
    format.type = type;
    format.fmt.pix.width = pix.width;
    format.fmt.pix.height = pix.height;
    format.fmt.pix.pixelformat = pix.pixelformat;
    format.fmt.pix.field = pix.field;
    if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_S_FMT, &format) < 0) {
        std::printf("Unable to set format: %d.\n", errno);
        return false;
    }
    m_v4l2_Format = format;

    const v4l2_pix_format& answer = format.fmt.pix;
    if (answer.width != pix.width || answer.height != pix.height) {
        const std::lock_guard<std::recursive_mutex> lock(m_deviceLock);
        m_nWidth = answer.width;
        m_nHeight = answer.height;
        std::printf(" format asked unavailable get width %d height %d src(%dx%d)\n", static_cast<int>(answer.width),
                    static_cast<int>(answer.height), static_cast<int>(answer.width), static_cast<int>(answer.height));
    }
    return true;
}

bool CV4L2_VideoCtrl::SetV4L2Framerate(unsigned fps) {
    v4l2_streamparm parameters{};
    parameters.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;  // whatever the stream's type is
    parameters.parm.capture.timeperframe.numerator = 1;
    parameters.parm.capture.timeperframe.denominator = fps;
    if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_S_PARM, &parameters) < 0) {
        std::printf("Unable to VIDIOC_S_PARM: %d.\n", errno);
        return false;
    }
    return true;
}
