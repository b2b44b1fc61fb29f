// What the player shows over and around the picture.
#include <string>

#include "media/clip_frame.h"
#include "settings/varno_sv_setting.h"
#include "ui/base/mw_ui_base.h"
#include "ui/media/picture_place.h"
#include "ui/media/varno_ui_dlg_media_player.h"

namespace {

constexpr COLORREF kBlack = 0xFF000000;
constexpr COLORREF kTextColor = 0xFFFFFFFF;

// In a line along the lower edge: sign, bar, time.
struct Layout {
    int width = CVarnoSVSetting::GetInstance().GetScrWidth();
    int height = CVarnoSVSetting::GetInstance().GetScrHeight();
    int line_top = height * 216 / 240;
    int line_height = height * 18 / 240;
    int icon_left = width * 6 / 320;
    int bar_left = width * 30 / 320;
    int bar_width = width * 160 / 320;
    int bar_height = height * 8 / 240;
    int bar_top = line_top + (line_height - bar_height) / 2;
    int time_left = width * 196 / 320;
    int time_width = width * 120 / 320;
    int index_height = height * 16 / 240;
    int index_top = height * 4 / 240;
    int index_margin = width * 6 / 320;
};

}  // namespace

void CVarnoUIDlgMediaPlayer::InitControls() {
    // They would cover the overlay.
    ShowWindow(m_hFrame, SW_HIDE);
    ShowWindow(m_hCaption, SW_HIDE);
    m_hfIndex = Varno::CreateFaceFont("Arial.ttf", Layout().index_height, FW_NORMAL);
    if (m_bPhotoMode) return;
    InitProgressBar();
    InitPlayTimeStatic();
    InitPlayStatusIcon();
}

void CVarnoUIDlgMediaPlayer::DeinitControls() {
    m_pPlayStatusIcon.reset();
    for (HWND* window : {&m_hProgBar, &m_hPlayTime}) {
        if (*window != nullptr) DestroyWindow(*window);
        *window = nullptr;
    }
    for (HFONT* font : {&m_hfPlayTime, &m_hfIndex}) {
        if (*font != nullptr) DeleteObject(*font);
        *font = nullptr;
    }
}

void CVarnoUIDlgMediaPlayer::InitProgressBar() {
    const Layout at;
    m_hProgBar = CreateWindowEx(0, "msctls_progress32", "", WS_CHILD | WS_VISIBLE, at.bar_left, at.bar_top,
                                at.bar_width, at.bar_height, m_hHwnd, nullptr, m_hInst, nullptr);
}

void CVarnoUIDlgMediaPlayer::InitPlayTimeStatic() {
    const Layout at;
    m_hPlayTime = CreateWindowEx(0, "STATIC", "", WS_CHILD | WS_VISIBLE | SS_RIGHT, at.time_left, at.line_top,
                                 at.time_width, at.line_height, m_hHwnd, nullptr, m_hInst, nullptr);
    m_hfPlayTime = Varno::CreateFaceFont("Arial.ttf", at.index_height, FW_NORMAL);
    SendMessage(m_hPlayTime, WM_SETFONT, reinterpret_cast<WPARAM>(m_hfPlayTime), TRUE);
}

void CVarnoUIDlgMediaPlayer::InitPlayStatusIcon() {
    const Layout at;
    m_pPlayStatusIcon.reset(CVarnoUICtrlPlayStatusIcon::CreateNew(m_hInst, m_hHwnd, at.icon_left, at.line_top,
                                                                  at.line_height, at.line_height));
    if (m_pPlayStatusIcon != nullptr) m_pPlayStatusIcon->Show(SW_SHOW);
}

void CVarnoUIDlgMediaPlayer::Repaint() {
    InvalidateRect(m_hHwnd, nullptr, TRUE);
    if (m_hPlayTime != nullptr) InvalidateRect(m_hPlayTime, nullptr, FALSE);
    if (m_pPlayStatusIcon != nullptr) m_pPlayStatusIcon->Refresh();
}

