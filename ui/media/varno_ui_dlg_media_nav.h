// The choice between photos and clips.
#pragma once

#include "ui/base/varno_mwin_utils.h"
#include "ui/base/varno_ui_dialog.h"
#include "ui/media/media_files.h"

// Two large picture buttons; opens the browser of the chosen kind. DoModel returns 1. UI thread.
class CVarnoUIDlgMediaNav final : public CVarnoUIDialog {
  public:
    static CVarnoUIDlgMediaNav* CreateNew(HINSTANCE instance, HWND parent);
    ~CVarnoUIDlgMediaNav() override;

  protected:
    void InitDialog() override;
    void DestoryDialog() override;
    LRESULT DialogProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) override;

  private:
    CVarnoUIDlgMediaNav(HINSTANCE instance, HWND parent);

    void HandleKeyDown(unsigned key);
    void ToggleSelection();
    void OpenExplorer();
    void InitMediaTypeIcon();
    void DeinitMediaTypeIcon();
    void InitMediaTypeBtn();
    void DeinitMediaTypeBtn();
    void ShowSelection();

    MEDIA_TYPE m_SelectMediaType = Media_Photo;
    Varno::Image m_pImgVideoSel;
    Varno::Image m_pImgVideoUnsel;
    Varno::Image m_pImgPhotoSel;
    Varno::Image m_pImgPhotoUnsel;
    HWND m_pStaticPhotoBtn = nullptr;
    HWND m_pStaticVideoBtn = nullptr;
};
