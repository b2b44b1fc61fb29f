// "msctls_progress32": how far something is.
#include <algorithm>
#include <cstdint>

#include "mwin/controls.h"
#include "mwin/window.h"

namespace mwin {
namespace {

class ProgressData : public ControlData {
  public:
    std::int64_t low = 0;
    std::int64_t high = 100;
    std::int64_t position = 0;

    // Where the filled part ends in a bar of that width.
    int Filled(int width) const {
        if (high <= low) return 0;
        return static_cast<int>((std::clamp(position, low, high) - low) * width / (high - low));
    }
};

ProgressData& DataOf(const Window& window) {
    return static_cast<ProgressData&>(*window.control);
}

// Draws again only what lies between the old end of the filled part and the new one.
void InvalidateChange(const Window& window, int before) {
    const int now = DataOf(window).Filled(window.Width());
    if (now == before) return;
    const RECT change{std::min(before, now), 0, std::max(before, now), window.Height()};
    InvalidateRect(window.handle, &change, FALSE);
}

void Paint(const WindowPtr& window) {
    PAINTSTRUCT paint{};
    HDC device = BeginPaint(window->handle, &paint);
    const int filled = DataOf(*window).Filled(window->Width());
    const RECT done{0, 0, filled, window->Height()};
    const RECT rest{filled, 0, window->Width(), window->Height()};
    FastFillRect(device, &done, GetSysColor(COLOR_HIGHLIGHT));
    FastFillRect(device, &rest, GetSysColor(COLOR_SCROLLBAR));
    EndPaint(window->handle, &paint);
}

LRESULT ProgressProcedure(HWND handle, UINT message, WPARAM wparam, LPARAM lparam) {
    const WindowPtr window = Find(handle);
    if (window == nullptr) return 0;
    if (window->control == nullptr) window->control = std::make_unique<ProgressData>();
    ProgressData& data = DataOf(*window);
    const int before = data.Filled(window->Width());
    switch (message) {
        case WM_ERASEBKGND:
            return 1;
        case WM_PAINT:
            Paint(window);
            return 0;
        case PBM_SETRANGE:
            // 32-bit values: the sums above cannot overflow.
            data.low = static_cast<std::int32_t>(wparam);
            data.high = static_cast<std::int32_t>(lparam);
            InvalidateChange(*window, before);
            return 0;
        case PBM_SETPOS: {
            const std::int64_t was = data.position;
            data.position = static_cast<std::int32_t>(wparam);
            InvalidateChange(*window, before);
            return static_cast<LRESULT>(was);
        }
        default:
            return DefWindowProc(handle, message, wparam, lparam);
    }
}

}  // namespace

void RegisterProgressBar(HINSTANCE instance) {
    WNDCLASS control{};
    control.lpfnWndProc = ProgressProcedure;
    control.hInstance = instance;
    control.lpszClassName = "msctls_progress32";
    RegisterClass(&control);
}

}  // namespace mwin
