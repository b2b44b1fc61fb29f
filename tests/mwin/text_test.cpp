#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "mwin/font.h"
#include "mwin/glyph_cache.h"
#include "mwin/text_coding.h"
#include "tests/mwin/gdi_canvas.h"

namespace mwin_test {
namespace {

const std::string kFonts = "/usr/share/fonts/truetype/";
const std::string kMono = kFonts + "liberation/LiberationMono-Regular.ttf";

std::string FindTestFont(const std::string& name, bool cjk) {
    if (cjk) return kFonts + "wqy/wqy-microhei.ttc";
    if (name == "Mono.ttf") return kMono;
    if (name == "Bold.ttf") return kFonts + "liberation/LiberationSans-Bold.ttf";
    if (name == "Arial.ttf") return kFonts + "liberation/LiberationSans-Regular.ttf";
    return {};
}

class Text : public testing::Test {
  protected:
    void SetUp() override {
        mwin::SetFontSubstitute(FindTestFont);
        MwSetTextCoding(1);
        Use("Mono.ttf", 20);
        SetTextColor(canvas.dc.get(), kWhite);
        SetBkMode(canvas.dc.get(), TRANSPARENT);
    }
    void TearDown() override { DeleteObject(font); }
    void Use(const char* name, int height, int weight = FW_NORMAL) {
        DeleteObject(font);
        font = CreateFont(height, 0, 0, 0, weight, 0, 0, 0, 0, 0, 0, 0, 0, name);
        SelectObject(canvas.dc.get(), font);
    }
    int Width(const char* text) {
        SIZE size{};
        EXPECT_TRUE(GetTextExtentPoint(canvas.dc.get(), text, -1, &size));
        return size.cx;
    }
    // Draws it alone and tells where.
    RECT InkOf(const char* text, int x = 5, int y = 5) {
        canvas.Clear();
        TextOut(canvas.dc.get(), x, y, text, -1);
        return canvas.Ink();
    }
    GdiCanvas canvas{200, 100};
    HFONT font = nullptr;
};

TEST(TextCoding, Decodes) {
    const auto box = mwin::kNoCharacter;
    for (const auto& [name, coding, bytes, expected] : Table<const char*, int, std::string, std::u32string>{
             {"UTF-8", 1, "\xC3\xB3\xE4\xB8\xAD\xF0\x9F\x98\x80", U"\u00F3\u4E2D\U0001F600"},
             {"GBK letters", 1, "\xA8\xAE\xA8\xA6\xA8\xA8", U"\u00F3\u00E9\u00E8"},
             {"GBK", 1, "A\xD6\xD0\xCE\xC4", U"A\u4E2D\u6587"},
             {"one bad byte makes the whole string GBK", 1, "\xC3\xB3\xFF", std::u32string{0x8D38, box}},
             {"lonely lead byte", 1, "A\xD6", std::u32string{'A', box}},
             {"lead byte before ASCII", 1, std::string("\xD6\x20z"), std::u32string{box, ' ', 'z'}},
             {"overlong form", 1, "\xC0\xAF", std::u32string{0x8721}},
             {"surrogate", 1, "\xED\xA0\x80", std::u32string{0x980E, box}},
             {"above the last code", 1, "\xF4\x90\x80\x80", std::u32string{0x9B6B, box, box}},
             {"embedded zero", 1, std::string("a\0b", 3), std::u32string(U"a\0b", 3)},
             {"ISO 8859-1", 0, "\xE9\xC3\xB3", U"\u00E9\u00C3\u00B3"}}) {
        MwSetTextCoding(coding);
        EXPECT_EQ(mwin::DecodeText(bytes.data(), bytes.size()), expected) << name;
    }
}

TEST_F(Text, WrapsAndMeasures) {
    const int cell = Width("x");
    ASSERT_GT(cell, 5);
    // A text, the columns of its rectangle; its lines and the widest of them, in cells (-1: not checked).
    for (const auto& [text, columns, format, lines, widest] : Table<const char*, int, UINT, int, int>{
             {"one two", 5, DT_WORDBREAK, 2, 3},
             {"one two", 7, DT_WORDBREAK, 1, 7},
             {"one   two", 3, DT_WORDBREAK, 2, 3},
             {"a bb ccc dddd", 4, DT_WORDBREAK | DT_CENTER, 3, 4},
             {"abcdefgh", 3, DT_WORDBREAK, 3, 8},
             {"ab cdefgh", 4, DT_WORDBREAK, 3, 6},
             {"one\r\ntwo\r\n", 20, 0, 2, 3},
             {"one\n\ntwo", 20, DT_WORDBREAK, 3, 3},
             {"one\ntwo", 20, DT_SINGLELINE, 1, 7},
             {"one two", 2, DT_SINGLELINE | DT_WORDBREAK, 1, 7},
             {"", 5, DT_WORDBREAK, 0, 0},
             {"xyz", 0, DT_WORDBREAK, 3, 3},
             // A Chinese character is between one and two cells wide.
             {"\xE4\xB8\xAD\xE6\x96\x87\xE4\xB8\xAD\xE6\x96\x87", 4, DT_WORDBREAK, 2, -1},
             {"\xE4\xB8\xAD\xE6\x96\x87\xE3\x80\x82", 4, DT_WORDBREAK, 2, -1}}) {
        RECT rect{10, 20, 10 + columns * cell, 25};
        EXPECT_EQ(DrawText(canvas.dc.get(), text, -1, &rect, format | DT_CALCRECT), lines * 20) << text;
        const LONG width = widest < 0 ? rect.right - 10 : widest * cell;
        EXPECT_EQ(Edges(rect), Edges({10, 20, 10 + width, 20 + lines * 20})) << text;
    }
    EXPECT_TRUE(canvas.surface.Damage().IsEmpty());
}

TEST_F(Text, StaysWithinItsRectangle) {
    for (const UINT format : {DT_LEFT, DT_CENTER, DT_RIGHT, DT_SINGLELINE | DT_VCENTER, DT_SINGLELINE | DT_BOTTOM}) {
        canvas.Clear();
        RECT narrow{20, 10, 25, 18};
        EXPECT_EQ(DrawText(canvas.dc.get(), "HHHH", -1, &narrow, format), 20) << format;
        const RECT ink = canvas.Ink();
        EXPECT_TRUE(ink.left >= 20 && ink.right <= 25 && ink.top >= 10 && ink.bottom <= 18) << Edges(ink);
    }
}

TEST_F(Text, Background) {
    SetBkMode(canvas.dc.get(), OPAQUE);
    SetBkColor(canvas.dc.get(), kRed);
    EXPECT_EQ(Edges(InkOf("  ", 10, 30)), Edges({10, 30, 10 + Width("  "), 50}));
    EXPECT_EQ(canvas.At(11, 31), kRedPixel);
    EXPECT_EQ(SetBkColor(canvas.dc.get(), 0), kRed);
    EXPECT_EQ(SetBkMode(canvas.dc.get(), 77), 0);
}

TEST_F(Text, EveryCharacterLeavesInk) {
    for (const char* text : {"\xE4\xB8\xAD" /* from the Chinese face */, "\xF3\xB0\x80\x80", "A\xD6", "\x01"})
        EXPECT_GT(InkOf(text).right, 0) << text;
}

TEST_F(Text, HeightIsTheLineAndWeightShows) {
    for (const int height : {1, 7, 12, 20, 33, 60}) {
        Use("Arial.ttf", height);
        TEXTMETRIC m{};
        EXPECT_TRUE(GetTextMetrics(canvas.dc.get(), &m) && m.tmHeight == height && m.tmAscent + m.tmDescent == height);
        const RECT ink = InkOf("\xC3\x80gj|", 10, 20);
        EXPECT_TRUE(ink.top >= 20 - 1 && ink.bottom <= 20 + height + 1) << height;
    }
    const RECT stroke = InkOf("|");
    Use("Arial.ttf", 60, FW_BOLD);
    EXPECT_GT(InkOf("|").right, stroke.right);
}

TEST_F(Text, AFileBesideTheProgramWins) {
    namespace fs = std::filesystem;
    const fs::path before = fs::current_path();
    const fs::path directory = testing::TempDir() + "fonts" + std::to_string(getpid());
    fs::create_directories(directory / "fonts");
    fs::create_symlink(kMono, directory / "fonts/Own.ttf");
    std::ofstream(directory / "fonts/Broken.ttf") << "no font";
    fs::current_path(directory);
    Use("Own.ttf", 20);
    EXPECT_EQ(Width("i"), Width("W"));
    Use("Broken.ttf", 20);  // no substitute either: the next best face
    EXPECT_GT(InkOf("W").right, 0);
    fs::current_path(before);
    fs::remove_all(directory);
}

TEST(TextDeathTest, WithoutAnyFontBoxesAndOneMessage) {
    // In a process of its own, because faces stay open once they were found. It is forked before any other test opened
    // one (death tests run first); starting the program anew would need an emulator to start itself.
    testing::FLAGS_gtest_death_test_style = "fast";
    EXPECT_EXIT(
        {
            dup2(STDERR_FILENO, STDOUT_FILENO);
            mwin::SetFontSubstitute(nullptr);
            GdiCanvas canvas(60, 30);
            for (const char* name : {"A.ttf", "B.ttf"})
                SelectObject(canvas.dc.get(), CreateFont(20, 0, 0, 0, FW_NORMAL, 0, 0, 0, 0, 0, 0, 0, 0, name));
            SetTextColor(canvas.dc.get(), kWhite);
            SetBkMode(canvas.dc.get(), TRANSPARENT);
            TextOut(canvas.dc.get(), 0, 0, "ab", 2);
            fflush(stdout);
            const RECT ink = canvas.Ink();
            _exit(ink.right == 19 && ink.bottom == 16 ? 0 : 1);
        },
        testing::ExitedWithCode(0),
        testing::AllOf(testing::HasSubstr("No font file for \"A.ttf\""), testing::Not(testing::HasSubstr("B.ttf"))));
}

TEST(GlyphCache, StaysWithinItsBoundAndKeepsWhatIsInUse) {
    mwin::GlyphCache cache;
    const auto key = [](char32_t c) { return mwin::GlyphKey{nullptr, c, 40, false}; };
    const auto mask = [] { return mwin::PixmanImage(pixman_image_create_bits(PIXMAN_a8, 40, 40, nullptr, 0)); };
    std::size_t kept = 0;
    for (char32_t c = 0; c < 2000; ++c) {
        cache.Add(key(c), {mask(), 0, 0, static_cast<int>(c)});
        ASSERT_NE(cache.Find(key(0)), nullptr);
    }
    for (char32_t c = 0; c < 2000; ++c)
        if (const mwin::Glyph* glyph = cache.Find(key(c))) kept += glyph->advance == static_cast<int>(c) ? 1 : 10000;
    EXPECT_TRUE(kept > 100 && kept * 40 * 40 <= mwin::GlyphCache::kMaxBytes) << kept;
    EXPECT_TRUE(cache.Find(key(1999)) != nullptr && cache.Find(key(1)) == nullptr);
}

}  // namespace
}  // namespace mwin_test
