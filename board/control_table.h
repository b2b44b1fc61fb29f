// The controls of one video device.
#pragma once

#include <linux/videodev2.h>

#include <cstdint>
#include <vector>

namespace board {

struct Control {
    std::uint32_t id;
    v4l2_ctrl_type type;
    const char* name;
    std::int32_t minimum, maximum, step, default_value;
    std::int32_t value;
};

// Answers VIDIOC_QUERYCTRL, VIDIOC_G_CTRL and VIDIOC_S_CTRL as drivers do: an unknown control is EINVAL, an integer is
// clamped to its range and step, a menu or switch outside its range is ERANGE. Answers are 0 or the negative errno. The
// caller serialises.
class ControlTable {
  public:
    explicit ControlTable(std::vector<Control> controls) : controls_(std::move(controls)) {}

    int Query(v4l2_queryctrl& query) const;
    int Get(v4l2_control& control) const;
    int Set(const v4l2_control& control);
    // Of a control that is known to be there.
    std::int32_t Value(std::uint32_t id) const;

  private:
    const Control* Find(std::uint32_t id) const;

    std::vector<Control> controls_;
};

}  // namespace board
