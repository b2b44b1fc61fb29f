// The LCD shows what the hardware would.
#include <gtest/gtest.h>

#include "board/block_keys.h"
#include "board/block_screen.h"
#include "board/pixel_pipeline_device.h"
#include "tests/board/video_node.h"
#include "tests/support/virtual_board.h"

namespace {

using board_test::VideoNode;

constexpr std::uint32_t kBlack = 0xFF000000;
constexpr std::uint32_t kKey = 0xFF010101;

class LcdTest : public testing::Test {
  protected:
    LcdTest() : pxp(board.Kernel(), board::kPixelPipelineNode, V4L2_BUF_TYPE_VIDEO_OUTPUT, O_RDWR) {
        FillUi(0, 0, 320, 240, kKey);
        buffer = pxp.Start(320, 240, V4L2_PIX_FMT_YUV422P);
        v4l2_framebuffer framebuffer{};
        framebuffer.flags = V4L2_FBUF_FLAG_OVERLAY | V4L2_FBUF_FLAG_CHROMAKEY;
        EXPECT_EQ(pxp.Call(VIDIOC_S_FBUF, &framebuffer), 0);
        EXPECT_EQ(pxp.Control(board::kCidOverlayEnable, 1), 0);
        SelectOutput(0);
    }

    void FillUi(int x, int y, int width, int height, std::uint32_t color) {
        std::vector<std::uint32_t> pixels(320 * 240, color);
        screen.Update(pixels.data(), 320, x, y, width, height);
    }
    void SelectOutput(int output) { EXPECT_EQ(pxp.Call(VIDIOC_S_OUTPUT, &output), 0); }
    // Shows a picture of the current format's size; brightness and signed chroma by position.
    template <typename Paint>
    void Show(int width, int height, Paint paint) {
        ASSERT_EQ(pxp.Buffer(VIDIOC_DQBUF), 0);
        unsigned char* u = buffer + width * height;
        unsigned char* v = u + width * height / 2;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const std::array<int, 3> yuv = paint(x, y);
                buffer[y * width + x] = static_cast<unsigned char>(yuv[0]);
                u[(y * width + x) / 2] = static_cast<unsigned char>(yuv[1]);
                v[(y * width + x) / 2] = static_cast<unsigned char>(yuv[2]);
            }
        }
        ASSERT_EQ(pxp.Buffer(VIDIOC_QBUF), 0);
    }
    // Four quarters of different brightness: 40, 80 above, 120, 160 below.
    void ShowQuarters() {
        Show(320, 240, [](int x, int y) {
            return std::array<int, 3>{40 + (x >= 160 ? 40 : 0) + (y >= 120 ? 80 : 0), 0, 0};
        });
    }
    std::uint32_t At(int x, int y) { return board.Lcd()[y * 320 + x]; }
    // Brightnesses in the middle of the quarters, row by row.
    std::array<int, 4> Quarters() {
        const auto luma = [this](int x, int y) { return static_cast<int>(At(x, y) & 255); };
        return {luma(80, 60), luma(240, 60), luma(80, 180), luma(240, 180)};
    }

    support::VirtualBoard board;
    board::BlockScreen screen{board.Block()};
    VideoNode pxp;
    unsigned char* buffer = nullptr;
};

TEST_F(LcdTest, VideoShowsThroughTheKeyAtOutputZeroOnly) {
    ASSERT_NE(buffer, nullptr);
    FillUi(10, 10, 20, 20, 0xFFFF0000);
    Show(320, 240, [](int, int) { return std::array<int, 3>{128, 0, 0}; });
    EXPECT_EQ(At(0, 0), 0xFF808080);
    EXPECT_EQ(At(9, 10), 0xFF808080);
    EXPECT_EQ(At(10, 10), 0xFFFF0000);
    EXPECT_EQ(At(29, 29), 0xFFFF0000);
    EXPECT_EQ(At(30, 29), 0xFF808080);
    SelectOutput(1);
    EXPECT_EQ(At(0, 0), kKey) << "the user interface alone";
    SelectOutput(0);
    EXPECT_EQ(pxp.Stream(false), 0);
    EXPECT_EQ(At(0, 0), 0xFF808080) << "the last picture stays";
    EXPECT_EQ(pxp.Control(board::kCidOverlayEnable, 0), 0);
    EXPECT_EQ(At(10, 10), 0xFF808080) << "without the overlay nothing lies over the video";
    board.Set(&board::Block::powered_off, true);
    EXPECT_EQ(At(10, 10), kBlack);
}

TEST_F(LcdTest, SignedChromaBecomesColour) {
    const struct {
        int y, u, v;
        std::uint32_t color;
    } cases[] = {{128, 0, 0, 0xFF808080},    {0, 0, 0, kBlack},          {255, 0, 0, 0xFFFFFFFF},
                 {76, -43, 127, 0xFFFE0000}, {29, 127, -21, 0xFF0000FE}, {150, -84, -107, 0xFF00FF01}};
    for (const auto& c : cases) {
        Show(320, 240, [&](int, int) { return std::array<int, 3>{c.y, c.u, c.v}; });
        EXPECT_EQ(At(160, 120), c.color) << std::hex << At(160, 120);
    }
}

