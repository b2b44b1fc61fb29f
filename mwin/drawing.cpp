#include "mwin/drawing.h"

#include <cstdlib>
#include <vector>

#include "mwin/gdi_object.h"

namespace mwin {

Region ClipTo(const MwDc& dc, const RECT& rect) {
    Region region(rect);
    region.Intersect(dc.clip);
    region.Intersect(Region(RECT{0, 0, dc.surface->Width(), dc.surface->Height()}));
    return region;
}

void FillRegion(const MwDc& dc, const Region& region, COLORREF color) {
    int count = 0;
    const pixman_box32_t* box = region.Boxes(count);
    for (; count > 0; --count, ++box) {
        pixman_fill(dc.surface->Pixels(), dc.surface->Pitch() / 4, 32, box->x1, box->y1, box->x2 - box->x1,
                    box->y2 - box->y1, ToPixel(color));
    }
    dc.surface->AddDamage(region);
}

namespace {

// Line ends further out are moved nearer: a line's cost grows with its length.
constexpr LONG kFarthestLineEnd = 16384;

// Boxes of surface pixels, drawn at once so that none is drawn twice.
class Shape {
  public:
    void Add(int x, int y, int width, int height) {
        if (width > 0 && height > 0) boxes_.push_back({x, y, x + width, y + height});
    }
    void Fill(const MwDc& dc, COLORREF color) const {
        if (boxes_.empty()) return;
        Region region;
        pixman_region32_fini(region.Raw());
        pixman_region32_init_rects(region.Raw(), boxes_.data(), static_cast<int>(boxes_.size()));
        region.Intersect(ClipTo(dc, region.Bounds()));
        FillRegion(dc, region, color);
    }

  private:
    std::vector<pixman_box32_t> boxes_;
};

POINT LineEnd(const MwDc& dc, const POINT& point) {
    return {std::clamp(ToSurface(dc.origin.x, point.x), -kFarthestLineEnd, kFarthestLineEnd),
            std::clamp(ToSurface(dc.origin.y, point.y), -kFarthestLineEnd, kFarthestLineEnd)};
}

// Bresenham's line with a square pen, without its last point.
void AddLine(Shape& shape, POINT from, POINT to, int width) {
    const int dx = std::abs(to.x - from.x);
    const int dy = -std::abs(to.y - from.y);
    const int step_x = from.x < to.x ? 1 : -1;
    const int step_y = from.y < to.y ? 1 : -1;
    const int before = (width - 1) / 2;
    if (dx == 0 || dy == 0) {  // one box
        const int left = std::min(from.x, to.x + (step_x < 0 ? 1 : 0));
        const int top = std::min(from.y, to.y + (step_y < 0 ? 1 : 0));
        if (dx == 0 && dy == 0) return;
        shape.Add((dx == 0 ? from.x : left) - before, (dy == 0 ? from.y : top) - before, std::max(dx, 1) + width - 1,
                  std::max(-dy, 1) + width - 1);
        return;
    }
    int error = dx + dy;
    while (from.x != to.x || from.y != to.y) {
        shape.Add(from.x - before, from.y - before, width, width);
        const int doubled = 2 * error;
        if (doubled >= dy) {
            error += dy;
            from.x += step_x;
        }
        if (doubled <= dx) {
            error += dx;
            from.y += step_y;
        }
    }
}

// Pixels that lie inside, by the even-odd rule; the right and the bottom edge are left to the outline.
void AddInterior(Shape& shape, const std::vector<POINT>& points, const RECT& bounds) {
    std::vector<int> crossings;
    for (int y = bounds.top; y < bounds.bottom; ++y) {
        crossings.clear();
        for (std::size_t i = 0; i < points.size(); ++i) {
            POINT a = points[i];
            POINT b = points[(i + 1) % points.size()];
            if (a.y > b.y) std::swap(a, b);
            if (y < a.y || y >= b.y) continue;
            // Corners lie on the middle of pixels, as the outline does; the first pixel that is not left of the edge.
            const std::int64_t rows = b.y - a.y;
            const std::int64_t run = static_cast<std::int64_t>(y - a.y) * (b.x - a.x);
            crossings.push_back(a.x + static_cast<int>(run >= 0 ? (run + rows - 1) / rows : -(-run / rows)));
        }
        std::sort(crossings.begin(), crossings.end());
        for (std::size_t i = 0; i + 1 < crossings.size(); i += 2) {
            const int left = std::max(crossings[i], static_cast<int>(bounds.left));
            shape.Add(left, y, std::min(crossings[i + 1], static_cast<int>(bounds.right)) - left, 1);
        }
    }
}

}  // namespace
}  // namespace mwin

