// The sign that tells whether a clip plays.
#pragma once

#include "ui/base/mw_ui_base.h"

enum PlayStatus {
    PLAY_PLAYING = 0,
    PLAY_PAUSE = 1,
    PLAY_STOP = 2,
};

// A triangle, two bars or a square; around it lies whatever the parent draws when it is asked for the control's colour.
// UI thread.
class CVarnoUICtrlPlayStatusIcon final : public CMWUIBase {
  public:
    // Null when it cannot be made; stopped and hidden at first.
    static CVarnoUICtrlPlayStatusIcon* CreateNew(HINSTANCE instance, HWND parent, int x, int y, int width, int height);
    using CMWUIBase::CMWUIBase;
    ~CVarnoUICtrlPlayStatusIcon() override;
    LRESULT WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) override;

    void SetStatus(PlayStatus status);
    void Refresh() const;
    HWND Window() const { return m_hHwnd; }

  private:
    void DrawStatusIcon(HDC dc) const;

    PlayStatus m_sPlayStatus = PLAY_STOP;
};
