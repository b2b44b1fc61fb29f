#include "video/v4l2_video_ctrl.h"

#include <gmock/gmock.h>

#include "tests/video/on_board.h"
#include "tests/video/scripted_video.h"

namespace {

using support::ScriptedVideo;

class Device : public CV4L2_VideoCtrl {
  public:
    explicit Device(unsigned capability = V4L2_CAP_VIDEO_CAPTURE) : CV4L2_VideoCtrl(capability) {}
    using CV4L2_VideoCtrl::AddStreamBufferList, CV4L2_VideoCtrl::DisableStream, CV4L2_VideoCtrl::EnableStream,
        CV4L2_VideoCtrl::GetControlValue, CV4L2_VideoCtrl::GetControlValueMaxMin, CV4L2_VideoCtrl::GetOutput,
        CV4L2_VideoCtrl::GetStreamBufferSize, CV4L2_VideoCtrl::isv4l2Control, CV4L2_VideoCtrl::m_bIsstreaming,
        CV4L2_VideoCtrl::m_nHeight, CV4L2_VideoCtrl::m_nV4L2_fd, CV4L2_VideoCtrl::m_nVideo_ID,
        CV4L2_VideoCtrl::m_nWidth, CV4L2_VideoCtrl::ResetControl, CV4L2_VideoCtrl::SetControlValue,
        CV4L2_VideoCtrl::SetFBuf_Overlay, CV4L2_VideoCtrl::SetOutput_Crop, CV4L2_VideoCtrl::SetOutput_ID,
        CV4L2_VideoCtrl::SetOutput_Overlay, CV4L2_VideoCtrl::SetV4L2Framerate, CV4L2_VideoCtrl::SetV4L2PixFormat,
        CV4L2_VideoCtrl::SetV4L2WinFormat, CV4L2_VideoCtrl::v4l2_DQBUF, CV4L2_VideoCtrl::v4l2_QBUF;
};

struct OpenedDevice : Device {
    OpenedDevice() { Open("Camera", false); }
};

constexpr auto kCapture = V4L2_BUF_TYPE_VIDEO_CAPTURE;
constexpr auto kOverlay = V4L2_BUF_TYPE_VIDEO_OUTPUT_OVERLAY;

// What `action` prints, without the addresses of buffers.
std::string PrintedBy(const std::function<void()>& action) {
    std::string text = Printed(action);
    for (std::size_t at = 0; (at = text.find("] 0x", at)) != std::string::npos; ++at)
        text.erase(at + 1, text.find('\n', at) - at - 1);
    return text;
}

v4l2_pix_format Yuyv(unsigned width, unsigned height) {
    v4l2_pix_format pix{};
    pix.width = width;
    pix.height = height;
    pix.pixelformat = V4L2_PIX_FMT_YUYV;
    return pix;
}

v4l2_window Window() {
    v4l2_window window{};
    window.w = {1, 2, 30, 40};
    window.field = V4L2_FIELD_NONE;
    window.chromakey = 0x010101;
    window.global_alpha = 255;
    return window;
}

TEST(VideoDevice, OpensByPublishedNameAndCapability) {
    constexpr std::uint32_t kUsable = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
    const std::string opened = "Opened V4L2ID = 12\n";
    const std::string unsupported = "Error opening device /dev/video12: video capabilities not supported.\n";
    const struct {
        const char *published, *wanted;
        std::uint32_t capabilities, device_capabilities;
        bool node;
        std::string printed;
    } cases[] = {
        {"USB Camera\n", "Camera", kUsable, 0, true, opened},
        {"USB Camera\n", "", kUsable, 0, true, opened},
        {"USB Camera\n", "PxP", kUsable, 0, true, ""},
        {"", "Camera", kUsable, 0, true, ""},
        {"A name whose end is not read Camera", "Camera", kUsable, 0, true, ""},
        {"Camera", "Camera", V4L2_CAP_STREAMING, 0, true, unsupported},
        {"Camera", "Camera", V4L2_CAP_VIDEO_CAPTURE, 0, true, "/dev/video12 does not support streaming i/o\n"},
        {"Camera", "Camera", kUsable, V4L2_CAP_META_CAPTURE | V4L2_CAP_STREAMING, true, unsupported},
        {"Camera", "Camera", kUsable, 0, false,
         "ERROR:(No such file or directory) opening V4L interface /dev/video12\n"},
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
        Device device;
        const bool expected = c.printed == opened;
        EXPECT_EQ(Printed([&] { EXPECT_EQ(device.Open(c.wanted, false), expected); }), c.printed);
        EXPECT_EQ(device.IsOpened(), expected);
        EXPECT_EQ(device.m_nVideo_ID, expected ? 12 : -1);
        EXPECT_EQ(kernel.OpenFiles(), expected ? 1 : 0);
        EXPECT_EQ(Printed([&] { device.Close(); }), expected ? "Closing /dev/video12\n" : "");
        EXPECT_EQ(kernel.OpenFiles(), 0);
        EXPECT_EQ(kernel.Commands(), std::vector<std::string>(expected, "echo 1 > /proc/sys/vm/drop_caches"));
        std::filesystem::remove_all(kernel.Path("/sys/class/video4linux"));
        EXPECT_EQ(Printed([&] { EXPECT_FALSE(device.Open("", true)); }),
                  "ERROR(No such file or directory): open /sys/class/video4linux.\n");
    }
}

// Each refused call prints its line and says so; the descriptor stays open.
TEST(VideoDevice, EveryRefusedIoctlHasItsMessage) {
    struct Case {
        unsigned long request;
        int nth;
        std::function<bool(Device&)> action;
        bool result;
        std::string printed;
    };
    const auto set_window = [](Device& d) { return d.SetV4L2WinFormat(kOverlay, Window()); };
    const auto set_no_window = [](Device& d) { return d.SetV4L2WinFormat(kCapture, Window()); };
    const auto set_overlay = [](Device& d) { return d.SetOutput_Overlay(Window()); };
    const auto set_crop = [](Device& d) { return d.SetOutput_Crop({kOverlay, {1, 2, 30, 40}}); };
    const auto set_output = [](Device& d) { return d.SetOutput_ID(1); };
    const auto get_output = [](Device& d) { return d.GetOutput() == 1; };
    const auto set_format = [](Device& d) { return d.SetV4L2PixFormat(kCapture, Yuyv(320, 240)); };
    const auto set_rate = [](Device& d) { return d.SetV4L2Framerate(30); };
    const auto set_buffer = [](Device& d) { return d.SetFBuf_Overlay(); };
    const auto enable = [](Device& d) { return d.EnableStream(kCapture, 1); };
    const auto disable = [](Device& d) { return d.DisableStream(kCapture, 1); };
    v4l2_buffer buffer{};
    const auto dequeue = [&](Device& d) { return d.v4l2_DQBUF(kCapture, buffer); };
    const auto queue = [&](Device& d) { return d.v4l2_QBUF(kCapture, 5, buffer); };

    const std::string opening = "Error opening device /dev/video3: ";
    const std::string window = "chromakey:0x10101, global_alpha:0xff, field:1, xy(1,2), wh(30x40)\n";
    const std::string other_window =
        "chromakey:0x0000, global_alpha:0x0, field:0, xy(0,0), wh(0x0)\n"
        "Device(/dev/video3) Error: SetOutput_Overlay\n";
    const std::string empty = "Rect left:0, top:0, width:0, height:0\nField = 0\nchromakey = 0\n";
    const std::string taken = "Set Rect left:1, top:2, width:30, height:40\nSet Field = 1\nSet chromakey = 0\n";
    const std::string flag = "PXP overlay 0: flag=0x0001\n";
    const std::string first = "Request buffer length:4096\nAdd buf[0]\n";
    const std::string second = "Request buffer length:4096\nAdd buf[1]\n";
    const std::string enabled = "Stream(/dev/video3) enabled.\n";
    const std::string output = "Setout id: 1\n" + opening;
    const Case cases[] = {
        {VIDIOC_G_FMT, 1, set_format, false, "get format failed\n"},
        {VIDIOC_S_FMT, 1, set_format, false, "Unable to set format: 16.\n"},
        {0, 0, set_format, true, ""},
        {VIDIOC_S_PARM, 1, set_rate, false, "Unable to VIDIOC_S_PARM: 16.\n"},
        {VIDIOC_G_FMT, 1, set_window, false, "get format failed\n"},
        {VIDIOC_S_FMT, 1, set_window, false, empty + "Unable to set format: 16.\n"},
        {0, 0, set_window, true, empty + taken},
        {0, 0, set_no_window, false, ""},
        {VIDIOC_G_FMT, 1, set_overlay, false, opening + "unable to VIDIOC_G_FMT.\n"},
        {VIDIOC_S_FMT, 1, set_overlay, false, opening + "unable to VIDIOC_S_FMT.\n" + window + other_window},
        {VIDIOC_G_FMT, 2, set_overlay, false, window + other_window},
        {0, 0, set_overlay, true, window + window},
        {VIDIOC_G_FBUF, 1, set_buffer, false, opening + "VIDIOC_G_FBUF.\n"},
        {VIDIOC_S_FBUF, 1, set_buffer, false, flag + opening + "VIDIOC_S_FBUF.\n"},
        {VIDIOC_S_CTRL, 1, set_buffer, true, flag},
        {VIDIOC_G_CROP, 1, set_crop, true, opening + "unable to VIDIOC_G_CROP.\nSet CROP: xy(1,2) wh(30x40)\n"},
        {VIDIOC_S_CROP, 1, set_crop, false, "Get CROP: xy(0,0) wh(0x0)\n" + opening + "unable to VIDIOC_G_CROP.\n"},
        {VIDIOC_S_OUTPUT, 1, set_output, true, output + "unable to VIDIOC_S_OUTPUT.\nSet output to PxP LCD\n"},
        {VIDIOC_ENUMOUTPUT, 1, set_output, true, output + "unable to VIDIOC_ENUMOUTPUT.\nSet output to \n"},
        {VIDIOC_G_OUTPUT, 1, get_output, false, opening + "unable to VIDIOC_S_OUTPUT.\n"},
        {0, 0, get_output, true, ""},
        {VIDIOC_DQBUF, 1, dequeue, false,
         "Device(/dev/video3) Unable to dequeue buffer (16-Device or resource busy).\n"},
        {VIDIOC_QBUF, 1, queue, false, "Device(/dev/video3) Unable to requeue buffer (16).\n"},
        {VIDIOC_STREAMON, 1, enable, false, first + second + "Unable to start capture: 16.\n"},
        {VIDIOC_QUERYBUF, 1, enable, true, "Unable to query buffer (16).\n" + second + enabled},
        {VIDIOC_QBUF, 2, enable, true, first + second + "Unable to queue buffer (16).\n" + enabled},
        {VIDIOC_STREAMOFF, 1, disable, true, "Unable to stop capture: 16.\nStream(/dev/video3) disabled.\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.printed);
        ScriptedVideo kernel;
        OpenedDevice device;
        if (c.nth > 0) kernel.Fail(c.request, c.nth, EBUSY);
        EXPECT_EQ(PrintedBy([&] { EXPECT_EQ(c.action(device), c.result); }), c.printed);
        EXPECT_TRUE(device.IsOpened());
        device.Close();
        EXPECT_EQ(kernel.mappings, 0);
    }
}

TEST(VideoDevice, ClosedDevicesRefuseTheOverlay) {
    ScriptedVideo kernel;
    Device device;
    const std::string printed = Printed([&] {
        EXPECT_FALSE(device.SetOutput_Overlay(Window()));
        EXPECT_FALSE(device.SetFBuf_Overlay());
        EXPECT_FALSE(device.SetOutput_ID(0));
        EXPECT_EQ(device.GetOutput(), 0);
        device.Close();
    });
    EXPECT_EQ(printed, "");
    EXPECT_TRUE(kernel.Ioctls().empty());
}

TEST(VideoDevice, ErrnoOutlivesTheMessage) {
    ScriptedVideo kernel;
    OpenedDevice device;
    for (const int error : {EAGAIN, ENODEV}) {
        v4l2_buffer buffer;
        for (const unsigned long request : {VIDIOC_DQBUF, VIDIOC_QBUF})
            kernel.Fail(request, 1, error);
        const std::string printed = Printed([&] {
            EXPECT_TRUE(!device.v4l2_DQBUF(kCapture, buffer) && errno == error);
            EXPECT_TRUE(!device.v4l2_QBUF(kCapture, 0, buffer) && errno == error);
        });
        EXPECT_EQ(printed.rfind("No data in buffer\n", 0) == 0, error == EAGAIN);
    }
}

TEST(VideoDevice, TakesTheSizeThatTheDriverAnswers) {
    ScriptedVideo kernel;
    kernel.answered_format = Yuyv(160, 120);
    OpenedDevice device;
    EXPECT_EQ(Printed([&] { EXPECT_TRUE(device.SetV4L2PixFormat(kCapture, Yuyv(320, 240))); }),
              " format asked unavailable get width 160 height 120 src(160x120)\n");
    EXPECT_EQ(device.m_nWidth, 160U);
    EXPECT_EQ(device.m_nHeight, 120U);
    EXPECT_FALSE(device.SetV4L2PixFormat(kOverlay, Yuyv(320, 240)));
}

TEST(VideoDevice, TriesFourTimesForBuffers) {
    const std::string refused = "Unable to allocate buffers: 12.\n";
    const std::string retry = refused + "Stream(/dev/video3) disabled.\n";
    const std::string enabled = "Request buffer length:4096\nAdd buf[0]\nStream(/dev/video3) enabled.\n";
    for (const int failures : {3, 4}) {
        ScriptedVideo kernel;
        kernel.granted = 1;
        OpenedDevice device;
        kernel.Fail(VIDIOC_REQBUFS, 1, ENOMEM, failures);
        EXPECT_EQ(PrintedBy([&] { EXPECT_EQ(device.EnableStream(kCapture, 1), failures == 3); }),
                  retry + retry + retry + (failures == 4 ? refused : enabled));
        EXPECT_EQ(device.m_bIsstreaming, failures == 3);
    }
}

TEST(VideoDevice, BoundsWhatTheDriverGrants) {
    ScriptedVideo kernel;
    OpenedDevice device;
    kernel.granted = 1000000;
    EXPECT_TRUE(device.EnableStream(kCapture, 1));
    EXPECT_EQ(device.GetStreamBufferSize(), VIDEO_MAX_FRAME);
    EXPECT_EQ(Printed([&] { EXPECT_TRUE(device.EnableStream(kCapture, 1)); }), "Stream already started\n");
    device.Close();
    EXPECT_EQ(kernel.mappings, 0);

    device.Open("Camera", false);
    const std::string refused = "CreateNew:33 Error: Map(Invalid argument)\n";
    for (const auto& [granted, length, error] :
         {std::tuple{0U, 4096U, std::string()}, {1U, 0U, refused}, {1U, 0xFFFFF000U, refused}}) {
        kernel.granted = granted;
        kernel.buffer_length = length;
        const std::string printed = Printed([&] { EXPECT_FALSE(device.EnableStream(kCapture, 1)); });
        EXPECT_THAT(printed, testing::HasSubstr(error + "No buffer have been requested\n"));
    }
    // A buffer twice replaces the first.
    const std::string printed = PrintedBy([&] {
        for (int i = 0; i < 2; ++i)
            device.AddStreamBufferList(7, CV4LMMAPDATABUF::CreateNew(device.m_nV4L2_fd, 4096, 0));
    });
    EXPECT_EQ(printed, "Add buf[7]\nClear buf[7]\nAdd buf[7]\n");
    EXPECT_EQ(device.GetStreamBufferSize(), 1);
    EXPECT_EQ(kernel.mappings, 1);
}

TEST(VideoDevice, Controls) {
    constexpr int kId = V4L2_CID_SATURATION;
    struct Case {
        std::function<int(Device&)> action;
        unsigned long failing;
        int result;
        const char* errors;
        int value_after;
        std::uint32_t type = V4L2_CTRL_TYPE_INTEGER, flags = 0;
    };
    const auto is_control = [](Device& d) {
        v4l2_queryctrl query;
        return d.isv4l2Control(kId, &query);
    };
    const auto set = [](int value) { return [value](Device& d) mutable { return d.SetControlValue(kId, value); }; };
    const auto get = [](Device& d) {
        int value = 0;
        return d.GetControlValue(kId, value) < 0 ? -1 : value;
    };
    const auto range = [](Device& d) {
        int max = 0;
        int min = 0;
        return d.GetControlValueMaxMin(kId, max, min) ? max * 100 + min : -1;
    };
    const auto reset = [](Device& d) { return d.ResetControl(kId); };
    const char* unsupported = "contol Sat unsupported. Query flags:0x00000040, type:4\n";
    const Case cases[] = {
        {is_control, 0, 0, "", 5, V4L2_CTRL_TYPE_INTEGER},
        {is_control, 0, 0, "", 5, V4L2_CTRL_TYPE_INTEGER64},
        {is_control, 0, 1, "", 5, V4L2_CTRL_TYPE_BOOLEAN},
        {is_control, 0, 1, "", 5, V4L2_CTRL_TYPE_MENU},
        {is_control, 0, -1, unsupported, 5, V4L2_CTRL_TYPE_BUTTON, 0x40},
        {is_control, 0, -1, "control Sat disabled \n", 5, V4L2_CTRL_TYPE_INTEGER, V4L2_CTRL_FLAG_DISABLED},
        {get, VIDIOC_QUERYCTRL, -1, "ioctl querycontrol error 5 \n", 5},
        {get, VIDIOC_G_CTRL, -1, "ioctl get control error\n", 5},
        {get, 0, 5, "", 5},
        {set(9), 0, 0, "", 9},
        {set(10), 0, 0, "", 5},
        {set(0), 0, 0, "", 5},
        {set(9), VIDIOC_S_CTRL, -1, "ioctl set control error(5)\n", 5},
        {set(9), VIDIOC_G_CTRL, -1, "ioctl get control error\n", 9},
        {reset, 0, 0, "", 4},
        {reset, VIDIOC_S_CTRL, -1, "ioctl reset control error\n", 5},
        {range, 0, 901, "", 5},
        {range, VIDIOC_G_CTRL, -1, "ioctl get control error\n", 5},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "row " << &c - cases << " " << c.errors);
        ScriptedVideo kernel;
        kernel.control = {kId, c.type, "Sat", 1, 9, 1, 4, c.flags, {}};
        kernel.control_value = 5;
        OpenedDevice device;
        if (c.failing) kernel.Fail(c.failing, 1, EIO);
        testing::internal::CaptureStderr();
        EXPECT_EQ(c.action(device), c.result);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), c.errors);
        EXPECT_EQ(kernel.control_value, c.value_after);
    }
}

}  // namespace
