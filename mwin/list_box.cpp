// "LISTBOX": rows with an icon and a text, one of them selected.
#include <algorithm>
#include <cstring>

#include "mwin/controls.h"
#include "mwin/window.h"

namespace mwin {
namespace {

constexpr int kRowPadding = 4;   // pixels above and below a row's text together
constexpr int kIconMargin = 2;   // pixels around an icon
constexpr int kScrollWidth = 4;  // pixels of the mark that tells where the shown rows are
constexpr int kLargestHeight = 1 << 15;

struct Row {
    std::string text;
    PSD icon = nullptr;  // not owned
    LONG_PTR data = 0;
};

class ListData : public ControlData {
  public:
    std::vector<Row> rows;
    int selected = -1;
    int top = 0;
    int row_height = 0;  // 0: from the font

    void ForgetPicture(PSD gone) override {
        for (Row& row : rows) {
            if (row.icon == gone) row.icon = nullptr;
        }
    }

    int Count() const { return static_cast<int>(rows.size()); }
    bool Has(WPARAM index) const { return index < rows.size(); }
};

ListData& DataOf(const Window& window) {
    return static_cast<ListData&>(*window.control);
}

int RowHeight(const Window& window) {
    ListData& data = DataOf(window);
    if (data.row_height > 0) return data.row_height;
    HDC device = GetDC(window.handle);
    SelectObject(device, window.font);
    TEXTMETRIC metrics{};
    GetTextMetrics(device, &metrics);
    ReleaseDC(window.handle, device);
    return std::max(1, metrics.tmHeight + kRowPadding);
}

int RowsShown(const Window& window) {
    return std::max(1, window.Height() / RowHeight(window));
}

void InvalidateRow(const Window& window, int index) {
    const int height = RowHeight(window);
    const int y = (index - DataOf(window).top) * height;
    const RECT row{0, y, window.Width(), y + height};
    if (index >= DataOf(window).top && y < window.Height()) InvalidateRect(window.handle, &row, FALSE);
}

bool ScrollTo(const Window& window, int top) {
    ListData& data = DataOf(window);
    const int bounded = std::clamp(top, 0, std::max(0, data.Count() - RowsShown(window)));
    if (bounded == data.top) return false;
    data.top = bounded;
    InvalidateRect(window.handle, nullptr, FALSE);
    return true;
}

void Select(const Window& window, int index) {
    ListData& data = DataOf(window);
    if (index == data.selected) return;
    InvalidateRow(window, data.selected);
    data.selected = index;
    if (index < 0) return;
    const int shown = RowsShown(window);
    ScrollTo(window, std::clamp(data.top, index - shown + 1, index));
    InvalidateRow(window, index);
}

// In as many lines as the text needs.
void DrawInMiddle(HDC device, LPCSTR text, const RECT& place) {
    constexpr UINT kFormat = DT_LEFT | DT_WORDBREAK | DT_NOPREFIX;
    RECT needed = place;
    const int height = DrawText(device, text, -1, &needed, kFormat | DT_CALCRECT);
    RECT lines = place;
    lines.top += std::max(0, (place.bottom - place.top - height) / 2);
    DrawText(device, text, -1, &lines, kFormat);
}

void DrawFocus(HDC device, const RECT& row) {
    for (const RECT& edge :
         {RECT{row.left, row.top, row.right, row.top + 1}, RECT{row.left, row.bottom - 1, row.right, row.bottom},
          RECT{row.left, row.top, row.left + 1, row.bottom}, RECT{row.right - 1, row.top, row.right, row.bottom}}) {
        FastFillRect(device, &edge, GetSysColor(COLOR_HIGHLIGHTTEXT));
    }
}

void DrawRow(const Window& window, HDC device, int index, const RECT& place) {
    const Row& row = DataOf(window).rows[static_cast<std::size_t>(index)];
    if (index == DataOf(window).selected) {
        FastFillRect(device, &place, GetSysColor(COLOR_HIGHLIGHT));
        SetTextColor(device, GetSysColor(COLOR_HIGHLIGHTTEXT));
    }
    const bool scrolls = DataOf(window).Count() > RowsShown(window);
    RECT text{place.left + kRowPadding, place.top, place.right - kRowPadding - (scrolls ? kScrollWidth : 0),
              place.bottom};
    if (row.icon != nullptr) {
        const int size = std::max(0, static_cast<int>(place.bottom - place.top) - 2 * kIconMargin);
        DrawDIBFit(device, place.left + kIconMargin, place.top + kIconMargin, size, size, row.icon);
        text.left += size + 2 * kIconMargin;
    }
    DrawInMiddle(device, row.text.c_str(), text);
    if (index == DataOf(window).selected && GetFocus() == window.handle) DrawFocus(device, place);
}

void DrawScrollMark(const Window& window, HDC device) {
    const ListData& data = DataOf(window);
    const int shown = RowsShown(window);
    if (data.Count() <= shown) return;
    const RECT track{window.Width() - kScrollWidth, 0, window.Width(), window.Height()};
    const RECT mark{track.left, window.Height() * data.top / data.Count(), track.right,
                    window.Height() * (data.top + shown) / data.Count()};
    FastFillRect(device, &track, GetSysColor(COLOR_SCROLLBAR));
    FastFillRect(device, &mark, GetSysColor(COLOR_WINDOWFRAME));
}

void Paint(const WindowPtr& window) {
    PAINTSTRUCT paint{};
    HDC device = BeginPaint(window->handle, &paint);
    const RECT client{0, 0, window->Width(), window->Height()};
    PaintBackground(window->handle, device, WM_CTLCOLORLISTBOX, client);
    SetBkMode(device, TRANSPARENT);
    const COLORREF color = SetTextColor(device, GetSysColor(COLOR_WINDOWTEXT));
    const int height = RowHeight(*window);
    const int first = DataOf(*window).top;
    for (int i = first; i < DataOf(*window).Count() && (i - first) * height < client.bottom; ++i) {
        SetTextColor(device, color);
        DrawRow(*window, device, i, {0, (i - first) * height, client.right, (i - first + 1) * height});
    }
    DrawScrollMark(*window, device);
    EndPaint(window->handle, &paint);
}

LRESULT Add(const Window& window, const char* text) {
    ListData& data = DataOf(window);
    data.rows.push_back({text != nullptr ? text : "", nullptr, 0});
    InvalidateRect(window.handle, nullptr, FALSE);
    return data.Count() - 1;
}

LRESULT Delete(const Window& window, WPARAM index) {
    ListData& data = DataOf(window);
    if (!data.Has(index)) return LB_ERR;
    const auto row = static_cast<int>(index);
    data.rows.erase(data.rows.begin() + row);
    if (row == data.selected) {
        data.selected = -1;
    } else if (row < data.selected) {
        --data.selected;
    }
    ScrollTo(window, data.top);
    InvalidateRect(window.handle, nullptr, FALSE);
    return data.Count();
}

LRESULT Reset(const Window& window) {
    ListData& data = DataOf(window);
    data.rows.clear();
    data.selected = -1;
    data.top = 0;
    InvalidateRect(window.handle, nullptr, FALSE);
    return 0;
}

LRESULT SetSelection(const Window& window, WPARAM index) {
    const bool none = static_cast<int>(index) == -1;
    if (!none && !DataOf(window).Has(index)) return LB_ERR;
    Select(window, none ? -1 : static_cast<int>(index));
    return none ? LB_ERR : static_cast<LRESULT>(index);
}

LRESULT SetRowHeight(const Window& window, LPARAM height) {
    if (height < 1 || height > kLargestHeight) return LB_ERR;
    DataOf(window).row_height = static_cast<int>(height);
    ScrollTo(window, DataOf(window).top);
    InvalidateRect(window.handle, nullptr, FALSE);
    return 0;
}

LRESULT HandleRowMessage(const Window& window, UINT message, WPARAM index, LPARAM lparam) {
    if (!DataOf(window).Has(index)) return LB_ERR;
    Row& row = DataOf(window).rows[index];
    switch (message) {
        case LB_GETTEXT:
            std::memcpy(reinterpret_cast<char*>(lparam), row.text.c_str(), row.text.size() + 1);
            return static_cast<LRESULT>(row.text.size());
        case LB_GETTEXTLEN:
            return static_cast<LRESULT>(row.text.size());
        case LB_GETITEMDATA:
            return row.data;
        case LB_SETITEMDATA:
            row.data = lparam;
            return 0;
        default:  // LB_SETITEMICON
            row.icon = reinterpret_cast<PSD>(lparam);
            InvalidateRow(window, static_cast<int>(index));
            return 0;
    }
}

// Moves the selection as the key says; false for any other key.
bool HandleKey(const WindowPtr& window, WPARAM key) {
    const ListData& data = DataOf(*window);
    const int shown = RowsShown(*window);
    int target = data.selected;
    switch (key) {
        case VK_UP:
        case VK_LEFT:
            target -= 1;
            break;
        case VK_DOWN:
        case VK_RIGHT:
            target += 1;
            break;
        case VK_PRIOR:
            target -= shown;
            break;
        case VK_NEXT:
            target += shown;
            break;
        case VK_HOME:
            target = 0;
            break;
        case VK_END:
            target = data.Count() - 1;
            break;
        default:
            return false;
    }
    target = std::clamp(target, 0, std::max(0, data.Count() - 1));
    if (data.Count() == 0 || target == data.selected) return true;
    Select(*window, target);
    if (window->HasStyle(LBS_NOTIFY)) {
        SendMessage(GetParent(window->handle), WM_COMMAND, MAKEWPARAM(static_cast<WORD>(window->id), LBN_SELCHANGE),
                    reinterpret_cast<LPARAM>(window->handle));
    }
    return true;
}

LRESULT HandleListMessage(const Window& window, UINT message, WPARAM wparam, LPARAM lparam) {
    ListData& data = DataOf(window);
    switch (message) {
        case LB_ADDSTRING:
            return Add(window, reinterpret_cast<const char*>(lparam));
        case LB_DELETESTRING:
            return Delete(window, wparam);
        case LB_RESETCONTENT:
            return Reset(window);
        case LB_SETCURSEL:
            return SetSelection(window, wparam);
        case LB_GETCURSEL:
            return data.selected;
        case LB_GETCOUNT:
            return data.Count();
        case LB_GETTOPINDEX:
            return data.top;
        case LB_SETTOPINDEX:
            if (!data.Has(wparam)) return LB_ERR;
            ScrollTo(window, static_cast<int>(wparam));
            return 0;
        case LB_SETITEMHEIGHT:
            return SetRowHeight(window, lparam);
        case LB_GETTEXT:
        case LB_GETTEXTLEN:
        case LB_GETITEMDATA:
        case LB_SETITEMDATA:
        case LB_SETITEMICON:
            return HandleRowMessage(window, message, wparam, lparam);
        default:
            return DefWindowProc(window.handle, message, wparam, lparam);
    }
}

LRESULT ListBoxProcedure(HWND handle, UINT message, WPARAM wparam, LPARAM lparam) {
    const WindowPtr window = Find(handle);
    if (window == nullptr) return 0;
    if (window->control == nullptr) window->control = std::make_unique<ListData>();
    switch (message) {
        case WM_ERASEBKGND:
            return 1;
        case WM_PAINT:
            Paint(window);
            return 0;
        case WM_SETFONT:
            DefWindowProc(handle, message, wparam, TRUE);
            return 0;
        case WM_SETFOCUS:
        case WM_KILLFOCUS:
            InvalidateRow(*window, DataOf(*window).selected);
            return 0;
        case WM_GETDLGCODE:
            return DLGC_WANTARROWS;
        case WM_KEYDOWN:
            HandleKey(window, wparam);
            return 0;
        default:
            return HandleListMessage(*window, message, wparam, lparam);
    }
}

}  // namespace

void RegisterListBox(HINSTANCE instance) {
    WNDCLASS control{};
    control.lpfnWndProc = ListBoxProcedure;
    control.hInstance = instance;
    control.lpszClassName = "LISTBOX";
    RegisterClass(&control);
}

}  // namespace mwin
