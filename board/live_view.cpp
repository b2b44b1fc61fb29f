#include "board/live_view.h"

#include "board/picture_codec.h"

namespace board {
namespace {

constexpr std::chrono::milliseconds kFramePeriod{40};
constexpr std::chrono::seconds kRepeat{1};
constexpr int kJpegQuality = 92;

}  // namespace

std::string LiveView::Png() const {
    LcdCompositor compositor;
    return EncodePng(compositor.Compose(block_).data(), kScreenWidth, kScreenHeight);
}

void LiveView::Refresh() {
    refreshed_ = Clock::now();
    const LcdPicture* const picture = compositor_.ComposeIfChanged(block_);
    if (!picture) return;
    frame_.jpeg =
        std::make_shared<const std::string>(EncodeJpeg(picture->data(), kScreenWidth, kScreenHeight, kJpegQuality));
    ++frame_.number;
}

LiveView::Frame LiveView::Next(std::uint64_t seen) {
    std::unique_lock lock(mutex_);
    const Clock::time_point repeat = Clock::now() + kRepeat;
    while (!closed_) {
        if (Clock::now() >= refreshed_ + kFramePeriod) Refresh();
        if (frame_.number != seen || Clock::now() >= repeat) return frame_;
        closing_.wait_until(lock, refreshed_ + kFramePeriod, [this] { return closed_; });
    }
    return {};
}

void LiveView::Close() {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    closing_.notify_all();
}

}  // namespace board
