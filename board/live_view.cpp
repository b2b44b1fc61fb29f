#include "board/live_view.h"

#include "board/picture_codec.h"

namespace board {
namespace {

// How often the block is looked at for a change, and the shortest time between two pictures: a little less than the
// camera's, so that none of its frames is missed.
constexpr std::chrono::milliseconds kLook{5};
constexpr std::chrono::milliseconds kFramePeriod{25};
constexpr std::chrono::seconds kRepeat{1};
constexpr int kJpegQuality = 92;

}  // namespace

std::shared_ptr<const std::string> LiveView::Png() {
    const std::lock_guard lock(png_mutex_);
    if (const LcdPicture* const picture = png_compositor_.ComposeIfChanged(block_)) {
        png_ = std::make_shared<const std::string>(EncodePng(picture->data(), kScreenWidth, kScreenHeight));
    }
    return png_;
}

void LiveView::Refresh() {
    looked_ = Clock::now();
    if (looked_ < changed_ + kFramePeriod) return;
    const LcdPicture* const picture = compositor_.ComposeIfChanged(block_);
    if (!picture) return;
    changed_ = looked_;
    frame_.jpeg =
        std::make_shared<const std::string>(EncodeJpeg(picture->data(), kScreenWidth, kScreenHeight, kJpegQuality));
    ++frame_.number;
}

LiveView::Frame LiveView::Next(std::uint64_t seen) {
    std::unique_lock lock(mutex_);
    const Clock::time_point repeat = Clock::now() + kRepeat;
    while (!closed_) {
        if (Clock::now() >= looked_ + kLook) Refresh();
        if (frame_.number != seen || Clock::now() >= repeat) return frame_;
        closing_.wait_until(lock, looked_ + kLook, [this] { return closed_; });
    }
    return {};
}

void LiveView::Close() {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    closing_.notify_all();
}

}  // namespace board
