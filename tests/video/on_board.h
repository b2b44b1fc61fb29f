// Fixture: one virtual board with its moved clock, and what is printed meanwhile.
#pragma once

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "tests/support/virtual_board.h"

constexpr int kFrameBytes = 320 * 240 * 2;

// What `action` prints.
inline std::string Printed(const std::function<void()>& action) {
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

inline int Count(const std::string& text, const std::string& part) {
    int count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size())
        ++count;
    return count;
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
