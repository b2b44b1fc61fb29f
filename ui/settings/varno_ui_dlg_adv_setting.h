// The advanced menu.
#pragma once

#include "ui/settings/varno_ui_menu_dialog.h"

// Ends with 2, or with 1 when a new TV output was written. UI thread.
class CVarnoUIDlgAdvSetting final : public CVarnoUIMenuDialog {
  public:
    static CVarnoUIDlgAdvSetting* CreateNew(HINSTANCE instance, HWND parent);

  private:
    CVarnoUIDlgAdvSetting(HINSTANCE instance, HWND parent);
    void DoDetailDlg() override;
    void OpenLanguage();
};
