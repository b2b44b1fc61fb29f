// The yes/no question, and the note.
#pragma once

#include <string>

#include "ui/base/varno_mwin_utils.h"
#include "ui/base/varno_ui_dialog.h"

// Asks a yes/no question (style 4) or shows a note (any other style) over the whole screen. IDYES or IDNO; a question
// that cannot be shown was answered with no. UI thread.
int VarnoMessageBox(HWND parent, const char* text, const char* caption, UINT style);

// Left and right change the answer, Enter gives it, F1 says no; a note ends with Enter or F1. UI thread.
class CVarnoUIDlgMsgBox final : public CVarnoUIDialog {
  public:
    static CVarnoUIDlgMsgBox* CreateNew(HINSTANCE instance, HWND parent);
    ~CVarnoUIDlgMsgBox() override;

    // Both before the dialog runs.
    void SetUStyle(UINT style) { m_uStyle = style; }
    void SetText(const char* text);

    void InitDialog() override;
    void DestoryDialog() override;
    LRESULT DialogProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) override;

  private:
    CVarnoUIDlgMsgBox(HINSTANCE instance, HWND parent);

    void InitFont();
    void DeinitFont();
    void InitImage();
    void DeinitImage();
    void InitStaticHintText();
    void DeinitStaticHintText();
    void InitStaicImage();
    void DeinitStaticImage();
    void InitStaticYesNo();
    void DeinitStaticYesNo();
    bool IsQuestion() const;
    // A static text or picture in the frame's coordinates; null when it cannot be made.
    HWND CreateStatic(const std::string& text, DWORD type, const RECT& place) const;
    RECT HintPlace() const;
    RECT AnswerPlace(bool yes, int top, int width, int height) const;
    void ShowSelection();
    void HandleKeyDown(WPARAM key);
    LRESULT AnswerStaticColor(HDC dc, HWND control) const;

    static constexpr UINT kYesNo = 4;

    UINT m_uStyle = kYesNo;
    std::string m_sText;
    Varno::Image m_pImgYesOK;
    Varno::Image m_pImgNoCancel;
    Varno::Image m_pImgNone;
    HWND m_hStaticHintText = nullptr;
    HWND m_hStaticImgYesOK = nullptr;
    HWND m_hStaticImgNoCancel = nullptr;
    HWND m_hStaticYes = nullptr;
    HWND m_hStaticNo = nullptr;
    bool m_bYesSelected = true;
    HFONT m_hfTextFont = nullptr;
};
