#include "board/picture_codec.h"

#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <vector>

#include <jpeglib.h>
#include <png.h>

namespace board {
namespace {

std::vector<std::uint8_t> ToRgb(const std::uint32_t* pixels, int width, int height) {
    const std::size_t count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    std::vector<std::uint8_t> rgb(count * 3);
    std::uint8_t* out = rgb.data();
    for (std::size_t i = 0; i < count; ++i) {
        *out++ = static_cast<std::uint8_t>(pixels[i] >> 16U);
        *out++ = static_cast<std::uint8_t>(pixels[i] >> 8U);
        *out++ = static_cast<std::uint8_t>(pixels[i]);
    }
    return rgb;
}

// The library's errors must not be thrown through it: they come back here by a jump. No object with a destructor may
// live in this function.
struct JpegErrors {
    jpeg_error_mgr manager;  // first, so that the library's pointer to it is a pointer to this
    std::jmp_buf back;
};

bool CompressJpeg(const std::uint8_t* rgb, int width, int height, int quality, unsigned char** file,
                  unsigned long* length) {
    JpegErrors errors;
    jpeg_compress_struct jpeg;
    jpeg.err = jpeg_std_error(&errors.manager);
    // The C library offers no other way out.
    errors.manager.error_exit = [](j_common_ptr codec) {
        std::longjmp(reinterpret_cast<JpegErrors*>(codec->err)->back, 1);  // NOLINT(cert-err52-cpp): see above
    };
    if (setjmp(errors.back) != 0) {  // NOLINT(cert-err52-cpp): see above
        jpeg_destroy_compress(&jpeg);
        return false;
    }
    jpeg_create_compress(&jpeg);
    jpeg_mem_dest(&jpeg, file, length);
    jpeg.image_width = static_cast<JDIMENSION>(width);
    jpeg.image_height = static_cast<JDIMENSION>(height);
    jpeg.input_components = 3;
    jpeg.in_color_space = JCS_RGB;
    jpeg_set_defaults(&jpeg);
    jpeg_set_quality(&jpeg, quality, TRUE);
    jpeg.comp_info[0].h_samp_factor = jpeg.comp_info[0].v_samp_factor = 1;
    jpeg_start_compress(&jpeg, TRUE);
    while (jpeg.next_scanline < jpeg.image_height) {
        // Rows are only read, the interface just does not say so.
        JSAMPROW row = const_cast<std::uint8_t*>(rgb) + std::size_t{jpeg.next_scanline} * jpeg.image_width * 3;
        jpeg_write_scanlines(&jpeg, &row, 1);
    }
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    return true;
}

}  // namespace

std::string EncodePng(const std::uint32_t* pixels, int width, int height) {
    const std::vector<std::uint8_t> rgb = ToRgb(pixels, width, height);
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = PNG_FORMAT_RGB;
    image.flags = PNG_IMAGE_FLAG_FAST;
    png_alloc_size_t length = PNG_IMAGE_PNG_SIZE_MAX(image);
    std::string file(length, '\0');
    if (!png_image_write_to_memory(&image, file.data(), &length, 0, rgb.data(), 0, nullptr)) {
        throw std::runtime_error(image.message);
    }
    file.resize(length);
    return file;
}

std::string EncodeJpeg(const std::uint32_t* pixels, int width, int height, int quality) {
    const std::vector<std::uint8_t> rgb = ToRgb(pixels, width, height);
    unsigned char* file = nullptr;
    unsigned long length = 0;
    const bool done = CompressJpeg(rgb.data(), width, height, quality, &file, &length);
    const std::unique_ptr<unsigned char, void (*)(void*)> owner(file, std::free);
    if (!done) throw std::runtime_error("JPEG encoder");
    return {reinterpret_cast<const char*>(file), length};
}

}  // namespace board
