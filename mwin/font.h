// Fonts by file name, and their glyphs.
#pragma once

#include <cstdint>
#include <string>

#include "mwin/pixman_image.h"

namespace mwin {

// Finds a font file for a name ("Arial.ttf") that has no file in fonts/, "" when there is none. `cjk`: the face must
// have Chinese characters. Null: no substitutes. UI thread; before the first window.
void SetFontSubstitute(std::string (*find)(const std::string& name, bool cjk));

// Stands for a byte that is no character; drawn as a box.
constexpr char32_t kNoCharacter = 0x110000;

// A glyph's coverage, 8 bits per pixel.
struct Glyph {
    PixmanImage mask;  // null for a blank
    int left = 0;      // from the pen position to the mask's left edge
    int top = 0;       // from the baseline up to the mask's top edge
    int advance = 0;
};

class FontFace;

// One face at one size. UI thread.
class Font {
  public:
    // `height` is the height of a line in pixels (1 to kMaxHeight, others are moved there); a regular face is
    // emboldened for weights from FW_BOLD. The file is looked for in fonts/ beside the working directory, then among
    // the substitutes. Without any file every glyph is a box.
    Font(const std::string& name, int height, int weight);

    static constexpr int kMaxHeight = 256;
    int Height() const { return height_; }
    int Ascent() const { return ascent_; }
    // The widest glyph of the face.
    int MaxAdvance() const { return max_advance_; }
    // From the cache, which all fonts share; valid until the next call. A character this face lacks is taken from the
    // other known faces; one that none has is a box.
    const Glyph& GlyphOf(char32_t character);

  private:
    FontFace* face_;  // null: none found
    int height_;
    bool bold_;
    int ascent_;
    int max_advance_;
};

}  // namespace mwin
