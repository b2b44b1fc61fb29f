// The 2048-byte header area at the start of a file that is written.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "media/avilib.h"
#include "media/avilib_internal.h"

namespace {

// The junk chunk ends where the movi list's header begins.
constexpr std::size_t kMoviListAt = AVI_HEADER_BYTES - AVI_LIST_HEADER;
constexpr std::uint32_t kFlagHasIndex = 0x10;
constexpr std::uint32_t kFlagMustUseIndex = 0x20;
constexpr std::uint32_t kFlagInterleaved = 0x100;
// While the file grows its lists claim the largest size, so that a reader of a cut file goes on to the file's end.
constexpr std::uint32_t kOpenEnd = AVI_MAX_LEN - 1 - AVI_HEADER_BYTES + 4;

// What differs between the header of a growing and of a finished file.
struct HeaderValues {
    std::uint32_t riffSize;
    std::uint32_t moviSize;
    std::uint32_t maxBytesPerSecond;
    std::uint32_t flags;
    std::uint32_t frames;
    std::uint32_t bufferSize;
    std::uint32_t quality;
    std::uint32_t bitCount;
};

// Puts numbers one after the other into the header area, and nothing behind its end.
class HeaderWriter {
  public:
    explicit HeaderWriter(avi_t* avi) : m_area(avi->header) { m_area.fill(0); }

    void Code(const char* four) {
        if (Has(4)) std::memcpy(m_area.data() + m_at, four, 4);
        m_at += 4;
    }
    void Number32(std::uint32_t value) {
        if (Has(4)) avi_put32(m_area.data() + m_at, value);
        m_at += 4;
    }
    void Number16(std::uint32_t value) {
        if (Has(2)) avi_put16(m_area.data() + m_at, value);
        m_at += 2;
    }
    void Zeros(std::size_t count) { m_at += count; }
    // Fills in a list's size once its end is known.
    void ListSizeAt(std::size_t at) {
        if (at + 4 <= m_area.size()) avi_put32(m_area.data() + at, static_cast<std::uint32_t>(m_at - at - 4));
    }
    std::size_t At() const { return m_at; }

  private:
    bool Has(std::size_t count) const { return m_at + count <= m_area.size(); }

