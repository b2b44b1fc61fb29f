#include "mwin/paint.h"

#include <unordered_map>
#include <utility>

#include "mwin/device_context.h"
#include "mwin/message_queue.h"
#include "mwin/window_tree.h"

namespace mwin {
namespace {

struct Painter {
    std::unordered_map<HDC, std::unique_ptr<MwDc>> devices;
    int depth = 0;
};

// Never destroyed: static destructors still release their windows while the process exits.
Painter& painter() {
    static auto* instance = new Painter;
    return *instance;
}

// Gives each visible window its part of `region`, topmost first.
void Spread(Window& window, Region region) {
    for (auto child = window.children.rbegin(); child != window.children.rend() && !region.IsEmpty(); ++child) {
        if (!(*child)->HasStyle(WS_VISIBLE)) continue;
        const Region covered(ScreenRect(**child));
        Region part = region;
        part.Intersect(covered);
        if (part.IsEmpty()) continue;
        Spread(**child, part);
        region.Subtract(covered);
    }
    if (region.IsEmpty() || window.dying) return;
    const POINT origin = ScreenOrigin(window);
    region.Translate(-origin.x, -origin.y);
    window.update.Add(region);
    window.erase_pending = true;
}

// The part of the update region that can be seen, in screen coordinates.
Region PendingOnScreen(const Window& window) {
    Region pending = window.update;
    const POINT origin = ScreenOrigin(window);
    pending.Translate(origin.x, origin.y);
    pending.Intersect(ClientRegion(window));
    return pending;
}

HDC CreateDevice(const Window& window, Region clip) {
    Surface* surface = ScreenSurface();
    if (surface == nullptr) return nullptr;
    auto device = std::make_unique<MwDc>();
    device->surface = surface;
    device->origin = ScreenOrigin(window);
    device->clip = std::move(clip);
    device->window = window.handle;
    HDC handle = device.get();
    painter().devices.emplace(handle, std::move(device));
    return handle;
}

bool ReleaseDevice(HDC device) {
    return painter().devices.erase(device) != 0;
}

void EraseIfPending(const WindowPtr& window) {
    if (!window->erase_pending) return;
    window->erase_pending = false;
    HDC device = CreateDevice(*window, PendingOnScreen(*window));
    ++painter().depth;
    ++window->erasing;
    window->erase_unanswered = CallProcedure(window, WM_ERASEBKGND, reinterpret_cast<WPARAM>(device), 0) == 0;
    --window->erasing;
    --painter().depth;
    ReleaseDevice(device);
}

void UpdateTree(const WindowPtr& window) {
    ForEach(window, [](const WindowPtr& w) {
        if (!w->gone && w->painting == 0 && !w->update.IsEmpty()) PaintPending(w);
    });
}

WindowPtr NextInTree(const WindowPtr& window) {
    if (!window->HasStyle(WS_VISIBLE) || window->dying) return nullptr;
    // One whose handler runs is validated when that returns, not painted again by a loop inside it.
    if (window->painting == 0 && !window->update.IsEmpty()) {
        if (!PendingOnScreen(*window).IsEmpty()) return window;
        window->update.Clear();
        window->erase_pending = false;
    }
    for (const WindowPtr& child : window->children) {
        if (WindowPtr found = NextInTree(child)) return found;
    }
    return nullptr;
}

}  // namespace

void InvalidateScreen(const Region& region) {
    if (Desktop() == nullptr) return;
    Region part = region;
    part.Intersect(Region(Desktop()->rect));
    Spread(*Desktop(), part);
}

void InvalidateTree(Window& window) {
    if (!window.dying) Spread(window, OuterRegion(window));
}

void Raise(Window& window) {
    if (MoveToTop(window) && !IsPainting()) InvalidateTree(window);
}

WindowPtr NextToPaint(HWND within) {
    const WindowPtr root = within != nullptr ? Find(within) : Desktop();
    return root != nullptr ? NextInTree(root) : nullptr;
}

void PaintPending(const WindowPtr& window) {
    if (window->dying) return;
    ++painter().depth;
    ++window->painting;
    EraseIfPending(window);
    CallProcedure(window, WM_PAINT, 0, 0);
    --window->painting;
    --painter().depth;
    window->update.Clear();
    window->erase_pending = false;
}

void PaintWhole(const WindowPtr& window) {
    if (window->dying) return;
    Region whole = ClientRegion(*window);
    const POINT origin = ScreenOrigin(*window);
    whole.Translate(-origin.x, -origin.y);
    window->erase_pending = !whole.IsEmpty();
    window->update = std::move(whole);
    PaintPending(window);
}

bool IsPainting() {
    return painter().depth > 0;
}

void DetachDevices(HWND window) {
    for (auto& entry : painter().devices) {
        if (entry.second->window != window) continue;
        entry.second->clip.Clear();
        entry.second->window = nullptr;
    }
}

void ForgetAllDevices() {
    painter().devices.clear();
    painter().depth = 0;
}

}  // namespace mwin

