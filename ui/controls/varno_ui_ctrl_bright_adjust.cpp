#include "ui/controls/varno_ui_ctrl_bright_adjust.h"

namespace {

constexpr int kSteps = 10;  // of a tenth of the lamp's brightness each
constexpr int kStart = 5;

}  // namespace

CVarnoUICtrlBrightAdjust* CVarnoUICtrlBrightAdjust::CreateNew(HINSTANCE instance, HWND parent, int x, int y, int width,
                                                              int height) {
    return InitNewControl(std::unique_ptr<CVarnoUICtrlBrightAdjust>(new CVarnoUICtrlBrightAdjust(
                              instance, parent, x, y, width, height, false, "img/bright.png", kSteps, kStart)),
                          instance, "VarnoBrightAdjust");
}

void CVarnoUICtrlBrightAdjust::IncDec(bool increase) {
    MoveBy(increase ? 1 : -1);
}
