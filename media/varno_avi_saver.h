// Records a video clip on a thread of its own.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "sys/worker_thread.h"

class CDoubleBuffer;
class CDoubleBufferData;
struct avi_t;

// Takes YUY2 frames into a queue and appends them to an AVI file on a writer thread; at the end it measures the frame
// rate over the whole clip and finishes the file.
//
// StartRecord, StopRecord and the destructor belong to one controlling thread. AddFrame and IsRecording may be called
// from another thread, AddFrame from one at a time.
class CVarnoAVISaver {
  public:
    // For frames of width x height pixels of two bytes. Null when the queue cannot be made.
    static CVarnoAVISaver* CreateNew(int width, int height);
    // Ends a recording and finishes its file.
    virtual ~CVarnoAVISaver();
    CVarnoAVISaver(const CVarnoAVISaver&) = delete;
    CVarnoAVISaver& operator=(const CVarnoAVISaver&) = delete;

    // Ends a running recording and starts one to `path` (a path on the device), at first with `fps` frames per second
    // in its header. True once the recording runs.
    bool StartRecord(const char* path, int fps);
    // Ends the recording; returns when all queued frames are written and the file is closed. The writer sees the
    // request at once, at the latest after a second.
    void StopRecord();
    // Copies a frame into the queue; dropped silently when not recording or when the queue is full.
    void AddFrame(char* data, int bytes);
    // False also once the recording has ended by itself (medium full or failing).
    bool IsRecording() const;

  private:
    CVarnoAVISaver();
    bool Init(int width, int height);
    bool InitBuffer(int bytesPerSlot, int slots);
    void DeinitBuffer();
    bool OpenRecordFile(const std::string& path, int fps);
    void CloseRecordFile();
    bool StartThread();
    void StopThread();
    void WaitForWriter();
    static void* thread_start(void* self);
    void* thread_proc();
    void WriteNewFrames();
    void DrainQueue();
    bool WriteSlot(CDoubleBufferData* slot, bool* failed);
    void FinishFile();

    avi_t* m_pavi_file = nullptr;  // the writer thread's while it runs
    std::string m_strFilename;
    std::string m_strPathname;
    Varno::WorkerThread m_pThreadID;
    std::atomic<bool> m_bExitThread{true};
    std::unique_ptr<CDoubleBuffer> m_pDataBuffer;
    std::atomic<std::int32_t> m_nAddframes{0};
    std::atomic<std::int32_t> m_nSavedframes{0};
    std::atomic<bool> m_bRecStarted{false};
    std::int32_t m_nWidth = 0;
    std::int32_t m_nHeight = 0;

    // Writer thread only.
    long long m_nFrameCounter = 0;
    long long m_nStartSecond = 0;

    // The writer has begun (or ended already); what StartThread waits for.
    std::mutex m_beginLock;
    std::condition_variable m_begin;
    bool m_begun = false;
};
