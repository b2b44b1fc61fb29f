#include "video/v4l_mmap_data_buf.h"

#include <sys/mman.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <new>

#include "sys/kernel.h"

std::unique_ptr<CV4LMMAPDATABUF> CV4LMMAPDATABUF::CreateNew(int fd, unsigned len, unsigned offset) {
    void* base = MAP_FAILED;
    if (len <= INT_MAX) {
        base = Varno::kernel().Map(fd, len, static_cast<off_t>(offset));
    } else {
        errno = EINVAL;
    }
    if (base == MAP_FAILED) {
        // Log readers know this message by the number 33.
        std::printf("%s:%d Error: Map(%s)\n", __func__, 33, std::strerror(errno));
        return nullptr;
    }
    auto* mapped = new (std::nothrow) CV4LMMAPDATABUF(static_cast<char*>(base), static_cast<int>(len));
    if (!mapped) Varno::kernel().Unmap(base, len);
    return std::unique_ptr<CV4LMMAPDATABUF>(mapped);
}

CV4LMMAPDATABUF::~CV4LMMAPDATABUF() {
    if (Varno::kernel().Unmap(m_pBase, static_cast<std::size_t>(m_nLen)) != 0) std::perror("munmap");
}
