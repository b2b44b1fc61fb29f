// The streaming buffers of one video device.
#pragma once

#include <linux/videodev2.h>
#include <sys/types.h>

#include <cstdint>
#include <deque>
#include <map>
#include <vector>

namespace board {

// Buffers in driver memory, and V4L2's rules for them: requested before anything, mapped at the offsets that were told,
// queued before they are dequeued. Answers are 0 or the negative errno. The caller serialises.
class BufferQueue {
  public:
    explicit BufferQueue(v4l2_buf_type type) : type_(type) {}
    ~BufferQueue();
    BufferQueue(const BufferQueue&) = delete;
    BufferQueue& operator=(const BufferQueue&) = delete;

    // VIDIOC_REQBUFS by `owner`, a descriptor, for buffers of `size` bytes. Count 0 frees them.
    int Request(int owner, v4l2_requestbuffers& request, std::size_t size);
    int Query(v4l2_buffer& buffer) const;
    int Queue(int owner, v4l2_buffer& buffer);
    // Takes the oldest finished buffer. EINVAL when not streaming or nothing was queued, EAGAIN when none is finished
    // yet.
    int Dequeue(int owner, v4l2_buffer& buffer);
    int StreamOn(int owner);
    // Drops whatever is queued or finished.
    int StreamOff(int owner);
    // The owner is gone: stops and frees. Mappings stay until they are unmapped.
    void Release(int owner);

    void* Map(std::size_t length, off_t offset, int& error);
    bool Unmap(void* address, std::size_t length);

    bool Streaming() const { return streaming_; }
    bool Allocated() const { return !buffers_.empty(); }
    std::size_t BufferSize() const { return size_; }
    bool HasQueued() const { return !queued_.empty(); }
    bool HasFinished() const { return !finished_.empty(); }
    // The oldest queued buffer's memory, BufferSize() bytes.
    std::uint8_t* NextQueued() const;
    // Marks the oldest queued buffer as finished.
    void Finish(std::uint32_t bytes, std::uint32_t flags, std::uint32_t sequence, timeval timestamp);

    // Granted in place of what is asked for; 0: as asked (a driver may grant more or fewer).
    void GrantInstead(unsigned count) { grant_instead_ = count; }

  private:
    enum class State { Idle, Queued, Finished };
    struct Buffer {
        State state = State::Idle;
        v4l2_buffer answer{};
    };

    int Allocate(unsigned count, std::size_t size);
    void Free();
    void Describe(unsigned index, v4l2_buffer& buffer) const;
    bool OwnedBy(int owner) const { return owner_ < 0 || owner_ == owner; }

    const v4l2_buf_type type_;
    int owner_ = -1;
    int memory_ = -1;  // a memory file that holds all buffers
    std::uint8_t* base_ = nullptr;
    std::size_t size_ = 0;    // of one buffer
    std::size_t stride_ = 0;  // from buffer to buffer: whole pages
    std::vector<Buffer> buffers_;
    std::deque<unsigned> queued_, finished_;
    bool streaming_ = false;
    unsigned grant_instead_ = 0;
    std::map<void*, std::size_t> mappings_;
};

}  // namespace board
