#include "media/jpeg_encoder.h"

#include <csetjmp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

// libjpeg's header needs the standard types first.
#include <jpeglib.h>

#include "video/frames/pixel_conversion.h"

namespace {

// libjpeg's error record and, right behind it, where to go on after a fatal error.
struct ErrorManager {
    jpeg_error_mgr base;
    std::jmp_buf jump;
};

[[noreturn]] void error_exit(j_common_ptr cinfo) {
    cinfo->err->output_message(cinfo);
    // The record begins with the manager that libjpeg knows.
    std::longjmp(reinterpret_cast<ErrorManager*>(cinfo->err)->jump, 1);  // NOLINT(cert-err52-cpp): out of C code
}

// Has no object with a destructor: an error jumps out of the middle of it.
int Compress(FILE* fp, unsigned char* rgb, int width, int height, int quality) {
    jpeg_compress_struct cinfo{};
    ErrorManager errors{};
    cinfo.err = jpeg_std_error(&errors.base);
    errors.base.error_exit = error_exit;
    if (setjmp(errors.jump)) {  // NOLINT(cert-err52-cpp): the only way out of libjpeg
        jpeg_destroy_compress(&cinfo);
        return -1;
    }
    jpeg_create_compress(&cinfo);
    jpeg_stdio_dest(&cinfo, fp);
    cinfo.image_width = static_cast<JDIMENSION>(width);
    cinfo.image_height = static_cast<JDIMENSION>(height);
    cinfo.input_components = 3;
    cinfo.in_color_space = JCS_RGB;
    jpeg_set_defaults(&cinfo);
    jpeg_set_quality(&cinfo, quality, TRUE);
    cinfo.dct_method = JDCT_ISLOW;

    jpeg_start_compress(&cinfo, TRUE);
    const std::size_t stride = static_cast<std::size_t>(width) * 3;
    while (cinfo.next_scanline < cinfo.image_height) {
        JSAMPROW row = rgb + cinfo.next_scanline * stride;
        jpeg_write_scanlines(&cinfo, &row, 1);
    }
    jpeg_finish_compress(&cinfo);
    jpeg_destroy_compress(&cinfo);
    return 0;
}

}  // namespace

int encode_yuv422_to_rgb_jpeg(FILE* fp, unsigned char* yuyv, int width, int height, int quality) {
    if (width < 1 || height < 1) return -1;
    const std::uint64_t bytes = std::uint64_t{3} * static_cast<unsigned>(width) * static_cast<unsigned>(height);
    if (bytes > PTRDIFF_MAX) return -1;
    // Zeroed: an odd last pixel is not converted.
    const std::unique_ptr<unsigned char[]> rgb(new (std::nothrow) unsigned char[static_cast<std::size_t>(bytes)]());
    if (!rgb) return -1;
    Pyuv422torgb24(yuyv, rgb.get(), static_cast<unsigned>(width), static_cast<unsigned>(height));
    return Compress(fp, rgb.get(), width, height, quality);
}
