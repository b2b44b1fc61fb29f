// Frame conversions against their yardsticks, in one process: libyuv for the planar split, clamping with branches per
// pixel for RGB. Prints the ratios after the table; the best of several repetitions counts, in time of the CPU.
#include <benchmark/benchmark.h>
#include <libyuv/convert.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "video/frames/double_buffer.h"
#include "video/frames/pixel_conversion.h"
#include "video/frames/yuyv_planes.h"

namespace {

constexpr int kRepetitions = 7;

using Bytes = std::vector<unsigned char>;

// Soft shapes under sensor noise, bright and dark enough to clamp here and there, as a camera delivers.
Bytes CameraFrame(int width, int height) {
    std::mt19937 random(20240517);
    std::normal_distribution<double> noise(0, 4);
    Bytes frame(static_cast<std::size_t>(width) * height * 2);
    const auto sample = [&](double value) {
        return static_cast<unsigned char>(std::clamp(value + noise(random), 0.0, 255.0));
    };
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; x += 2) {
            unsigned char* pair = &frame[(static_cast<std::size_t>(y) * width + x) * 2];
            const double light = 128 + 130 * std::sin(x * 0.031) * std::cos(y * 0.023);
            pair[0] = sample(light);
            pair[1] = sample(128 + 60 * std::sin((x + y) * 0.017));
            pair[2] = sample(light);
            pair[3] = sample(128 + 60 * std::cos((x - y) * 0.013));
        }
    }
    return frame;
}

// The yardstick for RGB: every pixel for itself, limits by comparison.
unsigned char Limited(int value) {
    if (value < 0) return 0;
    if (value > 255) return 255;
    return static_cast<unsigned char>(value);
}

struct NaiveTables {
    int rv[256], bu[256], gu[256], gv[256];
};

NaiveTables MakeNaiveTables() {
    NaiveTables tables{};
    for (int i = 0; i < 256; ++i) {
        tables.rv[i] = static_cast<int>((i - 128) * 1370.705 / 1000.0);
        tables.bu[i] = static_cast<int>((i - 128) * 1732.446 / 1000.0);
        tables.gu[i] = static_cast<int>((128 - i) * 37.677 / 1000.0);
        tables.gv[i] = static_cast<int>((128 - i) * 698.001 / 1000.0);
    }
    return tables;
}

void NaiveRgb24(const NaiveTables& tables, const unsigned char* in, unsigned char* out, std::size_t pairs) {
    for (; pairs > 0; --pairs, in += 4) {
        for (int pixel = 0; pixel < 2; ++pixel) {
            *out++ = Limited(in[2 * pixel] + tables.rv[in[3]]);
            *out++ = Limited(in[2 * pixel] + tables.gu[in[1]] + tables.gv[in[3]]);
            *out++ = Limited(in[2 * pixel] + tables.bu[in[1]]);
        }
    }
}

void PlanarOurs(benchmark::State& state) {
    const Bytes in = CameraFrame(320, 240);
    Bytes out(in.size());
    for (auto _ : state) {
        YUYVtoYUV422PZoomoutCen(in.data(), out.data(), 320, 240, 320, 240);
        benchmark::ClobberMemory();
    }
}

void PlanarWords(benchmark::State& state) {
    const Bytes in = CameraFrame(320, 240);
    Bytes out(in.size());
    const std::size_t pixels = in.size() / 2;
    for (auto _ : state) {
        frames::SplitYuyvWords(in.data(), {out.data(), &out[pixels], &out[pixels + pixels / 2]}, pixels / 2);
        benchmark::ClobberMemory();
    }
}

void PlanarLibyuv(benchmark::State& state) {
    const Bytes in = CameraFrame(320, 240);
    Bytes out(in.size());
    const std::size_t pixels = in.size() / 2;
    for (auto _ : state) {
        libyuv::YUY2ToI422(in.data(), 640, out.data(), 320, &out[pixels], 160, &out[pixels + pixels / 2], 160, 320,
                           240);
        benchmark::ClobberMemory();
    }
}

