#include "ui/media/varno_ui_ctrl_2line_explorer.h"

#include <algorithm>
#include <chrono>
#include <new>

#include "media/clip_frame.h"
#include "media/varno_avi_reader.h"
#include "sys/kernel.h"
#include "ui/media/picture_place.h"
#include "video/frames/pixel_conversion.h"

namespace {

constexpr COLORREF kBackground = 0xFFFFFFFF;
constexpr COLORREF kEmptyCell = 0xFFE6E2DE;
constexpr COLORREF kSelected = 0xFF33B2F2;
constexpr COLORREF kSelectedEdge = 0xFF1C1814;
constexpr int kGapsInWidth = 64;
// Decoding six huge photos from a slow card would starve the watchdog: what is not read by then leaves its cell empty.
constexpr std::chrono::seconds kLongestLoad{10};

RECT Grown(const RECT& rect, int by) {
    return {rect.left - by, rect.top - by, rect.right + by, rect.bottom + by};
}

}  // namespace

CVarnoUICtrl2LineExplorer* CVarnoUICtrl2LineExplorer::CreateNew(HINSTANCE instance, HWND parent, int x, int y,
                                                                int width, int height) {
    auto* control = InitNewControl(std::make_unique<CVarnoUICtrl2LineExplorer>(instance, parent, x, y, width, height),
                                   instance, "Varno2LineExplorer");
    if (control != nullptr) control->SetBackgroundColor(kBackground);
    return control;
}

CVarnoUICtrl2LineExplorer::~CVarnoUICtrl2LineExplorer() {
    CVarnoUICtrl2LineExplorer::Deinit();
}

void CVarnoUICtrl2LineExplorer::InitPicList(const std::list<std::string>& paths) {
    DeinitPicList();
    const std::chrono::nanoseconds start = Varno::kernel().Monotonic();
    for (const std::string& path : paths) {
        if (m_pictures.size() == kPageItems) break;
        const bool in_time = Varno::kernel().Monotonic() - start < kLongestLoad;
        m_pictures.push_back(in_time ? LoadThumbnail(path) : Thumbnail{});
    }
    Refresh();
}

void CVarnoUICtrl2LineExplorer::DeinitPicList() {
    m_pictures.clear();
}

Thumbnail CVarnoUICtrl2LineExplorer::LoadThumbnail(const std::string& path) const {
    if (m_mediaType == Media_Video) return GetVideoFirstFrame(path);
    const RECT cell = CellRect(0);
    Thumbnail photo;
    photo.image.reset(
        GdLoadImageFit(Varno::kernel().Path(path).c_str(), cell.right - cell.left, cell.bottom - cell.top));
    return photo;
}

Thumbnail CVarnoUICtrl2LineExplorer::GetVideoFirstFrame(const std::string& path) {
    const std::unique_ptr<CVarnoAVIReader> reader(CVarnoAVIReader::CreateNew(path, Varno_PIX_FMT_YUYV422, false));
    if (!reader || reader->GetVideoCompressor() != std::string("YUY2")) return {};
    const auto frame = ClipFrame::CreateNew(*reader);
    if (!frame || !frame->ReadFirst(*reader)) return {};

    Thumbnail clip;
    clip.pixels.reset(new (std::nothrow) std::uint32_t[ClipFrame::kWidth * ClipFrame::kHeight]);
    if (!clip.pixels) return {};
    Pyuv422torgb32(frame->Picture(), reinterpret_cast<unsigned char*>(clip.pixels.get()), ClipFrame::kWidth,
                   ClipFrame::kHeight);
    clip.image.reset(Varno::GdCreatePixmap(scrdev, ClipFrame::kWidth, ClipFrame::kHeight, 0, clip.pixels.get(), 0));
    return clip;
}

void CVarnoUICtrl2LineExplorer::SetCurPos(unsigned pos) {
    if (pos >= kPageItems) return;
    RefreshCell(m_nCurPos);
    m_nCurPos = pos;
    RefreshCell(m_nCurPos);
}

void CVarnoUICtrl2LineExplorer::MoveV(bool up) {
    SendMessage(m_hHwnd, WM_KEYDOWN, up ? VK_UP : VK_DOWN, 0);
}

