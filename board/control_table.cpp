#include "board/control_table.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

namespace board {

const Control* ControlTable::Find(std::uint32_t id) const {
    const auto control =
        std::find_if(controls_.begin(), controls_.end(), [id](const Control& candidate) { return candidate.id == id; });
    return control == controls_.end() ? nullptr : &*control;
}

int ControlTable::Query(v4l2_queryctrl& query) const {
    const Control* control = Find(query.id);
    if (!control) return -EINVAL;
    query = {};
    query.id = control->id;
    query.type = control->type;
    std::string_view(control->name).copy(reinterpret_cast<char*>(query.name), sizeof query.name - 1);
    query.minimum = control->minimum;
    query.maximum = control->maximum;
    query.step = control->step;
    query.default_value = control->default_value;
    return 0;
}

int ControlTable::Get(v4l2_control& control) const {
    const Control* own = Find(control.id);
    if (!own) return -EINVAL;
    control.value = own->value;
    return 0;
}

int ControlTable::Set(const v4l2_control& control) {
    auto* own = const_cast<Control*>(Find(control.id));
    if (!own) return -EINVAL;
    if (own->type != V4L2_CTRL_TYPE_INTEGER) {
        if (control.value < own->minimum || control.value > own->maximum) return -ERANGE;
        own->value = control.value;
        return 0;
    }
    const std::int32_t clamped = std::clamp(control.value, own->minimum, own->maximum);
    own->value = own->minimum + (clamped - own->minimum) / own->step * own->step;
    return 0;
}

std::int32_t ControlTable::Value(std::uint32_t id) const {
    const Control* control = Find(id);
    return control ? control->value : 0;
}

}  // namespace board
