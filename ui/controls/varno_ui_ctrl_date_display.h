// The line with the local date and time.
#pragma once

#include <string>

#include "ui/base/mw_ui_base.h"

// Shows "2026-11-21 14:05:09", brought up to date every second from Init on. UI thread.
class CVarnoUICtrlDateDisplay final : public CMWUIBase {
  public:
    using CMWUIBase::CMWUIBase;
    // Null when it cannot be made; hidden at first.
    static CVarnoUICtrlDateDisplay* CreateNew(HINSTANCE instance, HWND parent, int x, int y, int width, int height);
    ~CVarnoUICtrlDateDisplay() override;
    bool Init() override;
    void Deinit() override;
    LRESULT WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) override;

    // Lets the clock run, beginning at once, or stops it at what it shows.
    void EnableTimeDisplay(bool enable);

  private:
    static void CALLBACK timer_proc(HWND hwnd, UINT msg, UINT id, DWORD time);
    void UpdateTime();
    void PaintTime(HWND hwnd) const;

    UINT m_tTimer = 0;
    HFONT m_hfFont = nullptr;
    std::string m_sText;
};
