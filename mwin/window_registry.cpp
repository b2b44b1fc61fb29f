// Classes, handles and the way to a window's procedure.
#include <strings.h>

#include <deque>
#include <unordered_map>

#include "mwin/window.h"
#include "mwin/window_tree.h"

namespace mwin {
namespace {

struct Registry {
    std::deque<WindowClass> classes;  // pointers to them stay valid
    std::unordered_map<HWND, WindowPtr> windows;
    WindowPtr desktop;
    std::uintptr_t last_handle = 0;
};

// Never destroyed: static destructors still destroy their windows while the process exits.
Registry& registry() {
    static auto* instance = new Registry;
    return *instance;
}

}  // namespace

WindowPtr Find(HWND handle) {
    const auto found = registry().windows.find(handle);
    return found != registry().windows.end() ? found->second : nullptr;
}

std::size_t LiveWindows() {
    return registry().windows.size();
}

const WindowPtr& Desktop() {
    return registry().desktop;
}

void CreateDesktop(int width, int height) {
    const auto desktop = std::make_shared<Window>();
    AddWindow(desktop);
    desktop->procedure = DefWindowProc;
    desktop->background = GetStockObject(BLACK_BRUSH);
    desktop->style = WS_VISIBLE;
    desktop->rect = {0, 0, width, height};
    registry().desktop = desktop;
}

void AddWindow(const WindowPtr& window) {
    constexpr std::uintptr_t kStep = 16;  // looks like an address, and no small number is ever a handle
    registry().last_handle += kStep;
    window->handle = reinterpret_cast<HWND>(registry().last_handle);
    registry().windows.emplace(window->handle, window);
}

void RemoveWindow(Window& window) {
    window.gone = true;
    registry().windows.erase(window.handle);
}

void ForgetAllWindows() {
    for (auto& entry : registry().windows) {
        entry.second->gone = entry.second->silent = entry.second->dying = true;
        entry.second->parent = nullptr;
    }
    for (auto& entry : registry().windows)
        entry.second->children.clear();
    registry().windows.clear();
    registry().desktop.reset();
    registry().classes.clear();
}

const WindowClass* FindClass(const char* name) {
    if (name == nullptr) return nullptr;
    for (const WindowClass& c : registry().classes) {
        if (strcasecmp(c.name.c_str(), name) == 0) return &c;
    }
    return nullptr;
}

LRESULT CallProcedure(const WindowPtr& window, UINT message, WPARAM wparam, LPARAM lparam) {
    if (window->silent || window->gone || window->procedure == nullptr) return 0;
    if (message == WM_DESTROY) {
        if (window->told_destroy) return 0;
        window->told_destroy = true;
    }
    return window->procedure(window->handle, message, wparam, lparam);
}

void ForgetPicture(PSD picture) {
    for (auto& entry : registry().windows) {
        if (entry.second->control != nullptr) entry.second->control->ForgetPicture(picture);
    }
}

}  // namespace mwin

WORD RegisterClass(const WNDCLASS* window_class) {
    if (window_class == nullptr || window_class->lpfnWndProc == nullptr || window_class->lpszClassName == nullptr ||
        *window_class->lpszClassName == '\0' || window_class->cbWndExtra < 0) {
        return 0;
    }
    if (mwin::FindClass(window_class->lpszClassName) == nullptr) {
        mwin::registry().classes.push_back({window_class->lpszClassName, window_class->lpfnWndProc,
                                            static_cast<std::size_t>(window_class->cbWndExtra),
                                            window_class->hbrBackground});
    }
    return 1;
}
