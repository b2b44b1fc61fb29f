#include "tests/kernel/guest/camera_controls.h"

namespace kernel_test {

bool CameraControls::Answer(const SetupPacket& setup, const std::vector<std::uint8_t>& sent,
                            std::vector<std::uint8_t>& data) {
    constexpr std::uint8_t kReadAndWrite = 3;
    for (Control& control : controls_) {
        if (setup.index >> 8U != control.entity || setup.value >> 8U != control.selector) continue;
        std::uint16_t answer = 0;
        switch (setup.request) {
            case kSetCurrent:
                if (sent.size() < control.bytes) return false;
                control.value = sent[0];
                if (control.bytes > 1) control.value = static_cast<std::uint16_t>(control.value | sent[1] << 8U);
                return true;
            case kGetInfo:
                data = {kReadAndWrite};
                return true;
            case kGetLength:
                data = {control.bytes, 0};
                return true;
            case kGetCurrent:
                answer = control.value;
                break;
            case kGetMinimum:
                answer = control.least;
                break;
            case kGetMaximum:
                answer = control.most;
                break;
            case kGetResolution:
                answer = control.step;
                break;
            case kGetDefault:
                answer = control.initial;
                break;
            default:
                return false;
        }
        data = {static_cast<std::uint8_t>(answer), static_cast<std::uint8_t>(answer >> 8U)};
        data.resize(control.bytes);
        return true;
    }
    return false;
}

}  // namespace kernel_test
