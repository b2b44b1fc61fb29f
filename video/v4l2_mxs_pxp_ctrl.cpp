#include "video/v4l2_mxs_pxp_ctrl.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>

#include "mwin/windows.h"
#include "settings/varno_sv_setting.h"
#include "sys/debug.h"
#include "sys/kernel.h"
#include "video/frames/pixel_conversion.h"

namespace {

constexpr char kDeviceName[] = "PxP";
constexpr unsigned kFramerate = 30;
constexpr unsigned kSourceWidth = 320;
constexpr unsigned kSourceHeight = 240;
constexpr unsigned kSmallestWidth = 16;
constexpr unsigned kSmallestHeight = 12;
constexpr int kWideScreen = 320;
constexpr std::uint32_t kChromaKey = 0x010101;
constexpr std::uint8_t kOpaque = 255;
constexpr int kVideoOutput = 0;
constexpr int kInterfaceOutput = 1;
// Longer than the display takes to give a buffer back, short enough for a thread that is to end.
constexpr std::chrono::milliseconds kBufferWait{100};

constexpr unsigned kRotationControl = V4L2_CID_PRIVATE_BASE;  // degrees

// Where the overlay goes: the whole screen.
v4l2_rect ScreenRect() {
    v4l2_rect rect{};
    if (scrdev && scrdev->xvirtres < kWideScreen) {
        rect.width = static_cast<unsigned>(std::max(scrdev->xvirtres, 0));
        rect.height = static_cast<unsigned>(std::max(scrdev->yvirtres, 0));
    } else {
        const CVarnoSVSetting& settings = CVarnoSVSetting::GetInstance();
        rect.width = static_cast<unsigned>(settings.GetScrWidth());
        rect.height = static_cast<unsigned>(settings.GetScrHeight());
    }
    return rect;
}

v4l2_pix_format Picture(unsigned width, unsigned height) {
    v4l2_pix_format pix{};
    pix.width = width;
    pix.height = height;
    pix.pixelformat = V4L2_PIX_FMT_YUV422P;
    pix.field = V4L2_FIELD_ANY;
    return pix;
}

}  // namespace

CV4L2_MXSPXPCTRL& CV4L2_MXSPXPCTRL::GetInstance() {
    static CV4L2_MXSPXPCTRL instance;
    return instance;
}

CV4L2_MXSPXPCTRL::CV4L2_MXSPXPCTRL() : CV4L2_VideoCtrl(V4L2_CAP_VIDEO_OUTPUT | V4L2_CAP_VIDEO_OUTPUT_OVERLAY) {
    m_v4l_buf_type = V4L2_BUF_TYPE_VIDEO_OUTPUT;
}

bool CV4L2_MXSPXPCTRL::Start(unsigned width, unsigned height) {
    const std::lock_guard<std::mutex> lock(m_startLock);
    {
        const auto ctrl_lock = Lock();
        SetWidth(width);
        SetHeight(height);
    }
    SetFramerate(kFramerate);
    SetReqFormat(V4L2_PIX_FMT_YUV422P);
    const bool found = Open(kDeviceName, true);
    varno_printf(DBG_LV_DEBUG, "%s:%d ", __func__, __LINE__);
    if (!found) return false;
    // The device takes its settings for good only when it is opened again after them.
    InitV4L2Params();
    Close();
    if (!Open(kDeviceName, true)) return false;
    std::printf("MXS PXP is opened.\n");
    InitV4L2Params();
    if (!EnableStream(V4L2_BUF_TYPE_VIDEO_OUTPUT, 1)) {
        Close();
        return false;
    }
    const auto ctrl_lock = Lock();
    m_nCurWidth = static_cast<std::uint16_t>(m_nWidth);
    m_nCurHeight = static_cast<std::uint16_t>(m_nHeight);
    return true;
}

bool CV4L2_MXSPXPCTRL::InitV4L2Params() {
    if (m_nShouldHaveCap == 0) return true;
    SetV4L2PixFormat(V4L2_BUF_TYPE_VIDEO_OUTPUT, Picture(m_nWidth, m_nHeight));

    v4l2_window window{};
    window.w = ScreenRect();
    window.field = V4L2_FIELD_NONE;
    window.chromakey = kChromaKey;
    window.global_alpha = kOpaque;
    std::printf("Overlay w=%d, h=%d\n", static_cast<int>(window.w.width), static_cast<int>(window.w.height));
    SetOutput_Overlay(window);
    SetFBuf_Overlay();

    v4l2_crop crop{};
    crop.type = V4L2_BUF_TYPE_VIDEO_OUTPUT_OVERLAY;
    crop.c = window.w;
    std::printf("Crop w=%d, h=%d\n", static_cast<int>(crop.c.width), static_cast<int>(crop.c.height));
    SetOutput_Crop(crop);
    SetOutput_ID(kInterfaceOutput);
    return true;
}

