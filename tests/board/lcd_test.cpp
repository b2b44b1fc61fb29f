// The LCD shows what the hardware would.
#include "board/block_screen.h"
#include "board/pixel_pipeline_device.h"
#include "tests/board/board_test.h"

namespace board_test {

class LcdTest : public BoardTest {
  protected:
    LcdTest() {
        FillUi(0, 0, 320, 240, 0x010101);
        buffer = pxp.Start(V4L2_PIX_FMT_YUV422P);
    }

    void FillUi(int x, int y, int width, int height, std::uint32_t color) {
        std::vector<std::uint32_t> pixels(320 * 240, color);
        screen.Update(pixels.data(), 320, x, y, width, height);
    }
    void Lay(std::uint32_t flags, bool overlay = true) {
        v4l2_framebuffer framebuffer{};
        framebuffer.flags = flags;
        Set(board::kCidOverlayEnable, overlay);
        EXPECT_EQ(pxp.Call(VIDIOC_S_FBUF, &framebuffer), 0);
    }
    void Set(unsigned control, int value) { EXPECT_EQ(pxp.Control(control, value), 0); }
    void SetKey(std::uint32_t color) {
        v4l2_format format{};
        format.type = V4L2_BUF_TYPE_VIDEO_OUTPUT_OVERLAY;
        EXPECT_EQ(pxp.Call(VIDIOC_G_FMT, &format), 0);
        EXPECT_EQ(std::tuple(format.fmt.win.w.width, format.fmt.win.w.height), std::tuple(320, 240));
        format.fmt.win.chromakey = color;
        EXPECT_EQ(pxp.Call(VIDIOC_S_FMT, &format), 0);
    }
    // The rectangle that the pipeline really takes.
    std::array<int, 4> Crop(v4l2_rect rectangle) {
        v4l2_crop crop{V4L2_BUF_TYPE_VIDEO_OUTPUT_OVERLAY, rectangle};
        EXPECT_EQ(pxp.Call(VIDIOC_S_CROP, &crop) + pxp.Call(VIDIOC_G_CROP, &crop), 0);
        return {crop.c.left, crop.c.top, static_cast<int>(crop.c.width), static_cast<int>(crop.c.height)};
    }
    int SetOutput(int output) { return pxp.Call(VIDIOC_S_OUTPUT, &output); }
    // Shows a picture of the current format's size; brightness and signed chroma by position.
    void Show(int width, int height, const std::function<std::array<int, 3>(int x, int y)>& paint) {
        ASSERT_EQ(pxp.Buffer(VIDIOC_DQBUF), 0);
        for (int i = 0; i < width * height; ++i) {
            const auto [y, u, v] = paint(i % width, i / width);
            buffer[i] = static_cast<unsigned char>(y);
            buffer[width * height + i / 2] = static_cast<unsigned char>(u);
            buffer[width * height * 3 / 2 + i / 2] = static_cast<unsigned char>(v);
        }
        ASSERT_EQ(pxp.Buffer(VIDIOC_QBUF), 0);
    }
    std::uint32_t At(int x, int y) { return board.Lcd()[y * 320 + x] & 0xFFFFFF; }

