#include "mwin/message_queue.h"

#include <algorithm>
#include <bitset>
#include <deque>
#include <mutex>
#include <unordered_set>

#include "mwin/dialog.h"
#include "mwin/focus.h"
#include "mwin/paint.h"
#include "mwin/surface.h"
#include "mwin/timer.h"
#include "mwin/window.h"
#include "mwin/window_tree.h"

namespace mwin {
namespace {

constexpr std::size_t kMostPosted = 10000;
constexpr int kMostKeys = 16;
constexpr int kKeyCodes = 256;
constexpr LPARAM kKeyWasDown = LPARAM{1} << 30U;

struct Queue {
    // What other threads reach.
    std::mutex mutex;
    std::deque<MSG> posted;
    std::unordered_set<HWND> addressees;
    Clock* clock = nullptr;

    // UI thread.
    Keys* keys = nullptr;
    std::deque<KeyEvent> key_events;
    int waiting_presses = 0;
    std::bitset<kKeyCodes> held;  // keys whose press was taken
    bool keys_wait = false;       // none is handed out
    bool quit = false;
    int exit_code = 0;
    int dispatch_depth = 0;
};

// Never destroyed: worker threads may still post, and static destructors still destroy windows, while the process
// exits.
Queue& queue() {
    static auto* instance = new Queue;
    return *instance;
}

// What the caller of GetMessage or PeekMessage wants.
struct Filter {
    HWND window;
    UINT first;
    UINT last;
    bool remove;

    bool Wants(UINT message) const { return (first == 0 && last == 0) || (message >= first && message <= last); }
    bool Wants(HWND handle) const {
        if (window == nullptr || window == handle) return true;
        const WindowPtr inner = Find(handle);
        const WindowPtr outer = Find(window);
        return inner != nullptr && outer != nullptr && IsSameOrInside(*inner, *outer);
    }
};

bool TakePosted(const Filter& filter, MSG& message) {
    Queue& q = queue();
    {
        const std::lock_guard<std::mutex> lock(q.mutex);
        const auto match = std::find_if(q.posted.begin(), q.posted.end(), [&](const MSG& m) {
            return m.message == WM_QUIT || (filter.Wants(m.message) && filter.Wants(m.hwnd));
        });
        if (match == q.posted.end()) return false;
        message = *match;
        if (filter.remove || message.message == WM_QUIT) q.posted.erase(match);
    }
    if (message.message == WM_QUIT) {
        EndLoopOf(message.hwnd);
        message.message = WM_NULL;  // so that the dialog's loop looks whether it goes on before anything else happens
    }
    return true;
}

bool TakeQuit(const Filter& filter, MSG& message) {
    Queue& q = queue();
    if (!q.quit) return false;
    message = {nullptr, WM_QUIT, static_cast<WPARAM>(q.exit_code), 0, GetTickCount(), {0, 0}};
    // Inner loops leave it for the outermost one; a dialog's loop ends it itself.
    if (filter.remove && q.dispatch_depth == 0 && RunningDialog() == nullptr) q.quit = false;
    return true;
}

bool IsArrow(int key) {
    return key >= VK_LEFT && key <= VK_DOWN;
}

// Moves what the key source has into the queue, as far as it is wanted.
void ReadKeys() {
    Queue& q = queue();
    KeyEvent event{};
    while (q.keys->Read(event)) {
        if (event.virtual_key <= 0 || event.virtual_key >= kKeyCodes) continue;
        const auto key = static_cast<std::size_t>(event.virtual_key);
        if (event.kind == KeyEvent::Kind::Release) {
            if (!q.held[key]) continue;
            q.held[key] = false;
        } else {
            if (event.kind == KeyEvent::Kind::Repeat && (!IsArrow(event.virtual_key) || !q.held[key])) continue;
            if (q.waiting_presses >= kMostKeys) continue;
            ++q.waiting_presses;
            q.held[key] = true;
        }
        q.key_events.push_back(event);
    }
}

bool TakeKey(const Filter& filter, MSG& message) {
    Queue& q = queue();
    ReadKeys();
    while (!q.key_events.empty() && !q.keys_wait) {
        const KeyEvent event = q.key_events.front();
        const bool released = event.kind == KeyEvent::Kind::Release;
        const WindowPtr target = KeyTarget();
        const UINT number = released ? WM_KEYUP : WM_KEYDOWN;
        if (target != nullptr && (!filter.Wants(number) || !filter.Wants(target->handle))) return false;
        if (filter.remove || target == nullptr) {
            q.key_events.pop_front();
            if (!released) --q.waiting_presses;
        }
        if (target == nullptr) continue;
        const LPARAM details = 1 | (event.kind == KeyEvent::Kind::Press ? 0 : kKeyWasDown);
        message = {target->handle, number, static_cast<WPARAM>(event.virtual_key), details, GetTickCount(), {0, 0}};
        return true;
    }
    return false;
}

bool TakePaint(const Filter& filter, MSG& message) {
    if (!filter.Wants(WM_PAINT)) return false;
    const WindowPtr window = NextToPaint(filter.window);
    if (window == nullptr) return false;
    message = {window->handle, WM_PAINT, 0, 0, GetTickCount(), {0, 0}};
    return true;
}

bool TakeTimer(const Filter& filter, MSG& message) {
    return filter.Wants(WM_TIMER) && TakeTimerMessage(filter.window, GetTickCount(), filter.remove, message);
}

bool Take(const Filter& filter, MSG& message) {
    if (TakePosted(filter, message) || TakeQuit(filter, message) || TakeKey(filter, message) ||
        TakePaint(filter, message)) {
        return true;
    }
    // Everything is drawn: show it before a timer's procedure takes its time.
    FlushScreen();
    return TakeTimer(filter, message);
}

}  // namespace

void OpenQueue(Keys& keys, Clock& clock) {
    Queue& q = queue();
    const std::lock_guard<std::mutex> lock(q.mutex);
    q.keys = &keys;
    q.clock = &clock;
}

void CloseQueue() {
    Queue& q = queue();
    const std::lock_guard<std::mutex> lock(q.mutex);
    q.posted.clear();
    q.addressees.clear();
    q.keys = nullptr;
    q.clock = nullptr;
    q.key_events.clear();
    q.waiting_presses = 0;
    q.held.reset();
    q.keys_wait = false;
    q.quit = false;
    q.dispatch_depth = 0;
}

void AcceptMessages(HWND window) {
    const std::lock_guard<std::mutex> lock(queue().mutex);
    queue().addressees.insert(window);
}

void RefuseMessages(HWND window) {
    Queue& q = queue();
    const std::lock_guard<std::mutex> lock(q.mutex);
    q.addressees.erase(window);
    q.posted.erase(
        std::remove_if(q.posted.begin(), q.posted.end(), [=](const MSG& message) { return message.hwnd == window; }),
        q.posted.end());
}

bool QuitPending() {
    return queue().quit;
}

void ClearQuit() {
    queue().quit = false;
}

int DispatchDepth() {
    return queue().dispatch_depth;
}

}  // namespace mwin

