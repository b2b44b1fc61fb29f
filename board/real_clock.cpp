#include "board/real_clock.h"

#include <algorithm>

namespace board {
namespace {

constexpr std::chrono::milliseconds kSlice{5};

std::timespec Read(clockid_t clock) {
    std::timespec now{};
    clock_gettime(clock, &now);
    return now;
}

}  // namespace

std::chrono::nanoseconds RealClock::Monotonic() {
    const std::timespec now = Read(CLOCK_MONOTONIC);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

std::timespec RealClock::WallClock() {
    return Read(CLOCK_REALTIME);
}

// No lock and no allocation: the program's signal handler may run inside.
void RealClock::Sleep(std::chrono::nanoseconds duration) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    std::timespec request{};
    request.tv_sec = static_cast<std::time_t>(seconds.count());
    request.tv_nsec = static_cast<long>((duration - seconds).count());
    nanosleep(&request, nullptr);
}

bool RealClock::WaitUntil(std::chrono::nanoseconds deadline, const std::function<bool()>& ready) {
    while (!ready()) {
        const auto left = deadline - Monotonic();
        if (left <= std::chrono::nanoseconds::zero()) return false;
        Sleep(std::min<std::chrono::nanoseconds>(left, kSlice));
    }
    return true;
}

}  // namespace board
