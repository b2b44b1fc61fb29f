// The board's state as JSON: what the panel and scripts read and set.
#pragma once

#include <unistd.h>

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "board/block.h"
#include "board/board_clock.h"
#include "board/board_folder.h"
#include "board/program_process.h"

namespace board {

// Thread-safe.
class BoardState {
  public:
    // None is owned.
    BoardState(Block& block, BoardFolder& folder, BoardClock& clock, const ProgramProcess& program)
        : block_(block),
          folder_(folder),
          clock_(clock),
          program_(program),
          session_(std::to_string(clock.WallClock().tv_sec) + "-" + std::to_string(getpid())) {}

    nlohmann::json Read() const;
    // Sets the members of `changes`, an object of the same form, or nothing at all: then the result is the reason.
    std::optional<std::string> Change(const nlohmann::json& changes);

  private:
    Block& block_;
    BoardFolder& folder_;
    BoardClock& clock_;
    const ProgramProcess& program_;
    // Another one with every start of the board, so that who looks on sees that what it knew is gone.
    const std::string session_;
};

}  // namespace board
