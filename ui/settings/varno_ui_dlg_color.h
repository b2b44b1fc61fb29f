// The choice between colour and monochrome.
#pragma once

#include "ui/base/varno_mwin_utils.h"
#include "ui/base/varno_ui_dialog.h"

// Left and Right change the choice, Enter saves it. Ends with 1 in any case. UI thread.
class CVarnoUIDlgColor final : public CVarnoUIDialog {
  public:
    static CVarnoUIDlgColor* CreateNew(HINSTANCE instance, HWND parent);
    void InitDialog() override;
    void DestoryDialog() override;
    LRESULT DialogProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) override;

  private:
    // A picture and the text beside it.
    struct Choice {
        Varno::Image selected;
        Varno::Image unselected;
        HWND picture = nullptr;
        HWND text = nullptr;
    };

    CVarnoUIDlgColor(HINSTANCE instance, HWND parent);
    void InitColorRadio();
    void DeinitColorRadio();
    void CreateChoice(Choice& choice, const char* name, const RECT& picture, const RECT& text, const std::string& tip,
                      DWORD alignment);
    void HandleKeyDown(unsigned key);
    // Shows which choice is the working one.
    void CheckColorSaveAndDisplay();

    bool m_isColorful = true;
    Choice m_color;
    Choice m_white;
    HFONT m_hfTipTextFont = nullptr;
};
