// AVI writing against plain writes of the same bytes, and opening a long file that has no index.
//
// Files go to $TMPDIR, or to the working directory. Writing is to reach 0.9 of the speed of plain writes; the time to
// open is to grow with the number of frames and to be as short per frame in a long file as in a short one.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "media/avilib.h"
#include "sys/kernel_linux.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr long kFrameBytes = 320 * 240 * 2;
constexpr int kFrames = 600;

std::string Path(const char* name) {
    const char* folder = std::getenv("TMPDIR");
    return std::string(folder ? folder : ".") + "/" + name;
}

double Seconds(Clock::time_point from) {
    return std::chrono::duration<double>(Clock::now() - from).count();
}

void Fail(const char* what) {
    std::perror(what);
    std::exit(1);
}

// A recording that was cut: `frames` frame headers at their places, the frames themselves holes in the file.
void MakeCutRecording(const std::string& path, long frames) {
    avi_t* avi = AVI_open_output_file(path.c_str());
    if (!avi) Fail(path.c_str());
    AVI_set_video(avi, 320, 240, 30, "YUY2");
    AVI_close(avi);

    const int fd = open(path.c_str(), O_RDWR);
    if (fd < 0) Fail(path.c_str());
    // Closing wrote a finished header; a cut recording has the one of the beginning, with open ends.
    const unsigned char openEnd[4] = {0x03, 0xF0, 0xFF, 0xFE};
    if (pwrite(fd, openEnd, 4, 4) != 4 || pwrite(fd, openEnd, 4, 2040) != 4) Fail("header");
    unsigned char header[8] = {'0', '0', 'd', 'b'};
    for (int i = 0; i < 4; ++i)
        header[4 + i] = static_cast<unsigned char>(kFrameBytes >> (8 * i));
    off_t pos = 2048;
    for (long i = 0; i < frames; ++i, pos += kFrameBytes + 8) {
        if (pwrite(fd, header, sizeof header, pos) != static_cast<ssize_t>(sizeof header)) Fail("pwrite");
    }
    if (ftruncate(fd, pos) < 0) Fail("ftruncate");
    close(fd);
}

void OpenWithoutIndex(benchmark::State& state) {
    const long frames =
        static_cast<long>(std::min<std::int64_t>(state.range(0) << 30, AVI_max_size()) / (kFrameBytes + 8)) - 1;
    const std::string path = Path("bench-cut.avi");
    MakeCutRecording(path, frames);
    // The first look brings the headers into the page cache; it would measure the medium.
    avi_t* first = AVI_open_input_file(path.c_str(), 1);
    if (first) AVI_close(first);
    for ([[maybe_unused]] auto unused : state) {
        avi_t* avi = AVI_open_input_file(path.c_str(), 1);
        if (!avi || AVI_video_frames(avi) != frames) state.SkipWithError("not all frames found");
        if (avi) AVI_close(avi);
    }
    state.counters["frames"] = static_cast<double>(frames);
    state.counters["time/frame"] = benchmark::Counter(
        static_cast<double>(frames), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    unlink(path.c_str());
}
// GiB, the last one as much of it as a file may have.
BENCHMARK(OpenWithoutIndex)->Arg(1)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond)->UseRealTime();

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Frames go to both files in turn, so that both meet the same moods of the medium; the medians are compared.
void CompareWriting() {
    const std::vector<char> frame(kFrameBytes + 8, 'f');
    avi_t* avi = AVI_open_output_file(Path("bench.avi").c_str());
    const int fd = open(Path("bench.raw").c_str(), O_RDWR | O_CREAT | O_TRUNC | O_DSYNC, 0644);
    if (!avi || fd < 0 || write(fd, frame.data(), AVI_HEADER_BYTES) != AVI_HEADER_BYTES) Fail("bench files");
    AVI_set_video(avi, 320, 240, 30, "YUY2");

    std::vector<double> plain;
    std::vector<double> library;
    for (int i = 0; i < kFrames; ++i) {
        const auto start = Clock::now();
        if (write(fd, frame.data(), kFrameBytes + 8) != kFrameBytes + 8) Fail("write");
        plain.push_back(Seconds(start));
        const auto middle = Clock::now();
        if (AVI_write_frame(avi, frame.data(), kFrameBytes, i) < 0) Fail("AVI_write_frame");
        library.push_back(Seconds(middle));
    }
    AVI_close(avi);
    close(fd);
    unlink(Path("bench.avi").c_str());
    unlink(Path("bench.raw").c_str());

    const double megabytes = static_cast<double>(kFrameBytes + 8) / 1e6;
    std::fprintf(stderr, "plain writes %.1f MB/s, AVI %.1f MB/s, ratio %.3f\n", megabytes / Median(plain),
                 megabytes / Median(library), Median(plain) / Median(library));
}

}  // namespace

int main(int argc, char** argv) {
    static Varno::LinuxKernel kernel;
    Varno::InstallKernel(kernel);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    CompareWriting();
    if (!std::freopen("/dev/null", "w", stdout)) return 1;  // the library's traces
    benchmark::ConsoleReporter reporter;
    reporter.SetOutputStream(&std::cerr);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return 0;
}
