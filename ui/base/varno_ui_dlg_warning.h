// The full-screen warnings.
#pragma once

#include <string>

#include "ui/base/varno_mwin_utils.h"
#include "ui/base/varno_ui_popup_dialog.h"

enum WaningBoxType {
    WARNBOX_EXIT = 0,        // the device switches off: ends by itself after a second
    WARNBOX_USB_DEVICE = 1,  // a PC has the storage: ends by itself when the cable is pulled
    WARNBOX_NoFiles = 2,     // F1 ends it
    WARNBOX_NoSpace = 3,     // F1 ends it
    WARNBOX_MAX = 4,
};

// A picture with a line of text. It stays for three seconds after it has ended. UI thread.
class CVarnoUIDlgWarning final : public CVarnoUIPopupDialog {
  public:
    static CVarnoUIDlgWarning* CreateNew(HINSTANCE instance, HWND parent);
    virtual ~CVarnoUIDlgWarning();

    // 6 when F1 ended it, 8 when it ended by itself or is no kind of warning, -1 when it could not be opened.
    int DoModal(WaningBoxType kind);

    void InitDialog() override;
    void DestoryDialog() override;
    LRESULT WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) override;

  private:
    CVarnoUIDlgWarning(HINSTANCE instance, HWND parent);
    using CVarnoUIPopupDialog::DoModal;

    static void CALLBACK fnTimerProc(HWND hwnd, UINT msg, UINT id, DWORD time);
    bool LeavesByKey() const;
    void LoadPictures();
    RECT TextBand() const;
    void Paint(HWND hwnd) const;
    void HandleKeyDown(WPARAM key);
    void CheckState();
    void End(int result);
    void EndByItself();
    void CheckPowerOff() const;

    WaningBoxType m_curType = WARNBOX_MAX;
    std::string m_strWarnText;
    Varno::Image m_pWarningImage;
    Varno::Image m_pLeaveImage;  // the sign of the key that ends the dialog; null where none does
    HFONT m_hfTextFont = nullptr;
    UINT m_tTimer = 0;
};
