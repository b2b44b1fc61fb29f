// What the board's LCD shows.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "board/block.h"

namespace board {

// A picture of kScreenWidth x kScreenHeight pixels, 0xFFRRGGBB.
using LcdPicture = std::vector<std::uint32_t>;

// Composes the LCD's picture as the hardware does: the user interface, and at output 0 the picture last queued, scaled
// from the current format's size onto the crop rectangle, flipped and turned, wherever the user interface has the
// chroma key's colour. One thread.
class LcdCompositor {
  public:
    LcdCompositor();
    ~LcdCompositor();

    // The LCD as it is now. Dark after the power-off.
    const LcdPicture& Compose(Block& block);
    // The same, only when anything changed since the last call; null when not.
    const LcdPicture* ComposeIfChanged(Block& block);

  private:
    // What was copied out of the block, so that its mutex is held briefly.
    struct Input;

    bool Read(Block& block);
    void Draw();
    void DrawVideo();

    std::unique_ptr<Input> input_;
    LcdPicture picture_;
};

}  // namespace board
