#include "media/varno_avi_reader.h"

#include <fcntl.h>

#include <algorithm>
#include <memory>
#include <new>

#include "media/avilib.h"
#include "sys/kernel.h"

namespace {

// Chunks of other kinds that may lie before the first frame: the first ones of every audio track, and some filling.
constexpr int kMostChunksBefore = 256;

}  // namespace

CVarnoAVIReader* CVarnoAVIReader::CreateNew(const std::string& path, VarnoPixelFormat format, bool index) {
    std::unique_ptr<CVarnoAVIReader> reader(new (std::nothrow) CVarnoAVIReader);
    if (!reader || !reader->Open(path, format, index)) return nullptr;
    return reader.release();
}

CVarnoAVIReader::~CVarnoAVIReader() {
    CVarnoAVIReader::Close();
}

bool CVarnoAVIReader::Open(const std::string& path, VarnoPixelFormat /*format*/, bool index) {
    if (path.empty()) return false;
    Close();
    const int fd = Varno::kernel().Open(path.c_str(), O_RDONLY);
    if (fd < 0) return false;
    if (AVI_count_audio_streams(fd) > AVI_MAX_TRACKS) {
        Varno::kernel().Close(fd);
        return false;
    }
    m_pAVIReader = AVI_open_fd(fd, index ? 1 : 0);
    return m_pAVIReader != nullptr;
}

void CVarnoAVIReader::Close() {
    if (m_pAVIReader) AVI_close(m_pAVIReader);
    m_pAVIReader = nullptr;
}

int CVarnoAVIReader::GetTotalFrames() const {
    return m_pAVIReader ? AVI_video_frames(m_pAVIReader) : -1;
}

int CVarnoAVIReader::GetCurrentFramePos() const {
    return m_pAVIReader ? AVI_get_video_position(m_pAVIReader) : -1;
}

void CVarnoAVIReader::ResetFrame() {
    SetFramePosition(0);
}

int CVarnoAVIReader::SetFramePosition(long pos) {
    if (!m_pAVIReader) return -1;
    return AVI_set_video_position(m_pAVIReader, std::clamp(pos, 0L, static_cast<long>(GetTotalFrames())));
}

int CVarnoAVIReader::ReadFrame(char* buf, int& keyframe, VarnoMediaType& /*type*/) {
    return m_pAVIReader ? static_cast<int>(AVI_read_frame(m_pAVIReader, buf, &keyframe)) : -1;
}

int CVarnoAVIReader::ReadOneFrame(char* buf, long index) {
    if (!m_pAVIReader) return -1;
    const int before = GetCurrentFramePos();
    int keyframe = 0;
    const long bytes = SetFramePosition(index) < 0 ? -1 : AVI_read_frame(m_pAVIReader, buf, &keyframe);
    SetFramePosition(before);
    return static_cast<int>(bytes);
}

int CVarnoAVIReader::ReadFirstFrame(char* buf, long room) {
    if (!m_pAVIReader || AVI_seek_start(m_pAVIReader) < 0) return -1;
    constexpr int kVideo = 1;
    constexpr int kAudio = 2;
    constexpr int kTooLong = -2;
    long bytes = 0;
    int kind = kAudio;
    // No sound has room. What is longer than the room may be the first frame: a later one is not looked for.
    for (int chunk = 0; chunk < kMostChunksBefore; ++chunk) {
        kind = AVI_read_data(m_pAVIReader, buf, room, nullptr, 0, &bytes);
        if (kind != kAudio && (kind != kTooLong || bytes > room)) break;
    }
    AVI_seek_start(m_pAVIReader);
    return kind == kVideo ? static_cast<int>(bytes) : -1;
}

int CVarnoAVIReader::GetVideoMaxChunk() const {
    return m_pAVIReader ? static_cast<int>(AVI_max_video_chunk(m_pAVIReader)) : -1;
}

const char* CVarnoAVIReader::GetVideoCompressor() const {
    return m_pAVIReader ? AVI_video_compressor(m_pAVIReader) : nullptr;
}

double CVarnoAVIReader::GetVideoFrameRate() const {
    return m_pAVIReader ? AVI_frame_rate(m_pAVIReader) : -1.0;
}

int CVarnoAVIReader::GetVideoWidth() const {
    return m_pAVIReader ? AVI_video_width(m_pAVIReader) : -1;
}

int CVarnoAVIReader::GetVideoHeight() const {
    return m_pAVIReader ? AVI_video_height(m_pAVIReader) : -1;
}
