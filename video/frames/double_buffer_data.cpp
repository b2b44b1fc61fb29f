#include "video/frames/double_buffer_data.h"

#include <algorithm>
#include <cstring>
#include <new>

CDoubleBufferData::CDoubleBufferData(int size) {
    if (size < 1) return;
    m_pBase.reset(new (std::nothrow) char[static_cast<std::size_t>(size) + 1]());
    if (!m_pBase) return;
    m_nLen = 0;
    m_nSize = size;
}

char* CDoubleBufferData::GetData(int& len) {
    m_nRef = 1;
    len = m_nLen;
    return m_pBase.get();
}

void CDoubleBufferData::SetData(const char* data, int len) {
    if (!data || len <= 0 || !m_pBase) return;
    m_nLen = std::min(len, m_nSize);
    std::memcpy(m_pBase.get(), data, static_cast<std::size_t>(m_nLen));
}
