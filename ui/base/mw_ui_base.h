// Base of the program's own child controls.
#pragma once

#include <memory>
#include <string>

#include "mwin/windows.h"

// Byte offset of a window's extra data at which the program keeps the object behind the window.
constexpr int kWindowObject = 8;
// The video shows through wherever the user interface has this colour: background of everything over the live view.
constexpr COLORREF kColorKey = 0xFF010101;
// Around white text over the live view, which may be white as well.
constexpr COLORREF kTextRimColor = 0xFF202020;

template <class Object>
Object* ObjectOf(HWND window) {
    return reinterpret_cast<Object*>(GetWindowLong(window, kWindowObject));
}

// A control: an object from construction on, a (hidden) child window between Init and Deinit. Destroyed before its
// parent window or together with it. UI thread.
class CMWUIBase {
  public:
    CMWUIBase(HINSTANCE instance, HWND parent, int x, int y, int width, int height);
    CMWUIBase(const CMWUIBase&) = delete;
    CMWUIBase& operator=(const CMWUIBase&) = delete;
    virtual ~CMWUIBase();
    // Creates the window, hidden; false when that fails.
    virtual bool Init();
    // Destroys the window, if any.
    virtual void Deinit();
    virtual LRESULT WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) = 0;

    // Registers the control's window class and keeps its name for Init; 0 when that fails.
    WORD MwRegisterUIControl(HINSTANCE instance, const char* class_name);
    // SW_SHOW or SW_HIDE.
    void Show(int command);
    bool IsVisable() const;
    // A new colour repaints the control.
    void SetBackgroundColor(COLORREF color);

  protected:
    // Answers the background erase: fills the client area.
    LRESULT FillBackground(HWND hwnd, HDC dc) const;
    RECT ClientRect() const;

    HWND m_hHwnd = nullptr;
    HWND m_hParent;
    HINSTANCE m_hInstance;
    RECT m_curRect;  // in the parent's client area
    std::string m_sClassName;
    COLORREF m_cBackgroundColor = kColorKey;

  private:
    static LRESULT CALLBACK mainDlgProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam);
};

// The end of every control's CreateNew: registers its window class and initialises it; null, and the control is gone,
// when either fails.
template <class Control>
Control* InitNewControl(std::unique_ptr<Control> control, HINSTANCE instance, const char* class_name) {
    if (control->MwRegisterUIControl(instance, class_name) == 0 || !control->Init()) return nullptr;
    return control.release();
}
