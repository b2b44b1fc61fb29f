// Base of the full-screen modal dialogs: a caption band over a white frame.
#pragma once

#include <string>

#include "mwin/windows.h"

// The object lives before and after its modal loop; the window only inside. UI thread.
class CVarnoUIDialog {
  public:
    CVarnoUIDialog(HINSTANCE instance, HWND parent, WORD dialog_id);
    CVarnoUIDialog(const CVarnoUIDialog&) = delete;
    CVarnoUIDialog& operator=(const CVarnoUIDialog&) = delete;

    // Makes the dialog's controls; overriders call it first.
    virtual void InitDialog();
    // Takes them down again; overriders call it last. May run twice.
    virtual void DestoryDialog();
    // Every message that the dialog does not answer by itself; 0 for those it does not know.
    virtual LRESULT DialogProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) = 0;
    virtual ~CVarnoUIDialog();

    // Runs the dialog; what EndDialog was given, -1 when it could not be opened.
    int DoModel();
    // Makes DoModel return 0, and with it that of every dialog that was opened from this one.
    void CloseFromOutside();
    // Replaces the caption unless `text` is null, and fits its font; an empty caption leaves what is on the screen.
    void SetCaption(const char* text);
    // Takes the controls down while the window is still open.
    void Destroy();

  protected:
    void InitFrame();
    void UninitFrame();

    HINSTANCE m_hInst;
    HWND m_hParent;
    HWND m_hHwnd = nullptr;
    HWND m_hCaption = nullptr;
    WORD m_DlgID;  // number of the dialog template
    HWND m_hFrame = nullptr;
    std::string m_strCaptName;
    HFONT m_hfCaptionFont = nullptr;

  private:
    static LRESULT CALLBACK mainDlgProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam);
    static LRESULT CALLBACK frameproc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam);
    LRESULT AnswerStaticColor(HWND hwnd, WPARAM wparam, LPARAM lparam);
};
