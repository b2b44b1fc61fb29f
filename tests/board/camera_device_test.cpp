// The virtual camera keeps V4L2's rules, whatever it looks at.
#include <fstream>

#include "board/camera_source.h"
#include "board/scene_source.h"
#include "tests/board/board_test.h"

namespace {

using board_test::VideoNode;

constexpr unsigned kFrameBytes = 320 * 240 * 2;

class CameraDeviceTest : public board_test::BoardTest {
  protected:
    VideoNode Camera(int flags = O_RDWR | O_NONBLOCK) {
        return {kernel, board::kCameraNode, V4L2_BUF_TYPE_VIDEO_CAPTURE, flags};
    }
};

TEST_F(CameraDeviceTest, FormatsAreClampedAsADriverDoes) {
    VideoNode camera = Camera();
    const std::array<unsigned, 4> small = {320, 240, V4L2_PIX_FMT_YUYV, kFrameBytes};
    const std::array<unsigned, 4> large = {640, 480, V4L2_PIX_FMT_YUYV, 4 * kFrameBytes};
    std::array<unsigned, 4> current = large;
    const struct {
        unsigned width, height, code, faults;
        std::array<unsigned, 4> answer;
    } cases[] = {{1, 1, V4L2_PIX_FMT_YUYV, 0, small},
                 {600, 400, V4L2_PIX_FMT_RGB24, 0, large},
                 {320, 240, V4L2_PIX_FMT_YUYV, board::kFormatOther, {320, 240, V4L2_PIX_FMT_MJPEG, kFrameBytes}},
                 {0xFFFFFFFF, 0xFFFFFFFF, 0, 0, large},
                 {640, 480, V4L2_PIX_FMT_YUYV, board::kSizeRefused, small}};
    for (const auto& c : cases) {
        board.SetCameraFaults(c.faults);
        for (const unsigned long request : {VIDIOC_TRY_FMT, VIDIOC_S_FMT}) {
            EXPECT_EQ(camera.Format(request, c.width, c.height, c.code), 0);
            EXPECT_EQ(camera.picture, c.answer);
            EXPECT_EQ(camera.Format(VIDIOC_G_FMT), 0);
            EXPECT_EQ(camera.picture, request == VIDIOC_S_FMT ? c.answer : current) << "trying changes nothing";
        }
        current = c.answer;
    }
}

TEST_F(CameraDeviceTest, BuffersComeBeforeStreamingAndQueuingBeforeDequeuing) {
    VideoNode camera = Camera();
    VideoNode other = Camera();
    // One after the other.
    const std::tuple<const char*, std::function<int()>, int> steps[] = {
        {"stream without buffers", [&] { return camera.Stream(true); }, EINVAL},
        {"queue without buffers", [&] { return camera.Buffer(VIDIOC_QBUF); }, EINVAL},
        {"two buffers", [&] { return camera.Request(2); }, 0},
        {"another size", [&] { return camera.Format(VIDIOC_S_FMT, 640, 480, V4L2_PIX_FMT_YUYV); }, EBUSY},
        {"a third one", [&] { return camera.Buffer(VIDIOC_QUERYBUF, 2); }, EINVAL},
        {"map", [&] { return camera.Map(1) ? 0 : errno; }, 0},
        {"more, while one is mapped", [&] { return camera.Request(3); }, EBUSY},
        {"map elsewhere", [&] { return kernel.Map(camera.fd, 9, 9) == MAP_FAILED ? errno : 0; }, EINVAL},
        {"dequeue before streaming", [&] { return camera.Buffer(VIDIOC_DQBUF); }, EINVAL},
        {"queue", [&] { return camera.Buffer(VIDIOC_QBUF, 1); }, 0},
        {"queue again", [&] { return camera.Buffer(VIDIOC_QBUF, 1); }, EINVAL},
        {"stream", [&] { return camera.Stream(true); }, 0},
        {"dequeue before the frame", [&] { return camera.Buffer(VIDIOC_DQBUF); }, EAGAIN},
        {"another's buffers", [&] { return other.Request(1); }, EBUSY},
        {"another's queue", [&] { return other.Buffer(VIDIOC_QBUF); }, EBUSY},
        {"another's dequeue", [&] { return other.Buffer(VIDIOC_DQBUF); }, EBUSY},
        {"another's stop", [&] { return other.Stream(false); }, EBUSY},
        {"stop", [&] { return camera.Stream(false); }, 0},
        {"the stop gave the buffer back", [&] { return camera.Buffer(VIDIOC_QBUF, 1); }, 0}};
    for (const auto& [what, call, error] : steps)
        EXPECT_EQ(call(), error) << what;
    EXPECT_EQ(board.Get(&board::Block::violations), 0U);
}

TEST_F(CameraDeviceTest, FramesArePacedByTheClock) {
    std::vector<unsigned char> first;
    for (const bool blocking : {false, true}) {
        VideoNode camera = Camera(blocking ? O_RDWR : O_RDWR | O_NONBLOCK);
        const unsigned char* frame = camera.Start(V4L2_PIX_FMT_YUYV);
        ASSERT_NE(frame, nullptr);
        const long start = Now();
        // Takes a frame, and tells when it came.
        const auto take = [&](unsigned number) {
            EXPECT_EQ(blocking ? EAGAIN : camera.Buffer(VIDIOC_DQBUF), EAGAIN);
            EXPECT_EQ(blocking ? 1 : Answer([&] { return camera.Wait(); }), 1);
            EXPECT_EQ(Answer([&] { return camera.Buffer(VIDIOC_DQBUF); }), 0);
            EXPECT_EQ(camera.buffer.sequence, number);
            EXPECT_EQ(board::ReadFrameNumber(frame, 320, 240, 2, 640), number + 1);
            return Now() - start;
        };
        EXPECT_EQ(take(0), 33);
        const std::vector<unsigned char> picture(frame, frame + kFrameBytes);
        EXPECT_NE(first, picture) << "the scene goes on between streams";
        first = picture;
        // Ten frames pass without a buffer: they are lost.
        Advance(334);
        EXPECT_EQ(camera.Buffer(VIDIOC_QBUF), 0);
        EXPECT_EQ(take(11), 400);
        EXPECT_EQ(board.Get(&board::Block::camera).frames, blocking ? 4U : 2U);
    }
}

TEST_F(CameraDeviceTest, FaultsShowAsADriverShowsThem) {
    const struct {
        std::uint32_t faults;
        int queue, stream, wait, dequeue;
        unsigned bytes, flag;
    } cases[] = {{0, 0, 0, 1, 0, kFrameBytes, 0},
                 {board::kDqbufStuck, 0, 0, 0, EAGAIN, 0, 0},
                 {board::kDqbufEio, 0, 0, 1, EIO, 0, 0},
                 {board::kStreamonRefused, 0, ENOSPC, 1, EINVAL, 0, 0},
                 {board::kQbufRefused, EIO, 0, 0, EAGAIN, 0, 0},
                 {board::kShortFrame, 0, 0, 1, 0, kFrameBytes / 2, 0},
                 {board::kErrorFlag, 0, 0, 1, 0, kFrameBytes, V4L2_BUF_FLAG_ERROR}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.faults);
        VideoNode camera = Camera();
        EXPECT_EQ(camera.Format(VIDIOC_S_FMT, 320, 240, V4L2_PIX_FMT_YUYV) + camera.Request(1), 0);
        unsigned char* data = camera.Map(0);
        std::fill_n(data, kFrameBytes, 0xAB);
        board.SetCameraFaults(c.faults);
        EXPECT_EQ(camera.Buffer(VIDIOC_QBUF), c.queue);
        EXPECT_EQ(camera.Stream(true), c.stream);
        EXPECT_EQ(board.Get(&board::Block::camera).streaming, c.stream == 0);
        EXPECT_EQ(Answer([&] { return camera.Wait(); }), c.wait);
        EXPECT_EQ(camera.Buffer(VIDIOC_DQBUF), c.dequeue);
        board.SetCameraFaults(0);
        if (c.bytes == 0) continue;
        EXPECT_EQ(camera.buffer.bytesused, c.bytes);
        EXPECT_EQ(camera.buffer.flags & V4L2_BUF_FLAG_ERROR, c.flag);
        // What does not arrive leaves the buffer as it was.
        EXPECT_LT(std::count(data, data + c.bytes, 0xAB), kFrameBytes / 20);
        EXPECT_EQ(std::count(data + c.bytes, data + kFrameBytes, 0xAB), kFrameBytes - c.bytes);
    }
}

