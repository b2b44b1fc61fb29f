// Ownership of an open file.
#pragma once

#include <unistd.h>

#include <utility>

namespace mwin {

class FileDescriptor {
  public:
    explicit FileDescriptor(int fd = -1) : fd_(fd) {}
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) Reset(std::exchange(other.fd_, -1));
        return *this;
    }
    ~FileDescriptor() { Reset(); }

    int Get() const { return fd_; }
    bool IsValid() const { return fd_ >= 0; }
    void Reset(int fd = -1) {
        if (fd_ >= 0) close(fd_);
        fd_ = fd;
    }

  private:
    int fd_;
};

}  // namespace mwin
