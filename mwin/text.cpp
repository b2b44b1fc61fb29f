#include <algorithm>
#include <climits>
#include <cstring>
#include <string_view>
#include <vector>

#include "mwin/drawing.h"
#include "mwin/gdi_object.h"
#include "mwin/text_coding.h"

namespace mwin {
namespace {

// Longer strings are cut: no screen shows them, and sums of widths stay far from overflow.
constexpr std::size_t kMaxTextBytes = 256 * 1024;

// `length` -1: up to the terminator.
std::u32string Decode(LPCSTR text, int length) {
    if (text == nullptr) return {};
    return DecodeText(text, strnlen(text, length < 0 ? kMaxTextBytes : std::min<std::size_t>(length, kMaxTextBytes)));
}

int WidthOf(Font& font, std::u32string_view text) {
    int width = 0;
    for (const char32_t character : text)
        width += font.GlyphOf(character).advance;
    return width;
}

// The glyphs of a line in one colour, from (x, baseline) on; returns how far left and right they reach.
RECT DrawGlyphs(const MwDc& dc, Font& font, const RECT& visible, int x, int baseline, COLORREF ink_color,
                std::u32string_view text) {
    const pixman_color_t color = ToPixmanColor(ink_color);
    const PixmanImage ink(pixman_image_create_solid_fill(&color));
    RECT inked{x, 0, x, 0};
    for (const char32_t character : text) {
        if (x - font.Height() > visible.right) break;
        const Glyph& glyph = font.GlyphOf(character);
        if (glyph.mask) {
            const int width = pixman_image_get_width(glyph.mask.get());
            pixman_image_composite32(PIXMAN_OP_OVER, ink.get(), glyph.mask.get(), dc.surface->Image(), 0, 0, 0, 0,
                                     x + glyph.left, baseline - glyph.top, width,
                                     pixman_image_get_height(glyph.mask.get()));
            inked.left = std::min(inked.left, x + glyph.left);
            inked.right = std::max(inked.right, x + glyph.left + width);
        }
        x += glyph.advance;
    }
    return inked;
}

// One line, its top left at (x, y) in surface pixels.
void DrawLine(const MwDc& dc, Font& font, const Region& clip, int x, int y, std::u32string_view text) {
    if (dc.background_mode == OPAQUE) {
        Region background(RECT{x, y, x + WidthOf(font, text), y + font.Height()});
        background.Intersect(clip);
        FillRegion(dc, background, dc.background_color);
    }
    pixman_image_set_clip_region32(dc.surface->Image(), clip.Raw());
    const int baseline = y + font.Ascent();
    if ((dc.text_rim >> 24U) != 0) {
        for (const POINT offset : {POINT{-1, 0}, POINT{1, 0}, POINT{0, -1}, POINT{0, 1}})
            DrawGlyphs(dc, font, clip.Bounds(), x + offset.x, baseline + offset.y, dc.text_rim, text);
    }
    const RECT inked = DrawGlyphs(dc, font, clip.Bounds(), x, baseline, dc.text_color, text);
    pixman_image_set_clip_region32(dc.surface->Image(), nullptr);
    // Glyphs may reach out of their line: a mark over a capital, or another face's deeper descender.
    Region drawn(RECT{inked.left - 1, y - font.Height(), inked.right + 1, y + 2 * font.Height()});
    drawn.Intersect(clip);
    dc.surface->AddDamage(drawn);
}

// Of a caller's coordinate, which may be any, and a size.
LONG Sum(LONG coordinate, int size) {
    return static_cast<LONG>(std::min<std::int64_t>(static_cast<std::int64_t>(coordinate) + size, INT32_MAX));
}

bool IsNewline(char32_t character) {
    return character == U'\n' || character == U'\r';
}

// Scripts that are written without spaces may break between any two characters.
bool BreaksAnywhere(char32_t character) {
    return (character >= 0x2E80 && character < 0xD800) || (character >= 0xF900 && character < 0xFB00) ||
           (character >= 0xFF00 && character < 0xFF61);
}

// Closing marks stay with the word before them.
bool StartsNoLine(char32_t character) {
    return std::u32string_view(U"、。，．！？：；）》」』】〉…").find(character) != std::u32string_view::npos;
}

bool MayBreakBefore(std::u32string_view text, std::size_t i) {
    if (text[i - 1] == U' ') return text[i] != U' ';
    return (BreaksAnywhere(text[i]) || BreaksAnywhere(text[i - 1])) && !StartsNoLine(text[i]);
}

std::u32string_view WithoutTrailingSpaces(std::u32string_view line) {
    const std::size_t last = line.find_last_not_of(U' ');
    return line.substr(0, last == std::u32string_view::npos ? 0 : last + 1);
}

// Splits one paragraph so that its lines are at most `width` wide; a word that is wider by itself is split anywhere.
void WrapParagraph(Font& font, std::u32string_view paragraph, int width, std::vector<std::u32string_view>& lines) {
    do {
        std::size_t end = 0;
        std::size_t last_break = 0;
        int used = 0;
        for (; end < paragraph.size(); ++end) {
            used += font.GlyphOf(paragraph[end]).advance;
            if (end > 0 && MayBreakBefore(paragraph, end)) last_break = end;
            if (used > width && paragraph[end] != U' ') break;
        }
        if (end == paragraph.size()) {
            lines.push_back(paragraph);
            return;
        }
        const std::size_t cut = last_break > 0 ? last_break : std::max<std::size_t>(end, 1);
        lines.push_back(WithoutTrailingSpaces(paragraph.substr(0, cut)));
        paragraph.remove_prefix(cut);
    } while (!paragraph.empty());
}

// Of the words that cannot be broken.
int WidestWord(Font& font, std::u32string_view text) {
    int widest = 0;
    int width = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (i > 0 && MayBreakBefore(text, i)) width = 0;
        if (text[i] != U' ') width += font.GlyphOf(text[i]).advance;
        if (IsNewline(text[i])) width = 0;
        widest = std::max(widest, width);
    }
    return widest;
}

std::vector<std::u32string_view> SplitLines(Font& font, std::u32string_view text, int width, bool wrap) {
    std::vector<std::u32string_view> lines;
    while (true) {
        const std::size_t end = std::min(text.find_first_of(U"\r\n"), text.size());
        const std::u32string_view paragraph = text.substr(0, end);
        if (wrap) {
            WrapParagraph(font, paragraph, width, lines);
        } else {
            lines.push_back(paragraph);
        }
        if (end == text.size()) break;
        const bool is_pair = text[end] == U'\r' && end + 1 < text.size() && text[end + 1] == U'\n';
        text.remove_prefix(end + (is_pair ? 2 : 1));
        if (text.empty()) break;  // a newline at the end opens no further line
    }
    return lines;
}

}  // namespace
}  // namespace mwin

