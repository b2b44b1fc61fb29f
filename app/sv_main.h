// The live-view screen: the program's one main window.
#pragma once

#include <memory>

#include "app/cam_status.h"
#include "mwin/windows.h"
#include "ui/base/varno_ui_dlg_warning.h"

class CVarnoCamRecCtrl;
class CVarnoUICtrlBrightAdjust;
class CVarnoUICtrlDateDisplay;
class CVarnoUICtrlFocusAdjust;
class CVarnoUICtrlImageDisplayer;
class CVarnoUICtrlPowerIcon;
class CVarnoUICtrlRecMode;
class CVarnoUICtrlSDChecker;
class CVarnoUIDialog;

// Free space of the medium that is recorded to, in KiB: the card's, else the internal storage's, else 100. -1 when it
// is unknown.
int GetAvailSpace();

// Owns everything that is shown over the camera picture, and the camera's controller; turns keys into actions, and
// sequences detection, live view, stills and recordings from a timer. A full-screen modal dialog that lives as long as
// the program runs. UI thread.
class CVarnoSVMain {
  public:
    static CVarnoSVMain* CreateNew(HINSTANCE instance);
    ~CVarnoSVMain();
    CVarnoSVMain(const CVarnoSVMain&) = delete;
    CVarnoSVMain& operator=(const CVarnoSVMain&) = delete;

    // Runs the window until it is destroyed; -1 without an instance.
    int DoModel();

    // Stops and starts the state machine and the clock on the screen, around a change of the system's time.
    void StartAllTimer();
    void StopAllTimer();
    // Ends a running recording; its file is whole afterwards.
    void FinishRecording();
    // Hides everything and pauses the camera, and back, around a dialog. Calls nest, a warning may come over a menu:
    // the outermost ones count.
    void EnterMenu();
    void ExitMenu();

  private:
    explicit CVarnoSVMain(HINSTANCE instance);

    // sv_main.cpp: window and keys.
    static LRESULT CALLBACK mainDlgProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam);
    static void CALLBACK fnStateMachineTimerProc(HWND hwnd, UINT msg, UINT id, DWORD time);
    static void CALLBACK fnBrightDispTimerProc(HWND hwnd, UINT msg, UINT id, DWORD time);
    static void CALLBACK fnFocusDispTimerProc(HWND hwnd, UINT msg, UINT id, DWORD time);
    static void Paint(HWND hwnd);
    static void fillblankrect();
    void InitDialog();
    void DestoryDialog();
    void HandleKeyDown(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam);
    void Capture();
    void StepBrightness(bool up);
    void StepZoom(bool up);
    void ToggleRecMode();

    // sv_main_menus.cpp: the dialogs that are opened from live view.
    void OpenSettings();
    void OpenMedia();
    void LeaveMenu();

    // sv_main_controls.cpp: what lies over the picture.
    void CreateControls();
    void CreateBars(int width, int height);
    void CreateImages(int width, int height);
    void CheckTVOut();
    void ShowCtrlIcon();
    void HideCtrlIcon();
    void StartBrightTimer();
    void StartFocusTimer();
    void DisableBright();
    void DisableFocus();
    void ChangeBright();
    void ChangeFocus(bool up);

    // sv_state_machine.cpp: the camera, tick by tick.
    bool StartStateMachine();
    void StopStateMachine();
    void StateMachine();
    void KickWatchdog();
    void CheckSpace();
    void CheckPowerOff();
    void ShowWarning(WaningBoxType kind, const char* trace = "") const;
    void WarnNoSpace(bool trace);
    void ChangeToNewState(CamStatus status);
    void DetectCamera();
    void DecideCapture();
    void BeginVideo();
    void WatchVideo();
    void EndVideo();
    void TakeStill();
    void WaitForStill();
    // Whether there was one.
    bool UndoStillPreparation();
    void WaitForStream() const;
    void ShowFunnelCtrl(int command);
    bool InitCamera();
    void PauseCamera();
    void ResumeCamera();
    bool CheckCamConnected() const;
    bool IsCameraPlaying() const;
    bool IsCameraRecording() const;

    // sv_usb_export.cpp: the storage is a PC's while one is connected.
    void ExportStorage();

    std::unique_ptr<CVarnoUICtrlDateDisplay> m_pDateCtl;
    std::unique_ptr<CVarnoUICtrlPowerIcon> m_pBattery;
    std::unique_ptr<CVarnoUICtrlRecMode> m_pRecMode;
    std::unique_ptr<CVarnoUICtrlSDChecker> m_pSDChecker;
    CamStatus m_curStatus = CAM_STATUS_DETECT;
    CamStatus m_lastStatus = CAM_STATUS_DETECT;
    UINT m_tStateMachineTimer = 0;
    HWND m_hHwnd = nullptr;
    HINSTANCE m_hInst;
    std::unique_ptr<CVarnoUICtrlBrightAdjust> m_hBright;
    std::unique_ptr<CVarnoUICtrlFocusAdjust> m_hFocus;
    UINT m_tBrightTimer = 0;
    UINT m_tFocusTimer = 0;
    std::unique_ptr<CVarnoCamRecCtrl> m_camctrl;
    std::unique_ptr<CVarnoUICtrlImageDisplayer> m_pRecordingImageCtrl;
    std::unique_ptr<CVarnoUICtrlImageDisplayer> m_pFunnelCtrl;
    CVarnoUIDialog* m_dlgCurDlg = nullptr;  // open from live view, or null
    int m_nMenuDepth = 0;                   // how often EnterMenu was called without ExitMenu
    bool m_bTimerContinue = true;           // while false, a tick only kicks the watchdog
    DWORD m_nLastWatchTick = 0;             // milliseconds; 0: never kicked
    bool m_bCanEnterSpaceAutoWarn = true;
    bool m_pwflag = false;          // the power-off request was acted on
    bool m_ForbidKeyflag = false;   // the picture goes to a TV: no keys, no icons
    bool m_bExportDue = false;      // a PC waits until the menu that is open has closed
    bool m_bStillPrepared = false;  // the camera runs at still size, its picture off, and the still is not taken yet
};
