// Base of the modal pop-ups that draw their whole screen themselves.
#pragma once

#include "mwin/windows.h"

// Deleted only as the derived class, after its modal loop has ended. UI thread.
class CVarnoUIPopupDialog {
  public:
    CVarnoUIPopupDialog(HINSTANCE instance, HWND parent);
    CVarnoUIPopupDialog(const CVarnoUIPopupDialog&) = delete;
    CVarnoUIPopupDialog& operator=(const CVarnoUIPopupDialog&) = delete;

    // Runs the dialog; what EndDialog was given, -1 when it could not be opened.
    virtual int DoModal();
    virtual void InitDialog();
    virtual void DestoryDialog();
    virtual LRESULT WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) = 0;

  protected:
    ~CVarnoUIPopupDialog();

    HINSTANCE m_hInst;
    HWND m_hParent;
    HWND m_hHwnd = nullptr;

  private:
    static LRESULT CALLBACK mainDlgProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam);
};
