// The dialog that sets the clocks.
#pragma once

#include <memory>

#include "ui/base/varno_mwin_utils.h"
#include "ui/base/varno_ui_dialog.h"

class CVarnoUICtrlDateTime;

// A picture and the control that does all the editing. Ends with 6 when the clocks were set, with 1 otherwise.
// UI thread.
class CVarnoUIDlgDateTime final : public CVarnoUIDialog {
  public:
    static CVarnoUIDlgDateTime* CreateNew(HINSTANCE instance, HWND parent);
    ~CVarnoUIDlgDateTime() override;
    void InitDialog() override;
    void DestoryDialog() override;
    LRESULT DialogProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) override;

  private:
    CVarnoUIDlgDateTime(HINSTANCE instance, HWND parent);
    void HandleKeyDown(unsigned key);

    Varno::Image m_pIcon;
    HWND m_hIconStatic = nullptr;
    std::unique_ptr<CVarnoUICtrlDateTime> m_pCtrlDateTime;
};
