// The kernel seam on a real Linux system.
#pragma once

#include "sys/kernel.h"

namespace Varno {

// Hands every operation straight to the system it runs on. Thread-safe; holds no state, so it may be a static object.
class LinuxKernel : public Kernel {
  public:
    int Open(const char* path, int flags, mode_t mode = 0) override;
    int Close(int fd) override;
    ssize_t Write(int fd, const struct iovec* parts, int count) override;
    int Flush(int fd) override;
    int Ioctl(int fd, unsigned long request, void* argument) override;
    void* Map(int fd, std::size_t length, off_t offset) override;
    int Unmap(void* address, std::size_t length) override;
    int WaitReadable(int fd, std::chrono::milliseconds timeout) override;
    int WaitWritable(int fd, std::chrono::milliseconds timeout) override;
    int System(const char* command) override;
    int Exec(const char* file, char* const arguments[]) override;
    int StatFs(const char* path, struct statfs* result) override;
    void Sync() override;
    std::timespec RealTime() override;
    int SetRealTime(const std::timespec& now) override;
    std::chrono::nanoseconds Monotonic() override;
    void Sleep(std::chrono::nanoseconds duration) override;
    std::string Path(const std::string& path) override;
};

}  // namespace Varno
