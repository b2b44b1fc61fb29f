// The window system's API: Win32-style windows, messages, dialogs and drawing on one small screen.
//
// Everything here belongs to the UI thread, except PostMessage, GetTickCount and GetSystemMetrics, which are
// thread-safe. Nothing throws. Window handles are checked and never used twice, so a stale one makes a call fail
// instead of crash.
#pragma once

#include <cstdint>

using BOOL = int;
using BYTE = unsigned char;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using UINT = unsigned int;
using LONG = std::int32_t;
using LONG_PTR = std::intptr_t;
using WPARAM = std::uintptr_t;
using LPARAM = std::intptr_t;
using LRESULT = std::intptr_t;
using HANDLE = void*;
using HINSTANCE = void*;
using LPCSTR = const char*;
using LPSTR = char*;
using COLORREF = std::uint32_t;  // 0xAABBGGRR

struct MwWindow;
struct MwDc;
struct MwGdiObject;
using HWND = MwWindow*;
using HDC = MwDc*;
using HGDIOBJ = MwGdiObject*;
using HBRUSH = HGDIOBJ;
using HPEN = HGDIOBJ;
using HFONT = HGDIOBJ;
using HMENU = void*;
using HICON = void*;
using HCURSOR = void*;

constexpr BOOL TRUE = 1;
constexpr BOOL FALSE = 0;
#define CALLBACK
#define WINAPI

struct RECT {
    LONG left, top, right, bottom;
};
struct POINT {
    LONG x, y;
};
struct SIZE {
    LONG cx, cy;
};
struct MSG {
    HWND hwnd;
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    DWORD time;
    POINT pt;
};

using WNDPROC = LRESULT(CALLBACK*)(HWND, UINT, WPARAM, LPARAM);
using DLGPROC = WNDPROC;
using TIMERPROC = void(CALLBACK*)(HWND, UINT, UINT, DWORD);

constexpr WORD LOWORD(WPARAM v) {
    return static_cast<WORD>(v & 0xFFFF);
}
constexpr WORD HIWORD(WPARAM v) {
    return static_cast<WORD>((v >> 16) & 0xFFFF);
}
constexpr WPARAM MAKEWPARAM(WORD low, WORD high) {
    return low | (static_cast<DWORD>(high) << 16U);
}
constexpr LPARAM MAKELPARAM(WORD low, WORD high) {
    return static_cast<LPARAM>(low | (static_cast<DWORD>(high) << 16));
}
constexpr COLORREF RGB(BYTE r, BYTE g, BYTE b) {
    return 0xFF000000U | r | (g << 8U) | (static_cast<COLORREF>(b) << 16U);
}

// ---- Messages -----------------------------------------------------------------------------------------------------
constexpr UINT WM_NULL = 0, WM_CREATE = 1, WM_DESTROY = 2, WM_MOVE = 3, WM_SIZE = 5, WM_ACTIVATE = 6, WM_SETFOCUS = 7,
               WM_KILLFOCUS = 8, WM_ENABLE = 10, WM_SETTEXT = 12, WM_GETTEXT = 13, WM_GETTEXTLENGTH = 14, WM_PAINT = 15,
               WM_CLOSE = 16, WM_QUIT = 18, WM_ERASEBKGND = 20, WM_SHOWWINDOW = 24, WM_SETFONT = 48, WM_GETFONT = 49,
               WM_NCDESTROY = 130, WM_GETDLGCODE = 135, WM_KEYDOWN = 256, WM_KEYUP = 257, WM_CHAR = 258,
               WM_INITDIALOG = 272, WM_COMMAND = 273, WM_TIMER = 275, WM_HSCROLL = 276, WM_VSCROLL = 277,
               WM_ENTERIDLE = 289, WM_CTLCOLOREDIT = 307, WM_CTLCOLORLISTBOX = 308, WM_CTLCOLORBTN = 309,
               WM_CTLCOLORDLG = 310, WM_CTLCOLORSCROLLBAR = 311, WM_CTLCOLORSTATIC = 312, WM_USER = 1024;

// ---- Styles -------------------------------------------------------------------------------------------------------
constexpr DWORD WS_POPUP = 0x80000000, WS_CHILD = 0x40000000, WS_VISIBLE = 0x10000000, WS_DISABLED = 0x08000000,
                WS_CLIPSIBLINGS = 0x04000000, WS_CLIPCHILDREN = 0x02000000, WS_BORDER = 0x00800000,
                WS_VSCROLL = 0x00200000, WS_HSCROLL = 0x00100000, WS_TABSTOP = 0x00010000;
