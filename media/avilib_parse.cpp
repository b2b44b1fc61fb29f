// Reading: the top-level chunks of a file, its streams, and the tables made from its index. Nothing in the file is
// believed.
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>

#include "media/avilib.h"
#include "media/avilib_internal.h"

namespace {

// What a header list says stands at its beginning; longer ones are not worth their memory.
constexpr std::int64_t kMaxHeaderList = 1 << 20;
constexpr std::uint32_t kMaxDimension = 65535;
constexpr std::uint32_t kMaxFrameLength = INT_MAX;

// What the walk over the top-level chunks finds.
struct TopLevel {
    bool hasHeaderList = false;
    std::vector<unsigned char> headerList;
    std::int64_t headerListAt = 0;
    bool hasMovi = false;
    std::int64_t moviEnd = 0;
    bool hasIndex = false;
};

int ReadHeaderList(avi_t* avi, TopLevel* top, std::int64_t offset, std::int64_t length) {
    length = std::min({length, avi->file_size - offset, kMaxHeaderList});
    top->headerList.resize(static_cast<std::size_t>(length));
    if (avi_read_at(avi, offset, top->headerList.data(), top->headerList.size()) != length) {
        return avi_fail(AVI_ERR_READ);
    }
    top->headerListAt = offset;
    top->hasHeaderList = true;
    return 0;
}

int ReadIndex(avi_t* avi, TopLevel* top, std::int64_t offset, std::uint32_t length) {
    // A file cut within its index has all its frames: they are looked for instead.
    if (offset + std::int64_t{length} > avi->file_size) return 0;
    const std::size_t count = length / sizeof(avi_index_record);
    if (count > static_cast<std::size_t>(AVI_MAX_INDEX)) return avi_fail(AVI_ERR_SIZELIM);
    top->hasIndex = true;
    if (count == 0) return 0;
    const std::size_t bytes = count * sizeof(avi_index_record);
    avi->idx.reset(static_cast<avi_index_record*>(std::malloc(bytes)));
    if (!avi->idx) return avi_fail(AVI_ERR_NO_MEM);
    if (avi_read_at(avi, offset, avi->idx.get(), bytes) != static_cast<std::int64_t>(bytes)) {
        return avi_fail(AVI_ERR_READ);
    }
    avi->n_idx = avi->max_idx = static_cast<int>(count);
    return 0;
}

// The first of each kind of chunk counts.
int WalkTopLevel(avi_t* avi, TopLevel* top) {
    std::int64_t pos = AVI_LIST_HEADER;
    for (int chunks = 0; chunks < AVI_MAX_CHUNKS; ++chunks) {
        unsigned char header[AVI_LIST_HEADER] = {};
        const std::int64_t got = avi_read_header(avi, &pos, header, sizeof header);
        if (got < 0) return avi_fail(AVI_ERR_READ);
        if (got < std::int64_t{AVI_CHUNK_HEADER}) return 0;

        const std::uint32_t length = avi_get32(header + 4);
        const std::int64_t data_at = pos + AVI_CHUNK_HEADER;
        const bool is_list = avi_same_code(header, "LIST", 4) && got == std::int64_t{sizeof header} && length >= 4;
        int result = 0;
        if (is_list && !top->hasHeaderList && avi_same_code(header + 8, "hdrl", 4)) {
            result = ReadHeaderList(avi, top, data_at + 4, std::int64_t{length} - 4);
        } else if (is_list && !top->hasMovi && avi_same_code(header + 8, "movi", 4) && data_at + 4 <= UINT32_MAX) {
            avi->movi_start = static_cast<std::uint32_t>(data_at + 4);
            top->moviEnd = std::min(data_at + std::int64_t{length}, avi->file_size);
            top->hasMovi = true;
        } else if (!top->hasIndex && avi_same_code(header, "idx1", 4)) {
            result = ReadIndex(avi, top, data_at, length);
        }
        if (result < 0) return -1;
        pos = data_at + static_cast<std::int64_t>(avi_padded(length));
    }
    return 0;
}

// A frame's width or height; bitmaps stored top line first have a negative height. 0 when it cannot be one.
int Dimension(std::uint32_t stored) {
    const std::uint32_t size = stored > INT_MAX ? 0U - stored : stored;
    return size <= kMaxDimension ? static_cast<int>(size) : 0;
}

int ClampToInt(std::uint64_t value) {
    return static_cast<int>(std::min<std::uint64_t>(value, INT_MAX));
}

void SetTag(char* tag, int stream, const char* kind) {
    tag[0] = static_cast<char>('0' + stream / 10 % 10);
    tag[1] = static_cast<char>('0' + stream % 10);
    tag[2] = kind[0];
    tag[3] = kind[1];
}

// Calls `visit` with tag, data and length of the chunks of a header list one by one, nested lists stepped into.
template <typename Visit>
void VisitHeaderList(const std::vector<unsigned char>& list, Visit visit) {
    std::size_t at = 0;
    while (list.size() - at >= AVI_CHUNK_HEADER) {
        const unsigned char* chunk = list.data() + at;
        const std::size_t left = list.size() - at - AVI_CHUNK_HEADER;
        std::uint64_t step = AVI_LIST_HEADER;
        if (!avi_same_code(chunk, "LIST", 4)) {
            const std::uint32_t claimed = avi_get32(chunk + 4);
            visit(chunk, chunk + AVI_CHUNK_HEADER, std::min<std::size_t>(claimed, left));
            step = AVI_CHUNK_HEADER + avi_padded(claimed);
        }
        if (step > list.size() - at) break;
        at += static_cast<std::size_t>(step);
    }
}

// Takes the streams from a header list.
class HeaderListParser {
  public:
    HeaderListParser(avi_t* avi, std::int64_t offset) : m_avi(avi), m_offset(offset) {}

