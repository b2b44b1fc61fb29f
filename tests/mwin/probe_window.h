// A window system on a machine of its own (a screen in memory, keys that are put in, a clock that is moved), and
// windows that write down what reaches them and do what the test tells them to.
#pragma once

#include <gmock/gmock.h>

#include <atomic>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "mwin/memory_screen.h"
#include "mwin/platform.h"
#include "tests/mwin/common.h"

namespace mwin_test {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using Kind = mwin::KeyEvent::Kind;
using Log = std::vector<std::string>;

class FakeKeys final : public mwin::Keys {
  public:
    bool Read(mwin::KeyEvent& event) override {
        if (events_.empty()) return false;
        event = events_.front();
        events_.pop_front();
        return true;
    }
    void Put(int key, Kind kind) { events_.push_back({key, kind}); }
    void Type(int key) {
        Put(key, Kind::Press);
        Put(key, Kind::Release);
    }

  private:
    std::deque<mwin::KeyEvent> events_;
};

// Moves when told, and when the program waits for a time. Each time the program has nothing left to do, the next of the
// prepared steps is taken instead of waiting; a wait that nothing could end fails the test and ends the main loop.
class FakeClock final : public mwin::Clock {
  public:
    std::uint32_t TickCount() override { return now; }
    void Wait(int timeout_ms) override {
        ++waits;
        if (timeout_ms == 0 || woken_.exchange(false)) return;
        if (!steps.empty()) {
            const std::function<void()> step = std::move(steps.front());
            steps.pop_front();
            step();
        } else if (timeout_ms > 0 && ++idle_waits_ < kMostIdleWaits) {
            now += static_cast<std::uint32_t>(timeout_ms);
        } else {
            ADD_FAILURE() << "the program waits for something that never comes";
            PostQuitMessage(-1);
        }
    }
    void Wake() override { woken_ = true; }

    std::atomic<std::uint32_t> now{1000};
    std::deque<std::function<void()>> steps;
    int waits = 0;  // calls of Wait

  private:
    static constexpr int kMostIdleWaits = 100000;
    std::atomic<bool> woken_{false};
    int idle_waits_ = 0;
};

using Handler = std::function<LRESULT(HWND, UINT, WPARAM, LPARAM)>;

// What all probes have received, "name:message", of the messages that are watched.
inline Log g_log;
inline std::map<UINT, std::string> g_watched;
inline std::map<HWND, Handler> g_handlers;

inline void ResetProbes() {
    g_log.clear();
    g_handlers.clear();
    g_watched = {{WM_CREATE, "create"},     {WM_DESTROY, "destroy"},    {WM_PAINT, "paint"}, {WM_ERASEBKGND, "erase"},
                 {WM_TIMER, "timer"},       {WM_KEYDOWN, "keydown"},    {WM_KEYUP, "keyup"}, {WM_USER, "user"},
                 {WM_SETFOCUS, "setfocus"}, {WM_KILLFOCUS, "killfocus"}};
}

inline void Note(HWND window, const std::string& what) {
    char name[32] = "";
    GetWindowText(window, name, sizeof name);
    g_log.push_back(std::string(name) + ":" + what);
}

inline void NoteIfWatched(HWND window, UINT message) {
    const auto watched = g_watched.find(message);
    if (watched != g_watched.end()) Note(window, watched->second);
}

inline LRESULT CALLBACK ProbeProcedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
    NoteIfWatched(window, message);
    const auto handler = g_handlers.find(window);
    if (handler != g_handlers.end()) {
        const Handler kept = handler->second;  // it may be replaced meanwhile
        if (const LRESULT answer = kept(window, message, wparam, lparam)) return answer;
    }
    return DefWindowProc(window, message, wparam, lparam);
}

// Does something when the message arrives; the default procedure answers it.
inline Handler On(UINT wanted, const std::function<void(HWND)>& action) {
    return [=](HWND window, UINT message, WPARAM, LPARAM) -> LRESULT {
        if (message == wanted) action(window);
        return 0;
    };
}

inline HWND CreateProbe(const char* name, HWND parent, const RECT& rect, DWORD style = WS_CHILD | WS_VISIBLE,
                        COLORREF color = 0) {
    const std::string class_name = "probe" + std::to_string(color);
    WNDCLASS probe{};
    probe.lpfnWndProc = ProbeProcedure;
    probe.cbWndExtra = 20;
    probe.hbrBackground = color != 0 ? CreateSolidBrush(color) : nullptr;
    probe.lpszClassName = class_name.c_str();
    RegisterClass(&probe);
    return CreateWindow(class_name.c_str(), name, style, rect.left, rect.top, rect.right - rect.left,
                        rect.bottom - rect.top, parent, nullptr, nullptr, nullptr);
}

// Removes and returns what was written down.
inline Log TakeLog() {
    return std::exchange(g_log, {});
}

// A window system on a fresh machine, 320×240 like the device's LCD.
class WindowSystemTest : public testing::Test {
  protected:
    WindowSystemTest() {
        ResetProbes();
        mwin::Install(screen, keys, clock);
    }
    ~WindowSystemTest() override { mwin::Shutdown(); }
    WindowSystemTest(const WindowSystemTest&) = delete;
    WindowSystemTest& operator=(const WindowSystemTest&) = delete;

    // Handles what there is to do now, without letting time pass.
    static void RunUntilIdle() {
        MSG message{};
        while (PeekMessage(&message, nullptr, 0, 0, PM_REMOVE) != FALSE)
            DispatchMessage(&message);
    }
    // The same, and returns what was written down.
    static Log Received() {
        RunUntilIdle();
        return TakeLog();
    }
    std::uint32_t At(int x, int y) const { return screen.PixelAt(x, y); }
    // How many pixels reach the screen while what there is to do is handled.
    int Repainted() {
        const std::size_t before = screen.UpdatedPixels();
        RunUntilIdle();
        return static_cast<int>(screen.UpdatedPixels() - before);
    }

    mwin::MemoryScreen screen{320, 240};
    FakeKeys keys;
    FakeClock clock;
};

}  // namespace mwin_test