constexpr UINT CS_VREDRAW = 1, CS_HREDRAW = 2, CS_DBLCLKS = 8;
constexpr DWORD SS_LEFT = 0, SS_CENTER = 1, SS_RIGHT = 2, SS_ICON = 3, SS_TYPEMASK = 0x1F, SS_CENTERIMAGE = 0x200;
constexpr DWORD LBS_NOTIFY = 1;

constexpr int SW_HIDE = 0, SW_SHOWNORMAL = 1, SW_SHOWMAXIMIZED = 3, SW_SHOW = 5;
constexpr int SM_CXSCREEN = 0, SM_CYSCREEN = 1;
constexpr int GWL_STYLE = -16, GWL_EXSTYLE = -20, GWL_ID = -12, GWL_WNDPROC = -4, GWL_USERDATA = -21;
constexpr UINT SWP_NOSIZE = 1, SWP_NOMOVE = 2, SWP_NOZORDER = 4, SWP_NOREDRAW = 8, SWP_SHOWWINDOW = 0x40,
               SWP_HIDEWINDOW = 0x80;
inline MwWindow* const HWND_TOP = nullptr;
inline MwWindow* const HWND_BOTTOM = reinterpret_cast<HWND>(1);  // NOLINT
constexpr int IDOK = 1, IDCANCEL = 2, IDYES = 6, IDNO = 7;
constexpr UINT GW_HWNDFIRST = 0, GW_HWNDNEXT = 2, GW_HWNDPREV = 3, GW_OWNER = 4, GW_CHILD = 5;
constexpr LRESULT DLGC_WANTARROWS = 1, DLGC_WANTTAB = 2, DLGC_WANTALLKEYS = 4, DLGC_HASSETSEL = 8,
                  DLGC_WANTCHARS = 0x80;
constexpr UINT PM_NOREMOVE = 0, PM_REMOVE = 1;

// ---- Keys ---------------------------------------------------------------------------------------------------------
constexpr int VK_BACK = 8, VK_TAB = 9, VK_RETURN = 13, VK_ESCAPE = 27, VK_SPACE = 32, VK_PRIOR = 33, VK_NEXT = 34,
              VK_END = 35, VK_HOME = 36, VK_LEFT = 37, VK_UP = 38, VK_RIGHT = 39, VK_DOWN = 40, VK_DELETE = 46,
              VK_F1 = 112, VK_F2 = 113, VK_F3 = 114, VK_F4 = 115;

// ---- Controls -----------------------------------------------------------------------------------------------------
// "STATIC": text (SS_LEFT, SS_CENTER, SS_RIGHT) or picture (SS_ICON). A picture is set with STM_SETIMAGE, lParam a PSD
// that stays the caller's; it is drawn with its alpha, stretched to the client area. Setting what is already shown
// repaints nothing.
constexpr UINT STM_SETIMAGE = 0xF172, STM_GETIMAGE = 0xF173;
// "LISTBOX": rows with icon and text (in as many lines as it needs), scrolled so that the selection is seen.
// LB_ADDSTRING: lParam text; returns the row or LB_ERR. LB_SETITEMICON: wParam row, lParam PSD (caller's). Notifies its
// parent with WM_COMMAND, LBN_SELCHANGE.
constexpr UINT LB_ADDSTRING = 0x0180, LB_DELETESTRING = 0x0182, LB_RESETCONTENT = 0x0184, LB_SETCURSEL = 0x0186,
               LB_GETCURSEL = 0x0188, LB_GETTEXT = 0x0189, LB_GETTEXTLEN = 0x018A, LB_GETCOUNT = 0x018B,
               LB_GETTOPINDEX = 0x018E, LB_SETITEMDATA = 0x019A, LB_GETITEMDATA = 0x0199, LB_SETITEMHEIGHT = 0x01A0,
               LB_SETTOPINDEX = 0x0197, LB_SETITEMICON = 0xF180;
constexpr LRESULT LB_ERR = -1;
constexpr WORD LBN_SELCHANGE = 1;
// "msctls_progress32": PBM_SETRANGE wParam low, lParam high; PBM_SETPOS wParam position.
constexpr UINT PBM_SETRANGE = 0xF0A0, PBM_SETPOS = 0xF0A2;

