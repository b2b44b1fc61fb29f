// Start and end of the window system, and what may be asked about it.
#include <atomic>

#include "mwin/controls.h"
#include "mwin/dialog.h"
#include "mwin/display.h"
#include "mwin/focus.h"
#include "mwin/message_queue.h"
#include "mwin/paint.h"
#include "mwin/platform.h"
#include "mwin/timer.h"
#include "mwin/window.h"

namespace mwin {
namespace {

std::atomic<Clock*> g_clock{nullptr};
std::atomic<int> g_screen_width{0};
std::atomic<int> g_screen_height{0};

}  // namespace

void Install(Screen& screen, Keys& keys, Clock& clock) {
    g_clock = &clock;
    g_screen_width = screen.Width();
    g_screen_height = screen.Height();
    OpenDisplay(screen);
    OpenQueue(keys, clock);
    CreateDesktop(screen.Width(), screen.Height());
    InvalidateTree(*Desktop());
    MwInitializeDialogs(nullptr);
}

void Shutdown() {
    KillAllTimers();
    CloseQueue();
    ForgetFocus();
    ForgetAllDevices();
    ForgetAllWindows();
    CloseDisplay();
    g_screen_width = 0;
    g_screen_height = 0;
    g_clock = nullptr;
}

}  // namespace mwin

DWORD GetTickCount() {
    mwin::Clock* clock = mwin::g_clock;
    return clock != nullptr ? clock->TickCount() : 0;
}

int GetSystemMetrics(int index) {
    switch (index) {
        case SM_CXSCREEN:
            return mwin::g_screen_width;
        case SM_CYSCREEN:
            return mwin::g_screen_height;
        default:
            return 0;
    }
}

COLORREF GetSysColor(int index) {
    switch (index) {
        case COLOR_WINDOW:
        case COLOR_HIGHLIGHTTEXT:
            return RGB(0xFF, 0xFF, 0xFF);
        case COLOR_HIGHLIGHT:
            return RGB(0x16, 0x42, 0x73);
        case COLOR_SCROLLBAR:
            return RGB(0xC0, 0xC0, 0xC0);
        case COLOR_BTNFACE:
            return RGB(0xF0, 0xF0, 0xF0);
        default:  // background, frame, text
            return RGB(0, 0, 0);
    }
}