void CVarnoUICtrl2LineExplorer::MoveH(bool left) {
    SendMessage(m_hHwnd, WM_KEYDOWN, left ? VK_LEFT : VK_RIGHT, 0);
}

void CVarnoUICtrl2LineExplorer::Refresh() {
    if (m_hHwnd != nullptr) InvalidateRect(m_hHwnd, nullptr, TRUE);
}

// Down wraps and up does not; it is meant so.
unsigned CVarnoUICtrl2LineExplorer::MovedPos(ExplorerMove move) const {
    const unsigned last = m_pictures.empty() ? 0 : GetTotalItemNum() - 1;
    switch (move) {
        case ExplorerMove::Left:
            return m_nCurPos > 0 ? m_nCurPos - 1 : last;
        case ExplorerMove::Right:
            return m_nCurPos < last ? m_nCurPos + 1 : 0;
        case ExplorerMove::Up:
            return m_nCurPos >= kPageColumns ? m_nCurPos - kPageColumns : m_nCurPos;
        case ExplorerMove::Down:
            return m_nCurPos >= kPageColumns ? m_nCurPos - kPageColumns : m_nCurPos + kPageColumns;
    }
    return m_nCurPos;
}

void CVarnoUICtrl2LineExplorer::HandleKeyDown(WPARAM key) {
    switch (key) {
        case VK_LEFT:
            SetCurPos(MovedPos(ExplorerMove::Left));
            break;
        case VK_RIGHT:
            SetCurPos(MovedPos(ExplorerMove::Right));
            break;
        case VK_UP:
            SetCurPos(MovedPos(ExplorerMove::Up));
            break;
        case VK_DOWN:
            SetCurPos(MovedPos(ExplorerMove::Down));
            break;
        default:
            break;
    }
}

RECT CVarnoUICtrl2LineExplorer::CellRect(unsigned cell) const {
    const RECT client = ClientRect();
    constexpr int kColumns = kPageColumns;
    constexpr int kRows = kPageItems / kPageColumns;
    const int gap = std::max(static_cast<int>(client.right) / kGapsInWidth, 1);
    const int width = (client.right - (kColumns + 1) * gap) / kColumns;
    const int height = (client.bottom - (kRows + 1) * gap) / kRows;
    const int left = gap + static_cast<int>(cell % kPageColumns) * (width + gap);
    const int top = gap + static_cast<int>(cell / kPageColumns) * (height + gap);
    return {left, top, left + width, top + height};
}

void CVarnoUICtrl2LineExplorer::RefreshCell(unsigned cell) const {
    if (m_hHwnd == nullptr) return;
    const RECT rect = Grown(CellRect(cell), std::max(static_cast<int>(ClientRect().right) / kGapsInWidth, 1));
    InvalidateRect(m_hHwnd, &rect, TRUE);
}

void CVarnoUICtrl2LineExplorer::DrawAllPics(HDC dc) const {
    const unsigned count = GetTotalItemNum();
    for (unsigned cell = 0; cell < count; ++cell)
        DrawCell(dc, cell);
}

void CVarnoUICtrl2LineExplorer::DrawCell(HDC dc, unsigned cell) const {
    const RECT rect = CellRect(cell);
    if (cell == m_nCurPos) {
        const RECT edge = Grown(rect, 4);
        const RECT frame = Grown(rect, 3);
        FastFillRect(dc, &edge, kSelectedEdge);
        FastFillRect(dc, &frame, kSelected);
    }
    FastFillRect(dc, &rect, kEmptyCell);
    PSD image = m_pictures[cell].image.get();
    if (image == nullptr) return;
    const RECT place = PlaceInside(rect, image->xvirtres, image->yvirtres);
    DrawDIBFit(dc, place.left, place.top, place.right - place.left, place.bottom - place.top, image);
}

LRESULT CVarnoUICtrl2LineExplorer::WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) {
    switch (msg) {
        case WM_ERASEBKGND:
            return FillBackground(hwnd, reinterpret_cast<HDC>(wparam));
        case WM_PAINT: {
            PAINTSTRUCT paint{};
            DrawAllPics(BeginPaint(hwnd, &paint));
            EndPaint(hwnd, &paint);
            return 0;
        }
        case WM_KEYDOWN:
            HandleKeyDown(wparam);
            return 0;
        default:
            return DefWindowProc(hwnd, msg, wparam, lparam);
    }
}
