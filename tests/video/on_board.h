// Fixture: one virtual board with its moved clock.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "tests/support/virtual_board.h"

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

class OnBoard : public testing::Test {
  protected:
    // Lets time pass until `action`, which may sleep and join, has ended on a thread of its own. Returns what it took.
    std::chrono::milliseconds Run(const std::function<void()>& action) {
        const auto start = board.Clock().Monotonic();
        std::atomic<bool> ended{false};
        std::thread thread([&] {
            action();
            ended = true;
        });
        EXPECT_TRUE(board.Clock().RunUntil([&] { return ended.load(); }, std::chrono::minutes(1)));
        thread.join();
        return std::chrono::duration_cast<std::chrono::milliseconds>(board.Clock().Monotonic() - start);
    }
    bool Until(const std::function<bool()>& condition) {
        return board.Clock().RunUntil(condition, std::chrono::seconds(30));
    }
    support::VirtualBoard board;
};
