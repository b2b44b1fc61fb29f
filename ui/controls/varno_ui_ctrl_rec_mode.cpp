#include "ui/controls/varno_ui_ctrl_rec_mode.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "sys/kernel.h"
#include "sys/varno_sv_utils.h"

namespace {

constexpr UINT kTimerId = 0x10000003;
constexpr UINT kPeriodMs = 1000;
constexpr COLORREF kTextColor = 0xFFFFFFFF;
constexpr const char* kNoTime = "00:00:00";
constexpr double kFontHeight = 0.36;   // of the control's height
constexpr double kSymbolWidth = 0.56;  // of the control's width
constexpr double kTextTop = 0.64;      // of the control's height
constexpr int kReservedKib = 2048;     // below this nothing is recorded
constexpr int kKibPerPicture = 280;
constexpr int kKibPerSecond = 700;

std::string ClockText(int hours, int minutes, int seconds) {
    std::array<char, 40> text{};
    snprintf(text.data(), text.size(), "%02d:%02d:%02d", hours, minutes, seconds);
    return text.data();
}

std::time_t Now() {
    return Varno::kernel().RealTime().tv_sec;
}

}  // namespace

CVarnoUICtrlRecMode* CVarnoUICtrlRecMode::CreateNew(HINSTANCE instance, HWND parent, int x, int y, int width,
                                                    int height) {
    return InitNewControl(std::make_unique<CVarnoUICtrlRecMode>(instance, parent, x, y, width, height), instance,
                          "VarnoRecMode");
}

CVarnoUICtrlRecMode::~CVarnoUICtrlRecMode() {
    CVarnoUICtrlRecMode::Deinit();
    printf("CVarnoUICtrlRecMode::~CVarnoUICtrlRecMode\n");
}

bool CVarnoUICtrlRecMode::Init() {
    if (!CMWUIBase::Init()) return false;
    LoadAllImage();
    return InitImageStaticCtrl();
}

void CVarnoUICtrlRecMode::Deinit() {
    if (m_tTimerRecord != 0) KillTimer(m_hHwnd, m_tTimerRecord);
    m_tTimerRecord = 0;
    m_isStartRecord = false;
    DeinitImageStaticCtrl();
    UnloadAllImage();
    CMWUIBase::Deinit();
}

void CVarnoUICtrlRecMode::LoadAllImage() {
    m_pImgVideo.SetPath("img/rec_video.gif");
    m_pImgImg.SetPath("img/rec_img.gif");
}

void CVarnoUICtrlRecMode::UnloadAllImage() {
    m_pImgVideo.Unload();
    m_pImgImg.Unload();
}

void CVarnoUICtrlRecMode::ShowModeImage() {
    Varno::LazyImage& image = m_RecMode == REC_MODE_IMAGE ? m_pImgImg : m_pImgVideo;
    SendMessage(m_hImgStaticCtrl, STM_SETIMAGE, 0, reinterpret_cast<LPARAM>(image.Get()));
}

bool CVarnoUICtrlRecMode::InitImageStaticCtrl() {
    const RECT rect = ClientRect();
    const int font_height = static_cast<int>(kFontHeight * rect.bottom);
    const int symbol_width = static_cast<int>(kSymbolWidth * rect.right);
    const int text_top = static_cast<int>(kTextTop * rect.bottom);
    m_hImgStaticCtrl =
        CreateWindowEx(0, "STATIC", "cs", WS_CHILD | WS_VISIBLE | SS_ICON, (rect.right - symbol_width) / 2, 0,
                       symbol_width, text_top, m_hHwnd, nullptr, m_hInstance, nullptr);
    m_hTextStaticCtrl = CreateWindowEx(0, "STATIC", kNoTime, WS_CHILD | WS_VISIBLE | SS_CENTER, 0, text_top, rect.right,
                                       font_height + 3, m_hHwnd, nullptr, m_hInstance, nullptr);
    if (m_hImgStaticCtrl == nullptr || m_hTextStaticCtrl == nullptr) return false;
    m_hfStaticFont = Varno::CreateFaceFont("Arialb.ttf", font_height, FW_BOLD);
    SendMessage(m_hTextStaticCtrl, WM_SETFONT, reinterpret_cast<WPARAM>(m_hfStaticFont), TRUE);
    m_sText = kNoTime;
    return true;
}

void CVarnoUICtrlRecMode::DeinitImageStaticCtrl() {
    if (m_hImgStaticCtrl != nullptr) DestroyWindow(m_hImgStaticCtrl);
    if (m_hTextStaticCtrl != nullptr) DestroyWindow(m_hTextStaticCtrl);
    m_hImgStaticCtrl = m_hTextStaticCtrl = nullptr;
    if (m_hfStaticFont != nullptr) DeleteObject(m_hfStaticFont);
    m_hfStaticFont = nullptr;
}

