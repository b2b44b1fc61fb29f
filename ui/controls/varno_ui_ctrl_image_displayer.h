// A control that shows one picture file.
#pragma once

#include <string>

#include "ui/base/mw_ui_base.h"
#include "ui/base/varno_mwin_utils.h"

// UI thread.
class CVarnoUICtrlImageDisplayer final : public CMWUIBase {
  public:
    // Null when it cannot be made; empty and hidden at first. `id` becomes the picture's control id.
    static CVarnoUICtrlImageDisplayer* CreateNew(HINSTANCE instance, HWND parent, unsigned id, int x, int y, int width,
                                                 int height);
    ~CVarnoUICtrlImageDisplayer() override;
    bool Init() override;
    void Deinit() override;
    LRESULT WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) override;

    // Shows another file instead; false, and the control is empty, when it cannot be loaded.
    bool SetNewImagePath(const std::string& path);
    // Shows nothing for now, and that file as soon as the control is shown.
    void SetImagePathWhenShown(const std::string& path);
    // Size of the picture in pixels, from the control's top left; it is stretched to it.
    bool SetImageSize(unsigned width, unsigned height);

  private:
    CVarnoUICtrlImageDisplayer(HINSTANCE instance, HWND parent, unsigned id, int x, int y, int width, int height);
    bool InitImageStatic();
    void DeinitImageStatic();
    bool LoadImage(const std::string& path);
    void UnloadImage();
    void LoadPathWhenShown();

    unsigned m_nId;
    std::string m_strFilename;
    std::string m_strPathWhenShown;  // not loaded yet
    Varno::Image m_pImgCtrl;
    HWND m_hImgStaticCtrl = nullptr;
};
