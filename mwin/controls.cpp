#include "mwin/controls.h"

#include "mwin/window.h"

int MwInitializeDialogs(HINSTANCE instance) {
    mwin::RegisterDialogClass(instance);
    mwin::RegisterStaticControl(instance);
    mwin::RegisterListBox(instance);
    mwin::RegisterProgressBar(instance);
    if (instance != nullptr && mwin::Desktop() != nullptr) mwin::Desktop()->instance = instance;
    return 1;
}

void mwin::PaintBackground(HWND control, HDC device, UINT color_message, const RECT& area) {
    SelectObject(device, reinterpret_cast<HFONT>(SendMessage(control, WM_GETFONT, 0, 0)));
    const auto device_parameter = reinterpret_cast<WPARAM>(device);
    const auto control_parameter = reinterpret_cast<LPARAM>(control);
    LRESULT brush = SendMessage(GetParent(control), color_message, device_parameter, control_parameter);
    if (brush == 0) brush = DefWindowProc(control, color_message, device_parameter, control_parameter);
    FillRect(device, &area, reinterpret_cast<HBRUSH>(brush));
}
