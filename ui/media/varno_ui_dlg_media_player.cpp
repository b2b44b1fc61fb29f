#include "ui/media/varno_ui_dlg_media_player.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <new>

#include "media/clip_frame.h"
#include "media/varno_avi_reader.h"
#include "sys/kernel.h"
#include "sys/varno_sv_utils.h"
#include "ui/base/busy_picture.h"
#include "ui/base/mw_ui_base.h"
#include "video/frames/pixel_conversion.h"

namespace {

constexpr WORD kDialogId = 106;
constexpr UINT kPlayTimerId = 0x10000006;
constexpr UINT kDelayTimerId = 0x10000016;
// Long enough that clips passed with a held key are not opened, and not to be noticed otherwise.
constexpr UINT kOpenDelayMs = 100;
constexpr double kDefaultRate = 25;  // for clips that tell none
constexpr std::size_t kStillBytes = std::size_t{ClipFrame::kWidth} * ClipFrame::kHeight * 4;

timeval Now() {
    const timespec now = Varno::kernel().RealTime();
    timeval time{};
    time.tv_sec = now.tv_sec;
    time.tv_usec = static_cast<suseconds_t>(now.tv_nsec / 1000);
    return time;
}

// Whole seconds from a frame's number, as far as an int goes.
int SecondsAt(long frame, double rate) {
    return static_cast<int>(std::min(static_cast<double>(frame) * (1000.0 / rate), static_cast<double>(INT_MAX))) /
           1000;
}

// "hh:mm:ss", whose seconds count from 1.
std::string TimeText(long frame, double rate) {
    const int time = SecondsAt(frame, rate);
    const int hours = std::min(time / 3600, 99);
    const int minutes = std::min(time % 3600 / 60, 60);
    const int seconds = std::min(time + 1 - hours * 3600 - minutes * 60, 60);
    char text[48];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d", hours, minutes, seconds);
    return text;
}

}  // namespace

CVarnoUIDlgMediaPlayer* CVarnoUIDlgMediaPlayer::CreateNew(HINSTANCE instance, HWND parent) {
    return new CVarnoUIDlgMediaPlayer(instance, parent);
}

CVarnoUIDlgMediaPlayer::CVarnoUIDlgMediaPlayer(HINSTANCE instance, HWND parent)
    : CVarnoUIDialog(instance, parent, kDialogId) {}

CVarnoUIDlgMediaPlayer::~CVarnoUIDlgMediaPlayer() {
    KillPlayTimer();
    StopDelayAVIReaderTimer();
    printf("CVarnoUIDlgMediaPlayer::~CVarnoUIDlgMediaPlayer\n");
}

void CVarnoUIDlgMediaPlayer::SetFilename(const std::string& path) {
    m_strFilename = path;
    m_bPhotoMode = KindOfFile(path) != FileList::kClip;
    const BusyPicture busy;
    InitJPGFileList(Varno::PathBasename(path));
    m_nImgPos = GetFilePostionInList(path);
}

void CVarnoUIDlgMediaPlayer::InitDialog() {
    CVarnoUIDialog::InitDialog();
    SetWindowText(m_hHwnd, "MediaPlayer");
    InitControls();
    const BusyPicture busy;
    if (m_bPhotoMode) {
        RenewDispImage(m_strFilename);
    } else {
        m_pOverlay = std::make_unique<OverlayView>();
        OpenClip();
    }
}

void CVarnoUIDlgMediaPlayer::DestoryDialog() {
    KillPlayTimer();
    StopDelayAVIReaderTimer();
    DeinitControls();
    m_pOverlay.reset();
    DeinitAVIFilePlayer();
    CVarnoUIDialog::DestoryDialog();
}

LRESULT CVarnoUIDlgMediaPlayer::DialogProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) {
    switch (msg) {
        case WM_GETDLGCODE:
            return DLGC_WANTARROWS | DLGC_HASSETSEL | DLGC_WANTCHARS;
        case WM_ERASEBKGND:
            return 1;
        case WM_PAINT:
            Paint(hwnd);
            return 0;
        case WM_CTLCOLORSTATIC:
            return AnswerStaticColor(reinterpret_cast<HDC>(wparam), reinterpret_cast<HWND>(lparam));
        case WM_ACTIVATE:
            // A warning came over it: nobody sees what is played.
            if (LOWORD(wparam) == 0 && m_status == PLAY_PLAYING) PauseAt(Now());
            return 0;
        case WM_KEYDOWN:
            HandleKeyDown(static_cast<unsigned>(wparam));
            return 0;
        default:
            return DefWindowProc(hwnd, msg, wparam, lparam);
    }
}

