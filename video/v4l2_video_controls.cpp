// CV4L2_VideoCtrl: device controls. Their errors go to standard error.
#include <cerrno>
#include <cstdio>

#include "video/v4l2_video_ctrl.h"

namespace {

v4l2_control Control(int id, int value) {
    v4l2_control control{};
    control.id = static_cast<std::uint32_t>(id);
    control.value = value;
    return control;
}

}  // namespace

int CV4L2_VideoCtrl::isv4l2Control(int id, v4l2_queryctrl* query) {
    const std::lock_guard<std::recursive_mutex> lock(m_deviceLock);
    *query = {};
    query->id = static_cast<std::uint32_t>(id);
    if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_QUERYCTRL, query) < 0) {
        std::fprintf(stderr, "ioctl querycontrol error %d \n", errno);
        return -1;
    }
    constexpr int kNameSize = sizeof query->name;
    const char* name = reinterpret_cast<const char*>(query->name);
    if (query->flags & V4L2_CTRL_FLAG_DISABLED) {
        std::fprintf(stderr, "control %.*s disabled \n", kNameSize, name);
        return -1;
    }
    // Bits of the enumerated type are meant: a menu (3) counts as boolean, 64-bit integers (5) as integers.
    if (query->type & V4L2_CTRL_TYPE_BOOLEAN) return 1;
    if (query->type & V4L2_CTRL_TYPE_INTEGER) return 0;
    std::fprintf(stderr, "contol %.*s unsupported. Query flags:0x%08x, type:%d\n", kNameSize, name, query->flags,
                 static_cast<int>(query->type));
    return -1;
}

int CV4L2_VideoCtrl::GetControlValue(int id, int& value) {
    const std::lock_guard<std::recursive_mutex> lock(m_deviceLock);
    v4l2_queryctrl query;
    if (isv4l2Control(id, &query) < 0) return -1;
    v4l2_control control = Control(id, 0);
    if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_G_CTRL, &control) < 0) {
        std::fprintf(stderr, "ioctl get control error\n");
        return -1;
    }
    value = control.value;
    return 0;
}

int CV4L2_VideoCtrl::SetControlValue(int id, int& value) {
    const std::lock_guard<std::recursive_mutex> lock(m_deviceLock);
    v4l2_queryctrl query;
    if (isv4l2Control(id, &query) < 0) return -1;
    if (value < query.minimum || value > query.maximum) return 0;
    v4l2_control control = Control(id, value);
    if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_S_CTRL, &control) < 0) {
        std::fprintf(stderr, "ioctl set control error(%d)\n", errno);
        return -1;
    }
    return GetControlValue(id, value);
}

int CV4L2_VideoCtrl::ResetControl(int id) {
    const std::lock_guard<std::recursive_mutex> lock(m_deviceLock);
    v4l2_queryctrl query;
    if (isv4l2Control(id, &query) < 0) return -1;
    v4l2_control control = Control(id, query.default_value);
    if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_S_CTRL, &control) < 0) {
        std::fprintf(stderr, "ioctl reset control error\n");
        return -1;
    }
    return 0;
}

bool CV4L2_VideoCtrl::GetControlValueMaxMin(int id, int& max, int& min) {
    const std::lock_guard<std::recursive_mutex> lock(m_deviceLock);
    v4l2_queryctrl query;
    if (isv4l2Control(id, &query) < 0) return false;
    v4l2_control control = Control(id, 0);
    if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_G_CTRL, &control) < 0) {
        std::fprintf(stderr, "ioctl get control error\n");
        return false;
    }
    max = query.maximum;
    min = query.minimum;
    return true;
}

bool CV4L2_VideoCtrl::WriteControl(unsigned id, int value) {
    const std::lock_guard<std::recursive_mutex> lock(m_deviceLock);
    v4l2_control control = Control(static_cast<int>(id), value);
    return v4l2_ioctl(m_nV4L2_fd, VIDIOC_S_CTRL, &control) >= 0;
}
