// The program's screen, over the block it shares with the board.
#pragma once

#include "board/block.h"
#include "mwin/platform.h"

namespace board {

// UI thread.
class BlockScreen final : public mwin::Screen {
  public:
    explicit BlockScreen(Block& block) : block_(block) {}

    int Width() const override { return kScreenWidth; }
    int Height() const override { return kScreenHeight; }
    void Update(const std::uint32_t* surface, int stride, int x, int y, int width, int height) override;

  private:
    Block& block_;
};

}  // namespace board
