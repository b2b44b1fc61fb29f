// The setup menu.
#pragma once

#include "ui/settings/varno_ui_menu_dialog.h"

// Ends with 1. UI thread.
class CVarnoUIDlgSetting final : public CVarnoUIMenuDialog {
  public:
    static CVarnoUIDlgSetting* CreateNew(HINSTANCE instance, HWND parent);

  private:
    CVarnoUIDlgSetting(HINSTANCE instance, HWND parent);
    void DoDetailDlg() override;
    bool OpenAdvancedMenu();
};
