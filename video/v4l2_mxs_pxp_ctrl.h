// The pixel pipeline that shows video frames under the user interface.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "video/v4l2_video_ctrl.h"

enum PXPRotateType {
    PXP_ROTATE_Orig = 0,
    PXP_ROTATE_HFlip = 1,
    PXP_ROTATE_180 = 2,
    PXP_ROTATE_VFlip = 3,
};

// The SoC's PXP as a V4L2 output device: frames go in as planar YUV 4:2:2 and come out scaled to the overlay window,
// where the user interface shows the chroma key. One instance. Thread-safe, except that Close must not meet a call of
// EnqueuePXPBuf, ZoomStep, SetScaleTo or RotateCW on another thread.
class CV4L2_MXSPXPCTRL : public CV4L2_VideoCtrl {
  public:
    // Made on first use, destroyed when the process exits.
    static CV4L2_MXSPXPCTRL& GetInstance();

    // Opens, configures and starts streaming pictures of that size in pixels. It leaves output 1 (the user interface
    // alone) selected; ChangeToPXP(true) shows the video.
    bool Start(unsigned width, unsigned height);
    bool IsStreaming() const { return m_bIsstreaming; }

    // Shows the zoom window of one packed YUYV frame of 320 × 240 pixels: the buffer holds that much, whatever the
    // length says. Does nothing while not streaming; skips the frame when the device has no free buffer within 100 ms.
    void EnqueuePXPBuf(const char* frame, unsigned len);

    // Steps through original, mirrored, half a turn and upside down. False when closed or refused.
    bool RotateCW();
    void Rotate90();
    PXPRotateType GetRotate() const { return m_curRotateType; }

    // Sets the zoom window, in camera pixels.
    void ZoomStep(unsigned short width, unsigned short height);
    // Scales back to the started size; the zoom window stays as it is.
    void SetZoomDefault();
    // Has the device enlarge a picture of that size, at least 16 × 12, at most the started size.
    void SetScaleTo(unsigned width, unsigned height);
    unsigned GetDispWidth() const { return m_nCurWidth; }
    unsigned GetDispHeight() const { return m_nCurHeight; }

    // True: video under the user interface (output 0); false: the user interface alone (output 1).
    void ChangeToPXP(bool pxp);
    // The selected output: 0, 1, or -1 when unknown.
    int GetPxPDispID();

  private:
    CV4L2_MXSPXPCTRL();
    ~CV4L2_MXSPXPCTRL() override = default;

    bool InitV4L2Params();
    bool SetRotate(PXPRotateType type);
    void WritePicture(unsigned index, const char* frame);
    // Expects m_mCtrlLock to be held.
    void Scale(unsigned width, unsigned height);
    std::unique_lock<std::mutex> Lock() { return std::unique_lock<std::mutex>(m_mCtrlLock); }

    std::mutex m_startLock;  // one Start at a time; before the other locks
    std::mutex m_mCtrlLock;  // frame writes, zoom and rotation; before the locks of the base
    std::atomic<PXPRotateType> m_curRotateType{PXP_ROTATE_Orig};
    std::atomic<std::uint16_t> m_nCurWidth{320};
    std::atomic<std::uint16_t> m_nCurHeight{240};
};
