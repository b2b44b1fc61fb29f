#include "mwin/window_tree.h"

#include <algorithm>
#include <utility>

namespace mwin {
namespace {

std::vector<WindowPtr>::iterator Position(Window& window) {
    auto& siblings = window.parent->children;
    return std::find_if(siblings.begin(), siblings.end(), [&](const WindowPtr& w) { return w.get() == &window; });
}

bool MoveTo(Window& window, std::size_t place) {
    auto& siblings = window.parent->children;
    const auto from = Position(window);
    const auto to = siblings.begin() + static_cast<std::ptrdiff_t>(place);
    if (from == to) return false;
    if (from < to) {
        std::rotate(from, from + 1, to + 1);
    } else {
        std::rotate(to, from, from + 1);
    }
    return true;
}

}  // namespace

void LinkOnTop(const WindowPtr& window, Window& parent) {
    window->parent = &parent;
    parent.children.push_back(window);
}

void Unlink(Window& window) {
    if (window.parent == nullptr) return;
    Window& parent = *std::exchange(window.parent, nullptr);
    auto& siblings = parent.children;
    siblings.erase(
        std::remove_if(siblings.begin(), siblings.end(), [&](const WindowPtr& w) { return w.get() == &window; }),
        siblings.end());
}

Window* TopLevel(Window* window) {
    while (window != nullptr && window->parent != nullptr && window->parent->parent != nullptr)
        window = window->parent;
    return window != nullptr && window->parent != nullptr ? window : nullptr;
}

bool IsSameOrInside(const Window& window, const Window& ancestor) {
    for (const Window* w = &window; w != nullptr; w = w->parent) {
        if (w == &ancestor) return true;
    }
    return false;
}

bool IsShown(const Window& window) {
    for (const Window* w = &window; w != nullptr; w = w->parent) {
        if (!w->HasStyle(WS_VISIBLE) || w->gone) return false;
    }
    return true;
}

bool IsReachable(const Window& window) {
    for (const Window* w = &window; w != nullptr; w = w->parent) {
        if (w->HasStyle(WS_DISABLED) || w->dying) return false;
    }
    return true;
}

POINT ScreenOrigin(const Window& window) {
    POINT origin{0, 0};
    for (const Window* w = &window; w != nullptr; w = w->parent) {
        origin.x += w->rect.left;
        origin.y += w->rect.top;
    }
    return origin;
}

RECT ScreenRect(const Window& window) {
    const POINT origin = ScreenOrigin(window);
    return {origin.x, origin.y, origin.x + window.Width(), origin.y + window.Height()};
}

Region OuterRegion(const Window& window) {
    Region seen;
    if (!IsShown(window)) return seen;
    seen = Region(ScreenRect(window));
    for (const Window* w = &window; w->parent != nullptr; w = w->parent) {
        seen.Intersect(Region(ScreenRect(*w->parent)));
        const auto& siblings = w->parent->children;
        for (auto above = siblings.rbegin(); above != siblings.rend() && above->get() != w; ++above) {
            if ((*above)->HasStyle(WS_VISIBLE)) seen.Subtract(Region(ScreenRect(**above)));
        }
    }
    return seen;
}

Region ClientRegion(const Window& window) {
    Region seen = OuterRegion(window);
    for (const WindowPtr& child : window.children) {
        if (child->HasStyle(WS_VISIBLE)) seen.Subtract(Region(ScreenRect(*child)));
    }
    return seen;
}

bool MoveToTop(Window& window) {
    return window.parent != nullptr && MoveTo(window, window.parent->children.size() - 1);
}

bool MoveToBottom(Window& window) {
    return window.parent != nullptr && MoveTo(window, 0);
}

bool MoveBelow(Window& window, const Window& sibling) {
    if (window.parent == nullptr || window.parent != sibling.parent || &window == &sibling) return false;
    const auto& siblings = window.parent->children;
    std::size_t place = 0;
    while (siblings[place].get() != &sibling)
        ++place;
    const auto from = static_cast<std::size_t>(Position(window) - window.parent->children.begin());
    return MoveTo(window, from < place ? place - 1 : place);
}

void ForEach(const WindowPtr& window, const std::function<void(const WindowPtr&)>& visit) {
    visit(window);
    const std::vector<WindowPtr> children = window->children;
    for (const WindowPtr& child : children)
        ForEach(child, visit);
}

}  // namespace mwin
