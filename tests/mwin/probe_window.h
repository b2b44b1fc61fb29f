// A window that writes down what reaches it, and does what the test tells it to.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/mwin/fake_machine.h"

namespace mwin_test {

using Handler = std::function<LRESULT(HWND, UINT, WPARAM, LPARAM)>;

// What all probes have received, "name:message", of the messages that are watched.
inline std::vector<std::string> g_log;
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
inline std::vector<std::string> TakeLog() {
    return std::exchange(g_log, {});
}

inline std::vector<LONG> Edges(const RECT& rect) {
    return {rect.left, rect.top, rect.right, rect.bottom};
}

}  // namespace mwin_test
