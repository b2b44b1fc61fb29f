// A clock that only moves when a test moves it.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <set>

#include "board/board_clock.h"
#include "mwin/platform.h"

namespace support {

// Time that stands still until Advance or RunUntil moves it from one sleeper's wake-up to the next. Before each step
// every thread of the process has come to rest: asleep on this clock, or blocked in a join, a lock or a read. So timers
// fire, and frames arrive, at their exact times, however slow the machine is. Thread-safe; Advance and RunUntil on one
// thread only.
class MovedClock final : public board::BoardClock {
  public:
    // Starts at 1000 s after its fixed point, on 2024-05-17 12:00:00 UTC.
    MovedClock() = default;

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
    // Waits until every other thread of the process is at rest. A thread that goes on computing (a busy-wait)
    // is not waited for any longer, and gets a little processor time at each step until it rests again.
    void Settle();

  private:
    struct Sleeper {
        std::chrono::nanoseconds deadline;
        const std::function<bool()>* ready;  // null: only the deadline counts
        bool released;
    };

    bool Wait(std::chrono::nanoseconds deadline, const std::function<bool()>* ready);
    void ReleaseDue();
    // Moves to the next wake-up, at most to `limit`.
    void Step(std::chrono::nanoseconds limit);

    std::atomic<std::int64_t> now_{std::int64_t{1000} * 1000 * 1000 * 1000};
    std::mutex mutex_;
    std::condition_variable released_;
    std::list<Sleeper*> sleepers_;
    bool let_go_ = false;
    std::set<int> spinning_;  // threads that wait busily; the moving thread's
};

// The UI thread's clock over a moved one.
class MovedUiClock final : public mwin::Clock {
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
