#include "tests/support/moved_clock.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>

namespace support {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

constexpr std::int64_t kStartSeconds = 1715947200;  // 2024-05-17 12:00:00 UTC
constexpr std::int64_t kStartMonotonicSeconds = 1000;
// Milliseconds of processor time that a thread may take until it rests; counted like this, a busy machine makes no
// difference. Then it is taken to be waiting busily, and gets a little at each step until it rests again.
constexpr long kUntilRest = 300 * VARNO_TEST_PATIENCE;
constexpr long kOfBusyWait = 5;
constexpr std::chrono::microseconds kLookPeriod{200};

// Milliseconds of processor time that a thread of this process has used, by the clock that the kernel has for each.
long UsedTime(int thread) {
    constexpr int kOfThread = 6;
    std::timespec used{};
    clock_gettime(~thread * 8 | kOfThread, &used);
    return static_cast<long>(used.tv_sec * 1000 + used.tv_nsec / 1000000);
}

MovedClock::ThreadState ReadState(int thread) {
    std::ostringstream status;  // stays empty when the thread has ended
    status << std::ifstream("/proc/self/task/" + std::to_string(thread) + "/status").rdbuf();
    const std::string told = status.str();
    const std::size_t name_end = told.find('\n');
    MovedClock::ThreadState state{};
    // Runnable, or waiting for a disk: it will go on by itself.
    state.running = told.find("State:\tR", name_end) != told.npos || told.find("State:\tD", name_end) != told.npos;
    const std::string counts = "voluntary_ctxt_switches:";  // and "nonvoluntary..."
    for (std::size_t at = name_end; (at = told.find(counts, at)) != told.npos; at += counts.size())
        state.switches += std::atol(told.c_str() + at + counts.size());
    if (state.running) state.used = UsedTime(thread);
    return state;
}

// Every other thread of this process.
std::set<int> ListThreads() {
    std::set<int> threads;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task"))
        threads.insert(std::stoi(entry.path().filename()));
    threads.erase(gettid());
    return threads;
}

}  // namespace

// A sanitizer makes its own thread together with the program's first.
MovedClock::MovedClock() : foreign_((std::thread([] {}).join(), ListThreads())) {}

std::timespec MovedClock::WallClock() {
    const nanoseconds now = Monotonic();
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now);
    std::timespec time{};
    time.tv_sec = static_cast<std::time_t>(kStartSeconds - kStartMonotonicSeconds + seconds.count());
    time.tv_nsec = static_cast<long>((now - seconds).count());
    return time;
}

void MovedClock::Sleep(nanoseconds duration) {
    Wait(Monotonic() + duration, nullptr);
}

bool MovedClock::WaitUntil(nanoseconds deadline, const std::function<bool()>& ready) {
    return Wait(deadline, &ready);
}

bool MovedClock::Wait(nanoseconds deadline, const std::function<bool()>* ready) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (ready && (*ready)()) return true;
    if (deadline <= Monotonic()) return false;
    if (let_go_) {
        if (deadline != nanoseconds::max()) now_ = deadline.count();
        return false;
    }
    Sleeper self{deadline, ready, gettid(), false, {}};
    sleepers_.push_back(&self);
    if (sleepers_.size() >= awaited_) arrived_.notify_one();
    self.woken.wait(lock, [&self] { return self.released; });
    return ready && (*ready)();
}

void MovedClock::Notify() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ReleaseDue();
}

void MovedClock::LetGo() {
    const std::lock_guard<std::mutex> lock(mutex_);
    let_go_ = true;
    ReleaseDue();
}

void MovedClock::ReleaseDue() {
    const nanoseconds now = Monotonic();
    sleepers_.remove_if([this, now](Sleeper* sleeper) {
        sleeper->released = let_go_ || sleeper->deadline <= now || (sleeper->ready && (*sleeper->ready)());
        if (sleeper->released) sleeper->woken.notify_one();
        return sleeper->released;
    });
}

void MovedClock::Step(nanoseconds limit) {
    const std::lock_guard<std::mutex> lock(mutex_);
    nanoseconds next = limit;
    for (const Sleeper* sleeper : sleepers_)
        next = std::min(next, sleeper->deadline);
    now_ = std::max(next, Monotonic()).count();
    ReleaseDue();
}

// A thread that sleeps on the clock is at rest until the clock is moved. Any other is when two looks in a row show that
// it does not run and did not run in between; the last look of one settling is the first of the next.
void MovedClock::Settle() {
    std::map<int, long> used_at_start;
    for (;;) {
        // In this order: who sleeps by now makes no thread that would be missing from the list.
        const std::set<int> asleep = Asleep();
        std::map<int, ThreadState> awake;
        for (const int thread : ListThreads()) {
            if (asleep.count(thread) == 0 && foreign_.count(thread) == 0) awake[thread] = ReadState(thread);
        }
        std::size_t waiting = 0;
        bool same = true;
        for (auto thread = spinning_.begin(); thread != spinning_.end();) {
            thread = awake.count(*thread) ? std::next(thread) : spinning_.erase(thread);
        }
        for (const auto& [thread, state] : awake) {
            if (!state.running) {
                spinning_.erase(thread);
                const auto before = looked_at_.find(thread);
                same = same && before != looked_at_.end() && !before->second.running &&
                       before->second.switches == state.switches;
                continue;
            }
            const long used = state.used - used_at_start.emplace(thread, state.used).first->second;
            const bool spent = used >= (spinning_.count(thread) ? kOfBusyWait : kUntilRest);
            if (spent) spinning_.insert(thread);
            waiting += spent ? 0 : 1;
        }
        looked_at_ = std::move(awake);
        if (waiting == 0 && (same || !spinning_.empty())) return;
        if (waiting > 0) AwaitSleepers(asleep.size() + waiting);
    }
}

std::set<int> MovedClock::Asleep() {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::set<int> threads;
    for (const Sleeper* sleeper : sleepers_)
        threads.insert(sleeper->thread);
    return threads;
}

// A thread that does not come may wait for something else.
void MovedClock::AwaitSleepers(std::size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    awaited_ = count;
    arrived_.wait_for(lock, kLookPeriod, [&] { return sleepers_.size() >= count; });
    awaited_ = SIZE_MAX;
}

void MovedClock::Advance(milliseconds duration) {
    const nanoseconds end = Monotonic() + duration;
    Settle();
    while (Monotonic() < end) {
        Step(end);
        Settle();
    }
}

bool MovedClock::RunUntil(const std::function<bool()>& condition, milliseconds limit) {
    const nanoseconds end = Monotonic() + limit;
    for (;;) {
        Settle();
        if (condition()) return true;
        if (Monotonic() >= end) return false;
        Step(end);
    }
}

std::uint32_t MovedUiClock::TickCount() {
    return static_cast<std::uint32_t>(std::chrono::duration_cast<milliseconds>(clock_.Monotonic()).count());
}

void MovedUiClock::Wait(int timeout_ms) {
    const nanoseconds deadline = timeout_ms < 0 ? nanoseconds::max() : clock_.Monotonic() + milliseconds(timeout_ms);
    clock_.WaitUntil(deadline, [this] { return woken_.exchange(false) || key_waits_(); });
}

void MovedUiClock::Wake() {
    woken_ = true;
    clock_.Notify();
}

}  // namespace support
