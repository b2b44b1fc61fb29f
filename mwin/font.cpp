#include "mwin/font.h"

#include <algorithm>
#include <cstring>

#include "mwin/font_face.h"
#include "mwin/glyph_cache.h"
#include "mwin/windows.h"

namespace mwin {
namespace {

// Never destroyed, like the fonts that use it.
GlyphCache& Cache() {
    static auto& cache = *new GlyphCache;
    return cache;
}

PixmanImage MakeMask(int width, int height) {
    return PixmanImage(pixman_image_create_bits(PIXMAN_a8, width, height, nullptr, 0));
}

std::uint8_t* MaskRow(const PixmanImage& mask, int y) {
    return reinterpret_cast<std::uint8_t*>(pixman_image_get_data(mask.get())) + y * pixman_image_get_stride(mask.get());
}

// Chinese, Japanese and Korean characters fill a square.
bool IsWide(char32_t character) {
    return (character >= 0x1100 && character < 0x1200) || (character >= 0x2E80 && character < 0xD800) ||
           (character >= 0xF900 && character < 0xFB00) || (character >= 0xFF00 && character < 0xFF61) ||
           (character >= 0x1F300 && character < kNoCharacter);
}

Glyph Box(char32_t character, int height, int ascent) {
    Glyph glyph;
    glyph.advance = std::max(2, IsWide(character) ? ascent : height / 2);
    glyph.top = std::max(1, ascent * 7 / 8);
    const int width = std::max(1, glyph.advance - 2);
    glyph.left = (glyph.advance - width) / 2;
    glyph.mask = MakeMask(width, glyph.top);
    if (!glyph.mask) return glyph;
    for (int y = 0; y < glyph.top; ++y) {
        std::uint8_t* row = MaskRow(glyph.mask, y);
        if (y == 0 || y == glyph.top - 1) std::memset(row, 255, static_cast<std::size_t>(width));
        row[0] = row[width - 1] = 255;
    }
    return glyph;
}

Glyph CopyOf(const FT_GlyphSlotRec& slot) {
    Glyph glyph;
    glyph.advance = std::max(0, static_cast<int>((slot.advance.x + 32) >> 6));
    glyph.left = slot.bitmap_left;
    glyph.top = slot.bitmap_top;
    const auto width = static_cast<int>(slot.bitmap.width);
    const auto height = static_cast<int>(slot.bitmap.rows);
    if (width == 0 || height == 0) return glyph;
    glyph.mask = MakeMask(width, height);
    for (int y = 0; glyph.mask && y < height; ++y) {
        std::memcpy(MaskRow(glyph.mask, y), slot.bitmap.buffer + static_cast<std::ptrdiff_t>(y) * slot.bitmap.pitch,
                    slot.bitmap.width);
    }
    return glyph;
}

}  // namespace

void SetFontSubstitute(std::string (*find)(const std::string& name, bool cjk)) {
    FontLibrary::Instance().SetSubstitute(find);
    Cache().Clear();
}

Font::Font(const std::string& name, int height, int weight)
    : face_(FontLibrary::Instance().Find(name)),
      height_(std::clamp(height, 1, kMaxHeight)),
      bold_(weight >= FW_BOLD),
      ascent_(height_ * 4 / 5),
      max_advance_(height_) {
    if (face_ == nullptr) face_ = FontLibrary::Instance().FindFor(U'0', nullptr);
    if (face_ == nullptr) return;
    face_->SetLineHeight(height_);
    ascent_ = face_->Ascent();
    max_advance_ = face_->MaxAdvance();
}

const Glyph& Font::GlyphOf(char32_t character) {
    const GlyphKey key{face_, character, height_, bold_};
    if (const Glyph* known = Cache().Find(key)) return *known;
    FontFace* face = character < kNoCharacter ? FontLibrary::Instance().FindFor(character, face_) : nullptr;
    FT_GlyphSlot slot = nullptr;
    if (face != nullptr) {
        face->SetLineHeight(height_);
        slot = face->Render(face->IndexOf(character), bold_ && !face->IsBold());
    }
    return Cache().Add(key, slot != nullptr ? CopyOf(*slot) : Box(character, height_, ascent_));
}

}  // namespace mwin
