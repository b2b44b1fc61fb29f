#include "ui/base/varno_ui_dlg_warning.h"

#include <chrono>
#include <cstdio>

#include "settings/varno_sv_setting.h"
#include "sys/kernel.h"
#include "sys/sleep.h"
#include "sys/varno_sv_utils.h"
#include "ui/base/mw_ui_base.h"

namespace {

constexpr UINT kTimerId = 0x10000008;
constexpr UINT kPeriodMs = 1000;
constexpr LRESULT kWantsAllKeys = DLGC_WANTARROWS | DLGC_WANTALLKEYS;
constexpr COLORREF kTextColor = 0xFFFFFFFF;
constexpr std::chrono::milliseconds kFarewell{3000};
constexpr int kEndedByItself = 8;
constexpr int kUsbHost = 2;
constexpr const char* kByePicture = "/usr/varno/img/bye.png";

// The pictures are drawn for a screen of this size; the background leaves a band of its height to the text.
constexpr int kPictureWidth = 320, kPictureHeight = 240;
constexpr int kBandTop = 150, kBandBottom = 212, kBandMargin = 10;
constexpr double kFontHeight = 0.12;  // of the screen's height

// The device is switched off once; a request that stays set does not start it again.
bool g_powerOffActedOn = false;

std::string Text(int id, const char* fallback) {
    return CVarnoSVSetting::GetInstance().GetXMLConfLangItemVal(id, fallback);
}

RECT ClientOf(HWND window) {
    RECT rect{};
    GetClientRect(window, &rect);
    return rect;
}

}  // namespace

CVarnoUIDlgWarning* CVarnoUIDlgWarning::CreateNew(HINSTANCE instance, HWND parent) {
    return new CVarnoUIDlgWarning(instance, parent);
}

CVarnoUIDlgWarning::CVarnoUIDlgWarning(HINSTANCE instance, HWND parent) : CVarnoUIPopupDialog(instance, parent) {}

CVarnoUIDlgWarning::~CVarnoUIDlgWarning() = default;

int CVarnoUIDlgWarning::DoModal(WaningBoxType kind) {
    if (kind > WARNBOX_NoSpace) return kEndedByItself;
    m_curType = kind;
    return CVarnoUIPopupDialog::DoModal();
}

bool CVarnoUIDlgWarning::LeavesByKey() const {
    return m_curType == WARNBOX_NoFiles || m_curType == WARNBOX_NoSpace;
}

void CVarnoUIDlgWarning::InitDialog() {
    LoadPictures();
    const int preferred = static_cast<int>(kFontHeight * ClientOf(m_hHwnd).bottom);
    m_hfTextFont = Varno::CreateFittingFont("MSYH.TTF", preferred, FW_NORMAL, m_hHwnd, m_strWarnText, TextBand());
    m_tTimer = SetTimer(m_hHwnd, kTimerId, kPeriodMs, fnTimerProc);
}

void CVarnoUIDlgWarning::LoadPictures() {
    std::string picture = "img/WarnBack.png";
    switch (m_curType) {
        case WARNBOX_EXIT:
            picture = Varno::kernel().Path(kByePicture);
            break;
        case WARNBOX_USB_DEVICE:
            m_strWarnText = Text(10021, "USB Connected");
            break;
        case WARNBOX_NoFiles:
            m_strWarnText = Text(10020, "NO FILES AVAIABLE");
            break;
        case WARNBOX_NoSpace:
            m_strWarnText = Text(10022, "No enough space");
            break;
        default:
            picture = "img/exitprogram.jpg";
            break;
    }
    m_pWarningImage.reset(Varno::LoadImage(picture));
    if (LeavesByKey()) m_pLeaveImage.reset(Varno::LoadImage("img/leave_f1.png"));
}

// The pause keeps the picture where it is; nothing else runs meanwhile, and a key pressed now is not meant for what
// comes back after it.
void CVarnoUIDlgWarning::DestoryDialog() {
    Varno::SleepSignalsOpen(kFarewell);
    MwDropKeys();
    printf("WM_DESTROY\n");
    if (m_tTimer != 0) KillTimer(m_hHwnd, m_tTimer);
    m_tTimer = 0;
    CVarnoUIPopupDialog::DestoryDialog();
    printf("CVarnoUIDlgWarning::DestoryDialog\n");
    if (m_hfTextFont != nullptr) DeleteObject(m_hfTextFont);
    m_hfTextFont = nullptr;
    m_pLeaveImage.reset();
    m_pWarningImage.reset();
    if (m_curType != WARNBOX_EXIT && m_hParent != nullptr) SetForegroundWindow(m_hParent);
}