// ---- Keys ----------------------------------------------------------------------------------------------------------

void CVarnoUIDlgMediaPlayer::HandleKeyDown(unsigned key) {
    if (key == VK_F1) {
        Stop();
        EndDialog(m_hHwnd, kUserLeft);
        PostMessage(m_hHwnd, WM_QUIT, 0, 0);
    } else if (m_bPhotoMode) {
        HandlePhotoKey(key);
    } else {
        HandleVideoKey(key);
    }
}

void CVarnoUIDlgMediaPlayer::HandlePhotoKey(unsigned key) {
    if (key == VK_UP || key == VK_DOWN) ScollJPGImage(key == VK_UP);
}

void CVarnoUIDlgMediaPlayer::HandleVideoKey(unsigned key) {
    switch (key) {
        case VK_RETURN:
            OpenDelayed();
            TogglePlay();
            break;
        case VK_DOWN:
            OpenDelayed();
            Stop();
            ShowPosition(0);
            break;
        case VK_LEFT:
        case VK_RIGHT:
            ScollVideo(key == VK_LEFT);
            break;
        default:
            break;
    }
}

void CVarnoUIDlgMediaPlayer::TogglePlay() {
    switch (m_status) {
        case PLAY_PLAYING:
            PauseAt(Now());
            break;
        case PLAY_PAUSE: {
            const timeval& paused = m_clock.Resume(Now());
            printf("@#$%ld ,%ld\n", static_cast<long>(paused.tv_sec), static_cast<long>(paused.tv_usec));
            Play();
            break;
        }
        case PLAY_STOP:
            Play();
            break;
    }
}

void CVarnoUIDlgMediaPlayer::PauseAt(const timeval& now) {
    SetStatus(PLAY_PAUSE);
    m_clock.Pause(now);
    Pause();
}

// ---- Neighbours ----------------------------------------------------------------------------------------------------

void CVarnoUIDlgMediaPlayer::InitJPGFileList(const std::string& directory) {
    m_files = ListMediaFiles(directory, m_bPhotoMode ? FileList::kPhoto : FileList::kClip);
}

std::size_t CVarnoUIDlgMediaPlayer::GetFilePostionInList(const std::string& path) const {
    const auto found =
        std::find_if(m_files.begin(), m_files.end(), [&](const FileList& file) { return file.m_strPath == path; });
    return found == m_files.end() ? 0 : static_cast<std::size_t>(found - m_files.begin());
}

std::size_t CVarnoUIDlgMediaPlayer::NeighbourOf(bool previous) const {
    const std::size_t last = m_files.size() - 1;
    const std::size_t index = std::min(m_nImgPos, last);
    if (previous) return index > 0 ? index - 1 : last;
    return index < last ? index + 1 : 0;
}

void CVarnoUIDlgMediaPlayer::ScollVideo(bool previous) {
    if (!m_files.empty()) PlayPosVideo(NeighbourOf(previous));
}

void CVarnoUIDlgMediaPlayer::ScollJPGImage(bool previous) {
    if (!m_files.empty()) DisplayPosImage(NeighbourOf(previous));
}

void CVarnoUIDlgMediaPlayer::ChooseFile(std::size_t index) {
    m_nImgPos = index;
    m_strFilename = m_files[index].m_strPath;
    Repaint();
}

void CVarnoUIDlgMediaPlayer::PlayPosVideo(std::size_t index) {
    if (m_status != PLAY_STOP) Stop();
    ChooseFile(index);
    StartDelayAVIReaderTimer();
}

void CVarnoUIDlgMediaPlayer::DisplayPosImage(std::size_t index) {
    ChooseFile(index);
    const BusyPicture busy;
    RenewDispImage(m_strFilename);
}

bool CVarnoUIDlgMediaPlayer::RenewDispImage(const std::string& path) {
    m_pImage.reset();  // before the next one takes its memory
    m_pImage.reset(GdLoadImageFit(Varno::kernel().Path(path).c_str(), GetSystemMetrics(SM_CXSCREEN),
                                  GetSystemMetrics(SM_CYSCREEN)));
    m_bBroken = m_pImage == nullptr;
    Repaint();
    return !m_bBroken;
}

// ---- Opening -------------------------------------------------------------------------------------------------------

