// Time on the virtual board.
#pragma once

#include <chrono>
#include <ctime>
#include <functional>

namespace board {

// Thread-safe.
class BoardClock {
  public:
    // Time since some fixed point; never 0. Takes no lock.
    virtual std::chrono::nanoseconds Monotonic() = 0;
    // The PC's wall clock, which the program cannot set (the board keeps the difference). Takes no lock.
    virtual std::timespec WallClock() = 0;
    virtual void Sleep(std::chrono::nanoseconds duration) = 0;
    // Waits until `ready` answers true or `deadline` (Monotonic time) has passed; returns the last answer. `ready` is
    // asked on any thread, at least once every 20 ms of this clock's time and after each Notify; it must not wait or
    // sleep.
    virtual bool WaitUntil(std::chrono::nanoseconds deadline, const std::function<bool()>& ready) = 0;
    // Something that a `ready` looks at may have changed.
    virtual void Notify() = 0;

  protected:
    ~BoardClock() = default;
};

}  // namespace board