BOOL PostMessage(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
    mwin::Queue& q = mwin::queue();
    const std::lock_guard<std::mutex> lock(q.mutex);
    if (q.clock == nullptr || q.addressees.count(window) == 0 || q.posted.size() >= mwin::kMostPosted) return FALSE;
    q.posted.push_back({window, message, wparam, lparam, q.clock->TickCount(), {0, 0}});
    q.clock->Wake();
    return TRUE;
}

void PostQuitMessage(int exit_code) {
    mwin::queue().quit = true;
    mwin::queue().exit_code = exit_code;
}

void MwLetKeysWait(BOOL wait) {
    mwin::queue().keys_wait = wait != FALSE;
}

void MwDropKeys() {
    mwin::Queue& q = mwin::queue();
    if (q.keys != nullptr) mwin::ReadKeys();
    q.key_events.clear();
    q.waiting_presses = 0;
}

void MwDropKey(int virtual_key) {
    mwin::Queue& q = mwin::queue();
    if (q.keys != nullptr) mwin::ReadKeys();
    const auto dropped = [&](const mwin::KeyEvent& event) {
        const bool drop = event.virtual_key == virtual_key && event.kind != mwin::KeyEvent::Kind::Release;
        if (drop) --q.waiting_presses;
        return drop;
    };
    q.key_events.erase(std::remove_if(q.key_events.begin(), q.key_events.end(), dropped), q.key_events.end());
}

BOOL GetMessage(MSG* message, HWND window, UINT first, UINT last) {
    mwin::Queue& q = mwin::queue();
    if (message == nullptr || q.clock == nullptr) return FALSE;
    const mwin::Filter filter{window, first, last, true};
    int timeout = 0;  // the first wait only opens the signals, also when there is always something to do
    for (;;) {
        q.clock->Wait(timeout);
        if (mwin::Take(filter, *message)) return message->message != WM_QUIT ? TRUE : FALSE;
        timeout = mwin::UntilNextTimer(q.clock->TickCount());
    }
}

BOOL PeekMessage(MSG* message, HWND window, UINT first, UINT last, UINT remove) {
    if (message == nullptr || mwin::queue().clock == nullptr) return FALSE;
    const bool taking = (remove & PM_REMOVE) != 0;
    return mwin::Take({window, first, last, taking}, *message) ? TRUE : FALSE;
}

BOOL TranslateMessage(const MSG* message) {
    if (message == nullptr || message->message != WM_KEYDOWN) return FALSE;
    const auto key = static_cast<int>(message->wParam);
    WPARAM character = 0;
    if (key == VK_SPACE || key == VK_RETURN || key == VK_BACK || key == VK_TAB || key == VK_ESCAPE ||
        (key >= '0' && key <= '9')) {
        character = message->wParam;
    } else if (key >= 'A' && key <= 'Z') {
        character = message->wParam - 'A' + 'a';
    } else {
        return FALSE;
    }
    return PostMessage(message->hwnd, WM_CHAR, character, message->lParam);
}

LRESULT DispatchMessage(const MSG* message) {
    if (message == nullptr) return 0;
    LRESULT result = 0;
    ++mwin::queue().dispatch_depth;
    const mwin::WindowPtr window = mwin::Find(message->hwnd);
    if (message->message == WM_TIMER) {
        mwin::DispatchTimer(*message);
    } else if (window != nullptr && !window->dying) {
        if (message->message == WM_PAINT) {
            mwin::PaintPending(window);
        } else {
            result = mwin::CallProcedure(window, message->message, message->wParam, message->lParam);
        }
    }
    --mwin::queue().dispatch_depth;
    return result;
}
