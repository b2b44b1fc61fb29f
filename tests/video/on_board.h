// Fixture: one virtual board with its moved clock, what is printed meanwhile, and the frames of a camera.
#pragma once

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "tests/support/printed.h"
#include "tests/support/virtual_board.h"
#include "video/v4l2_uvc_ctrl.h"

using support::Count;
using support::Printed;

constexpr int kFrameBytes = 320 * 240 * 2;

// The oldest frame that waits, without allocating once there was one of its size; empty when there is none.
inline const std::string& TakeFrame(CV4L2_UVCCtrl& camera) {
    static std::string frame;
    CDoubleBufferData* slot = camera.PopFrameData();
    int length = 0;
    const char* data = slot ? slot->GetData(length) : "";
    frame.assign(data, static_cast<std::size_t>(length));
    camera.ReleaseFrameData(slot);
    return frame;
}

// Captures what the test prints; one that failed gets all of it printed at the end. Every device must be closed by
// then.
class OnBoard : public testing::Test {
  protected:
    OnBoard() { testing::internal::CaptureStdout(); }
    ~OnBoard() override {
        Said();
        testing::internal::GetCapturedStdout();
        if (HasFailure()) std::printf("%s", m_said.c_str());
    }

    // Lets time pass until `action`, which may sleep and join, has ended on a thread of its own. Returns the
    // milliseconds that it took.
    long Run(const std::function<void()>& action) {
        const auto start = board.Clock().Monotonic();
        std::atomic<bool> ended{false};
        std::thread thread([&] {
            action();
            ended = true;
        });
        EXPECT_TRUE(board.Clock().RunUntil([&] { return ended.load(); }, std::chrono::minutes(1)));
        thread.join();
        return (board.Clock().Monotonic() - start) / std::chrono::milliseconds(1);
    }
    bool Until(const std::function<bool()>& condition) {
        return board.Clock().RunUntil(condition, std::chrono::seconds(30));
    }
    void Pass(int milliseconds) { board.Clock().Advance(std::chrono::milliseconds(milliseconds)); }
    // What was printed since the last look.
    std::string Said() {
        const std::string said = testing::internal::GetCapturedStdout();
        testing::internal::CaptureStdout();
        m_said += said;
        return said;
    }
    board::PixelPipelineState Overlay() { return board.Get(&board::Block::pxp); }
    // Pictures that the overlay showed.
    unsigned Shown() { return board.Get(&board::Block::video_sequence); }

    support::VirtualBoard board;

  private:
    std::string m_said;
};
