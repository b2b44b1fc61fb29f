// A drawn battery with its charge.
#pragma once

#include "ui/base/mw_ui_base.h"

// UI thread.
class CVarnoUICtrlBattery final : public CMWUIBase {
  public:
    using CMWUIBase::CMWUIBase;
    // Null when it cannot be made; hidden at first.
    static CVarnoUICtrlBattery* CreateNew(HINSTANCE instance, HWND parent, int x, int y, int width, int height);
    ~CVarnoUICtrlBattery() override;
    LRESULT WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) override;

    // Shows another charge in per cent, at most 100.
    void RefreshPercent(unsigned percent);
    // Colour of body outline and terminal.
    void SetBatteryColor(COLORREF color);
    COLORREF BatteryColor() const { return m_cBatteryColor; }
    // Colour of the charge.
    void SetPowerColor(COLORREF color);

  private:
    int GetLineWidth() const;
    RECT GetBatterySize() const;
    RECT GetBatteryHeaderSize() const;
    RECT GetPowerRect() const;
    void Paint(HWND hwnd) const;
    void Repaint() const;

    COLORREF m_cBatteryColor = 0xFF000000;
    COLORREF m_cPowerColor = 0xFFFFFFFF;
    unsigned m_nCurBatteryPerc = 1000;  // no charge equals it, so the first one is always shown
};
