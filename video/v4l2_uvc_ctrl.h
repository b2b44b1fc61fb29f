// The USB camera and its capture thread.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

#include "sys/worker_thread.h"
#include "video/frames/double_buffer.h"
#include "video/v4l2_video_ctrl.h"

enum UVC_STATUS {
    UVC_STATUS_DISCONNECTED = 0,
    UVC_STATUS_CONNECTED = 1,
    UVC_STATUS_STREAMING = 2,
};

// Keeps the camera connected across unplugging, streams, and copies every frame into a queue of two slots.
//
// Threads: one thread creates, starts, stops, changes the resolution and destroys, while no other thread uses the frame
// queue (never the capture thread: it is joined). PopFrameData and ReleaseFrameData belong to one consumer thread. The
// states and SetColorOrBlack are thread-safe. The capture thread ends within 200 ms of the stop request, plus what a
// device call takes.
class CV4L2_UVCCtrl : public CV4L2_VideoCtrl {
  public:
    // Size in pixels, frames per second, V4L2_PIX_FMT_…. The caller's; null when the frame queue cannot be had.
    static CV4L2_UVCCtrl* CreateNew(unsigned width, unsigned height, unsigned fps, unsigned fourcc);
    ~CV4L2_UVCCtrl() override;

    // Connects, if a camera is there, and starts the capture thread; false only when there is no thread to be had.
    bool Start();
    void Stop();

    // Frames that wait.
    int GetFrameBufferSize();
    // The oldest waiting frame or null. It is the caller's until ReleaseFrameData.
    CDoubleBufferData* PopFrameData();
    void ReleaseFrameData(CDoubleBufferData* data);
    // 0 when a frame waits, 1 on time-out; see CDoubleBuffer::WaitNewData.
    int WaitNewFrameData(int ms);

    bool IsStreaming() const { return m_bIsstreaming; }
    bool IsConnected() const { return m_curUVCStatus > UVC_STATUS_DISCONNECTED; }
    UVC_STATUS GetUVCStatus() const { return m_curUVCStatus; }

    // Sets the brightness control to `percent` of its range. -1 when the camera has no such control.
    int ChangeBright(int percent);
    // Colour, or monochrome through the saturation control. Applied again whenever a camera is connected.
    void SetColorOrBlack(bool colour);
    // Stops, takes a new frame queue for that size and starts again.
    void ReSetUVCResolution(int width, int height);

  private:
    enum class Saturation { Untouched, Colour, Monochrome };
    enum class Wait { Frame, TimedOut, Failed, Stopped };

    CV4L2_UVCCtrl();

    bool Init(unsigned width, unsigned height, unsigned fps, unsigned fourcc);
    void Deinit();
    bool InitBuffer();
    void DeinitBuffer();

    bool Restart();
    bool OpenCamera();
    bool CheckIsUVC(int id);
    bool InitV4L2Params();
    bool IsFormatUsable();
    void ApplySaturation();
    void PrintAllParams();

    bool StartThread();
    void StopThread();
    static void* thread_start(void* self);
    void thread_proc();
    void ServeDisconnected();
    void ServeConnected();
    void ServeStreaming();
    Wait WaitForFrame();
    bool GrabFrame();
    void AddNewFrameData(const char* data, int len);
    bool StartStream();
    bool StopStream();

    void ChangeNewState(UVC_STATUS status);
    static const char* GetStateString(UVC_STATUS status);

    Varno::WorkerThread m_pThreadID;
    std::atomic<bool> m_bExitThread{true};
    std::unique_ptr<CDoubleBuffer> m_pDataBuffer;
    std::atomic<UVC_STATUS> m_curUVCStatus{UVC_STATUS_DISCONNECTED};
    Saturation m_saturation = Saturation::Untouched;  // last wish; guarded by m_deviceLock
    int m_nTimeoutsLeft = 0;                          // capture thread

    // Whoever connects: what was said of a camera whose pictures cannot be used, empty for none, and when it was tried.
    std::string m_refusal;
    std::chrono::nanoseconds m_lastRefusal{0};
};
