#include "mwin/linux_clock.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <csignal>
#include <cstdlib>
#include <ctime>

namespace mwin {

LinuxClock::LinuxClock(std::function<std::vector<int>()> descriptors)
    : descriptors_(std::move(descriptors)), wake_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

std::uint32_t LinuxClock::TickCount() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const auto milliseconds =
        static_cast<std::uint64_t>(now.tv_sec) * 1000 + static_cast<std::uint64_t>(now.tv_nsec) / 1000000;
    return static_cast<std::uint32_t>(milliseconds + 1);  // not 0, even when the machine has just started
}

void LinuxClock::Wait(int timeout_ms) {
    std::vector<pollfd> files{{wake_.Get(), POLLIN, 0}};
    for (const int fd : descriptors_())
        files.push_back({fd, POLLIN, 0});
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    sigdelset(&mask, SIGINT);
    sigdelset(&mask, SIGTERM);
    const timespec timeout{timeout_ms / 1000, timeout_ms % 1000 * 1000000L};
    ppoll(files.data(), files.size(), timeout_ms < 0 ? nullptr : &timeout, &mask);
    eventfd_t count = 0;
    eventfd_read(wake_.Get(), &count);
}

void LinuxClock::Wake() {
    eventfd_write(wake_.Get(), 1);
}

}  // namespace mwin
