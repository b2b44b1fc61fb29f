#include "mwin/glyph_cache.h"

namespace mwin {

const Glyph* GlyphCache::Find(const GlyphKey& key) {
    const auto found = index_.find(key);
    if (found == index_.end()) return nullptr;
    entries_.splice(entries_.begin(), entries_, found->second);
    return &found->second->glyph;
}

const Glyph& GlyphCache::Add(const GlyphKey& key, Glyph glyph) {
    constexpr std::size_t kBookkeeping = sizeof(Entry) + 128;  // list and map nodes, the image's header
    std::size_t bytes = kBookkeeping;
    if (glyph.mask) {
        bytes += static_cast<std::size_t>(pixman_image_get_stride(glyph.mask.get())) *
                 static_cast<std::size_t>(pixman_image_get_height(glyph.mask.get()));
    }
    entries_.push_front({key, std::move(glyph), bytes});
    index_[key] = entries_.begin();
    bytes_ += bytes;
    while (bytes_ > kMaxBytes && entries_.size() > 1) {
        bytes_ -= entries_.back().bytes;
        index_.erase(entries_.back().key);
        entries_.pop_back();
    }
    return entries_.front().glyph;
}

void GlyphCache::Clear() {
    index_.clear();
    entries_.clear();
    bytes_ = 0;
}

}  // namespace mwin
