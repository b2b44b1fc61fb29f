// AVI writing against plain writes of the same bytes, and opening a long file that has no index.
//
// Files go to $TMPDIR, or to the working directory. The last lines are the two figures that matter: the writing speed
// as a share of plain writing (at least 0.9), and how the time to open grows with the number of frames, not with the
// bytes.
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
constexpr int kFramesPerRound = 60;
constexpr int kRounds = 9;

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

// Seconds that kFramesPerRound frames take, the file already open.
double WriteAvi(const std::vector<char>& frame) {
    avi_t* avi = AVI_open_output_file(Path("bench.avi").c_str());
    if (!avi) Fail("bench.avi");
    AVI_set_video(avi, 320, 240, 30, "YUY2");
    const auto start = Clock::now();
    for (int i = 0; i < kFramesPerRound; ++i) {
        if (AVI_write_frame(avi, frame.data(), kFrameBytes, i) < 0) Fail("AVI_write_frame");
    }
    const double seconds = Seconds(start);
    AVI_close(avi);
    unlink(Path("bench.avi").c_str());
    return seconds;
}

double WritePlain(const std::vector<char>& frame) {
    const int fd = open(Path("bench.raw").c_str(), O_RDWR | O_CREAT | O_TRUNC | O_DSYNC, 0644);
    if (fd < 0 || write(fd, frame.data(), 2048) != 2048) Fail("bench.raw");
    const auto start = Clock::now();
    for (int i = 0; i < kFramesPerRound; ++i) {
        if (write(fd, frame.data(), kFrameBytes + 8) != kFrameBytes + 8) Fail("write");
    }
    const double seconds = Seconds(start);
    close(fd);
    unlink(Path("bench.raw").c_str());
    return seconds;
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

// Rounds alternate, so that both meet the same moods of the medium; the medians are compared.
void CompareWriting() {
    const std::vector<char> frame(kFrameBytes + 8, 'f');
    std::vector<double> avi;
    std::vector<double> plain;
    for (int i = 0; i < kRounds; ++i) {
        plain.push_back(WritePlain(frame));
        avi.push_back(WriteAvi(frame));
    }
    std::sort(avi.begin(), avi.end());
    std::sort(plain.begin(), plain.end());
    const double megabytes = static_cast<double>(kFrameBytes + 8) * kFramesPerRound / 1e6;
    std::fprintf(stderr, "plain writes %.1f MB/s, AVI %.1f MB/s, ratio %.3f\n", megabytes / plain[kRounds / 2],
                 megabytes / avi[kRounds / 2], plain[kRounds / 2] / avi[kRounds / 2]);
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
