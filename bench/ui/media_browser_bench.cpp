// The media browser and the player's path of one frame.
//
// Files go to $TMPDIR, or to the working directory. A page of six photos is to take at most 1.3 times what libjpeg
// alone needs to decode them at the same scale; a page costs the same whatever the number of files and the length of
// the clips; a shown frame is one read and one conversion.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <list>
#include <string>
#include <vector>

#include "media/avilib.h"
#include "media/clip_frame.h"
#include "media/jpeg_encoder.h"
#include "media/varno_avi_reader.h"
#include "mwin/memory_screen.h"
#include "mwin/platform.h"
#include "sys/kernel_linux.h"
#include "ui/media/explorer_selection.h"
#include "ui/media/media_files.h"
#include "ui/media/varno_ui_ctrl_2line_explorer.h"
#include "video/frames/pixel_conversion.h"

#include <jpeglib.h>  // after ours: it defines TRUE and FALSE as macros

// The room's dialogs name it; nothing here ends the program.
void sig_int_handler(int /*signal*/) {}

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kFrameBytes = std::size_t{ClipFrame::kWidth} * ClipFrame::kHeight * 2;

class NoKeys final : public mwin::Keys {
  public:
    bool Read(mwin::KeyEvent& /*event*/) override { return false; }
};
class StillClock final : public mwin::Clock {
  public:
    std::uint32_t TickCount() override { return 1; }
    void Wait(int /*timeout_ms*/) override {}
    void Wake() override {}
};

fs::path Folder() {
    const char* folder = std::getenv("TMPDIR");
    return fs::path(folder ? folder : ".") / "bench-media";
}

// What a camera sees: smooth, with some grain.
std::vector<unsigned char> Picture(unsigned width, unsigned height) {
    std::vector<unsigned char> yuyv(std::size_t{width} * height * 2);
    unsigned grain = 1;
    for (std::size_t i = 0; i < yuyv.size(); ++i) {
        grain = grain * 1664525 + 1013904223;
        yuyv[i] = static_cast<unsigned char>((i % (width * 2) / 8 + i / (width * 8)) % 200 + (grain >> 28));
    }
    return yuyv;
}

std::list<std::string> Photos() {
    std::list<std::string> paths;
    std::vector<unsigned char> picture = Picture(640, 480);
    for (int i = 0; i < 6; ++i) {
        paths.push_back(Folder() / ("photo" + std::to_string(i) + ".jpg"));
        FILE* file = std::fopen(paths.back().c_str(), "wb");
        if (!file || encode_yuv422_to_rgb_jpeg(file, picture.data(), 640, 480, 100) != 0) std::exit(1);
        std::fclose(file);
    }
    return paths;
}

// Six clips of `bytes` bytes, nearly all of it a hole in the file behind three frames; without an index.
std::list<std::string> Clips(std::uintmax_t bytes) {
    std::list<std::string> paths;
    const std::vector<unsigned char> picture = Picture(ClipFrame::kWidth, ClipFrame::kHeight);
    for (int i = 0; i < 6; ++i) {
        paths.push_back(Folder() / ("clip" + std::to_string(i) + ".avi"));
        avi_t* avi = AVI_open_output_file(paths.back().c_str());
        if (!avi) std::exit(1);
        AVI_set_video(avi, ClipFrame::kWidth, ClipFrame::kHeight, 30, "YUY2");
        for (int frame = 0; frame < 3; ++frame)
            AVI_write_frame(avi, reinterpret_cast<const char*>(picture.data()), kFrameBytes, 1);
        AVI_close(avi);
        fs::resize_file(paths.back(), bytes);
    }
    return paths;
}

CVarnoUICtrl2LineExplorer& Grid(MEDIA_TYPE type) {
    static HWND window =
        CreateWindowEx(0, "STATIC", "", WS_POPUP | WS_VISIBLE, 0, 0, 320, 240, nullptr, nullptr, nullptr, nullptr);
    static auto& grid = *CVarnoUICtrl2LineExplorer::CreateNew(nullptr, window, 0, 38, 320, 165);
    grid.SetMediaType(type);
    return grid;
}

void DecodeAlone(const std::string& path, unsigned scale) {
    FILE* file = std::fopen(path.c_str(), "rb");
    jpeg_decompress_struct info{};
    jpeg_error_mgr errors{};
    info.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&info);
    jpeg_stdio_src(&info, file);
    jpeg_read_header(&info, TRUE);
    info.scale_num = scale;
    info.scale_denom = 8;
    info.out_color_space = JCS_EXT_BGRA;
    jpeg_start_decompress(&info);
    std::vector<unsigned char> pixels(std::size_t{info.output_width} * info.output_height * 4);
    while (info.output_scanline < info.output_height) {
        JSAMPROW row = pixels.data() + std::size_t{info.output_scanline} * info.output_width * 4;
        jpeg_read_scanlines(&info, &row, 1);
    }
    jpeg_finish_decompress(&info);
    jpeg_destroy_decompress(&info);
    std::fclose(file);
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

