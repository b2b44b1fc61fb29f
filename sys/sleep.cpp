#include "sys/sleep.h"

#include <algorithm>
#include <csignal>

#include "sys/kernel.h"

namespace Varno {
namespace {

constexpr std::chrono::milliseconds kSlice{20};

}  // namespace

bool SleepUnless(const std::atomic<bool>& stop, std::chrono::milliseconds duration) {
    while (!stop) {
        if (duration <= std::chrono::milliseconds::zero()) return true;
        const auto slice = std::min(duration, kSlice);
        kernel().Sleep(slice);
        duration -= slice;
    }
    return false;
}

void SleepSignalsOpen(std::chrono::milliseconds duration) {
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    sigset_t before;
    pthread_sigmask(SIG_UNBLOCK, &ending, &before);
    kernel().Sleep(duration);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace Varno
