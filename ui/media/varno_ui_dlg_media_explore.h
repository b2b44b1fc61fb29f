// The browser of recorded photos or clips.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "ui/base/busy_picture.h"
#include "ui/base/varno_ui_dialog.h"
#include "ui/controls/varno_ui_ctrl_arrow.h"
#include "ui/media/explorer_selection.h"
#include "ui/media/media_files.h"
#include "ui/media/varno_ui_ctrl_2line_explorer.h"

enum FILE_EXP_STATE {
    FILE_EXP_IDLE = 0,
    FILE_EXP_WAIT_ALL_FILE = 1,
    FILE_EXP_LOAD_ALL_FILE = 2,
    FILE_EXP_REFRESH_LISTBOX = 3,
};

// Lists one kind of files of the medium in pages of thumbnails; opens and deletes them. DoModel returns 1 when the user
// left, 8 when no file was left. UI thread.
class CVarnoUIDlgMediaExplore final : public CVarnoUIDialog {
  public:
    static constexpr int kUserLeft = 1;
    static constexpr int kNoFileLeft = 8;

    static CVarnoUIDlgMediaExplore* CreateNew(HINSTANCE instance, HWND parent, MEDIA_TYPE type);
    ~CVarnoUIDlgMediaExplore() override;

  protected:
    void InitDialog() override;
    void DestoryDialog() override;
    LRESULT DialogProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) override;

  private:
    CVarnoUIDlgMediaExplore(HINSTANCE instance, HWND parent, MEDIA_TYPE type);

    // States, from a timer.
    static void CALLBACK statetimerproc(HWND hwnd, UINT msg, UINT id, DWORD time);
    bool StartStateMachine();
    void StopStateMachine();
    void StateMachine();
    void ChangeToNewState(FILE_EXP_STATE state);
    static const char* StateString(FILE_EXP_STATE state);
    void ShowLastPage();

    void HandleKeyDown(unsigned key);
    void Move(ExplorerMove move);
    void OpenSelected();
    void DeleteSelected();
    void RemoveFile(const std::string& path);
    void LeaveEmpty();

    // The list and the page of it that is shown.
    void InitFileList(const std::string& directory);
    void ClearFileList();
    unsigned TotalFiles() const { return static_cast<unsigned>(m_files.size()); }
    unsigned SelectedItem() const { return m_nCurPage * kPageItems + m_p2LineExp->GetCurrentPos(); }
    void SetCurPage(unsigned page);
    void SelectItem(unsigned item);
    void SelectFile(const std::string& path);
    void Refresh2LineExp();
    void RefreshItemText(unsigned item);

    // Controls.
    void InitArrows();
    void DeinitArrows();
    void ShowArrow(ARROW_DIR direction, bool show);
    void InitFunnelCtrl();
    void DenitFunnelCtrl();
    void InitPageStatic();
    void DeinitPageStatic();
    void InitPageStaticFont(int height);
    void DeinitPageStaticFont();
    void Init2LineExp();
    void Deinit2LineExp();

    const MEDIA_TYPE m_SelectMediaType;
    std::vector<FileList> m_files;
    std::string m_strCurPath;  // empty: there is no medium
    unsigned m_nCurPage = 0;
    FILE_EXP_STATE m_curExpState = FILE_EXP_IDLE;
    FILE_EXP_STATE m_lastExpState = FILE_EXP_IDLE;
    UINT m_tTimerStateMachine = 0;
    bool m_bLoaded = false;  // the first page was shown
    std::unique_ptr<CVarnoUICtrl2LineExplorer> m_p2LineExp;
    std::unique_ptr<BusyPicture> m_pFunnel;
    std::array<std::unique_ptr<CVarnoUICtrlArrow>, 2> m_arrows;  // ARROW_UP, ARROW_DOWN
    HWND m_hPageStatic = nullptr;
    HFONT m_hfPageStatic = nullptr;
};
