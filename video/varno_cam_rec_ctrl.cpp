#include "video/varno_cam_rec_ctrl.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <thread>

#include "app/globals.h"
#include "media/jpeg_encoder.h"
#include "media/varno_avi_saver.h"
#include "sys/kernel.h"
#include "sys/leds.h"
#include "sys/medium_file.h"
#include "sys/path_strings.h"
#include "sys/sleep.h"
#include "sys/storage.h"
#include "video/recording_name.h"
#include "video/still_frame.h"
#include "video/v4l2_mxs_pxp_ctrl.h"

namespace {

using std::chrono::milliseconds;

constexpr unsigned kViewWidth = 320;
constexpr unsigned kViewHeight = 240;
constexpr int kFramesPerSecond = 30;
constexpr int kStillQuality = 100;

constexpr int kMaxZoomLevel = 6;
constexpr int kZoomStepX = 32;
constexpr int kZoomStepY = 24;

constexpr char kLamp[] = "led-pwm0";
constexpr unsigned char kLampValues[] = {18, 53, 58, 62, 66, 70, 73, 77, 82, 89, 104};
constexpr int kLampSteps = sizeof kLampValues - 1;

constexpr int kFrameWaitMilliseconds = 10;
constexpr milliseconds kPause{10};
constexpr milliseconds kNoFramePause{33};
constexpr milliseconds kNotStreamingPause{1000};
constexpr milliseconds kPXPRetryPause{1000};

CV4L2_MXSPXPCTRL& PXP() {
    return CV4L2_MXSPXPCTRL::GetInstance();
}

// Where stills and clips go, created when it is missing: the card's "/DCIM", else the internal storage. Empty without a
// medium.
std::string StorageDirectory() {
    const std::string card = Varno::GetMMCFirstPart();
    std::string directory = card.empty() ? Varno::GetNandDataPart() : card + "/DCIM";
    if (!directory.empty()) Varno::kernel().System(("/bin/mkdir -p " + directory).c_str());
    return directory;
}

}  // namespace

CVarnoCamRecCtrl* CVarnoCamRecCtrl::CreateNew() {
    std::unique_ptr<CVarnoCamRecCtrl> controller(new (std::nothrow) CVarnoCamRecCtrl);
    if (!controller || !controller->Init()) return nullptr;
    return controller.release();
}

CVarnoCamRecCtrl::CVarnoCamRecCtrl() = default;

CVarnoCamRecCtrl::~CVarnoCamRecCtrl() {
    Deinit();
}

bool CVarnoCamRecCtrl::Init() {
    const bool hasCamera = InitUVC();
    InitPXP();
    InitAVISaver();
    return hasCamera;
}

bool CVarnoCamRecCtrl::InitUVC() {
    m_pUVC.reset(CV4L2_UVCCtrl::CreateNew(kViewWidth, kViewHeight, kFramesPerSecond, V4L2_PIX_FMT_YUYV));
    return m_pUVC != nullptr;
}

// The overlay is started by the distribution thread, once there is something to show.
bool CVarnoCamRecCtrl::InitPXP() {
    return true;
}

bool CVarnoCamRecCtrl::InitAVISaver() {
    m_pAVISaver.reset(CVarnoAVISaver::CreateNew(kViewWidth, kViewHeight));
    return m_pAVISaver != nullptr;
}

void CVarnoCamRecCtrl::Deinit() {
    Stop();
    DeinitPXP();
    DeinitAVISaver();
    DeinitUVC();
}

void CVarnoCamRecCtrl::DeinitPXP() {
    PXP().Close();
}

void CVarnoCamRecCtrl::DeinitAVISaver() {
    m_pAVISaver.reset();
}

void CVarnoCamRecCtrl::DeinitUVC() {
    m_pUVC.reset();
}

bool CVarnoCamRecCtrl::Start() {
    StopThread();
    if (!m_pUVC && !InitUVC()) return false;
    if (!m_pUVC->Start()) return false;
    const bool started = StartThread();
    std::printf("Camera controller started.\n");
    return started;
}

void CVarnoCamRecCtrl::Stop() {
    StopThread();
    if (m_pUVC) m_pUVC->Stop();
    PXP().ChangeToPXP(false);
    std::printf("Camera controller stop.\n");
}

