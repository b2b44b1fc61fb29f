// The help page: what the device is and which firmware it runs.
#pragma once

#include <array>

#include "ui/base/varno_ui_dialog.h"

// UI thread.
class CVarnoUIDlgHelp final : public CVarnoUIDialog {
  public:
    static CVarnoUIDlgHelp* CreateNew(HINSTANCE instance, HWND parent);
    void InitDialog() override;
    void DestoryDialog() override;
    LRESULT DialogProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) override;

  private:
    enum Line { kDeviceName, kLabel, kVersion, kReserved, kLines };

    CVarnoUIDlgHelp(HINSTANCE instance, HWND parent);
    static void CALLBACK fnRvdDispTimerProc(HWND hwnd, UINT msg, UINT id, DWORD time);
    void InitLines();
    void HandleKeyDown(unsigned key);

    std::array<HWND, kLines> m_lines{};
    HFONT m_hfDeviceName = nullptr;
    HFONT m_hfText = nullptr;
};
