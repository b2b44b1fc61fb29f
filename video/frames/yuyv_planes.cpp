#include "video/frames/yuyv_planes.h"

#include <cstdint>

namespace frames {
namespace {

constexpr unsigned char kChromaSign = 0x80;

// Words over the caller's bytes.
using Word [[gnu::may_alias]] = std::uint32_t;
constexpr std::size_t kWordsPerTurn = 16;

bool Aligned(const unsigned char* pointer) {
    return reinterpret_cast<std::uintptr_t>(pointer) % sizeof(Word) == 0;
}

// A value of which the compiler knows nothing: knowing a mask, compilers for ARM split every use of it into several
// immediates, and knowing a shift, they undo it to do it twice.
inline Word InRegister(Word value) {
    __asm__("" : "+r"(value));
    return value;
}

struct Masks {
    Word even_bytes;
    Word chroma_signs;
};

// Y0 U Y1 V and the next such word to the luma word Y0 Y1 Y2 Y3 (least significant byte first).
inline Word JoinLuma(Word first, Word second, const Masks& masks) {
    const Word low = (first & 0xFF) | ((first & masks.even_bytes) >> 8);
    const Word luma = second & masks.even_bytes;
    return low | ((luma | (luma >> 8)) << 16);
}

// U of two words in the lower half, V in the upper.
inline Word JoinChroma(Word first, Word second, const Masks& masks) {
    return ((first >> 8) & masks.even_bytes) | (((second >> 8) & masks.even_bytes) << 8);
}

// Four words to two of luma, one of U and one of V.
inline void SplitFour(const Word* yuyv, Word* y, Word* u, Word* v, const Masks& masks) {
    const Word w0 = yuyv[0];
    const Word w1 = yuyv[1];
    const Word w2 = yuyv[2];
    const Word w3 = yuyv[3];
    y[0] = JoinLuma(w0, w1, masks);
    y[1] = JoinLuma(w2, w3, masks);
    const Word first = JoinChroma(w0, w1, masks);
    const Word second = JoinChroma(w2, w3, masks);
    // Exchanges the upper half of `first` and the lower half of `second`.
    const Word difference = InRegister((second ^ (first >> 16)) << 16);
    *u = first ^ difference ^ masks.chroma_signs;
    *v = second ^ (difference >> 16) ^ masks.chroma_signs;
}

}  // namespace

void SplitYuyvBytes(const unsigned char* __restrict yuyv, const Planes& planes, std::size_t pairs) {
    unsigned char* __restrict y = planes.y;
    unsigned char* __restrict u = planes.u;
    unsigned char* __restrict v = planes.v;
    for (std::size_t i = 0; i < pairs; ++i) {
        y[2 * i] = yuyv[4 * i];
        u[i] = yuyv[4 * i + 1] ^ kChromaSign;
        y[2 * i + 1] = yuyv[4 * i + 2];
        v[i] = yuyv[4 * i + 3] ^ kChromaSign;
    }
}

void SplitYuyvWords(const unsigned char* yuyv, const Planes& planes, std::size_t pairs) {
    std::size_t done = 0;
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    if (Aligned(yuyv) && Aligned(planes.y) && Aligned(planes.u) && Aligned(planes.v)) {
        const auto* in = reinterpret_cast<const Word*>(yuyv);
        auto* y = reinterpret_cast<Word*>(planes.y);
        auto* u = reinterpret_cast<Word*>(planes.u);
        auto* v = reinterpret_cast<Word*>(planes.v);
        const Masks masks = {InRegister(0x00FF00FF), InRegister(0x80808080)};
        done = pairs - pairs % kWordsPerTurn;
        for (const Word* end = in + done; in != end; in += kWordsPerTurn, y += 8, u += 4, v += 4) {
            SplitFour(in, y, u, v, masks);
            SplitFour(in + 4, y + 2, u + 1, v + 1, masks);
            SplitFour(in + 8, y + 4, u + 2, v + 2, masks);
            SplitFour(in + 12, y + 6, u + 3, v + 3, masks);
        }
    }
#endif
    SplitYuyvBytes(yuyv + 4 * done, {planes.y + 2 * done, planes.u + done, planes.v + done}, pairs - done);
}

}  // namespace frames
