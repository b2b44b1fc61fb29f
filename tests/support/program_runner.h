// The whole program on a virtual board inside the test's process.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "board/block_keys.h"
#include "board/block_screen.h"
#include "tests/support/moved_clock.h"
#include "tests/support/virtual_board.h"

namespace support {

// Runs WinMain on a thread of its own until it is ended. Everything it does to the board can be looked at between two
// moves of the clock, while all its threads rest. What the program prints, and what the test prints meanwhile, is
// captured; a test that failed gets all of it printed at the end.
class ProgramRunner {
  public:
    explicit ProgramRunner(VirtualBoard& board);
    // Ends the program if it still runs; the test's process aborts when that takes more than two minutes of board time.
    ~ProgramRunner();
    ProgramRunner(const ProgramRunner&) = delete;
    ProgramRunner& operator=(const ProgramRunner&) = delete;

    // Presses and releases a key (VK_…) and lets the program act on it.
    void Press(int virtual_key);
    void Advance(std::chrono::milliseconds duration) { board_.Clock().Advance(duration); }
    // False when `condition` does not come true within `limit` of the board's time.
    bool RunUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
        return board_.Clock().RunUntil(condition, limit);
    }
    // Runs until the camera's picture is on the LCD.
    bool RunUntilLive();
    // Runs until the program has printed `text`, at or after byte `from` of its output.
    bool RunUntilPrinted(const std::string& text, std::size_t from = 0);

    // All that was printed so far.
    const std::string& Output();
    bool Running() const { return !ended_; }
    // Ends the main window's loop as the system's quit message does, and waits for WinMain to return: what it returned.
    int End();

  private:
    // Also carries the test's wish to quit to the UI thread.
    class UiClock;
    class Capture;

    void Run();

    VirtualBoard& board_;
    board::BlockScreen screen_;
    board::BlockKeys keys_;
    std::unique_ptr<UiClock> clock_;
    std::unique_ptr<Capture> capture_;
    std::atomic<bool> ended_{false};
    int result_ = 0;
    std::thread thread_;
};

}  // namespace support
