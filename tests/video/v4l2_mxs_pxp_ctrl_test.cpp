#include "video/v4l2_mxs_pxp_ctrl.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "mwin/windows.h"
#include "tests/support/allocation_count.h"
#include "tests/video/on_board.h"
#include "tests/video/scripted_video.h"
#include "video/frames/pixel_conversion.h"
#include "video/v4l2_uvc_ctrl.h"

namespace {

constexpr unsigned kFrame = 153600;

CV4L2_MXSPXPCTRL& Pxp() {
    return CV4L2_MXSPXPCTRL::GetInstance();
}

// A frame whose pixels all differ from their neighbours.
const char* Frame() {
    static std::vector<char> frame(kFrame);
    for (std::size_t i = 0; i < frame.size(); ++i)
        frame[i] = static_cast<char>(i * 7 + i / 251);
    return frame.data();
}

void Show(unsigned length = kFrame) {
    Pxp().EnqueuePXPBuf(Frame(), length);
}

class Overlay : public OnBoard {
  protected:
    Overlay() {
        m_screen.xvirtres = 300;  // narrower than 320: the overlay follows it
        m_screen.yvirtres = 200;
        scrdev = &m_screen;
    }
    ~Overlay() override {
        Run([] { Pxp().Close(); });
        EXPECT_EQ(board.Kernel().OpenCount(), 0);
        scrdev = nullptr;
    }
    bool Start() {
        bool started = false;
        Run([&] { started = Pxp().Start(320, 240); });
        return started;
    }
    board::PixelPipelineState State() { return board.Get(&board::Block::pxp); }
    std::uint32_t Shown() { return board.Get(&board::Block::video_sequence); }

    MwScreenDevice m_screen{};
};

TEST_F(Overlay, StartsOverTheWholeScreenWithTheInterfaceAlone) {
    const std::string printed = Printed([this] { EXPECT_TRUE(Start()); });
    for (const char* line :
         {"Overlay w=300, h=200\n", "Crop w=300, h=200\n", "Setout id: 1\n", "PXP overlay 0: flag="}) {
        EXPECT_EQ(Count(printed, line), 2) << line << printed;  // configured, closed, configured again
    }
    EXPECT_EQ(Count(printed, "MXS PXP is opened.\n"), 1);
    EXPECT_TRUE(Pxp().IsStreaming());
    EXPECT_EQ(Pxp().GetDispWidth(), 320U);
    EXPECT_EQ(Pxp().GetDispHeight(), 240U);
    const board::PixelPipelineState state = State();
    EXPECT_TRUE(state.streaming && state.overlay && state.chroma_key_enabled);
    EXPECT_EQ(state.crop.width, 300);
    EXPECT_EQ(state.crop.height, 200);
    EXPECT_EQ(state.chroma_key, 0x010101U);
    EXPECT_EQ(Pxp().GetPxPDispID(), 1);
    Pxp().ChangeToPXP(true);
    EXPECT_EQ(Pxp().GetPxPDispID(), 0);
    board.Kernel().FailIoctl(VIDIOC_G_OUTPUT, 1, EIO);
    EXPECT_EQ(Pxp().GetPxPDispID(), -1);
    Pxp().ChangeToPXP(false);
    EXPECT_EQ(State().output, 1U);
}

TEST_F(Overlay, ShowsTheZoomWindowOfAFrame) {
    Show();  // before the start
    EXPECT_EQ(Shown(), 0U);
    ASSERT_TRUE(Start());
    std::uint32_t shown = Shown();  // the empty buffer of the start
    for (const auto& [width, height] : {std::pair{320U, 240U}, {160, 120}, {128, 96}, {320, 240}}) {
        Pxp().ZoomStep(static_cast<unsigned short>(width), static_cast<unsigned short>(height));
        Show();
        std::vector<unsigned char> expected(std::size_t{width} * height * 2);
        YUYVtoYUV422PZoomoutCen(reinterpret_cast<const unsigned char*>(Frame()), expected.data(), 320, 240, width,
                                height);
        EXPECT_EQ(Shown(), ++shown);
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), board.Block().video)) << width;
        EXPECT_EQ(State().source_width, width);
    }
    Show(kFrame - 1);
    Pxp().EnqueuePXPBuf(nullptr, kFrame);
    // A failed dequeue costs this frame only.
    board.Kernel().FailIoctl(VIDIOC_DQBUF, 1, EIO);
    Show();
    EXPECT_EQ(Shown(), shown);
    Show();
    EXPECT_EQ(Shown(), shown + 1);
}

TEST_F(Overlay, ScalesWithinItsLimits) {
    ASSERT_TRUE(Start());
    for (const auto& [width, height, printed] : {std::tuple{8U, 4U, "Zoom to 16x12\n"},
                                                 {1000U, 1000U, "Zoom to 320x240\n"},
                                                 {160U, 120U, "Zoom to 160x120\n"}}) {
        const std::string text = Printed([w = width, h = height] { Pxp().SetScaleTo(w, h); });
        EXPECT_EQ(text.rfind(printed, 0), 0U) << text;
    }
    EXPECT_EQ(State().source_width, 160U);
    EXPECT_THAT(Printed([] { Pxp().SetZoomDefault(); }), testing::HasSubstr("width:320, height:239\n"));
    EXPECT_EQ(State().source_width, 320U);
    Pxp().ZoomStep(160, 120);
    const int before = board.Kernel().IoctlCount(VIDIOC_S_FMT);
    Pxp().ZoomStep(160, 120);
    EXPECT_EQ(board.Kernel().IoctlCount(VIDIOC_S_FMT), before);
    EXPECT_EQ(Pxp().GetDispWidth(), 160U);
}

