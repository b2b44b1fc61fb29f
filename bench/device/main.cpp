// The works whose instructions are counted. Usage: device_work NAME REPEATS in a folder that bench/device/run made;
// device_work --list.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "app/globals.h"
#include "bench/device/resident.h"
#include "bench/device/session.h"
#include "media/jpeg_encoder.h"
#include "mwin/windows.h"
#include "ui/media/explorer_selection.h"
#include "video/frames/pixel_conversion.h"
#include "video/varno_cam_rec_ctrl.h"

namespace {

using device::DeviceKernel;
using device::Session;
using device::Turns;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

[[noreturn]] void Finish(bool done, const char* what) {
    if (!done) std::fprintf(stderr, "device_work: %s\n", what);
    Turns::End(done ? EXIT_SUCCESS : EXIT_FAILURE);
}

// Shapes with edges under sensor noise, in whole numbers only: this processor has no others.
std::vector<unsigned char> CameraFrame(int width, int height) {
    std::vector<unsigned char> frame(static_cast<std::size_t>(width) * height * 2);
    std::uint32_t random = 20240517;
    std::size_t at = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width * 2; ++x, ++at) {
            random = random * 1664525 + 1013904223;
            const int noise = static_cast<int>(random >> 29) - 4;
            const int wave = std::abs((x + 3 * y) % 510 - 255);
            const int shape = x % 2 != 0 ? 96 + wave / 4 : 8 + (wave * 7 + (y / 60 % 2) * 200) / 8;
            frame[at] = static_cast<unsigned char>(shape + noise);
        }
    }
    return frame;
}

void Planar(int repeats) {
    const auto in = CameraFrame(320, 240);
    std::vector<unsigned char> out(in.size());
    while (repeats-- > 0)
        YUYVtoYUV422PZoomoutCen(in.data(), out.data(), 320, 240, 320, 240);
}

void Rgb24(int repeats) {
    const auto in = CameraFrame(640, 480);
    std::vector<unsigned char> out(in.size() / 2 * 3);
    initLut();
    while (repeats-- > 0)
        Pyuv422torgb24(in.data(), out.data(), 640, 480);
}

void Still(int repeats) {
    auto in = CameraFrame(640, 480);
    initLut();
    std::FILE* file = std::fopen("/dev/null", "we");
    if (!file) Finish(false, "cannot open /dev/null");
    while (repeats-- > 0) {
        if (encode_yuv422_to_rgb_jpeg(file, in.data(), 640, 480, 100) != 0) Finish(false, "the still failed");
    }
    std::fclose(file);
}

// Live view, with or without a recording, for that many frames.
void ShowFrames(int repeats, bool record) {
    auto& kernel = *new DeviceKernel(".");
    Turns& turns = Turns::Instance();
    const auto run = [&turns](nanoseconds time) { turns.SleepUntil(turns.Now() + time); };
    auto* camera = CVarnoCamRecCtrl::CreateNew();
    camera->Start();
    run(seconds(2));
    if (record && !camera->StartRecordAVI()) Finish(false, "the recording did not start");
    run(seconds(2));
    const int shown = kernel.FramesShown();
    const int written = kernel.FramesWritten();
    run(device::kFrameTime * repeats);
    const int expected = repeats - 1;
    Finish(kernel.FramesShown() - shown >= expected && (!record || kernel.FramesWritten() - written >= expected),
           "frames were lost");
}

void Live(int repeats) {
    ShowFrames(repeats, false);
}

void Recorded(int repeats) {
    ShowFrames(repeats, true);
}

// From the start of the process to the first tick.
void Start(int /*repeats*/) {
    Session::Play(
        [](Session& session, int) {
            session.Kernel().on_watchdog_opened = [] { Finish(true, ""); };
            session.Run(seconds(10));
            Finish(false, "there was no tick");
        },
        0);
}

void Tick(int repeats) {
    Session::Play(
        [](Session& session, int ticks) {
            session.RunToLiveView();
            session.Run(seconds(12));  // by then the clock has shown every digit once
            const bool live = session.Kernel().FramesShown() > 0;
            Turns::Instance().FreezeOthers();
            session.Run(ticks * milliseconds(200));
            Finish(live, "there was no live view");
        },
        repeats);
}

// The setup menu, opened and closed; the camera rests in it and starts again after it.
void Menu(int repeats) {
    Session::Play(
        [](Session& session, int times) {
            session.RunToLiveView();
            for (; times > 0; --times) {
                session.Press(VK_F1);
                session.Run(milliseconds(500));  // the camera takes its time to stop
                const bool open = videoflag == 0;
                session.Press(VK_F1);
                if (!open || videoflag == 0) Finish(false, "the menu did not open and close");
            }
            Finish(true, "");
        },
        repeats);
}

// As many photos on the card as a page of the browser holds, as the program writes them, but of more than black.
void WritePhotos(DeviceKernel& kernel) {
    const auto path = [&kernel](int number) {
        return kernel.Path("/mnt/card/DCIM/IMAG000") + std::to_string(number) + ".JPG";
    };
    auto frame = CameraFrame(640, 480);
    initLut();
    std::FILE* file = std::fopen(path(0).c_str(), "wbe");
    const bool written = file && encode_yuv422_to_rgb_jpeg(file, frame.data(), 640, 480, 100) == 0;
    if (!file || std::fclose(file) != 0 || !written) Finish(false, "the photo was not written");
    for (unsigned number = 1; number < kPageItems; ++number) {
        if (link(path(0).c_str(), path(static_cast<int>(number)).c_str()) != 0)
            Finish(false, "the photo was not copied");
    }
}

