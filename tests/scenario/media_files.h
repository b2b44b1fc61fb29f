// Photos and clips for scenarios, made here, and the way to them.
#pragma once

#include <cstdint>
#include <string>

#include "tests/scenario/scenario.h"

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

class MediaTest : public ScenarioTest {
  protected:
    MediaTest() { EmptyCard(); }

    void EmptyCard();
    // "5F3A1101.jpg" and so on.
    void PutPhotos(int count);
    void PutClip(const std::string& name, int frames = 90) { WriteClip(kCardFolder + name, 320, 240, 25, frames); }
    // From live view to the navigation, and from there to the browser with its page.
    void OpenNavigation() { Keys("4.."); }
    void OpenBrowser(const char* key = "E");
    void OpenVideos() {
        OpenNavigation();
        OpenBrowser(">E");
    }
    int Frame() { return FrameOf(board.Lcd()[120 * board::kScreenWidth + 160]); }
    // Pixels of a part of the LCD that differ from a colour.
    int Unlike(const Box& box, std::uint32_t colour);
};

}  // namespace scenario
