// Font files, opened once each.
#pragma once

#include <ft2build.h>
#include FT_FREETYPE_H

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace mwin {

// One open font file. UI thread.
class FontFace {
  public:
    explicit FontFace(FT_Face face) : face_(face) {}
    FontFace(const FontFace&) = delete;
    FontFace& operator=(const FontFace&) = delete;
    ~FontFace() { FT_Done_Face(face_); }

    // 0: the face lacks it.
    FT_UInt IndexOf(char32_t character) const { return FT_Get_Char_Index(face_, character); }
    bool IsBold() const { return (face_->style_flags & FT_STYLE_FLAG_BOLD) != 0; }
    // Scales the face so that a line, from ascender to descender, is `height` pixels high.
    void SetLineHeight(int height);
    // For the line height that was set: from a line's top to its baseline, and the widest glyph.
    int Ascent() const;
    int MaxAdvance() const;
    // Renders a glyph with 256 levels; null when it cannot be.
    FT_GlyphSlot Render(FT_UInt index, bool embolden);

  private:
    FT_Face face_;
    int height_ = 0;
};

// Every face that was asked for; faces stay open, since a program names only a few. UI thread.
class FontLibrary {
  public:
    // Never destroyed.
    static FontLibrary& Instance();

    void SetSubstitute(std::string (*find)(const std::string& name, bool cjk));
    // By file name; null when there is none.
    FontFace* Find(const std::string& name);
    // A face that has the character, `preferred` (may be null) before the others; null when none has.
    FontFace* FindFor(char32_t character, FontFace* preferred);

  private:
    FontLibrary();
    FontFace* Open(const std::string& path);

    FT_Library library_ = nullptr;
    std::string (*substitute_)(const std::string& name, bool cjk) = nullptr;
    std::unordered_map<std::string, FontFace*> by_name_;  // null: none was found
    std::unordered_map<std::string, std::unique_ptr<FontFace>> by_path_;
    std::vector<FontFace*> in_order_;
    bool complained_ = false;
};

}  // namespace mwin