using mwin::IsDrawable;

void FastFillRect(HDC dc, const RECT* rect, COLORREF color) {
    if (!IsDrawable(dc) || rect == nullptr) return;
    const RECT target = mwin::ToSurface(*dc, rect->left, rect->top, rect->right, rect->bottom);
    mwin::FillRegion(*dc, mwin::ClipTo(*dc, target), color);
}

int FillRect(HDC dc, const RECT* rect, HBRUSH brush) {
    const MwGdiObject* object = mwin::FindObject(brush, MwGdiObject::Kind::Brush);
    if (!IsDrawable(dc) || rect == nullptr || object == nullptr) return FALSE;
    if (!object->is_null) FastFillRect(dc, rect, object->color);
    return TRUE;
}

BOOL Rectangle(HDC dc, int left, int top, int right, int bottom) {
    if (!IsDrawable(dc)) return FALSE;
    if (right <= left || bottom <= top) return TRUE;
    const RECT whole = mwin::ToSurface(*dc, left, top, right, bottom);
    const MwGdiObject& pen = mwin::SelectedPen(*dc);
    const MwGdiObject& brush = mwin::SelectedBrush(*dc);
    const int border = pen.is_null ? 0 : pen.width;
    const RECT inside{whole.left + border, whole.top + border, whole.right - border, whole.bottom - border};
    if (!brush.is_null) mwin::FillRegion(*dc, mwin::ClipTo(*dc, inside), brush.color);
    if (!pen.is_null) {
        mwin::Region frame = mwin::ClipTo(*dc, whole);
        frame.Subtract(mwin::Region(inside));
        mwin::FillRegion(*dc, frame, pen.color);
    }
    return TRUE;
}

BOOL MoveToEx(HDC dc, int x, int y, POINT* previous) {
    if (!IsDrawable(dc)) return FALSE;
    if (previous != nullptr) *previous = dc->position;
    dc->position = {x, y};
    return TRUE;
}

BOOL LineTo(HDC dc, int x, int y) {
    if (!IsDrawable(dc)) return FALSE;
    const MwGdiObject& pen = mwin::SelectedPen(*dc);
    const POINT end{x, y};
    if (!pen.is_null) {
        mwin::Shape shape;
        mwin::AddLine(shape, mwin::LineEnd(*dc, dc->position), mwin::LineEnd(*dc, end), pen.width);
        shape.Fill(*dc, pen.color);
    }
    dc->position = end;
    return TRUE;
}

BOOL Polygon(HDC dc, const POINT* points, int count) {
    if (!IsDrawable(dc) || points == nullptr || count < 2) return FALSE;
    std::vector<POINT> corners(static_cast<std::size_t>(count));
    std::transform(points, points + count, corners.begin(), [dc](const POINT& p) { return mwin::LineEnd(*dc, p); });
    const MwGdiObject& brush = mwin::SelectedBrush(*dc);
    if (!brush.is_null) {
        mwin::Shape interior;
        const RECT everywhere{0, 0, dc->surface->Width(), dc->surface->Height()};
        mwin::AddInterior(interior, corners, mwin::ClipTo(*dc, everywhere).Bounds());
        interior.Fill(*dc, brush.color);
    }
    const MwGdiObject& pen = mwin::SelectedPen(*dc);
    if (!pen.is_null) {
        mwin::Shape outline;
        for (std::size_t i = 0; i < corners.size(); ++i) {
            mwin::AddLine(outline, corners[i], corners[(i + 1) % corners.size()], pen.width);
        }
        outline.Fill(*dc, pen.color);
    }
    return TRUE;
}

COLORREF SetPixel(HDC dc, int x, int y, COLORREF color) {
    if (!IsDrawable(dc)) return 0;
    const RECT target = mwin::ToSurface(*dc, x, y, x + 1LL, y + 1LL);
    mwin::FillRegion(*dc, mwin::ClipTo(*dc, target), color);
    return color;
}
