#include "media/varno_avi_saver.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <new>

#include "media/avilib.h"
#include "sys/kernel.h"
#include "sys/path_strings.h"
#include "sys/storage.h"
#include "video/frames/double_buffer.h"

namespace {

constexpr int kQueueSlots = 15;
constexpr int kBytesPerPixel = 2;
constexpr int kWaitMilliseconds = 1000;
// A recording goes on only while so much is free.
constexpr int kLeastSpaceKib = 2049;
constexpr int kFramesPerSpaceCheck = 10;
constexpr int kFramesPerSync = 15;
constexpr double kDefaultFramerate = 25.0;
constexpr char kCompressor[] = "YUY2";

}  // namespace

CVarnoAVISaver* CVarnoAVISaver::CreateNew(int width, int height) {
    std::unique_ptr<CVarnoAVISaver> saver(new (std::nothrow) CVarnoAVISaver);
    if (!saver || !saver->Init(width, height)) return nullptr;
    return saver.release();
}

CVarnoAVISaver::CVarnoAVISaver() = default;

CVarnoAVISaver::~CVarnoAVISaver() {
    std::printf("CVarnoAVISaver::~CVarnoAVISaver\n");
    StopRecord();
    DeinitBuffer();
}

bool CVarnoAVISaver::Init(int width, int height) {
    if (!InitBuffer(width * height * kBytesPerPixel, kQueueSlots)) return false;
    m_nWidth = width;
    m_nHeight = height;
    return true;
}

bool CVarnoAVISaver::InitBuffer(int bytesPerSlot, int slots) {
    m_pDataBuffer.reset(CDoubleBuffer::CreateNew(bytesPerSlot, slots));
    return m_pDataBuffer != nullptr;
}

void CVarnoAVISaver::DeinitBuffer() {
    m_pDataBuffer.reset();
}

bool CVarnoAVISaver::StartRecord(const char* path, int fps) {
    StopRecord();
    if (!OpenRecordFile(path, fps)) return false;
    m_pDataBuffer->ClearData();
    if (!StartThread()) {
        CloseRecordFile();
        return false;
    }
    std::printf("Start record avi file %s\n", path);
    return true;
}

void CVarnoAVISaver::StopRecord() {
    StopThread();
    if (m_pDataBuffer) m_pDataBuffer->ClearData();
}

void CVarnoAVISaver::AddFrame(char* data, int bytes) {
    if (!IsRecording() || !m_pDataBuffer) return;
    m_pDataBuffer->AddNewData(data, bytes);
    ++m_nAddframes;
}

bool CVarnoAVISaver::IsRecording() const {
    return m_pThreadID.Joinable() && m_bRecStarted;
}

bool CVarnoAVISaver::OpenRecordFile(const std::string& path, int fps) {
    CloseRecordFile();
    AVI_errno = AVI_ERR_NONE;
    m_pavi_file = AVI_open_output_file(path.c_str());
    // Without its first header a clip that is cut could not be read again.
    if (m_pavi_file) AVI_set_video(m_pavi_file, m_nWidth, m_nHeight, fps, kCompressor);
    if (!m_pavi_file || AVI_errno != AVI_ERR_NONE) {
        std::printf("Error:(%s) open avi file %s\n", AVI_strerror(), path.c_str());
        if (m_pavi_file) {
            CloseRecordFile();
            unlink(Varno::kernel().Path(path).c_str());
        }
        return false;
    }
    m_nAddframes = 0;
    m_nSavedframes = 0;
    m_strFilename = path;
    m_strPathname = Varno::PathBasename(path);
    return true;
}

void CVarnoAVISaver::CloseRecordFile() {
    if (m_pavi_file && AVI_close(m_pavi_file) < 0) {
        std::printf("Error:(%s) close avi file %s\n", AVI_strerror(), m_strFilename.c_str());
    }
    m_pavi_file = nullptr;
    std::printf("Added %ld frames, Writed %ld frames\n", static_cast<long>(m_nAddframes),
                static_cast<long>(m_nSavedframes));
    m_nAddframes = 0;
    m_nSavedframes = 0;
    Varno::ReleaseVMCache(Varno::K_CACHE_PAGE);
}