void ZoomedOurs(benchmark::State& state) {
    const Bytes in = CameraFrame(320, 240);
    Bytes out(in.size());
    for (auto _ : state) {
        YUYVtoYUV422PZoomoutCen(in.data(), out.data(), 320, 240, 160, 120);
        benchmark::ClobberMemory();
    }
}

void Rgb24Ours(benchmark::State& state) {
    const Bytes in = CameraFrame(640, 480);
    Bytes out(in.size() / 2 * 3);
    for (auto _ : state) {
        Pyuv422torgb24(in.data(), out.data(), 640, 480);
        benchmark::ClobberMemory();
    }
}

void Rgb24Branches(benchmark::State& state) {
    const Bytes in = CameraFrame(640, 480);
    Bytes out(in.size() / 2 * 3);
    const NaiveTables tables = MakeNaiveTables();
    for (auto _ : state) {
        NaiveRgb24(tables, in.data(), out.data(), in.size() / 4);
        benchmark::ClobberMemory();
    }
}

void Rgb32Ours(benchmark::State& state) {
    const Bytes in = CameraFrame(320, 240);
    Bytes out(in.size() * 2);
    for (auto _ : state) {
        Pyuv422torgb32(in.data(), out.data(), 320, 240);
        benchmark::ClobberMemory();
    }
}

void QueueFrame(benchmark::State& state) {
    const Bytes in = CameraFrame(320, 240);
    const std::unique_ptr<CDoubleBuffer> queue(CDoubleBuffer::CreateNew(static_cast<int>(in.size()), 2));
    for (auto _ : state) {
        queue->AddNewData(reinterpret_cast<const char*>(in.data()), static_cast<int>(in.size()));
        queue->ReleaseData(queue->PopData());
    }
}

// The console's table, and the best time of each benchmark. Writes to standard error: the conversions print to standard
// output, which main sends away while they run.
class BestTimes : public benchmark::ConsoleReporter {
  public:
    BestTimes() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration) continue;
            const auto found = best_.emplace(run.run_name.function_name, run.GetAdjustedCPUTime()).first;
            found->second = std::min(found->second, run.GetAdjustedCPUTime());
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void PrintRatio(const char* label, const std::string& ours, const std::string& yardstick) const {
        const auto a = best_.find(ours);
        const auto b = best_.find(yardstick);
        if (a != best_.end() && b != best_.end()) std::fprintf(stderr, "%s = %.2f\n", label, a->second / b->second);
    }

  private:
    std::map<std::string, double> best_;
};

}  // namespace

#define VARNO_BENCHMARK(function) BENCHMARK(function)->Repetitions(kRepetitions)->Unit(benchmark::kMicrosecond)
VARNO_BENCHMARK(PlanarOurs);
VARNO_BENCHMARK(PlanarLibyuv);
VARNO_BENCHMARK(PlanarWords);
VARNO_BENCHMARK(ZoomedOurs);
VARNO_BENCHMARK(Rgb24Ours);
VARNO_BENCHMARK(Rgb24Branches);
VARNO_BENCHMARK(Rgb32Ours);
VARNO_BENCHMARK(QueueFrame);

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    if (!std::freopen("/dev/null", "w", stdout)) return 1;
    initLut();
    BestTimes reporter;
    reporter.SetOutputStream(&std::cerr);
    reporter.SetErrorStream(&std::cerr);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    freeLut();
    reporter.PrintRatio("YUYV→planar / libyuv", "PlanarOurs", "PlanarLibyuv");
    reporter.PrintRatio("YUYV→planar by words / libyuv", "PlanarWords", "PlanarLibyuv");
    reporter.PrintRatio("YUYV→RGB24 / clamping with branches", "Rgb24Ours", "Rgb24Branches");
    return 0;
}
