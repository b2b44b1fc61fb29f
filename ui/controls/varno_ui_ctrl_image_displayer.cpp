#include "ui/controls/varno_ui_ctrl_image_displayer.h"

namespace {

constexpr COLORREF kTextColor = 0xFFFFFFFF;

}  // namespace

CVarnoUICtrlImageDisplayer* CVarnoUICtrlImageDisplayer::CreateNew(HINSTANCE instance, HWND parent, unsigned id, int x,
                                                                  int y, int width, int height) {
    return InitNewControl(std::unique_ptr<CVarnoUICtrlImageDisplayer>(
                              new CVarnoUICtrlImageDisplayer(instance, parent, id, x, y, width, height)),
                          instance, "VarnoImageDisplayer");
}

CVarnoUICtrlImageDisplayer::CVarnoUICtrlImageDisplayer(HINSTANCE instance, HWND parent, unsigned id, int x, int y,
                                                       int width, int height)
    : CMWUIBase(instance, parent, x, y, width, height), m_nId(id) {}

CVarnoUICtrlImageDisplayer::~CVarnoUICtrlImageDisplayer() {
    CVarnoUICtrlImageDisplayer::Deinit();
}

bool CVarnoUICtrlImageDisplayer::Init() {
    return CMWUIBase::Init() && InitImageStatic();
}

void CVarnoUICtrlImageDisplayer::Deinit() {
    DeinitImageStatic();
    UnloadImage();
    CMWUIBase::Deinit();
}

bool CVarnoUICtrlImageDisplayer::InitImageStatic() {
    const RECT rect = ClientRect();
    m_hImgStaticCtrl =
        CreateWindowEx(0, "STATIC", "", WS_CHILD | WS_VISIBLE | SS_ICON, 0, 0, rect.right, rect.bottom, m_hHwnd,
                       reinterpret_cast<HMENU>(static_cast<std::uintptr_t>(m_nId)), m_hInstance, nullptr);
    return m_hImgStaticCtrl != nullptr;
}

void CVarnoUICtrlImageDisplayer::DeinitImageStatic() {
    if (m_hImgStaticCtrl != nullptr) DestroyWindow(m_hImgStaticCtrl);
    m_hImgStaticCtrl = nullptr;
}

bool CVarnoUICtrlImageDisplayer::LoadImage(const std::string& path) {
    m_pImgCtrl.reset(Varno::LoadImage(path));
    return m_pImgCtrl != nullptr;
}

void CVarnoUICtrlImageDisplayer::UnloadImage() {
    if (m_hImgStaticCtrl != nullptr) SendMessage(m_hImgStaticCtrl, STM_SETIMAGE, 0, 0);
    m_pImgCtrl.reset();
}

bool CVarnoUICtrlImageDisplayer::SetNewImagePath(const std::string& path) {
    UnloadImage();
    m_strFilename.clear();
    m_strPathWhenShown.clear();
    if (!LoadImage(path)) return false;
    m_strFilename = path;
    SendMessage(m_hImgStaticCtrl, STM_SETIMAGE, 0, reinterpret_cast<LPARAM>(m_pImgCtrl.get()));
    return true;
}

void CVarnoUICtrlImageDisplayer::SetImagePathWhenShown(const std::string& path) {
    UnloadImage();
    m_strFilename.clear();
    m_strPathWhenShown = path;
    if (IsVisable()) LoadPathWhenShown();
}

void CVarnoUICtrlImageDisplayer::LoadPathWhenShown() {
    if (!m_strPathWhenShown.empty()) SetNewImagePath(std::string(m_strPathWhenShown));
}

bool CVarnoUICtrlImageDisplayer::SetImageSize(unsigned width, unsigned height) {
    return m_hImgStaticCtrl != nullptr &&
           MoveWindow(m_hImgStaticCtrl, 0, 0, static_cast<int>(width), static_cast<int>(height), TRUE) != FALSE;
}

LRESULT CVarnoUICtrlImageDisplayer::WindowProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) {
    HDC dc = reinterpret_cast<HDC>(wparam);
    switch (msg) {
        case WM_ERASEBKGND:
            return FillBackground(hwnd, dc);
        case WM_CTLCOLORSTATIC:
            SetTextColor(dc, kTextColor);
            SetBkMode(dc, TRANSPARENT);
            return reinterpret_cast<LRESULT>(Varno::SolidBrush(m_cBackgroundColor));
        case WM_SHOWWINDOW:
            if (wparam != FALSE) LoadPathWhenShown();
            return 0;
        default:
            return DefWindowProc(hwnd, msg, wparam, lparam);
    }
}
