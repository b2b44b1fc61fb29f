// An arrow that tells that there is more in its direction.
#pragma once

#include "ui/base/mw_ui_base.h"

enum ARROW_DIR {
    ARROW_UP,
    ARROW_DOWN,
    ARROW_LEFT,
    ARROW_RIGHT,
};

// Fills its room; hidden at first. UI thread.
class CVarnoUICtrlArrow final : public CMWUIBase {
  public:
    // Null when it cannot be made.
    static CVarnoUICtrlArrow* CreateNew(HINSTANCE instance, HWND parent, ARROW_DIR direction, int x, int y, int width,
                                        int height);
    CVarnoUICtrlArrow(HINSTANCE instance, HWND parent, ARROW_DIR direction, int x, int y, int width, int height);
    ~CVarnoUICtrlArrow() override;
    LRESULT WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) override;

  private:
    void Paint(HWND hwnd) const;

    ARROW_DIR m_direction;
};
