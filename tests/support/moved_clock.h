// A clock that only moves when a test moves it.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <set>

#include "board/board_clock.h"
#include "mwin/platform.h"

namespace support {

// Time that stands still until Advance or RunUntil moves it from one sleeper's wake-up to the next. Before each step
// every thread that was made after the clock has come to rest: asleep on this clock, or blocked in a join, a lock or a
// read. So timers fire, and frames arrive, at their exact times, however slow the machine is. Thread-safe; Advance and
// RunUntil on one thread only.
class MovedClock final : public board::BoardClock {
  public:
    // Starts at 1000 s after its fixed point, on 2024-05-17 12:00:00 UTC.
    MovedClock();

    std::chrono::nanoseconds Monotonic() override { return std::chrono::nanoseconds(now_.load()); }
    std::timespec WallClock() override;
    void Sleep(std::chrono::nanoseconds duration) override;
    bool WaitUntil(std::chrono::nanoseconds deadline, const std::function<bool()>& ready) override;
    void Notify() override;

    // Lets every thread come to rest, then moves the time on by `duration`, sleeper by sleeper.
    void Advance(std::chrono::milliseconds duration);
    // Moves the time on until `condition` holds while all threads rest. False when it does not within `limit` of this
    // clock's time.
    bool RunUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit);
    // From now on nobody sleeps any more: time passes by itself, so that what is left of a program can end without a
    // test.
    void LetGo();
    // Waits until every other thread is at rest. A thread that goes on computing (a busy-wait)
    // is not waited for any longer, and gets a little processor time at each step until it rests again.
    void Settle();
    // Whether a thread was found to wait busily, and still does.
    bool BusyWaits() const { return !spinning_.empty(); }

    struct ThreadState {
        bool running;
        long switches;  // how often the thread has gone to sleep or was preempted
        long used;      // processor time in milliseconds, while it runs
    };

  private:
    struct Sleeper {
        std::chrono::nanoseconds deadline;
        const std::function<bool()>* ready;  // null: only the deadline counts
        int thread;
        bool released;
        std::condition_variable woken;
    };

    bool Wait(std::chrono::nanoseconds deadline, const std::function<bool()>* ready);
    void ReleaseDue();
    std::set<int> Asleep();
    // Waits for a moment, or until so many threads sleep.
    void AwaitSleepers(std::size_t count);
    // Moves to the next wake-up, at most to `limit`.
    void Step(std::chrono::nanoseconds limit);

    std::atomic<std::int64_t> now_{std::int64_t{1000} * 1000 * 1000 * 1000};
    std::mutex mutex_;
    std::list<Sleeper*> sleepers_;
    std::condition_variable arrived_;  // as many sleepers as are awaited
    std::size_t awaited_ = SIZE_MAX;
    bool let_go_ = false;
    // The moving thread's.
    const std::set<int> foreign_;  // a sanitizer's or the emulator's own
    std::map<int, ThreadState> looked_at_;
    std::set<int> spinning_;  // threads that wait busily
};

// The UI thread's clock over a moved one.
class MovedUiClock : public mwin::Clock {
  public:
    // `key_waits` answers whether a key waits; thread-safe.
    MovedUiClock(board::BoardClock& clock, std::function<bool()> key_waits)
        : clock_(clock), key_waits_(std::move(key_waits)) {}

    std::uint32_t TickCount() override;
    void Wait(int timeout_ms) override;
    void Wake() override;

  private:
    board::BoardClock& clock_;
    const std::function<bool()> key_waits_;
    std::atomic<bool> woken_{false};
};

}  // namespace support
