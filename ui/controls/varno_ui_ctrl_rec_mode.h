// The indicator of what the capture key takes, how much of it still fits, and how long a recording runs.
#pragma once

#include <ctime>
#include <string>

#include "ui/base/mw_ui_base.h"
#include "ui/base/varno_lazy_image.h"

enum RecMode { REC_MODE_VIDEO = 0, REC_MODE_IMAGE = 1 };

// UI thread.
class CVarnoUICtrlRecMode final : public CMWUIBase {
  public:
    using CMWUIBase::CMWUIBase;
    // Null when it cannot be made; hidden, in video mode.
    static CVarnoUICtrlRecMode* CreateNew(HINSTANCE instance, HWND parent, int x, int y, int width, int height);
    ~CVarnoUICtrlRecMode() override;
    bool Init() override;
    void Deinit() override;
    LRESULT WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) override;

    // Ends a running recording's display and shows the other mode.
    void SetCurMode(RecMode mode);
    RecMode CurMode() const { return m_RecMode; }
    // Begins to show the elapsed time, the symbol blinking; in picture mode nothing happens.
    void StartRecord();
    void StopRecord();
    bool RecordStatus() const { return m_isStartRecord; }
    // Shows how many pictures, or what recording time, still fit on the medium. Nothing happens while hidden or
    // recording.
    void RefreshImageAvailableNumber();

  private:
    void LoadAllImage();
    void UnloadAllImage();
    bool InitImageStaticCtrl();
    void DeinitImageStaticCtrl();
    void UpdateRecordTime();
    void UpdateRecordImg();
    void ShowAvailable(int value, const std::string& text);
    void SetText(const std::string& text);
    void ShowModeImage();
    static void CALLBACK timer_proc(HWND hwnd, UINT msg, UINT id, DWORD time);

    RecMode m_RecMode = REC_MODE_VIDEO;
    Varno::LazyImage m_pImgVideo;
    Varno::LazyImage m_pImgImg;
    HWND m_hImgStaticCtrl = nullptr;
    HWND m_hTextStaticCtrl = nullptr;
    bool m_isStartRecord = false;
    UINT m_tTimerRecord = 0;
    std::time_t m_tRecStart = 0;
    HFONT m_hfStaticFont = nullptr;
    int m_nAvailImageSpace = -1;  // pictures or seconds shown; -1: none
    std::string m_sText;          // what the text control shows
};