bool CVarnoCamRecCtrl::StartThread() {
    m_bExitThread = false;
    if (!m_pThreadID.Start(&CVarnoCamRecCtrl::thread_start, this)) {
        std::printf("Error: CVarnoCamRecCtrl::StartThread()\n");
        m_bExitThread = true;
        return false;
    }
    return true;
}

void CVarnoCamRecCtrl::StopThread() {
    m_bExitThread = true;
    m_pThreadID.Join();
    std::printf("CVarnoCamRecCtrl::StopThread\n");
}

bool CVarnoCamRecCtrl::StartRecordAVI() {
    if (!m_pAVISaver || !m_pUVC) return false;
    const std::string directory = StorageDirectory();
    if (directory.empty() || m_pUVC->GetUVCStatus() != UVC_STATUS_STREAMING) return false;
    const std::string path = FreeClipPath(directory, Varno::kernel().RealTime().tv_sec);
    return m_pAVISaver->StartRecord(path.c_str(), kFramesPerSecond);
}

void CVarnoCamRecCtrl::StopRecordAVI() {
    if (m_pAVISaver) m_pAVISaver->StopRecord();
}

bool CVarnoCamRecCtrl::IsAVIRecording() {
    return m_pAVISaver && m_pAVISaver->IsRecording();
}

bool CVarnoCamRecCtrl::SaveToImage() {
    m_bIsSavingImage = true;
    return true;
}

bool CVarnoCamRecCtrl::GetSavingImageStatus() {
    return m_bIsSavingImage;
}

bool CVarnoCamRecCtrl::RotateCW() {
    m_bStartRotate = true;
    return true;
}

void CVarnoCamRecCtrl::ZoomPXP(unsigned char level) {
    const int step = std::min<int>(level, kMaxZoomLevel);
    m_sZoomSize = ZoomSize{static_cast<std::uint16_t>(kViewWidth - kZoomStepX * step),
                           static_cast<std::uint16_t>(kViewHeight - kZoomStepY * step)};
    m_bZoomSet = true;
}

bool CVarnoCamRecCtrl::GetZoomStatus() {
    return m_bZoomSet;
}

bool CVarnoCamRecCtrl::ChangeBright(int percent) {
    Varno::SetLEDValue(kLamp, kLampValues[std::clamp(percent / 10, 0, kLampSteps)]);
    return true;
}

void CVarnoCamRecCtrl::SetColorOrBlack(bool colour) {
    if (m_pUVC) m_pUVC->SetColorOrBlack(colour);
}

UVC_STATUS CVarnoCamRecCtrl::GetUVCStatus() {
    return m_pUVC ? m_pUVC->GetUVCStatus() : UVC_STATUS_DISCONNECTED;
}

void CVarnoCamRecCtrl::ChangeUVCResolution(bool /*unused*/, int width, int height) {
    StopThread();  // it must not hold a frame of the queue that is replaced
    if (m_pUVC) m_pUVC->ReSetUVCResolution(width, height);
    StartThread();
}

void CVarnoCamRecCtrl::SetPictureStatus(bool finished) {
    m_isFinishedPicture = finished;
}

void CVarnoCamRecCtrl::SetPXPStatus(bool closed) {
    m_isPXPClosed = closed;
}

void* CVarnoCamRecCtrl::thread_start(void* self) {
    return static_cast<CVarnoCamRecCtrl*>(self)->thread_proc();
}

void* CVarnoCamRecCtrl::thread_proc() {
    if (m_bExitThread) return nullptr;
    while (m_pUVC) {
        RouteDisplay();
        if (m_pUVC->WaitNewFrameData(kFrameWaitMilliseconds) != 0) {
            Varno::SleepUnless(m_bExitThread, kNoFramePause);
        } else {
            TakeFrame();
        }
        Varno::SleepUnless(m_bExitThread, kPause);
        std::this_thread::yield();
        if (m_bExitThread) break;
    }
    return nullptr;
}

