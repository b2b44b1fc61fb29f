// The picture of a clip that is read last, at the size the display takes.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>

#include "video/frames/yuyv_fit.h"

class CVarnoAVIReader;

// Reads the frames of one clip of packed YUYV into memory that holds whatever its file may hold, and brings pictures of
// other sizes to 320 × 240. What a short frame leaves out is black; an empty one shows its predecessor again, as
// recorders that drop frames mean it. Reading allocates nothing. One thread.
class ClipFrame {
  public:
    static constexpr unsigned kWidth = 320;
    static constexpr unsigned kHeight = 240;
    static constexpr unsigned kBytes = kWidth * kHeight * 2;

    // Memory for the frames of an open clip, showing black. Null when a frame would take more than 8 MiB or memory is
    // short.
    static std::unique_ptr<ClipFrame> CreateNew(const CVarnoAVIReader& reader);

    // Read the next frame, or the one that lies first in the file. False, and the picture stays, when there is none.
    bool ReadNext(CVarnoAVIReader& reader);
    bool ReadFirst(CVarnoAVIReader& reader);
    // kBytes of packed YUYV.
    const unsigned char* Picture() const { return m_scaled ? m_scaled.get() : m_raw.get(); }

  private:
    ClipFrame() = default;
    bool Allocate(const CVarnoAVIReader& reader);
    bool Show(int bytes);
    char* Buffer() { return reinterpret_cast<char*>(m_raw.get()); }

    std::size_t m_pictureBytes = 0;  // of a whole frame
    std::size_t m_room = 0;
    std::unique_ptr<unsigned char[]> m_raw;
    std::optional<frames::YuyvFit> m_fit;  // for other sizes only, with the picture that it draws
    std::unique_ptr<unsigned char[]> m_scaled;
};
