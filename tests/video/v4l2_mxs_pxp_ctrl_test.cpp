#include "video/v4l2_mxs_pxp_ctrl.h"

#include <algorithm>
#include <fstream>
#include <regex>
#include <sstream>

#include "mwin/windows.h"
#include "tests/support/allocation_count.h"
#include "tests/video/on_board.h"
#include "tests/video/scripted_video.h"
#include "video/frames/pixel_conversion.h"

namespace {

CV4L2_MXSPXPCTRL& Pxp() {
    return CV4L2_MXSPXPCTRL::GetInstance();
}

// A frame whose pixels all differ from their neighbours.
const unsigned char* PixelFrame() {
    static std::vector<unsigned char> frame(kFrameBytes);
    for (std::size_t i = 0; i < frame.size(); ++i)
        frame[i] = static_cast<unsigned char>(i * 7 + i / 251);
    return frame.data();
}

void Show(unsigned length = kFrameBytes) {
    Pxp().EnqueuePXPBuf(reinterpret_cast<const char*>(PixelFrame()), length);
}

// What one session with a scripted device prints, without the addresses of buffers and the line of a trace.
std::string Session(const std::function<void(support::ScriptedVideo&)>& set_up) {
    MwScreenDevice screen{};
    screen.xvirtres = 300;  // narrower than 320: the overlay follows it
    screen.yvirtres = 200;
    scrdev = &screen;
    support::ScriptedVideo device("PxP", 1);
    device.granted = 1;
    set_up(device);
    const std::string printed = Printed([] {
        const bool started = Pxp().Start(320, 240);
        std::printf("started: %d\n", started);
        if (!started) return;
        Pxp().ChangeToPXP(true);
        std::printf("output: %d\n", Pxp().GetPxPDispID());
        for (int i = 0; i < 2; ++i)  // the second one has nothing to do
            Pxp().ZoomStep(128, 96);
        Show();
        for (int i = 0; i < 4; ++i)
            std::printf("turned: %d\n", Pxp().RotateCW());
        Pxp().SetScaleTo(8, 4);
        Pxp().SetScaleTo(1000, 1000);
        Pxp().Rotate90();
        Pxp().SetZoomDefault();
        Pxp().Close();
    });
    scrdev = nullptr;
    EXPECT_EQ(device.OpenFiles() + device.mappings, 0);
    EXPECT_FALSE(Pxp().IsOpened() || Pxp().IsStreaming() || Pxp().GetRotate() != PXP_ROTATE_Orig);
    return std::regex_replace(printed, std::regex(" Start:[0-9]+ |( 0x[0-9a-f]+(?=\n))"), "");
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line + "\n");
    return lines;
}

// A smooth session prints and tells everything in the order in which it must be. One in which a call is refused: the
// lines that the others do not have, and how many of theirs are missing.
TEST(OverlayDevice, TellsEveryStepAndSurvivesWhatIsRefused) {
    const std::string error = "Error opening device /dev/video1: ";
    const std::string other =
        "chromakey:0x0000, global_alpha:0x0, field:0, xy(0,0), wh(0x0)\n"
        "Device(/dev/video1) Error: SetOutput_Overlay\n";
    const std::string no_buffers = "Unable to allocate buffers: 16.\n";
    const std::string no_answer = "Unable to query buffer (16).\nNo buffer have been requested\n";
    const std::string stopped = "> off 2\nStream(/dev/video1) disabled.\n";
    const std::string again = "> request 1 2 1\n";
    const struct {
        unsigned long refused;
        int nth;
        std::string more;
        std::size_t fewer;
        int error = EBUSY;
    } cases[] = {
        {VIDIOC_QUERYCAP, 1, error + "video capabilities not supported.\nstarted: 0\n", 113},
        {VIDIOC_G_FMT, 1, "get format failed\n", 1},
        {VIDIOC_S_FMT, 1, "Unable to set format: 16.\n", 0},
        {VIDIOC_G_FMT, 2, error + "unable to VIDIOC_G_FMT.\n", 3},
        {VIDIOC_S_FMT, 2, error + "unable to VIDIOC_S_FMT.\n" + other, 1},
        {VIDIOC_G_FMT, 3, other, 1},
        {VIDIOC_G_FBUF, 1, error + "VIDIOC_G_FBUF.\n", 3},
        {VIDIOC_S_FBUF, 1, error + "VIDIOC_S_FBUF.\n", 1},
        {VIDIOC_G_CROP, 1, error + "unable to VIDIOC_G_CROP.\n", 1},
        {VIDIOC_S_CROP, 1, error + "unable to VIDIOC_G_CROP.\n", 2},
        {VIDIOC_S_OUTPUT, 1, error + "unable to VIDIOC_S_OUTPUT.\n", 0},
        {VIDIOC_ENUMOUTPUT, 1, error + "unable to VIDIOC_ENUMOUTPUT.\nSet output to \n", 1},
        {VIDIOC_REQBUFS, 1, no_buffers + again + stopped, 0},
        {VIDIOC_QUERYBUF, 1, no_answer + again + "> buffer 0 2\n" + stopped, 0},
        {VIDIOC_QBUF, 1, "Unable to queue buffer (16).\n", 0},
        {VIDIOC_STREAMON, 1, "Unable to start capture: 16.\nstarted: 0\n", 65},
        {VIDIOC_G_OUTPUT, 1, error + "unable to VIDIOC_S_OUTPUT.\noutput: -1\n", 1},
        {VIDIOC_G_FMT, 7, "get format failed\n", 7},
        {VIDIOC_S_FMT, 5, "Unable to set format: 16.\nRect left:0, top:0, width:300, height:200\n", 4},
        {VIDIOC_DQBUF, 1, "Device(/dev/video1) Unable to dequeue buffer (16-Device or resource busy).\n", 1},
        {VIDIOC_DQBUF, 1, "No data in buffer\n", 1, EAGAIN},
        {VIDIOC_QBUF, 2, "Device(/dev/video1) Unable to requeue buffer (16).\n", 0},
        {VIDIOC_S_CTRL, 3, "turned: 0\n", 1},
        {VIDIOC_STREAMOFF, 1, "Unable to stop capture: 16.\n", 0},
    };
    std::ifstream reference("tests/video/overlay_session.txt");
    const std::string smooth(std::istreambuf_iterator<char>(reference), {});
    EXPECT_EQ(Session([](auto&) {}), smooth);
    for (const auto& c : cases) {
        std::vector<std::string> missing = Lines(smooth);
        std::string more;
        const auto refuse = [&](auto& device) { device.Fail(c.refused, c.nth, c.error); };
        for (const std::string& line : Lines(Session(refuse))) {
            const auto same = std::find(missing.begin(), missing.end(), line);
            if (same == missing.end()) more += line;
            if (same != missing.end()) missing.erase(same);
        }
        EXPECT_EQ(more, c.more) << "row " << &c - cases;
        EXPECT_EQ(missing.size(), c.fewer) << "row " << &c - cases << testing::PrintToString(missing);
        for (int nth = 1; nth <= 4; ++nth) {
            for (const int times : {1, 99})
                Session([&](auto& device) { device.Fail(c.refused, nth, EIO, times); });
        }
    }
    const std::string refused = "CreateNew:33 Error: Map(Invalid argument)\n";
    for (const auto& [granted, length, error] :
         {std::tuple{0U, 4096U, std::string()}, {1U, 0U, refused}, {1U, 0xFFFFF000U, refused}}) {
        const std::string printed = Session([g = granted, l = length](auto& device) {
            device.granted = g;
            device.buffer_length = l;
        });
        EXPECT_EQ(Count(printed, error + "No buffer have been requested\n"), 4);
    }
    // No more buffers than there may be.
    EXPECT_EQ(Count(Session([](auto& device) { device.granted = 1000000; }), "Add buf["), VIDEO_MAX_FRAME);
    EXPECT_EQ(Session([](auto&) {}), smooth);
}

