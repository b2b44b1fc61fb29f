// The keypad, over the block that the program shares with the board.
#pragma once

#include "board/block.h"
#include "mwin/platform.h"

namespace board {

// UI thread; KeyWaits is thread-safe.
class BlockKeys final : public mwin::Keys {
  public:
    // `wake_descriptor`: an eventfd that the board adds 1 to after PushKey, so that the UI thread's poll ends; not
    // owned. -1: none is used.
    explicit BlockKeys(Block& block, int wake_descriptor = -1) : block_(block), wake_descriptor_(wake_descriptor) {}

    bool Read(mwin::KeyEvent& event) override;
    bool KeyWaits() const;
    // To be polled for input by the UI thread's clock; Read empties it.
    int WakeDescriptor() const { return wake_descriptor_; }

  private:
    Block& block_;
    const int wake_descriptor_;
};

}  // namespace board
