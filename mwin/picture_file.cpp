#include "mwin/picture_file.h"

#include <fcntl.h>
#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <new>

namespace mwin {
namespace {

constexpr char kJpegMagic[] = "\xFF\xD8\xFF";

struct FileCloser {
    void operator()(FILE* file) const { std::fclose(file); }
};

}  // namespace

bool Picture::Allocate(std::int64_t new_width, std::int64_t new_height) {
    if (new_width <= 0 || new_height <= 0 || new_width > kMaxPicturePixels / new_height) return false;
    pixels.reset(new (std::nothrow) std::uint32_t[static_cast<std::size_t>(new_width * new_height)]());
    width = static_cast<int>(new_width);
    height = static_cast<int>(new_height);
    return pixels != nullptr;
}

Picture DecodePng(const std::uint8_t* data, std::size_t size) {
    png_image reader{};
    reader.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_memory(&reader, data, size) == 0) return {};
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    reader.format = PNG_FORMAT_BGRA;
#else
    reader.format = PNG_FORMAT_ARGB;
#endif
    Picture picture;
    const bool read = picture.Allocate(reader.width, reader.height) &&
                      png_image_finish_read(&reader, nullptr, picture.pixels.get(), 0, nullptr) != 0;
    png_image_free(&reader);
    return read ? std::move(picture) : Picture{};
}

Picture DecodePicture(const std::uint8_t* data, std::size_t size) {
    const auto starts_with = [&](const char* magic, std::size_t length) {
        return size > length && std::memcmp(data, magic, length) == 0;
    };
    if (starts_with("\x89PNG\r\n\x1a\n", 8)) return DecodePng(data, size);
    if (starts_with(kJpegMagic, sizeof kJpegMagic - 1)) return DecodeJpeg(data, size);
    if (starts_with("GIF8", 4)) return DecodeGif(data, size);
    return {};
}

Picture LoadPicture(const char* path, const Room& room) {
    if (path == nullptr) return {};
    const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return {};
    const std::unique_ptr<FILE, FileCloser> file(fdopen(fd, "rb"));
    if (!file) {
        close(fd);
        return {};
    }
    struct stat status {};
    if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size <= 0 ||
        static_cast<std::uint64_t>(status.st_size) > kMaxPictureFileBytes) {
        return {};
    }
    // The magic is shorter than any stream's buffer, so that going back reads nothing again.
    std::uint8_t magic[sizeof kJpegMagic - 1];
    const bool is_jpeg =
        std::fread(magic, sizeof magic, 1, file.get()) == 1 && std::memcmp(magic, kJpegMagic, sizeof magic) == 0;
    std::rewind(file.get());
    if (is_jpeg) return DecodeJpeg(file.get(), room);

    const auto size = static_cast<std::size_t>(status.st_size);
    const std::unique_ptr<std::uint8_t[]> data(new (std::nothrow) std::uint8_t[size]);
    return data ? DecodePicture(data.get(), std::fread(data.get(), 1, size, file.get())) : Picture{};
}

}  // namespace mwin
