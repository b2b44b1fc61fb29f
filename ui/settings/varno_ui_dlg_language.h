// The choice of the language.
#pragma once

#include <map>

#include "ui/settings/varno_ui_list_dialog.h"

struct LanguageType;

// Lists the languages by their full names. Ends with 1 when one was chosen, with 2 otherwise. UI thread.
class CVarnoUIDlgLanguage final : public CVarnoUIListDialog {
  public:
    static CVarnoUIDlgLanguage* CreateNew(HINSTANCE instance, HWND parent);
    void InitDialog() override;

  private:
    CVarnoUIDlgLanguage(HINSTANCE instance, HWND parent);
    std::vector<Row> Rows() override;
    void HandleKeyDown(unsigned key) override;
    // Makes the first language with the selected name the current one; false when there is none.
    bool SaveSelectedLanguage();

    std::map<unsigned, LanguageType*> m_languages;  // by id; the store's
};