void CVarnoCamRecCtrl::RouteDisplay() {
    CV4L2_MXSPXPCTRL& pxp = PXP();
    if (m_pUVC->GetUVCStatus() != UVC_STATUS_STREAMING) {
        if (pxp.IsStreaming() && pxp.GetPxPDispID() == 0 && m_isFinishedPicture) {
            std::printf("####m_isFinishedPicture =1 m_isPXPClosed=0\n");
            pxp.ChangeToPXP(false);
        }
    } else if (!pxp.IsStreaming()) {
        StartPXP();
    } else if (pxp.GetPxPDispID() == 1 && videoflag) {
        pxp.ChangeToPXP(true);
    }
}

// Opening the device takes long; one that fails is left alone for a while, so that recording goes on beside it.
void CVarnoCamRecCtrl::StartPXP() {
    const std::chrono::nanoseconds now = Varno::kernel().Monotonic();
    if (m_lastPXPFailure.count() != 0 && now - m_lastPXPFailure < kPXPRetryPause) return;
    const bool started = PXP().Start(kViewWidth, kViewHeight);
    m_lastPXPFailure = started ? std::chrono::nanoseconds::zero() : Varno::kernel().Monotonic();
}

void CVarnoCamRecCtrl::TakeFrame() {
    CDoubleBufferData* slot = m_pUVC->PopFrameData();
    if (!slot) return;
    int len = 0;
    char* frame = slot->GetData(len);
    if (m_pUVC->GetUVCStatus() != UVC_STATUS_STREAMING) {
        Varno::SleepUnless(m_bExitThread, kNotStreamingPause);
    } else if (frame && len > 0) {
        HandOutFrame(frame, len);
    }
    m_pUVC->ReleaseFrameData(slot);
}

// A request's flag is cleared before it is carried out, so that one made meanwhile is not lost; only the still's flag
// tells when the work is done.
void CVarnoCamRecCtrl::HandOutFrame(char* frame, int len) {
    CV4L2_MXSPXPCTRL& pxp = PXP();
    if (m_bStartRotate.exchange(false)) pxp.RotateCW();
    if (m_bZoomSet.exchange(false)) {
        const ZoomSize size = m_sZoomSize;
        pxp.ZoomStep(size.cx, size.cy);
    }
    if (m_isFinishedPicture) pxp.EnqueuePXPBuf(frame, static_cast<unsigned>(len));
    if (m_pAVISaver) m_pAVISaver->AddFrame(frame, len);
    if (m_bIsSavingImage) {
        SaveToJpg(frame, len);
        m_bIsSavingImage = false;
    }
}

void CVarnoCamRecCtrl::SaveToJpg(char* frame, int len) {
    const std::string directory = StorageDirectory();
    if (directory.empty()) return;
    const std::time_t now = Varno::kernel().RealTime().tv_sec;
    const std::chrono::nanoseconds moment = Varno::kernel().Monotonic();
    // Stills of one second are one file; a clock that was set back comes by the same second again.
    const bool same_second = now == m_lastStillTime && moment - m_lastStillMoment < std::chrono::seconds(1);
    if (!same_second || Varno::PathBasename(m_lastStill) != directory) {
        m_lastStillTime = now;
        m_lastStillMoment = moment;
        m_lastStill = FreeStillPath(directory, now);
    }
    const std::string& path = m_lastStill;
    const auto file = Varno::MediumFile::CreateNew(path);
    if (!file) {
        // Reason first, then the file: it is meant so.
        std::printf("Error: create file(%s):%s\n", std::strerror(errno), path.c_str());
        return;
    }
    std::printf("Saving to jpeg file %s\n", path.c_str());

    unsigned width = 0;
    unsigned height = 0;
    m_pUVC->GetPictureSize(width, height);
    auto* pixels = reinterpret_cast<unsigned char*>(frame);
    std::unique_ptr<unsigned char[]> still;
    if (width != kStillWidth || height != kStillHeight || static_cast<std::size_t>(len) < kStillBytes) {
        still = MakeStillFrame(pixels, static_cast<std::size_t>(len), width, height);
        pixels = still.get();
    }
    const bool encoded =
        pixels && encode_yuv422_to_rgb_jpeg(file->Stream(), pixels, kStillWidth, kStillHeight, kStillQuality) == 0;
    if (!encoded && file->Error() == 0) {
        std::printf("Error: encode file(%s)\n", path.c_str());
        return;
    }
    Varno::kernel().Sync();
    if (!file->Commit()) std::printf("Error: write file(%s):%s\n", path.c_str(), std::strerror(file->Error()));
}
