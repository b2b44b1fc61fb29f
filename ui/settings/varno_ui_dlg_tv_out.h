// The choice of the TV output.
#pragma once

#include "ui/settings/varno_ui_list_dialog.h"

// Enter writes the selected output, if the cable is there, and ends the program: the output is taken up at the next
// start. Otherwise ends with 2. UI thread.
class CVarnoUIDlgTVout final : public CVarnoUIListDialog {
  public:
    static CVarnoUIDlgTVout* CreateNew(HINSTANCE instance, HWND parent);

  private:
    CVarnoUIDlgTVout(HINSTANCE instance, HWND parent);
    std::vector<Row> Rows() override;
    void HandleKeyDown(unsigned key) override;
    void Confirm();
    // Writes the selected output for the next start; false, and nothing is written, without a selection.
    bool SetNewOutput();
};