    // Whether a video stream with a usable format was found.
    bool Parse(const std::vector<unsigned char>& list) {
        VisitHeaderList(list, [&](const unsigned char* tag, const unsigned char* data, std::size_t size) {
            const std::int64_t data_at = m_offset + (data - list.data());
            if (avi_same_code(tag, "strh", 4)) StreamHeader(data, size, data_at);
            if (avi_same_code(tag, "strf", 4)) StreamFormat(data, size, data_at);
        });
        return m_avi->width > 0 && m_avi->height > 0;
    }

  private:
    enum class Stream { kOther, kVideo, kAudio };

    void StreamHeader(const unsigned char* data, std::size_t size, std::int64_t at) {
        const int stream = m_streams++;
        m_current = Stream::kOther;
        if (size < 8) return;
        if (avi_same_code(data, "vids", 4) && !m_hasVideo) {
            m_hasVideo = true;
            m_current = Stream::kVideo;
            VideoHeader(data, size, at, stream);
        } else if (avi_same_code(data, "auds", 4)) {
            if (m_avi->anum >= AVI_MAX_TRACKS) avi_too_many_tracks();
            m_current = Stream::kAudio;
            avi_track& track = m_avi->track[static_cast<std::size_t>(m_avi->anum++)];
            track.audio_strn = stream;
            track.a_codech_off = at + 4;
            SetTag(track.audio_tag, stream, "wb");
        }
    }

    void VideoHeader(const unsigned char* data, std::size_t size, std::int64_t at, int stream) {
        std::memcpy(m_avi->compressor, data + 4, 4);
        std::memcpy(m_avi->compressor2, data + 4, 4);
        m_avi->v_codech_off = at + 4;
        m_avi->video_strn = stream;
        SetTag(m_avi->video_tag, stream, "db");
        if (size >= 28) {
            const std::uint32_t scale = avi_get32(data + 20);
            if (scale != 0) m_avi->fps = static_cast<double>(avi_get32(data + 24)) / scale;
        }
        // Only a claim, for files opened without their index.
        const auto most = static_cast<std::uint64_t>(m_avi->file_size / AVI_CHUNK_HEADER);
        if (size >= 36) m_avi->video_frames = ClampToInt(std::min<std::uint64_t>(avi_get32(data + 32), most));
    }

    void StreamFormat(const unsigned char* data, std::size_t size, std::int64_t at) {
        if (m_current == Stream::kVideo && size >= 12) {
            m_avi->bitmap_info_header.assign(data, data + size);
            m_avi->width = Dimension(avi_get32(data + 4));
            m_avi->height = Dimension(avi_get32(data + 8));
            if (size >= 20) m_avi->v_codecf_off = at + 16;
        } else if (m_current == Stream::kAudio) {
            const auto number = static_cast<std::size_t>(m_avi->anum - 1);
            m_avi->wave_format_ex[number].assign(data, data + size);
            avi_track& track = m_avi->track[number];
            track.a_codecf_off = at;
            if (size >= 16) {
                track.a_fmt = static_cast<int>(avi_get16(data));
                track.a_chans = static_cast<int>(avi_get16(data + 2));
                track.a_rate = ClampToInt(avi_get32(data + 4));
                track.mp3rate = ClampToInt(std::uint64_t{avi_get32(data + 8)} * 8 / 1000);
                track.a_bits = static_cast<int>(avi_get16(data + 14));
            }
        }
        m_current = Stream::kOther;
    }

