// Joins camera, live display, video recording and stills.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <memory>
#include <string>

#include "sys/worker_thread.h"
#include "video/v4l2_uvc_ctrl.h"

class CVarnoAVISaver;

// Owns the camera and the AVI saver, and runs the distribution thread that takes every captured frame and, in this
// order, turns, zooms, shows, records and saves it. All public operations belong to the UI thread; snapshot, rotation
// and zoom are requests that the thread carries out with the next frame of a streaming camera.
class CVarnoCamRecCtrl {
  public:
    // Null when the camera object cannot be made. No thread runs yet.
    static CVarnoCamRecCtrl* CreateNew();
    // Stops everything and closes the overlay.
    virtual ~CVarnoCamRecCtrl();
    CVarnoCamRecCtrl(const CVarnoCamRecCtrl&) = delete;
    CVarnoCamRecCtrl& operator=(const CVarnoCamRecCtrl&) = delete;

    // Starts camera and distribution; whether both run. A camera that is not plugged in is no failure.
    bool Start();
    // Ends both threads, closes the camera and leaves the display to the user interface.
    void Stop();

    // Starts a clip, named after the local time, on the card or else on the internal storage. False without a streaming
    // camera or a medium.
    bool StartRecordAVI();
    // Returns when the clip is finished.
    void StopRecordAVI();
    bool IsAVIRecording();

    // Asks for a still; always true.
    bool SaveToImage();
    // A still is asked for and not written yet. A still that failed counts as done.
    bool GetSavingImageStatus();
    // Asks for the next orientation; always true.
    bool RotateCW();
    // Asks for zoom level 0 (whole picture) to 6 (2.5 times); more means 6.
    void ZoomPXP(unsigned char level);
    // A zoom is asked for and not carried out yet.
    bool GetZoomStatus();
    // Brightness of the probe's lamp in per cent, limited to 0..100; always true.
    bool ChangeBright(int percent);
    void SetColorOrBlack(bool colour);
    UVC_STATUS GetUVCStatus();
    // Reconnects the camera at another size in pixels; the first argument has no meaning.
    void ChangeUVCResolution(bool unused, int width, int height);
    // Whether live video may be shown (true after construction).
    void SetPictureStatus(bool finished);
    void SetPXPStatus(bool closed);

  private:
    // What of the camera's picture is to be shown, in pixels. One aligned word, so that it is read and written as one
    // without a lock.
    struct alignas(4) ZoomSize {
        std::uint16_t cx;
        std::uint16_t cy;
    };

    CVarnoCamRecCtrl();
    bool Init();
    bool InitUVC();
    bool InitPXP();
    bool InitAVISaver();
    void Deinit();
    void DeinitPXP();
    void DeinitAVISaver();
    void DeinitUVC();
    bool StartThread();
    void StopThread();
    static void* thread_start(void* self);
    void* thread_proc();
    void RouteDisplay();
    void StartPXP();
    void TakeFrame();
    void HandOutFrame(char* frame, int len);
    void SaveToJpg(char* frame, int len);

    std::unique_ptr<CV4L2_UVCCtrl> m_pUVC;
    std::unique_ptr<CVarnoAVISaver> m_pAVISaver;
    Varno::WorkerThread m_pThreadID;
    std::atomic<bool> m_bExitThread{true};
    std::atomic<bool> m_bIsSavingImage{false};
    std::atomic<bool> m_bStartRotate{false};
    std::atomic<bool> m_bZoomSet{false};
    std::atomic<ZoomSize> m_sZoomSize{ZoomSize{320, 240}};
    std::atomic<bool> m_isFinishedPicture{true};
    std::atomic<bool> m_isPXPClosed{false};

    // Distribution thread only: when the overlay could last not be started, 0 for never.
    std::chrono::nanoseconds m_lastPXPFailure{0};
    // Distribution thread only: the last still's second by either clock, and its path.
    std::time_t m_lastStillTime = 0;
    std::chrono::nanoseconds m_lastStillMoment{0};
    std::string m_lastStill;
};
