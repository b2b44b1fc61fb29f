#include <algorithm>
#include <csetjmp>
#include <cstdio>

#include <jerror.h>
#include <jpeglib.h>

#include "mwin/picture_file.h"

namespace mwin {
namespace {

// What libjpeg may allocate for itself: a progressive picture of 12 megapixels with halved chroma needs 36 MiB.
constexpr long kMaxDecoderMemory = 48L * 1024 * 1024;
// Progressive files have about ten scans; a small file with thousands of them would keep the decoder busy for minutes.
constexpr int kMaxScans = 100;
// libjpeg has a quick way to decode for as long as 3 KiB of input are at hand. Its own source for files reads 4 KiB at
// a time, so that three quarters of a photo would be decoded the slow way.
constexpr std::size_t kReadBytes = 64 * 1024;

struct Decoder {
    jpeg_decompress_struct info{};
    jpeg_error_mgr errors{};
    jpeg_progress_mgr progress{};
    std::jmp_buf failed{};
    std::unique_ptr<std::uint8_t[]> cmyk_row;
    jpeg_source_mgr from_file{};
    FILE* file = nullptr;
    std::unique_ptr<std::uint8_t[]> read;  // what was read from it last, kReadBytes at most

    Decoder() = default;
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;
    ~Decoder() { jpeg_destroy_decompress(&info); }
};

// A file, or data in memory.
struct Source {
    const std::uint8_t* data;
    std::size_t size;
    FILE* file;
};

[[noreturn]] void Fail(j_common_ptr info) {
    std::longjmp(static_cast<Decoder*>(info->client_data)->failed, 1);
}

// Warnings about metadata are let pass, and those of a photo that ends too soon, of which the rest is left grey; the
// others mean that what was decoded is wrong.
void Warn(j_common_ptr info, int level) {
    if (level >= 0) return;
    switch (info->err->msg_code) {
        case JWRN_ADOBE_XFORM:
        case JWRN_EXTRANEOUS_DATA:
        case JWRN_HIT_MARKER:
        case JWRN_JFIF_MAJOR:
        case JWRN_JPEG_EOF:
            break;
        default:
            Fail(info);
    }
}

void CheckScans(j_common_ptr info) {
    if (reinterpret_cast<j_decompress_ptr>(info)->input_scan_number > kMaxScans) Fail(info);
}

// ---- Reading from a file -------------------------------------------------------------------------------------------

void KeepSource(j_decompress_ptr /*info*/) {}

boolean ReadOn(j_decompress_ptr info) {
    auto& decoder = *static_cast<Decoder*>(info->client_data);
    static constexpr JOCTET kEnd[] = {0xFF, JPEG_EOI};
    const std::size_t got = std::fread(decoder.read.get(), 1, kReadBytes, decoder.file);
    if (got == 0) WARNMS(info, JWRN_JPEG_EOF);
    info->src->next_input_byte = got > 0 ? decoder.read.get() : kEnd;
    info->src->bytes_in_buffer = got > 0 ? got : sizeof kEnd;
    return TRUE;
}

void Skip(j_decompress_ptr info, long count) {
    if (count <= 0) return;
    auto left = static_cast<std::size_t>(count);
    while (left > info->src->bytes_in_buffer) {
        left -= info->src->bytes_in_buffer;
        ReadOn(info);
    }
    info->src->next_input_byte += left;
    info->src->bytes_in_buffer -= left;
}

void ReadFromFile(Decoder& decoder) {
    jpeg_source_mgr& source = decoder.from_file;
    source.init_source = KeepSource;
    source.fill_input_buffer = ReadOn;
    source.skip_input_data = Skip;
    source.resync_to_restart = jpeg_resync_to_restart;
    source.term_source = KeepSource;
    decoder.info.src = &source;
}

// ---- Decoding ------------------------------------------------------------------------------------------------------

// The largest scale in eighths at which the picture fits; 0 when none does.
unsigned FittingScale(const jpeg_decompress_struct& info) {
    for (unsigned scale = 8; scale > 0; --scale) {
        const std::int64_t width = (static_cast<std::int64_t>(info.image_width) * scale + 7) / 8;
        const std::int64_t height = (static_cast<std::int64_t>(info.image_height) * scale + 7) / 8;
        if (width * height <= kMaxPicturePixels) return scale;
    }
    return 0;
}

// The smallest of the quick scales at which the picture fills its room; 0 when none of them fits.
unsigned ScaleFor(const jpeg_decompress_struct& info, const Room& room) {
    const unsigned largest = FittingScale(info);
    if (room.width <= 0 || room.height <= 0) return largest;
    const std::int64_t width = info.image_width;
    const std::int64_t height = info.image_height;
    const bool wide = width * room.height > height * room.width;
    for (unsigned scale = 1; scale < largest; scale *= 2) {
        const bool fills =
            wide ? width * scale >= std::int64_t{room.width} * 8 : height * scale >= std::int64_t{room.height} * 8;
        if (fills) return scale;
    }
    return largest;
}

// Adobe stores the four inks inverted.
void ConvertCmyk(const std::uint8_t* inks, std::uint32_t* pixels, unsigned count, bool inverted) {
    for (unsigned i = 0; i < count; ++i, inks += 4) {
        const auto channel = [&](int ink) {
            const unsigned light = inverted ? inks[ink] : 255U - inks[ink];
            const unsigned white = inverted ? inks[3] : 255U - inks[3];
            return light * white / 255;
        };
        pixels[i] = 0xFF000000U | channel(0) << 16U | channel(1) << 8U | channel(2);
    }
}

// Every object that owns something lives outside, since failures jump out of here.
bool Decode(Decoder& decoder, const Source& source, const Room& room, Picture& picture) {
    jpeg_decompress_struct& info = decoder.info;
    if (setjmp(decoder.failed) != 0) return false;  // NOLINT(cert-err52-cpp): libjpeg's way to fail
    jpeg_create_decompress(&info);
    info.client_data = &decoder;
    info.mem->max_memory_to_use = kMaxDecoderMemory;
    if (source.file != nullptr) {
        ReadFromFile(decoder);
    } else {
        jpeg_mem_src(&info, source.data, source.size);
    }
    jpeg_read_header(&info, TRUE);
    info.progress = &decoder.progress;
    info.scale_num = ScaleFor(info, room);
    info.scale_denom = 8;
    if (info.scale_num == 0) return false;
    const bool inks = info.jpeg_color_space == JCS_CMYK || info.jpeg_color_space == JCS_YCCK;
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    info.out_color_space = inks ? JCS_CMYK : JCS_EXT_BGRA;
#else
    info.out_color_space = inks ? JCS_CMYK : JCS_EXT_ARGB;
#endif
    jpeg_start_decompress(&info);
    if (!picture.Allocate(info.output_width, info.output_height)) return false;
    if (inks) {
        decoder.cmyk_row.reset(new (std::nothrow) std::uint8_t[static_cast<std::size_t>(info.output_width) * 4]);
        if (!decoder.cmyk_row) return false;
    }
    while (info.output_scanline < info.output_height) {
        std::uint32_t* pixels =
            picture.pixels.get() + static_cast<std::size_t>(info.output_scanline) * info.output_width;
        JSAMPROW row = inks ? decoder.cmyk_row.get() : reinterpret_cast<JSAMPROW>(pixels);
        jpeg_read_scanlines(&info, &row, 1);
        if (inks) ConvertCmyk(row, pixels, info.output_width, info.saw_Adobe_marker != 0);
    }
    jpeg_finish_decompress(&info);
    return true;
}

Picture Decode(const Source& source, const Room& room) {
    Decoder decoder;
    decoder.info.err = jpeg_std_error(&decoder.errors);
    decoder.info.client_data = &decoder;
    decoder.errors.error_exit = Fail;
    decoder.errors.emit_message = Warn;
    decoder.progress.progress_monitor = CheckScans;
    if (source.file != nullptr) {
        decoder.file = source.file;
        decoder.read.reset(new (std::nothrow) std::uint8_t[kReadBytes]);
        if (!decoder.read) return {};
    }
    Picture picture;
    return Decode(decoder, source, room, picture) ? std::move(picture) : Picture{};
}

}  // namespace

Picture DecodeJpeg(const std::uint8_t* data, std::size_t size, const Room& room) {
    return Decode({data, size, nullptr}, room);
}

Picture DecodeJpeg(FILE* file, const Room& room) {
    return Decode({nullptr, 0, file}, room);
}

}  // namespace mwin