// Neither waiting for ever nor writing beyond its buffer.
TEST(OverlayDevice, ShowsTheZoomWindowOfAFrame) {
    for (const int room : {kFrameBytes, 65536}) {
        support::ScriptedVideo device("PxP", 1);
        device.granted = 1;
        device.buffer_length = static_cast<unsigned>(room);
        const auto shown = [&device] {
            std::vector<unsigned char> bytes(kFrameBytes);
            std::ifstream(device.Path("/dev/video1")).read(reinterpret_cast<char*>(bytes.data()), kFrameBytes);
            return bytes;
        };
        const std::string printed = Printed([&] {
            Show();  // before the start
            EXPECT_FALSE(Pxp().RotateCW());
            EXPECT_TRUE(Pxp().Start(320, 240));
            std::vector<unsigned char> expected(kFrameBytes);
            for (const auto& [width, height] : {std::pair<int, int>{320, 240}, {160, 120}, {128, 96}}) {
                Pxp().ZoomStep(static_cast<unsigned short>(width), static_cast<unsigned short>(height));
                EXPECT_EQ(Pxp().GetDispWidth() * Pxp().GetDispHeight(), width * height);
                for (const int writable : {0, -1, 1}) {
                    device.writable = writable;
                    if (writable != 1) Show();
                    Pxp().EnqueuePXPBuf(nullptr, kFrameBytes);
                    EXPECT_EQ(shown(), expected);
                }
                Show(1);  // whatever the length says
                if (width * height * 2 <= room)
                    YUYVtoYUV422PZoomoutCen(PixelFrame(), expected.data(), 320, 240, width, height);
                EXPECT_TRUE(shown() == expected) << width << " of " << room;
            }
            Pxp().Close();
        });
        EXPECT_EQ(Count(printed, "> dequeue 0 2\n> queue 0 2\n"), 3);
    }
}

// From the driver's buffer through the queue into the overlay's buffer.
TEST(FramePath, AllocatesNothing) {
    support::ScriptedVideo device("PxP Camera", 0);
    device.buffer_length = kFrameBytes;
    const std::unique_ptr<CV4L2_UVCCtrl> camera(CV4L2_UVCCtrl::CreateNew(320, 240, 30, V4L2_PIX_FMT_YUYV));
    const auto show = [&](int frames) {
        while (frames > 0) {
            std::this_thread::yield();
            const std::string& frame = TakeFrame(*camera);
            if (frame.empty()) continue;
            Pxp().EnqueuePXPBuf(frame.data(), static_cast<unsigned>(frame.size()));
            --frames;
        }
    };
    const std::string printed = Printed([&] {
        ASSERT_TRUE(Pxp().Start(320, 240));
        ASSERT_TRUE(camera->Start());
        device.quiet = true;
        show(3);
        const long before = support::AllocationCount();
        show(100);
        EXPECT_EQ(support::AllocationCount() - before, 0);
        device.quiet = false;
        device.readable = -1;  // and a camera that cannot be waited for is connected anew
        while (camera->GetUVCStatus() == UVC_STATUS_STREAMING)
            std::this_thread::yield();
        camera->Stop();
        Pxp().Close();
    });
    EXPECT_EQ(Count(printed.substr(0, printed.find("_STREAMING to UVC_STATUS_DISCONNECTED\n")), "Error(5): "), 1);
}

}  // namespace