void CV4L2_MXSPXPCTRL::EnqueuePXPBuf(const char* frame, unsigned /*len*/) {
    const auto lock = Lock();
    if (!m_bIsstreaming || !frame) return;
    // The descriptor is blocking: dequeuing from a stuck device would never return.
    if (Varno::kernel().WaitWritable(m_nV4L2_fd, kBufferWait) != 1) return;
    v4l2_buffer buffer;
    if (!v4l2_DQBUF(V4L2_BUF_TYPE_VIDEO_OUTPUT, buffer)) return;
    if (buffer.length != 0) WritePicture(buffer.index, frame);
    v4l2_buffer requeued;
    v4l2_QBUF(V4L2_BUF_TYPE_VIDEO_OUTPUT, buffer.index, requeued);
}

void CV4L2_MXSPXPCTRL::WritePicture(unsigned index, const char* frame) {
    const auto lock = LockStreamBufferList();
    const CV4LMMAPDATABUF* mapped = GetStreamBufferListAt(index, lock);
    if (!mapped) return;
    const std::size_t picture = std::size_t{m_nCurWidth} * m_nCurHeight * 2;
    if (picture > static_cast<std::size_t>(mapped->GetLength())) return;
    YUYVtoYUV422PZoomoutCen(reinterpret_cast<const unsigned char*>(frame),
                            reinterpret_cast<unsigned char*>(mapped->GetBasePointer()), kSourceWidth, kSourceHeight,
                            m_nCurWidth, m_nCurHeight);
}

void CV4L2_MXSPXPCTRL::ZoomStep(unsigned short width, unsigned short height) {
    const auto lock = Lock();
    if (width == m_nCurWidth && height == m_nCurHeight) return;
    m_nCurWidth = width;
    m_nCurHeight = height;
    Scale(width, height);
}

void CV4L2_MXSPXPCTRL::SetZoomDefault() {
    const auto lock = Lock();
    Scale(m_nWidth, m_nHeight);
}

void CV4L2_MXSPXPCTRL::SetScaleTo(unsigned width, unsigned height) {
    const auto lock = Lock();
    Scale(width, height);
}

void CV4L2_MXSPXPCTRL::Scale(unsigned width, unsigned height) {
    const unsigned w = std::max(std::min(width, m_nWidth), kSmallestWidth);
    const unsigned h = std::max(std::min(height, m_nHeight), kSmallestHeight);
    std::printf("Zoom to %dx%d\n", static_cast<int>(w), static_cast<int>(h));

    v4l2_window window{};
    window.w.width = w;
    window.w.height = h - 1;  // the last line is left out on purpose
    window.field = V4L2_FIELD_NONE;
    SetV4L2WinFormat(V4L2_BUF_TYPE_VIDEO_OUTPUT_OVERLAY, window);
    SetV4L2PixFormat(V4L2_BUF_TYPE_VIDEO_OUTPUT, Picture(w, h));  // the device takes it while streaming
}

bool CV4L2_MXSPXPCTRL::SetRotate(PXPRotateType type) {
    const auto lock = Lock();
    const bool rotated = WriteControl(kRotationControl, type == PXP_ROTATE_180 ? 180 : 0);
    const bool mirrored = WriteControl(V4L2_CID_HFLIP, type == PXP_ROTATE_HFlip ? 1 : 0);
    const bool flipped = WriteControl(V4L2_CID_VFLIP, type == PXP_ROTATE_VFlip ? 1 : 0);
    m_curRotateType = type;
    return rotated && mirrored && flipped;
}

bool CV4L2_MXSPXPCTRL::RotateCW() {
    if (!IsOpened()) return false;
    switch (m_curRotateType) {
        case PXP_ROTATE_Orig:
            return SetRotate(PXP_ROTATE_HFlip);
        case PXP_ROTATE_HFlip:
            return SetRotate(PXP_ROTATE_180);
        case PXP_ROTATE_180:
            return SetRotate(PXP_ROTATE_VFlip);
        case PXP_ROTATE_VFlip:
            break;
    }
    return SetRotate(PXP_ROTATE_Orig);
}

void CV4L2_MXSPXPCTRL::Rotate90() {
    const auto lock = Lock();
    WriteControl(kRotationControl, 90);
}

void CV4L2_MXSPXPCTRL::ChangeToPXP(bool pxp) {
    SetOutput_ID(pxp ? kVideoOutput : kInterfaceOutput);
}

int CV4L2_MXSPXPCTRL::GetPxPDispID() {
    return std::max(GetOutput(), -1);
}
