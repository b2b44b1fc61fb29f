// Reading: the index of a file that has none, or none that fits.
#include <fcntl.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "media/avilib.h"
#include "media/avilib_internal.h"
#include "sys/kernel.h"

namespace {

// Milliseconds of the system's running time, as the traces show them.
int TickCount() {
    using std::chrono::milliseconds;
    return static_cast<int>(std::chrono::duration_cast<milliseconds>(Varno::kernel().Monotonic()).count());
}

bool IsMediaTag(const unsigned char* tag) {
    const unsigned char kind = tag[2] | 0x20;
    const unsigned char form = tag[3] | 0x20;
    return (kind == 'd' && (form == 'b' || form == 'c')) || (kind == 'w' && form == 'b');
}

// Reads only the chunks' headers, so its time goes with their number, not with the length of the file.
int ScanChunks(avi_t* avi, std::int64_t end) {
    end = std::min<std::int64_t>(end, UINT32_MAX);  // what an index record can point to
    std::int64_t pos = avi->movi_start;
    for (int chunks = 0; chunks < AVI_MAX_CHUNKS && pos + AVI_CHUNK_HEADER <= end; ++chunks) {
        unsigned char header[AVI_CHUNK_HEADER];
        if (avi_read_header(avi, &pos, header, sizeof header) != std::int64_t{sizeof header}) break;
        if (pos + AVI_CHUNK_HEADER > end) break;
        if (avi_same_code(header, "LIST", 4)) {
            pos += AVI_LIST_HEADER;
            continue;
        }
        const std::uint32_t length = avi_get32(header + 4);
        const std::int64_t data_end = pos + AVI_CHUNK_HEADER + std::int64_t{length};
        if (data_end > avi->file_size) break;  // the file's end cuts this chunk
        if (IsMediaTag(header)) {
            if (avi->n_idx >= AVI_MAX_INDEX) return avi_fail(AVI_ERR_SIZELIM);
            if (avi_add_index_entry(avi, header, 0, static_cast<std::uint32_t>(pos), length) < 0) return -1;
        }
        pos = data_end + (length & 1);
    }
    return 0;
}

}  // namespace

int avi_rebuild_index(avi_t* avi, std::int64_t end) {
    avi->n_idx = 0;
    std::printf("%s:%d Tick:%d\n", "avi_parse_input_file", __LINE__, TickCount());
    // Read-ahead would fetch frame data that nobody looks at.
    posix_fadvise(avi->fdes, 0, 0, POSIX_FADV_RANDOM);
    const int result = ScanChunks(avi, end);
    posix_fadvise(avi->fdes, 0, 0, POSIX_FADV_NORMAL);
    std::printf("%s:%d Tick:%d\n", "avi_parse_input_file", __LINE__, TickCount());
    return result;
}
