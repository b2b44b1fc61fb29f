// The camera's adjustments, as its units have them: brightness, saturation and the way of exposing.
#pragma once

#include <cstdint>
#include <vector>

#include "tests/kernel/guest/usb_video_descriptors.h"

namespace kernel_test {

class CameraControls {
  public:
    // A request to an entity of the control interface; false when there is no such adjustment or request.
    bool Answer(const SetupPacket& setup, const std::vector<std::uint8_t>& sent, std::vector<std::uint8_t>& data);
    // Whether the picture has colour.
    bool IsColoured() const { return controls_[kSaturation].value != 0; }

  private:
    // Values of at most 16 bits, sent in `bytes` bytes.
    struct Control {
        std::uint8_t entity, selector, bytes;
        std::uint16_t least, most, step, initial, value;
    };
    enum { kBrightness, kSaturation, kExposure, kCount };

    // The exposure modes are a set of bits; its step tells which there are: by hand, and aperture priority.
    Control controls_[kCount] = {
        {kProcessingUnit, 0x02, 2, 0, 200, 1, 100, 100},
        {kProcessingUnit, 0x07, 2, 0, 100, 1, 60, 60},
        {kCameraTerminal, 0x02, 1, 1, 8, 0x09, 8, 1},
    };
};

}  // namespace kernel_test
