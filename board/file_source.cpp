#include "board/file_source.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "mwin/picture_file.h"

namespace board {
namespace fs = std::filesystem;
namespace {

constexpr std::chrono::seconds kShown{2};

struct Color {
    int red, green, blue;
};

// The mean colour of the part of a source row pair that a pixel covers; transparent parts are black.
Color Mean(const mwin::Picture& picture, int left, int top, int right, int bottom) {
    std::int64_t red = 0, green = 0, blue = 0;
    for (int y = top; y < bottom; ++y) {
        for (int x = left; x < right; ++x) {
            const std::uint32_t pixel = picture.pixels[static_cast<std::size_t>(y) * picture.width + x];
            const std::uint32_t alpha = pixel >> 24U;
            red += (pixel >> 16U & 255U) * alpha;
            green += (pixel >> 8U & 255U) * alpha;
            blue += (pixel & 255U) * alpha;
        }
    }
    const std::int64_t whole = std::int64_t{255} * (right - left) * (bottom - top);
    return {static_cast<int>(red / whole), static_cast<int>(green / whole), static_cast<int>(blue / whole)};
}

// ITU-R BT.601, full range as in JFIF; in 1/1024.
int Luma(const Color& c) {
    return (306 * c.red + 601 * c.green + 117 * c.blue) >> 10;
}
int ChromaBlue(const Color& c) {
    return std::clamp(128 + ((-173 * c.red - 339 * c.green + 512 * c.blue) >> 10), 0, 255);
}
int ChromaRed(const Color& c) {
    return std::clamp(128 + ((512 * c.red - 429 * c.green - 83 * c.blue) >> 10), 0, 255);
}

// Fills a YUYV frame of width x height with the picture's middle.
void Scale(const mwin::Picture& picture, int width, int height, std::uint8_t* frame) {
    const int used_width = std::max(1, std::min(picture.width, picture.height * width / height));
    const int used_height = std::max(1, std::min(picture.height, picture.width * height / width));
    const int left = (picture.width - used_width) / 2;
    const int top = (picture.height - used_height) / 2;
    const auto edge = [](int at, int length, int used) { return static_cast<int>(std::int64_t{at} * used / length); };
    for (int y = 0; y < height; ++y) {
        const int y0 = top + edge(y, height, used_height);
        const int y1 = std::max(y0 + 1, top + edge(y + 1, height, used_height));
        for (int x = 0; x < width; ++x) {
            const int x0 = left + edge(x, width, used_width);
            const int x1 = std::max(x0 + 1, left + edge(x + 1, width, used_width));
            const Color color = Mean(picture, x0, y0, x1, y1);
            std::uint8_t* pixel = frame + (static_cast<std::size_t>(y) * width + x) * 2;
            pixel[0] = static_cast<std::uint8_t>(std::clamp(Luma(color), 0, 255));
            pixel[1] = static_cast<std::uint8_t>(x % 2 == 0 ? ChromaBlue(color) : ChromaRed(color));
        }
    }
}

}  // namespace

std::unique_ptr<CameraSource> FileSource::Open(const std::string& path, std::string& error) {
    std::vector<std::string> paths;
    std::error_code failed;
    if (fs::is_directory(path, failed)) {
        for (const auto& entry : fs::directory_iterator(path, failed)) {
            if (mwin::LoadPicture(entry.path().c_str()).pixels) paths.push_back(entry.path().string());
        }
        std::sort(paths.begin(), paths.end());
        if (paths.empty())
            error = path + ": no pictures in this folder" + (failed ? " (" + failed.message() + ")" : "");
    } else if (!fs::exists(path, failed)) {
        error = path + ": " + std::strerror(failed ? failed.value() : ENOENT);
    } else if (mwin::LoadPicture(path.c_str()).pixels) {
        paths.push_back(path);
    } else {
        error = path + ": no picture that can be read (JPEG, PNG or GIF)";
    }
    if (paths.empty()) return nullptr;
    return std::unique_ptr<CameraSource>(new FileSource(std::move(paths)));
}

bool FileSource::Load(std::size_t index, int width, int height) {
    const mwin::Picture picture = mwin::LoadPicture(paths_[index].c_str());
    if (!picture.pixels) return false;
    frame_.resize(static_cast<std::size_t>(width) * height * 2);
    Scale(picture, width, height, frame_.data());
    loaded_ = index;
    width_ = width;
    height_ = height;
    return true;
}

bool FileSource::Render(const FrameRequest& request, std::uint8_t* frame) {
    const std::size_t index = static_cast<std::size_t>(request.time / kShown) % paths_.size();
    const bool current = loaded_ == index && width_ == request.width && height_ == request.height;
    if (!current && !Load(index, request.width, request.height)) {
        // A file that has gone meanwhile: black, in step with the others.
        frame_.assign(static_cast<std::size_t>(request.width) * request.height * 2, 128);
        for (std::size_t i = 0; i < frame_.size(); i += 2)
            frame_[i] = 0;
        loaded_ = index;
        width_ = request.width;
        height_ = request.height;
    }
    std::memcpy(frame, frame_.data(), frame_.size());
    return true;
}

}  // namespace board
