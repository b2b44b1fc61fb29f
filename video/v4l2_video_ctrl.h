// What the camera and the display pipe have in common: a V4L2 device with memory-mapped streaming buffers.
#pragma once

#include <linux/videodev2.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "video/v4l_mmap_data_buf.h"

// Finds a device by its published name, negotiates formats, and moves buffers. Every failing call prints its line to
// standard output (the control group: to standard error), answers false or -1 and leaves the descriptor open; nothing
// throws.
//
// Threads: one thread opens, streams and closes. IsOpened, the streaming flag, the control group, SetOutput_ID and
// GetOutput are thread-safe: they hold m_deviceLock, so that they never reach a descriptor that is being closed and
// used anew.
class CV4L2_VideoCtrl {
  public:
    // `shouldHaveCap`: V4L2_CAP_… bits of which the device must have at least one.
    explicit CV4L2_VideoCtrl(unsigned shouldHaveCap);
    virtual ~CV4L2_VideoCtrl();
    CV4L2_VideoCtrl(const CV4L2_VideoCtrl&) = delete;
    CV4L2_VideoCtrl& operator=(const CV4L2_VideoCtrl&) = delete;

    // What is to be asked for: pixels, frames per second, V4L2_PIX_FMT_….
    void SetWidth(unsigned width) { m_nWidth = width; }
    void SetHeight(unsigned height) { m_nHeight = height; }
    void SetFramerate(unsigned framerate) { m_nFramerate = framerate; }
    void SetReqFormat(unsigned format) { m_nRequestFormat = format; }

    // Opens the first usable device whose published name contains `name` (every video device when `name` is empty).
    bool Open(const std::string& name, bool blocking);
    // Ends streaming and closes. Safe on a closed object.
    void Close();
    bool IsOpened() const { return m_nV4L2_fd > 0; }
    // Size of the picture in pixels: what was asked for or, once a device answered, its answer. Thread-safe.
    void GetPictureSize(unsigned& width, unsigned& height) {
        const std::lock_guard<std::recursive_mutex> lock(m_deviceLock);
        width = m_nWidth;
        height = m_nHeight;
    }

  protected:
    // S_FMT for capture, output or private streams; keeps the driver's answer in m_v4l2_Format and, where it changed
    // the size, in m_nWidth and m_nHeight.
    virtual bool SetV4L2PixFormat(v4l2_buf_type type, const v4l2_pix_format& pix);
    virtual bool SetV4L2Framerate(unsigned fps);
    // Asks for `count` driver buffers and maps every one that is granted.
    virtual bool RequestV4L2StreamBuffer(const v4l2_buf_type& type, const unsigned& count);

    bool InitV4LVideoDevice(int id, bool blocking);
    bool EnableStream(v4l2_buf_type type, unsigned count);
    bool DisableStream(v4l2_buf_type type, unsigned unused);

    bool SetV4L2WinFormat(v4l2_buf_type type, const v4l2_window& win);
    bool SetOutput_Overlay(const v4l2_window& win);
    bool SetOutput_Crop(const v4l2_crop& crop);
    bool SetOutput_ID(int id);
    // The selected output; 0 when closed, -1 when the device does not tell.
    int GetOutput();
    bool SetFBuf_Overlay();

    void ClearStreamBufferList();
    void AddStreamBufferList(int index, std::unique_ptr<CV4LMMAPDATABUF> buffer);
    int GetStreamBufferSize();
    std::unique_lock<std::mutex> LockStreamBufferList() { return std::unique_lock<std::mutex>(*m_pBufferListMutex); }
    // The buffer of that index or null. It stays valid while `locked`, which LockStreamBufferList gave, is held.
    CV4LMMAPDATABUF* GetStreamBufferListAt(unsigned index, const std::unique_lock<std::mutex>& locked);

    // ioctl through the kernel seam.
    static int v4l2_ioctl(int fd, unsigned long request, void* argument);
    // Both leave errno as the device set it. DQBUF: `buf` receives what the driver gives.
    bool v4l2_DQBUF(v4l2_buf_type type, v4l2_buffer& buf);
    bool v4l2_QBUF(v4l2_buf_type type, unsigned index, v4l2_buffer& buf);
    // Queues every mapped buffer.
    bool v4l2_ClearBuf(v4l2_buf_type type, int unused);

    // Device controls, V4L2_CID_…. 1: boolean or menu, 0: integer, -1: missing, disabled or of another kind.
    int isv4l2Control(int id, v4l2_queryctrl* query);
    int GetControlValue(int id, int& value);
    // `value` receives what the device took. 0 without touching the device when it lies outside of the control's range.
    int SetControlValue(int id, int& value);
    int ResetControl(int id);
    bool GetControlValueMaxMin(int id, int& max, int& min);
    // Sets a control without asking for its range, as the drivers' private ones want it.
    bool WriteControl(unsigned id, int value);

    int m_nVideo_ID = -1;  // N of the /dev/videoN that is or was open
    std::uint32_t m_nRequestFormat = V4L2_PIX_FMT_YUYV;
    std::atomic<int> m_nV4L2_fd{-1};
    v4l2_capability m_v4l2_Capability{};
    std::string m_strDevName;
    std::uint32_t m_nShouldHaveCap;
    v4l2_format m_v4l2_Format{};  // the format that the driver last told
    std::uint32_t m_nWidth = 0;
    std::uint32_t m_nHeight = 0;
    std::uint32_t m_nFramerate = 0;
    std::atomic<bool> m_bIsstreaming{false};
    std::unique_ptr<std::mutex> m_pBufferListMutex = std::make_unique<std::mutex>();
    std::map<unsigned, std::unique_ptr<CV4LMMAPDATABUF>> m_lBufferList;
    v4l2_buf_type m_v4l_buf_type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    // Taken before m_pBufferListMutex where both are. Recursive, since control operations are made of others.
    std::recursive_mutex m_deviceLock;

  private:
    void CloseDevice();
};
