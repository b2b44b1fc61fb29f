// What the source files of the AVI library share.
#pragma once

#include <sys/uio.h>

#include <cstddef>
#include <cstdint>

#include "media/avilib.h"

// A file may not reach this length: 2^32 less 16 MiB, header area and index slack.
constexpr std::uint32_t AVI_MAX_LEN = 0xFEFFF800;
constexpr std::uint32_t AVI_KEYFRAME = 0x10;
constexpr std::uint32_t AVI_CHUNK_HEADER = 8;
constexpr std::uint32_t AVI_LIST_HEADER = 12;

// Little-endian numbers at any address.
inline std::uint32_t avi_get16(const unsigned char* p) {
    return static_cast<std::uint32_t>(p[0] | (p[1] << 8));
}
inline std::uint32_t avi_get32(const unsigned char* p) {
    return avi_get16(p) | (avi_get16(p + 2) << 16);
}
inline void avi_put16(unsigned char* p, std::uint32_t value) {
    p[0] = static_cast<unsigned char>(value);
    p[1] = static_cast<unsigned char>(value >> 8);
}
inline void avi_put32(unsigned char* p, std::uint32_t value) {
    avi_put16(p, value);
    avi_put16(p + 2, value >> 16);
}

// Chunk lengths are even on the medium.
inline std::uint64_t avi_padded(std::uint64_t length) {
    return (length + 1) & ~std::uint64_t{1};
}

// Compares `length` characters of two codes without regard to case.
bool avi_same_code(const void* a, const void* b, std::size_t length);

// Sets AVI_errno and returns -1.
int avi_fail(int error);
// Whether the handle was opened for `mode`; else error 7.
bool avi_permitted(const avi_t* avi, int mode);

// Makes room for one more index record in steps of AVI_INDEX_GROWTH and fills it. 0, or -1 with error 8.
int avi_add_index_entry(avi_t* avi, const unsigned char* tag, std::uint32_t flags, std::uint32_t pos,
                        std::uint32_t len);

// Writes the header area: as it stands while the recording runs, and as it stands in the finished file. 0, or -1 with
// error 6.
int avi_update_header(avi_t* avi);
int avi_write_final_header(avi_t* avi, bool hasIndex, std::uint32_t endOfFrames);
// Writes all parts at the descriptor's position, resuming partial writes; `parts` is used up.
bool avi_write_parts(int fd, struct iovec* parts, int count);
// Writes index and header and cuts the file behind them. 0 or -1.
int avi_close_output_file(avi_t* avi);

// Reads at an offset, resuming partial reads. Bytes read (fewer only at the end of the file), or -1.
std::int64_t avi_read_at(const avi_t* avi, std::int64_t offset, void* buffer, std::size_t length);
// Fills the handle from its descriptor. 0 or -1.
int avi_parse_input_file(avi_t* avi, int getIndex);
// Reads the header of the chunk at `*pos`, or behind the zero bytes that lie there, which become part of `*pos`;
// `length` bytes of it, 8 or more. Bytes read, 0 where the chunks end, or -1.
std::int64_t avi_read_header(const avi_t* avi, std::int64_t* pos, unsigned char* header, std::size_t length);
// Most index records a file that is read may have; a file of tiny chunks must not eat the memory of a small machine.
constexpr int AVI_MAX_INDEX = 1 << 20;
// Chunks that are looked at one after the other, of whatever kind: a file of nothing but empty chunks must not keep its
// reader busy for minutes.
constexpr int AVI_MAX_CHUNKS = 2 * AVI_MAX_INDEX;
// Most zero bytes between two chunks; a file of nothing else would have to be read from end to end.
constexpr std::int64_t AVI_MAX_ZEROS = 1 << 20;
// Refills `idx` by walking the chunks from movi_start to `end`. 0, or -1 with error 8.
int avi_rebuild_index(avi_t* avi, std::int64_t end);

// Tells on standard error that there are too many audio tracks and ends the process with status 1.
[[noreturn]] void avi_too_many_tracks();