using mwin::IsDrawable;

COLORREF SetTextColor(HDC dc, COLORREF color) {
    if (dc == nullptr) return 0;
    std::swap(dc->text_color, color);
    return color;
}

COLORREF SetBkColor(HDC dc, COLORREF color) {
    if (dc == nullptr) return 0;
    std::swap(dc->background_color, color);
    return color;
}

COLORREF SetTextRim(HDC dc, COLORREF color) {
    if (dc == nullptr) return 0;
    std::swap(dc->text_rim, color);
    return color;
}

int SetBkMode(HDC dc, int mode) {
    if (dc == nullptr || (mode != OPAQUE && mode != TRANSPARENT)) return 0;
    std::swap(dc->background_mode, mode);
    return mode;
}

BOOL TextOut(HDC dc, int x, int y, LPCSTR text, int length) {
    if (!IsDrawable(dc) || text == nullptr) return FALSE;
    std::u32string line = mwin::Decode(text, length);
    std::replace(line.begin(), line.end(), U'\t', U' ');
    const mwin::Region clip = mwin::ClipTo(*dc, {0, 0, dc->surface->Width(), dc->surface->Height()});
    const RECT at = mwin::ToSurface(*dc, x, y, x, y);
    if (!clip.IsEmpty()) mwin::DrawLine(*dc, mwin::SelectedFont(*dc), clip, at.left, at.top, line);
    return TRUE;
}

int DrawText(HDC dc, LPCSTR text, int length, RECT* rect, UINT format) {
    if (dc == nullptr || text == nullptr || rect == nullptr) return 0;
    mwin::Font& font = mwin::SelectedFont(*dc);
    std::u32string decoded = mwin::Decode(text, length);
    if (decoded.empty()) {
        if ((format & DT_CALCRECT) != 0) {
            rect->right = rect->left;
            rect->bottom = rect->top;
        }
        return 0;
    }
    const bool single_line = (format & DT_SINGLELINE) != 0;
    const auto is_space = [single_line](char32_t c) { return c == U'\t' || (single_line && mwin::IsNewline(c)); };
    std::replace_if(decoded.begin(), decoded.end(), is_space, U' ');
    const RECT area = mwin::ToSurface(*dc, rect->left, rect->top, rect->right, rect->bottom);
    const bool wrap = (format & DT_WORDBREAK) != 0 && !single_line;
    const auto lines = mwin::SplitLines(font, decoded, std::max<int>(area.right - area.left, 0), wrap);
    const int height = static_cast<int>(lines.size()) * font.Height();

    if ((format & DT_CALCRECT) != 0) {
        int widest = wrap ? mwin::WidestWord(font, decoded) : 0;
        for (const auto& line : lines)
            widest = std::max(widest, mwin::WidthOf(font, line));
        rect->right = mwin::Sum(rect->left, widest);
        rect->bottom = mwin::Sum(rect->top, height);
        return height;
    }
    if (!IsDrawable(dc)) return 0;
    const mwin::Region clip = mwin::ClipTo(*dc, area);
    if (clip.IsEmpty()) return height;
    const RECT visible = clip.Bounds();
    int y = area.top;
    if (single_line && (format & DT_VCENTER) != 0) y += (area.bottom - area.top - height) / 2;
    if (single_line && (format & DT_BOTTOM) != 0) y = area.bottom - height;
    for (const auto& line : lines) {
        if (y > visible.bottom + font.Height()) break;
        if (y + 2 * font.Height() > visible.top) {
            const int space = area.right - area.left - mwin::WidthOf(font, line);
            const int indent = (format & DT_CENTER) != 0 ? space / 2 : (format & DT_RIGHT) != 0 ? space : 0;
            mwin::DrawLine(*dc, font, clip, area.left + indent, y, line);
        }
        y += font.Height();
    }
    return height;
}

BOOL GetTextExtentPoint(HDC dc, LPCSTR text, int length, SIZE* size) {
    if (dc == nullptr || size == nullptr) return FALSE;
    mwin::Font& font = mwin::SelectedFont(*dc);
    *size = {mwin::WidthOf(font, mwin::Decode(text, length)), font.Height()};
    return TRUE;
}

BOOL GetTextMetrics(HDC dc, TEXTMETRIC* metrics) {
    if (dc == nullptr || metrics == nullptr) return FALSE;
    mwin::Font& font = mwin::SelectedFont(*dc);
    *metrics = {font.Height(), font.Ascent(), font.Height() - font.Ascent(), font.GlyphOf(U'x').advance,
                font.MaxAdvance()};
    return TRUE;
}