template <typename Work>
double Seconds(Work work) {
    const auto start = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void ComparePhotos() {
    const std::list<std::string> photos = Photos();
    std::vector<double> alone;
    std::vector<double> page;
    for (int round = 0; round < 51; ++round) {
        alone.push_back(Seconds([&] {
            for (const std::string& photo : photos)
                DecodeAlone(photo, 2);
        }));
        page.push_back(Seconds([&] { Grid(Media_Photo).InitPicList(photos); }));
    }
    std::fprintf(stderr, "page of six photos %.2f ms, libjpeg alone %.2f ms, ratio %.3f (limit 1.3)\n",
                 Median(page) * 1e3, Median(alone) * 1e3, Median(page) / Median(alone));
}

// Bytes that this process has read so far.
double BytesRead() {
    std::ifstream io("/proc/self/io");
    std::string name;
    double bytes = 0;
    io >> name >> bytes;
    return bytes;
}

void PageOfSixClips(benchmark::State& state) {
    const std::list<std::string> clips = Clips(static_cast<std::uintmax_t>(state.range(0)) << 20U);
    const double before = BytesRead();
    for ([[maybe_unused]] auto unused : state)
        Grid(Media_Video).InitPicList(clips);
    state.counters["read/page"] = (BytesRead() - before) / static_cast<double>(state.iterations());
}
BENCHMARK(PageOfSixClips)->Arg(1)->Arg(4095)->Unit(benchmark::kMillisecond);  // MiB

void ListFilesAndShowLastPage(benchmark::State& state) {
    const fs::path folder = Folder() / "many";
    fs::create_directories(folder);
    for (int i = 0; i < state.range(0); ++i)
        std::ofstream(folder / (std::to_string(1000000 + i * 7919 % state.range(0)) + ".jpg"));
    for ([[maybe_unused]] auto unused : state) {
        const std::vector<FileList> files = ListMediaFiles(folder, FileList::kPhoto);
        std::list<std::string> last;
        for (std::size_t i = (PageCount(static_cast<unsigned>(files.size())) - 1) * kPageItems; i < files.size(); ++i)
            last.push_back(files[i].m_strPath);
        Grid(Media_Photo).InitPicList(last);
    }
    fs::remove_all(folder);
}
BENCHMARK(ListFilesAndShowLastPage)->Arg(100)->Arg(10000)->Unit(benchmark::kMillisecond);

// The player's frame: from the file to the planes that the display takes.
void PlayedFrame(benchmark::State& state) {
    const std::list<std::string> clips = Clips(1 << 20);
    const std::unique_ptr<CVarnoAVIReader> reader(CVarnoAVIReader::CreateNew(clips.front(), Varno_PIX_FMT_YUYV422));
    const auto frame = ClipFrame::CreateNew(*reader);
    std::vector<unsigned char> planes(kFrameBytes);
    for ([[maybe_unused]] auto unused : state) {
        reader->ResetFrame();
        if (!frame->ReadNext(*reader)) state.SkipWithError("no frame");
        YUYVtoYUV422PZoomoutCen(frame->Picture(), planes.data(), ClipFrame::kWidth, ClipFrame::kHeight,
                                ClipFrame::kWidth, ClipFrame::kHeight);
        benchmark::DoNotOptimize(planes.data());
    }
}
BENCHMARK(PlayedFrame)->Unit(benchmark::kMicrosecond);

// The same with a plain read.
void PlainReadAndConversion(benchmark::State& state) {
    const std::list<std::string> clips = Clips(1 << 20);
    const int fd = open(clips.front().c_str(), O_RDONLY);
    std::vector<unsigned char> frame(kFrameBytes);
    std::vector<unsigned char> planes(kFrameBytes);
    for ([[maybe_unused]] auto unused : state) {
        if (pread(fd, frame.data(), frame.size(), 2056) != static_cast<ssize_t>(frame.size())) std::exit(1);
        YUYVtoYUV422PZoomoutCen(frame.data(), planes.data(), ClipFrame::kWidth, ClipFrame::kHeight, ClipFrame::kWidth,
                                ClipFrame::kHeight);
        benchmark::DoNotOptimize(planes.data());
    }
    close(fd);
}
BENCHMARK(PlainReadAndConversion)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
    static Varno::LinuxKernel kernel;
    Varno::InstallKernel(kernel);
    static mwin::MemoryScreen screen(320, 240);
    static NoKeys keys;
    static StillClock clock;
    mwin::Install(screen, keys, clock);
    initLut();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    fs::create_directories(Folder());
    if (!std::freopen("/dev/null", "w", stdout)) return 1;  // the libraries' traces
    ComparePhotos();
    benchmark::ConsoleReporter reporter;
    reporter.SetOutputStream(&std::cerr);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    fs::remove_all(Folder());
    return 0;
}
