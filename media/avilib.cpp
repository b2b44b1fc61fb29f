// Handles, errors and what a handle tells about its file.
#include "media/avilib.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "media/avilib_internal.h"
#include "sys/kernel.h"

int AVI_errno = AVI_ERR_NONE;

namespace {

constexpr const char* avi_errors[] = {
    "avilib - No Error",
    "avilib - AVI file size limit reached",
    "avilib - Error opening AVI file",
    "avilib - Error reading from AVI file",
    "avilib - Error writing to AVI file",
    "avilib - Error writing index (file may still be useable)",
    "avilib - Error closing AVI file",
    "avilib - Operation (read/write) not permitted",
    "avilib - Out of memory (malloc failed)",
    "avilib - Not an AVI file",
    "avilib - AVI file has no header list (corrupted?)",
    "avilib - AVI file has no MOVI list (corrupted?)",
    "avilib - AVI file has no video data",
    "avilib - operation needs an index",
    "avilib - Unkown Error",
};
constexpr int kUnknownError = 14;

const char* ErrorText() {
    return avi_errors[AVI_errno >= 0 && AVI_errno < kUnknownError ? AVI_errno : kUnknownError];
}

bool IsSystemError() {
    return AVI_errno >= AVI_ERR_OPEN && AVI_errno <= AVI_ERR_CLOSE;
}

const avi_track& CurrentTrack(const avi_t* avi) {
    return avi->track[static_cast<std::size_t>(avi->aptr)];
}

}  // namespace

bool avi_same_code(const void* a, const void* b, std::size_t length) {
    const auto* left = static_cast<const unsigned char*>(a);
    const auto* right = static_cast<const unsigned char*>(b);
    for (std::size_t i = 0; i < length; ++i) {
        if (std::toupper(left[i]) != std::toupper(right[i])) return false;
    }
    return true;
}

int avi_fail(int error) {
    AVI_errno = error;
    return -1;
}

bool avi_permitted(const avi_t* avi, int mode) {
    if (avi->mode == mode) return true;
    AVI_errno = AVI_ERR_NOT_PERM;
    return false;
}

int avi_add_index_entry(avi_t* avi, const unsigned char* tag, std::uint32_t flags, std::uint32_t pos,
                        std::uint32_t len) {
    if (avi->n_idx >= avi->max_idx) {
        const auto wanted = (static_cast<std::size_t>(avi->max_idx) + AVI_INDEX_GROWTH) * sizeof(avi_index_record);
        void* grown = std::realloc(avi->idx.get(), wanted);
        if (!grown) return avi_fail(AVI_ERR_NO_MEM);
        static_cast<void>(avi->idx.release());  // realloc has freed or kept it
        avi->idx.reset(static_cast<avi_index_record*>(grown));
        avi->max_idx += AVI_INDEX_GROWTH;
    }
    avi_index_record& record = avi->idx[static_cast<std::size_t>(avi->n_idx)];
    std::memcpy(record.tag, tag, sizeof record.tag);
    avi_put32(record.flags, flags);
    avi_put32(record.offset, pos);
    avi_put32(record.length, len);
    ++avi->n_idx;
    if (len > avi->max_len) avi->max_len = len;
    return 0;
}

void avi_too_many_tracks() {
    std::fprintf(stderr, "error - only %d audio tracks supported\n", AVI_MAX_TRACKS);
    std::exit(1);
}

int AVI_close(avi_t* avi) {
    const std::unique_ptr<avi_t> owned(avi);
    const bool writing = avi->mode == AVI_MODE_WRITE;
    int result = writing ? avi_close_output_file(avi) : 0;
    if (avi->fdes <= 0) return result;

    int error = errno;
    const auto failed = [&] {
        if (!writing || result < 0) return;  // a file that was only read has lost nothing; the first error counts
        result = avi_fail(AVI_ERR_CLOSE);
        error = errno;
    };
    if (Varno::kernel().Flush(avi->fdes) < 0) failed();
    if (Varno::kernel().Close(avi->fdes) < 0) failed();
    errno = error;
    return result;
}

const char* AVI_strerror() {
    static char text[4096];
    if (!IsSystemError()) return ErrorText();
    const int error = errno;
    std::snprintf(text, sizeof text, "%s - %s", ErrorText(), std::strerror(error));
    errno = error;
    return text;
}

void AVI_print_error(const char* str) {
    const int error = errno;
    std::fprintf(stderr, "%s: %s\n", str, ErrorText());
    errno = error;
    if (IsSystemError()) std::perror("REASON");
}

std::uint32_t AVI_max_size() {
    return AVI_MAX_LEN - 1;
}

int AVI_video_frames(const avi_t* avi) {
    return avi->video_frames;
}

int AVI_video_width(const avi_t* avi) {
    return avi->width;
}

int AVI_video_height(const avi_t* avi) {
    return avi->height;
}

double AVI_frame_rate(const avi_t* avi) {
    return avi->fps;
}

const char* AVI_video_compressor(const avi_t* avi) {
    return avi->compressor;
}

long AVI_max_video_chunk(const avi_t* avi) {
    return static_cast<long>(avi->max_len);
}

int AVI_audio_tracks(const avi_t* avi) {
    return avi->anum;
}

int AVI_audio_channels(const avi_t* avi) {
    return CurrentTrack(avi).a_chans;
}

long AVI_audio_mp3rate(const avi_t* avi) {
    return CurrentTrack(avi).mp3rate;
}

int AVI_audio_bits(const avi_t* avi) {
    return CurrentTrack(avi).a_bits;
}

int AVI_audio_format(const avi_t* avi) {
    return CurrentTrack(avi).a_fmt;
}

long AVI_audio_rate(const avi_t* avi) {
    return CurrentTrack(avi).a_rate;
}

std::int64_t AVI_audio_bytes(const avi_t* avi) {
    return CurrentTrack(avi).audio_bytes;
}

int AVI_audio_chunks(const avi_t* avi) {
    return CurrentTrack(avi).audio_chunks;
}

std::int64_t AVI_audio_codech_offset(const avi_t* avi) {
    return CurrentTrack(avi).a_codech_off;
}

std::int64_t AVI_audio_codecf_offset(const avi_t* avi) {
    return CurrentTrack(avi).a_codecf_off;
}

std::int64_t AVI_video_codech_offset(const avi_t* avi) {
    return avi->v_codech_off;
}

std::int64_t AVI_video_codecf_offset(const avi_t* avi) {
    return avi->v_codecf_off;
}

int AVI_set_audio_track(avi_t* avi, int track) {
    if (track < 0 || track >= avi->anum) return -1;
    avi->aptr = track;
    return 0;
}

int AVI_get_audio_track(const avi_t* avi) {
    return avi->aptr;
}
