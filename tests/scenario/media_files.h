// Photos and clips for scenarios, made here.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace scenario {

// A JPEG file whose picture has an arrow upwards in its middle and one corner marked; `number` shades it. `components`:
// 1 grey, 3 colour, 4 four inks.
std::string Photo(unsigned width, unsigned height, int number, int components = 3, bool progressive = false);

// A frame of packed YUYV with the same arrow, whose middle tells its number (0 to 99), see FrameAt.
std::string ClipPicture(unsigned width, unsigned height, int number);
// The number of the frame whose middle has that pixel on the LCD.
int FrameOf(std::uint32_t pixel);

// Writes a clip of such frames to a path of the device, as the program records them.
void WriteClip(const std::string& path, unsigned width, unsigned height, double fps, int frames,
               const std::string& codec = "YUY2");

}  // namespace scenario