TEST_F(CameraDeviceTest, UnpluggedInAnyStateEveryCallSaysSo) {
    for (const bool streaming : {false, true}) {
        VideoNode camera = Camera();
        VideoNode metadata(kernel, board::kCameraMetadataNode, V4L2_BUF_TYPE_VIDEO_CAPTURE);
        EXPECT_EQ(streaming, streaming && camera.Start(V4L2_PIX_FMT_YUYV));
        const long start = Now();
        std::atomic<int> waited{-1};
        std::thread waiting([&] { waited = camera.Wait(); });
        if (streaming) board.Clock().Settle();  // asleep in the driver
        for (const bool plugged : {false, true}) {
            board.PlugCamera(plugged);
            board.Clock().Settle();
            EXPECT_EQ(waited, 1) << "at once, so that the next call tells why";
            EXPECT_EQ(camera.Buffer(VIDIOC_DQBUF), ENODEV) << "the old descriptor stays dead";
            EXPECT_EQ(camera.Buffer(VIDIOC_QBUF), ENODEV);
            EXPECT_EQ(camera.Stream(false), ENODEV);
            EXPECT_EQ(metadata.Format(VIDIOC_G_FMT), ENODEV);
            EXPECT_FALSE(board.Get(&board::Block::camera).streaming);
            for (const char* path : {board::kCameraNode, board::kCameraMetadataNode, "/sys/class/video4linux/video0"})
                EXPECT_EQ(std::filesystem::exists(kernel.Path(path)), plugged) << path;
            EXPECT_EQ(Camera().fd >= 0, plugged);
        }
        waiting.join();
        EXPECT_EQ(Now(), start);
    }
}

