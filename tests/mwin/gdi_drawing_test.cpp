#include <gmock/gmock.h>

#include <climits>

#include "tests/mwin/gdi_canvas.h"

namespace {

constexpr COLORREF kRed = RGB(255, 0, 0), kGreen = RGB(0, 255, 0), kBlue = RGB(0, 0, 255);

void UsePenAndBrush(HDC dc, HPEN pen, HBRUSH brush) {
    SelectObject(dc, pen);
    SelectObject(dc, brush);
}

struct Shape {
    const char* name;
    void (*draw)(HDC);
    std::vector<std::string> expected;
};

// Drawn with the origin at (1, 1) and the last column and row clipped away.
const Shape kShapes[] = {
    {"FastFillRect",
     [](HDC dc) {
         RECT r{-5, 1, 3, 3};
         FastFillRect(dc, &r, 0x000000FF);
     },
     {".........", ".........", "RRRR.....", "RRRR.....", ".........", "........."}},
    {"empty rectangle",
     [](HDC dc) {
         RECT r{3, 3, 1, 1};
         FastFillRect(dc, &r, kRed);
     },
     {".........", ".........", ".........", ".........", ".........", "........."}},
    {"FillRect",
     [](HDC dc) {
         RECT r{6, 2, 100, 100};
         FillRect(dc, &r, CreateSolidBrush(kBlue));
     },
     {".........", ".........", ".........", ".......B.", ".......B.", "........."}},
    {"null brush",
     [](HDC dc) {
         RECT r{0, 0, 9, 9};
         FillRect(dc, &r, GetStockObject(NULL_BRUSH));
     },
     {".........", ".........", ".........", ".........", ".........", "........."}},
    {"default Rectangle",
     [](HDC dc) { Rectangle(dc, 0, 0, 4, 3); },
     {".........", ".KKKK....", ".KWWK....", ".KKKK....", ".........", "........."}},
    {"Rectangle",
     [](HDC dc) {
         UsePenAndBrush(dc, CreatePen(PS_SOLID, 2, kRed), GetStockObject(NULL_BRUSH));
         Rectangle(dc, 0, 0, 6, 9);
     },
     {".........", ".RRRRRR..", ".RRRRRR..", ".RR..RR..", ".RR..RR..", "........."}},
    {"lines without their ends",
     [](HDC dc) {
         SelectObject(dc, CreatePen(PS_SOLID, 1, kGreen));
         MoveToEx(dc, 0, 0, nullptr);
         LineTo(dc, 3, 0);
         LineTo(dc, 3, 2);
         LineTo(dc, 0, 2);
         LineTo(dc, 0, 1);
     },
     {".........", ".GGGG....", "....G....", ".GGGG....", ".........", "........."}},
    {"diagonal",
     [](HDC dc) {
         SelectObject(dc, GetStockObject(WHITE_PEN));
         MoveToEx(dc, 0, 0, nullptr);
         LineTo(dc, 6, 3);
     },
     {".........", ".W.......", "..WW.....", "....WW...", "......W..", "........."}},
    {"thick line",
     [](HDC dc) {
         SelectObject(dc, CreatePen(PS_SOLID, 3, kRed));
         MoveToEx(dc, 1, 1, nullptr);
         LineTo(dc, 4, 1);
     },
     {".........", ".RRRRR...", ".RRRRR...", ".RRRRR...", ".........", "........."}},
    {"Polygon",
     [](HDC dc) {
         UsePenAndBrush(dc, CreatePen(PS_SOLID, 1, kRed), CreateSolidBrush(kBlue));
         const POINT p[] = {{0, 3}, {3, 0}, {6, 3}};
         Polygon(dc, p, 3);
     },
     {".........", "....R....", "...RBR...", "..RBBBR..", ".RRRRRRR.", "........."}},
    {"Polygon without outline, even-odd",
     [](HDC dc) {
         UsePenAndBrush(dc, GetStockObject(NULL_PEN), CreateSolidBrush(kBlue));
         const POINT p[] = {{0, 0}, {7, 0}, {7, 4}, {0, 4}, {0, 0}, {2, 1}, {5, 1}, {5, 3}, {2, 3}, {2, 1}};
         Polygon(dc, p, 10);
     },
     {".........", ".BBBBBBB.", ".BB...BB.", ".BB...BB.", ".BBBBBBB.", "........."}},
    {"SetPixel",
     [](HDC dc) {
         SetPixel(dc, 2, 1, kGreen);
         SetPixel(dc, 7, 0, kGreen);
         SetPixel(dc, INT_MIN, INT_MAX, kGreen);
     },
     {".........", ".........", "...G.....", ".........", ".........", "........."}},
    {"far away",
     [](HDC dc) {
         RECT r{INT_MIN, INT_MIN, INT_MAX, 1};
         FastFillRect(dc, &r, kRed);
         SelectObject(dc, CreatePen(PS_SOLID, 1, kGreen));
         MoveToEx(dc, INT_MIN, 2, nullptr);
         LineTo(dc, INT_MAX, 2);
         UsePenAndBrush(dc, GetStockObject(NULL_PEN), CreateSolidBrush(kBlue));
         const POINT p[] = {{INT_MIN, 3}, {INT_MAX, 3}, {INT_MAX, INT_MAX}, {INT_MIN, INT_MAX}};
         Polygon(dc, p, 4);
     },
     {"RRRRRRRR.", "RRRRRRRR.", ".........", "GGGGGGGG.", "BBBBBBBB.", "........."}},
};

TEST(GdiDrawing, ShapesAreClippedAndTellTheirDamage) {
    for (const Shape& shape : kShapes) {
        SCOPED_TRACE(shape.name);
        GdiCanvas canvas(9, 6);
        canvas.dc->origin = {1, 1};
        canvas.dc->clip = mwin::Region(RECT{0, 0, 8, 5});
        shape.draw(canvas.dc.get());
        EXPECT_EQ(canvas.Rows(), shape.expected);
        const RECT ink = canvas.Ink();
        mwin::Region undamaged{ink};
        undamaged.Subtract(canvas.surface.Damage());
        for (int y = ink.top; y < ink.bottom; ++y) {
            for (int x = ink.left; x < ink.right; ++x) {
                if (canvas.At(x, y) == GdiCanvas::kBackground) continue;
                EXPECT_FALSE(pixman_region32_contains_point(undamaged.Raw(), x, y, nullptr)) << x << "," << y;
            }
        }
    }
}

TEST(GdiObjects, DeletionIsSafe) {
    GdiCanvas canvas(4, 1);
    HDC dc = canvas.dc.get();
    const RECT all{0, 0, 4, 1};
    for (const int index : {WHITE_BRUSH, NULL_BRUSH, WINDOW_ERASES_BRUSH, BLACK_PEN, SYSTEM_FONT}) {
        HGDIOBJ stock = GetStockObject(index);
        ASSERT_NE(stock, nullptr) << index;
        EXPECT_FALSE(DeleteObject(stock));
        EXPECT_EQ(GetStockObject(index), stock);
    }
    EXPECT_EQ(GetStockObject(11), nullptr);
    EXPECT_EQ(GetStockObject(-1), nullptr);

    // Equal brushes count their users: a deletion by one user leaves the other's.
    HBRUSH first = CreateSolidBrush(RGB(1, 2, 3));
    HBRUSH second = CreateSolidBrush(RGB(1, 2, 3));
    EXPECT_TRUE(DeleteObject(first));
    EXPECT_TRUE(FillRect(dc, &all, second));
    EXPECT_EQ(canvas.At(3, 0), 0xFF010203);
    EXPECT_TRUE(DeleteObject(second));
    EXPECT_FALSE(FillRect(dc, &all, second));
    EXPECT_FALSE(DeleteObject(second));
    EXPECT_FALSE(FillRect(dc, &all, GetStockObject(BLACK_PEN)));

    // A deleted object that is still selected counts as the default one.
    HBRUSH selected = CreateSolidBrush(RGB(4, 5, 6));
    EXPECT_EQ(SelectObject(dc, selected), GetStockObject(WHITE_BRUSH));
    EXPECT_EQ(SelectObject(dc, GetStockObject(NULL_PEN)), GetStockObject(BLACK_PEN));
    EXPECT_TRUE(DeleteObject(selected));
    Rectangle(dc, 0, 0, 4, 1);
    EXPECT_EQ(canvas.Rows()[0], "WWWW");
    EXPECT_EQ(SelectObject(dc, selected), nullptr);
    EXPECT_EQ(SelectObject(dc, nullptr), nullptr);

    HFONT font = CreateFont(10, 0, 0, 0, FW_NORMAL, 0, 0, 0, 0, 0, 0, 0, 0, "Arial.ttf");
    SelectObject(dc, font);
    EXPECT_TRUE(DeleteObject(font));
    SIZE size{};
    EXPECT_TRUE(GetTextExtentPoint(dc, "x", 1, &size));
    EXPECT_EQ(size.cy, 16);  // the system font's line
}

TEST(GdiObjects, NoDeviceNoCrash) {
    const RECT r{0, 0, 1, 1};
    FastFillRect(nullptr, &r, 0);
    MwDc without_surface;
    EXPECT_FALSE(FillRect(&without_surface, &r, GetStockObject(WHITE_BRUSH)));
    EXPECT_FALSE(LineTo(&without_surface, 5, 5));
    EXPECT_FALSE(TextOut(nullptr, 0, 0, "x", 1));
    DrawDIBFit(nullptr, 0, 0, 1, 1, nullptr);
}

struct PictureCase {
    const char* name;
    int width, height;
    std::vector<std::uint32_t> pixels;
    bool has_alpha;
    RECT to;  // x, y, width, height
    RECT clip;
    std::vector<std::uint32_t> first_row;
};

TEST(GdiPictures, AreBlendedStretchedAndClipped) {
    constexpr std::uint32_t b = GdiCanvas::kBackground, w = 0xFFFFFFFF, k = 0xFF000000, r = 0xFFFF0000;
    const PictureCase kCases[] = {
        {"one to one", 2, 1, {r, w}, false, {1, 0, 2, 1}, {0, 0, 4, 1}, {b, r, w, b}},
        {"opaque in spite of its alpha bytes",
         2,
         1,
         {0x00FF0000, 0x80FFFFFF},
         false,
         {1, 0, 2, 1},
         {0, 0, 4, 1},
         {b, r, w, b}},
        {"alpha",
         4,
         1,
         {0x00FFFFFF, 0x80FFFFFF, 0xFFFFFFFF, 0x80000000},
         true,
         {0, 0, 4, 1},
         {0, 0, 4, 1},
         {b, 0xFF808080, w, 0xFF000000}},
        {"shrunk to its mean",
         4,
         2,
         {w, k, k, k, k, w, k, k},
         false,
         {0, 0, 2, 1},
         {0, 0, 4, 1},
         {0xFF808080, k, b, b}},
        {"hidden colours do not bleed", 2, 1, {0x0000FF00, w}, true, {0, 0, 1, 1}, {0, 0, 4, 1}, {0xFF808080, b, b, b}},
        {"stretched to the edges", 1, 1, {w}, true, {0, 0, 4, 1}, {0, 0, 4, 1}, {w, w, w, w}},
        {"clipped", 4, 1, {r, r, w, w}, false, {0, 0, 4, 1}, {1, 0, 3, 1}, {b, r, w, b}},
        {"clipped and doubled", 4, 1, {r, r, w, w}, false, {-4, 0, 8, 1}, {1, 0, 9, 9}, {b, w, w, w}},
        {"nothing to draw on", 1, 1, {w}, false, {0, 0, 0, 5}, {0, 0, 4, 1}, {b, b, b, b}},
        {"absurd size", 1, 1, {w}, false, {INT_MIN, 0, INT_MAX, 5}, {0, 0, 4, 1}, {b, b, b, b}},
    };
    for (const PictureCase& c : kCases) {
        SCOPED_TRACE(c.name);
        GdiCanvas canvas(4, 1);
        canvas.dc->clip = mwin::Region(c.clip);
        auto pixels = c.pixels;
        PSD picture = GdCreatePixmap(nullptr, c.width, c.height, 0, pixels.data(), 0);
        ASSERT_NE(picture, nullptr);
        picture->has_alpha = c.has_alpha;
        DrawDIBFit(canvas.dc.get(), c.to.left, c.to.top, c.to.right, c.to.bottom, picture);
        for (int x = 0; x < 4; ++x) {
            for (int shift = 0; shift < 32; shift += 8) {  // within the filter's rounding
                EXPECT_NEAR(canvas.At(x, 0) >> shift & 255, c.first_row[static_cast<std::size_t>(x)] >> shift & 255, 4)
                    << x;
            }
        }
        picture->FreeMemGC(picture);
        canvas.Clear();
        DrawDIBFit(canvas.dc.get(), 0, 0, 4, 1, picture);  // stale
        EXPECT_EQ(canvas.Rows()[0], "....");
    }
}

TEST(GdiPictures, PixmapsOwnOnlyTheirOwnPixels) {
    PSD own = GdCreatePixmap(nullptr, 3, 2, 0, nullptr, 0);
    ASSERT_NE(own, nullptr);
    EXPECT_EQ(own->pitch, 12);
    EXPECT_EQ(own->size, 24);
    std::vector<std::uint32_t> callers(6, 0xFF00FF00);
    own->addr = reinterpret_cast<BYTE*>(callers.data());  // the program puts its pixels in place of the device's
    GdiCanvas canvas(3, 2);
    DrawDIBFit(canvas.dc.get(), 0, 0, 3, 2, own);
    EXPECT_EQ(canvas.Rows()[1], "GGG");
    own->FreeMemGC(own);
    for (const auto& [width, height] : {std::pair{0, 5}, {5, -1}, {INT_MAX, INT_MAX}, {1, INT_MAX}, {16384, 16384}}) {
        EXPECT_EQ(GdCreatePixmap(nullptr, width, height, 0, nullptr, 0), nullptr) << width << "x" << height;
    }
}

}  // namespace
