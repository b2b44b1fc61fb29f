#include "tests/support/moved_clock.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <thread>

namespace support {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

constexpr std::int64_t kStartSeconds = 1715947200;  // 2024-05-17 12:00:00 UTC
constexpr std::int64_t kStartMonotonicSeconds = 1000;
// Processor time that a thread may take until it rests, in ticks of usually 10 ms; counted like this, a busy machine
// makes no difference. Then it is taken to be waiting busily, and gets a little at each step until it rests again.
constexpr long kTicksUntilRest = 30 * VARNO_TEST_PATIENCE;
constexpr long kTicksOfBusyWait = 1;

struct ThreadState {
    bool running;
    long switches;  // how often the thread has gone to sleep or was preempted
    long ticks;     // of processor time used
    bool SameRest(const ThreadState& other) const { return !running && !other.running && switches == other.switches; }
};

// The fields after the name, which may hold blanks itself, in a thread's "stat".
long ReadTicks(int thread) {
    char path[64];
    std::snprintf(path, sizeof path, "/proc/self/task/%d/stat", thread);
    FILE* file = std::fopen(path, "re");
    if (!file) return 0;
    char line[512] = "";
    std::fgets(line, sizeof line, file);
    std::fclose(file);
    const char* rest = std::strrchr(line, ')');
    long user = 0;
    long system = 0;
    if (rest) std::sscanf(rest, ") %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %ld %ld", &user, &system);
    return user + system;
}

// What the system says of one thread of this process.
ThreadState ReadState(int thread) {
    char path[64];
    std::snprintf(path, sizeof path, "/proc/self/task/%d/status", thread);
    ThreadState state{};
    FILE* file = std::fopen(path, "re");
    if (!file) return state;
    char line[128];
    while (std::fgets(line, sizeof line, file)) {
        // Runnable, or waiting for a disk: it will go on by itself.
        if (std::strncmp(line, "State:\t", 7) == 0) state.running = line[7] == 'R' || line[7] == 'D';
        if (const char* count = std::strstr(line, "voluntary_ctxt_switches:")) state.switches += std::atol(count + 24);
    }
    std::fclose(file);
    if (state.running) state.ticks = ReadTicks(thread);
    return state;
}

// Every other thread of this process.
std::map<int, ThreadState> ReadThreads() {
    std::map<int, ThreadState> threads;
    DIR* folder = opendir("/proc/self/task");
    if (!folder) return threads;
    while (const dirent* entry = readdir(folder)) {
        const int thread = std::atoi(entry->d_name);
        if (thread > 0 && thread != gettid()) threads[thread] = ReadState(thread);
    }
    closedir(folder);
    return threads;
}

}  // namespace

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
    Sleeper self{deadline, ready, false};
    std::unique_lock<std::mutex> lock(mutex_);
    if (ready && (*ready)()) return true;
    if (deadline <= Monotonic()) return false;
    if (let_go_) {
        if (deadline != nanoseconds::max()) now_ = deadline.count();
        return false;
    }
    sleepers_.push_back(&self);
    released_.wait(lock, [&self] { return self.released; });
    return ready && (*ready)();
}

void MovedClock::Notify() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ReleaseDue();
}

void MovedClock::LetGo() {
    const std::lock_guard<std::mutex> lock(mutex_);
    let_go_ = true;
    for (Sleeper* sleeper : sleepers_)
        sleeper->released = true;
    sleepers_.clear();
    released_.notify_all();
}

void MovedClock::ReleaseDue() {
    const nanoseconds now = Monotonic();
    sleepers_.remove_if([now](Sleeper* sleeper) {
        sleeper->released = sleeper->deadline <= now || (sleeper->ready && (*sleeper->ready)());
        return sleeper->released;
    });
    released_.notify_all();
}

void MovedClock::Step(nanoseconds limit) {
    const std::lock_guard<std::mutex> lock(mutex_);
    nanoseconds next = limit;
    for (const Sleeper* sleeper : sleepers_)
        next = std::min(next, sleeper->deadline);
    now_ = std::max(next, Monotonic()).count();
    ReleaseDue();
}

// At rest is a process of which two looks in a row show no running thread, and none that ran in between.
void MovedClock::Settle() {
    std::map<int, ThreadState> before;
    std::map<int, long> ticks_at_start;
    for (;;) {
        std::map<int, ThreadState> threads = ReadThreads();
        bool waiting = false;
        bool same = threads.size() == before.size();
        for (auto thread = spinning_.begin(); thread != spinning_.end();) {
            thread = threads.count(*thread) ? std::next(thread) : spinning_.erase(thread);
        }
        for (const auto& [thread, state] : threads) {
            if (!state.running) {
                spinning_.erase(thread);
                same = same && before.count(thread) && state.SameRest(before[thread]);
                continue;
            }
            const long used = state.ticks - ticks_at_start.emplace(thread, state.ticks).first->second;
            const bool spent = used >= (spinning_.count(thread) ? kTicksOfBusyWait : kTicksUntilRest);
            if (spent) spinning_.insert(thread);
            waiting = waiting || !spent;
        }
        if (!waiting && (same || !spinning_.empty())) return;
        before = std::move(threads);
        if (waiting) std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
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
