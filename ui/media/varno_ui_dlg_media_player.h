// One photo or clip, full screen.
#pragma once

#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "ui/base/varno_mwin_utils.h"
#include "ui/base/varno_ui_dialog.h"
#include "ui/media/media_files.h"
#include "ui/media/overlay_view.h"
#include "ui/media/play_clock.h"
#include "ui/media/varno_ui_ctrl_play_status_icon.h"

class ClipFrame;
class CVarnoAVIReader;

// Shows a photo, or plays a clip through the video overlay; steps to the neighbouring files of the same kind. While a
// clip stands still its frame is drawn by the user interface, at the place and size that it has in the overlay. DoModel
// returns 6. UI thread.
class CVarnoUIDlgMediaPlayer final : public CVarnoUIDialog {
  public:
    static constexpr int kUserLeft = 6;

    static CVarnoUIDlgMediaPlayer* CreateNew(HINSTANCE instance, HWND parent);
    ~CVarnoUIDlgMediaPlayer() override;

    // The file to be shown, by its path on the device; before DoModel.
    void SetFilename(const std::string& path);
    // The file that is shown, or was shown last.
    const std::string& GetFilename() const { return m_strFilename; }

  protected:
    void InitDialog() override;
    void DestoryDialog() override;
    LRESULT DialogProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) override;

  private:
    CVarnoUIDlgMediaPlayer(HINSTANCE instance, HWND parent);

    // Keys.
    void HandleKeyDown(unsigned key);
    void HandlePhotoKey(unsigned key);
    void HandleVideoKey(unsigned key);
    void TogglePlay();
    void PauseAt(const timeval& now);

    // Neighbours in the list.
    void InitJPGFileList(const std::string& directory);
    std::size_t GetFilePostionInList(const std::string& path) const;
    std::size_t NeighbourOf(bool previous) const;
    void ScollVideo(bool previous);
    void ScollJPGImage(bool previous);
    void PlayPosVideo(std::size_t index);
    void DisplayPosImage(std::size_t index);
    void ChooseFile(std::size_t index);
    bool RenewDispImage(const std::string& path);

    // Playing.
    static void CALLBACK videotimerproc(HWND hwnd, UINT msg, UINT id, DWORD time);
    static void CALLBACK DelayTimerProc(HWND hwnd, UINT msg, UINT id, DWORD time);
    void StartDelayAVIReaderTimer();
    void StopDelayAVIReaderTimer();
    void OpenDelayed();
    void OpenClip();
    bool InitAVIFilePlayer();
    void DeinitAVIFilePlayer();
    bool Play();
    void Pause();
    void Stop();
    void KillPlayTimer();
    void ShowNextFrame();
    void EndOfClip();
    void ShowPosition(long position);
    void ShowStill();
    void SetStatus(PlayStatus status);
    // Frames per second that the clip is played at.
    double PlayRate() const;
    static void SetPlayTimeText(HWND text, long position, long total, double rate, bool finished);

    // Controls and painting (varno_ui_dlg_media_player_view.cpp).
    void InitControls();
    void DeinitControls();
    void InitProgressBar();
    void InitPlayTimeStatic();
    void InitPlayStatusIcon();
    void Repaint();
    void Paint(HWND hwnd);
    void DrawPicture(HDC dc, int x, int y) const;
    void DrawIndex(HDC dc) const;
    LRESULT AnswerStaticColor(HDC dc, HWND control) const;
    static void DrawRawRGBImage(HDC dc, int x, int y, int width, int height, int source_width, int source_height,
                                unsigned char* pixels);

    std::string m_strFilename;
    bool m_bPhotoMode = true;
    std::vector<FileList> m_files;
    std::size_t m_nImgPos = 0;
    Varno::Image m_pImage;   // the photo
    bool m_bBroken = false;  // the file cannot be shown

    std::unique_ptr<OverlayView> m_pOverlay;
    std::unique_ptr<CVarnoAVIReader> m_pAVIReader;
    std::unique_ptr<ClipFrame> m_pVideoBuffer;
    std::unique_ptr<unsigned char[]> m_pConverBuffer;  // the still, 32-bit pixels
    bool m_bStill = true;                              // it is drawn, and the overlay is not seen
    PlayStatus m_status = PLAY_STOP;
    UINT m_iTimerVideoPlay = 0;
    UINT m_iTimerDelay = 0;
    PlayClock m_clock;
    std::time_t m_last_t = 0;  // second in which the position was shown last

    HWND m_hProgBar = nullptr;
    HWND m_hPlayTime = nullptr;
    HFONT m_hfPlayTime = nullptr;
    HFONT m_hfIndex = nullptr;
    std::unique_ptr<CVarnoUICtrlPlayStatusIcon> m_pPlayStatusIcon;
};
