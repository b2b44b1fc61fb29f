#include "mwin/timer.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "mwin/window.h"

namespace mwin {
namespace {

struct Timer {
    HWND window;
    UINT id;
    UINT period;
    DWORD due;
    TIMERPROC procedure;
};

// Never destroyed: static destructors still kill their timers while the process exits.
std::vector<Timer>& timers() {
    static auto* instance = new std::vector<Timer>;
    return *instance;
}

constexpr UINT kLongestPeriod = 0x7FFFFFFF;

// Milliseconds from `now` until `then`, negative when it has passed; the tick count wraps.
std::int32_t Until(DWORD then, DWORD now) {
    return static_cast<std::int32_t>(then - now);
}

Timer* FindTimer(HWND window, UINT id) {
    const auto found = std::find_if(timers().begin(), timers().end(),
                                    [=](const Timer& t) { return t.window == window && t.id == id; });
    return found != timers().end() ? &*found : nullptr;
}

UINT FreeId(HWND window) {
    UINT id = 1;
    while (FindTimer(window, id) != nullptr)
        ++id;
    return id;
}

}  // namespace

int UntilNextTimer(DWORD now) {
    int nearest = -1;
    for (const Timer& timer : timers()) {
        const int wait = std::max(0, Until(timer.due, now));
        nearest = nearest < 0 ? wait : std::min(nearest, wait);
    }
    return nearest;
}

bool TakeTimerMessage(HWND window, DWORD now, bool remove, MSG& message) {
    Timer* longest = nullptr;
    for (Timer& timer : timers()) {
        if (Until(timer.due, now) > 0 || (window != nullptr && timer.window != window)) continue;
        if (longest == nullptr || Until(timer.due, now) < Until(longest->due, now)) longest = &timer;
    }
    if (longest == nullptr) return false;
    message = {longest->window, WM_TIMER, longest->id, reinterpret_cast<LPARAM>(longest->procedure), now, {0, 0}};
    if (remove) {
        // Keeps the beat; ticks that were missed are left out.
        longest->due += longest->period;
        if (Until(longest->due, now) <= 0) longest->due = now + longest->period;
    }
    return true;
}

void DispatchTimer(const MSG& message) {
    const auto id = static_cast<UINT>(message.wParam);
    const Timer* timer = FindTimer(message.hwnd, id);
    if (timer == nullptr) return;
    if (timer->procedure != nullptr) {
        timer->procedure(message.hwnd, WM_TIMER, id, message.time);
    } else if (const WindowPtr window = Find(message.hwnd)) {
        CallProcedure(window, WM_TIMER, message.wParam, 0);
    }
}

void KillTimersOf(HWND window) {
    timers().erase(std::remove_if(timers().begin(), timers().end(), [=](const Timer& t) { return t.window == window; }),
                   timers().end());
}

void KillAllTimers() {
    timers().clear();
}

std::size_t LiveTimers() {
    return timers().size();
}

}  // namespace mwin

UINT SetTimer(HWND handle, UINT id, UINT milliseconds, TIMERPROC procedure) {
    const mwin::WindowPtr window = mwin::Find(handle);
    if (handle != nullptr && (window == nullptr || window->dying)) return 0;
    // Id 0 would look like a failure; a new timer without a window gets an id of its own.
    if (id == 0 || (handle == nullptr && mwin::FindTimer(nullptr, id) == nullptr)) id = mwin::FreeId(handle);
    const UINT period = std::clamp(milliseconds, 1U, mwin::kLongestPeriod);
    const mwin::Timer timer{handle, id, period, GetTickCount() + period, procedure};
    if (mwin::Timer* existing = mwin::FindTimer(handle, id)) {
        *existing = timer;
    } else {
        mwin::timers().push_back(timer);
    }
    return id;
}

BOOL KillTimer(HWND window, UINT id) {
    mwin::Timer* timer = mwin::FindTimer(window, id);
    if (timer == nullptr) return FALSE;
    mwin::timers().erase(mwin::timers().begin() + (timer - mwin::timers().data()));
    return TRUE;
}