// ---- Drawing ------------------------------------------------------------------------------------------------------
constexpr int WHITE_BRUSH = 0, LTGRAY_BRUSH = 1, GRAY_BRUSH = 2, DKGRAY_BRUSH = 3, BLACK_BRUSH = 4, NULL_BRUSH = 5,
              WHITE_PEN = 6, BLACK_PEN = 7, NULL_PEN = 8, SYSTEM_FONT = 13;
// Number 9 as a background brush: no brush of a colour of its own; the window erases itself (used by this program's
// classes).
constexpr int WINDOW_ERASES_BRUSH = 9;
constexpr int COLOR_SCROLLBAR = 0, COLOR_BACKGROUND = 1, COLOR_WINDOW = 5, COLOR_WINDOWFRAME = 6, COLOR_WINDOWTEXT = 8,
              COLOR_HIGHLIGHT = 13, COLOR_HIGHLIGHTTEXT = 14, COLOR_BTNFACE = 15;
constexpr int TRANSPARENT = 1, OPAQUE = 2;
constexpr UINT DT_TOP = 0, DT_LEFT = 0, DT_CENTER = 1, DT_RIGHT = 2, DT_VCENTER = 4, DT_BOTTOM = 8, DT_WORDBREAK = 16,
               DT_SINGLELINE = 32, DT_CALCRECT = 0x400, DT_NOPREFIX = 0x800;
constexpr int FW_NORMAL = 400, FW_BOLD = 700;
constexpr int PS_SOLID = 0;

struct PAINTSTRUCT {
    HDC hdc;
    BOOL fErase;
    RECT rcPaint;
};

struct TEXTMETRIC {
    LONG tmHeight, tmAscent, tmDescent, tmAveCharWidth, tmMaxCharWidth;
};

// A drawing device: the screen, or an off-screen picture (a decoded image, or pixels of the caller's). Pixels are
// 32-bit words 0xAARRGGBB, not premultiplied, rows `pitch` bytes apart.
struct MwScreenDevice;
using PSD = MwScreenDevice*;
struct MwScreenDevice {
    int xvirtres, yvirtres;  // size in pixels
    int bpp;                 // always 32
    int pitch;               // bytes from row to row
    BYTE* addr;              // first pixel
    int size;                // bytes from `addr` to the end of the last row
    bool has_alpha;          // some pixel is not opaque
    void (*FreeMemGC)(PSD);  // releases the device and whatever pixels it owns
};
// The screen's drawing surface; its pixels reach the screen when the UI thread next waits. Null before Install.
extern PSD scrdev;

struct WNDCLASS {
    UINT style;
    WNDPROC lpfnWndProc;
    int cbClsExtra;
    int cbWndExtra;  // bytes for GetWindowLong / SetWindowLong at indices from 0
    HINSTANCE hInstance;
    HICON hIcon;
    HCURSOR hCursor;
    HBRUSH hbrBackground;
    LPCSTR lpszMenuName;
    LPCSTR lpszClassName;
};

struct CREATESTRUCT {
    void* lpCreateParams;
    HINSTANCE hInstance;
    HMENU hMenu;
    HWND hwndParent;
    int cy, cx, y, x;
    LONG style;
    LPCSTR lpszName;
    LPCSTR lpszClass;
    DWORD dwExStyle;
};

// ---- Start ---------------------------------------------------------------------------------------------------------
// The program's entry; called once by main after the kernel and the machine are installed.
int WinMain(HINSTANCE instance, HINSTANCE previous, LPSTR command_line, int show);
// Registers the dialog class and the built-in controls, and gives the desktop window the program's instance.
// Idempotent.
int MwInitializeDialogs(HINSTANCE instance);
// 1: strings are UTF-8 where a whole string is valid UTF-8, else GB2312 (GBK). 0: one byte is one character (ISO
// 8859-1).
void MwSetTextCoding(int coding);

// ---- Windows -------------------------------------------------------------------------------------------------------
WORD RegisterClass(
    const WNDCLASS* window_class);  // 0 on failure; registering a name again replaces nothing and returns non-0
// A WS_CHILD window lies in its parent's client area, on top of its siblings; any other lies on the screen, is owned by
// the parent's top-level window and goes with it. Windows have no frame: the client area is the whole window. Null when
// the class is unknown, the parent is gone, or WM_CREATE was answered with -1.
HWND CreateWindowEx(DWORD ex_style, LPCSTR class_name, LPCSTR text, DWORD style, int x, int y, int width, int height,
                    HWND parent, HMENU id, HINSTANCE instance, void* parameter);
