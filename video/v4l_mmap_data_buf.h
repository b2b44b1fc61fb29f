// One memory-mapped buffer of a V4L2 driver.
#pragma once

#include <memory>

// Owns the mapping. One thread at a time.
class CV4LMMAPDATABUF {
  public:
    // Maps `len` bytes at `offset` of the device (the numbers VIDIOC_QUERYBUF gives), readable, writable and shared.
    // Null, with a line printed, when that fails.
    static std::unique_ptr<CV4LMMAPDATABUF> CreateNew(int fd, unsigned len, unsigned offset);
    ~CV4LMMAPDATABUF();
    CV4LMMAPDATABUF(const CV4LMMAPDATABUF&) = delete;
    CV4LMMAPDATABUF& operator=(const CV4LMMAPDATABUF&) = delete;

    char* GetBasePointer() const { return m_pBase; }
    // Mapped length in bytes.
    int GetLength() const { return m_nLen; }

  private:
    CV4LMMAPDATABUF(char* base, int len) : m_pBase(base), m_nLen(len) {}

    char* m_pBase;
    int m_nLen;
};
