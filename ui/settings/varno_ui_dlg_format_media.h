// Erases the medium that pictures and videos are kept on.
#pragma once

#include <memory>
#include <string>

#include "ui/base/varno_ui_dialog.h"
#include "ui/controls/varno_ui_ctrl_image_displayer.h"
#include "ui/settings/dialog_parts.h"

// Asks twice, formats the card or else the internal storage, and ends by itself with 1. UI thread, which is blocked
// while the commands run.
class CVarnoUIDlgFormatMedia final : public CVarnoUIDialog {
  public:
    static CVarnoUIDlgFormatMedia* CreateNew(HINSTANCE instance, HWND parent);
    void InitDialog() override;
    void DestoryDialog() override;
    LRESULT DialogProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) override;

  private:
    CVarnoUIDlgFormatMedia(HINSTANCE instance, HWND parent);
    // The dialog's own busy picture, hidden: the shared one shows instead, since it is seen while the thread is
    // blocked.
    bool InitFunnelCtrl();
    void DenitFunnelCtrl();
    bool Ask(const StoredText& question);
    void FormatMedia();
    void FormatCard(const std::string& mount_point);
    void FormatNand();

    std::unique_ptr<CVarnoUICtrlImageDisplayer> m_pFunnel;
    bool m_bStarted = false;
};
