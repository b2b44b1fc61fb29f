#include "board/lcd_compositor.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <tuple>

namespace board {
namespace {

constexpr std::uint32_t kOpaque = 0xFF000000;

// ITU-R BT.601, full range as in JFIF; in 1/1024.
constexpr int kRedFromV = 1436;
constexpr int kGreenFromU = -352;
constexpr int kGreenFromV = -731;
constexpr int kBlueFromU = 1815;

bool Same(const PixelPipelineState& a, const PixelPipelineState& b) {
    const auto tie = [](const PixelPipelineState& s) {
        return std::tie(s.streaming, s.output, s.source_width, s.source_height, s.rotation, s.hflip, s.vflip,
                        s.crop.left, s.crop.top, s.crop.width, s.crop.height, s.overlay, s.chroma_key_enabled,
                        s.chroma_key);
    };
    return tie(a) == tie(b);
}

std::uint32_t ToRgb(int y, int u, int v) {
    const auto clamp = [](int value) { return static_cast<std::uint32_t>(std::clamp(value >> 10, 0, 255)); };
    const int luma = y * 1024 + 512;
    return kOpaque | clamp(luma + kRedFromV * v) << 16U | clamp(luma + kGreenFromU * u + kGreenFromV * v) << 8U |
           clamp(luma + kBlueFromU * u);
}

// One step of a bilinear walk: two neighbours, and the second one's weight in 1/256.
struct Tap {
    int first, second, weight;
};

// Where the middle of pixel `at` of `length` lies among `source` pixels.
Tap MakeTap(int at, int length, int source) {
    const std::int64_t position = (std::int64_t{2 * at + 1} * source * 128) / length - 128;
    const auto clamped = static_cast<int>(std::clamp<std::int64_t>(position, 0, std::int64_t{source - 1} * 256));
    const int first = clamped / 256;
    return {first, std::min(first + 1, source - 1), clamped % 256};
}

template <typename Sample>
int Bilinear(const Sample* plane, int stride, const Tap& x, const Tap& y) {
    const Sample* upper = plane + y.first * stride;
    const Sample* lower = plane + y.second * stride;
    const int top = upper[x.first] * (256 - x.weight) + upper[x.second] * x.weight;
    const int bottom = lower[x.first] * (256 - x.weight) + lower[x.second] * x.weight;
    return (top * (256 - y.weight) + bottom * y.weight) / 65536;
}

}  // namespace

struct LcdCompositor::Input {
    bool valid = false;  // false: nothing was read yet
    bool powered_off = false;
    PixelPipelineState pxp{};
    std::uint32_t ui_sequence = 0, video_sequence = 0, video_length = 0;
    std::array<std::uint32_t, kScreenWidth * kScreenHeight> ui{};
    std::array<std::uint8_t, kVideoBytes> video{};

    // Is there a video to be seen, and is the queued picture large enough for the current format?
    bool ShowsVideo() const {
        const std::uint64_t needed = std::uint64_t{pxp.source_width} * pxp.source_height * 2;
        return pxp.output == 0 && video_sequence > 0 && needed > 0 && needed <= video_length;
    }
};

LcdCompositor::LcdCompositor() : input_(std::make_unique<Input>()), picture_(kScreenWidth * kScreenHeight, kOpaque) {}

LcdCompositor::~LcdCompositor() = default;

bool LcdCompositor::Read(Block& block) {
    const BlockLock lock(block);
    Input& in = *input_;
    const bool same = in.valid && in.powered_off == block.powered_off && in.ui_sequence == block.ui_sequence &&
                      in.video_sequence == block.video_sequence && Same(in.pxp, block.pxp);
    if (same) return false;
    in.valid = true;
    in.powered_off = block.powered_off;
    in.pxp = block.pxp;
    in.ui_sequence = block.ui_sequence;
    in.video_sequence = block.video_sequence;
    in.video_length = std::min<std::uint32_t>(block.video_length, kVideoBytes);
    std::memcpy(in.ui.data(), block.ui, sizeof block.ui);
    std::memcpy(in.video.data(), block.video, in.video_length);
    return true;
}

const LcdPicture& LcdCompositor::Compose(Block& block) {
    if (Read(block)) Draw();
    return picture_;
}

const LcdPicture* LcdCompositor::ComposeIfChanged(Block& block) {
    if (!Read(block)) return nullptr;
    Draw();
    return &picture_;
}

void LcdCompositor::Draw() {
    const Input& in = *input_;
    std::fill(picture_.begin(), picture_.end(), kOpaque);
    if (in.powered_off) return;
    const bool video = in.ShowsVideo();
    if (video) DrawVideo();
    if (video && !in.pxp.overlay) return;  // the user interface is not laid over it
    const bool see_through = video && in.pxp.chroma_key_enabled;
    for (std::size_t i = 0; i < picture_.size(); ++i) {
        const std::uint32_t color = in.ui[i] & 0xFFFFFF;
        if (!see_through || color != in.pxp.chroma_key) picture_[i] = kOpaque | color;
    }
}

void LcdCompositor::DrawVideo() {
    const Input& in = *input_;
    const PixelPipelineState& pxp = in.pxp;
    const int width = static_cast<int>(pxp.source_width);
    const int height = static_cast<int>(pxp.source_height);
    const std::uint8_t* luma = in.video.data();
    // Chroma comes as signed bytes, each plane half as wide as the picture.
    const auto* u_plane =
        reinterpret_cast<const std::int8_t*>(luma + std::size_t{pxp.source_width} * pxp.source_height);
    const auto* v_plane = u_plane + std::size_t{pxp.source_width} * pxp.source_height / 2;

    const bool quarter_turn = pxp.rotation == 90 || pxp.rotation == 270;
    const int across = quarter_turn ? pxp.crop.height : pxp.crop.width;
    const int down = quarter_turn ? pxp.crop.width : pxp.crop.height;
    std::vector<Tap> taps_x, taps_y, taps_chroma;
    for (int x = 0; x < across; ++x) {
        taps_x.push_back(MakeTap(x, across, width));
        taps_chroma.push_back(MakeTap(x, across, width / 2));
    }
    for (int y = 0; y < down; ++y)
        taps_y.push_back(MakeTap(y, down, height));

    for (int row = 0; row < pxp.crop.height; ++row) {
        std::uint32_t* line = &picture_[static_cast<std::size_t>(pxp.crop.top + row) * kScreenWidth + pxp.crop.left];
        for (int column = 0; column < pxp.crop.width; ++column) {
            // From the screen back to the source: undo the flips, then the turn.
            const int shown_x = pxp.hflip ? pxp.crop.width - 1 - column : column;
            const int shown_y = pxp.vflip ? pxp.crop.height - 1 - row : row;
            int x = shown_x;
            int y = shown_y;
            switch (pxp.rotation) {
                case 90:
                    x = shown_y;
                    y = down - 1 - shown_x;
                    break;
                case 180:
                    x = across - 1 - shown_x;
                    y = down - 1 - shown_y;
                    break;
                case 270:
                    x = across - 1 - shown_y;
                    y = shown_x;
                    break;
                default:
                    break;
            }
            line[column] = ToRgb(Bilinear(luma, width, taps_x[x], taps_y[y]),
                                 Bilinear(u_plane, width / 2, taps_chroma[x], taps_y[y]),
                                 Bilinear(v_plane, width / 2, taps_chroma[x], taps_y[y]));
        }
    }
}

}  // namespace board
