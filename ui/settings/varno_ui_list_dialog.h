// Base of the dialogs that are one list.
#pragma once

#include <string>
#include <vector>

#include "ui/base/varno_ui_dialog.h"
#include "ui/settings/dialog_parts.h"

// The caption over a list that fills the frame. Up and Down go around the list's ends; Left and Right are the list's.
// UI thread.
class CVarnoUIListDialog : public CVarnoUIDialog {
  public:
    void InitDialog() override;
    void DestoryDialog() override;
    LRESULT DialogProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) override;

  protected:
    struct Row {
        std::string text;
        PSD icon = nullptr;  // not owned
    };
    // How the rows look.
    struct Style {
        const char* window_text;
        const char* face;
        double font_part;  // of a row's height; less where a text would not fit
        int rows_shown;    // 0: all of them
    };
    CVarnoUIListDialog(HINSTANCE instance, HWND parent, const StoredText& caption, const Style& style);

    // The rows, from the top.
    virtual std::vector<Row> Rows() = 0;
    virtual void HandleKeyDown(unsigned key);
    // Fills the list with the rows, in a font in which all of them fit; the first one is selected.
    void RefreshListBox();
    // The selected row, negative when there is none.
    int Selected() const;
    bool Select(int row);
    void LocalizeCaption() { SetCaption(m_caption.Get().c_str()); }
    // Makes the dialog the active window again, after one that was opened from it; nothing when it is closed.
    void Reactivate() const;

    HWND m_hListMenu = nullptr;

  private:
    void InitListBox();
    void DeinitListBox();
    void FitFont(const std::vector<Row>& rows, int row_height);
    void MoveSelection(unsigned key);

    const StoredText m_caption;
    const Style m_style;
    HFONT m_hfList = nullptr;
};
