// Packed YUYV pictures of any size, brought to another one.
#pragma once

#include <cstddef>
#include <vector>

namespace frames {

// Draws pictures of one size, packed YUYV, into the middle of pictures of another one: as large as they fit with their
// proportions kept. Everything that depends on the sizes alone is worked out once, so that a frame costs one pass and
// no allocation. Samples are picked, not averaged: clips of the camera need no fitting, others need it quickly.
// Immutable, so thread-safe.
class YuyvFit {
  public:
    // Sizes in pixels, none of them 0; `outWidth` is even. The rows of a picture of odd width end with half a pixel
    // pair that is not seen.
    YuyvFit(unsigned inWidth, unsigned inHeight, unsigned outWidth, unsigned outHeight);

    // Bytes of the picture that is drawn.
    std::size_t InBytes() const { return m_inStride * m_inHeight; }
    // `in` holds InBytes(), `out` a whole picture of the other size; what lies around the picture stays as it is.
    void Draw(const unsigned char* in, unsigned char* out) const;

  private:
    // Where, in a row, the samples of one pixel pair come from, in bytes.
    struct PairSource {
        std::size_t y0, y1, chroma;
    };

    std::size_t m_inStride;
    std::size_t m_inHeight;
    std::size_t m_outStride;
    std::size_t m_outStart;  // byte of the first pixel drawn
    std::size_t m_rows;
    std::vector<PairSource> m_pairs;
};

// Packed YUYV black, `bytes` from a multiple of four on.
void FillYuyvBlack(unsigned char* yuyv, std::size_t bytes);

}  // namespace frames
