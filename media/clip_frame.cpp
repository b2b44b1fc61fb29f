#include "media/clip_frame.h"

#include <algorithm>
#include <cstdint>
#include <new>

#include "media/varno_avi_reader.h"

namespace {

// Of one frame's memory; a picture of 1920 × 1080 fits.
constexpr std::int64_t kMostBytes = std::int64_t{8} * 1024 * 1024;
constexpr std::int64_t kBytesPerPixel = 4;  // as large as any use of the buffer needs

}  // namespace

std::unique_ptr<ClipFrame> ClipFrame::CreateNew(const CVarnoAVIReader& reader) {
    std::unique_ptr<ClipFrame> frame(new (std::nothrow) ClipFrame);
    if (!frame || !frame->Allocate(reader)) return nullptr;
    return frame;
}

bool ClipFrame::Allocate(const CVarnoAVIReader& reader) {
    const std::int64_t width = reader.GetVideoWidth();
    const std::int64_t height = reader.GetVideoHeight();
    if (width <= 0 || height <= 0) return false;
    const std::int64_t line = (width + 1) * kBytesPerPixel;
    const std::int64_t needed =
        std::max({line * height, std::int64_t{reader.GetVideoMaxChunk()}, std::int64_t{kBytes}}) + line;
    if (needed > kMostBytes + line) return false;

    m_room = static_cast<std::size_t>(needed);
    m_raw.reset(new (std::nothrow) unsigned char[m_room]);
    if (!m_raw) return false;
    frames::FillYuyvBlack(m_raw.get(), m_room);
    m_pictureBytes = kBytes;
    if (width == kWidth && height == kHeight) return true;

    m_fit.emplace(static_cast<unsigned>(width), static_cast<unsigned>(height), kWidth, kHeight);
    m_pictureBytes = m_fit->InBytes();
    m_scaled.reset(new (std::nothrow) unsigned char[kBytes]);
    if (!m_scaled) return false;
    frames::FillYuyvBlack(m_scaled.get(), kBytes);
    return true;
}

bool ClipFrame::ReadNext(CVarnoAVIReader& reader) {
    int keyframe = 0;
    VarnoMediaType type = MEDIA_UNKNOWN;
    return Show(reader.ReadFrame(Buffer(), keyframe, type));
}

bool ClipFrame::ReadFirst(CVarnoAVIReader& reader) {
    return Show(reader.ReadFirstFrame(Buffer(), static_cast<long>(m_room)));
}

bool ClipFrame::Show(int bytes) {
    if (bytes < 0) return false;
    if (bytes == 0) return true;
    const std::size_t whole_pairs = static_cast<std::size_t>(bytes) / 4 * 4;
    if (whole_pairs < m_pictureBytes) frames::FillYuyvBlack(m_raw.get() + whole_pairs, m_pictureBytes - whole_pairs);
    if (m_fit) m_fit->Draw(m_raw.get(), m_scaled.get());
    return true;
}
