// The zoom bar.
#pragma once

#include "ui/controls/varno_ui_ctrl_adjust.h"

// Seven zoom levels, the strongest on top: position nMax (the bottom) is level 0, where it starts. UI thread.
class CVarnoUICtrlFocusAdjust final : public CVarnoUICtrlAdjust {
  public:
    // Null when it cannot be made; hidden at first.
    static CVarnoUICtrlFocusAdjust* CreateNew(HINSTANCE instance, HWND parent, int x, int y, int width, int height);
    void IncDec(bool increase) override;

  private:
    using CVarnoUICtrlAdjust::CVarnoUICtrlAdjust;
};