// Whether the same picture is in the middle of every cell of the browser.
bool PhotosAreShown() {
    constexpr int kWidth = 320;
    constexpr std::uint32_t kColor = 0xFFFFFF;
    constexpr std::uint32_t kEmptyCell = 0xDEE2E6;
    std::uint32_t first = kEmptyCell;
    const int screen = open("fb0", O_RDONLY | O_CLOEXEC);
    bool same = screen >= 0;
    for (unsigned cell = 0; cell < kPageItems; ++cell) {
        const unsigned x = 55 + cell % kPageColumns * 105;
        const unsigned y = 80 + cell / kPageColumns * 80;
        std::uint32_t pixel = 0;
        same = same && pread(screen, &pixel, sizeof pixel, static_cast<off_t>((y * kWidth + x) * sizeof pixel)) ==
                           ssize_t{sizeof pixel};
        if (cell == 0) first = pixel & kColor;
        same = same && (pixel & kColor) == first;
    }
    close(screen);
    return same && first != kEmptyCell && first != kColor;
}

// The browser on a page of photos, from the key to the last pixel: what the run with it takes more than the one that
// stays in the choice between photos and videos for the same time.
void Browser(int repeats) {
    Session::Play(
        [](Session& session, int runs) {
            WritePhotos(session.Kernel());
            session.RunToLiveView();
            session.Press(VK_F4);
            session.Run(seconds(1));
            const bool open = runs > 1;
            if (open) session.Press(VK_RETURN);
            session.Run(seconds(2));
            Finish(PhotosAreShown() == open, "the photos were not shown when they should be");
        },
        repeats);
}

// A clip that the program recorded, played for that many frames.
void Played(int repeats) {
    Session::Play(
        [](Session& session, int frames) {
            constexpr milliseconds kPlayTime{34};  // of a frame: 29 a second were recorded
            DeviceKernel& kernel = session.Kernel();
            session.RunToLiveView();
            session.Press(VK_F3);
            session.Press(VK_RETURN);
            session.Run(seconds(5));
            session.Press(VK_RETURN);  // ends the video
            session.Run(seconds(1));
            for (const int key : {VK_F4, VK_RIGHT, VK_RETURN, VK_RETURN, VK_RETURN}) {  // videos, the first one, play
                session.Press(key);
                session.Run(milliseconds(500));
            }
            const int shown = kernel.FramesShown();
            session.Run(kPlayTime * frames);
            const int played = kernel.FramesShown() - shown;
            Finish(played >= frames - 1 && played <= frames + 1, "the clip was not played");
        },
        repeats);
}

// Each worker's deepest path: connecting, streaming, recording, stills, and everything that can go wrong with them.
// Prints how many bytes of stack each took.
void Stacks(int /*repeats*/) {
    Turns::Instance().PaintStacks();
    Session::Play(
        [](Session& session, int) {
            DeviceKernel& kernel = session.Kernel();
            kernel.UseStack();
            session.RunToLiveView();
            for (const int key : {VK_RETURN, VK_F2, VK_UP, VK_F3, VK_RETURN}) {  // a still, turned, zoomed, a video
                session.Press(key);
                session.Run(seconds(3));
            }
            session.Press(VK_RETURN);  // ends the video
            session.Run(seconds(1));
            session.Press(VK_RETURN);
            session.Run(seconds(2));
            kernel.FillMedia();  // ends this one
            session.Run(seconds(2));
            kernel.FailCamera(VIDIOC_DQBUF, EIO, 1);
            session.Run(seconds(3));
            kernel.FailCamera(VIDIOC_DQBUF, EAGAIN, 1);
            kernel.FailCamera(VIDIOC_REQBUFS, EBUSY, 8);
            session.Run(seconds(6));
            kernel.PlugCamera(false);
            session.Run(seconds(3));
            kernel.PlugCamera(true);
            session.Run(seconds(3));
            for (const Turns::StackUse& use : Turns::Instance().StackUses())
                std::fprintf(stderr, "%s %zu\n", use.name, use.deepest);
            Finish(kernel.FramesShown() > 0 && kernel.FramesWritten() > 0, "nothing was shown or recorded");
        },
        0);
}

// Live view with a recording. Prints the resident KiB.
void Memory(int /*repeats*/) {
    Session::Play(
        [](Session& session, int) {
            session.RunToLiveView();
            session.Press(VK_F3);
            session.Press(VK_RETURN);
            session.Run(seconds(10));
            std::fprintf(stderr, "%ld\n", device::ResidentKib());
            Finish(session.Kernel().FramesWritten() > 200, "nothing was recorded");
        },
        0);
}

// `repeats`: over how many the cost of one is taken; 0 for works that are counted once, from the start of the process,
// or print their own result.
struct Work {
    const char* name;
    void (*run)(int repeats);
    int repeats;
};
constexpr Work kWorks[] = {
    {"planar", Planar, 10}, {"rgb24", Rgb24, 2},   {"live", Live, 60},      {"recorded", Recorded, 60},
    {"still", Still, 1},    {"tick", Tick, 50},    {"start", Start, 0},     {"menu", Menu, 4},
    {"stacks", Stacks, 0},  {"memory", Memory, 0}, {"browser", Browser, 1}, {"played", Played, 60},
};

}  // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    Turns::Instance();
    const int repeats = argc == 3 ? static_cast<int>(std::strtol(argv[2], nullptr, 10)) : 0;
    for (const Work& work : kWorks) {
        if (argc == 3 && std::strcmp(argv[1], work.name) == 0) {
            work.run(repeats);
            return EXIT_SUCCESS;
        }
    }
    if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
        for (const Work& work : kWorks)
            std::printf("%s %d\n", work.name, work.repeats);
        return EXIT_SUCCESS;
    }
    std::fprintf(stderr, "usage: device_work NAME REPEATS | device_work --list\n");
    return 2;
}
