#include "board/scene_source.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <mutex>
#include <utility>

namespace board {
namespace {

constexpr int kTextureSize = 256;
constexpr double kPi = 3.14159265358979323846;

// The number's blocks, in 1/320 of the picture's width: two that tell light from dark, 16 bits, highest first, and
// their parity.
constexpr int kBlock = 2;
constexpr int kBlockRow = 236;
constexpr int kBlocks = 19;
constexpr std::uint8_t kDark = 16;
constexpr std::uint8_t kLight = 96;
constexpr int kLeastContrast = 24;

// Smooth noise that repeats: one value per cell of `cell` pixels, blended between cells.
class Noise {
  public:
    explicit Noise(std::uint32_t seed) : state_(seed) {
        for (int& value : values_)
            value = static_cast<int>(Next() % 256);
    }

    int At(int x, int y, int cell) const {
        const int cells = kTextureSize / cell;
        const auto value = [&](int cx, int cy) { return values_[(cy % cells) * kTextureSize + cx % cells]; };
        const int cx = x / cell;
        const int cy = y / cell;
        const int fx = x % cell;
        const int fy = y % cell;
        const int top = value(cx, cy) * (cell - fx) + value(cx + 1, cy) * fx;
        const int bottom = value(cx, cy + 1) * (cell - fx) + value(cx + 1, cy + 1) * fx;
        return (top * (cell - fy) + bottom * fy) / (cell * cell);
    }

  private:
    std::uint32_t Next() {
        state_ = state_ * 1664525U + 1013904223U;
        return state_ >> 8U;
    }

    std::uint32_t state_;
    std::array<int, kTextureSize * kTextureSize> values_{};
};

// Worn metal: patches, fine grain, a weld every half pipe length, scratches along the pipe.
std::vector<std::uint8_t> MakeWall() {
    const auto noise = std::make_unique<Noise>(20240517);
    std::vector<std::uint8_t> wall(kTextureSize * kTextureSize);
    for (int y = 0; y < kTextureSize; ++y) {
        for (int x = 0; x < kTextureSize; ++x) {
            int value = 70 + noise->At(x, y, 32) * 5 / 16 + noise->At(x, y, 8) / 4 + noise->At(x, y, 2) / 8;
            const int weld = std::abs(y % 128 - 64);
            if (weld < 5) value += 70 - weld * 12 + noise->At(x, y, 4) / 6;
            if (weld == 6 || weld == 7) value -= 40;
            if (noise->At(x, y / 16, 1) > 246) value += 45;
            if (noise->At(x, y, 16) < 72) value -= 72 - noise->At(x, y, 16);
            wall[y * kTextureSize + x] = static_cast<std::uint8_t>(std::clamp(value, 0, 255));
        }
    }
    return wall;
}

void DrawBlock(std::uint8_t* frame, int width, int index, bool light) {
    const int scale = width / 320;
    for (int y = kBlockRow * scale; y < (kBlockRow + kBlock) * scale; ++y) {
        for (int x = (1 + index) * kBlock * scale; x < (2 + index) * kBlock * scale; ++x) {
            std::uint8_t* pixel = frame + (static_cast<std::size_t>(y) * width + x) * 2;
            pixel[0] = light ? kLight : kDark;
            pixel[1] = 128;
        }
    }
}

bool Parity(std::uint32_t number) {
    bool odd = false;
    for (; number; number &= number - 1)
        odd = !odd;
    return odd;
}

void DrawFrameNumber(std::uint8_t* frame, int width, std::uint32_t number) {
    DrawBlock(frame, width, 0, true);
    DrawBlock(frame, width, 1, false);
    for (int bit = 0; bit < 16; ++bit)
        DrawBlock(frame, width, 2 + bit, number >> (15 - bit) & 1U);
    DrawBlock(frame, width, kBlocks - 1, Parity(number & 0xFFFF));
}

}  // namespace

SceneSource::SceneSource() {
    static const std::vector<std::uint8_t> wall = MakeWall();
    texture_ = &wall;
}

const std::vector<SceneSource::Ray>& SceneSource::Rays(int width, int height) {
    static std::mutex mutex;
    static std::map<std::pair<int, int>, std::vector<Ray>> rays_of_size;
    const std::lock_guard<std::mutex> guard(mutex);
    std::vector<Ray>& rays = rays_of_size[{width, height}];
    if (rays.empty()) rays = MakeRays(width, height);
    return rays;
}

std::vector<SceneSource::Ray> SceneSource::MakeRays(int width, int height) {
    std::vector<Ray> rays(static_cast<std::size_t>(width) * height);
    const auto length = [](double x, double y) { return std::sqrt(x * x + y * y); };
    const double radius = height * 0.62;  // of the round view; the screen cuts its top and bottom off
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double dx = x + 0.5 - width * 0.5;
            const double dy = y + 0.5 - height * 0.5;
            // The pipe bends a little: its far end lies off the middle.
            const double pipe_x = dx - width * 0.05;
            const double pipe_y = dy + height * 0.04;
            const double off = std::max(length(pipe_x, pipe_y) / height, 0.012);
            const double from_middle = length(dx, dy) / radius;
            const double edge = std::clamp((1.0 - from_middle) * radius / (height * 0.03), 0.0, 1.0);
            // Light falls off with the distance, and the lens darkens towards its rim.
            const double falloff = std::min(1.0, off * off * 9.0);
            const double vignette = 1.0 - 0.45 * from_middle * from_middle * from_middle;
            Ray& ray = rays[static_cast<std::size_t>(y) * width + x];
            ray.around = static_cast<std::uint8_t>((std::atan2(pipe_y, pipe_x) / (2 * kPi) + 0.5) * (kTextureSize - 1));
            ray.depth = static_cast<std::uint16_t>(std::min(22.0 / off, 60000.0));
            ray.light = static_cast<std::uint8_t>(255 * std::clamp(edge * falloff * std::max(vignette, 0.0), 0.0, 1.0));
        }
    }
    return rays;
}