RECT CVarnoUIDlgWarning::TextBand() const {
    const RECT rect = ClientOf(m_hHwnd);
    const int margin = rect.right * kBandMargin / kPictureWidth;
    return {margin, rect.bottom * kBandTop / kPictureHeight, rect.right - margin,
            rect.bottom * kBandBottom / kPictureHeight};
}

void CVarnoUIDlgWarning::Paint(HWND hwnd) const {
    const RECT rect = ClientOf(hwnd);
    PAINTSTRUCT paint{};
    HDC dc = BeginPaint(hwnd, &paint);
    if (m_pWarningImage != nullptr) DrawDIBFit(dc, 0, 0, rect.right, rect.bottom, m_pWarningImage.get());
    if (!m_strWarnText.empty()) {
        SetTextColor(dc, kTextColor);
        SetBkMode(dc, TRANSPARENT);
        SelectObject(dc, m_hfTextFont);
        constexpr UINT kFormat = DT_CENTER | DT_WORDBREAK;
        RECT band = TextBand();
        RECT needed = band;
        const int height = DrawTextA(dc, m_strWarnText.c_str(), -1, &needed, kFormat | DT_CALCRECT);
        if (height < band.bottom - band.top) band.top += (band.bottom - band.top - height) / 2;
        DrawTextA(dc, m_strWarnText.c_str(), -1, &band, kFormat);
    }
    if (m_pLeaveImage != nullptr) {
        const int width = m_pLeaveImage->xvirtres * rect.right / kPictureWidth;
        const int height = m_pLeaveImage->yvirtres * rect.bottom / kPictureHeight;
        const int margin = height / 4;
        DrawDIBFit(dc, rect.right - width - margin, margin, width, height, m_pLeaveImage.get());
    }
    EndPaint(hwnd, &paint);
}

LRESULT CVarnoUIDlgWarning::WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM /*lparam*/) {
    switch (msg) {
        case WM_ERASEBKGND: {
            const RECT rect = ClientOf(hwnd);
            if (m_pWarningImage == nullptr) FastFillRect(reinterpret_cast<HDC>(wparam), &rect, 0xFF000000);
            return 1;
        }
        case WM_PAINT:
            Paint(hwnd);
            return 0;
        case WM_GETDLGCODE:
            return kWantsAllKeys;
        case WM_KEYDOWN:
            HandleKeyDown(wparam);
            return 0;
        default:
            return 0;
    }
}

void CVarnoUIDlgWarning::HandleKeyDown(WPARAM key) {
    printf("Keyval:0x%x\n", static_cast<unsigned>(key));
    if (key == VK_F1 && LeavesByKey()) End(IDYES);
}

void CALLBACK CVarnoUIDlgWarning::fnTimerProc(HWND hwnd, UINT /*msg*/, UINT /*id*/, DWORD /*time*/) {
    auto* dialog = static_cast<CVarnoUIDlgWarning*>(ObjectOf<CVarnoUIPopupDialog>(hwnd));
    if (dialog != nullptr) dialog->CheckState();
}

void CVarnoUIDlgWarning::CheckState() {
    if (m_curType == WARNBOX_EXIT) {
        EndByItself();
    } else if (m_curType == WARNBOX_USB_DEVICE && CVarnoSVSetting::GetInstance().GetOTGStatus() != kUsbHost) {
        printf("Return to normal mode.\n");
        EndByItself();
    }
    CheckPowerOff();
}

// A key may have waited already when the dialog was opened: the picture is seen nevertheless.
void CVarnoUIDlgWarning::End(int result) {
    UpdateWindow(m_hHwnd);
    EndDialog(m_hHwnd, result);
}

void CVarnoUIDlgWarning::EndByItself() {
    End(kEndedByItself);
    PostMessage(m_hHwnd, WM_QUIT, 0, 0);
}

void CVarnoUIDlgWarning::CheckPowerOff() const {
    if (m_curType == WARNBOX_EXIT || g_powerOffActedOn || GetPowerOffStatus() == 0) return;
    g_powerOffActedOn = true;
    const std::string command = std::string("/usr/varno/mwsplash ") + kByePicture;
    const int result = Varno::kernel().System(command.c_str());
    printf("Run %s,%d\n", command.c_str(), result);
    SetPowerOffStatus();
}
