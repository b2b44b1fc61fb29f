// One preallocated frame slot.
#pragma once

#include <atomic>
#include <memory>

// A slot of a CDoubleBuffer and the frame record handed to consumers. One thread at a time: the slot belongs to whoever
// took it from a queue.
class CDoubleBufferData {
  public:
    // Allocates `size` bytes of storage and one spare zero byte behind them. After a failed allocation the slot holds
    // nothing, takes nothing, and GetData gives a length of -1.
    explicit CDoubleBufferData(int size);
    CDoubleBufferData(const CDoubleBufferData&) = delete;
    CDoubleBufferData& operator=(const CDoubleBufferData&) = delete;

    // Marks the slot as being read. `len` receives the bytes of valid data. The storage stays the slot's; it is
    // readable up to its capacity and one byte more, so that a writer that pads odd lengths can take the pad byte from
    // here.
    char* GetData(int& len);
    // Copies the data in, cut to the capacity. Null data and lengths below 1 are ignored.
    void SetData(const char* data, int len);
    void ReleaseData() { m_nRef = 0; }
    bool IsBusy() const { return m_nRef != 0; }
    // Capacity in bytes; 0 when the storage could not be allocated.
    int GetSize() const { return m_nSize; }

  private:
    friend class CDoubleBuffer;

    std::unique_ptr<char[]> m_pBase;
    int m_nLen = -1;
    unsigned char m_nRef = 0;
    std::atomic<bool> m_bUsed{false};  // popped by a consumer and not given back
    int m_nSize = 0;
};
