// Battery and charger in the status area; powers the device off when the battery is empty.
#pragma once

#include "ui/base/mw_ui_base.h"
#include "ui/base/varno_lazy_image.h"
#include "ui/controls/varno_ui_ctrl_battery.h"

// Asks for the charge every 2 seconds while it is visible. UI thread.
class CVarnoUICtrlPowerIcon final : public CMWUIBase {
  public:
    using CMWUIBase::CMWUIBase;
    // Null when it cannot be made; hidden at first.
    static CVarnoUICtrlPowerIcon* CreateNew(HINSTANCE instance, HWND parent, int x, int y, int width, int height);
    ~CVarnoUICtrlPowerIcon() override;
    bool Init() override;
    void Deinit() override;
    LRESULT WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) override;
    // Reads the battery at once, if the icon shows, and from then on every 2 s.
    bool InitCheckTimer();

  private:
    bool InitBatteryIcon();
    void DeinitBatteryIcon();
    void InitPlugStatic();
    void DeinitPlugStatic();
    void DeinitCheckTimer();
    static void CALLBACK timerproc(HWND hwnd, UINT msg, UINT id, DWORD time);
    void CheckBattery();

    Varno::LazyImage m_pPlugImage;
    std::unique_ptr<CVarnoUICtrlBattery> m_pBattery;
    UINT m_nTimerID = 0;
    HWND m_pPlugImageStatic = nullptr;  // below the battery, shown while the charger is connected
};
