#include "ui/controls/varno_ui_ctrl_focus_adjust.h"

namespace {

constexpr int kLevels = 6;  // above level 0

}  // namespace

CVarnoUICtrlFocusAdjust* CVarnoUICtrlFocusAdjust::CreateNew(HINSTANCE instance, HWND parent, int x, int y, int width,
                                                            int height) {
    return InitNewControl(std::unique_ptr<CVarnoUICtrlFocusAdjust>(new CVarnoUICtrlFocusAdjust(
                              instance, parent, x, y, width, height, true, "img/zoom.png", kLevels, kLevels)),
                          instance, "VarnoFocusAdjust");
}

void CVarnoUICtrlFocusAdjust::IncDec(bool increase) {
    MoveBy(increase ? -1 : 1);
}
