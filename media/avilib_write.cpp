// Writing: chunks and the index.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "media/avilib.h"
#include "media/avilib_internal.h"
#include "sys/kernel.h"

namespace {

constexpr unsigned char kVideoTag[4] = {'0', '0', 'd', 'b'};

mode_t ProcessUmask() {
    const mode_t mask = umask(0);  // the only way to read it is to set it
    umask(mask);
    return mask;
}

// Whether another chunk of `length` bytes, its index record and the index itself still fit into the file.
bool Fits(const avi_t* avi, std::uint64_t length) {
    const std::uint64_t end =
        avi->pos + static_cast<std::uint64_t>(avi->n_idx) * sizeof(avi_index_record) + 32 + length;
    return end < AVI_MAX_LEN;
}

// Appends one chunk in a single write, so that a cut leaves at most this one incomplete.
int avi_add_chunk(avi_t* avi, const unsigned char* tag, const void* data, std::uint32_t length) {
    unsigned char header[AVI_CHUNK_HEADER];
    std::memcpy(header, tag, 4);
    avi_put32(header + 4, length);
    const auto padded = static_cast<std::uint32_t>(avi_padded(length));
    struct iovec parts[] = {{header, sizeof header}, {const_cast<void*>(data), padded}};
    if (!avi_write_parts(avi->fdes, parts, padded ? 2 : 1)) {
        const int error = errno;
        lseek(avi->fdes, avi->pos, SEEK_SET);
        errno = error;
        return avi_fail(AVI_ERR_WRITE);
    }
    avi->pos += AVI_CHUNK_HEADER + padded;
    return 0;
}

int avi_write_data(avi_t* avi, const char* data, long bytes, bool audio, bool keyframe) {
    const auto length = static_cast<std::uint64_t>(std::max(bytes, 0L));
    if (!Fits(avi, length)) return avi_fail(AVI_ERR_SIZELIM);

    unsigned char tag[4];
    std::memcpy(tag, kVideoTag, sizeof tag);
    if (audio) {
        tag[1] = static_cast<unsigned char>('1' + avi->aptr);
        tag[2] = 'w';
    }
    const auto length32 = static_cast<std::uint32_t>(length);
    if (avi_add_index_entry(avi, tag, keyframe && !audio ? AVI_KEYFRAME : 0, avi->pos, length32) < 0) return -1;
    if (avi_add_chunk(avi, tag, data, length32) < 0) {
        --avi->n_idx;  // no record without its chunk
        return -1;
    }
    return 0;
}

// The last index record, when it is one of the current audio track; else null.
avi_index_record* LastAudioRecord(avi_t* avi) {
    if (avi->n_idx == 0 || avi->anum == 0) return nullptr;
    avi_index_record& record = avi->idx[static_cast<std::size_t>(avi->n_idx) - 1];
    return record.tag[1] == '1' + avi->aptr && record.tag[2] == 'w' ? &record : nullptr;
}

}  // namespace

bool avi_write_parts(int fd, struct iovec* parts, int count) {
    while (count > 0) {
        const ssize_t written = Varno::kernel().Write(fd, parts, count);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) {
            if (written == 0) errno = ENOSPC;
            return false;
        }
        auto left = static_cast<std::size_t>(written);
        for (; count > 0 && left >= parts->iov_len; ++parts, --count)
            left -= parts->iov_len;
        if (count > 0) {
            parts->iov_base = static_cast<char*>(parts->iov_base) + left;
            parts->iov_len -= left;
        }
    }
    return true;
}

avi_t* AVI_open_output_file(const char* filename) {
    std::unique_ptr<avi_t> avi(new (std::nothrow) avi_t);
    if (!avi) {
        AVI_errno = AVI_ERR_NO_MEM;
        return nullptr;
    }
    const mode_t mode = 0644 & ~ProcessUmask();
    avi->fdes = Varno::kernel().Open(filename, O_RDWR | O_CREAT | O_TRUNC | O_DSYNC, mode);
    if (avi->fdes < 0) {
        AVI_errno = AVI_ERR_OPEN;
        return nullptr;
    }
    avi->header.fill(0);
    struct iovec header = {avi->header.data(), avi->header.size()};
    if (!avi_write_parts(avi->fdes, &header, 1)) {
        const int error = errno;
        Varno::kernel().Close(avi->fdes);
        unlink(Varno::kernel().Path(filename).c_str());
        errno = error;
        AVI_errno = AVI_ERR_WRITE;
        return nullptr;
    }
    avi->pos = AVI_HEADER_BYTES;
    std::memcpy(avi->video_tag, kVideoTag, sizeof avi->video_tag);
    return avi.release();
}

void AVI_set_video(avi_t* avi, int width, int height, double fps, const char* compressor) {
    if (!avi_permitted(avi, AVI_MODE_WRITE)) return;
    avi->width = width;
    avi->height = height;
    avi->fps = fps;
    std::memset(avi->compressor, 0, sizeof avi->compressor);
    if (std::strncmp(compressor, "RGB", 3) != 0) {
        std::memcpy(avi->compressor, compressor, strnlen(compressor, 4));
    }
    avi_update_header(avi);
}

void AVI_set_audio(avi_t* avi, int channels, long rate, int bits, int format, long mp3rate) {
    if (!avi_permitted(avi, AVI_MODE_WRITE)) return;
    if (avi->anum >= AVI_MAX_TRACKS) avi_too_many_tracks();
    avi->aptr = avi->anum++;
    avi_track& track = avi->track[static_cast<std::size_t>(avi->aptr)];
    track.a_chans = channels;
    track.a_rate = static_cast<int>(rate);
    track.a_bits = bits;
    track.a_fmt = format;
    track.mp3rate = static_cast<int>(mp3rate);
    track.audio_strn = avi->anum;
    avi_update_header(avi);
}

