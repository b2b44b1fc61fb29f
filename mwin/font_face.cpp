#include "mwin/font_face.h"

#include FT_SYNTHESIS_H

#include <strings.h>

#include <cstdio>

namespace mwin {

namespace {

// The program's own faces, asked when another one lacks a character.
constexpr const char* kTextFace = "Arial.ttf";
constexpr const char* kChineseFace = "MSYH.TTF";

}  // namespace

void FontFace::SetLineHeight(int height) {
    if (height_ == height) return;
    height_ = height;
    FT_Size_RequestRec request{};
    request.type = FT_SIZE_REQUEST_TYPE_REAL_DIM;
    request.height = static_cast<FT_Long>(height) * 64;
    FT_Request_Size(face_, &request);
}

int FontFace::Ascent() const {
    const int ascender = face_->ascender;
    const int extent = ascender - face_->descender;
    if (extent <= 0 || ascender <= 0) return height_ * 4 / 5;
    return (height_ * ascender + extent / 2) / extent;
}

int FontFace::MaxAdvance() const {
    return static_cast<int>(face_->size->metrics.max_advance + 63) / 64;
}

FT_GlyphSlot FontFace::Render(FT_UInt index, bool embolden) {
    if (FT_Load_Glyph(face_, index, FT_LOAD_NO_BITMAP | FT_LOAD_TARGET_LIGHT) != 0) return nullptr;
    FT_GlyphSlot slot = face_->glyph;
    if (embolden) FT_GlyphSlot_Embolden(slot);
    if (FT_Render_Glyph(slot, FT_RENDER_MODE_NORMAL) != 0 || slot->bitmap.pixel_mode != FT_PIXEL_MODE_GRAY)
        return nullptr;
    return slot;
}

FontLibrary& FontLibrary::Instance() {
    static auto& library = *new FontLibrary;
    return library;
}

FontLibrary::FontLibrary() {
    if (FT_Init_FreeType(&library_) != 0) library_ = nullptr;
}

void FontLibrary::SetSubstitute(std::string (*find)(const std::string& name, bool cjk)) {
    substitute_ = find;
    by_name_.clear();
}

FontFace* FontLibrary::Open(const std::string& path) {
    const auto known = by_path_.find(path);
    if (known != by_path_.end()) return known->second.get();
    FT_Face face = nullptr;
    if (library_ == nullptr || FT_New_Face(library_, path.c_str(), 0, &face) != 0) return nullptr;
    if (!FT_IS_SCALABLE(face)) {
        FT_Done_Face(face);
        return nullptr;
    }
    auto opened = std::make_unique<FontFace>(face);
    in_order_.push_back(opened.get());
    return (by_path_[path] = std::move(opened)).get();
}

FontFace* FontLibrary::Find(const std::string& name) {
    const auto known = by_name_.find(name);
    if (known != by_name_.end()) return known->second;
    FontFace* face = name.empty() || name.find('/') != std::string::npos ? nullptr : Open("fonts/" + name);
    if (face == nullptr && substitute_ != nullptr) {
        const bool cjk = strcasecmp(name.c_str(), kChineseFace) == 0;
        face = Open(substitute_(name, cjk));
        if (face == nullptr && cjk) face = Open(substitute_(name, false));
    }
    by_name_[name] = face;
    if (face == nullptr && in_order_.empty() && !complained_) {
        complained_ = true;
        printf("No font file for \"%s\" in fonts/ and no substitute: its text is drawn as boxes\n", name.c_str());
    }
    return face;
}

FontFace* FontLibrary::FindFor(char32_t character, FontFace* preferred) {
    const auto has = [character](FontFace* face) { return face != nullptr && face->IndexOf(character) != 0; };
    if (has(preferred)) return preferred;
    for (const char* name : {kTextFace, kChineseFace}) {
        FontFace* face = Find(name);
        if (has(face)) return face;
    }
    for (FontFace* face : in_order_) {
        if (has(face)) return face;
    }
    return nullptr;
}

}  // namespace mwin
