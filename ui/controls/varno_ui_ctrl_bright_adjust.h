// The lamp's brightness bar.
#pragma once

#include "ui/controls/varno_ui_ctrl_adjust.h"

// Eleven positions, dark to bright; starts in the middle, as the lamp does. UI thread.
class CVarnoUICtrlBrightAdjust final : public CVarnoUICtrlAdjust {
  public:
    // Null when it cannot be made; hidden at first.
    static CVarnoUICtrlBrightAdjust* CreateNew(HINSTANCE instance, HWND parent, int x, int y, int width, int height);
    void IncDec(bool increase) override;

  private:
    using CVarnoUICtrlAdjust::CVarnoUICtrlAdjust;
};
