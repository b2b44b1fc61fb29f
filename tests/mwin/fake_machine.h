// A machine for tests of the window system: a screen in memory, keys that are put in, and a clock that is moved.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

#include "mwin/platform.h"
#include "mwin/windows.h"

namespace mwin_test {

class FakeScreen final : public mwin::Screen {
  public:
    FakeScreen(int width, int height)
        : width_(width), height_(height), pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {}
    int Width() const override { return width_; }
    int Height() const override { return height_; }
    void Update(const std::uint32_t* surface, int stride, int x, int y, int width, int height) override {
        ASSERT_TRUE(x >= 0 && y >= 0 && x + width <= width_ && y + height <= height_);
        for (int row = y; row < y + height; ++row)
            std::copy_n(surface + row * stride + x, width, &pixels_[static_cast<std::size_t>(row * width_ + x)]);
        updated_pixels += width * height;
    }
    // What is shown, 0xAARRGGBB.
    std::uint32_t At(int x, int y) const { return pixels_[static_cast<std::size_t>(y * width_ + x)]; }

    int updated_pixels = 0;

  private:
    int width_;
    int height_;
    std::vector<std::uint32_t> pixels_;
};

class FakeKeys final : public mwin::Keys {
  public:
    bool Read(mwin::KeyEvent& event) override {
        if (events_.empty()) return false;
        event = events_.front();
        events_.pop_front();
        return true;
    }
    void Put(int key, mwin::KeyEvent::Kind kind) { events_.push_back({key, kind}); }
    void Type(int key) {
        Put(key, mwin::KeyEvent::Kind::Press);
        Put(key, mwin::KeyEvent::Kind::Release);
    }

  private:
    std::deque<mwin::KeyEvent> events_;
};

// Moves when told, and when the program waits for a time. Each time the program has nothing left to do, the next of the
// prepared steps is taken instead of waiting; a wait that nothing could end fails the test and ends the main loop.
class FakeClock final : public mwin::Clock {
  public:
    std::uint32_t TickCount() override { return now_; }
    void Wait(int timeout_ms) override {
        ++waits;
        if (timeout_ms == 0 || woken_.exchange(false)) return;
        if (!steps_.empty()) {
            const std::function<void()> step = std::move(steps_.front());
            steps_.pop_front();
            step();
        } else if (timeout_ms > 0 && ++idle_waits_ < kMostIdleWaits) {
            Advance(static_cast<std::uint32_t>(timeout_ms));
        } else {
            ADD_FAILURE() << "the program waits for something that never comes";
            PostQuitMessage(-1);
        }
    }
    void Wake() override { woken_ = true; }

    void Advance(std::uint32_t milliseconds) { now_ += milliseconds; }
    void SetTime(std::uint32_t now) { now_ = now; }
    void WhenIdle(std::function<void()> step) { steps_.push_back(std::move(step)); }
    // Drops the steps that were not needed.
    void DropSteps() { steps_.clear(); }

    int waits = 0;  // calls of Wait

  private:
    static constexpr int kMostIdleWaits = 100000;
    std::atomic<std::uint32_t> now_{1000};
    std::atomic<bool> woken_{false};
    int idle_waits_ = 0;
    std::deque<std::function<void()>> steps_;
};

// A window system on a fresh machine, 320×240 like the device's LCD.
class WindowSystemTest : public testing::Test {
  protected:
    WindowSystemTest() { mwin::Install(screen, keys, clock); }
    ~WindowSystemTest() override { mwin::Shutdown(); }
    WindowSystemTest(const WindowSystemTest&) = delete;
    WindowSystemTest& operator=(const WindowSystemTest&) = delete;

    // Handles what there is to do now, without letting time pass.
    static void RunUntilIdle() {
        MSG message{};
        while (PeekMessage(&message, nullptr, 0, 0, PM_REMOVE) != FALSE)
            DispatchMessage(&message);
    }

    FakeScreen screen{320, 240};
    FakeKeys keys;
    FakeClock clock;
};

}  // namespace mwin_test
