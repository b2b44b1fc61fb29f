#include "sys/kernel_linux.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <limits>

namespace Varno {
namespace {

// system(3)'s answer when the shell itself could not be run.
constexpr int kNoShell = 127 << 8;

// Starts the shell with SIGINT and SIGTERM open and at their defaults: this process keeps both blocked nearly always.
int SpawnShell(const char* command, pid_t* child) {
    posix_spawnattr_t attributes;
    if (const int error = posix_spawnattr_init(&attributes)) return error;
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGINT);
    sigaddset(&defaults, SIGTERM);
    sigset_t open_mask;
    sigemptyset(&open_mask);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setsigmask(&attributes, &open_mask);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);

    // posix_spawn takes the strings as non-const for historical reasons and does not change them.
    char* const arguments[] = {const_cast<char*>("sh"), const_cast<char*>("-c"), const_cast<char*>(command), nullptr};
    const int error = posix_spawn(child, "/bin/sh", nullptr, &attributes, arguments, environ);
    posix_spawnattr_destroy(&attributes);
    return error;
}

}  // namespace

int LinuxKernel::Open(const char* path, int flags, mode_t mode) {
    return open(path, flags | O_CLOEXEC, mode);  // no device stays open in the programs that are run
}

int LinuxKernel::Close(int fd) {
    return close(fd);
}

ssize_t LinuxKernel::Write(int fd, const struct iovec* parts, int count) {
    return writev(fd, parts, count);
}

int LinuxKernel::Flush(int fd) {
    return fsync(fd);
}

int LinuxKernel::Ioctl(int fd, unsigned long request, void* argument) {
    return ioctl(fd, request, argument);
}

void* LinuxKernel::Map(int fd, std::size_t length, off_t offset) {
    return mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, fd, offset);
}

int LinuxKernel::Unmap(void* address, std::size_t length) {
    return munmap(address, length);
}

int LinuxKernel::WaitReadable(int fd, std::chrono::milliseconds timeout) {
    // poll instead of select: a descriptor beyond FD_SETSIZE must not write past a descriptor set.
    struct pollfd waiting = {fd, POLLIN, 0};
    const int ready = poll(&waiting, 1, static_cast<int>(timeout.count()));
    if (ready > 0 && (waiting.revents & POLLNVAL)) {
        errno = EBADF;
        return -1;
    }
    return ready;
}

int LinuxKernel::WaitWritable(int fd, std::chrono::milliseconds timeout) {
    struct pollfd waiting = {fd, POLLOUT, 0};
    const int ready = poll(&waiting, 1, static_cast<int>(timeout.count()));
    if (ready > 0 && !(waiting.revents & POLLOUT)) {
        errno = waiting.revents & POLLNVAL ? EBADF : EIO;
        return -1;
    }
    return ready;
}

int LinuxKernel::System(const char* command) {
    pid_t child = -1;
    if (const int error = SpawnShell(command, &child)) {
        errno = error;
        return error == EAGAIN || error == ENOMEM ? -1 : kNoShell;
    }
    int status = -1;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) return -1;
    }
    return status;
}

int LinuxKernel::Exec(const char* file, char* const arguments[]) {
    return execvp(file, arguments);
}

int LinuxKernel::StatFs(const char* path, struct statfs* result) {
    return statfs(path, result);
}

void LinuxKernel::Sync() {
    sync();
}

std::timespec LinuxKernel::RealTime() {
    std::timespec now{};
    if (clock_gettime(CLOCK_REALTIME, &now) < 0 && errno == EOVERFLOW) {
        now.tv_sec = std::numeric_limits<std::time_t>::max();
    }
    return now;
}

int LinuxKernel::SetRealTime(const std::timespec& now) {
    return clock_settime(CLOCK_REALTIME, &now);
}

std::chrono::nanoseconds LinuxKernel::Monotonic() {
    std::timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

void LinuxKernel::Sleep(std::chrono::nanoseconds duration) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    std::timespec request{};
    request.tv_sec = static_cast<std::time_t>(seconds.count());
    request.tv_nsec = static_cast<long>((duration - seconds).count());
    nanosleep(&request, nullptr);
}

std::string LinuxKernel::Path(const std::string& path) {
    return path;
}

}  // namespace Varno
