// The five fields of a date and time, window class "VARNOCTRLDATE".
#pragma once

#include <array>

#include "mwin/windows.h"

// Left and Right choose a field, Up and Down change it, Enter sets the system clock and the real-time clock. The window
// must be gone before its parent's. UI thread.
class CVarnoUICtrlDateTime {
  public:
    static CVarnoUICtrlDateTime* CreateNew(HWND parent);
    ~CVarnoUICtrlDateTime();
    CVarnoUICtrlDateTime(const CVarnoUICtrlDateTime&) = delete;
    CVarnoUICtrlDateTime& operator=(const CVarnoUICtrlDateTime&) = delete;

    // Creates the window with the current local time in its fields; false when that fails.
    bool InitWindow(int x, int y, int width, int height);
    void DeinitWindow();
    HWND Window() const { return m_hHwnd; }

  private:
    enum Position { kMonth = 1, kDay, kYear, kHour, kMinute };
    enum Label { kMonthLabel, kDayLabel, kYearLabel, kTimeLabel, kLabels };

    explicit CVarnoUICtrlDateTime(HWND parent) : m_hParent(parent) {}

    static LRESULT CALLBACK wndproc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam);
    void InitStaticCtrl();
    void DeinitStaticCtrl();
    void InitDateEdit();
    void DeinitDateEdit();
    std::array<HWND*, kMinute> Edits();  // by position - 1
    int Column(int column) const;
    int Line(int line) const;
    void HandleKeyDown(unsigned key);
    void ChangeDateTimeValue(int down);
    void DisplayCurDatePos();
    void SetClocks();
    HWND EditAt(int position);
    int Maximum(int position) const;
    int DayMaximum() const;

    HWND m_hParent;
    HWND m_hHwnd = nullptr;
    int m_width = 0;
    int m_height = 0;
    std::array<HWND, kLabels> m_labels{};
    HWND m_hEditMonth = nullptr;
    HWND m_hEditDay = nullptr;
    HWND m_hEditYear = nullptr;
    HWND m_hEditHour = nullptr;
    HWND m_hEditMinute = nullptr;
    int m_CurDatePos = kMonth;
    HFONT m_hfLabel = nullptr;
    HFONT m_hfEdit = nullptr;
};
