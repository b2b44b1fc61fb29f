// Reading: opening a file, its video frames, and its chunks in file order.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <new>

#include "media/avilib.h"
#include "media/avilib_internal.h"
#include "sys/kernel.h"

namespace {

enum class ChunkKind { kOther, kVideo, kAudio };

ChunkKind KindOf(const avi_t* avi, const unsigned char* tag) {
    if (avi_same_code(tag, avi->video_tag, 3)) return ChunkKind::kVideo;
    if (avi->anum > 0 && avi_same_code(tag, avi->track[static_cast<std::size_t>(avi->aptr)].audio_tag, 3)) {
        return ChunkKind::kAudio;
    }
    return ChunkKind::kOther;
}

// Makes the descriptor a reading handle, or closes it.
avi_t* OpenDescriptor(int fd, int getIndex) {
    std::unique_ptr<avi_t> avi(new (std::nothrow) avi_t);
    int result = -1;
    if (!avi) {
        AVI_errno = AVI_ERR_NO_MEM;
    } else {
        avi->fdes = fd;
        avi->mode = AVI_MODE_READ;
        try {
            result = avi_parse_input_file(avi.get(), getIndex);
        } catch (const std::bad_alloc&) {
            AVI_errno = AVI_ERR_NO_MEM;
        }
    }
    if (result == 0) return avi.release();
    const int error = errno;
    Varno::kernel().Close(fd);
    errno = error;
    return nullptr;
}

}  // namespace

std::int64_t avi_read_at(const avi_t* avi, std::int64_t offset, void* buffer, std::size_t length) {
    std::size_t done = 0;
    while (done < length) {
        const ssize_t got = pread(avi->fdes, static_cast<char*>(buffer) + done, length - done,
                                  static_cast<off_t>(offset + static_cast<std::int64_t>(done)));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return -1;
        if (got == 0) break;
        done += static_cast<std::size_t>(got);
    }
    return static_cast<std::int64_t>(done);
}

std::int64_t avi_read_header(const avi_t* avi, std::int64_t* pos, unsigned char* header, std::size_t length) {
    constexpr std::size_t kBlock = 512;
    unsigned char block[kBlock];
    for (std::int64_t skipped = 0; skipped <= AVI_MAX_ZEROS; skipped += kBlock) {
        const std::int64_t got = avi_read_at(avi, *pos, header, length);
        if (got < std::int64_t{AVI_CHUNK_HEADER} || avi_get32(header) != 0) return got;
        const std::int64_t in_block = avi_read_at(avi, *pos, block, sizeof block);
        if (in_block < 0) return -1;
        unsigned char* end = block + in_block;
        // Chunks begin at even offsets.
        *pos += (std::find_if(&block[0], end, [](unsigned char c) { return c != 0; }) - block) & ~std::ptrdiff_t{1};
    }
    return 0;
}

avi_t* AVI_open_input_file(const char* filename, int getIndex) {
    const int fd = Varno::kernel().Open(filename, O_RDONLY);
    if (fd < 0) {
        AVI_errno = AVI_ERR_OPEN;
        return nullptr;
    }
    return OpenDescriptor(fd, getIndex);
}

avi_t* AVI_open_fd(int fd, int getIndex) {
    if (fd < 0) {
        errno = EBADF;
        AVI_errno = AVI_ERR_OPEN;
        return nullptr;
    }
    return OpenDescriptor(fd, getIndex);
}

int AVI_seek_start(avi_t* avi) {
    if (!avi_permitted(avi, AVI_MODE_READ)) return -1;
    avi->read_pos = avi->movi_start;
    avi->video_pos = 0;
    return 0;
}

int AVI_set_video_position(avi_t* avi, long frame) {
    if (!avi_permitted(avi, AVI_MODE_READ)) return -1;
    if (avi->video_index.empty()) return avi_fail(AVI_ERR_NO_IDX);
    constexpr long kLargest = 0x7FFFFFFF;
    avi->video_pos = static_cast<int>(std::clamp(frame, 0L, kLargest));
    return 0;
}

int AVI_get_video_position(const avi_t* avi) {
    return avi->video_pos;
}

long AVI_frame_size(avi_t* avi, long frame) {
    if (!avi_permitted(avi, AVI_MODE_READ)) return -1;
    if (avi->video_index.empty()) return avi_fail(AVI_ERR_NO_IDX);
    if (frame < 0 || frame >= avi->video_frames) return -1;
    return static_cast<long>(avi->video_index[static_cast<std::size_t>(frame)].len);
}

long AVI_read_frame(avi_t* avi, char* buffer, int* keyframe) {
    if (!avi_permitted(avi, AVI_MODE_READ)) return -1;
    if (avi->video_index.empty()) return avi_fail(AVI_ERR_NO_IDX);
    if (avi->video_pos < 0 || avi->video_pos >= avi->video_frames) return -1;
    const avi_video_entry& frame = avi->video_index[static_cast<std::size_t>(avi->video_pos)];
    *keyframe = frame.key == AVI_KEYFRAME ? 1 : 0;
    if (avi_read_at(avi, frame.pos, buffer, frame.len) != std::int64_t{frame.len}) return avi_fail(AVI_ERR_READ);
    ++avi->video_pos;
    return static_cast<long>(frame.len);
}

int AVI_read_data(avi_t* avi, char* video, long maxVideo, char* audio, long maxAudio, long* bytes) {
    if (!avi_permitted(avi, AVI_MODE_READ)) return -1;
    *bytes = 0;
    for (int chunks = 0; chunks < AVI_MAX_CHUNKS; ++chunks) {
        unsigned char header[AVI_CHUNK_HEADER];
        const std::int64_t got = avi_read_header(avi, &avi->read_pos, header, sizeof header);
        if (got < 0) return avi_fail(AVI_ERR_READ);
        if (got < std::int64_t{sizeof header}) return 0;
        if (avi_same_code(header, "LIST", 4)) {
            avi->read_pos += AVI_LIST_HEADER;
            continue;
        }
        const std::uint32_t length = avi_get32(header + 4);
        const std::int64_t data_at = avi->read_pos + AVI_CHUNK_HEADER;
        if (data_at + std::int64_t{length} > avi->file_size) return 0;
        avi->read_pos = data_at + static_cast<std::int64_t>(avi_padded(length));

        const ChunkKind kind = KindOf(avi, header);
        if (kind == ChunkKind::kOther) continue;
        const bool is_video = kind == ChunkKind::kVideo;
        *bytes = static_cast<long>(std::min<std::uint32_t>(length, INT_MAX));
        if (length > static_cast<std::uint64_t>(std::max(is_video ? maxVideo : maxAudio, 0L))) return -2;
        if (avi_read_at(avi, data_at, is_video ? video : audio, length) != std::int64_t{length}) {
            return avi_fail(AVI_ERR_READ);
        }
        if (!is_video) return 2;
        ++avi->video_pos;
        return 1;
    }
    return 0;
}
