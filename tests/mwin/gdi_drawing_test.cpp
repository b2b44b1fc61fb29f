#include <climits>

#include "tests/mwin/gdi_canvas.h"

namespace mwin_test {
namespace {

enum class How { Fill, FillByBrush, Box, Lines, Area, Dots };

// `points`: two corners of a rectangle, or what is passed through.
void Draw(HDC dc, How how, HBRUSH brush, const std::vector<POINT>& points) {
    const RECT rect{points[0].x, points[0].y, points[1].x, points[1].y};
    switch (how) {
        case How::Fill:
            return FastFillRect(dc, &rect, kRed);
        case How::FillByBrush:
            return static_cast<void>(FillRect(dc, &rect, brush));
        case How::Box:
            return static_cast<void>(Rectangle(dc, rect.left, rect.top, rect.right, rect.bottom));
        case How::Lines:
            MoveToEx(dc, points[0].x, points[0].y, nullptr);
            for (const POINT& p : points)
                LineTo(dc, p.x, p.y);
            return;
        case How::Area:
            return static_cast<void>(Polygon(dc, points.data(), static_cast<int>(points.size())));
        case How::Dots:
            for (const POINT& p : points)
                SetPixel(dc, p.x, p.y, kGreen);
            return;
    }
}

// On 9×6 pixels with the origin at (1, 1) and the last column and row clipped away.
TEST(GdiDrawing, ShapesAreClippedAndTellTheirDamage) {
    constexpr int kFar = INT_MAX;
    HBRUSH const blue = CreateSolidBrush(kBlue);
    HGDIOBJ const none = GetStockObject(NULL_BRUSH);
    HPEN const no_pen = GetStockObject(NULL_PEN);
    const auto pen = [](int width, COLORREF color = kRed) { return CreatePen(PS_SOLID, width, color); };
    const struct {
        const char* name;
        How how;
        HPEN pen;
        HBRUSH brush;
        std::vector<POINT> points;
        const char* expected;
    } shapes[] = {
        {"rectangle", How::Fill, nullptr, nullptr, {{-5, 1}, {3, 3}}, "//RRRR/RRRR"},
        {"empty rectangle", How::Fill, nullptr, nullptr, {{3, 3}, {1, 1}}, ""},
        {"far rectangle", How::Fill, nullptr, nullptr, {{INT_MIN, INT_MIN}, {kFar, 1}}, "RRRRRRRR/RRRRRRRR"},
        {"brush", How::FillByBrush, nullptr, blue, {{6, 2}, {100, 100}}, "///.......B/.......B"},
        {"null brush", How::FillByBrush, nullptr, none, {{0, 0}, {9, 9}}, ""},
        {"black brush", How::FillByBrush, nullptr, GetStockObject(BLACK_BRUSH), {{0, 0}, {1, 1}}, "/.K"},
        {"default box", How::Box, nullptr, nullptr, {{0, 0}, {4, 3}}, "/.KKKK/.KWWK/.KKKK"},
        {"box", How::Box, pen(2), none, {{0, 0}, {6, 9}}, "/.RRRRRR/.RRRRRR/.RR..RR/.RR..RR"},
        {"lines", How::Lines, pen(1), none, {{0, 0}, {3, 0}, {3, 2}, {0, 2}, {0, 1}}, "/.RRRR/....R/.RRRR"},
        {"diagonal", How::Lines, pen(1), none, {{0, 0}, {6, 3}}, "/.R/..RR/....RR/......R"},
        {"thick line", How::Lines, pen(3), none, {{1, 1}, {4, 1}}, "/.RRRRR/.RRRRR/.RRRRR"},
        {"far line", How::Lines, pen(1, kGreen), none, {{INT_MIN, 2}, {kFar, 2}}, "///GGGGGGGG"},
        {"polygon", How::Area, pen(1), blue, {{0, 3}, {3, 0}, {6, 3}}, "/....R/...RBR/..RBBBR/.RRRRRRR"},
        {"two corners", How::Area, pen(1), blue, {{0, 1}, {3, 1}}, "//.RRRR"},
        {"even-odd",
         How::Area,
         no_pen,
         blue,
         {{0, 0}, {7, 0}, {7, 4}, {0, 4}, {0, 0}, {2, 1}, {5, 1}, {5, 3}, {2, 3}, {2, 1}},
         "/.BBBBBBB/.BB...BB/.BB...BB/.BBBBBBB"},
        {"far polygon",
         How::Area,
         no_pen,
         blue,
         {{INT_MIN, 3}, {kFar, 3}, {kFar, kFar}, {INT_MIN, kFar}},
         "////BBBBBBBB"},
        {"pixels", How::Dots, nullptr, nullptr, {{2, 1}, {7, 0}, {INT_MIN, INT_MAX}}, "//...G"},
    };
    for (const auto& shape : shapes) {
        SCOPED_TRACE(shape.name);
        GdiCanvas canvas(9, 6);
        canvas.dc->origin = {1, 1};
        canvas.dc->clip = mwin::Region(RECT{0, 0, 8, 5});
        SelectObject(canvas.dc.get(), shape.pen);
        SelectObject(canvas.dc.get(), shape.brush);
        Draw(canvas.dc.get(), shape.how, shape.brush, shape.points);
        EXPECT_EQ(canvas.Drawn(), shape.expected);
        // Painting the damage over leaves nothing.
        const mwin::Region damage = canvas.surface.Damage();
        int count = 0;
        const pixman_box32_t* box = damage.Boxes(count);
        for (; count > 0; --count, ++box)
            pixman_fill(canvas.surface.Pixels(), canvas.surface.Pitch() / 4, 32, box->x1, box->y1, box->x2 - box->x1,
                        box->y2 - box->y1, GdiCanvas::kBackground);
        EXPECT_EQ(canvas.Drawn(), "") << "outside the damage";
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
    for (const int index : {-1, 11})
        EXPECT_EQ(GetStockObject(index), nullptr) << index;

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
    EXPECT_EQ(canvas.Drawn(), "WWWW");
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
    MwDc no_surface;
    for (HDC dc : {static_cast<HDC>(nullptr), &no_surface}) {
        for (const How how : {How::Fill, How::FillByBrush, How::Box, How::Lines, How::Area, How::Dots})
            Draw(dc, how, GetStockObject(WHITE_BRUSH), {{0, 0}, {1, 1}});
        EXPECT_FALSE(TextOut(dc, 0, 0, "x", 1));
        DrawDIBFit(dc, 0, 0, 1, 1, nullptr);
    }
}

TEST(GdiPictures, AreBlendedStretchedAndClipped) {
    constexpr std::uint32_t b = GdiCanvas::kBackground, w = kWhitePixel, k = kBlackPixel, r = kRedPixel,
                            grey = 0xFF808080;
    constexpr std::uint32_t clear_red = 0x00FF0000, clear_green = 0x0000FF00, clear_white = 0x00FFFFFF,
                            half_white = 0x80FFFFFF, half_black = 0x80000000;
    const RECT all{0, 0, 4, 1};
    const struct {
        const char* name;
        int width, height;
        std::vector<std::uint32_t> pixels;
        bool has_alpha;
        int x, to_width, to_height;
        RECT clip;
        std::vector<std::uint32_t> first_row;
    } cases[] = {
        {"one to one", 2, 1, {r, w}, false, 1, 2, 1, all, {b, r, w, b}},
        {"opaque in spite of its alpha bytes", 2, 1, {clear_red, half_white}, false, 1, 2, 1, all, {b, r, w, b}},
        {"alpha", 4, 1, {clear_white, half_white, w, half_black}, true, 0, 4, 1, all, {b, grey, w, k}},
        {"shrunk to its mean", 4, 2, {w, k, k, k, k, w, k, k}, false, 0, 2, 1, all, {grey, k, b, b}},
        {"hidden colours do not bleed", 2, 1, {clear_green, w}, true, 0, 1, 1, all, {grey, b, b, b}},
        {"stretched to the edges", 1, 1, {w}, true, 0, 4, 1, all, {w, w, w, w}},
        {"clipped", 4, 1, {r, r, w, w}, false, 0, 4, 1, {1, 0, 3, 1}, {b, r, w, b}},
        {"clipped and doubled", 4, 1, {r, r, w, w}, false, -4, 8, 1, {1, 0, 9, 9}, {b, w, w, w}},
        {"nothing to draw on", 1, 1, {w}, false, 0, 0, 5, all, {b, b, b, b}},
        {"absurd size", 1, 1, {w}, false, INT_MIN, INT_MAX, 5, all, {b, b, b, b}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        GdiCanvas canvas(4, 1);
        canvas.dc->clip = mwin::Region(c.clip);
        auto pixels = c.pixels;
        PSD picture = GdCreatePixmap(nullptr, c.width, c.height, 0, pixels.data(), 0);
        ASSERT_NE(picture, nullptr);
        picture->has_alpha = c.has_alpha;
        DrawDIBFit(canvas.dc.get(), c.x, 0, c.to_width, c.to_height, picture);
        for (int x = 0; x < 4; ++x)
            canvas.ExpectNear(x, 0, c.first_row[static_cast<std::size_t>(x)], 4);  // the filter's rounding
        picture->FreeMemGC(picture);
        canvas.Clear();
        DrawDIBFit(canvas.dc.get(), 0, 0, 4, 1, picture);
        EXPECT_EQ(canvas.Drawn(), "") << "stale";
    }
}

TEST(GdiPictures, PixmapsOwnOnlyTheirOwnPixels) {
    PSD own = GdCreatePixmap(nullptr, 3, 2, 0, nullptr, 0);
    ASSERT_NE(own, nullptr);
    EXPECT_EQ(own->pitch, 12);
    EXPECT_EQ(own->size, 24);
    GdiCanvas canvas(3, 2);
    DrawDIBFit(canvas.dc.get(), 0, 0, 3, 2, own);
    EXPECT_EQ(canvas.Drawn(), "KKK/KKK") << "pixels of its own";
    std::vector<std::uint32_t> callers(8, kGreenPixel);
    callers[3] = callers[7] = kRedPixel;
    own->addr = reinterpret_cast<BYTE*>(callers.data());  // the program puts its pixels in place of the device's
    own->pitch = 16;
    for (const bool has_alpha : {false, true}) {
        own->has_alpha = has_alpha;
        canvas.Clear();
        DrawDIBFit(canvas.dc.get(), 0, 0, 3, 2, own);
        EXPECT_EQ(canvas.Drawn(), "GGG/GGG");
    }
    own->FreeMemGC(own);
    for (const auto& [width, height] : {std::pair{0, 5}, {5, -1}, {INT_MAX, INT_MAX}, {1, INT_MAX}, {16384, 16384}}) {
        EXPECT_EQ(GdCreatePixmap(nullptr, width, height, 0, nullptr, 0), nullptr) << width << "x" << height;
    }
}

}  // namespace
}  // namespace mwin_test