    std::array<unsigned char, AVI_HEADER_BYTES>& m_area;
    std::size_t m_at = 0;
};

// Rounded to whole numbers; 0 for a rate too small to have a meaning.
std::uint32_t Rounded(double fps, double value) {
    if (!(fps >= 0.001)) return 0;
    return static_cast<std::uint32_t>(std::min(value + 0.5, 2147483647.0));
}

std::uint32_t Area(const avi_t* avi) {
    return static_cast<std::uint32_t>(avi->width) * static_cast<std::uint32_t>(avi->height);
}

void PutMainHeader(HeaderWriter& out, const avi_t* avi, const HeaderValues& values) {
    out.Code("avih");
    out.Number32(56);
    out.Number32(Rounded(avi->fps, 1000000.0 / avi->fps));    // dwMicroSecPerFrame
    out.Number32(values.maxBytesPerSecond);                   // dwMaxBytesPerSec
    out.Number32(0);                                          // dwPaddingGranularity
    out.Number32(values.flags);                               // dwFlags
    out.Number32(values.frames);                              // dwTotalFrames
    out.Number32(0);                                          // dwInitialFrames
    out.Number32(static_cast<std::uint32_t>(avi->anum) + 1);  // dwStreams
    out.Number32(values.bufferSize);                          // dwSuggestedBufferSize
    out.Number32(static_cast<std::uint32_t>(avi->width));     // dwWidth
    out.Number32(static_cast<std::uint32_t>(avi->height));    // dwHeight
    out.Zeros(16);                                            // reserved
}

void PutVideoStream(HeaderWriter& out, const avi_t* avi, const HeaderValues& values) {
    out.Code("LIST");
    const std::size_t size_at = out.At();
    out.Number32(0);
    out.Code("strl");
    out.Code("strh");
    out.Number32(56);
    out.Code("vids");
    out.Code(avi->compressor);  // fccHandler
    out.Zeros(12);              // dwFlags, wPriority, wLanguage, dwInitialFrames
    out.Number32(AVI_FRAME_RATE_SCALE);
    out.Number32(Rounded(avi->fps, AVI_FRAME_RATE_SCALE * avi->fps));  // dwRate
    out.Number32(0);                                                   // dwStart
    out.Number32(values.frames);                                       // dwLength
    out.Number32(values.bufferSize);                                   // dwSuggestedBufferSize
    out.Number32(values.quality);                                      // dwQuality
    out.Zeros(12);                                                     // dwSampleSize, rcFrame

    out.Code("strf");
    out.Number32(40);
    out.Number32(40);                                       // biSize
    out.Number32(static_cast<std::uint32_t>(avi->width));   // biWidth
    out.Number32(static_cast<std::uint32_t>(avi->height));  // biHeight
    out.Number16(1);                                        // biPlanes
    out.Number16(values.bitCount);                          // biBitCount
    out.Code(avi->compressor);                              // biCompression
    out.Number32(Area(avi) * 3);  // biSizeImage; does not match the bit count, and is meant so
    out.Zeros(16);
    out.ListSizeAt(size_at);
}

void PutAudioStream(HeaderWriter& out, const avi_track& track) {
    // Bytes of one sample over all channels; 64 bits wide, the caller's numbers are not checked.
    const std::int64_t sample_size = std::max<std::int64_t>((std::int64_t{track.a_bits} + 7) / 8 * track.a_chans, 4);
    const auto block_align = static_cast<std::uint32_t>(sample_size / 4);
    const std::uint32_t bytes_per_second = static_cast<std::uint32_t>(track.mp3rate) * 125;
    out.Code("LIST");
    const std::size_t size_at = out.At();
    out.Number32(0);
    out.Code("strl");
    out.Code("strh");
    out.Number32(56);
    out.Code("auds");
    out.Zeros(16);                                                                  // fccHandler to dwInitialFrames
    out.Number32(block_align);                                                      // dwScale
    out.Number32(bytes_per_second);                                                 // dwRate
    out.Number32(0);                                                                // dwStart
    out.Number32(static_cast<std::uint32_t>(4 * track.audio_bytes / sample_size));  // dwLength
    out.Number32(0);                                                                // dwSuggestedBufferSize
    out.Number32(0xFFFFFFFF);                                                       // dwQuality
    out.Number32(block_align);                                                      // dwSampleSize
    out.Zeros(8);                                                                   // rcFrame

    out.Code("strf");
    out.Number32(16);
    out.Number16(static_cast<std::uint32_t>(track.a_fmt));    // wFormatTag
    out.Number16(static_cast<std::uint32_t>(track.a_chans));  // nChannels
    out.Number32(static_cast<std::uint32_t>(track.a_rate));   // nSamplesPerSec
    out.Number32(bytes_per_second);                           // nAvgBytesPerSec
    out.Number16(block_align);                                // nBlockAlign
    out.Number16(static_cast<std::uint32_t>(track.a_bits));   // wBitsPerSample
    out.ListSizeAt(size_at);
}

void PutJunk(HeaderWriter& out) {
    const auto junk =
        static_cast<std::int64_t>(kMoviListAt) - static_cast<std::int64_t>(out.At()) - std::int64_t{AVI_CHUNK_HEADER};
    if (junk < 1) {
        std::fprintf(stderr, "AVI_close_output_file: # of header bytes too small\n");
        std::exit(1);
    }
    out.Code("JUNK");
    out.Number32(static_cast<std::uint32_t>(junk));
    out.Zeros(static_cast<std::size_t>(junk));
}

int WriteHeader(avi_t* avi, const HeaderValues& values) {
    HeaderWriter out(avi);
    out.Code("RIFF");
    out.Number32(values.riffSize);
    out.Code("AVI ");
    out.Code("LIST");
    const std::size_t size_at = out.At();
    out.Number32(0);
    out.Code("hdrl");
    PutMainHeader(out, avi, values);
    PutVideoStream(out, avi, values);
    for (int i = 0; i < avi->anum; ++i)
        PutAudioStream(out, avi->track[static_cast<std::size_t>(i)]);
    out.ListSizeAt(size_at);
    PutJunk(out);
    out.Code("LIST");
    out.Number32(values.moviSize);
    out.Code("movi");

    struct iovec area = {avi->header.data(), avi->header.size()};
    if (lseek(avi->fdes, 0, SEEK_SET) < 0 || !avi_write_parts(avi->fdes, &area, 1)) return avi_fail(AVI_ERR_CLOSE);
    return 0;
}

}  // namespace

int avi_update_header(avi_t* avi) {
    HeaderValues values{};
    values.riffSize = kOpenEnd;
    values.moviSize = kOpenEnd;
    values.flags = kFlagInterleaved | kFlagHasIndex | (avi->must_use_index ? kFlagMustUseIndex : 0);
    values.quality = 0xFFFFFFFF;
    values.bitCount = 24;
    const int result = WriteHeader(avi, values);
    const int error = errno;
    if (lseek(avi->fdes, avi->pos, SEEK_SET) < 0) return avi_fail(AVI_ERR_CLOSE);
    errno = error;
    return result;
}

int avi_write_final_header(avi_t* avi, bool hasIndex, std::uint32_t endOfFrames) {
    HeaderValues values{};
    values.riffSize = avi->pos - AVI_CHUNK_HEADER;
    values.moviSize = endOfFrames - (AVI_HEADER_BYTES - 4);
    values.maxBytesPerSecond = 10000000;
    values.flags = kFlagInterleaved;
    if (hasIndex) values.flags |= kFlagHasIndex | (avi->must_use_index ? kFlagMustUseIndex : 0);
    values.frames = static_cast<std::uint32_t>(avi->video_frames);
    values.bufferSize = Area(avi) * 4;
    values.bitCount = 16;
    return WriteHeader(avi, values);
}