TEST_F(LcdTest, FlipsAndTurns) {
    ShowQuarters();
    const struct {
        int rotation, hflip, vflip;
        std::array<int, 4> quarters;
    } cases[] = {{0, 0, 0, {40, 80, 120, 160}},   {0, 1, 0, {80, 40, 160, 120}},  {0, 0, 1, {120, 160, 40, 80}},
                 {180, 0, 0, {160, 120, 80, 40}}, {90, 0, 0, {120, 40, 160, 80}}, {270, 0, 0, {80, 160, 40, 120}}};
    for (const auto& c : cases) {
        EXPECT_EQ(pxp.Control(board::kCidRotation, c.rotation), 0);
        EXPECT_EQ(pxp.Control(V4L2_CID_HFLIP, c.hflip), 0);
        EXPECT_EQ(pxp.Control(V4L2_CID_VFLIP, c.vflip), 0);
        EXPECT_EQ(Quarters(), c.quarters) << c.rotation << c.hflip << c.vflip;
    }
    EXPECT_EQ(pxp.Control(board::kCidRotation, 45), ERANGE);
}

TEST_F(LcdTest, ZoomScalesTheSmallerFormatOntoTheCropRectangle) {
    ASSERT_EQ(pxp.SetFormat(128, 96, V4L2_PIX_FMT_YUV422P), 0) << "while streaming";
    Show(128, 96, [](int x, int y) { return std::array<int, 3>{x + y / 2, 0, 0}; });
    EXPECT_EQ(At(0, 0) & 255, 0U);
    EXPECT_EQ(At(319, 0) & 255, 127U);
    EXPECT_EQ(At(319, 239) & 255, 174U);
    EXPECT_NEAR(static_cast<int>(At(160, 120) & 255), 88, 1) << "the middle stays the middle";
    v4l2_crop crop{};
    crop.type = V4L2_BUF_TYPE_VIDEO_OUTPUT_OVERLAY;
    crop.c = {100, 50, 64, 48};
    EXPECT_EQ(pxp.Call(VIDIOC_S_CROP, &crop), 0);
    EXPECT_EQ(At(99, 50), kBlack);
    EXPECT_EQ(At(163, 97) & 255, 173U);
    EXPECT_EQ(At(164, 97), kBlack);
    EXPECT_EQ(pxp.SetFormat(640, 480, V4L2_PIX_FMT_YUV422P), EBUSY) << "larger than the buffers";
    EXPECT_EQ(pxp.SetFormat(320, 240, V4L2_PIX_FMT_YUYV), EINVAL);
}

TEST_F(LcdTest, OverlayWindowIsTakenAsGivenInsideTheScreen) {
    v4l2_format format{};
    format.type = V4L2_BUF_TYPE_VIDEO_OUTPUT_OVERLAY;
    ASSERT_EQ(pxp.Call(VIDIOC_G_FMT, &format), 0);
    EXPECT_EQ(format.fmt.win.chromakey, 0x010101U);
    format.fmt.win.w = {0, 0, 128, 95};
    format.fmt.win.chromakey = 0x00FF00;
    ASSERT_EQ(pxp.Call(VIDIOC_S_FMT, &format), 0);
    EXPECT_EQ(format.fmt.win.w.height, 95U);
    Show(320, 240, [](int, int) { return std::array<int, 3>{128, 0, 0}; });
    EXPECT_EQ(At(0, 0), kKey) << "that is another key's colour now";
    FillUi(0, 0, 320, 240, 0xFF00FF00);
    EXPECT_EQ(At(319, 239), 0xFF808080);
    format.fmt.win.w = {400, -5, 1000, 1000};
    ASSERT_EQ(pxp.Call(VIDIOC_S_FMT, &format), 0);
    EXPECT_LE(format.fmt.win.w.left + static_cast<int>(format.fmt.win.w.width), 320);
}

TEST_F(LcdTest, OneBufferGoesRound) {
    EXPECT_EQ(pxp.Buffer(VIDIOC_DQBUF), 0);
    EXPECT_EQ(pxp.Buffer(VIDIOC_DQBUF), EINVAL) << "nothing is queued, waiting would be for ever";
    EXPECT_EQ(pxp.Buffer(VIDIOC_QBUF), 0);
    EXPECT_EQ(pxp.Wait(1000), 0) << "nothing to read from an output";
    EXPECT_EQ(board.Kernel().WaitWritable(pxp.Fd(), std::chrono::seconds(1)), 1);
    board::LcdCompositor compositor;
    EXPECT_NE(compositor.ComposeIfChanged(board.Block()), nullptr);
    EXPECT_EQ(compositor.ComposeIfChanged(board.Block()), nullptr);
    EXPECT_EQ(pxp.Buffer(VIDIOC_DQBUF), 0);
    EXPECT_EQ(pxp.Buffer(VIDIOC_QBUF), 0);
    EXPECT_NE(compositor.ComposeIfChanged(board.Block()), nullptr);
}

TEST(BlockKeysTest, SixteenKeysWait) {
    board::SharedBlock block;
    board::BlockKeys keys(*block);
    EXPECT_FALSE(keys.KeyWaits());
    for (int round = 0; round < 3; ++round) {
        for (int i = 0; i < 16; ++i)
            EXPECT_TRUE(board::PushKey(*block, 37 + i, 2));
        EXPECT_FALSE(board::PushKey(*block, 1, 0));
        mwin::KeyEvent event{};
        for (int i = 0; i < 16; ++i) {
            ASSERT_TRUE(keys.Read(event));
            EXPECT_EQ(event.virtual_key, 37 + i);
            EXPECT_EQ(event.kind, mwin::KeyEvent::Kind::Release);
        }
        EXPECT_FALSE(keys.Read(event));
    }
}

}  // namespace
