// Rendered glyphs, the least recently used ones given up first.
#pragma once

#include <cstddef>
#include <list>
#include <unordered_map>

#include "mwin/font.h"

namespace mwin {

struct GlyphKey {
    const FontFace* face;  // the font's own face, also when the glyph is another's
    char32_t character;
    int height;
    bool bold;
    bool operator==(const GlyphKey& other) const {
        return face == other.face && character == other.character && height == other.height && bold == other.bold;
    }
};

// UI thread.
class GlyphCache {
  public:
    // Masks and bookkeeping together stay below this, except that the newest glyph is always kept.
    static constexpr std::size_t kMaxBytes = 512 * 1024;

    // Null when it is not kept.
    const Glyph* Find(const GlyphKey& key);
    const Glyph& Add(const GlyphKey& key, Glyph glyph);
    void Clear();

  private:
    struct Entry {
        GlyphKey key;
        Glyph glyph;
        std::size_t bytes;
    };
    struct Hash {
        std::size_t operator()(const GlyphKey& key) const {
            const auto mixed = static_cast<std::size_t>(key.character) * 31U + static_cast<std::size_t>(key.height);
            return (mixed * 2U + (key.bold ? 1U : 0U)) ^ (reinterpret_cast<std::size_t>(key.face) >> 4U);
        }
    };

    std::list<Entry> entries_;  // the most recently used first
    std::unordered_map<GlyphKey, std::list<Entry>::iterator, Hash> index_;
    std::size_t bytes_ = 0;
};

}  // namespace mwin
