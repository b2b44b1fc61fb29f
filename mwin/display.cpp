#include "mwin/display.h"

#include <algorithm>
#include <memory>

#include "mwin/cursor_layer.h"
#include "mwin/surface.h"

PSD scrdev = nullptr;

namespace mwin {
namespace {

class Display {
  public:
    explicit Display(Screen& screen) : screen_(screen), surface_(screen.Width(), screen.Height()) {
        std::fill_n(surface_.Pixels(), static_cast<std::size_t>(surface_.Pitch() / 4) * surface_.Height(), 0xFF000000U);
        surface_.AddDamage(Whole());
        device_.xvirtres = surface_.Width();
        device_.yvirtres = surface_.Height();
        device_.bpp = 32;
        device_.pitch = surface_.Pitch();
        device_.addr = reinterpret_cast<BYTE*>(surface_.Pixels());
        device_.size = device_.pitch * device_.yvirtres;
        device_.FreeMemGC = [](PSD) {};
    }

    Surface& GetSurface() { return surface_; }
    PSD Device() { return &device_; }

    void Flush() {
        Region damage = surface_.Damage();
        damage.Intersect(Whole());
        surface_.ClearDamage();
        if (damage.IsEmpty()) return;
        Region covered = cursor_.Covered();
        covered.Intersect(damage);
        damage.Subtract(covered);
        Send(surface_, damage);
        if (covered.IsEmpty()) return;
        if (!composed_) composed_ = std::make_unique<Surface>(surface_.Width(), surface_.Height());
        pixman_image_set_clip_region32(composed_->Image(), covered.Raw());
        pixman_image_composite32(PIXMAN_OP_SRC, surface_.Image(), nullptr, composed_->Image(), 0, 0, 0, 0, 0, 0,
                                 surface_.Width(), surface_.Height());
        cursor_.Draw(composed_->Image(), covered);
        Send(*composed_, covered);
    }

    // Changes the cursor layer and shows the result at once.
    template <typename Change>
    void ChangeCursor(Change change) {
        Region affected = cursor_.Covered();
        change(cursor_);
        affected.Add(cursor_.Covered());
        if (affected.IsEmpty()) return;
        surface_.AddDamage(affected);
        Flush();
    }

  private:
    Region Whole() const { return Region(RECT{0, 0, surface_.Width(), surface_.Height()}); }

    void Send(const Surface& from, const Region& region) {
        int count = 0;
        const pixman_box32_t* box = region.Boxes(count);
        for (; count > 0; --count, ++box) {
            screen_.Update(from.Pixels(), from.Pitch() / 4, box->x1, box->y1, box->x2 - box->x1, box->y2 - box->y1);
        }
    }

    Screen& screen_;
    Surface surface_;
    std::unique_ptr<Surface> composed_;  // surface and cursor, where the cursor lies; made when it is first needed
    MwScreenDevice device_{};
    CursorLayer cursor_;
};

// A plain pointer: static destructors of the program may still draw.
Display* g_display = nullptr;

}  // namespace

void OpenDisplay(Screen& screen) {
    CloseDisplay();
    g_display = new Display(screen);  // NOLINT(cppcoreguidelines-owning-memory)
    scrdev = g_display->Device();
}

void CloseDisplay() {
    scrdev = nullptr;
    delete g_display;
    g_display = nullptr;
}

Surface* ScreenSurface() {
    return g_display != nullptr ? &g_display->GetSurface() : nullptr;
}

void FlushScreen() {
    if (g_display != nullptr) g_display->Flush();
}

}  // namespace mwin

void GdSetCursorImage(PSD image) {
    if (mwin::g_display == nullptr) return;
    mwin::g_display->ChangeCursor([image](mwin::CursorLayer& cursor) { cursor.SetPicture(image); });
}

void MwMoveCursor(int x, int y) {
    if (mwin::g_display == nullptr) return;
    // Further out there is nothing to see, and pixman's regions end at 32 bits.
    static constexpr int kFar = 1 << 20;
    mwin::g_display->ChangeCursor(
        [x, y](mwin::CursorLayer& cursor) { cursor.MoveTo(std::clamp(x, -kFar, kFar), std::clamp(y, -kFar, kFar)); });
}

int GdShowCursor() {
    int before = 0;
    if (mwin::g_display != nullptr) {
        mwin::g_display->ChangeCursor([&before](mwin::CursorLayer& cursor) { before = cursor.Show(); });
    }
    return before;
}

int GdHideCursor() {
    int before = 0;
    if (mwin::g_display != nullptr) {
        mwin::g_display->ChangeCursor([&before](mwin::CursorLayer& cursor) { before = cursor.Hide(); });
    }
    return before;
}