TEST_F(Overlay, TurnsInFourSteps) {
    EXPECT_FALSE(Pxp().RotateCW());
    ASSERT_TRUE(Start());
    const struct {
        PXPRotateType type;
        unsigned degrees;
        bool hflip, vflip;
    } steps[] = {{PXP_ROTATE_HFlip, 0, true, false},
                 {PXP_ROTATE_180, 180, false, false},
                 {PXP_ROTATE_VFlip, 0, false, true},
                 {PXP_ROTATE_Orig, 0, false, false}};
    for (const auto& step : steps) {
        EXPECT_TRUE(Pxp().RotateCW());
        EXPECT_EQ(Pxp().GetRotate(), step.type);
        EXPECT_EQ(State().rotation, step.degrees) << step.type;
        EXPECT_EQ(State().hflip, step.hflip) << step.type;
        EXPECT_EQ(State().vflip, step.vflip) << step.type;
    }
    for (int step = 0; step < 4; ++step) {  // a refused control counts as turned all the same
        board.Kernel().FailIoctl(VIDIOC_S_CTRL, 1 + step % 3, EIO);
        EXPECT_FALSE(Pxp().RotateCW());
    }
    EXPECT_EQ(Pxp().GetRotate(), PXP_ROTATE_Orig);
    Pxp().Rotate90();
    EXPECT_EQ(State().rotation, 90U);
}

TEST_F(Overlay, SurvivesEveryFault) {
    for (const unsigned long request :
         {VIDIOC_QUERYCAP, VIDIOC_G_FMT, VIDIOC_S_FMT, VIDIOC_G_FBUF, VIDIOC_S_FBUF, VIDIOC_G_CROP, VIDIOC_S_CROP,
          VIDIOC_S_OUTPUT, VIDIOC_ENUMOUTPUT, VIDIOC_REQBUFS, VIDIOC_QUERYBUF, VIDIOC_QBUF, VIDIOC_STREAMON,
          VIDIOC_S_CTRL, VIDIOC_DQBUF}) {
        for (int nth = 1; nth <= 3; ++nth) {
            SCOPED_TRACE(testing::Message() << request << " call " << nth);
            board.Kernel().FailIoctl(request, nth, EIO);
            const bool started = Start();
            EXPECT_EQ(started, Pxp().IsStreaming());
            EXPECT_EQ(started, Pxp().IsOpened());
            Run([&] {
                for (int i = 0; i < 3; ++i)
                    Show();
                Pxp().Close();
            });
            EXPECT_EQ(board.Kernel().OpenCount(), 0);
        }
    }
    EXPECT_TRUE(Start());
}

TEST(OverlayDevice, NeitherWaitsForeverNorWritesBeyondItsBuffer) {
    support::ScriptedVideo device("PxP", 1);
    device.buffer_length = 64 * 1024;
    device.granted = 1;
    ASSERT_TRUE(Pxp().Start(320, 240));
    const auto dequeued = [&] {
        const auto calls = device.Ioctls();
        return std::count_if(calls.begin(), calls.end(), [](const auto& call) { return call.request == VIDIOC_DQBUF; });
    };
    const auto is_written = [&] { return device.Get("/dev/video1").substr(0, 64) != std::string(64, '\0'); };
    for (const int writable : {0, -1, 1}) {
        device.writable = writable;
        Show();
        EXPECT_EQ(dequeued(), writable == 1 ? 1 : 0) << writable;
        EXPECT_FALSE(is_written());
    }
    Pxp().ZoomStep(128, 96);  // this one fits
    Show();
    EXPECT_TRUE(is_written());
    Pxp().Close();
    EXPECT_EQ(device.mappings, 0);
}

// From the driver's buffer through the queue into the overlay's buffer.
TEST(FramePath, AllocatesNothing) {
    support::ScriptedVideo device("PxP Camera", 0);
    device.buffer_length = kFrame;
    const std::unique_ptr<CV4L2_UVCCtrl> camera(CV4L2_UVCCtrl::CreateNew(320, 240, 30, V4L2_PIX_FMT_YUYV));
    ASSERT_TRUE(Pxp().Start(320, 240));
    ASSERT_TRUE(camera->Start());
    const auto show = [&](int frames) {
        while (frames > 0) {
            CDoubleBufferData* slot = camera->PopFrameData();
            if (!slot) {
                std::this_thread::yield();
                continue;
            }
            int length = 0;
            const char* data = slot->GetData(length);
            Pxp().EnqueuePXPBuf(data, static_cast<unsigned>(length));
            camera->ReleaseFrameData(slot);
            --frames;
        }
    };
    show(3);
    device.quiet = true;
    show(3);
    const long before = support::AllocationCount();
    show(100);
    EXPECT_EQ(support::AllocationCount() - before, 0);
    device.quiet = false;
    camera->Stop();
    Pxp().Close();
}

}  // namespace
