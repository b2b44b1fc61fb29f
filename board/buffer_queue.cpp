#include "board/buffer_queue.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace board {
namespace {

constexpr unsigned kMostBuffers = 32;  // as VIDEO_MAX_FRAME

}  // namespace

BufferQueue::~BufferQueue() {
    for (const auto& [address, length] : mappings_)
        munmap(address, length);
    Free();
}

int BufferQueue::Request(int owner, v4l2_requestbuffers& request, std::size_t size) {
    if (request.type != type_ || request.memory != V4L2_MEMORY_MMAP) return -EINVAL;
    if (!OwnedBy(owner) || streaming_ || !mappings_.empty()) return -EBUSY;
    Free();
    if (request.count == 0) {
        owner_ = -1;
        return 0;
    }
    const int result = Allocate(std::min(grant_instead_ ? grant_instead_ : request.count, kMostBuffers), size);
    if (result < 0) return result;
    owner_ = owner;
    request.count = static_cast<std::uint32_t>(buffers_.size());
    request.capabilities = V4L2_BUF_CAP_SUPPORTS_MMAP;
    return 0;
}

int BufferQueue::Allocate(unsigned count, std::size_t size) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    stride_ = (size + page - 1) / page * page;
    memory_ = memfd_create("video-buffers", MFD_CLOEXEC);
    if (memory_ < 0) return -errno;
    void* base = MAP_FAILED;
    if (ftruncate(memory_, static_cast<off_t>(stride_ * count)) == 0) {
        base = mmap(nullptr, stride_ * count, PROT_READ | PROT_WRITE, MAP_SHARED, memory_, 0);
    }
    if (base == MAP_FAILED) {
        const int error = errno;
        close(memory_);
        memory_ = -1;
        return -error;
    }
    base_ = static_cast<std::uint8_t*>(base);
    size_ = size;
    buffers_.resize(count);
    return 0;
}

void BufferQueue::Free() {
    if (base_) munmap(base_, stride_ * buffers_.size());
    if (memory_ >= 0) close(memory_);
    base_ = nullptr;
    memory_ = -1;
    buffers_.clear();
    queued_.clear();
    finished_.clear();
}

void BufferQueue::Describe(unsigned index, v4l2_buffer& buffer) const {
    const Buffer& own = buffers_[index];
    buffer = own.answer;
    buffer.index = index;
    buffer.type = type_;
    buffer.memory = V4L2_MEMORY_MMAP;
    buffer.field = V4L2_FIELD_NONE;
    buffer.m.offset = static_cast<std::uint32_t>(index * stride_);
    buffer.length = static_cast<std::uint32_t>(size_);
    buffer.flags |= V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC;
    if (own.state == State::Queued) buffer.flags |= V4L2_BUF_FLAG_QUEUED;
    if (own.state == State::Finished) buffer.flags |= V4L2_BUF_FLAG_DONE;
}

int BufferQueue::Query(v4l2_buffer& buffer) const {
    if (buffer.type != type_ || buffer.index >= buffers_.size()) return -EINVAL;
    Describe(buffer.index, buffer);
    return 0;
}

int BufferQueue::Queue(int owner, v4l2_buffer& buffer) {
    if (buffer.type != type_ || buffer.memory != V4L2_MEMORY_MMAP || buffer.index >= buffers_.size()) return -EINVAL;
    if (!OwnedBy(owner)) return -EBUSY;
    Buffer& own = buffers_[buffer.index];
    if (own.state != State::Idle) return -EINVAL;
    own.state = State::Queued;
    own.answer = {};
    own.answer.bytesused = buffer.bytesused;
    queued_.push_back(buffer.index);
    Describe(buffer.index, buffer);
    return 0;
}

int BufferQueue::Dequeue(int owner, v4l2_buffer& buffer) {
    if (buffer.type != type_ || buffer.memory != V4L2_MEMORY_MMAP || !streaming_) return -EINVAL;
    if (!OwnedBy(owner)) return -EBUSY;
    if (finished_.empty()) return -EAGAIN;
    const unsigned index = finished_.front();
    finished_.pop_front();
    buffers_[index].state = State::Idle;
    Describe(index, buffer);
    return 0;
}

int BufferQueue::StreamOn(int owner) {
    if (!OwnedBy(owner)) return -EBUSY;
    if (buffers_.empty()) return -EINVAL;
    streaming_ = true;
    return 0;
}

int BufferQueue::StreamOff(int owner) {
    if (!OwnedBy(owner)) return -EBUSY;
    streaming_ = false;
    queued_.clear();
    finished_.clear();
    for (Buffer& buffer : buffers_)
        buffer.state = State::Idle;
    return 0;
}

void BufferQueue::Release(int owner) {
    if (owner_ != owner) return;
    StreamOff(owner);
    Free();
    owner_ = -1;
}

void* BufferQueue::Map(std::size_t length, off_t offset, int& error) {
    const auto start = static_cast<std::size_t>(offset);
    error = EINVAL;
    if (memory_ < 0 || length == 0 || start % stride_ != 0 || start / stride_ >= buffers_.size() || length > stride_) {
        return nullptr;
    }
    void* address = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, memory_, offset);
    if (address == MAP_FAILED) {
        error = errno;
        return nullptr;
    }
    mappings_[address] = length;
    return address;
}

bool BufferQueue::Unmap(void* address, std::size_t length) {
    const auto mapping = mappings_.find(address);
    if (mapping == mappings_.end() || mapping->second != length) return false;
    munmap(address, length);
    mappings_.erase(mapping);
    return true;
}

std::uint8_t* BufferQueue::NextQueued() const {
    return queued_.empty() ? nullptr : base_ + queued_.front() * stride_;
}

void BufferQueue::Finish(std::uint32_t bytes, std::uint32_t flags, std::uint32_t sequence, timeval timestamp) {
    if (queued_.empty()) return;
    const unsigned index = queued_.front();
    queued_.pop_front();
    finished_.push_back(index);
    Buffer& buffer = buffers_[index];
    buffer.state = State::Finished;
    buffer.answer.bytesused = bytes;
    buffer.answer.flags = flags;
    buffer.answer.sequence = sequence;
    buffer.answer.timestamp = timestamp;
}

}  // namespace board