bool SceneSource::Render(const FrameRequest& request, std::uint8_t* frame) {
    const std::vector<Ray>& rays = Rays(request.width, request.height);
    const std::vector<std::uint8_t>& texture = *texture_;
    const auto milliseconds = request.time / std::chrono::milliseconds(1);
    const auto forward = static_cast<unsigned>(milliseconds / 25);
    const double sway = std::sin(static_cast<double>(milliseconds) / 2900.0);
    const auto turn = static_cast<unsigned>(static_cast<int>(sway * 10) + kTextureSize);
    // The LED is dark below its threshold and saturates near the top of its range (18 to 104).
    const unsigned lamp = static_cast<unsigned>(std::clamp((request.lamp - 14) * 3, 4, 264));
    std::array<std::uint8_t, 256> chroma_u{};
    std::array<std::uint8_t, 256> chroma_v{};
    for (int y = 0; y < 256; ++y) {
        // Warm where there is light, neutral in the dark.
        chroma_u[y] = static_cast<std::uint8_t>(128 - y / 9);
        chroma_v[y] = static_cast<std::uint8_t>(128 + y / 14);
    }
    for (std::size_t i = 0; i < rays.size(); i += 2) {
        const Ray& left = rays[i];
        const Ray& right = rays[i + 1];
        const auto shade = [&](const Ray& ray) {
            const unsigned v = (ray.depth + forward) & 255U;
            const unsigned u = (ray.around + turn) & 255U;
            return std::min<unsigned>(16 + (texture[v * kTextureSize + u] * ray.light * lamp >> 16U), 240);
        };
        const unsigned y0 = shade(left);
        const unsigned y1 = shade(right);
        frame[i * 2] = static_cast<std::uint8_t>(y0);
        frame[i * 2 + 1] = chroma_u[y0];
        frame[i * 2 + 2] = static_cast<std::uint8_t>(y1);
        frame[i * 2 + 3] = chroma_v[y0];
    }
    DrawFrameNumber(frame, request.width, request.sequence);
    return true;
}

std::optional<std::uint16_t> ReadFrameNumber(const std::uint8_t* luma, int width, int height, std::size_t pixel_step,
                                             std::size_t row_step) {
    if (width < 160 || height < 120) return std::nullopt;
    // The middle of a block, found in halves of the layout's units.
    const auto block = [&](int index) {
        const auto x = static_cast<std::size_t>((2 * (1 + index) * kBlock + kBlock) * width / 640);
        const auto y = static_cast<std::size_t>((2 * kBlockRow + kBlock) * height / 480);
        return int{luma[y * row_step + x * pixel_step]};
    };
    const int light = block(0);
    const int dark = block(1);
    if (light - dark < kLeastContrast) return std::nullopt;
    const auto bit = [&](int index) { return block(index) > (light + dark) / 2; };
    std::uint32_t number = 0;
    for (int i = 0; i < 16; ++i)
        number = number << 1U | (bit(2 + i) ? 1U : 0U);
    if (bit(kBlocks - 1) != Parity(number)) return std::nullopt;
    return static_cast<std::uint16_t>(number);
}

}  // namespace board
