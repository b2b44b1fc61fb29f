// The PC's own time.
#pragma once

#include "board/board_clock.h"

namespace board {

// Thread-safe.
class RealClock final : public BoardClock {
  public:
    std::chrono::nanoseconds Monotonic() override;
    std::timespec WallClock() override;
    void Sleep(std::chrono::nanoseconds duration) override;
    bool WaitUntil(std::chrono::nanoseconds deadline, const std::function<bool()>& ready) override;
    void Notify() override {}
};

}  // namespace board
