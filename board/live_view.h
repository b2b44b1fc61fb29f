// The LCD's picture, shared by everyone who looks at it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "board/block.h"
#include "board/lcd_compositor.h"

namespace board {

// Thread-safe. The live picture is made only while somebody waits for it, as often as it changes (at most 40 times a
// second), and only once for all.
class LiveView {
  public:
    struct Frame {
        std::uint64_t number = 0;                 // grows with every change of the picture; never 0
        std::shared_ptr<const std::string> jpeg;  // null: the view was closed
    };

    explicit LiveView(Block& block) : block_(block) {}

    // The picture as it is now, as a PNG file.
    std::shared_ptr<const std::string> Png();
    // Waits until the picture differs from frame `seen` (0: none was seen). After a second without a change the same
    // frame comes again, so that a lost connection is noticed.
    Frame Next(std::uint64_t seen);
    // Ends every wait, now and later.
    void Close();

  private:
    using Clock = std::chrono::steady_clock;

    void Refresh();

    Block& block_;
    std::mutex png_mutex_;  // of what is for the single picture; a stream never waits for it
    LcdCompositor png_compositor_;
    std::shared_ptr<const std::string> png_;
    std::mutex mutex_;  // of the stream, which is all the rest
    std::condition_variable closing_;
    bool closed_ = false;
    Clock::time_point looked_{}, changed_{};
    LcdCompositor compositor_;
    Frame frame_;
};

}  // namespace board