void CVarnoUICtrlRecMode::SetCurMode(RecMode mode) {
    StopRecord();
    m_RecMode = mode;
    UpdateRecordImg();
}

void CVarnoUICtrlRecMode::StartRecord() {
    if (m_isStartRecord) StopRecord();
    if (m_RecMode != REC_MODE_VIDEO) return;
    m_tTimerRecord = SetTimer(m_hHwnd, kTimerId, kPeriodMs, timer_proc);
    if (m_tTimerRecord == 0) return;
    m_isStartRecord = true;
    m_tRecStart = Now();
    UpdateRecordTime();
}

void CVarnoUICtrlRecMode::StopRecord() {
    m_isStartRecord = false;
    if (m_tTimerRecord != 0) KillTimer(m_hHwnd, m_tTimerRecord);
    m_tTimerRecord = 0;
    ShowWindow(m_hImgStaticCtrl, SW_SHOW);
    if (m_RecMode == REC_MODE_VIDEO) {
        SetText(kNoTime);
        m_nAvailImageSpace = -1;
    } else {
        RefreshImageAvailableNumber();
    }
}

void CVarnoUICtrlRecMode::UpdateRecordTime() {
    if (!m_isStartRecord) return;
    const std::time_t elapsed = std::max<std::time_t>(Now() - m_tRecStart, 0);
    std::tm parts{};
    gmtime_r(&elapsed, &parts);
    SetText(ClockText(parts.tm_hour, parts.tm_min, parts.tm_sec));
}

void CVarnoUICtrlRecMode::UpdateRecordImg() {
    if (IsVisable()) ShowModeImage();
    SetText(kNoTime);
    m_nAvailImageSpace = -1;
}

void CVarnoUICtrlRecMode::RefreshImageAvailableNumber() {
    if (!IsVisable()) return;
    if (m_RecMode == REC_MODE_VIDEO && m_isStartRecord) return;
    int space = Varno::GetFirstMMCAvailableSpace();
    if (space < 0) space = Varno::GetUserNandAvailableSpace();
    const bool picture = m_RecMode == REC_MODE_IMAGE;
    if (space <= kReservedKib) {
        m_nAvailImageSpace = 0;
        SetText(picture ? "0" : kNoTime);
    } else if (picture) {
        const int count = (space - kReservedKib) / kKibPerPicture;
        ShowAvailable(count, std::to_string(count));
    } else {
        const int seconds = space / kKibPerSecond;
        ShowAvailable(seconds, ClockText(seconds / 3600, seconds / 60 % 60, seconds % 60));
    }
}

void CVarnoUICtrlRecMode::ShowAvailable(int value, const std::string& text) {
    if (value == m_nAvailImageSpace) return;
    m_nAvailImageSpace = value;
    printf("Avail space %s\n", text.c_str());
    SetText(text);
}

void CVarnoUICtrlRecMode::SetText(const std::string& text) {
    if (text == m_sText) return;
    m_sText = text;
    SetWindowText(m_hTextStaticCtrl, text.c_str());
}

void CALLBACK CVarnoUICtrlRecMode::timer_proc(HWND hwnd, UINT /*msg*/, UINT /*id*/, DWORD /*time*/) {
    auto* control = ObjectOf<CVarnoUICtrlRecMode>(hwnd);
    if (control == nullptr) return;
    control->UpdateRecordTime();
    const bool visible = (static_cast<DWORD>(GetWindowLong(control->m_hImgStaticCtrl, GWL_STYLE)) & WS_VISIBLE) != 0;
    ShowWindow(control->m_hImgStaticCtrl, visible ? SW_HIDE : SW_SHOW);
}

LRESULT CVarnoUICtrlRecMode::WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) {
    HDC dc = reinterpret_cast<HDC>(wparam);
    switch (msg) {
        case WM_ERASEBKGND:
            return FillBackground(hwnd, dc);
        case WM_CTLCOLORSTATIC:
            if (reinterpret_cast<HWND>(lparam) == m_hTextStaticCtrl) {
                SetTextColor(dc, kTextColor);
                SetTextRim(dc, kTextRimColor);
            }
            SetBkColor(dc, kColorKey);
            return reinterpret_cast<LRESULT>(Varno::SolidBrush(kColorKey));
        case WM_SHOWWINDOW:
            if (wparam != FALSE) ShowModeImage();
            return 0;
        default:
            return DefWindowProc(hwnd, msg, wparam, lparam);
    }
}
