// Which of the camera's frames are there? Reads planar 4:2:2 pictures, one behind the other, and prints the number of
// each, or 0 for one that is not as the camera sent it.
//
// Usage: camera_frames WIDTHxHEIGHT NO-CHROMA TOLERANCE <PICTURES
//   A zoomed picture is the left end of the middle lines of the camera's 320x240. NO-CHROMA is the chroma of grey; the
//   mean difference of a byte may be up to TOLERANCE.
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "tests/kernel/guest/camera_picture.h"

namespace {

struct Format {
    int width = 0, height = 0, no_chroma = 0;
};

std::uint32_t FrameNumber(const std::vector<std::uint8_t>& luma, const Format& format, int camera_height) {
    const kernel_test::NumberCells cells(camera_height);
    std::uint32_t number = 0;
    for (int bit = 0; bit < 32; ++bit) {
        const int y = cells.Top(bit, format.height) + cells.size / 2;
        const int x = cells.Left(bit) + cells.size / 2;
        number = number << 1U | (luma[static_cast<std::size_t>(y * format.width + x)] > 128 ? 1U : 0U);
    }
    return number;
}

double MeanDifference(const std::vector<std::uint8_t>& planes, const Format& format, std::uint32_t number,
                      int camera_width, int camera_height) {
    const auto camera = kernel_test::CameraPicture(camera_width, camera_height, number);
    const std::size_t pixels = planes.size() / 2;
    double sum = 0;
    for (std::size_t i = 0; i < pixels; ++i) {
        const auto x = i % static_cast<std::size_t>(format.width);
        const auto y =
            i / static_cast<std::size_t>(format.width) + static_cast<std::size_t>(camera_height - format.height) / 2;
        const std::size_t from = 2 * (y * static_cast<std::size_t>(camera_width) + x);
        const std::size_t chroma = pixels + (x % 2) * pixels / 2 + i / 2;
        sum += std::abs(planes[i] - camera[from]);
        sum += std::abs(planes[chroma] - static_cast<std::uint8_t>(camera[from + 1] - 128 + format.no_chroma));
    }
    return sum / static_cast<double>(planes.size());
}

}  // namespace

int main(int argc, char** argv) {
    Format format;
    if (argc != 4 || std::sscanf(argv[1], "%dx%d", &format.width, &format.height) != 2) {
        std::fprintf(stderr, "usage: %s WIDTHxHEIGHT NO-CHROMA TOLERANCE <PICTURES\n", argv[0]);
        return 2;
    }
    format.no_chroma = std::atoi(argv[2]);
    const int camera_width = format.width > 320 ? 640 : 320;
    const int camera_height = camera_width * 3 / 4;
    std::vector<std::uint8_t> planes(static_cast<std::size_t>(format.width * format.height * 2));
    std::size_t got = 0;
    while ((got = std::fread(planes.data(), 1, planes.size(), stdin)) == planes.size()) {
        const std::uint32_t number = FrameNumber(planes, format, camera_height);
        const double difference = MeanDifference(planes, format, number, camera_width, camera_height);
        std::printf("%u\n", difference <= std::atof(argv[3]) ? number : 0);
    }
    if (got == 0) return EXIT_SUCCESS;
    std::fprintf(stderr, "%s: %zu bytes are left over\n", argv[0], got);
    return EXIT_FAILURE;
}