HWND CreateWindow(LPCSTR class_name, LPCSTR text, DWORD style, int x, int y, int width, int height, HWND parent,
                  HMENU id, HINSTANCE instance, void* parameter);
// Sends WM_DESTROY to the window while it is still shown, then to what is in it, to each once; it is the last message
// they get.
BOOL DestroyWindow(HWND window);
BOOL IsWindow(HWND window);
BOOL ShowWindow(HWND window, int command);  // returns whether it was visible before
BOOL MoveWindow(HWND window, int x, int y, int width, int height, BOOL repaint);
BOOL SetWindowPos(HWND window, HWND after, int x, int y, int width, int height, UINT flags);
BOOL BringWindowToTop(HWND window);
BOOL IsWindowVisible(HWND window);
BOOL EnableWindow(HWND window, BOOL enable);
BOOL IsWindowEnabled(HWND window);
HWND GetParent(HWND window);
HWND GetDesktopWindow();
HWND GetWindow(HWND window, UINT relation);
HWND GetDlgItem(HWND dialog, int id);
int GetDlgCtrlID(HWND window);
// Disabled windows, and those that were there before the running modal dialog, get neither focus nor activation (null).
HWND SetFocus(HWND window);
HWND GetFocus();
HWND SetActiveWindow(HWND window);
HWND GetActiveWindow();
BOOL SetForegroundWindow(HWND window);
HWND GetForegroundWindow();
// Index: a byte offset into the class's extra bytes, or GWL_…. Wide enough for a pointer.
LONG_PTR GetWindowLong(HWND window, int index);
LONG_PTR SetWindowLong(HWND window, int index, LONG_PTR value);
HINSTANCE GetWindowInstance(HWND window);
BOOL SetWindowText(HWND window, LPCSTR text);
int GetWindowText(HWND window, LPSTR buffer, int size);
int GetWindowTextLength(HWND window);
BOOL GetClientRect(HWND window, RECT* rect);
BOOL GetWindowRect(HWND window, RECT* rect);
BOOL ClientToScreen(HWND window, POINT* point);
BOOL ScreenToClient(HWND window, POINT* point);
int GetSystemMetrics(int index);
COLORREF GetSysColor(int index);
LRESULT DefWindowProc(HWND window, UINT message, WPARAM wparam, LPARAM lparam);