bool CVarnoAVISaver::StartThread() {
    StopThread();
    m_bExitThread = false;
    m_begun = false;
    if (!m_pThreadID.Start(&CVarnoAVISaver::thread_start, this)) {
        std::printf("Error: CVarnoAVISaver::StartThread()\n");
        m_bExitThread = true;
        return false;
    }
    WaitForWriter();
    return true;
}

// Joins, unless the writer itself asks: then its handle stays for the controlling thread to join.
void CVarnoAVISaver::StopThread() {
    m_bExitThread = true;
    if (m_pDataBuffer) m_pDataBuffer->WakeWaiter();
    m_pThreadID.Join();
}

// So that a recording that was started is seen to run.
void CVarnoAVISaver::WaitForWriter() {
    std::unique_lock<std::mutex> lock(m_beginLock);
    m_begin.wait(lock, [this] { return m_begun; });
}

void* CVarnoAVISaver::thread_start(void* self) {
    return static_cast<CVarnoAVISaver*>(self)->thread_proc();
}

void* CVarnoAVISaver::thread_proc() {
    std::printf("Enter CVarnoAVISaver::thread_proc()\n");
    const bool alreadyRuns = m_bRecStarted.exchange(true);
    {
        const std::lock_guard<std::mutex> lock(m_beginLock);
        m_begun = true;
    }
    m_begin.notify_one();
    if (alreadyRuns) return nullptr;

    m_nFrameCounter = 0;
    WriteNewFrames();
    m_bRecStarted = false;
    DrainQueue();
    FinishFile();
    std::printf("Exit CVarnoAVISaver::thread_proc()\n");
    return nullptr;
}

void CVarnoAVISaver::WriteNewFrames() {
    while (!m_bExitThread) {
        Varno::kernel().Sleep(std::chrono::nanoseconds(100));
        if (!m_pDataBuffer || !m_pavi_file) continue;
        if (m_pDataBuffer->WaitNewData(kWaitMilliseconds) != 0) continue;
        CDoubleBufferData* slot = m_pDataBuffer->PopData();
        if (!slot) continue;
        if (m_nSavedframes % kFramesPerSpaceCheck == 0 && Varno::GetAvailDiskSpace(m_strPathname) < kLeastSpaceKib) {
            m_bExitThread = true;  // after this frame
        }
        bool failed = false;
        if (WriteSlot(slot, &failed)) {
            if (failed) StopRecord();
            if (++m_nSavedframes % kFramesPerSync == 0) Varno::kernel().Sync();
        }
        m_pDataBuffer->ReleaseData(slot);
    }
}

void CVarnoAVISaver::DrainQueue() {
    while (CDoubleBufferData* slot = m_pDataBuffer->PopData()) {
        bool failed = false;
        if (WriteSlot(slot, &failed)) ++m_nSavedframes;
        m_pDataBuffer->ReleaseData(slot);
    }
}

// Whether the slot held a frame, written or not.
bool CVarnoAVISaver::WriteSlot(CDoubleBufferData* slot, bool* failed) {
    int len = 0;
    const char* data = slot->GetData(len);
    if (!data || len <= 0) return false;
    if (m_nFrameCounter == 0) m_nStartSecond = Varno::kernel().RealTime().tv_sec;
    // The counter serves as key-frame flag, so that the first frame is none and all others are. It is meant so.
    const auto keyframe = static_cast<int>(static_cast<std::uint32_t>(m_nFrameCounter));
    *failed = AVI_write_frame(m_pavi_file, data, len, keyframe) < 0;
    if (*failed) std::printf("Frame %lld can't be writed\n", m_nFrameCounter);
    ++m_nFrameCounter;
    return true;
}

void CVarnoAVISaver::FinishFile() {
    double fps = kDefaultFramerate;
    const long long elapsed = Varno::kernel().RealTime().tv_sec - m_nStartSecond;
    if (m_nFrameCounter > 0 && elapsed >= 1) {
        const long long framesPerSecond = m_nFrameCounter / elapsed;  // whole ones
        fps = static_cast<double>(framesPerSecond);
        std::printf("%lld / %ld = %f\n", m_nFrameCounter, static_cast<long>(elapsed), fps);
    }
    AVI_set_video(m_pavi_file, AVI_video_width(m_pavi_file), AVI_video_height(m_pavi_file), fps, kCompressor);
    CloseRecordFile();
}