void CVarnoUIDlgMediaPlayer::Paint(HWND hwnd) {
    PAINTSTRUCT paint{};
    HDC dc = BeginPaint(hwnd, &paint);
    DrawPicture(dc, 0, 0);
    DrawIndex(dc);
    EndPaint(hwnd, &paint);
}

// The picture with its left top corner at (x, y): a photo, a still, or the colour through which the overlay is seen.
void CVarnoUIDlgMediaPlayer::DrawPicture(HDC dc, int x, int y) const {
    const Layout at;
    const RECT screen{x, y, x + at.width, y + at.height};
    FastFillRect(dc, &screen, m_bPhotoMode || m_bStill ? kBlack : kColorKey);
    if (m_bPhotoMode && m_pImage != nullptr) {
        const RECT place = PlaceInside(screen, m_pImage->xvirtres, m_pImage->yvirtres);
        DrawDIBFit(dc, place.left, place.top, place.right - place.left, place.bottom - place.top, m_pImage.get());
    } else if (m_bStill && m_pConverBuffer != nullptr) {
        DrawRawRGBImage(dc, x, y, at.width, at.height, ClipFrame::kWidth, ClipFrame::kHeight, m_pConverBuffer.get());
    }
}

void CVarnoUIDlgMediaPlayer::DrawRawRGBImage(HDC dc, int x, int y, int width, int height, int source_width,
                                             int source_height, unsigned char* pixels) {
    const Varno::Image image(Varno::GdCreatePixmap(scrdev, source_width, source_height, 0, pixels, 0));
    DrawDIBFit(dc, x, y, width, height, image.get());
}

// Which of how many, in the corner; the name of a file that cannot be shown.
void CVarnoUIDlgMediaPlayer::DrawIndex(HDC dc) const {
    if (m_files.empty()) return;
    const Layout at;
    SelectObject(dc, m_hfIndex);
    SetTextColor(dc, kTextColor);
    SetTextRim(dc, kTextRimColor);
    SetBkMode(dc, TRANSPARENT);
    const std::string index = std::to_string(m_nImgPos + 1) + " / " + std::to_string(m_files.size());
    RECT corner{0, at.index_top, at.width - at.index_margin, at.index_top + at.line_height};
    DrawText(dc, index.c_str(), -1, &corner, DT_RIGHT | DT_VCENTER | DT_SINGLELINE | DT_NOPREFIX);
    if (!m_bBroken) return;
    RECT middle{at.index_margin, (at.height - at.line_height) / 2, at.width - at.index_margin,
                (at.height + at.line_height) / 2};
    const std::string& name = m_files[m_nImgPos].m_strName;
    HFONT font = Varno::CreateFittingFont("MSYH.TTF", at.line_height * 5 / 6, FW_NORMAL, m_hHwnd, {name}, middle);
    SelectObject(dc, font);
    RECT needed = middle;
    DrawText(dc, name.c_str(), -1, &needed, DT_SINGLELINE | DT_NOPREFIX | DT_CALCRECT);
    // Of one that fits in no size the beginning is seen.
    const UINT alignment = needed.right > middle.right ? DT_LEFT : DT_CENTER;
    DrawText(dc, name.c_str(), -1, &middle, alignment | DT_VCENTER | DT_SINGLELINE | DT_NOPREFIX);
    SelectObject(dc, m_hfIndex);
    DeleteObject(font);
}

// Sign and time lie over the picture, which they draw themselves where they are.
LRESULT CVarnoUIDlgMediaPlayer::AnswerStaticColor(HDC dc, HWND control) const {
    const Layout at;
    if (m_pPlayStatusIcon != nullptr && control == m_pPlayStatusIcon->Window()) {
        DrawPicture(dc, -at.icon_left, -at.line_top);
    } else if (control == m_hPlayTime) {
        DrawPicture(dc, -at.time_left, -at.line_top);
    } else {
        return 0;
    }
    SetTextColor(dc, kTextColor);
    SetTextRim(dc, kTextRimColor);
    SetBkMode(dc, TRANSPARENT);
    return reinterpret_cast<LRESULT>(GetStockObject(NULL_BRUSH));
}
