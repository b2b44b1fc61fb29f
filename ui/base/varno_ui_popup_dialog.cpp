#include "ui/base/varno_ui_popup_dialog.h"

#include <cstdio>

#include "ui/base/mw_ui_base.h"

CVarnoUIPopupDialog::CVarnoUIPopupDialog(HINSTANCE instance, HWND parent) : m_hInst(instance), m_hParent(parent) {}

CVarnoUIPopupDialog::~CVarnoUIPopupDialog() {
    printf("CVarnoUIPopupDialog::~CVarnoUIPopupDialog\n");
}

int CVarnoUIPopupDialog::DoModal() {
    if (m_hInst == nullptr) return -1;
    return DialogBoxParam(m_hInst, MAKEINTRESOURCE(0xFFFF0067), m_hParent, mainDlgProc, reinterpret_cast<LPARAM>(this));
}

void CVarnoUIPopupDialog::InitDialog() {}

void CVarnoUIPopupDialog::DestoryDialog() {}

LRESULT CALLBACK CVarnoUIPopupDialog::mainDlgProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) {
    if (msg == WM_INITDIALOG) SetWindowLong(hwnd, kWindowObject, lparam);
    auto* dialog = ObjectOf<CVarnoUIPopupDialog>(hwnd);
    if (dialog == nullptr) return 0;
    switch (msg) {
        case WM_DESTROY:
            dialog->DestoryDialog();
            return 0;
        case WM_INITDIALOG:
            dialog->m_hHwnd = hwnd;
            dialog->InitDialog();
            ShowWindow(hwnd, SW_SHOWMAXIMIZED);
            return 0;
        default:
            return dialog->WindowProc(hwnd, msg, wparam, lparam);
    }
}
