#include "ui/media/varno_ui_dlg_media_nav.h"

#include <cstdio>
#include <memory>

#include "settings/varno_sv_setting.h"
#include "ui/media/varno_ui_dlg_media_explore.h"

namespace {

constexpr WORD kDialogId = 104;
constexpr int kUserLeft = 1;
constexpr int kCaptionText = 10011;

void SetPicture(HWND button, const Varno::Image& picture) {
    if (button != nullptr) SendMessage(button, STM_SETIMAGE, 0, reinterpret_cast<LPARAM>(picture.get()));
}

}  // namespace

CVarnoUIDlgMediaNav* CVarnoUIDlgMediaNav::CreateNew(HINSTANCE instance, HWND parent) {
    return new CVarnoUIDlgMediaNav(instance, parent);
}

CVarnoUIDlgMediaNav::CVarnoUIDlgMediaNav(HINSTANCE instance, HWND parent)
    : CVarnoUIDialog(instance, parent, kDialogId) {}

CVarnoUIDlgMediaNav::~CVarnoUIDlgMediaNav() {
    printf("CVarnoUIDlgMediaNav::~CVarnoUIDlgMediaNav\n");
}

void CVarnoUIDlgMediaNav::InitDialog() {
    CVarnoUIDialog::InitDialog();
    InitMediaTypeBtn();
    SetCaption(CVarnoSVSetting::GetInstance().GetXMLConfLangItemVal(kCaptionText, "Media").c_str());
    SetWindowText(m_hHwnd, "MediaNav");
}

void CVarnoUIDlgMediaNav::DestoryDialog() {
    DeinitMediaTypeBtn();
    CVarnoUIDialog::DestoryDialog();
}

LRESULT CVarnoUIDlgMediaNav::DialogProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) {
    switch (msg) {
        case WM_GETDLGCODE:
            return DLGC_WANTARROWS | DLGC_HASSETSEL | DLGC_WANTCHARS;
        case WM_ERASEBKGND: {
            RECT rect{};
            GetClientRect(hwnd, &rect);
            FastFillRect(reinterpret_cast<HDC>(wparam), &rect, GetSysColor(COLOR_WINDOWFRAME));
            return 1;
        }
        case WM_CTLCOLORSTATIC:
            return 0;
        case WM_KEYDOWN:
            HandleKeyDown(static_cast<unsigned>(wparam));
            return 0;
        default:
            return DefWindowProc(hwnd, msg, wparam, lparam);
    }
}

void CVarnoUIDlgMediaNav::HandleKeyDown(unsigned key) {
    switch (key) {
        case VK_LEFT:
        case VK_RIGHT:
            ToggleSelection();
            break;
        case VK_RETURN:
            OpenExplorer();
            break;
        case VK_F1:
            EndDialog(m_hHwnd, kUserLeft);
            break;
        default:
            break;
    }
}

void CVarnoUIDlgMediaNav::ToggleSelection() {
    m_SelectMediaType = m_SelectMediaType == Media_Video ? Media_Photo : Media_Video;
    ShowSelection();
}

void CVarnoUIDlgMediaNav::OpenExplorer() {
    {
        const std::unique_ptr<CVarnoUIDlgMediaExplore> explorer(
            CVarnoUIDlgMediaExplore::CreateNew(m_hInst, m_hHwnd, m_SelectMediaType));
        explorer->DoModel();
    }
    if (m_hHwnd == nullptr) return;  // the program is ending
    SetActiveWindow(m_hHwnd);
    PostMessage(m_hHwnd, WM_PAINT, 0, 0);
}

void CVarnoUIDlgMediaNav::InitMediaTypeIcon() {
    m_pImgVideoSel.reset(Varno::LoadImage("img/videosel.gif"));
    m_pImgVideoUnsel.reset(Varno::LoadImage("img/videounsel.gif"));
    m_pImgPhotoSel.reset(Varno::LoadImage("img/photosel.gif"));
    m_pImgPhotoUnsel.reset(Varno::LoadImage("img/photounsel.gif"));
}

void CVarnoUIDlgMediaNav::DeinitMediaTypeIcon() {
    m_pImgVideoSel.reset();
    m_pImgVideoUnsel.reset();
    m_pImgPhotoSel.reset();
    m_pImgPhotoUnsel.reset();
}

void CVarnoUIDlgMediaNav::InitMediaTypeBtn() {
    InitMediaTypeIcon();
    RECT dialog{};
    RECT frame{};
    GetClientRect(m_hHwnd, &dialog);
    GetClientRect(m_hFrame, &frame);
    // Of a screen of 720 × 480, for which the buttons were made.
    const int width = static_cast<int>(dialog.right * 259.0 / 720);
    const int height = static_cast<int>(frame.bottom * 343.0 / 480);
    const auto create = [&](int x) {
        return CreateWindowEx(0, "STATIC", "", WS_CHILD | WS_VISIBLE | SS_ICON, x, (frame.bottom - height) / 2, width,
                              height, m_hFrame, nullptr, m_hInst, nullptr);
    };
    m_pStaticPhotoBtn = create(width / 4);
    m_pStaticVideoBtn = create(frame.right - width / 4 - width);
    m_SelectMediaType = Media_Photo;
    ShowSelection();
}

void CVarnoUIDlgMediaNav::DeinitMediaTypeBtn() {
    for (HWND* button : {&m_pStaticPhotoBtn, &m_pStaticVideoBtn}) {
        if (*button != nullptr) DestroyWindow(*button);
        *button = nullptr;
    }
    DeinitMediaTypeIcon();
}

void CVarnoUIDlgMediaNav::ShowSelection() {
    const bool video = m_SelectMediaType == Media_Video;
    SetPicture(m_pStaticVideoBtn, video ? m_pImgVideoSel : m_pImgVideoUnsel);
    SetPicture(m_pStaticPhotoBtn, video ? m_pImgPhotoUnsel : m_pImgPhotoSel);
}
