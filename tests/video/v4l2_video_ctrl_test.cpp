#include "video/v4l2_video_ctrl.h"

#include "tests/video/on_board.h"
#include "tests/video/scripted_video.h"

namespace {

using support::ScriptedVideo;

TEST(VideoDevice, OpensByPublishedNameAndCapability) {
    constexpr std::uint32_t kUsable = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
    const std::string opened = "Opened V4L2ID = 12\n";
    const std::string unsupported = "Error opening device /dev/video12: video capabilities not supported.\n";
    const struct {
        const char *published, *wanted;
        std::uint32_t capabilities, device_capabilities;
        std::string printed;
        bool node = true;
    } cases[] = {
        {"USB Camera\n", "Camera", kUsable, 0, opened},
        {"USB Camera\n", "", kUsable, 0, opened},
        {"USB Camera\n", "PxP", kUsable, 0, ""},
        {"", "Camera", kUsable, 0, ""},
        {"A name whose end is not read Camera", "Camera", kUsable, 0, ""},
        {"Camera", "Camera", V4L2_CAP_STREAMING, 0, unsupported},
        {"Camera", "Camera", V4L2_CAP_VIDEO_CAPTURE, 0, "/dev/video12 does not support streaming i/o\n"},
        {"Camera", "Camera", kUsable, V4L2_CAP_META_CAPTURE | V4L2_CAP_STREAMING, unsupported},
        {"Camera", "Camera", kUsable, 0, "ERROR:(No such file or directory) opening V4L interface /dev/video12\n",
         false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.published) + " " + c.printed);
        ScriptedVideo kernel(c.published, 12);
        for (const char* other : {"radio0", ".video1"})
            kernel.Put(std::string("/sys/class/video4linux/") + other + "/name", "Camera");
        if (*c.wanted) kernel.Put("/sys/class/video4linux/video/other", "");
        if (!c.node) std::filesystem::remove(kernel.Path("/dev/video12"));
        kernel.capabilities = c.capabilities;
        kernel.device_capabilities = c.device_capabilities;
        CV4L2_VideoCtrl device(V4L2_CAP_VIDEO_CAPTURE);
        const bool expected = c.printed == opened;
        EXPECT_EQ(Printed([&] { EXPECT_EQ(device.Open(c.wanted, false), expected); }), c.printed);
        EXPECT_EQ(kernel.OpenFiles(), expected ? 1 : 0);
        EXPECT_EQ(Printed([&] { device.Close(); }), expected ? "Closing /dev/video12\n" : "");
        EXPECT_EQ(kernel.OpenFiles(), 0);
        EXPECT_EQ(kernel.Commands(), std::vector<std::string>(expected, "echo 1 > /proc/sys/vm/drop_caches"));
        std::filesystem::remove_all(kernel.Path("/sys/class/video4linux"));
        EXPECT_EQ(Printed([&] { EXPECT_FALSE(device.Open("", true)); }),
                  "ERROR(No such file or directory): open /sys/class/video4linux.\n");
    }
}

// Through the one control that the camera has, from 1 to 9 with 4 for a default.
TEST(VideoDevice, Controls) {
    constexpr int kColour = 1000;  // beside percents of brightness
    constexpr int kGrey = 1001;
    const std::string set = "Set bright: 5\n> set 9963776 5\n";
    const std::string busy = "ioctl querycontrol error 16 \n";
    const std::string unsupported = "contol Name unsupported. Query flags:0x00000040, type:4\n";
    const struct {
        int action, result;
        std::string printed;
        unsigned long refused = 0;
        int nth = 1;
        unsigned type = V4L2_CTRL_TYPE_INTEGER, flags = 0;
        int max = 9;
        unsigned other = 0;  // the control that there is instead
    } cases[] = {
        {50, 0, set},
        {50, 0, set, 0, 1, V4L2_CTRL_TYPE_INTEGER64},
        {50, 0, set, 0, 1, V4L2_CTRL_TYPE_MENU},
        {50, -1, unsupported, 0, 1, V4L2_CTRL_TYPE_BUTTON, 0x40},
        {50, -1, "control Name disabled \n", 0, 1, V4L2_CTRL_TYPE_INTEGER, V4L2_CTRL_FLAG_DISABLED},
        {50, -1, "ioctl querycontrol error 22 \n", 0, 1, V4L2_CTRL_TYPE_INTEGER, 0, 9, V4L2_CID_GAIN},
        {50, -1, "", 0, 1, V4L2_CTRL_TYPE_INTEGER, 0, 0},
        {100, 0, "Set bright: 9\n> set 9963776 9\n"},
        {113, 0, "Set bright: 10\n"},
        {-13, 0, "Set bright: 0\n"},
        {50, -1, "ioctl get control error\n", VIDIOC_G_CTRL},
        {50, -1, "Set bright: 5\n" + busy, VIDIOC_QUERYCTRL, 2},
        {50, -1, set + "ioctl set control error(16)\n", VIDIOC_S_CTRL},
        {50, -1, set + busy, VIDIOC_QUERYCTRL, 3},
        {kColour, 0, "> set 9963778 4\n"},
        {kColour, 0, busy, VIDIOC_QUERYCTRL},
        {kColour, 0, "> set 9963778 4\nioctl reset control error\n", VIDIOC_S_CTRL},
        {kGrey, 0, "> set 9963778 1\n"},
        {kGrey, 0, busy, VIDIOC_QUERYCTRL},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "row " << &c - cases << ": " << c.printed);
        ScriptedVideo kernel;
        const unsigned id = c.action < kColour ? V4L2_CID_BRIGHTNESS : V4L2_CID_SATURATION;
        kernel.control = {c.other ? c.other : id, c.type, "Name", 1, c.max, 1, 4, c.flags, {}};
        const std::unique_ptr<CV4L2_UVCCtrl> camera(CV4L2_UVCCtrl::CreateNew(320, 240, 30, V4L2_PIX_FMT_YUYV));
        camera->Open("Camera", false);
        kernel.Fail(c.refused, c.nth, EBUSY);
        testing::internal::CaptureStderr();
        const std::string printed = Printed([&] {
            if (c.action >= kColour) return camera->SetColorOrBlack(c.action == kColour);
            EXPECT_EQ(camera->ChangeBright(c.action), c.result);
        });
        EXPECT_EQ(printed + testing::internal::GetCapturedStderr(), c.printed);
    }
}

}  // namespace
