#include "ui/media/overlay_view.h"

#include <vector>

#include "media/clip_frame.h"
#include "sys/kernel.h"
#include "video/v4l2_mxs_pxp_ctrl.h"

namespace {

constexpr int kVideoOutput = 0;
constexpr int kOrientations = 4;

CV4L2_MXSPXPCTRL& Overlay() {
    return CV4L2_MXSPXPCTRL::GetInstance();
}

void SetView(unsigned width, unsigned height, int rotation) {
    if (!Overlay().IsStreaming()) return;
    Overlay().ZoomStep(static_cast<unsigned short>(width), static_cast<unsigned short>(height));
    for (int i = 0; i < kOrientations && Overlay().GetRotate() != rotation; ++i)
        Overlay().RotateCW();
}

}  // namespace

OverlayView::OverlayView()
    : m_zoomWidth(Overlay().GetDispWidth()),
      m_zoomHeight(Overlay().GetDispHeight()),
      m_rotation(Overlay().GetRotate()) {
    SetView(ClipFrame::kWidth, ClipFrame::kHeight, PXP_ROTATE_Orig);
}

OverlayView::~OverlayView() {
    Hide();
    SetView(m_zoomWidth, m_zoomHeight, m_rotation);
    // Live view may be switched on before its first frame is there: what is seen until then is black, not the clip's
    // last frame read at another size.
    constexpr unsigned char kBlack[] = {0, 128};
    std::vector<unsigned char> black(ClipFrame::kBytes);
    for (std::size_t i = 0; i < black.size(); ++i)
        black[i] = kBlack[i % 2];
    if (Overlay().IsStreaming()) Prepare(black.data());
}

// Opening takes long, and playback would stand still with it: once a second is often enough.
bool OverlayView::Open() {
    if (Overlay().IsStreaming()) return true;
    const std::int64_t now = Varno::kernel().RealTime().tv_sec;
    if (now == m_lastFailure) return false;
    if (!Overlay().Start(ClipFrame::kWidth, ClipFrame::kHeight)) {
        m_lastFailure = now;
        return false;
    }
    SetView(ClipFrame::kWidth, ClipFrame::kHeight, PXP_ROTATE_Orig);
    return true;
}

void OverlayView::Show(const unsigned char* frame) {
    if (!Open()) return;
    Prepare(frame);  // first, so that nothing older is seen
    if (Overlay().GetPxPDispID() != kVideoOutput) Overlay().ChangeToPXP(true);
}

void OverlayView::Prepare(const unsigned char* frame) {
    Overlay().EnqueuePXPBuf(reinterpret_cast<const char*>(frame), ClipFrame::kBytes);
}

void OverlayView::Hide() {
    if (Overlay().IsOpened()) Overlay().ChangeToPXP(false);
}
