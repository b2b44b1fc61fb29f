// Base of the two menus: rows of an icon and a caption, each of which opens a dialog.
#pragma once

#include <memory>
#include <vector>

#include "ui/base/varno_mwin_utils.h"
#include "ui/settings/varno_ui_list_dialog.h"

struct MenuItem {
    const char* icon;  // picture file
    StoredText caption;
};

// UI thread.
class CVarnoUIMenuDialog : public CVarnoUIListDialog {
  protected:
    // `items` must outlive the dialog. `back` is the result of leaving with the menu key.
    CVarnoUIMenuDialog(HINSTANCE instance, HWND parent, const StoredText& caption, const std::vector<MenuItem>& items,
                       int back);

    // Opens what the selected row stands for.
    virtual void DoDetailDlg() = 0;
    // Reads all texts again, in the current language.
    void SetLocalize();
    std::vector<Row> Rows() override;
    void HandleKeyDown(unsigned key) override;

    // Runs a dialog over this one and answers its result.
    template <class Dialog>
    int Run() {
        const std::unique_ptr<CVarnoUIDialog> dialog(Dialog::CreateNew(m_hInst, m_hHwnd));
        return dialog->DoModel();
    }
    // Ends this menu, too, when its child wrote a new TV output; false when it did not.
    bool EndForNewOutput(int child_result);

  private:
    const std::vector<MenuItem>& m_items;
    const int m_nBack;
    std::vector<Varno::Image> m_icons;
};