using mwin::Region;
using mwin::WindowPtr;

HDC BeginPaint(HWND handle, PAINTSTRUCT* paint) {
    const WindowPtr window = mwin::Find(handle);
    if (window == nullptr || paint == nullptr) return nullptr;
    mwin::EraseIfPending(window);
    Region pending = mwin::PendingOnScreen(*window);
    const POINT origin = mwin::ScreenOrigin(*window);
    const RECT bounds = pending.Bounds();
    paint->fErase = window->erase_unanswered ? TRUE : FALSE;
    paint->rcPaint = {bounds.left - origin.x, bounds.top - origin.y, bounds.right - origin.x, bounds.bottom - origin.y};
    if (pending.IsEmpty()) paint->rcPaint = {0, 0, 0, 0};
    paint->hdc = mwin::CreateDevice(*window, std::move(pending));
    return paint->hdc;
}

BOOL EndPaint(HWND handle, const PAINTSTRUCT* paint) {
    if (paint == nullptr) return FALSE;
    // A paint handler may begin again: the region is validated when the handler returns.
    if (!mwin::IsPainting()) ValidateRect(handle, nullptr);
    return mwin::ReleaseDevice(paint->hdc) ? TRUE : FALSE;
}

BOOL InvalidateRect(HWND handle, const RECT* rect, BOOL erase) {
    const WindowPtr window = mwin::Find(handle);
    if (window == nullptr) return FALSE;
    if (window->dying) return TRUE;
    Region part = mwin::ClientRegion(*window);
    const POINT origin = mwin::ScreenOrigin(*window);
    part.Translate(-origin.x, -origin.y);
    if (rect != nullptr) part.Intersect(Region(*rect));
    if (part.IsEmpty()) return TRUE;
    window->update.Add(part);
    if (erase != FALSE) window->erase_pending = true;
    return TRUE;
}

BOOL ValidateRect(HWND handle, const RECT* rect) {
    const WindowPtr window = mwin::Find(handle);
    if (window == nullptr) return FALSE;
    if (rect != nullptr) {
        window->update.Subtract(Region(*rect));
    } else {
        window->update.Clear();
    }
    if (window->update.IsEmpty()) window->erase_pending = false;
    return TRUE;
}

BOOL UpdateWindow(HWND handle) {
    const WindowPtr window = mwin::Find(handle);
    if (window == nullptr) return FALSE;
    if (mwin::IsShown(*window)) mwin::UpdateTree(window);
    if (!mwin::IsPainting()) mwin::FlushScreen();
    return TRUE;
}

HDC GetDC(HWND handle) {
    const WindowPtr window = handle != nullptr ? mwin::Find(handle) : mwin::Desktop();
    if (window == nullptr) return nullptr;
    if (handle == nullptr) return mwin::CreateDevice(*window, Region(window->rect));
    // An erase handler that asks for a device of its own must not wipe what the paint handler will not draw again.
    return mwin::CreateDevice(*window,
                              window->erasing > 0 ? mwin::PendingOnScreen(*window) : mwin::ClientRegion(*window));
}

int ReleaseDC(HWND, HDC device) {
    return mwin::ReleaseDevice(device) ? 1 : 0;
}