void CVarnoUIDlgMediaPlayer::StartDelayAVIReaderTimer() {
    m_iTimerDelay = SetTimer(m_hHwnd, kDelayTimerId, kOpenDelayMs, DelayTimerProc);
    if (m_iTimerDelay == 0) OpenClip();
}

void CVarnoUIDlgMediaPlayer::StopDelayAVIReaderTimer() {
    if (m_iTimerDelay != 0) KillTimer(m_hHwnd, m_iTimerDelay);
    m_iTimerDelay = 0;
}

void CALLBACK CVarnoUIDlgMediaPlayer::DelayTimerProc(HWND hwnd, UINT /*msg*/, UINT /*id*/, DWORD /*time*/) {
    auto* dialog = static_cast<CVarnoUIDlgMediaPlayer*>(ObjectOf<CVarnoUIDialog>(hwnd));
    if (dialog != nullptr) dialog->OpenDelayed();
}

void CVarnoUIDlgMediaPlayer::OpenDelayed() {
    if (m_iTimerDelay == 0) return;
    StopDelayAVIReaderTimer();
    const BusyPicture busy;
    OpenClip();
}

void CVarnoUIDlgMediaPlayer::OpenClip() {
    m_bBroken = !InitAVIFilePlayer();
    const int controls = m_bBroken ? SW_HIDE : SW_SHOW;
    if (m_hProgBar != nullptr) ShowWindow(m_hProgBar, controls);
    if (m_pPlayStatusIcon != nullptr) m_pPlayStatusIcon->Show(controls);
    ShowPosition(0);
    Repaint();
}

bool CVarnoUIDlgMediaPlayer::InitAVIFilePlayer() {
    Stop();
    DeinitAVIFilePlayer();
    std::unique_ptr<CVarnoAVIReader> reader(CVarnoAVIReader::CreateNew(m_strFilename, Varno_PIX_FMT_YUYV422));
    if (!reader) return false;
    const char* codec = reader->GetVideoCompressor();
    printf("Codec:%s\n", codec);
    if (std::strcmp(codec, "YUY2") != 0) {
        printf("Unsupported codec %s\n", codec);
        return false;
    }
    m_pVideoBuffer = ClipFrame::CreateNew(*reader);
    m_pConverBuffer.reset(new (std::nothrow) unsigned char[kStillBytes]);
    if (!m_pVideoBuffer || !m_pConverBuffer) {
        printf("Error: no memory for frames of %dx%d\n", reader->GetVideoWidth(), reader->GetVideoHeight());
        DeinitAVIFilePlayer();
        return false;
    }
    m_pAVIReader = std::move(reader);
    m_pVideoBuffer->ReadNext(*m_pAVIReader);
    OverlayView::Prepare(m_pVideoBuffer->Picture());
    Stop();
    return true;
}

void CVarnoUIDlgMediaPlayer::DeinitAVIFilePlayer() {
    m_pAVIReader.reset();
    m_pVideoBuffer.reset();
    m_pConverBuffer.reset();
}

// ---- Playing -------------------------------------------------------------------------------------------------------

double CVarnoUIDlgMediaPlayer::PlayRate() const {
    const double rate = m_pAVIReader ? m_pAVIReader->GetVideoFrameRate() : kDefaultRate;
    return rate > 0 ? rate : kDefaultRate;
}

bool CVarnoUIDlgMediaPlayer::Play() {
    KillPlayTimer();
    if (!m_pAVIReader) return false;
    const double interval = 1000.0 / PlayRate();
    const int frames = m_pAVIReader->GetTotalFrames();
    if (!m_bPhotoMode && m_hProgBar != nullptr && frames >= 0) {
        printf("Total frames: %ld, timer intval:%f\n", static_cast<long>(frames), interval);
        SendMessage(m_hProgBar, PBM_SETRANGE, 0, frames);
    }
    m_iTimerVideoPlay = SetTimer(m_hHwnd, kPlayTimerId,
                                 static_cast<UINT>(std::min(interval, static_cast<double>(INT_MAX))), videotimerproc);
    if (m_iTimerVideoPlay == 0) {
        printf("%s:%d Error: Create timer\n", __func__, __LINE__);
        return false;
    }
    // The overlay shows what the still showed before the still goes.
    m_pOverlay->Show(m_pVideoBuffer->Picture());
    SetStatus(PLAY_PLAYING);
    m_bStill = false;
    m_last_t = 0;
    Repaint();
    printf("Start playing fps(%f) width=%d, height=%d\n", m_pAVIReader->GetVideoFrameRate(),
           m_pAVIReader->GetVideoWidth(), m_pAVIReader->GetVideoHeight());
    return true;
}

