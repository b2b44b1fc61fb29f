#include "ui/base/mw_ui_base.h"

namespace {

constexpr UINT kControlClassStyle = 0x4003;
constexpr int kWindowExtraBytes = 20;

}  // namespace

CMWUIBase::CMWUIBase(HINSTANCE instance, HWND parent, int x, int y, int width, int height)
    : m_hParent(parent), m_hInstance(instance), m_curRect{x, y, x + width, y + height} {}

CMWUIBase::~CMWUIBase() {
    CMWUIBase::Deinit();
}

WORD CMWUIBase::MwRegisterUIControl(HINSTANCE instance, const char* class_name) {
    m_sClassName = class_name;
    WNDCLASS window_class{};
    window_class.style = kControlClassStyle;
    window_class.lpfnWndProc = mainDlgProc;
    window_class.cbWndExtra = kWindowExtraBytes;
    window_class.hInstance = instance;
    window_class.hbrBackground = GetStockObject(WINDOW_ERASES_BRUSH);
    window_class.lpszClassName = m_sClassName.c_str();
    return RegisterClass(&window_class);
}

bool CMWUIBase::Init() {
    m_hHwnd = CreateWindowEx(0, m_sClassName.c_str(), "", WS_CHILD, m_curRect.left, m_curRect.top,
                             m_curRect.right - m_curRect.left, m_curRect.bottom - m_curRect.top, m_hParent, nullptr,
                             m_hInstance, nullptr);
    if (m_hHwnd == nullptr) return false;
    SetWindowLong(m_hHwnd, kWindowObject, reinterpret_cast<LONG_PTR>(this));
    return true;
}

void CMWUIBase::Deinit() {
    if (m_hHwnd == nullptr) return;
    // While a destructor runs the handler is gone already, so the last messages must not find the object.
    SetWindowLong(m_hHwnd, kWindowObject, 0);
    DestroyWindow(m_hHwnd);
    m_hHwnd = nullptr;
}

void CMWUIBase::Show(int command) {
    if (m_hHwnd != nullptr) ShowWindow(m_hHwnd, command);
}

bool CMWUIBase::IsVisable() const {
    return m_hHwnd != nullptr && (static_cast<DWORD>(GetWindowLong(m_hHwnd, GWL_STYLE)) & WS_VISIBLE) != 0;
}

void CMWUIBase::SetBackgroundColor(COLORREF color) {
    if (color == m_cBackgroundColor) return;
    m_cBackgroundColor = color;
    if (m_hHwnd != nullptr) SendMessage(m_hHwnd, WM_PAINT, 0, 0);
}

LRESULT CMWUIBase::FillBackground(HWND hwnd, HDC dc) const {
    RECT rect{};
    GetClientRect(hwnd, &rect);
    FastFillRect(dc, &rect, m_cBackgroundColor);
    return 1;
}

RECT CMWUIBase::ClientRect() const {
    RECT rect{};
    GetClientRect(m_hHwnd, &rect);
    return rect;
}

LRESULT CALLBACK CMWUIBase::mainDlgProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) {
    auto* control = ObjectOf<CMWUIBase>(hwnd);
    return control == nullptr ? 0 : control->WindowProc(hwnd, msg, wparam, lparam);
}
