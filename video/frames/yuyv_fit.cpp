#include "video/frames/yuyv_fit.h"

#include <algorithm>
#include <cstdint>

namespace frames {
namespace {

constexpr std::size_t kPairBytes = 4;

// The source pixel under the middle of pixel `at` of `length`.
std::size_t Nearest(std::size_t at, std::size_t length, std::size_t source) {
    return static_cast<std::size_t>((2 * std::uint64_t{at} + 1) * source / (2 * std::uint64_t{length}));
}

}  // namespace

YuyvFit::YuyvFit(unsigned inWidth, unsigned inHeight, unsigned outWidth, unsigned outHeight)
    : m_inStride((std::size_t{inWidth} + 1) / 2 * kPairBytes), m_inHeight(inHeight), m_outStride(outWidth * 2U) {
    std::uint64_t width = outWidth;
    std::uint64_t height = outHeight;
    if (std::uint64_t{inWidth} * outHeight > std::uint64_t{inHeight} * outWidth) {
        height = std::max<std::uint64_t>(std::uint64_t{inHeight} * outWidth / inWidth, 1);
    } else {
        width = std::max<std::uint64_t>(std::uint64_t{inWidth} * outHeight / inHeight / 2 * 2, 2);
    }
    m_rows = static_cast<std::size_t>(height);
    const auto pairs = static_cast<std::size_t>(width / 2);
    m_outStart = (outHeight - m_rows) / 2 * m_outStride + (outWidth / 2 - pairs) / 2 * kPairBytes;
    m_pairs.reserve(pairs);
    for (std::size_t pair = 0; pair < pairs; ++pair) {
        m_pairs.push_back({2 * Nearest(2 * pair, 2 * pairs, inWidth), 2 * Nearest(2 * pair + 1, 2 * pairs, inWidth),
                           Nearest(pair, pairs, inWidth) / 2 * kPairBytes});
    }
}

void YuyvFit::Draw(const unsigned char* in, unsigned char* out) const {
    out += m_outStart;
    for (std::size_t row = 0; row < m_rows; ++row, out += m_outStride) {
        const unsigned char* line = in + Nearest(row, m_rows, m_inHeight) * m_inStride;
        unsigned char* pixel = out;
        for (const PairSource& source : m_pairs) {
            pixel[0] = line[source.y0];
            pixel[1] = line[source.chroma + 1];
            pixel[2] = line[source.y1];
            pixel[3] = line[source.chroma + 3];
            pixel += kPairBytes;
        }
    }
}

void FillYuyvBlack(unsigned char* yuyv, std::size_t bytes) {
    for (std::size_t i = 0; i < bytes; ++i)
        yuyv[i] = i % 2 == 0 ? 0 : 0x80;
}

}  // namespace frames
