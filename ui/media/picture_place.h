// Where a picture lies in a room of another shape.
#pragma once

#include <algorithm>
#include <cstdint>

#include "mwin/windows.h"

// The largest rectangle of the picture's proportions in the middle of `room`; its sides are at least 1.
inline RECT PlaceInside(const RECT& room, int picture_width, int picture_height) {
    const std::int64_t room_width = room.right - room.left;
    const std::int64_t room_height = room.bottom - room.top;
    std::int64_t width = room_width;
    std::int64_t height = room_height;
    if (picture_width * room_height > picture_height * room_width) {
        height = std::max<std::int64_t>(picture_height * room_width / picture_width, 1);
    } else {
        width = std::max<std::int64_t>(picture_width * room_height / picture_height, 1);
    }
    const auto left = static_cast<LONG>(room.left + (room_width - width) / 2);
    const auto top = static_cast<LONG>(room.top + (room_height - height) / 2);
    return {left, top, static_cast<LONG>(left + width), static_cast<LONG>(top + height)};
}
