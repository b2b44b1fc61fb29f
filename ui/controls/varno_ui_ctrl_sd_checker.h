// The memory-card symbol in the status area.
#pragma once

#include <string>

#include "ui/base/mw_ui_base.h"
#include "ui/base/varno_lazy_image.h"

// Looks for a mounted card every 2.5 seconds, and is visible while there is one. UI thread.
class CVarnoUICtrlSDChecker final : public CMWUIBase {
  public:
    using CMWUIBase::CMWUIBase;
    // Null when it cannot be made; hidden at first.
    static CVarnoUICtrlSDChecker* CreateNew(HINSTANCE instance, HWND parent, int x, int y, int width, int height);
    ~CVarnoUICtrlSDChecker() override;
    bool Init() override;
    void Deinit() override;
    LRESULT WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) override;

  private:
    void LoadImage();
    void UnloadImage();
    bool InitImageStatic();
    void DeinitImageStatic();
    bool InitCheckTimer();
    void DeinitCheckTimer();
    static void CALLBACK timer_proc(HWND hwnd, UINT msg, UINT id, DWORD time);
    void CheckCard();

    UINT m_tTimerChecker = 0;
    HWND m_hImgStaticCtrl = nullptr;
    Varno::LazyImage m_pImgSD;
    std::string m_strCurSDPath;  // mount point of the card last seen, empty when there was none
};
