#include "video/v4l2_uvc_ctrl.h"

#include <sched.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "sys/kernel.h"
#include "sys/sleep.h"
#include "sys/storage.h"

namespace {

constexpr char kClassDirectory[] = "/sys/class/video4linux";
constexpr char kCameraName[] = "Camera";
constexpr char kCameraMark[] = "Cam";
constexpr int kFrameSlots = 2;
constexpr int kTimeoutsToReconnect = 3;
constexpr int kMiddleBrightness = 50;
constexpr std::chrono::milliseconds kPassPause{10};
constexpr std::chrono::milliseconds kRetryPause{1000};
constexpr std::chrono::milliseconds kFrameTimeout{1000};
constexpr std::chrono::milliseconds kFrameWaitSlice{100};
constexpr int kAperturePriority = 3;  // V4L2_EXPOSURE_APERTURE_PRIORITY: automatic exposure

struct NamedControl {
    int id;
    const char* name;
};
#define NAMED_CONTROL(id) \
    { id, #id }
constexpr NamedControl kListedControls[] = {
    NAMED_CONTROL(V4L2_CID_BRIGHTNESS),
    NAMED_CONTROL(V4L2_CID_CONTRAST),
    NAMED_CONTROL(V4L2_CID_SATURATION),
    NAMED_CONTROL(V4L2_CID_HUE),
    NAMED_CONTROL(V4L2_CID_AUTO_WHITE_BALANCE),
    NAMED_CONTROL(V4L2_CID_WHITE_BALANCE_TEMPERATURE),
    NAMED_CONTROL(V4L2_CID_GAMMA),
    NAMED_CONTROL(V4L2_CID_GAIN),
    NAMED_CONTROL(V4L2_CID_SHARPNESS),
    NAMED_CONTROL(V4L2_CID_EXPOSURE_AUTO),
    NAMED_CONTROL(V4L2_CID_EXPOSURE_ABSOLUTE),
    NAMED_CONTROL(V4L2_CID_DO_WHITE_BALANCE),
    NAMED_CONTROL(V4L2_CID_AUTOGAIN),
    NAMED_CONTROL(V4L2_CID_HUE_AUTO),
    NAMED_CONTROL(V4L2_CID_EXPOSURE_AUTO_PRIORITY),
    NAMED_CONTROL(V4L2_CID_FOCUS_ABSOLUTE),
    NAMED_CONTROL(V4L2_CID_FOCUS_RELATIVE),
    NAMED_CONTROL(V4L2_CID_FOCUS_AUTO),
    NAMED_CONTROL(V4L2_CID_ZOOM_ABSOLUTE),
    NAMED_CONTROL(V4L2_CID_ZOOM_RELATIVE),
    NAMED_CONTROL(V4L2_CID_ZOOM_CONTINUOUS),
    NAMED_CONTROL(V4L2_CID_BLUE_BALANCE),
};
#undef NAMED_CONTROL

}  // namespace

CV4L2_UVCCtrl* CV4L2_UVCCtrl::CreateNew(unsigned width, unsigned height, unsigned fps, unsigned fourcc) {
    std::unique_ptr<CV4L2_UVCCtrl> created(new (std::nothrow) CV4L2_UVCCtrl);
    if (!created || !created->Init(width, height, fps, fourcc)) return nullptr;
    return created.release();
}

CV4L2_UVCCtrl::CV4L2_UVCCtrl() : CV4L2_VideoCtrl(V4L2_CAP_VIDEO_CAPTURE) {}

CV4L2_UVCCtrl::~CV4L2_UVCCtrl() {
    Stop();
    Deinit();
}

bool CV4L2_UVCCtrl::Init(unsigned width, unsigned height, unsigned fps, unsigned fourcc) {
    SetWidth(width);
    SetHeight(height);
    SetFramerate(fps);
    SetReqFormat(fourcc);
    return InitBuffer();
}

void CV4L2_UVCCtrl::Deinit() {
    DeinitBuffer();
}

bool CV4L2_UVCCtrl::InitBuffer() {
    const std::uint64_t pixels = static_cast<std::uint64_t>(m_nWidth) * m_nHeight;
    if (pixels <= INT_MAX / 2) {
        m_pDataBuffer.reset(CDoubleBuffer::CreateNew(static_cast<int>(pixels) * 2, kFrameSlots));
    }
    return m_pDataBuffer != nullptr;
}

void CV4L2_UVCCtrl::DeinitBuffer() {
    m_pDataBuffer.reset();
}

bool CV4L2_UVCCtrl::Start() {
    StopThread();
    Restart();
    return StartThread();
}

void CV4L2_UVCCtrl::Stop() {
    StopThread();
    Close();
    ChangeNewState(UVC_STATUS_DISCONNECTED);
    // The consumer would find frames from before the stop when it looks for the first one after it.
    if (m_pDataBuffer) m_pDataBuffer->ClearData();
}

int CV4L2_UVCCtrl::GetFrameBufferSize() {
    return m_pDataBuffer ? m_pDataBuffer->GetDataBufferSize() : 0;
}

CDoubleBufferData* CV4L2_UVCCtrl::PopFrameData() {
    return m_pDataBuffer ? m_pDataBuffer->PopData() : nullptr;
}

void CV4L2_UVCCtrl::ReleaseFrameData(CDoubleBufferData* data) {
    if (m_pDataBuffer) m_pDataBuffer->ReleaseData(data);
}

int CV4L2_UVCCtrl::WaitNewFrameData(int ms) {
    return m_pDataBuffer ? m_pDataBuffer->WaitNewData(ms) : 1;
}

bool CV4L2_UVCCtrl::Restart() {
    ChangeNewState(UVC_STATUS_DISCONNECTED);
    Close();
    if (!OpenCamera()) return false;
    ChangeBright(kMiddleBrightness);
    PrintAllParams();
    ApplySaturation();
    return true;
}

bool CV4L2_UVCCtrl::OpenCamera() {
    const std::chrono::nanoseconds now = Varno::kernel().Monotonic();
    if (!m_refusal.empty() && now - m_lastRefusal < kRetryPause) return false;
    if (!Open(kCameraName, false)) {
        m_refusal.clear();
        return false;
    }
    if (!CheckIsUVC(m_nVideo_ID)) {
        Close();
        return false;
    }
    Varno::ReleaseVMCache(Varno::K_CACHE_PAGE);
    InitV4L2Params();
    if (!IsFormatUsable()) {
        Close();
        m_lastRefusal = Varno::kernel().Monotonic();
        return false;
    }
    m_refusal.clear();
    std::printf("UVC camera %s opened!\n", m_strDevName.c_str());
    ChangeNewState(UVC_STATUS_CONNECTED);
    return true;
}

bool CV4L2_UVCCtrl::CheckIsUVC(int id) {
    const std::string path = std::string(kClassDirectory) + "/video" + std::to_string(id) + "/name";
    const std::string file_path = Varno::kernel().Path(path);
    struct stat status {};
    if (stat(file_path.c_str(), &status) != 0) {
        std::printf("Error: Stat %s\n", path.c_str());
        return false;
    }
    std::FILE* file = std::fopen(file_path.c_str(), "re");
    if (!file) {
        std::printf("Error: fopen %s\n", path.c_str());
        return false;
    }
    char name[128 + 1] = {};
    const std::size_t length = std::fread(name, 1, sizeof name - 1, file);
    std::fclose(file);
    if (length <= 3 || !std::strstr(name, kCameraMark)) return false;
    std::printf("Find camera %s\n", name);
    return true;
}

bool CV4L2_UVCCtrl::InitV4L2Params() {
    if (m_nShouldHaveCap & V4L2_CAP_VIDEO_CAPTURE) {
        v4l2_pix_format pix{};
        pix.width = m_nWidth;
        pix.height = m_nHeight;
        pix.pixelformat = m_nRequestFormat;
        pix.field = V4L2_FIELD_ANY;
        SetV4L2PixFormat(V4L2_BUF_TYPE_VIDEO_CAPTURE, pix);
        SetV4L2Framerate(m_nFramerate);
    }
    return true;
}

// A driver may answer another pixel format than the one asked for; nothing behind the frame queue could read it. One
// that tells nothing is taken at its word.
bool CV4L2_UVCCtrl::IsFormatUsable() {
    const std::uint32_t answer = m_v4l2_Format.fmt.pix.pixelformat;
    if (answer == 0 || answer == m_nRequestFormat) return true;
    const auto letter = [](std::uint32_t fourcc, unsigned index) {
        const char c = static_cast<char>(fourcc >> (8 * index));
        return c >= ' ' && c <= '~' ? c : '?';
    };
    char refusal[128];
    std::snprintf(refusal, sizeof refusal, "Error: UVC camera %s answers format %c%c%c%c, not %c%c%c%c\n",
                  m_strDevName.c_str(), letter(answer, 0), letter(answer, 1), letter(answer, 2), letter(answer, 3),
                  letter(m_nRequestFormat, 0), letter(m_nRequestFormat, 1), letter(m_nRequestFormat, 2),
                  letter(m_nRequestFormat, 3));
    // Told once for each camera, however often it is tried.
    if (m_refusal != refusal) std::fputs(refusal, stdout);
    m_refusal = refusal;
    return false;
}

void CV4L2_UVCCtrl::PrintAllParams() {
    for (const NamedControl& control : kListedControls) {
        int value = 0;
        if (GetControlValue(control.id, value) == 0) std::printf("%s:%d\n", control.name, value);
        // The one place where the camera is put into automatic exposure, on every connection.
        if (control.id == V4L2_CID_EXPOSURE_AUTO) {
            int exposure = kAperturePriority;
            SetControlValue(V4L2_CID_EXPOSURE_AUTO, exposure);
        }
    }
}

int CV4L2_UVCCtrl::ChangeBright(int percent) {
    int max = 0;
    int min = 0;
    if (!GetControlValueMaxMin(V4L2_CID_BRIGHTNESS, max, min) || max < min) return -1;
    const double steps = (static_cast<double>(max) - min) / 100.0 * percent;
    int value = min + static_cast<int>(steps);
    std::printf("Set bright: %d\n", value);
    return SetControlValue(V4L2_CID_BRIGHTNESS, value);
}

void CV4L2_UVCCtrl::SetColorOrBlack(bool colour) {
    // One lock around both, so that the last wish wins over a connection that is just being made.
    const std::lock_guard<std::recursive_mutex> lock(m_deviceLock);
    m_saturation = colour ? Saturation::Colour : Saturation::Monochrome;
    ApplySaturation();
}

void CV4L2_UVCCtrl::ApplySaturation() {
    const std::lock_guard<std::recursive_mutex> lock(m_deviceLock);
    if (m_saturation == Saturation::Colour) {
        ResetControl(V4L2_CID_SATURATION);
    } else if (m_saturation == Saturation::Monochrome) {
        int max = 0;
        int min = 0;
        if (GetControlValueMaxMin(V4L2_CID_SATURATION, max, min)) SetControlValue(V4L2_CID_SATURATION, min);
    }
}

void CV4L2_UVCCtrl::ReSetUVCResolution(int width, int height) {
    Stop();
    DeinitBuffer();
    Init(static_cast<unsigned>(width), static_cast<unsigned>(height), m_nFramerate, m_nRequestFormat);
    if (OpenCamera()) ApplySaturation();
    StartThread();
}

bool CV4L2_UVCCtrl::StartThread() {
    m_bExitThread = false;
    if (m_pThreadID.Start(&CV4L2_UVCCtrl::thread_start, this)) return true;
    std::printf("Error: CV4L2_UVCCtrl::StartThread()\n");
    m_bExitThread = true;
    return false;
}

void CV4L2_UVCCtrl::StopThread() {
    m_bExitThread = true;
    m_pThreadID.Join();
    std::printf("CV4L2_UVCCtrl::StopThread\n");
}

void* CV4L2_UVCCtrl::thread_start(void* self) {
    static_cast<CV4L2_UVCCtrl*>(self)->thread_proc();
    return nullptr;
}

void CV4L2_UVCCtrl::thread_proc() {
    std::printf("Enter CV4L2_UVCCtrl::thread_proc() v4l fd= %d\n", m_nV4L2_fd.load());
    m_nTimeoutsLeft = kTimeoutsToReconnect;
    while (Varno::SleepUnless(m_bExitThread, kPassPause)) {
        sched_yield();
        switch (m_curUVCStatus) {
            case UVC_STATUS_DISCONNECTED:
                ServeDisconnected();
                break;
            case UVC_STATUS_CONNECTED:
                ServeConnected();
                break;
            case UVC_STATUS_STREAMING:
                ServeStreaming();
                break;
        }
    }
    Close();
    ChangeNewState(UVC_STATUS_DISCONNECTED);
    std::printf("Exit CV4L2_UVCCtrl::thread_proc()\n");
}

void CV4L2_UVCCtrl::ServeDisconnected() {
    if (Restart()) {
        ChangeNewState(UVC_STATUS_CONNECTED);
    } else {
        Varno::SleepUnless(m_bExitThread, kRetryPause);
    }
}

void CV4L2_UVCCtrl::ServeConnected() {
    if (StartStream()) {
        ChangeNewState(UVC_STATUS_STREAMING);
    } else {
        Varno::SleepUnless(m_bExitThread, kRetryPause);
        ChangeNewState(UVC_STATUS_DISCONNECTED);
    }
}

void CV4L2_UVCCtrl::ServeStreaming() {
    if (!m_bIsstreaming) {
        ChangeNewState(UVC_STATUS_CONNECTED);
        return;
    }
    if (!IsOpened()) {
        ChangeNewState(UVC_STATUS_DISCONNECTED);
        return;
    }
    switch (WaitForFrame()) {
        case Wait::Frame:
            if (!GrabFrame() && (errno == ENODEV || errno == EIO || errno == EAGAIN)) {
                ChangeNewState(UVC_STATUS_DISCONNECTED);
            }
            break;
        case Wait::TimedOut:
            // Frames in between do not set the counter back: a camera that stutters is connected anew as well.
            --m_nTimeoutsLeft;
            std::printf("Wait UVC data timeout\n");
            if (m_nTimeoutsLeft == 0) {
                ChangeNewState(UVC_STATUS_DISCONNECTED);
                m_nTimeoutsLeft = kTimeoutsToReconnect;
            }
            break;
        case Wait::Failed: {
            const int error = errno;
            std::printf("Error(%d): %s\n", error, std::strerror(error));
            ChangeNewState(UVC_STATUS_DISCONNECTED);
            break;
        }
        case Wait::Stopped:
            break;
    }
}

// Waits the whole time-out in slices, so that a stop request is seen soon.
CV4L2_UVCCtrl::Wait CV4L2_UVCCtrl::WaitForFrame() {
    for (auto waited = std::chrono::milliseconds::zero(); waited < kFrameTimeout; waited += kFrameWaitSlice) {
        if (m_bExitThread) return Wait::Stopped;
        const int ready = Varno::kernel().WaitReadable(m_nV4L2_fd, kFrameWaitSlice);
        if (ready < 0) return Wait::Failed;
        if (ready > 0) return Wait::Frame;
    }
    return Wait::TimedOut;
}

bool CV4L2_UVCCtrl::GrabFrame() {
    v4l2_buffer buffer;
    if (!v4l2_DQBUF(V4L2_BUF_TYPE_VIDEO_CAPTURE, buffer)) return false;
    if (buffer.length != 0) {
        const auto lock = LockStreamBufferList();
        const CV4LMMAPDATABUF* mapped = GetStreamBufferListAt(buffer.index, lock);
        if (mapped) AddNewFrameData(mapped->GetBasePointer(), mapped->GetLength());
    }
    v4l2_buffer requeued;
    return v4l2_QBUF(V4L2_BUF_TYPE_VIDEO_CAPTURE, buffer.index, requeued);
}

void CV4L2_UVCCtrl::AddNewFrameData(const char* data, int len) {
    if (data && len > 0 && m_pDataBuffer) m_pDataBuffer->AddNewData(data, len);
}

bool CV4L2_UVCCtrl::StartStream() {
    std::printf("CV4L2_UVCCtrl::StartStream\n");
    return EnableStream(V4L2_BUF_TYPE_VIDEO_CAPTURE, 1);
}

bool CV4L2_UVCCtrl::StopStream() {
    std::printf("CV4L2_UVCCtrl::StopStream\n");
    return DisableStream(V4L2_BUF_TYPE_VIDEO_CAPTURE, 1);
}

void CV4L2_UVCCtrl::ChangeNewState(UVC_STATUS status) {
    const UVC_STATUS before = m_curUVCStatus.exchange(status);
    if (before != status) {
        std::printf("UVC change state from %s to %s\n", GetStateString(before), GetStateString(status));
    }
}

const char* CV4L2_UVCCtrl::GetStateString(UVC_STATUS status) {
    switch (status) {
        case UVC_STATUS_DISCONNECTED:
            return "UVC_STATUS_DISCONNECTED";
        case UVC_STATUS_CONNECTED:
            return "UVC_STATUS_CONNECTED";
        case UVC_STATUS_STREAMING:
            return "UVC_STATUS_STREAMING";
    }
    return "Unknown state";
}
