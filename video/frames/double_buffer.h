// The frame queue between two threads.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "video/frames/double_buffer_data.h"
#include "video/frames/slot_queue.h"

// Hands frames from a producer thread to a consumer thread through a fixed pool of slots. A slot is in the empty queue,
// with the producer while it is filled, in the data queue, or with the consumer. While no slot is free new frames are
// dropped; the producer never waits, and nothing is allocated after creation. Thread-safe, except creation and
// destruction.
class CDoubleBuffer {
  public:
    // `slotSize` in bytes. The caller's; null unless both numbers are at least 1 and the storage could be had.
    static CDoubleBuffer* CreateNew(int slotSize, int slotCount);
    ~CDoubleBuffer() { Deinit(); }
    CDoubleBuffer(const CDoubleBuffer&) = delete;
    CDoubleBuffer& operator=(const CDoubleBuffer&) = delete;

    // Frames that wait in the data queue.
    int GetDataBufferSize();
    // Slots of the pool.
    int GetSize() const { return m_nDataQueueLen; }
    // 0 when a frame waits or comes, 1 on time-out. `ms` is an upper bound: most short waits return at once, see the
    // definition, so a caller that polls must sleep on its own.
    int WaitNewData(int ms);
    // Ends a wait that runs in WaitNewData, as a new frame would; for a consumer that is asked to stop.
    void WakeWaiter();
    // The oldest waiting frame, null when none waits. The caller holds it until ReleaseData.
    CDoubleBufferData* PopData();
    // Gives a popped slot back. Ignored: null, a slot of another pool, and one that is not held.
    void ReleaseData(CDoubleBufferData* data);
    // Copies a frame in, cut to the slot's size; drops it when no slot is free. Null data and lengths below 1 are
    // ignored.
    void AddNewData(const char* data, int len);
    // Drops all waiting frames. A slot that a thread holds meanwhile stays with it.
    void ClearData();

  private:
    CDoubleBuffer() = default;

    bool Init(int size, int count);
    bool InitDataBuffer(int size, int count);
    bool InitDataQueueLock();
    bool InitEmptyQueueLock();
    bool InitWaitSignal();
    void Deinit();
    void DenitDataBuffer();

    void PushDataQueue(CDoubleBufferData* data);
    CDoubleBufferData* PopDataQueue();
    int GetDataQueueSize();
    void PushEmptyQueue(CDoubleBufferData* data);
    CDoubleBufferData* PopEmptyQueue();
    // Where both queues are locked, the empty queue comes first.
    std::unique_lock<std::mutex> LockDataQueue() { return std::unique_lock<std::mutex>(*m_pDataQueueMutex); }
    std::unique_lock<std::mutex> LockEmptyQueue() { return std::unique_lock<std::mutex>(*m_pEmptyQueueMutex); }

    std::unique_ptr<std::mutex> m_pDataBufWait;
    std::unique_ptr<std::condition_variable> m_pDataBufWaitTimeout;
    int m_nDataQueueLen = 0;
    std::unique_ptr<std::mutex> m_pDataQueueMutex;
    SlotQueue m_lDataQueue;
    std::unique_ptr<std::mutex> m_pEmptyQueueMutex;
    SlotQueue m_lEmptyDataQueue;
    std::vector<std::unique_ptr<CDoubleBufferData>> m_lAllDataList;
};