void AVI_set_audio_bitrate(avi_t* avi, long bitrate) {
    if (!avi_permitted(avi, AVI_MODE_WRITE)) return;
    avi->track[static_cast<std::size_t>(avi->aptr)].mp3rate = static_cast<int>(bitrate);
    avi_update_header(avi);
}

int AVI_write_frame(avi_t* avi, const char* data, long bytes, int keyframe) {
    if (!avi_permitted(avi, AVI_MODE_WRITE)) return -1;
    const std::uint32_t start = avi->pos;
    if (avi_write_data(avi, data, bytes, false, keyframe != 0) < 0) return -1;
    avi->last_pos = start;
    avi->last_len = static_cast<std::uint32_t>(std::max(bytes, 0L));
    ++avi->video_frames;
    return 0;
}

int AVI_dup_frame(avi_t* avi) {
    if (!avi_permitted(avi, AVI_MODE_WRITE)) return -1;
    if (avi->last_pos == 0) return 0;  // nothing to repeat yet
    if (!Fits(avi, 0)) return avi_fail(AVI_ERR_SIZELIM);
    if (avi_add_index_entry(avi, kVideoTag, AVI_KEYFRAME, avi->last_pos, avi->last_len) < 0) return -1;
    ++avi->video_frames;
    avi->must_use_index = 1;  // only the index knows of the repetition
    return 0;
}

int AVI_write_audio(avi_t* avi, const char* data, long bytes) {
    if (!avi_permitted(avi, AVI_MODE_WRITE)) return -1;
    if (avi->anum == 0) return avi_fail(AVI_ERR_NOT_PERM);
    if (avi_write_data(avi, data, bytes, true, false) < 0) return -1;
    avi_track& track = avi->track[static_cast<std::size_t>(avi->aptr)];
    track.audio_bytes += std::max(bytes, 0L);
    ++track.audio_chunks;
    return 0;
}

int AVI_append_audio(avi_t* avi, const char* data, long bytes) {
    if (!avi_permitted(avi, AVI_MODE_WRITE)) return -1;
    avi_index_record* record = LastAudioRecord(avi);
    if (!record || bytes < 0) return avi_fail(AVI_ERR_NOT_PERM);
    if (!Fits(avi, static_cast<std::uint64_t>(bytes))) return avi_fail(AVI_ERR_SIZELIM);

    const std::uint32_t start = avi_get32(record->offset);
    const std::uint32_t before = avi_get32(record->length);
    const std::uint32_t length = before + static_cast<std::uint32_t>(bytes);
    const std::uint32_t data_at = start + AVI_CHUNK_HEADER + before;
    const auto end = static_cast<std::uint32_t>(start + AVI_CHUNK_HEADER + avi_padded(length));
    unsigned char length_field[4];
    avi_put32(length_field, length);
    struct iovec more = {const_cast<char*>(data), end - data_at};
    struct iovec field = {length_field, sizeof length_field};
    // Data first: until the length is changed, the file is what it was.
    const bool written = lseek(avi->fdes, data_at, SEEK_SET) >= 0 &&
                         (more.iov_len == 0 || avi_write_parts(avi->fdes, &more, 1)) &&
                         lseek(avi->fdes, start + 4, SEEK_SET) >= 0 && avi_write_parts(avi->fdes, &field, 1);
    const int error = errno;
    if (written) {
        std::memcpy(record->length, length_field, sizeof length_field);
        avi->pos = end;
        avi->max_len = std::max(avi->max_len, length);
        avi->track[static_cast<std::size_t>(avi->aptr)].audio_bytes += bytes;
    }
    if (lseek(avi->fdes, avi->pos, SEEK_SET) < 0) return avi_fail(AVI_ERR_WRITE);
    errno = error;
    return written ? 0 : avi_fail(AVI_ERR_WRITE);
}

std::int64_t AVI_bytes_written(avi_t* avi) {
    if (!avi_permitted(avi, AVI_MODE_WRITE)) return -1;
    return std::int64_t{avi->pos} + AVI_CHUNK_HEADER +
           std::int64_t{avi->n_idx} * static_cast<std::int64_t>(sizeof(avi_index_record));
}

std::int64_t AVI_bytes_remain(avi_t* avi) {
    const std::int64_t written = AVI_bytes_written(avi);
    return written < 0 ? -1 : std::int64_t{AVI_max_size()} - written;
}

int avi_close_output_file(avi_t* avi) {
    const std::uint32_t endOfFrames = avi->pos;
    constexpr unsigned char tag[4] = {'i', 'd', 'x', '1'};
    const auto length = static_cast<std::uint32_t>(static_cast<std::size_t>(avi->n_idx) * sizeof(avi_index_record));
    const bool hasIndex = avi_add_chunk(avi, tag, avi->idx.get(), length) == 0;
    const int indexError = errno;
    if (!hasIndex) AVI_errno = AVI_ERR_WRITE_INDEX;
    if (avi_write_final_header(avi, hasIndex, endOfFrames) < 0) return -1;
    if (ftruncate(avi->fdes, avi->pos) < 0) return avi_fail(AVI_ERR_CLOSE);
    errno = indexError;
    return hasIndex ? 0 : -1;
}
