#include "mwin/picture_file.h"

#include <fcntl.h>
#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>

namespace mwin {

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
    if (starts_with("\xFF\xD8\xFF", 3)) return DecodeJpeg(data, size);
    if (starts_with("GIF8", 4)) return DecodeGif(data, size);
    return {};
}

Picture LoadPicture(const char* path) {
    if (path == nullptr) return {};
    const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return {};
    Picture picture;
    struct stat status {};
    if (fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0 &&
        static_cast<std::uint64_t>(status.st_size) <= kMaxPictureFileBytes) {
        const auto size = static_cast<std::size_t>(status.st_size);
        const std::unique_ptr<std::uint8_t[]> data(new (std::nothrow) std::uint8_t[size]);
        std::size_t filled = 0;
        while (data && filled < size) {
            const ssize_t count = read(fd, data.get() + filled, size - filled);
            if (count < 0 && errno == EINTR) continue;
            if (count <= 0) break;
            filled += static_cast<std::size_t>(count);
        }
        if (data) picture = DecodePicture(data.get(), filled);
    }
    close(fd);
    return picture;
}

}  // namespace mwin
