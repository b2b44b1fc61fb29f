// Lookup tables of the conversion from YUV to RGB.
#pragma once

#include <memory>

namespace frames {

// What chroma adds to luma, and the bytes that such sums become: full-range ITU-R BT.601 as in JFIF, except for the
// small share of U in green, which gives this camera's pictures their colours. Immutable, so thread-safe.
class ColourTables {
  public:
    ColourTables();
    ColourTables(const ColourTables&) = delete;
    ColourTables& operator=(const ColourTables&) = delete;

    // The tables that initLut built; freshly built ones where it was not called.
    static std::shared_ptr<const ColourTables> Current();

    // By chroma, the row of sums with luma, limited to 0..255: LutRv[v][y] is red, LutBu[u][y] is blue, and
    // (LutGv[v] + LutGu[u])[y] is green.
    const unsigned char* LutRv[256];
    const unsigned char* LutBu[256];
    const unsigned char* LutGv[256];
    int LutGu[256];

    unsigned char R_FROMYV(unsigned char y, unsigned char v) const { return LutRv[v][y]; }
    unsigned char G_FROMYUV(unsigned char y, unsigned char u, unsigned char v) const {
        return (LutGv[v] + LutGu[u])[y];
    }
    unsigned char B_FROMYU(unsigned char y, unsigned char u) const { return LutBu[u][y]; }

  private:
    static constexpr int kMargin = 256;  // above the largest sum of shares, which is 221
    unsigned char m_clamp[kMargin + 256 + kMargin];
};

}  // namespace frames