    board::BlockScreen screen{board.Block()};
    VideoNode pxp{board::kPixelPipelineNode, V4L2_BUF_TYPE_VIDEO_OUTPUT, O_RDWR};
    unsigned char* buffer = nullptr;
};

TEST_F(LcdTest, TheVideoShowsThroughTheUserInterface) {
    ASSERT_NE(buffer, nullptr);
    // Grey and red above, blue and green below.
    Show(320, 240, [](int x, int y) {
        constexpr std::array<int, 3> kColors[] = {{128, 0, 0}, {76, -43, 127}, {29, 127, -21}, {150, -84, -107}};
        return kColors[(x >= 160 ? 1 : 0) + (y >= 120 ? 2 : 0)];
    });
    constexpr std::uint32_t S = 0x808080, R = 0xFE0000, B = 0x0000FE, G = 0x00FF01;
    // What the user interface draws, what it draws as its key, and nothing.
    constexpr std::uint32_t U = 0xFFC800, K = 0x010101, N = 0;
    constexpr std::uint32_t kOverlay = V4L2_FBUF_FLAG_OVERLAY, kKeyed = V4L2_FBUF_FLAG_CHROMAKEY;
    // One change after the other, and the colours in the middle of the quarters, row by row.
    const std::tuple<const char*, std::function<void()>, std::array<std::uint32_t, 4>> steps[] = {
        {"video", [&] { Lay(kOverlay | kKeyed); }, {S, R, B, G}},
        {"turned", [&] { Set(board::kCidRotation, 90); }, {B, S, G, R}},
        {"turned twice", [&] { Set(board::kCidRotation, 180); }, {G, B, R, S}},
        {"turned thrice", [&] { Set(board::kCidRotation, 270); }, {R, G, S, B}},
        {"and mirrored", [&] { Set(V4L2_CID_HFLIP, 1); }, {G, R, B, S}},
        {"upright, but mirrored", [&] { Set(board::kCidRotation, 0); }, {R, S, G, B}},
        {"and upside down", [&] { Set(V4L2_CID_VFLIP, 1); }, {G, B, R, S}},
        {"upside down", [&] { Set(V4L2_CID_HFLIP, 0); }, {B, G, S, R}},
        {"upright", [&] { Set(V4L2_CID_VFLIP, 0); }, {S, R, B, G}},
        {"drawn over, beyond the edges, too", [&] { FillUi(160, -8, 170, 128, U); }, {S, U, B, G}},
        {"the user interface alone", [&] { EXPECT_EQ(SetOutput(1) + SetOutput(2), EINVAL); }, {K, U, K, K}},
        {"both again", [&] { EXPECT_EQ(SetOutput(0), 0); }, {S, U, B, G}},
        {"another key", [&] { SetKey(U); }, {K, R, K, K}},
        {"the usual key", [&] { SetKey(K); }, {S, U, B, G}},
        {"no key", [&] { Lay(kOverlay); }, {K, U, K, K}},
        {"no overlay", [&] { Lay(kKeyed); }, {S, R, B, G}},
        {"overlay disabled", [&] { Lay(kOverlay | kKeyed, false); }, {S, R, B, G}},
        {"overlay enabled", [&] { Lay(kOverlay | kKeyed); }, {S, U, B, G}},
        {"the last picture stays", [&] { EXPECT_EQ(pxp.Stream(false), 0); }, {S, U, B, G}},
        {"a part of the screen",
         [&] {
             EXPECT_EQ(Crop({160, 120, 160, 120})[0], 160);
         },
         {N, U, N, S}},
        {"powered off", [&] { board.Set(&board::Block::powered_off, true); }, {N, N, N, N}}};
    for (const auto& [what, change, quarters] : steps) {
        change();
        EXPECT_EQ((std::array{At(80, 60), At(240, 60), At(80, 180), At(239, 179)}), quarters) << what;
    }
}

TEST_F(LcdTest, ZoomScalesTheSmallerFormatOntoTheCropRectangle) {
    ASSERT_EQ(pxp.Format(VIDIOC_S_FMT, 129, 96, V4L2_PIX_FMT_YUV422P), 0) << "while streaming";
    Show(128, 96, [](int x, int y) { return std::array{x + y / 2, 0, 0}; });
    EXPECT_EQ((std::array{At(0, 0), At(319, 0), At(160, 120), At(319, 239)}),
              (std::array{0U, 0x7F7F7FU, 0x575757U, 0xAEAEAEU}));
    EXPECT_EQ(Crop({100, 50, 64, 48}), (std::array{100, 50, 64, 48}));
    EXPECT_EQ((std::array{At(99, 50), At(163, 97), At(164, 97)}), (std::array{0U, 0xADADADU, 0U}));
    EXPECT_EQ(Crop({-1, 400, 0, 1000}), (std::array{0, 239, 1, 1})) << "inside the screen";
    EXPECT_EQ(pxp.Format(VIDIOC_S_FMT, 640, 480, V4L2_PIX_FMT_YUV422P), EBUSY) << "larger than the buffers";
    EXPECT_EQ(pxp.Format(VIDIOC_S_FMT, 320, 240, V4L2_PIX_FMT_YUYV) + pxp.Format(VIDIOC_G_FMT), EINVAL);
    EXPECT_EQ(pxp.picture, (std::array{128U, 96U, V4L2_PIX_FMT_YUV422P, 24576U})) << "columns go in pairs";
}

TEST_F(LcdTest, OneBufferGoesRound) {
    board::LcdCompositor compositor;
    for (int round = 0; round < 3; ++round) {
        EXPECT_NE(compositor.ComposeIfChanged(board.Block()), nullptr);
        EXPECT_EQ(compositor.ComposeIfChanged(board.Block()), nullptr);
        EXPECT_EQ(kernel.WaitWritable(pxp.fd, std::chrono::seconds(1)), 1);
        EXPECT_EQ(pxp.Wait(), 0) << "nothing to read from an output";
        const Errors answers = {pxp.Buffer(VIDIOC_DQBUF), pxp.Buffer(VIDIOC_DQBUF), pxp.Buffer(VIDIOC_QBUF)};
        EXPECT_EQ(answers, (Errors{0, EINVAL, 0})) << "nothing is queued: waiting would be for ever";
    }
}

}  // namespace board_test
