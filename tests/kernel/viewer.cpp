#include "tests/kernel/viewer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include "board/block.h"
#include "board/lcd_compositor.h"
#include "tests/kernel/guest/camera_picture.h"

namespace kernel_test {
namespace {

constexpr int kWidth = board::kScreenWidth;
constexpr int kHeight = board::kScreenHeight;
constexpr std::uint8_t kNoChroma = 128;

std::uint32_t Clamp(double value) {
    return static_cast<std::uint32_t>(std::clamp(value, 0.0, 255.0) + 0.5);
}

std::uint32_t Colour(int y, int u, int v) {
    const std::uint32_t red = Clamp(y + 1.402 * (v - 128));
    const std::uint32_t green = Clamp(y - 0.344136 * (u - 128) - 0.714136 * (v - 128));
    const std::uint32_t blue = Clamp(y + 1.772 * (u - 128));
    return 0xFF000000 | red << 16U | green << 8U | blue;
}

int Difference(std::uint32_t a, std::uint32_t b) {
    int sum = 0;
    for (const unsigned shift : {0U, 8U, 16U})
        sum += std::abs(static_cast<int>(a >> shift & 255U) - static_cast<int>(b >> shift & 255U));
    return sum;
}

}  // namespace

unsigned Pipeline::Get(const std::string& name) const {
    return settings.at(name);
}

std::uint32_t Pipeline::FrameNumber() const {
    return NumberIn(picture.data(), static_cast<int>(Get("width")), static_cast<int>(Get("height")), kHeight);
}

Pipeline ReadPipeline(VirtualMachine& machine) {
    const std::string all =
        machine.Output("cat /sys/kernel/debug/varno_board/pxp /sys/kernel/debug/varno_board/picture");
    Pipeline pipeline;
    std::size_t at = 0;
    while (pipeline.settings.count("pictures") == 0) {  // the last line
        const std::size_t end = all.find('\n', at);
        if (end == std::string::npos) throw std::runtime_error("the pipeline's settings are cut");
        std::istringstream line(all.substr(at, end - at));
        std::string name;
        unsigned value = 0;
        line >> name >> value;
        pipeline.settings[name] = value;
        at = end + 1;
    }
    pipeline.picture.assign(all.begin() + static_cast<std::ptrdiff_t>(at), all.end());
    const std::size_t size = std::size_t{pipeline.Get("width")} * pipeline.Get("height") * 2;
    if (pipeline.picture.size() < size) throw std::runtime_error("the pipeline's picture is cut");
    pipeline.picture.resize(size);
    return pipeline;
}

std::vector<std::uint8_t> ExpectedPicture(std::uint32_t number, int width, int height, bool coloured) {
    const std::vector<std::uint8_t> camera = CameraPicture(kWidth, kHeight, number, coloured);
    const auto pixels = static_cast<std::size_t>(width * height);
    std::vector<std::uint8_t> planes(pixels * 2);
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* from = camera.data() + (y + (kHeight - height) / 2) * kWidth * 2;
        for (int x = 0; x < width; ++x) {
            const auto at = static_cast<std::size_t>(y * width + x);
            planes[at] = from[2 * x];
            const std::size_t plane = x % 2 == 0 ? pixels : pixels + pixels / 2;
            planes[plane + at / 2] = static_cast<std::uint8_t>(from[2 * x + 1] - kNoChroma);
        }
    }
    return planes;
}

std::vector<std::uint32_t> Compose(const ScreenPicture& interface, const Pipeline& pipeline) {
    const board::SharedBlock block;
    if (interface.size() != std::size(block->ui)) throw std::runtime_error("a screen of another size");
    std::copy(interface.begin(), interface.end(), block->ui);
    block->ui_sequence = 1;
    std::copy(pipeline.picture.begin(), pipeline.picture.end(), block->video);
    block->video_length = static_cast<std::uint32_t>(pipeline.picture.size());
    block->video_sequence = 1;
    board::PixelPipelineState& state = block->pxp;
    state.streaming = pipeline.Get("streaming") != 0;
    state.output = pipeline.Get("output");
    state.source_width = pipeline.Get("width");
    state.source_height = pipeline.Get("height");
    state.rotation = pipeline.Get("rotation");
    state.hflip = pipeline.Get("hflip") != 0;
    state.vflip = pipeline.Get("vflip") != 0;
    state.overlay = pipeline.Get("overlay") != 0;
    state.chroma_key_enabled = pipeline.Get("keyed") != 0;
    state.chroma_key = pipeline.Get("chroma_key");
    state.crop = {static_cast<int>(pipeline.Get("crop_left")), static_cast<int>(pipeline.Get("crop_top")),
                  static_cast<int>(pipeline.Get("crop_width")), static_cast<int>(pipeline.Get("crop_height"))};
    board::LcdCompositor compositor;
    return compositor.Compose(*block);
}

std::vector<std::uint32_t> ColoursOf(const std::vector<std::uint8_t>& yuyv) {
    std::vector<std::uint32_t> colours;
    for (std::size_t i = 0; i + 4 <= yuyv.size(); i += 4)
        for (const std::size_t luma : {i, i + 2})
            colours.push_back(Colour(yuyv[luma], yuyv[i + 1], yuyv[i + 3]));
    return colours;
}

std::vector<std::uint32_t> SeenFromCamera(std::uint32_t number, int width, int height, bool hflip, bool vflip,
                                          bool half_turn, bool coloured) {
    const auto camera = ColoursOf(CameraPicture(kWidth, kHeight, number, coloured));
    std::vector<std::uint32_t> seen;
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const int from_x = (hflip != half_turn ? kWidth - 1 - x : x) * width / kWidth;
            const int from_y = (vflip != half_turn ? kHeight - 1 - y : y) * height / kHeight + (kHeight - height) / 2;
            seen.push_back(camera[static_cast<std::size_t>(from_y * kWidth + from_x)]);
        }
    }
    return seen;
}

double MeanDifference(const ScreenPicture& interface, const std::vector<std::uint32_t>& a,
                      const std::vector<std::uint32_t>& b) {
    double sum = 0;
    double count = 0;
    for (std::size_t i = 0; i < interface.size(); ++i) {
        if (interface[i] != board::kDefaultChromaKey) continue;
        sum += Difference(a[i], b[i]);
        count += 3;
    }
    if (count < 1.5 * static_cast<double>(interface.size())) throw std::runtime_error("half of the video is covered");
    return sum / count;
}

double MeanDifference(const std::vector<std::uint32_t>& a, const std::vector<std::uint32_t>& b) {
    if (a.size() != b.size() || a.empty()) throw std::runtime_error("pictures of different sizes");
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        sum += Difference(a[i], b[i]);
    return sum / static_cast<double>(3 * a.size());
}

int CountPixels(const ScreenPicture& interface, std::uint32_t colour) {
    return static_cast<int>(std::count(interface.begin(), interface.end(), colour));
}

bool ShowsReference(const ScreenPicture& interface, const std::string& name) {
    constexpr double kSameScreen = 1.0;
    const std::string pixels = OutputOf("ffmpeg -v error -i '" + g_files.references + "/" + name +
                                        ".png' -f rawvideo -pix_fmt bgra - </dev/null");
    std::vector<std::uint32_t> reference(pixels.size() / sizeof(std::uint32_t));
    std::memcpy(reference.data(), pixels.data(), reference.size() * sizeof(std::uint32_t));
    return MeanDifference(interface, reference) < kSameScreen;
}

bool HidesVideo(const ScreenPicture& interface) {
    return CountPixels(interface, board::kDefaultChromaKey) < kWidth * kHeight / 100;
}

}  // namespace kernel_test
