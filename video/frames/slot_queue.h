// A FIFO of frame slots that never allocates after its creation.
#pragma once

#include <cstddef>
#include <vector>

class CDoubleBufferData;

// Fixed ring. One thread at a time; the owner locks.
class SlotQueue {
  public:
    void Reserve(std::size_t capacity) { m_ring.assign(capacity, nullptr); }
    bool Empty() const { return m_count == 0; }
    int Size() const { return static_cast<int>(m_count); }

    // False when the ring is full.
    bool Push(CDoubleBufferData* slot) {
        if (m_count == m_ring.size()) return false;
        m_ring[(m_first + m_count++) % m_ring.size()] = slot;
        return true;
    }
    // The oldest slot; null when empty.
    CDoubleBufferData* Pop() {
        if (Empty()) return nullptr;
        CDoubleBufferData* slot = m_ring[m_first];
        m_first = (m_first + 1) % m_ring.size();
        --m_count;
        return slot;
    }

  private:
    std::vector<CDoubleBufferData*> m_ring;
    std::size_t m_first = 0;
    std::size_t m_count = 0;
};
