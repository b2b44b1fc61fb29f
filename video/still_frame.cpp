#include "video/still_frame.h"

#include <cstring>
#include <new>

namespace {

constexpr std::size_t kPairBytes = 4;                                 // Y0 U Y1 V
constexpr unsigned char kBlackPair[kPairBytes] = {16, 128, 16, 128};  // ITU-R BT.601

}  // namespace

std::unique_ptr<unsigned char[]> MakeStillFrame(const unsigned char* frame, std::size_t len, unsigned width,
                                                unsigned height) {
    const std::size_t pairs = width / 2;  // of one line
    if (pairs == 0 || height == 0) return nullptr;
    std::unique_ptr<unsigned char[]> still(new (std::nothrow) unsigned char[kStillBytes]);
    if (!still) return nullptr;

    unsigned char* out = still.get();
    for (std::size_t y = 0; y < kStillHeight; ++y) {
        const std::uint64_t line = std::uint64_t{y} * height / kStillHeight * pairs;
        for (std::size_t x = 0; x < kStillWidth / 2; ++x, out += kPairBytes) {
            const std::uint64_t at = (line + std::uint64_t{x} * pairs / (kStillWidth / 2)) * kPairBytes;
            const bool there = at + kPairBytes <= len;
            std::memcpy(out, there ? frame + at : kBlackPair, kPairBytes);
        }
    }
    return still;
}
