// The window system's seam to the machine: a screen, a key source and time.
#pragma once

#include <cstdint>

namespace mwin {

// A screen that shows 32-bit pixels. UI thread.
class Screen {
  public:
    virtual int Width() const = 0;
    virtual int Height() const = 0;
    // Shows the rectangle (x, y, width, height) of `surface`, whose rows are `stride` pixels apart and whose first
    // pixel is the screen's top left. Pixels are 0xAARRGGBB words (blue first in memory on little-endian machines).
    virtual void Update(const std::uint32_t* surface, int stride, int x, int y, int width, int height) = 0;

  protected:
    ~Screen() = default;
};

// One change of one key.
struct KeyEvent {
    enum class Kind { Press, Repeat, Release };
    int virtual_key;  // VK_… code
    Kind kind;
};

// Where keys come from. UI thread.
class Keys {
  public:
    // Takes the oldest waiting event; false when none waits. Never blocks.
    virtual bool Read(KeyEvent& event) = 0;

  protected:
    ~Keys() = default;
};

// Time, and the one place where the UI thread waits.
class Clock {
  public:
    // Milliseconds since some fixed point; starts non-zero, is monotonic and wraps after 49.7 days. Thread-safe.
    virtual std::uint32_t TickCount() = 0;
    // Returns when a key waits, Wake was called since the last return, a signal was handled, or `timeout_ms` passed
    // (negative: no time-out). SIGINT and SIGTERM are open only inside. UI thread.
    virtual void Wait(int timeout_ms) = 0;
    // Ends the current or the next Wait. Thread-safe.
    virtual void Wake() = 0;

  protected:
    ~Clock() = default;
};

// Installs the machine (not owned; must outlive every window). Before the first window; again only between tests, after
// mwin::Shutdown().
void Install(Screen& screen, Keys& keys, Clock& clock);
// Destroys every window, timer and message, so that a test can start afresh. UI thread.
void Shutdown();

}  // namespace mwin
