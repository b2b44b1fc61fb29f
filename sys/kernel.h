// The one seam between the program and the operating system.
//
// Everything the program asks of the board passes through here as single system calls, so that negotiation, retries and
// error handling above the seam run unchanged on the device and on the virtual board. `errno` is meaningful after every
// failing call.
#pragma once

#include <sys/statfs.h>
#include <sys/types.h>
#include <sys/uio.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>

namespace Varno {

// Thread-safe. One instance is installed before WinMain and is never destroyed: static destructors and worker threads
// still use it while the process exits.
class Kernel {
  public:
    // Opens a device node or a file by its path on the device (as open(2); `mode` only with O_CREAT). -1 on failure.
    virtual int Open(const char* path, int flags, mode_t mode = 0) = 0;
    virtual int Close(int fd) = 0;
    // Gathering write to an open file (as writev(2)); may write less than asked.
    virtual ssize_t Write(int fd, const struct iovec* parts, int count) = 0;
    // Flushes one file to its medium (as fsync(2)).
    virtual int Flush(int fd) = 0;

    virtual int Ioctl(int fd, unsigned long request, void* argument) = 0;
    // Shared read/write mapping of device memory; MAP_FAILED on failure.
    virtual void* Map(int fd, std::size_t length, off_t offset) = 0;
    virtual int Unmap(void* address, std::size_t length) = 0;
    // Waits until `fd` is readable: 1 readable, 0 time-out, -1 error (as select(2)).
    virtual int WaitReadable(int fd, std::chrono::milliseconds timeout) = 0;
    // Waits until `fd` takes data, for an output device: until a buffer can be dequeued. 1 ready, 0 time-out, -1 error,
    // also when the device says that waiting is vain (POLLERR without POLLOUT, EIO).
    virtual int WaitWritable(int fd, std::chrono::milliseconds timeout) = 0;

    // Runs a command line through the board's shell (as system(3)).
    virtual int System(const char* command) = 0;
    // Replaces the calling process, only between fork and exit (as execvp(3)); async-signal-safe.
    virtual int Exec(const char* file, char* const arguments[]) = 0;
    // Space of the file system that holds `path`, a path on the device.
    virtual int StatFs(const char* path, struct statfs* result) = 0;
    // Flushes all file systems (as sync(2)).
    virtual void Sync() = 0;

    // Wall-clock time (CLOCK_REALTIME); the largest time_t when it is beyond that.
    virtual std::timespec RealTime() = 0;
    virtual int SetRealTime(const std::timespec& now) = 0;
    // Time since some fixed point that no clock setting moves (CLOCK_MONOTONIC); never 0.
    virtual std::chrono::nanoseconds Monotonic() = 0;
    virtual void Sleep(std::chrono::nanoseconds duration) = 0;

    // Where a file of the device (under /sys, /proc, /dev, /etc, /usr/varno, /media, /mnt) really lies. Any other path
    // is returned as it is. For reading and writing ordinary files with stdio or opendir.
    virtual std::string Path(const std::string& path) = 0;

  protected:
    ~Kernel() = default;
};

// The installed kernel. Thread-safe once installed.
Kernel& kernel();
// Installs the kernel (not owned, must outlive the process); only before the first use of kernel(), or between tests.
void InstallKernel(Kernel& instance);

}  // namespace Varno
