#include <climits>

#include "tests/mwin/gdi_canvas.h"

namespace mwin_test {
namespace {

// On 9×6 pixels with the origin at (1, 1) and the last column and row clipped away.
TEST(GdiDrawing, ShapesAreClippedAndTellTheirDamage) {
    constexpr int kFar = INT_MAX;
    HBRUSH const blue = CreateSolidBrush(kBlue);
    HGDIOBJ const none = GetStockObject(NULL_BRUSH);
    HPEN const no_pen = GetStockObject(NULL_PEN);
    const auto red_pen = [](int width) { return CreatePen(PS_SOLID, width, kRed); };
    const std::vector<POINT> frame{{0, 0}, {7, 0}, {7, 4}, {0, 4}, {0, 0}, {2, 1}, {5, 1}, {5, 3}, {2, 3}, {2, 1}};
    const std::vector<POINT> far{{INT_MIN, 3}, {kFar, 3}, {kFar, kFar}, {INT_MIN, kFar}};
    enum How { kFill, kFillByBrush, kArea };  // rectangles by two corners, or the corners of an area
    for (const auto& [name, how, pen, brush, points, expected] :
         Table<const char*, How, HPEN, HBRUSH, std::vector<POINT>, const char*>{
             {"rectangle", kFill, no_pen, none, {{-5, 1}, {3, 3}}, "//RRRR/RRRR"},
             {"far rectangle", kFill, no_pen, none, {{INT_MIN, INT_MIN}, {kFar, 1}}, "RRRRRRRR/RRRRRRRR"},
             {"brush", kFillByBrush, no_pen, blue, {{6, 2}, {100, 100}}, "///.......B/.......B"},
             {"polygon", kArea, red_pen(1), blue, {{0, 3}, {3, 0}, {6, 3}}, "/....R/...RBR/..RBBBR/.RRRRRRR"},
             {"slope", kArea, red_pen(1), none, {{0, 0}, {6, 3}}, "/.RR/..RRR/....RRR/......RR"},
             {"thick outline", kArea, red_pen(3), none, {{1, 1}, {4, 1}}, "/.RRRRRR/.RRRRRR/.RRRRRR"},
             {"two corners", kArea, red_pen(1), blue, {{0, 1}, {3, 1}}, "//.RRRR"},
             {"even-odd", kArea, no_pen, blue, frame, "/.BBBBBBB/.BB...BB/.BB...BB/.BBBBBBB"},
             {"far polygon", kArea, no_pen, blue, far, "////BBBBBBBB"}}) {
        SCOPED_TRACE(name);
        GdiCanvas canvas(9, 6);
        canvas.dc->origin = {1, 1};
        canvas.dc->clip = mwin::Region(RECT{0, 0, 8, 5});
        SelectObject(canvas.dc.get(), pen);
        SelectObject(canvas.dc.get(), brush);
        const RECT rect{points[0].x, points[0].y, points[1].x, points[1].y};
        if (how == kFill) FastFillRect(canvas.dc.get(), &rect, kRed);
        if (how == kFillByBrush) FillRect(canvas.dc.get(), &rect, brush);
        if (how == kArea) Polygon(canvas.dc.get(), points.data(), static_cast<int>(points.size()));
        EXPECT_EQ(canvas.Drawn(), expected);
        // Painting the damage over leaves nothing.
        canvas.dc->clip = canvas.surface.Damage();
        const RECT all{-1, -1, 8, 5};
        FastFillRect(canvas.dc.get(), &all, RGB(1, 1, 1));
        EXPECT_EQ(canvas.Drawn(), "") << "outside the damage";
    }
}

// What the program does not draw itself.
TEST(GdiDrawing, OtherShapes) {
    GdiCanvas canvas(6, 4);
    HDC dc = canvas.dc.get();
    Rectangle(dc, 0, 0, 4, 3);
    EXPECT_EQ(canvas.Drawn(), "KKKK/KWWK/KKKK") << "with the default pen and brush";
    SelectObject(dc, CreatePen(PS_SOLID, 2, kRed));
    EXPECT_TRUE(MoveToEx(dc, 1, 0, nullptr) && LineTo(dc, INT_MAX, 0));
    for (const auto& [x, y] : {std::pair{2, 3}, {INT_MIN, INT_MAX}})
        SetPixel(dc, x, y, kGreen);
    EXPECT_EQ(canvas.Drawn(), "KRRRRR/KRRRRR/KKKK/..G");
}

TEST(GdiObjects, DeletionIsSafe) {
    GdiCanvas canvas(4, 1);
    HDC dc = canvas.dc.get();
    const RECT all{0, 0, 4, 1};
    for (const int index : {WHITE_BRUSH, NULL_BRUSH, WINDOW_ERASES_BRUSH, BLACK_PEN, SYSTEM_FONT})
        EXPECT_TRUE(GetStockObject(index) != nullptr && !DeleteObject(GetStockObject(index))) << index;
    EXPECT_TRUE(GetStockObject(-1) == nullptr && GetStockObject(11) == nullptr);
    EXPECT_TRUE(FillRect(dc, &all, GetStockObject(BLACK_BRUSH)));
    EXPECT_EQ(canvas.Drawn(), "KKKK");

    // Equal brushes count their users: a deletion by one user leaves the other's.
    HBRUSH first = CreateSolidBrush(kGreen);
    HBRUSH second = CreateSolidBrush(kGreen);
    EXPECT_TRUE(DeleteObject(first) && FillRect(dc, &all, second));
    EXPECT_EQ(canvas.Drawn(), "GGGG");
    EXPECT_TRUE(DeleteObject(second));
    EXPECT_FALSE(FillRect(dc, &all, second) || DeleteObject(second) || FillRect(dc, &all, GetStockObject(BLACK_PEN)));

    // A deleted object that is still selected counts as the default one.
    HBRUSH selected = CreateSolidBrush(kRed);
    HFONT font = CreateFont(10, 0, 0, 0, FW_NORMAL, 0, 0, 0, 0, 0, 0, 0, 0, "Arial.ttf");
    EXPECT_EQ(SelectObject(dc, selected), GetStockObject(WHITE_BRUSH));
    EXPECT_EQ(SelectObject(dc, font), GetStockObject(SYSTEM_FONT));
    EXPECT_EQ(SelectObject(dc, GetStockObject(NULL_PEN)), GetStockObject(BLACK_PEN));
    EXPECT_TRUE(DeleteObject(selected) && DeleteObject(font));
    Rectangle(dc, 0, 0, 4, 1);
    EXPECT_EQ(canvas.Drawn(), "WWWW");
    EXPECT_TRUE(SelectObject(dc, selected) == nullptr && SelectObject(dc, nullptr) == nullptr);
    SIZE size{};
    EXPECT_TRUE(GetTextExtentPoint(dc, "x", 1, &size) && size.cy == 16) << "the system font's line";
}

TEST(GdiPictures, AreBlendedStretchedAndClipped) {
    constexpr std::uint32_t b = GdiCanvas::kBackground, w = kWhitePixel, k = kBlackPixel, r = kRedPixel,
                            grey = 0xFF808080;
    constexpr std::uint32_t clear_red = 0x00FF0000, clear_green = 0x0000FF00, clear_white = 0x00FFFFFF,
                            half_white = 0x80FFFFFF, half_black = 0x80000000;
    const RECT all{0, 0, 4, 1};
    using Row = std::vector<std::uint32_t>;
    // The picture's size and pixels, whether it has alpha; where it is drawn, its size there, the clip; what is seen.
    for (const auto& [name, width, height, pixels, has_alpha, x, to_width, to_height, clip, first_row] :
         Table<const char*, int, int, Row, bool, int, int, int, RECT, Row>{
             {"opaque in spite of its alpha bytes", 2, 1, {clear_red, half_white}, false, 1, 2, 1, all, {b, r, w, b}},
             {"alpha", 4, 1, {clear_white, half_white, w, half_black}, true, 0, 4, 1, all, {b, grey, w, k}},
             {"shrunk to its mean", 4, 2, {w, k, k, k, k, w, k, k}, false, 0, 2, 1, all, {grey, k, b, b}},
             {"hidden colours do not bleed", 2, 1, {clear_green, w}, true, 0, 1, 1, all, {grey, b, b, b}},
             {"stretched to the edges", 1, 1, {w}, true, 0, 4, 1, all, {w, w, w, w}},
             {"clipped", 4, 1, {r, r, w, w}, false, 0, 4, 1, {1, 0, 3, 1}, {b, r, w, b}},
             {"clipped and doubled", 4, 1, {r, r, w, w}, false, -4, 8, 1, {1, 0, 9, 9}, {b, w, w, w}},
             {"nothing to draw on", 1, 1, {w}, false, 0, 0, 5, all, {b, b, b, b}},
             {"absurd size", 1, 1, {w}, false, INT_MIN, INT_MAX, 5, all, {b, b, b, b}}}) {
        SCOPED_TRACE(name);
        GdiCanvas canvas(4, 1);
        canvas.dc->clip = mwin::Region(clip);
        Row callers = pixels;
        PSD picture = GdCreatePixmap(nullptr, width, height, 0, callers.data(), 0);
        ASSERT_NE(picture, nullptr);
        picture->has_alpha = has_alpha;
        DrawDIBFit(canvas.dc.get(), x, 0, to_width, to_height, picture);
        for (std::size_t i = 0; i < 4; ++i)
            ExpectNear(canvas.At(static_cast<int>(i), 0), first_row[i], 4);  // the filter's rounding
        picture->FreeMemGC(picture);
        canvas.Clear();
        DrawDIBFit(canvas.dc.get(), 0, 0, 4, 1, picture);
        EXPECT_EQ(canvas.Drawn(), "") << "stale";
    }
}

TEST(GdiPictures, PixmapsOwnOnlyTheirOwnPixels) {
    PSD own = GdCreatePixmap(nullptr, 3, 2, 0, nullptr, 0);
    ASSERT_TRUE(own != nullptr && own->pitch == 12 && own->size == 24);
    GdiCanvas canvas(3, 2);
    DrawDIBFit(canvas.dc.get(), 0, 0, 3, 2, own);
    EXPECT_EQ(canvas.Drawn(), "KKK/KKK") << "pixels of its own";
    std::vector<std::uint32_t> callers(8, kGreenPixel);
    callers[3] = callers[7] = kRedPixel;
    own->addr = reinterpret_cast<BYTE*>(callers.data());  // the program puts its pixels in place of the device's
    own->pitch = 16;
    DrawDIBFit(canvas.dc.get(), 0, 0, 3, 2, own);
    EXPECT_EQ(canvas.Drawn(), "GGG/GGG");
    own->FreeMemGC(own);
    for (const auto& [width, height] : {std::pair{0, 5}, {5, -1}, {INT_MAX, INT_MAX}, {1, INT_MAX}, {16384, 16384}})
        EXPECT_EQ(GdCreatePixmap(nullptr, width, height, 0, nullptr, 0), nullptr) << width << "x" << height;
}

}  // namespace
}  // namespace mwin_test