void CVarnoUIDlgMediaPlayer::Pause() {
    KillPlayTimer();
    if (!m_bPhotoMode) {
        ShowStill();
        OverlayView::Hide();
    }
    SetStatus(PLAY_PAUSE);
    Varno::ReleaseVMCache(Varno::K_CACHE_PAGE);
}

void CVarnoUIDlgMediaPlayer::Stop() {
    KillPlayTimer();
    m_clock.Clear();
    if (!m_bPhotoMode) {
        if (m_pAVIReader) {
            m_pAVIReader->ResetFrame();
            m_pVideoBuffer->ReadNext(*m_pAVIReader);
            m_pAVIReader->ResetFrame();
        }
        SetStatus(PLAY_STOP);
        ShowStill();
        OverlayView::Hide();
    }
    Varno::ReleaseVMCache(Varno::K_CACHE_PAGE);
}

void CVarnoUIDlgMediaPlayer::KillPlayTimer() {
    if (m_iTimerVideoPlay != 0) KillTimer(m_hHwnd, m_iTimerVideoPlay);
    m_iTimerVideoPlay = 0;
}

// The still is drawn as it was converted. The quarter turn of rgb32rotate is for square pictures: it would lay this
// one on its side and leave out its right quarter. It is drawn before the overlay goes, so that nothing flashes.
void CVarnoUIDlgMediaPlayer::ShowStill() {
    if (m_pVideoBuffer)
        Pyuv422torgb32(m_pVideoBuffer->Picture(), m_pConverBuffer.get(), ClipFrame::kWidth, ClipFrame::kHeight);
    m_bStill = true;
    Repaint();
    UpdateWindow(m_hHwnd);
}

void CVarnoUIDlgMediaPlayer::SetStatus(PlayStatus status) {
    m_status = status;
    if (m_pPlayStatusIcon != nullptr) m_pPlayStatusIcon->SetStatus(status);
}

void CALLBACK CVarnoUIDlgMediaPlayer::videotimerproc(HWND hwnd, UINT /*msg*/, UINT /*id*/, DWORD /*time*/) {
    auto* dialog = static_cast<CVarnoUIDlgMediaPlayer*>(ObjectOf<CVarnoUIDialog>(hwnd));
    if (dialog != nullptr && dialog->m_pAVIReader) dialog->ShowNextFrame();
}

// Driven by time: where reading is slow, frames are left out.
void CVarnoUIDlgMediaPlayer::ShowNextFrame() {
    const timeval now = Now();
    if (!m_clock.Started()) m_clock.Start(now);
    const std::int64_t total = m_pAVIReader->GetTotalFrames();
    const auto target = static_cast<std::int64_t>(static_cast<double>(m_clock.Elapsed(now)) * PlayRate() / 1000.0);
    if (target > m_pAVIReader->GetCurrentFramePos())
        m_pAVIReader->SetFramePosition(static_cast<long>(std::min(target, total)));
    if (!m_pVideoBuffer->ReadNext(*m_pAVIReader) || target >= total) {
        EndOfClip();
        return;
    }
    if (now.tv_sec != m_last_t) {
        m_last_t = now.tv_sec;
        ShowPosition(m_pAVIReader->GetCurrentFramePos());
    }
    m_pOverlay->Show(m_pVideoBuffer->Picture());
    SetFocus(m_hHwnd);
}

void CVarnoUIDlgMediaPlayer::EndOfClip() {
    const int total = m_pAVIReader->GetTotalFrames();
    SendMessage(m_hProgBar, PBM_SETPOS, static_cast<WPARAM>(total), 0);
    Stop();
    SetPlayTimeText(m_hPlayTime, total, total, PlayRate(), true);
}

void CVarnoUIDlgMediaPlayer::ShowPosition(long position) {
    SendMessage(m_hProgBar, PBM_SETPOS, static_cast<WPARAM>(position), 0);
    if (m_pAVIReader) {
        SetPlayTimeText(m_hPlayTime, position, m_pAVIReader->GetTotalFrames(), PlayRate(), false);
    } else {
        SetWindowText(m_hPlayTime, "");
    }
}

void CVarnoUIDlgMediaPlayer::SetPlayTimeText(HWND text, long position, long total, double rate, bool finished) {
    const std::string time = TimeText(finished ? total : position, rate) + "/" + TimeText(total, rate);
    SetWindowText(text, time.c_str());
}
