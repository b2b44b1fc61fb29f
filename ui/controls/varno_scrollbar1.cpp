#include "ui/controls/varno_scrollbar1.h"

#include <algorithm>
#include <cstdint>

#include "ui/base/mw_ui_base.h"

namespace {

// Light on dark with a dark rim, so that the bar is seen over any picture; none of them is the colour key.
constexpr COLORREF kRimColor = 0xFF202020;
constexpr COLORREF kEdgeColor = 0xFFFFFFFF;
constexpr COLORREF kTrackColor = 0xFF303030;
constexpr COLORREF kThumbColor = 0xFFFFFFFF;
constexpr int kMinThumb = 5;  // pixels

// One bar's window data; lives from WM_CREATE to WM_DESTROY.
class Scrollbar {
  public:
    explicit Scrollbar(bool vertical) : vertical_(vertical) {}

    LRESULT Set(HWND hwnd, const SCROLLINFO& wanted, bool redraw);
    void Get(SCROLLINFO& info) const;
    void Paint(HWND hwnd) const;

  private:
    RECT ThumbRect(const RECT& track) const;

    bool vertical_;
    SCROLLINFO info_{sizeof(SCROLLINFO), SIF_ALL, 0, 100, 1, 0, 0};
};

LRESULT Scrollbar::Set(HWND hwnd, const SCROLLINFO& wanted, bool redraw) {
    const SCROLLINFO before = info_;
    if ((wanted.fMask & SIF_RANGE) != 0) {
        info_.nMin = wanted.nMin;
        info_.nMax = std::max(wanted.nMin, wanted.nMax);
    }
    const std::int64_t span = std::int64_t{info_.nMax} - info_.nMin;
    if ((wanted.fMask & SIF_PAGE) != 0) info_.nPage = wanted.nPage;
    info_.nPage = static_cast<UINT>(std::min<std::int64_t>(info_.nPage, span + 1));
    const std::int64_t last = info_.nMax - std::max<std::int64_t>(std::int64_t{info_.nPage} - 1, 0);
    const int position = (wanted.fMask & SIF_POS) != 0 ? wanted.nPos : info_.nPos;
    info_.nPos = info_.nTrackPos = static_cast<int>(std::clamp<std::int64_t>(position, info_.nMin, last));
    const bool changed = before.nMin != info_.nMin || before.nMax != info_.nMax || before.nPage != info_.nPage ||
                         before.nPos != info_.nPos;
    if (redraw && changed) InvalidateRect(hwnd, nullptr, FALSE);
    return info_.nPos;
}

void Scrollbar::Get(SCROLLINFO& info) const {
    if ((info.fMask & SIF_RANGE) != 0) {
        info.nMin = info_.nMin;
        info.nMax = info_.nMax;
    }
    if ((info.fMask & SIF_PAGE) != 0) info.nPage = info_.nPage;
    if ((info.fMask & SIF_POS) != 0) info.nPos = info.nTrackPos = info_.nPos;
}

RECT Scrollbar::ThumbRect(const RECT& track) const {
    const std::int64_t length = vertical_ ? track.bottom - track.top : track.right - track.left;
    const std::int64_t steps = std::int64_t{info_.nMax} - info_.nMin + 1;
    const std::int64_t page = std::max<std::int64_t>(info_.nPage, 1);
    const std::int64_t thumb =
        std::clamp<std::int64_t>(length * page / steps, std::min<std::int64_t>(kMinThumb, length), length);
    const std::int64_t travel = std::max<std::int64_t>(steps - page, 1);
    const int start = static_cast<int>((length - thumb) * (std::int64_t{info_.nPos} - info_.nMin) / travel);
    const int end = start + static_cast<int>(thumb);
    RECT rect = track;
    if (vertical_) {
        rect.top = track.top + start;
        rect.bottom = track.top + end;
    } else {
        rect.left = track.left + start;
        rect.right = track.left + end;
    }
    return rect;
}

void Scrollbar::Paint(HWND hwnd) const {
    const auto shrink = [](RECT r, int by) { return RECT{r.left + by, r.top + by, r.right - by, r.bottom - by}; };
    PAINTSTRUCT paint{};
    HDC dc = BeginPaint(hwnd, &paint);
    RECT rect{};
    GetClientRect(hwnd, &rect);
    FastFillRect(dc, &rect, kRimColor);
    const RECT edge = shrink(rect, 1);
    FastFillRect(dc, &edge, kEdgeColor);
    const RECT inside = shrink(rect, 2);
    FastFillRect(dc, &inside, kTrackColor);
    const RECT track = shrink(rect, 3);
    if (track.right > track.left && track.bottom > track.top) {
        const RECT thumb = ThumbRect(track);
        FastFillRect(dc, &thumb, kThumbColor);
    }
    EndPaint(hwnd, &paint);
}

LRESULT CALLBACK ScrollbarProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) {
    if (msg == WM_CREATE) {
        const bool vertical = (static_cast<DWORD>(GetWindowLong(hwnd, GWL_STYLE)) & SBS_VERT) != 0;
        SetWindowLong(hwnd, kWindowObject, reinterpret_cast<LONG_PTR>(new Scrollbar(vertical)));
        return 0;
    }
    auto* bar = ObjectOf<Scrollbar>(hwnd);
    if (bar == nullptr) return DefWindowProc(hwnd, msg, wparam, lparam);
    switch (msg) {
        case WM_DESTROY:
            SetWindowLong(hwnd, kWindowObject, 0);
            delete bar;
            return 0;
        case WM_ERASEBKGND:
            return 1;
        case WM_PAINT:
            bar->Paint(hwnd);
            return 0;
        case SBM_SETSCROLLINFO:
            return bar->Set(hwnd, *reinterpret_cast<const SCROLLINFO*>(lparam), wparam != 0);
        case SBM_GETSCROLLINFO:
            bar->Get(*reinterpret_cast<SCROLLINFO*>(lparam));
            return TRUE;
        default:
            return DefWindowProc(hwnd, msg, wparam, lparam);
    }
}

}  // namespace

WORD MwRegisterVarnoScrollbar1Control(HINSTANCE instance) {
    WNDCLASS window_class{};
    window_class.style = CS_HREDRAW | CS_VREDRAW;
    window_class.lpfnWndProc = ScrollbarProc;
    window_class.cbWndExtra = kWindowObject + sizeof(LONG_PTR);
    window_class.hInstance = instance;
    window_class.hbrBackground = GetStockObject(WINDOW_ERASES_BRUSH);
    window_class.lpszClassName = kScrollbarClass;
    return RegisterClass(&window_class);
}
