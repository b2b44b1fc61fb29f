// CV4L2_VideoCtrl: overlay, crop and outputs of a display device.
#include <cerrno>
#include <cstdio>

#include "video/v4l2_video_ctrl.h"

namespace {

// The display pipe's private control that switches its overlay on.
constexpr unsigned kOverlayControl = V4L2_CID_PRIVATE_BASE + 3;

v4l2_format OverlayFormat() {
    v4l2_format format{};
    format.type = V4L2_BUF_TYPE_VIDEO_OUTPUT_OVERLAY;
    return format;
}

void PrintWindow(const char* prefix, const v4l2_window& window) {
    std::printf("%sRect left:%d, top:%d, width:%d, height:%d\n", prefix, window.w.left, window.w.top,
                static_cast<int>(window.w.width), static_cast<int>(window.w.height));
    std::printf("%sField = %d\n", prefix, static_cast<int>(window.field));
    std::printf("%schromakey = %d\n", prefix, static_cast<int>(window.chromakey));
}

void PrintOverlay(const v4l2_window& window) {
    std::printf("chromakey:0x%04X, global_alpha:0x%x, field:%d, xy(%d,%d), wh(%dx%d)\n", window.chromakey,
                window.global_alpha, static_cast<int>(window.field), window.w.left, window.w.top,
                static_cast<int>(window.w.width), static_cast<int>(window.w.height));
}

void PrintCrop(const char* what, const v4l2_rect& rect) {
    std::printf("%s CROP: xy(%d,%d) wh(%dx%d)\n", what, rect.left, rect.top, static_cast<int>(rect.width),
                static_cast<int>(rect.height));
}

bool SameRect(const v4l2_rect& a, const v4l2_rect& b) {
    return a.left == b.left && a.top == b.top && a.width == b.width && a.height == b.height;
}

bool SameOverlay(const v4l2_window& a, const v4l2_window& b) {
    return a.field == b.field && SameRect(a.w, b.w) && a.chromakey == b.chromakey && a.global_alpha == b.global_alpha;
}

}  // namespace

bool CV4L2_VideoCtrl::SetV4L2WinFormat(v4l2_buf_type type, const v4l2_window& win) {
    if (type != V4L2_BUF_TYPE_VIDEO_OUTPUT_OVERLAY && type != V4L2_BUF_TYPE_VIDEO_OVERLAY) return false;
    v4l2_format format{};
    format.type = type;
    if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_G_FMT, &format) < 0) {
        std::printf("get format failed\n");
        return false;
    }
    PrintWindow("", format.fmt.win);
    format.fmt.win.w = win.w;
    format.fmt.win.field = win.field;
    if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_S_FMT, &format) < 0) {
        std::printf("Unable to set format: %d.\n", errno);
        return false;
    }
    v4l2_ioctl(m_nV4L2_fd, VIDIOC_G_FMT, &format);
    PrintWindow("Set ", format.fmt.win);
    return true;
}

bool CV4L2_VideoCtrl::SetOutput_Overlay(const v4l2_window& win) {
    if (!IsOpened()) return false;
    v4l2_format format = OverlayFormat();
    if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_G_FMT, &format) < 0) {
        std::printf("Error opening device %s: unable to VIDIOC_G_FMT.\n", m_strDevName.c_str());
        return false;
    }
    format.fmt.win.field = win.field;
    format.fmt.win.w = win.w;
    format.fmt.win.chromakey = win.chromakey;
    format.fmt.win.global_alpha = win.global_alpha;
    if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_S_FMT, &format) < 0) {
        std::printf("Error opening device %s: unable to VIDIOC_S_FMT.\n", m_strDevName.c_str());
    }
    v4l2_format taken = OverlayFormat();
    v4l2_ioctl(m_nV4L2_fd, VIDIOC_G_FMT, &taken);
    PrintOverlay(win);
    PrintOverlay(taken.fmt.win);
    if (SameOverlay(win, taken.fmt.win)) return true;
    std::printf("Device(%s) Error: SetOutput_Overlay\n", m_strDevName.c_str());
    return false;
}

bool CV4L2_VideoCtrl::SetFBuf_Overlay() {
    if (!IsOpened()) return false;
    v4l2_framebuffer frame_buffer{};
    if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_G_FBUF, &frame_buffer) < 0) {
        std::printf("Error opening device %s: VIDIOC_G_FBUF.\n", m_strDevName.c_str());
        return false;
    }
    std::printf("PXP overlay 0: flag=0x%04X\n", frame_buffer.flags);
    frame_buffer.flags |= V4L2_FBUF_FLAG_OVERLAY | V4L2_FBUF_FLAG_CHROMAKEY;
    if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_S_FBUF, &frame_buffer) < 0) {
        std::printf("Error opening device %s: VIDIOC_S_FBUF.\n", m_strDevName.c_str());
        return false;
    }
    WriteControl(kOverlayControl, 1);
    return true;
}

bool CV4L2_VideoCtrl::SetOutput_Crop(const v4l2_crop& crop) {
    v4l2_crop current{};
    current.type = V4L2_BUF_TYPE_VIDEO_OUTPUT_OVERLAY;
    if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_G_CROP, &current) < 0) {
        std::printf("Error opening device %s: unable to VIDIOC_G_CROP.\n", m_strDevName.c_str());
    } else {
        PrintCrop("Get", current.c);
    }
    current.type = V4L2_BUF_TYPE_VIDEO_OUTPUT_OVERLAY;
    current.c = crop.c;
    if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_S_CROP, &current) < 0) {
        // The words are those of the query: log readers look for them.
        std::printf("Error opening device %s: unable to VIDIOC_G_CROP.\n", m_strDevName.c_str());
        return false;
    }
    v4l2_ioctl(m_nV4L2_fd, VIDIOC_G_CROP, &current);
    PrintCrop("Set", current.c);
    return true;
}

bool CV4L2_VideoCtrl::SetOutput_ID(int id) {
    const std::lock_guard<std::recursive_mutex> lock(m_deviceLock);
    if (!IsOpened()) return false;
    std::printf("Setout id: %d\n", id);
    int selected = id;
    if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_S_OUTPUT, &selected) < 0) {
        std::printf("Error opening device %s: unable to VIDIOC_S_OUTPUT.\n", m_strDevName.c_str());
    }
    v4l2_output output{};
    output.index = static_cast<unsigned>(id);
    if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_ENUMOUTPUT, &output) < 0) {
        std::printf("Error opening device %s: unable to VIDIOC_ENUMOUTPUT.\n", m_strDevName.c_str());
    }
    constexpr int kNameSize = sizeof output.name;
    std::printf("Set output to %.*s\n", kNameSize, reinterpret_cast<const char*>(output.name));
    return true;
}

int CV4L2_VideoCtrl::GetOutput() {
    const std::lock_guard<std::recursive_mutex> lock(m_deviceLock);
    if (!IsOpened()) return 0;
    int selected = -1;
    if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_G_OUTPUT, &selected) < 0) {
        std::printf("Error opening device %s: unable to VIDIOC_S_OUTPUT.\n", m_strDevName.c_str());
    }
    return selected;
}