    avi_t* m_avi;
    std::int64_t m_offset;
    int m_streams = 0;
    bool m_hasVideo = false;
    Stream m_current = Stream::kOther;
};

bool ChunkIsAt(const avi_t* avi, std::int64_t offset, const avi_index_record& record) {
    unsigned char header[AVI_CHUNK_HEADER];
    return avi_read_at(avi, offset, header, sizeof header) == std::int64_t{sizeof header} &&
           avi_same_code(header, record.tag, 4) && std::memcmp(header + 4, record.length, 4) == 0;
}

// How the index counts its offsets: 1 from the start of the file, 2 from the "movi" code, 0 neither.
long IndexType(const avi_t* avi) {
    if (avi->n_idx == 0) return 0;
    const avi_index_record& first = avi->idx[0];
    const std::int64_t offset = avi_get32(first.offset);
    if (ChunkIsAt(avi, offset, first)) return 1;
    return ChunkIsAt(avi, std::int64_t{avi->movi_start} - 4 + offset, first) ? 2 : 0;
}

// Keeps the index records whose data lies within the file.
void DropUnreadable(avi_t* avi, std::int64_t base) {
    int kept = 0;
    for (int i = 0; i < avi->n_idx; ++i) {
        const avi_index_record record = avi->idx[static_cast<std::size_t>(i)];
        const std::int64_t end = base + avi_get32(record.offset) + std::int64_t{avi_get32(record.length)};
        if (end > avi->file_size || avi_get32(record.length) > kMaxFrameLength) continue;
        avi->idx[static_cast<std::size_t>(kept++)] = record;
    }
    avi->n_idx = kept;
}

// The audio track of an index record, null when it is of none.
avi_track* TrackOf(avi_t* avi, const avi_index_record& record) {
    for (int i = 0; i < avi->anum; ++i) {
        avi_track& track = avi->track[static_cast<std::size_t>(i)];
        if (avi_same_code(record.tag, track.audio_tag, 3)) return &track;
    }
    return nullptr;
}

// Makes the frame and audio tables; `base` plus a record's offset is where its data lies.
int BuildTables(avi_t* avi, std::int64_t base) {
    const avi_index_record* records = avi->idx.get();
    const auto is_frame = [avi](const avi_index_record& record) {
        return avi_same_code(record.tag, avi->video_tag, 3);
    };
    avi->video_frames = static_cast<int>(std::count_if(records, records + avi->n_idx, is_frame));
    if (avi->video_frames == 0) return avi_fail(AVI_ERR_NO_VIDS);

    avi->video_index.reserve(static_cast<std::size_t>(avi->video_frames));
    avi->max_len = 0;
    for (int i = 0; i < avi->n_idx; ++i) {
        const avi_index_record& record = records[i];
        const std::int64_t data_at = base + avi_get32(record.offset);
        const std::uint32_t length = avi_get32(record.length);
        if (is_frame(record)) {
            avi->video_index.push_back({avi_get32(record.flags), length, data_at});
            avi->max_len = std::max(avi->max_len, length);
        } else if (avi_track* track = TrackOf(avi, record)) {
            track->audio_index.push_back({data_at, track->audio_bytes, length});
            track->audio_bytes += length;
            ++track->audio_chunks;
        }
    }
    return 0;
}

int BuildIndex(avi_t* avi, const TopLevel& top) {
    const long idx_type = top.hasIndex ? IndexType(avi) : 0;
    std::printf("idx_type = %ld \n", idx_type);
    if (idx_type == 0 && avi_rebuild_index(avi, top.moviEnd) < 0) return -1;
    const std::int64_t base = AVI_CHUNK_HEADER + (idx_type == 2 ? std::int64_t{avi->movi_start} - 4 : 0);
    DropUnreadable(avi, base);
    return BuildTables(avi, base);
}

}  // namespace

int avi_parse_input_file(avi_t* avi, int getIndex) {
    unsigned char riff[AVI_LIST_HEADER];
    if (avi_read_at(avi, 0, riff, sizeof riff) != std::int64_t{sizeof riff}) return avi_fail(AVI_ERR_READ);
    if (!avi_same_code(riff, "RIFF", 4) || !avi_same_code(riff + 8, "AVI ", 4)) return avi_fail(AVI_ERR_NO_AVI);
    avi->file_size = lseek(avi->fdes, 0, SEEK_END);
    if (avi->file_size < 0) return avi_fail(AVI_ERR_READ);

    TopLevel top;
    if (WalkTopLevel(avi, &top) < 0) return -1;
    if (!top.hasHeaderList) return avi_fail(AVI_ERR_NO_HDRL);
    if (!top.hasMovi) return avi_fail(AVI_ERR_NO_MOVI);
    HeaderListParser streams(avi, top.headerListAt);
    if (!streams.Parse(top.headerList)) return avi_fail(AVI_ERR_NO_VIDS);
    if (getIndex && BuildIndex(avi, top) < 0) return -1;
    return AVI_seek_start(avi);
}

int AVI_count_audio_streams(int fd) {
    avi_t avi;
    avi.fdes = fd;
    avi.file_size = lseek(fd, 0, SEEK_END);
    TopLevel top;
    top.hasIndex = true;  // not wanted
    int streams = 0;
    WalkTopLevel(&avi, &top);
    VisitHeaderList(top.headerList, [&](const unsigned char* tag, const unsigned char* data, std::size_t size) {
        if (avi_same_code(tag, "strh", 4) && size >= 8 && avi_same_code(data, "auds", 4)) ++streams;
    });
    return streams;
}
