// What the brightness and the zoom bar have in common: an icon and a scroll bar beside it, shown for a while over the
// live view.
#pragma once

#include "ui/base/mw_ui_base.h"
#include "ui/base/varno_lazy_image.h"

// Positions go from 0 to `steps`. A horizontal bar lies below its icon, a vertical one right of it; two thirds of the
// control's shorter side are the icon's. UI thread.
class CVarnoUICtrlAdjust : public CMWUIBase {
  public:
    ~CVarnoUICtrlAdjust() override;
    bool Init() override;
    void Deinit() override;
    LRESULT WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) override;

    // Moves the bar one step up or down in value, unless it stands at that end.
    virtual void IncDec(bool increase) = 0;
    // Range, page and position of the bar.
    void GetScollInfo(SCROLLINFO& info) const;

  protected:
    CVarnoUICtrlAdjust(HINSTANCE instance, HWND parent, int x, int y, int width, int height, bool vertical,
                       const char* icon_path, int steps, int position);
    // Moves the bar by that many positions, within its range.
    void MoveBy(int positions);

  private:
    void PaintIcon(HWND hwnd);

    bool m_bVertical;
    const char* m_sIconPath;
    int m_nSteps;
    int m_nStartPos;
    int m_nIconSide = 0;  // pixels of the icon's band
    Varno::LazyImage m_pIcon;
    HWND m_hScrollbar = nullptr;
};