TEST_F(CameraDeviceTest, ControlsAndLampChangeThePicture) {
    VideoNode camera = Camera();
    const unsigned char* frame = camera.Start(V4L2_PIX_FMT_YUYV);
    // The mean of the brightnesses, or of the colours from blue (1) or red (3).
    const auto mean = [&](int lamp, int brightness, int saturation, int part) {
        board.Write("/sys/class/leds/led-pwm0/brightness", std::to_string(lamp));
        EXPECT_EQ(board.Get(&board::Block::lamp), lamp);
        EXPECT_EQ(camera.Control(V4L2_CID_BRIGHTNESS, brightness), 0) << "beyond its range it is clamped";
        EXPECT_EQ(camera.Control(V4L2_CID_SATURATION, saturation), 0);
        Advance(34);
        EXPECT_EQ(camera.Buffer(VIDIOC_DQBUF) + camera.Buffer(VIDIOC_QBUF), 0);
        int sum = 0;
        for (unsigned i = part; i < kFrameBytes; i += 4)
            sum += frame[i];
        return sum / (320 * 240 / 2);
    };
    const int neutral = mean(104, 128, 128, 0);
    EXPECT_GT(mean(104, 168, 128, 0), neutral + 30);
    EXPECT_EQ(mean(104, 1000, 128, 0), mean(104, 255, 128, 0));
    EXPECT_EQ(mean(104, 128, 0, 3), 128) << "no colour at all";
    EXPECT_LT(mean(66, 128, 128, 0), neutral - 15);
    EXPECT_LT(mean(0, 128, 128, 0), 20);
    EXPECT_EQ(camera.Control(V4L2_CID_EXPOSURE_AUTO, 9), ERANGE);
}

TEST(CameraSourceTest, PicturesAreScaledAndBadSourcesHaveAReason) {
    const std::filesystem::path folder = std::filesystem::temp_directory_path() / "varno-camera-source-test";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "text.txt") << "no picture";
    const std::string file = "file:" + folder.string();
    const std::pair<std::string, const char*> bad[] = {{"nonsense", "unknown camera source"},
                                                       {file + "/none.png", "No such file"},
                                                       {file + "/text.txt", "no picture that can be read"},
                                                       {file, "no pictures in this folder"},
                                                       {"/dev/video987", "No such file"}};
    std::string error;
    for (const auto& [source, reason] : bad) {
        EXPECT_EQ(board::OpenCameraSource(source, error), nullptr) << source;
        EXPECT_NE(error.find(reason), std::string::npos) << source << ": " << error;
    }
    // 2x2 pixels, both rows red, then blue: a GIF is the shortest of the formats. The other has the colours changed.
    std::string gif("GIF89a\2\0\2\0\x80\0\0\xFF\0\0\0\0\xFF,\0\0\0\0\2\0\2\0\0\2\2\x44\x5C\0;", 36);
    std::ofstream(folder / "a.gif", std::ios::binary) << gif;
    std::swap_ranges(gif.begin() + 13, gif.begin() + 16, gif.begin() + 16);
    std::ofstream(folder / "b.gif", std::ios::binary) << gif;
    const auto source = board::OpenCameraSource(file, error);
    ASSERT_NE(source, nullptr) << error;
    std::vector<std::uint8_t> frame(640 * 480 * 2);
    for (const auto& [width, picture] : {std::pair(320, 0), {640, 0}, {640, 1}, {640, 2}}) {
        EXPECT_TRUE(source->Render({width, width * 3 / 4, 0, picture * std::chrono::seconds(2), 0}, frame.data()));
        const int red = picture == 1 ? width * 2 - 4 : 0;  // where it is; blue is at the other end
        const int blue = width * 2 - 4 - red;
        EXPECT_TRUE(frame[red] == 76 && frame[red + 3] == 255) << int{frame[red]} << " " << int{frame[red + 3]};
        EXPECT_TRUE(frame[blue] == 29 && frame[blue + 1] == 255) << int{frame[blue]} << " " << int{frame[blue + 1]};
    }
    std::filesystem::remove_all(folder);
}

}  // namespace