// ---- Messages and timers -------------------------------------------------------------------------------------------
// A direct call. A WM_PAINT that is sent erases and paints the whole client area.
LRESULT SendMessage(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
// FALSE for a window that is gone or being destroyed. A posted WM_QUIT ends the dialog it is posted to, if that still
// runs, and nothing else.
BOOL PostMessage(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
// Ends the outermost loop and, before it, every loop inside it.
void PostQuitMessage(int exit_code);
BOOL GetMessage(MSG* message, HWND window, UINT first, UINT last);  // FALSE for WM_QUIT
BOOL PeekMessage(MSG* message, HWND window, UINT first, UINT last, UINT remove);
BOOL TranslateMessage(const MSG* message);
LRESULT DispatchMessage(const MSG* message);
// Replaces the timer of the same window and id. Its message is made when nothing else waits; missed ticks are left out.
UINT SetTimer(HWND window, UINT id, UINT milliseconds, TIMERPROC procedure);  // the id; 0 on failure
BOOL KillTimer(HWND window, UINT id);
DWORD GetTickCount();

// While keys wait none is handed out; afterwards they come in their order, to whoever has the focus by then.
void MwLetKeysWait(BOOL wait);
// Forgets the keys that wait.
void MwDropKeys();
// Forgets one key's presses among them.
void MwDropKey(int virtual_key);

// ---- Dialogs -------------------------------------------------------------------------------------------------------
inline LPCSTR MAKEINTRESOURCE(std::uintptr_t id) {
    return reinterpret_cast<LPCSTR>(id);
}  // NOLINT
// Runs a modal dialog: an empty full-screen window whose procedure is `procedure`. The template says only which number
// it has; every dialog makes its own controls. Returns what EndDialog was given, -1 when it could not be created.
int DialogBoxParam(HINSTANCE instance, LPCSTR dialog_template, HWND parent, DLGPROC procedure, LPARAM parameter);
BOOL EndDialog(HWND dialog, int result);
BOOL IsDialogMessage(HWND dialog, const MSG* message);

// ---- Painting ------------------------------------------------------------------------------------------------------
// Draws on the update region, which stays until the WM_PAINT handler returns and is validated then in any case.
HDC BeginPaint(HWND window, PAINTSTRUCT* paint);
BOOL EndPaint(HWND window, const PAINTSTRUCT* paint);
BOOL InvalidateRect(HWND window, const RECT* rect, BOOL erase);
BOOL ValidateRect(HWND window, const RECT* rect);
// Paints the window and what is in it, as far as it waits to be painted, and shows it at once.
BOOL UpdateWindow(HWND window);
HDC GetDC(HWND window);
int ReleaseDC(HWND window, HDC dc);

HGDIOBJ GetStockObject(int index);
HBRUSH CreateSolidBrush(COLORREF color);
HPEN CreatePen(int style, int width, COLORREF color);
// A font by file name ("Arial.ttf"); `height` is the height of a line in pixels. Missing glyphs are drawn as boxes.
HFONT CreateFont(int height, int width, int escapement, int orientation, int weight, DWORD italic, DWORD underline,
                 DWORD strike_out, DWORD char_set, DWORD out_precision, DWORD clip_precision, DWORD quality,
                 DWORD pitch_and_family, LPCSTR face);
BOOL DeleteObject(HGDIOBJ object);
HGDIOBJ SelectObject(HDC dc, HGDIOBJ object);  // returns the object that was selected before
COLORREF SetTextColor(HDC dc, COLORREF color);
COLORREF SetBkColor(HDC dc, COLORREF color);
// A rim of one pixel around every glyph, so that text stays legible whatever lies behind it; alpha 0: none.
COLORREF SetTextRim(HDC dc, COLORREF color);
int SetBkMode(HDC dc, int mode);
int FillRect(HDC dc, const RECT* rect, HBRUSH brush);
// Fills a rectangle with a colour without making a brush.
void FastFillRect(HDC dc, const RECT* rect, COLORREF color);
BOOL Rectangle(HDC dc, int left, int top, int right, int bottom);
BOOL MoveToEx(HDC dc, int x, int y, POINT* previous);
BOOL LineTo(HDC dc, int x, int y);
BOOL Polygon(HDC dc, const POINT* points, int count);
COLORREF SetPixel(HDC dc, int x, int y, COLORREF color);
BOOL TextOut(HDC dc, int x, int y, LPCSTR text, int length);
// `length` -1: zero-terminated. Returns the height. DT_WORDBREAK splits a word only where it is wider than the
// rectangle; DT_CALCRECT then answers the word's whole width.
int DrawText(HDC dc, LPCSTR text, int length, RECT* rect, UINT format);
inline int DrawTextA(HDC dc, LPCSTR text, int length, RECT* rect, UINT format) {
    return DrawText(dc, text, length, rect, format);
}
BOOL GetTextExtentPoint(HDC dc, LPCSTR text, int length, SIZE* size);
BOOL GetTextMetrics(HDC dc, TEXTMETRIC* metrics);

// ---- Pictures and cursor -------------------------------------------------------------------------------------------
// Decodes a PNG, JPEG or GIF file (its first frame). Null for a missing, broken or absurdly large one. Free with
// FreeMemGC.
PSD GdLoadImageFromFile(const char* path, int flags);
// The same for a picture that is to be seen in a room of that size: a JPEG comes at a smaller scale that still fills
// the room with its proportions kept, which takes less time and memory.
PSD GdLoadImageFit(const char* path, int width, int height);
// A drawing device over pixels: the caller's when `pixels` is non-null (they must outlive it), its own when null.
// `format` and `palette_size` are accepted as given and ignored: pixels are always 32-bit.
PSD GdCreatePixmap(PSD screen, int width, int height, int format, void* pixels, int palette_size);
// Draws a picture with its alpha, stretched to the rectangle.
void DrawDIBFit(HDC dc, int x, int y, int width, int height, PSD image);
// The cursor layer: one picture over everything else, visible at once even when the UI thread then blocks.
void GdSetCursorImage(PSD image);  // the caller's; null: none
void MwMoveCursor(int x, int y);
int GdShowCursor();  // nested calls count; returns the level before
int GdHideCursor();

// ---- Scroll information (used by the program's own scroll bar control) ----------------------------------------------
struct SCROLLINFO {
    UINT cbSize;
    UINT fMask;
    int nMin, nMax;
    UINT nPage;
    int nPos;
    int nTrackPos;
};
constexpr UINT SIF_RANGE = 1, SIF_PAGE = 2, SIF_POS = 4, SIF_ALL = 7;
