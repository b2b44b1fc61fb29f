#include <gif_lib.h>

#include <algorithm>
#include <cstring>

#include "mwin/picture_file.h"

namespace mwin {
namespace {

struct Input {
    const std::uint8_t* data;
    std::size_t left;
};

int ReadInput(GifFileType* gif, GifByteType* buffer, int length) {
    auto* input = static_cast<Input*>(gif->UserData);
    const std::size_t count = std::min(input->left, static_cast<std::size_t>(std::max(length, 0)));
    std::memcpy(buffer, input->data, count);
    input->data += count;
    input->left -= count;
    return static_cast<int>(count);
}

struct CloseGif {
    void operator()(GifFileType* gif) const { DGifCloseFile(gif, nullptr); }
};

// Reads up to the first frame's description. `transparent` becomes the index of the colour that is not drawn, or -1.
bool FindFirstFrame(GifFileType* gif, int& transparent) {
    GifRecordType type = UNDEFINED_RECORD_TYPE;
    while (DGifGetRecordType(gif, &type) == GIF_OK) {
        if (type == IMAGE_DESC_RECORD_TYPE) return DGifGetImageDesc(gif) == GIF_OK;
        if (type != EXTENSION_RECORD_TYPE) return false;
        int code = 0;
        GifByteType* block = nullptr;
        if (DGifGetExtension(gif, &code, &block) != GIF_OK) return false;
        GraphicsControlBlock control{};
        if (code == GRAPHICS_EXT_FUNC_CODE && block != nullptr &&
            DGifExtensionToGCB(block[0], block + 1, &control) == GIF_OK) {
            transparent = control.TransparentColor;
        }
        while (block != nullptr) {
            if (DGifGetExtensionNext(gif, &block) != GIF_OK) return false;
        }
    }
    return false;
}

// Where the n-th row in the file belongs in an interlaced frame.
int InterlacedRow(int n, int height) {
    constexpr struct { int first, step; } kPasses[] = {{0, 8}, {4, 8}, {2, 4}, {1, 2}};
    for (const auto& pass : kPasses) {
        const int rows = (height - pass.first + pass.step - 1) / pass.step;
        if (n < rows) return pass.first + n * pass.step;
        n -= std::max(rows, 0);
    }
    return height - 1;
}

}  // namespace

Picture DecodeGif(const std::uint8_t* data, std::size_t size) {
    Input input{data, size};
    const std::unique_ptr<GifFileType, CloseGif> gif(DGifOpen(&input, ReadInput, nullptr));
    int transparent = NO_TRANSPARENT_COLOR;
    if (!gif || !FindFirstFrame(gif.get(), transparent)) return {};
    const GifImageDesc& frame = gif->Image;
    const ColorMapObject* colors = frame.ColorMap != nullptr ? frame.ColorMap : gif->SColorMap;
    if (colors == nullptr || frame.Width <= 0 || frame.Height <= 0) return {};
    Picture picture;
    const bool has_screen = gif->SWidth > 0 && gif->SHeight > 0;
    if (!picture.Allocate(has_screen ? gif->SWidth : frame.Width, has_screen ? gif->SHeight : frame.Height)) return {};

    const std::unique_ptr<GifByteType[]> row(new (std::nothrow) GifByteType[static_cast<std::size_t>(frame.Width)]);
    if (!row) return {};
    for (int n = 0; n < frame.Height; ++n) {
        if (DGifGetLine(gif.get(), row.get(), frame.Width) != GIF_OK) return {};
        const int y = frame.Top + (frame.Interlace ? InterlacedRow(n, frame.Height) : n);
        if (y < 0 || y >= picture.height) continue;
        for (int i = 0; i < frame.Width; ++i) {
            const int x = frame.Left + i;
            if (x < 0 || x >= picture.width || row[i] == transparent || row[i] >= colors->ColorCount) continue;
            const GifColorType& color = colors->Colors[row[i]];
            picture.pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.width) +
                           static_cast<std::size_t>(x)] = 0xFF000000U | static_cast<unsigned>(color.Red) << 16U |
                                                          static_cast<unsigned>(color.Green) << 8U | color.Blue;
        }
    }
    return picture;
}

}  // namespace mwin
