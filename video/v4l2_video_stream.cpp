// CV4L2_VideoCtrl: streaming buffers.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "video/v4l2_video_ctrl.h"

namespace {

constexpr int kStreamAttempts = 4;

v4l2_buffer MappedBuffer(v4l2_buf_type type, unsigned index) {
    v4l2_buffer buffer{};
    buffer.index = index;
    buffer.type = type;
    buffer.memory = V4L2_MEMORY_MMAP;
    return buffer;
}

}  // namespace

bool CV4L2_VideoCtrl::RequestV4L2StreamBuffer(const v4l2_buf_type& type, const unsigned& count) {
    v4l2_requestbuffers request{};
    request.count = count;
    request.type = type;
    request.memory = V4L2_MEMORY_MMAP;
    if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_REQBUFS, &request) < 0) {
        std::printf("Unable to allocate buffers: %d.\n", errno);
        return false;
    }
    // No more than V4L2 itself allows, whatever the driver says.
    const unsigned granted = std::min<unsigned>(request.count, VIDEO_MAX_FRAME);
    for (unsigned index = 0; index < granted; ++index) {
        v4l2_buffer buffer = MappedBuffer(type, index);
        if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_QUERYBUF, &buffer) < 0) {
            std::printf("Unable to query buffer (%d).\n", errno);
            continue;
        }
        std::printf("Request buffer length:%d\n", static_cast<int>(buffer.length));
        auto mapped = CV4LMMAPDATABUF::CreateNew(m_nV4L2_fd, buffer.length, buffer.m.offset);
        if (mapped) AddStreamBufferList(static_cast<int>(index), std::move(mapped));
    }
    if (GetStreamBufferSize() == 0) {
        std::printf("No buffer have been requested\n");
        return false;
    }
    return true;
}

void CV4L2_VideoCtrl::AddStreamBufferList(int index, std::unique_ptr<CV4LMMAPDATABUF> buffer) {
    const auto lock = LockStreamBufferList();
    const auto present = m_lBufferList.find(static_cast<unsigned>(index));
    if (present != m_lBufferList.end()) {
        std::printf("Clear buf[%d] %p\n", index, static_cast<void*>(present->second.get()));
        m_lBufferList.erase(present);
    }
    std::printf("Add buf[%d] %p\n", index, static_cast<void*>(buffer.get()));
    m_lBufferList.emplace(static_cast<unsigned>(index), std::move(buffer));
}

void CV4L2_VideoCtrl::ClearStreamBufferList() {
    const auto lock = LockStreamBufferList();
    while (!m_lBufferList.empty()) {
        const auto first = m_lBufferList.begin();
        std::printf("Clear buf[%d] %p\n", static_cast<int>(first->first), static_cast<void*>(first->second.get()));
        m_lBufferList.erase(first);
    }
}

int CV4L2_VideoCtrl::GetStreamBufferSize() {
    const auto lock = LockStreamBufferList();
    return static_cast<int>(m_lBufferList.size());
}

CV4LMMAPDATABUF* CV4L2_VideoCtrl::GetStreamBufferListAt(unsigned index, const std::unique_lock<std::mutex>& locked) {
    if (!locked.owns_lock()) return nullptr;
    const auto found = m_lBufferList.find(index);
    return found == m_lBufferList.end() ? nullptr : found->second.get();
}

bool CV4L2_VideoCtrl::v4l2_QBUF(v4l2_buf_type type, unsigned index, v4l2_buffer& buf) {
    buf = MappedBuffer(type, index);
    if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_QBUF, &buf) >= 0) return true;
    const int error = errno;
    std::printf("Device(%s) Unable to requeue buffer (%d).\n", m_strDevName.c_str(), error);
    errno = error;
    return false;
}

bool CV4L2_VideoCtrl::v4l2_DQBUF(v4l2_buf_type type, v4l2_buffer& buf) {
    buf = MappedBuffer(type, 0);
    if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_DQBUF, &buf) >= 0) return true;
    const int error = errno;
    if (error == EAGAIN) {
        std::printf("No data in buffer\n");
    } else {
        std::printf("Device(%s) Unable to dequeue buffer (%d-%s).\n", m_strDevName.c_str(), error,
                    std::strerror(error));
    }
    errno = error;
    return false;
}

bool CV4L2_VideoCtrl::v4l2_ClearBuf(v4l2_buf_type type, int /*unused*/) {
    const auto lock = LockStreamBufferList();
    for (const auto& entry : m_lBufferList) {
        v4l2_buffer buffer = MappedBuffer(type, entry.first);
        if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_QBUF, &buffer) < 0) std::printf("Unable to queue buffer (%d).\n", errno);
    }
    return true;
}

bool CV4L2_VideoCtrl::EnableStream(v4l2_buf_type type, unsigned count) {
    if (m_bIsstreaming) {
        std::printf("Stream already started\n");
        return true;
    }
    for (int attempt = 1; !RequestV4L2StreamBuffer(type, count); ++attempt) {
        if (attempt == kStreamAttempts) return false;
        DisableStream(type, count);
    }
    v4l2_ClearBuf(type, 0);
    int stream = type;
    if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_STREAMON, &stream) < 0) {
        std::printf("Unable to %s capture: %d.\n", "start", errno);
        m_bIsstreaming = false;
        return false;
    }
    m_bIsstreaming = true;
    std::printf("Stream(%s) enabled.\n", m_strDevName.c_str());
    return true;
}

bool CV4L2_VideoCtrl::DisableStream(v4l2_buf_type type, unsigned /*unused*/) {
    v4l2_ClearBuf(type, 0);  // before the stop: the driver gets all of its buffers back first
    int stream = type;
    if (v4l2_ioctl(m_nV4L2_fd, VIDIOC_STREAMOFF, &stream) < 0) {
        std::printf("Unable to %s capture: %d.\n", "stop", errno);
    }
    ClearStreamBufferList();
    m_bIsstreaming = false;
    std::printf("Stream(%s) disabled.\n", m_strDevName.c_str());
    return true;
}
