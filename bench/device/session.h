// A session of the whole program on the device kernel, driven by a script.
#pragma once

#include <chrono>
#include <deque>

#include "bench/device/device_kernel.h"
#include "mwin/platform.h"

namespace device {

// Everything between two calls of Run is what the program executes in that time, plus next to nothing.
class Session final {
  public:
    using Script = void (*)(Session& session, int repeats);

    // Runs the program on this thread and the script on another one. The process ends with the script, at once: what
    // the program does when it is ended is not counted.
    [[noreturn]] static void Play(Script script, int repeats);

    DeviceKernel& Kernel() { return m_kernel; }
    // Lets the program run for so long.
    void Run(std::chrono::milliseconds time);
    // Lets it run until live view has been on the screen for a while.
    void RunToLiveView() { Run(std::chrono::seconds(4)); }
    // Presses and releases a key (VK_…).
    void Press(int virtual_key);

  private:
    class Keys final : public mwin::Keys {
      public:
        bool Read(mwin::KeyEvent& event) override;
        std::deque<mwin::KeyEvent> waiting;
    };
    class Clock final : public mwin::Clock {
      public:
        explicit Clock(Session& session) : m_session(session) {}
        std::uint32_t TickCount() override;
        void Wait(int timeout_ms) override;
        void Wake() override;

      private:
        Session& m_session;
    };

    Session();
    static void* RunScript(void* self);

    DeviceKernel m_kernel{"."};
    Keys m_keys;
    Clock m_clock{*this};
    Script m_script = nullptr;
    int m_repeats = 0;
};

}  // namespace device
